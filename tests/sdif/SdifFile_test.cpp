// The file object: start-up, open modes and standard streams, the general
// header, the ASCII chunks after it, and the small services of the object.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cfloat>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "SdifTestEnv.h"
#include "TestSupport.h"
#include "sdif.h"

using sdiftest::AllowFatal;
using sdiftest::CaptureSdifStdErr;
using sdiftest::RecordReports;
using testsupport::PutF64;
using testsupport::PutI32;
using testsupport::PutSig;
using testsupport::PutU32;

namespace {

SdifSignature Sig(const char* s) { return SdifStringToSignature(s); }

std::string Header(uint32_t size = 8, uint32_t format = 3, uint32_t types = 1) {
    return testsupport::SdifHeader(size, format, types);
}

// An empty frame of the given signature (16-byte header, no matrix).
void PutEmptyFrame(std::string& b, const char* sig, uint32_t streamID, double time) {
    b += testsupport::FrameBytes(sig, streamID, 0, "", time);
}

class SdifFile : public sdiftest::SdifLibraryTest {};

}  // namespace

// ---- start-up ----

TEST_F(SdifFile, StartedLibraryHasTheHiddenPredefinedFile) {
    ASSERT_NE(gSdifPredefinedTypes, nullptr);
    EXPECT_STREQ("Predefined", gSdifPredefinedTypes->Name);
    EXPECT_EQ(ePredefinedTypes, gSdifPredefinedTypes->Mode);
    EXPECT_EQ(gSdifPredefinedTypes->Stream, nullptr);
    SdifGenInitCond("");  // already started: nothing happens
    EXPECT_EQ(1, gSdifInitialised);
}

TEST_F(SdifFile, SecondStartOrOpeningBeforeStartStops) {
    EXPECT_DEATH(SdifGenInit(""),
                 "failed assertion `!gSdifInitialised && \"SDIF library already initialised\"'");
    EXPECT_DEATH(
        {
            SdifGenKill();
            SdifFOpen("x.sdif", eReadFile);
        },
        "failed assertion `gSdifInitialised && \"SDIF library not initialised!\"'");
}

