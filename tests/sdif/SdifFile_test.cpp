// The file object: start-up, open modes and standard streams, the general
// header, the ASCII chunks after it, and the small services of the object.
#include <unistd.h>

#include <cfloat>
#include <cstdlib>
#include <cstring>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
// An empty frame of the given signature (16-byte header, no matrix).
void PutEmptyFrame(std::string& b, const char* sig, uint32_t streamID, double time) {
    b += FrameBytes(sig, streamID, 0, "", time);
}

class SdifFile : public SdifLibraryTest {};

}  // namespace

// ---- start-up ----

TEST_F(SdifFile, SecondStartOrOpeningBeforeStartStops) {
    SdifGenInitCond("");  // already started: nothing happens
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
    std::string path = SaveTemp("init.sdif", SdifHeader());
    SdifFileT* f = SdifFOpen((path + "::#1:1TRC").c_str(), eReadFile);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(path, f->Name);
    EXPECT_EQ(
        std::make_tuple(SdifListGetNbData(f->Selection->stream),
                        SdifListGetNbData(f->Selection->frame), f->isSeekable, long(f->FileSize),
                        f->PrevTime, f->CurrSignature, SdifFNameValueNum(f)),
        std::make_tuple(1u, 1u, 1, 16L, -DBL_MAX, 0u, 0));
    EXPECT_EQ(16u, SdifFReadGeneralHeader(f));
    SdifFClose(f);
}

TEST_F(SdifFile, MissingFileIsReportedAndAnswersNone) {
    RecordReports rec;
    std::string path = TempPath("no-such-file.sdif");
    EXPECT_EQ(SdifFOpen(path.c_str(), eReadFile), nullptr);
    ASSERT_EQ(std::vector<int>{eFileNotFound}, RecordReports::Tags());
    EXPECT_EQ("File not found or permission denied: \"" + path + "\"",
              RecordReports::LastMessage());
    EXPECT_EQ(SdifFOpen((path + "::#2").c_str(), eReadWriteFile), nullptr);
    EXPECT_EQ("File not found or permission denied: \"" + path + "::#2\"",
              RecordReports::LastMessage());
}

TEST_F(SdifFile, StandardStreamInTheWrongModeOrAnUnknownModeIsRefused) {
    std::string path = SaveTemp("mode.sdif", SdifHeader());
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
    for (const char* name : {"-", "stdin", static_cast<const char*>(nullptr)}) {
        SdifFileT* in = SdifFOpen(name, eReadFile);
        ASSERT_NE(in, nullptr);
        EXPECT_EQ(std::make_tuple(stdin, 0, -1L),
                  std::make_tuple(in->Stream, in->isSeekable, long(in->FileSize)));
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

TEST_F(SdifFile, HeaderWrittenToStandardOutputLeavesItOpen) {
    ChildRun run = RunChild("", [] {
        SdifFileT* f = SdifFOpen("-", eWriteFile);
        if (!f) return "no file";
        size_t n = SdifFWriteGeneralHeader(f);
        SdifFClose(f);
        std::fputs("after", stdout);
        return n == 16 ? "ok" : "short header";
    });
    EXPECT_EQ("ok", run.result);
    EXPECT_EQ(SdifHeader() + "after", run.out);
}

TEST_F(SdifFile, TextStreamOpensBesideTheBinaryOne) {
    RecordReports rec;
    std::string path = SaveTemp("text.sdif", SdifHeader());
    std::string textPath = SaveTemp("text.txt", "SDIF\n");
    SdifFileT* f = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f, SdifFOpenText(f, textPath.c_str(), eReadFile));
    EXPECT_EQ(textPath, f->TextStreamName);
    EXPECT_NE(f->Stream, f->TextStream);
    EXPECT_EQ(
        std::make_tuple(f->Stream, f->TextStream),
        std::make_tuple(SdifFGetFILE_SwitchVerbose(f, 's'), SdifFGetFILE_SwitchVerbose(f, 't')));
    {
        CaptureSdifStdErr err;
        EXPECT_EQ(SdifFGetFILE_SwitchVerbose(f, 'x'), nullptr);
        EXPECT_EQ("*Sdif* x not a verbose ('t': text; 's':SdifFile)\n", err.Text());
    }
    EXPECT_EQ(4u, SdifFScanGeneralHeader(f));

    const std::string none = TempPath("none.txt");
    for (auto [name, mode, tag] : {std::make_tuple("stdout", eReadFile, eBadStdFile),
                                   std::make_tuple("stdin", eWriteFile, eBadStdFile),
                                   std::make_tuple(none.c_str(), eReadFile, eFileNotFound),
                                   std::make_tuple(textPath.c_str(), eReadWriteFile, eBadMode)}) {
        EXPECT_EQ(SdifFOpenText(f, name, mode), nullptr) << name;
        EXPECT_EQ(tag, SdifFLastErrorTag(f)) << name;
    }
    EXPECT_NE(
        RecordReports::Reports().back().text.find("this mode doesn't exist or isn't appropriated"),
        std::string::npos);
    EXPECT_EQ(f, SdifFOpenText(f, "stdout", eWriteFile));
    EXPECT_EQ(stdout, f->TextStream);
    SdifFClose(f);
    EXPECT_EQ(0, std::fflush(stdout));
}

// ---- general header ----

TEST_F(SdifFile, LongerHeaderChunkIsSkippedButNotCounted) {
    std::string b = SdifHeader(16, 3, 7) + "\x01\x02\x03\x04\x05\x06\x07\x08";
    PutEmptyFrame(b, "1TRC", 0, 0.0);
    SdifFileT* r = SdifFOpen(SaveTemp("long.sdif", b).c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(0u, SdifFReadAllASCIIChunks(r));
    SdiffPosT pos = 0;
    EXPECT_EQ(0, SdifFGetPos(r, &pos));
    // the types version is stored, not checked
    EXPECT_EQ(std::make_tuple(r->ChunkSize, r->FormatVersion, r->TypesVersion, r->CurrSignature,
                              long(pos)),
              std::make_tuple(16u, 3u, 7u, Sig("1TRC"), 28L));
    SdifFClose(r);
}

TEST_F(SdifFile, HeaderPaddingAboveTheLimitStops) {
    std::string b = SdifHeader(8 + 1025);
    b += std::string(1025, '\0');
    std::string path = SaveTemp("pad.sdif", b);
    EXPECT_DEATH(
        {
            SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
            SdifFReadGeneralHeader(r);
        },
        "failed assertion `Padding <= _SdifStringLen'");
}

// Headers the reader refuses: the tag left on the file and the message.
TEST_F(SdifFile, BadHeadersAreRefusedWithTheirMessages) {
    std::string badSig = SdifHeader();
    badSig[0] = 'X';
    const struct {
        std::string bytes;
        int tag;
        const char* message;
    } cases[] = {
        {SdifHeader(8, 2), eBadFormatVersion,
         "Bad Format Version : File is in an old SDIF format version (2).  The library (version "
         "3) is not backwards compatible."},
        {SdifHeader(8, 4), eBadFormatVersion,
         "Bad Format Version : file is in a newer SDIF format version (4) than the library (3)"},
        // this format has a line feed of its own
        {badSig, eBadHeader, "Bad Sdif Header : SDIF not correctly read\n"},
        // too short to hold a signature: the same, no end-of-file report
        {"SD", eBadHeader, "Bad Sdif Header : SDIF not correctly read\n"},
    };
    for (const auto& c : cases) {
        RecordReports rec;
        SdifFileT* r = SdifFOpen(SaveTemp("bad.sdif", c.bytes).c_str(), eReadFile);
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
    SdifFileT* r = SdifFOpen(SaveTemp("trunc.sdif", SdifHeader().substr(0, 10)).c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    RecordReports rec;
    AllowFatal fatal;
    EXPECT_EQ(0u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(std::make_tuple(fatal.Count() >= 1, SdifFLastErrorTag(r)),
              std::make_tuple(true, eEof));
    SdifFClose(r);
}

// ---- ASCII chunks ----

TEST_F(SdifFile, ASCIIChunksWrittenAreReadBackInAnyNumber) {
    std::string path = TempPath("ascii.sdif");
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

    std::string bytes = ReadFile(path);
    EXPECT_EQ(16 + written, bytes.size());
    // tables first, in list order, then the types, then the stream IDs
    std::vector<std::string> order;
    for (const RawFrame& f : RawFrames(bytes, true)) order.push_back(bytes.substr(f.at, 4));
    EXPECT_EQ(order, (std::vector<std::string>{"1NVT", "1NVT", "1TYP", "1IDS"}));
    PutEmptyFrame(bytes, "1TRC", 1, 0.0);
    WriteFile(path, bytes);

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(written, SdifFReadAllASCIIChunks(r));
    // each chunk's own content is checked with its table; here that all came
    EXPECT_EQ(
        std::make_tuple(r->CurrSignature, SdifFNameValueNum(r),
                        SdifStreamIDTableGetNbData(r->StreamIDsTable),
                        SdifFGetMatrixType(r, Sig("XNEW")) != nullptr, SdifFNumErrors(r, eWarning)),
        std::make_tuple(Sig("1TRC"), 2, 1u, true, 0u));
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
        const std::string matrix = TextMatrixBytes(c.sig, c.text);
        const uint32_t exact = static_cast<uint32_t>(16 + matrix.size());
        for (uint32_t size : {exact - 8, exact + 8, 0x7FFFFFF0u}) {
            SCOPED_TRACE(std::string(c.sig) + " " + std::to_string(size));
            std::string bytes = SdifHeader() + FrameBytes(c.sig, 0, 1, matrix, 0.0, size);
            PutEmptyFrame(bytes, "1TRC", 0, 0.0);
            CaptureSdifStdErr err;
            RecordReports rec;
            SdifFileT* r = OpenBytes("chunk-size.sdif", bytes);
            ASSERT_NE(r, nullptr);
            // read after the Size field: 16 bytes of header and the matrix
            char notice[128];
            std::snprintf(notice, sizeof notice, "*Sdif* erreur size %s: lu: %u  Attendu: %u\n\n",
                          c.sig, exact, size);
            EXPECT_EQ(notice, err.Text());
            EXPECT_TRUE(RecordReports::Reports().empty());
            EXPECT_EQ(Sig("1TRC"), SdifFCurrSignature(r));
            const std::string sig = c.sig;
            EXPECT_EQ(std::make_tuple(SdifFNameValueNum(r) == 1,
                                      SdifFGetMatrixType(r, Sig("XNEW")) != nullptr,
                                      SdifStreamIDTableGetNbData(r->StreamIDsTable) == 1),
                      std::make_tuple(sig == "1NVT", sig == "1TYP", sig == "1IDS"));
            SdifFClose(r);
        }
    }
}

TEST_F(SdifFile, TextFileHeaderAndChunksAreScanned) {
    RecordReports rec;
    std::string textPath = SaveTemp("scan.txt",
                                    "SDIF\n\n1NVT\n{\nCreator\tme\n}\n\n"
                                    "1TYP\n{\n  1MTD XNEW {A, B}\n}\n\n"
                                    "1IDS\n{\n  3 src:a/b;\n}\n\nENDC\n1TYP\n");
    SdifFileT* f = SdifFOpen("scan", ePredefinedTypes);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(f, SdifFOpenText(f, textPath.c_str(), eReadFile));
    CaptureSdifStdErr err;  // the intermediate-format notice is for binary files only
    EXPECT_EQ(4u, SdifFScanGeneralHeader(f));
    EXPECT_GT(SdifFScanAllASCIIChunks(f), 0u);
    EXPECT_EQ("", err.Text());
    SdifMatrixTypeT* xnew = SdifFGetMatrixType(f, Sig("XNEW"));
    EXPECT_EQ(2u, xnew ? SdifMatrixTypeGetNumColumnDef(xnew, "B") : 0u);
    SdifNameValueT* nv = SdifNameValuesLGetCurrNVT(f->NameValues, "Creator");
    EXPECT_STREQ("me", nv ? nv->Value : "");
    // ENDC ends the scan with its complaint; the 1TYP after it is not read
    EXPECT_EQ(std::make_tuple(SdifFNameValueNum(f), SdifFGetMatrixType(f, Sig("XNEW")) != nullptr,
                              SdifStreamIDTableGetNbData(f->StreamIDsTable), SdifFLastErrorTag(f),
                              f->TypeDefPass),
              std::make_tuple(1, true, 1u, eSyntax, 1));
    EXPECT_EQ("Syntax error: Attempt to read 'SDFC' failed", RecordReports::LastMessage());
    SdifFClose(f);
}

TEST_F(SdifFile, TextFileWithAnotherWordIsReportedAndScanningGoesOn) {
    RecordReports rec;
    std::string textPath = SaveTemp("scan2.txt", "SDIF\nWHAT 1TYP {1MTD XNEW {A}}\nENDF\n");
    SdifFileT* f = SdifFOpen("scan", ePredefinedTypes);
    ASSERT_EQ(f, SdifFOpenText(f, textPath.c_str(), eReadFile));
    SdifFScanGeneralHeader(f);
    SdifFScanAllASCIIChunks(f);
    ASSERT_EQ(std::vector<int>{eSyntax}, RecordReports::Tags());
    EXPECT_EQ("Syntax error: It is not a chunk name : 'WHAT'", RecordReports::LastMessage());
    EXPECT_NE(SdifFGetMatrixType(f, Sig("XNEW")), nullptr);
    EXPECT_EQ(Sig("ENDF"), f->CurrSignature);
    SdifFClose(f);

    std::string other = SaveTemp("scan3.txt", "SDIX\n");
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
    std::string b = SdifHeader();
    PutEmptyFrame(b, "1TRC", 0, 0.0);
    std::string path = SaveTemp("pos.sdif", b);
    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    SdifFReadGeneralHeader(r);
    SdiffPosT pos = -5, at16 = -5, at0 = -5;
    EXPECT_EQ(0, SdifFGetPos(r, &at16));
    EXPECT_EQ(1, SdifFRewind(r));
    EXPECT_EQ(0, SdifFGetPos(r, &at0));
    pos = 16;
    EXPECT_EQ(0, SdifFSetPos(r, &pos));
    size_t nb = 0;
    EXPECT_EQ(1, SdifFGetSignature(r, &nb));
    EXPECT_EQ(std::make_tuple(long(at16), long(at0), nb, r->CurrSignature, SdifFTruncate(r)),
              std::make_tuple(16L, 0L, size_t(4), Sig("1TRC"), -2));
    SdifFClose(r);

    SdifFileT* p = SdifFOpen("p", ePredefinedTypes);
    EXPECT_EQ(std::make_tuple(SdifFTruncate(p), SdifFGetPos(p, &pos), SdifFRewind(p)),
              std::make_tuple(-2, -1, 0));
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
    EXPECT_EQ(1, SdifCheckFileFormat(DataPath("saw-s0.sdif").c_str()));
    CaptureSdifStdErr err;
    for (const std::string& path : {TempPath("missing.sdif"), SaveTemp("plain.txt", "hello world"),
                                    SaveTemp("tiny.sdif", "SD")})
        EXPECT_EQ(0, SdifCheckFileFormat(path.c_str())) << path;
    EXPECT_EQ("", err.Text());
    EXPECT_EQ(1, gSdifErrorOutputEnabled);  // switched back on
}

TEST_F(SdifFile, NextFrameCheckFindsTheFirstWantedSelectedFrame) {
    std::string b = SdifHeader();
    PutEmptyFrame(b, "1TRC", 0, 0.0);
    PutEmptyFrame(b, "1PIC", 2, 0.1);
    PutEmptyFrame(b, "1PIC", 1, 0.2);
    PutEmptyFrame(b, "1HRM", 1, 0.3);
    std::string path = SaveTemp("next.sdif", b);

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
    EXPECT_EQ(std::make_tuple(1, 1u, 0.2),
              std::make_tuple(index, SdifFCurrID(r), SdifFCurrTime(r)));
    // nothing more after the last one
    size_t nb = 0;
    for (auto [sig, at] : {std::make_tuple(Sig("1HRM"), 0), std::make_tuple(0u, -1)}) {
        SdifFSkipFrameData(r);
        SdifFGetSignature(r, &nb);
        EXPECT_EQ(sig, SdifCheckNextFrame(r, wanted, &index));
        EXPECT_EQ(at, index);
    }
    SdifKillSignatureTab(wanted);
    SdifFClose(r);
}