TEST_F(SdifFile, ShutDownAndRestartGiveTheTypesBack) {
    EXPECT_EXIT(
        {
            SdifGenKill();
            bool down = !gSdifInitialised && !gSdifPredefinedTypes;
            SdifGenKill();  // a second shut-down does nothing
            SdifGenInit("");
            bool up = gSdifInitialised &&
                      SdifGetMatrixType(gSdifPredefinedTypes->MatrixTypesTable, Sig("1TRC"));
            std::_Exit(down && up ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(SdifFile, VersionNoticeNamesTheFormatAndRelease) {
    CaptureSdifStdErr err;
    SdifPrintVersion();
    std::string text = err.Text();
    EXPECT_EQ(0u, text.find("SDIF Library\nFormat version : 3\nRelease: 3.4, ")) << text;
    EXPECT_EQ('\n', text.back());
}

// ---- opening ----

// The name loses its selection; the state a reader starts from.
TEST_F(SdifFile, NewObjectHasItsNameSelectionAndStartingState) {
    std::string path = testsupport::SaveTemp("init.sdif", Header());
    SdifFileT* f = SdifFOpen((path + "::#1:1TRC").c_str(), eReadFile);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(path, f->Name);
    EXPECT_EQ(1u, SdifListGetNbData(f->Selection->stream));
    EXPECT_EQ(1u, SdifListGetNbData(f->Selection->frame));
    EXPECT_EQ(1, f->isSeekable);
    EXPECT_EQ(16, f->FileSize);
    EXPECT_EQ(-DBL_MAX, f->PrevTime);
    EXPECT_EQ(0u, f->CurrSignature);
    EXPECT_EQ(0, SdifFNameValueNum(f));
    EXPECT_EQ(16u, SdifFReadGeneralHeader(f));
    SdifFClose(f);
}

TEST_F(SdifFile, MissingFileIsReportedAndAnswersNone) {
    RecordReports rec;
    std::string path = testsupport::TempPath("no-such-file.sdif");
    EXPECT_EQ(SdifFOpen(path.c_str(), eReadFile), nullptr);
    ASSERT_EQ(std::vector<int>{eFileNotFound}, RecordReports::Tags());
    EXPECT_EQ("File not found or permission denied: \"" + path + "\"",
              RecordReports::LastMessage());
    EXPECT_EQ(SdifFOpen((path + "::#2").c_str(), eReadWriteFile), nullptr);
    EXPECT_EQ("File not found or permission denied: \"" + path + "::#2\"",
              RecordReports::LastMessage());
}

TEST_F(SdifFile, StandardStreamInTheWrongModeOrAnUnknownModeIsRefused) {
    std::string path = testsupport::SaveTemp("mode.sdif", Header());
    const struct {
        std::string name;
        int mode;
        int tag;
        const char* text;
    } cases[] = {
        {"stdin", eWriteFile, eBadStdFile, "--> Bad standart file or bad mode (1), stdin\n"},
        {"stdout", eReadFile, eBadStdFile, "stdout"},
        {"-", eReadWriteFile, eBadStdFile, "-"},
        {"stderr", eWriteFile, eBadStdFile, "stderr"},
        {path, 7, eBadMode, "--> Bad mode at sdif file opening (7), this mode doesn't exist\n"},
    };
    for (const auto& c : cases) {
        RecordReports rec;
        EXPECT_EQ(SdifFOpen(c.name.c_str(), static_cast<SdifFileModeET>(c.mode)), nullptr);
        ASSERT_EQ((std::vector<int>{c.tag, eFileNotFound}), RecordReports::Tags()) << c.name;
        EXPECT_NE(RecordReports::Reports()[0].text.find(c.text), std::string::npos) << c.name;
    }
}

TEST_F(SdifFile, DashAndEmptyNameAreTheStandardStreamsPredefinedModeHasNone) {
    for (const char* name : {"-", static_cast<const char*>(nullptr)}) {
        SdifFileT* in = SdifFOpen(name, eReadFile);
        ASSERT_NE(in, nullptr);
        EXPECT_EQ(stdin, in->Stream);
        EXPECT_EQ(0, in->isSeekable);
        EXPECT_EQ(-1, in->FileSize);
        EXPECT_STREQ(name ? name : "", in->Name);
        SdifFClose(in);
    }
    for (const char* name : {"-", "", "stdout"}) {
        SdifFileT* out = SdifFOpen(name, eWriteFile);
        ASSERT_NE(out, nullptr) << name;
        EXPECT_EQ(stdout, out->Stream) << name;
        SdifFClose(out);
    }
    // standard output survives the closes
    EXPECT_EQ(0, std::fflush(stdout));
    SdifFileT* f = SdifFOpen("holder", ePredefinedTypes);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->Stream, nullptr);
    EXPECT_EQ(0u, SdifFReadGeneralHeader(f));
    SdifFClose(f);
}

TEST_F(SdifFile, HeaderWrittenToStandardOutputAndReadFromStandardInput) {
    testsupport::ChildRun run = testsupport::RunChild("", [] {
        SdifFileT* f = SdifFOpen("-", eWriteFile);
        if (!f) return "no file";
        size_t n = SdifFWriteGeneralHeader(f);
        SdifFClose(f);
        // standard output is still open after the close
        std::fputs("after", stdout);
        return n == 16 ? "ok" : "short header";
    });
    EXPECT_EQ("ok", run.result);
    EXPECT_EQ(Header() + "after", run.out);

    std::string input = Header();
    PutEmptyFrame(input, "1TRC", 0, 0.5);
    run = testsupport::RunChild(input, [] {
        SdifFileT* f = SdifFOpen("stdin", eReadFile);
        if (!f) return "no file";
        size_t header = SdifFReadGeneralHeader(f);
        size_t chunks = SdifFReadAllASCIIChunks(f);
        bool ok = header == 16 && chunks == 0 && f->CurrSignature == Sig("1TRC") &&
                  f->FileSize == -1 && f->isSeekable == 0;
        SdifFClose(f);
        return ok ? "ok" : "wrong state";
    });
    EXPECT_EQ("ok", run.result);
}

TEST_F(SdifFile, TextStreamOpensBesideTheBinaryOne) {
    RecordReports rec;
    std::string path = testsupport::SaveTemp("text.sdif", Header());
    std::string textPath = testsupport::SaveTemp("text.txt", "SDIF\n");
    SdifFileT* f = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f, SdifFOpenText(f, textPath.c_str(), eReadFile));
    EXPECT_NE(f->TextStream, nullptr);
    EXPECT_EQ(textPath, f->TextStreamName);
    EXPECT_NE(f->Stream, f->TextStream);
    EXPECT_EQ(f->Stream, SdifFGetFILE_SwitchVerbose(f, 's'));
    EXPECT_EQ(f->TextStream, SdifFGetFILE_SwitchVerbose(f, 't'));
    {
        CaptureSdifStdErr err;
        EXPECT_EQ(SdifFGetFILE_SwitchVerbose(f, 'x'), nullptr);
        EXPECT_EQ("*Sdif* x not a verbose ('t': text; 's':SdifFile)\n", err.Text());
    }
    EXPECT_EQ(4u, SdifFScanGeneralHeader(f));

    EXPECT_EQ(SdifFOpenText(f, "stdout", eReadFile), nullptr);
    EXPECT_EQ(eBadStdFile, SdifFLastErrorTag(f));
    EXPECT_EQ(SdifFOpenText(f, "stdin", eWriteFile), nullptr);
    EXPECT_EQ(eBadStdFile, SdifFLastErrorTag(f));
    EXPECT_EQ(SdifFOpenText(f, testsupport::TempPath("none.txt").c_str(), eReadFile), nullptr);
    EXPECT_EQ(eFileNotFound, SdifFLastErrorTag(f));
    EXPECT_EQ(SdifFOpenText(f, textPath.c_str(), eReadWriteFile), nullptr);
    EXPECT_EQ(eBadMode, SdifFLastErrorTag(f));
    EXPECT_NE(
        RecordReports::Reports().back().text.find("this mode doesn't exist or isn't appropriated"),
        std::string::npos);
    EXPECT_EQ(f, SdifFOpenText(f, "stdout", eWriteFile));
    EXPECT_EQ(stdout, f->TextStream);
    SdifFClose(f);
    EXPECT_EQ(0, std::fflush(stdout));
}

// ---- general header ----

TEST_F(SdifFile, HeaderWrittenIsReadBack) {
    std::string path = testsupport::TempPath("header.sdif");
    SdifFileT* w = SdifFOpen(path.c_str(), eWriteFile);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(16u, SdifFWriteGeneralHeader(w));
    SdifFClose(w);
    EXPECT_EQ(Header(), testsupport::ReadFile(path));

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(8u, r->ChunkSize);
    EXPECT_EQ(3u, r->FormatVersion);
    EXPECT_EQ(1u, r->TypesVersion);
    EXPECT_EQ(0u, SdifFReadAllASCIIChunks(r));
    EXPECT_EQ(0u, r->CurrSignature);  // end of file
    EXPECT_EQ(0u, SdifFNumErrors(r, eMessage));
    SdifFClose(r);
}

TEST_F(SdifFile, LongerHeaderChunkIsSkippedButNotCounted) {
    std::string b = Header(16, 3, 7);
    b += "\x01\x02\x03\x04\x05\x06\x07\x08";
    PutEmptyFrame(b, "1TRC", 0, 0.0);
    std::string path = testsupport::SaveTemp("long.sdif", b);
    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(16u, r->ChunkSize);
    EXPECT_EQ(7u, r->TypesVersion);  // stored, not checked
    EXPECT_EQ(0u, SdifFReadAllASCIIChunks(r));
    EXPECT_EQ(Sig("1TRC"), r->CurrSignature);
    SdiffPosT pos = 0;
    EXPECT_EQ(0, SdifFGetPos(r, &pos));
    EXPECT_EQ(28, pos);
    SdifFClose(r);
}

TEST_F(SdifFile, HeaderPaddingAboveTheLimitStops) {
    std::string b = Header(8 + 1025);
    b += std::string(1025, '\0');
    std::string path = testsupport::SaveTemp("pad.sdif", b);
    EXPECT_DEATH(
        {
            SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
            SdifFReadGeneralHeader(r);
        },
        "failed assertion `Padding <= _SdifStringLen'");
}

// Headers the reader refuses: the tag left on the file and the message.
TEST_F(SdifFile, BadHeadersAreRefusedWithTheirMessages) {
    std::string badSig = Header();
    badSig[0] = 'X';
    const struct {
        std::string bytes;
        int tag;
        const char* message;
    } cases[] = {
        {Header(8, 2), eBadFormatVersion,
         "Bad Format Version : File is in an old SDIF format version (2).  The library (version "
         "3) is not backwards compatible."},
        {Header(8, 4), eBadFormatVersion,
         "Bad Format Version : file is in a newer SDIF format version (4) than the library (3)"},
        // this format has a line feed of its own
        {badSig, eBadHeader, "Bad Sdif Header : SDIF not correctly read\n"},
        // too short to hold a signature: the same, no end-of-file report
        {"SD", eBadHeader, "Bad Sdif Header : SDIF not correctly read\n"},
    };
    for (const auto& c : cases) {
        RecordReports rec;
        SdifFileT* r = SdifFOpen(testsupport::SaveTemp("bad.sdif", c.bytes).c_str(), eReadFile);
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(0u, SdifFReadGeneralHeader(r)) << c.message;
        EXPECT_EQ(c.tag, SdifFLastErrorTag(r));
        ASSERT_EQ(1u, RecordReports::Reports().size());
        EXPECT_EQ(eError, RecordReports::Reports()[0].level);
        const std::string& text = RecordReports::Reports()[0].text;
        EXPECT_EQ(std::string("--> ") + c.message + "\n", text.substr(text.rfind("--> ")));
        SdifFClose(r);
    }
}

TEST_F(SdifFile, TruncatedHeaderIsAnEndOfFile) {
    std::string b = Header().substr(0, 10);
    std::string path = testsupport::SaveTemp("trunc.sdif", b);
    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    {
        RecordReports rec;
        AllowFatal fatal;
        EXPECT_EQ(0u, SdifFReadGeneralHeader(r));
        EXPECT_GE(fatal.Count(), 1);
    }
    EXPECT_EQ(eEof, SdifFLastErrorTag(r));
    SdifFClose(r);
}

// ---- ASCII chunks ----

TEST_F(SdifFile, RealFileHasNoASCIIChunksAndStopsOnItsFirstFrame) {
    SdifFileT* r = SdifFOpen(testsupport::DataPath("tone-s1.sdif").c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(51216, r->FileSize);
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(0u, SdifFReadAllASCIIChunks(r));
    EXPECT_EQ(Sig("1TRC"), SdifFCurrSignature(r));
    SdifFClose(r);
}

TEST_F(SdifFile, ASCIIChunksWrittenAreReadBackInAnyNumber) {
    std::string path = testsupport::TempPath("ascii.sdif");
    SdifFileT* w = SdifFOpen(path.c_str(), eWriteFile);
    ASSERT_NE(w, nullptr);
    SdifNameValuesLNewTable(w->NameValues, 0);
    SdifNameValuesLPutCurrNVT(w->NameValues, "Creator", "test");
    SdifNameValuesLNewTable(w->NameValues, 1);
    SdifNameValuesLPutCurrNVT(w->NameValues, "Date", "today");
    SdifStreamIDTablePutSID(w->StreamIDsTable, 1, "source", "tree/way");
    SdifStringT* decl = SdifStringNew();
    SdifStringAppend(decl, "1MTD XNEW {A, B}\n");
    SdifFGetAllTypefromSdifString(w, decl);
    SdifStringFree(decl);
    EXPECT_EQ(16u, SdifFWriteGeneralHeader(w));
    size_t written = SdifFWriteAllASCIIChunks(w);
    EXPECT_GT(written, 0u);
    SdifFClose(w);

    std::string bytes = testsupport::ReadFile(path);
    EXPECT_EQ(16 + written, bytes.size());
    // tables first, in list order, then the types, then the stream IDs
    size_t nvt1 = bytes.find("1NVT", 16), typ = bytes.find("1TYP", 16),
           ids = bytes.find("1IDS", 16);
    EXPECT_EQ(16u, nvt1);
    EXPECT_NE(std::string::npos, bytes.find("1NVT", nvt1 + 8));
    EXPECT_LT(bytes.find("1NVT", nvt1 + 8), typ);
    EXPECT_LT(typ, ids);

    PutEmptyFrame(bytes, "1TRC", 1, 0.0);
    testsupport::WriteFile(path, bytes);

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(written, SdifFReadAllASCIIChunks(r));
    EXPECT_EQ(Sig("1TRC"), r->CurrSignature);
    EXPECT_EQ(2, SdifFNameValueNum(r));
    ASSERT_NE(SdifNameValuesLSetCurrNVT(r->NameValues, 1), nullptr);
    SdifNameValueT* nv = SdifNameValuesLGetCurrNVT(r->NameValues, "Creator");
    ASSERT_NE(nv, nullptr);
    EXPECT_STREQ("test", nv->Value);
    SdifNameValuesLSetCurrNVT(r->NameValues, 2);
    ASSERT_NE(SdifNameValuesLGetCurrNVT(r->NameValues, "Date"), nullptr);
    EXPECT_EQ(1u, SdifStreamIDTableGetNbData(r->StreamIDsTable));
    SdifMatrixTypeT* m = SdifFGetMatrixType(r, Sig("XNEW"));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(2u, SdifMatrixTypeGetNumColumnDef(m, "B"));
    EXPECT_EQ(0u, SdifFNumErrors(r, eWarning));
    SdifFClose(r);
}

// An ASCII chunk ends after its matrix and its padding: its Size, smaller,
// larger or beyond the file, only decides the notice.
TEST_F(SdifFile, ASCIIChunksEndAfterTheirMatricesWhateverTheirSize) {
    const struct {
        const char* sig;
        std::string text;
    } chunks[] = {
        {"1NVT", std::string("a\t1\n\0", 5)},
        {"1TYP", std::string("1MTD XNEW {A}\n\0", 15)},
        {"1IDS", std::string("1 a:b;\n\0", 8)},
    };
    for (const auto& c : chunks) {
        const std::string matrix = testsupport::TextMatrixBytes(c.sig, c.text);
        const uint32_t exact = static_cast<uint32_t>(16 + matrix.size());
        for (uint32_t size : {exact - 8, exact + 8, 0x7FFFFFF0u}) {
            SCOPED_TRACE(std::string(c.sig) + " " + std::to_string(size));
            std::string bytes = Header() + testsupport::FrameBytes(c.sig, 0, 1, matrix, 0.0, size);
            PutEmptyFrame(bytes, "1TRC", 0, 0.0);
            CaptureSdifStdErr err;
            RecordReports rec;
            SdifFileT* r = sdiftest::OpenBytes("chunk-size.sdif", bytes);
            ASSERT_NE(r, nullptr);
            // read after the Size field: 16 bytes of header and the matrix
            char notice[128];
            std::snprintf(notice, sizeof notice, "*Sdif* erreur size %s: lu: %u  Attendu: %u\n\n",
                          c.sig, exact, size);
            EXPECT_EQ(notice, err.Text());
            EXPECT_TRUE(RecordReports::Reports().empty());
            EXPECT_EQ(Sig("1TRC"), SdifFCurrSignature(r));
            EXPECT_EQ(std::string(c.sig) == "1NVT", SdifFNameValueNum(r) == 1);
            EXPECT_EQ(std::string(c.sig) == "1TYP", SdifFGetMatrixType(r, Sig("XNEW")) != nullptr);
            EXPECT_EQ(std::string(c.sig) == "1IDS",
                      SdifStreamIDTableGetNbData(r->StreamIDsTable) == 1);
            SdifFClose(r);
        }
    }
}

TEST_F(SdifFile, NothingToDeclareWritesNoChunk) {
    std::string path = testsupport::TempPath("empty-ascii.sdif");
    SdifFileT* w = SdifFOpen(path.c_str(), eWriteFile);
    ASSERT_NE(w, nullptr);
    SdifTestMatrixType(w, Sig("1TRC"));  // used, not extended
    SdifFWriteGeneralHeader(w);
    EXPECT_EQ(0u, SdifFWriteAllASCIIChunks(w));
    SdifFClose(w);
    EXPECT_EQ(16u, testsupport::ReadFile(path).size());
}

TEST_F(SdifFile, TextFileHeaderAndChunksAreScanned) {
    RecordReports rec;
    std::string textPath = testsupport::SaveTemp("scan.txt",
                                                 "SDIF\n\n1NVT\n{\nCreator\tme\n}\n\n"
                                                 "1TYP\n{\n  1MTD XNEW {A, B}\n}\n\n"
                                                 "1IDS\n{\n  3 src:a/b;\n}\n\nENDC\n1TYP\n");
    SdifFileT* f = SdifFOpen("scan", ePredefinedTypes);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(f, SdifFOpenText(f, textPath.c_str(), eReadFile));
    EXPECT_EQ(4u, SdifFScanGeneralHeader(f));
    EXPECT_GT(SdifFScanAllASCIIChunks(f), 0u);
    EXPECT_EQ(1, SdifFNameValueNum(f));
    SdifNameValueT* nv = SdifNameValuesLGetCurrNVT(f->NameValues, "Creator");
    ASSERT_NE(nv, nullptr);
    EXPECT_STREQ("me", nv->Value);
    EXPECT_NE(SdifFGetMatrixType(f, Sig("XNEW")), nullptr);
    EXPECT_EQ(1u, SdifStreamIDTableGetNbData(f->StreamIDsTable));
    // ENDC ends the scan with its complaint; the 1TYP after it is not read
    EXPECT_EQ(eSyntax, SdifFLastErrorTag(f));
    EXPECT_EQ("Syntax error: Attempt to read 'SDFC' failed", RecordReports::LastMessage());
    EXPECT_EQ(1, f->TypeDefPass);
    SdifFClose(f);
}

TEST_F(SdifFile, TextFileWithAnotherWordIsReportedAndScanningGoesOn) {
    RecordReports rec;
    std::string textPath =
        testsupport::SaveTemp("scan2.txt", "SDIF\nWHAT 1TYP {1MTD XNEW {A}}\nENDF\n");
    SdifFileT* f = SdifFOpen("scan", ePredefinedTypes);
    ASSERT_EQ(f, SdifFOpenText(f, textPath.c_str(), eReadFile));
    SdifFScanGeneralHeader(f);
    SdifFScanAllASCIIChunks(f);
    ASSERT_EQ(std::vector<int>{eSyntax}, RecordReports::Tags());
    EXPECT_EQ("Syntax error: It is not a chunk name : 'WHAT'", RecordReports::LastMessage());
    EXPECT_NE(SdifFGetMatrixType(f, Sig("XNEW")), nullptr);
    EXPECT_EQ(Sig("ENDF"), f->CurrSignature);
    SdifFClose(f);

    std::string other = testsupport::SaveTemp("scan3.txt", "SDIX\n");
    f = SdifFOpen("scan", ePredefinedTypes);
    ASSERT_EQ(f, SdifFOpenText(f, other.c_str(), eReadFile));
    EXPECT_EQ(0u, SdifFScanGeneralHeader(f));
    EXPECT_EQ(eBadHeader, SdifFLastErrorTag(f));
    EXPECT_EQ("Bad Sdif Header : 'SDIF' not correctly read\t: 'SDIX'.",
              RecordReports::LastMessage());
    SdifFClose(f);
}

// ---- services of the object ----

TEST_F(SdifFile, PositionsRewindAndTruncate) {
    std::string b = Header();
    PutEmptyFrame(b, "1TRC", 0, 0.0);
    std::string path = testsupport::SaveTemp("pos.sdif", b);
    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    SdifFReadGeneralHeader(r);
    SdiffPosT pos = -5;
    EXPECT_EQ(0, SdifFGetPos(r, &pos));
    EXPECT_EQ(16, pos);
    EXPECT_EQ(1, SdifFRewind(r));
    EXPECT_EQ(0, SdifFGetPos(r, &pos));
    EXPECT_EQ(0, pos);
    pos = 16;
    EXPECT_EQ(0, SdifFSetPos(r, &pos));
    size_t nb = 0;
    EXPECT_EQ(1, SdifFGetSignature(r, &nb));
    EXPECT_EQ(4u, nb);
    EXPECT_EQ(Sig("1TRC"), r->CurrSignature);
    EXPECT_EQ(-2, SdifFTruncate(r));
    SdifFClose(r);

    SdifFileT* p = SdifFOpen("p", ePredefinedTypes);
    EXPECT_EQ(-2, SdifFTruncate(p));
    EXPECT_EQ(-1, SdifFGetPos(p, &pos));
    EXPECT_EQ(0, SdifFRewind(p));
    SdifFClose(p);
}

TEST_F(SdifFile, MatricesMetInAFrameAreRemembered) {
    SdifFileT* f = SdifFOpen("m", ePredefinedTypes);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(0u, SdifFIsInMtrxUsed(f, Sig("1TRC")));
    for (int i = 0; i < 20; ++i) SdifFPutInMtrxUsed(f, Sig("1TRC") + i);  // beyond 16
    EXPECT_EQ(Sig("1TRC") + 19, SdifFIsInMtrxUsed(f, Sig("1TRC") + 19));
    SdifFCreateCurrFramH(f, Sig("1TRC"))->NbMatrix = 3;
    SdifFReInitMtrxUsed(f);
    EXPECT_EQ(0u, f->MtrxUsed->NbSign);
    EXPECT_EQ(0u, SdifFIsInMtrxUsed(f, Sig("1TRC")));
    // a claimed count far beyond anything real does not size the table
    f->CurrFramH->NbMatrix = 0xFFFFFFFFu;
    ASSERT_NE(SdifFReInitMtrxUsed(f), nullptr);
    EXPECT_LT(f->MtrxUsed->NbSignMax, 100000u);
    SdifFClose(f);
}

TEST_F(SdifFile, RowColumnsCountFromOne) {
    SdifFileT* f = SdifFOpen("a", ePredefinedTypes);
    ASSERT_NE(f, nullptr);
    ASSERT_NE(SdifReInitOneRow(f->CurrOneRow, eFloat4, 4), nullptr);
    float values[4] = {1.0f, 440.0f, 0.5f, 0.25f};
    SdifFSetCurrOneRow(f, values);
    EXPECT_EQ(440.0, SdifFCurrOneRowCol(f, 2));
    SdifFSetCurrOneRowCol(f, 3, 0.75);
    EXPECT_EQ(0.75f, static_cast<float*>(SdifFCurrOneRowData(f))[2]);  // the third column
    SdifMatrixTypeT* trc = SdifTestMatrixType(f, Sig("1TRC"));
    EXPECT_EQ(0.25, SdifFCurrOneRowColName(f, trc, "Phase"));
    SdifFClose(f);
}

TEST_F(SdifFile, FileFormatCheckRecognisesSdifSilently) {
    EXPECT_EQ(1, SdifCheckFileFormat(testsupport::DataPath("saw-s0.sdif").c_str()));
    CaptureSdifStdErr err;
    EXPECT_EQ(0, SdifCheckFileFormat(testsupport::TempPath("missing.sdif").c_str()));
    EXPECT_EQ(0, SdifCheckFileFormat(testsupport::SaveTemp("plain.txt", "hello world").c_str()));
    EXPECT_EQ(0, SdifCheckFileFormat(testsupport::SaveTemp("tiny.sdif", "SD").c_str()));
    EXPECT_EQ("", err.Text());
    EXPECT_EQ(1, gSdifErrorOutputEnabled);  // switched back on
}

TEST_F(SdifFile, NextFrameCheckFindsTheFirstWantedSelectedFrame) {
    std::string b = Header();
    PutEmptyFrame(b, "1TRC", 0, 0.0);
    PutEmptyFrame(b, "1PIC", 2, 0.1);
    PutEmptyFrame(b, "1PIC", 1, 0.2);
    PutEmptyFrame(b, "1HRM", 1, 0.3);
    std::string path = testsupport::SaveTemp("next.sdif", b);

    SdifFileT* r = SdifFOpen((path + "::#1").c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    SdifFReadGeneralHeader(r);
    SdifFReadAllASCIIChunks(r);
    SdifSignatureTabT* wanted = SdifCreateSignatureTab(4);
    SdifAddToSignatureTab(wanted, Sig("1HRM"));
    SdifAddToSignatureTab(wanted, Sig("1PIC"));
    int index = 99;
    // the stream-2 frame is not selected; the stream-1 1PIC frame is
    EXPECT_EQ(Sig("1PIC"), SdifCheckNextFrame(r, wanted, &index));
    EXPECT_EQ(1, index);
    EXPECT_EQ(1u, SdifFCurrID(r));
    EXPECT_EQ(0.2, SdifFCurrTime(r));
    // nothing more after the last one
    SdifFSkipFrameData(r);
    size_t nb = 0;
    SdifFGetSignature(r, &nb);
    EXPECT_EQ(Sig("1HRM"), SdifCheckNextFrame(r, wanted, &index));
    EXPECT_EQ(0, index);
    SdifFSkipFrameData(r);
    SdifFGetSignature(r, &nb);
    EXPECT_EQ(0u, SdifCheckNextFrame(r, wanted, &index));
    EXPECT_EQ(-1, index);
    SdifKillSignatureTab(wanted);
    SdifFClose(r);
}
