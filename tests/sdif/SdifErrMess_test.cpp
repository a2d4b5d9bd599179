// Error reporting: the composed diagnostic, dispatch by level, the per-file
// list and counters, and the default callbacks.
#include <cstdio>
#include <string>
#include <vector>

#include "SdifTestEnv.h"

using sdiftest::AllowFatal;
using sdiftest::CaptureSdifStdErr;
using sdiftest::RecordReports;
using sdiftest::StreamFile;

namespace {

class ErrMess : public ::testing::Test {
   protected:
    void SetUp() override {
        sdiftest::StartByteLayerOnly();
        SdifEnableErrorOutput();
    }
    void TearDown() override { SdifEnableErrorOutput(); }
};

std::string Compose(SdifFileT* file, SdifErrorTagET tag, const char* text,
                    unsigned int size = 4096) {
    char buf[4096];
    SdifFsPrintError(buf, size, file, tag, text, "SdifFRead.cpp", 12);
    return buf;
}

// A stream positioned at pos (0 when pos is 0).
FILE* StreamAt(long pos) {
    FILE* f = std::tmpfile();
    for (long i = 0; i < pos; i++) std::fputc('x', f);
    return f;
}

}  // namespace

// ---- the diagnostic ----

TEST_F(ErrMess, DiagnosticWithoutFileHasNoPositionNorLineFeedAfterTheHead) {
    EXPECT_EQ(Compose(nullptr, eEof, "Sdiffread 6"),
              "*Sdif* Fatal Error 4:\n  SdifFile: (no sdiffile)--> End of file : Sdiffread 6\n\n");
    EXPECT_EQ(Compose(nullptr, eBadMode, "this mode doesn't exist"),
              "*Sdif* Error 15:\n  SdifFile: (no sdiffile)--> Bad mode at sdif file opening (-1), "
              "this mode doesn't exist\n\n");
}

TEST_F(ErrMess, DiagnosticOfAFileAtPositionZeroHasOnlyTheLineFeed) {
    StreamFile file(StreamAt(0), "a.sdif");
    EXPECT_EQ(Compose(file.get(), eReDefined, "1TRC"),
              "*Sdif* Error 5:\n  SdifFile: a.sdif\n--> 1TRC redefined\n\n");
    // No stream at all: still a file, so the line feed is there.
    SdifFileT bare{};
    bare.Name = const_cast<char*>("b.sdif");
    EXPECT_EQ(Compose(&bare, eWordCut, "ab"),
              "*Sdif* Warning 31:\n  SdifFile: b.sdif\n--> Word cut read : 'ab'\n\n");
}

TEST_F(ErrMess, DiagnosticGivesThePositionInThreeBasesAndStoresIt) {
    StreamFile file(StreamAt(20), "a.sdif");
    file->Pos = 0;
    EXPECT_EQ(Compose(file.get(), eBadHeader, "x"),
              "*Sdif* Error 10:\n  SdifFile: a.sdif (byte:    20=0x0014=0000024)\n"
              "--> Bad Sdif Header : x\n\n");
    EXPECT_EQ(file->Pos, 20);
}

TEST_F(ErrMess, DiagnosticNamesTheTextFileWhenOneIsOpen) {
    StreamFile file(StreamAt(0), "a.sdif");
    FILE* text = std::tmpfile();
    file->TextStream = text;
    file->TextStreamName = const_cast<char*>("types.txt");
    EXPECT_EQ(
        Compose(file.get(), eSyntax, "x"),
        "*Sdif* Warning 7:\n  SdifFile: a.sdif, TextFile: types.txt\n--> Syntax error: x\n\n");
    std::fclose(text);
}

TEST_F(ErrMess, DiagnosticDescribesTheCurrentFrameAndMatrix) {
    StreamFile file(StreamAt(0), "a.sdif");
    SdifFrameHeaderT frame{0x31545243, 0x40, 2, 3, 0.5};
    SdifMatrixHeaderT matrix{0x31545243, eFloat4, 10, 4};
    file->CurrFramH = &frame;
    file->CurrMtrxH = &matrix;
    EXPECT_EQ(Compose(file.get(), eMatrixNotInFrame, "1ABC"),
              "*Sdif* Warning 20:\n  SdifFile: a.sdif\n"
              "  FramH : 1TRC   Size: 0x0040   NbMatrix: 2   NumID: 3   Time: 0.5\n"
              "  MtrxH :   1TRC   DataWidth: 0004   Rows: 10   Columns: 4\n"
              "--> Matrix is not in frames components : 1ABC\n\n");

    matrix.Signature = 0;  // a header without a signature prints no matrix line
    EXPECT_EQ(Compose(file.get(), eNotFound, "x"),
              "*Sdif* Warning 29:\n  SdifFile: a.sdif\n"
              "  FramH : 1TRC   Size: 0x0040   NbMatrix: 2   NumID: 3   Time: 0.5\n"
              "--> Not Find : 'x'\n\n");
    file->CurrFramH = nullptr;
    file->CurrMtrxH = nullptr;
}

TEST_F(ErrMess, DiagnosticGivesTheOpenModeToTheModeMessages) {
    StreamFile file(StreamAt(0), "stdin");
    file->Mode = eWriteFile;
    EXPECT_EQ(
        Compose(file.get(), eBadStdFile, "stdin"),
        "*Sdif* Error 16:\n  SdifFile: stdin\n--> Bad standart file or bad mode (1), stdin\n\n");
}

TEST_F(ErrMess, DiagnosticIsTruncatedToTheBufferSize) {
    std::string full = Compose(nullptr, eEof, "x");
    EXPECT_EQ(Compose(nullptr, eEof, "x", 20), full.substr(0, 19));
}

TEST_F(ErrMess, MessagesAreTakenLetterForLetter) {
    struct Case {
        SdifErrorTagET tag;
        const char* line;  // the "--> " line for the text "T"
    } cases[] = {
        {eUnknown, "Warning unknown"},
        {eNoError, "No Error"},
        {eTypeDataNotSupported, "Type of data not actualy supported : T\n"},
        {eOnlyOneChunk, "There can be only 0 or 1 'T' chunk.\n"},
        {eReadWriteOnSameFile, "Read file and Write file are the same file : T"},
        {eBadFormatVersion, "Bad Format Version : T"},
        {eFileNotFound, "File not found or permission denied: \"T\"\n"},
        {eNotInDataTypeUnion, "Type of data Not in DataTypeUnion  : 'T'\n"},
        {eArrayPosition, "Attempt to access to a non-existing square in an array : 'T'\n"},
    };
    for (const Case& c : cases) {
        std::string d = Compose(nullptr, c.tag, "T");
        EXPECT_EQ(d.substr(d.find("--> ") + 4), std::string(c.line) + "\n") << c.tag;
    }
}

// ---- dispatch ----

TEST_F(ErrMess, EachLevelGoesToItsCallback) {
    // Levels by tag, from the tag table of the design.
    const SdifErrorLevelET levels[] = {
        eMessage, eMessage, eWarning, eWarning, eFatal,   eError,   eError,   eWarning, eWarning,
        eWarning, eError,   eWarning, eWarning, eWarning, eWarning, eError,   eError,   eError,
        eError,   eWarning, eWarning, eFatal,   eFatal,   eFatal,   eWarning, eWarning, eWarning,
        eWarning, eFatal,   eWarning, eWarning, eWarning, eFatal};
    CaptureSdifStdErr err;
    for (int tag = 0; tag <= eTokenLength; tag++) {
        RecordReports rec;
        AllowFatal fatal;
        SdifFError(nullptr, static_cast<SdifErrorTagET>(tag), "t", "X.cpp", 1);
        SdifErrorLevelET want = levels[tag];
        if (want >= eRemark) {
            EXPECT_TRUE(rec.Reports().empty()) << tag;
        } else {
            ASSERT_EQ(rec.Reports().size(), 1u) << tag;
            EXPECT_EQ(rec.Reports()[0].level, want) << tag;
        }
        EXPECT_EQ(fatal.Count(), want == eFatal ? 1 : 0) << tag;
    }
    // Only the two Message tags were printed directly.
    EXPECT_EQ(err.Text(),
              "*Sdif* Message 0:\n  SdifFile: (no sdiffile)--> Warning unknown\n"
              "*Sdif* Message 1:\n  SdifFile: (no sdiffile)--> No Error\n");
}

namespace {
std::vector<std::string> gCalls;
void ErrorFirst(SdifErrorTagET tag, SdifErrorLevelET, char*, SdifFileT*, SdifErrorT* e, char* src,
                int line) {
    gCalls.push_back("error " + std::to_string(tag) + " " + src + ":" + std::to_string(line) +
                     (e ? " " + std::string(e->UserMess) : ""));
}
void ExitAfter() { gCalls.push_back("exit"); }
}  // namespace

TEST_F(ErrMess, FatalCallsTheErrorCallbackThenTheExitCallback) {
    SdifSetErrorFunc(ErrorFirst);
    SdifSetExitFunc(ExitAfter);
    gCalls.clear();
    StreamFile file(StreamAt(0));
    EXPECT_EQ(SdifFError(file.get(), eAllocFail, "buf", "SdifMatrix.cpp", 42), 1u);
    EXPECT_EQ(SdifFError(file.get(), eReDefined, "1TRC", "SdifFile.cpp", 7), 1u);
    SdifSetErrorFunc(SdifDefaultErrorFunc);
    sdiftest::InstallTestExit();
    EXPECT_EQ(gCalls, (std::vector<std::string>{"error 22 SdifMatrix.cpp:42 buf", "exit",
                                                "error 5 SdifFile.cpp:7 1TRC"}));
}

TEST_F(ErrMess, DefaultCallbacksPrintTheTextLiterallyUnlessOutputIsOff) {
    CaptureSdifStdErr err;
    SdifDefaultErrorFunc(eSyntax, eWarning, const_cast<char*>("100% %s %n\n"), nullptr, nullptr,
                         const_cast<char*>("x"), 0);
    SdifDefaultWarningFunc(eSyntax, eWarning, const_cast<char*>("w\n"), nullptr, nullptr,
                           const_cast<char*>("x"), 0);
    EXPECT_EQ(err.Text(), "100% %s %n\nw\n");

    SdifFError(nullptr, eWordCut, "a%d", "x", 1);  // through the default warning callback
    EXPECT_EQ(err.Text(),
              "100% %s %n\nw\n*Sdif* Warning 31:\n  SdifFile: (no sdiffile)--> Word cut "
              "read : 'a%d'\n\n");
}

TEST_F(ErrMess, DisabledOutputSilencesDefaultsAndDirectPrintsButStillCounts) {
    CaptureSdifStdErr err;
    StreamFile file(StreamAt(0));
    SdifDisableErrorOutput();
    EXPECT_EQ(SdifFError(file.get(), eUnknown, "m", "x", 1), 1u);    // Message
    EXPECT_EQ(SdifFError(file.get(), eWordCut, "w", "x", 1), 1u);    // Warning
    EXPECT_EQ(SdifFError(file.get(), eReDefined, "e", "x", 1), 1u);  // Error
    EXPECT_EQ(err.Text(), "");
    EXPECT_EQ(SdifFNumErrors(file.get(), eMessage), 3u);
    SdifEnableErrorOutput();
    SdifFError(file.get(), eNoError, "m", "x", 1);
    EXPECT_EQ(err.Text(), "*Sdif* Message 1:\n  SdifFile: mem.sdif\n--> No Error\n");
}

TEST(ErrMessDeath, DefaultFatalPrintsThenEndsWithStatusOne) {
    EXPECT_EXIT(
        {
            SdifStdErr = stderr;
            SdifSetErrorFunc(SdifDefaultErrorFunc);
            SdifSetExitFunc(SdifExit);
            SdifFError(nullptr, eEof, "Sdiffread 0", "SdifFRead.cpp", 1);
        },
        ::testing::ExitedWithCode(1), "--> End of file : Sdiffread 0");
    EXPECT_EXIT(SdifExit(), ::testing::ExitedWithCode(1), "");
}

// ---- list and counters ----

TEST_F(ErrMess, ReportsOnAFileAreCountedByLevelAndListedInOrder) {
    RecordReports rec;
    AllowFatal fatal;
    StreamFile file(StreamAt(0));
    EXPECT_EQ(SdifFLastError(file.get()), nullptr);
    EXPECT_EQ(SdifFLastErrorTag(file.get()), eNoError);  // 1, not 0, on an empty list

    EXPECT_EQ(SdifFError(file.get(), eWordCut, "w1", "x", 1), 1u);
    EXPECT_EQ(SdifFError(file.get(), eSyntax, "w2", "x", 1), 2u);
    EXPECT_EQ(SdifFError(file.get(), eEof, "f1", "x", 1), 1u);
    EXPECT_EQ(SdifFError(file.get(), eUnDefined, "e1", "x", 1), 1u);
    EXPECT_EQ(SdifFError(file.get(), eNoError, "m1", "x", 1), 1u);
    EXPECT_EQ(SdifFError(nullptr, eSyntax, "no file", "x", 1), 0u);

    EXPECT_EQ(SdifFNumErrors(file.get(), eFatal), 1u);
    EXPECT_EQ(SdifFNumErrors(file.get(), eError), 2u);
    EXPECT_EQ(SdifFNumErrors(file.get(), eWarning), 4u);
    EXPECT_EQ(SdifFNumErrors(file.get(), eRemark), 4u);
    EXPECT_EQ(SdifFNumErrors(file.get(), eMessage), 5u);

    SdifErrorT* last = SdifFLastError(file.get());
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->Tag, eNoError);
    EXPECT_EQ(last->Level, eMessage);
    EXPECT_STREQ(last->UserMess, "m1");

    std::vector<std::string> texts;
    SdifListT* list = file->Errors->ErrorList;
    for (SdifListInitLoop(list); SdifListIsNext(list);)
        texts.push_back(static_cast<SdifErrorT*>(SdifListGetNext(list))->UserMess);
    EXPECT_EQ(texts, (std::vector<std::string>{"w1", "w2", "f1", "e1", "m1"}));

    // The callback receives the record just appended; none without a file.
    ASSERT_EQ(rec.Reports().size(), 5u);
    EXPECT_STREQ(rec.Reports()[3].error->UserMess, "e1");
    EXPECT_EQ(rec.Reports()[4].error, nullptr);
    EXPECT_EQ(rec.Reports()[4].file, nullptr);
}

TEST_F(ErrMess, InsertTailErrorCountsWithoutPrinting) {
    CaptureSdifStdErr err;
    RecordReports rec;
    SdifErrorLT* list = SdifCreateErrorL(nullptr);
    unsigned int counters[5] = {};
    EXPECT_EQ(SdifInsertTailError(list, counters, eEof, "a"), 1);
    EXPECT_EQ(SdifInsertTailError(list, counters, eEof, "b"), 2);
    EXPECT_EQ(counters[eFatal], 2u);
    EXPECT_EQ(SdifLastErrorTag(list), eEof);
    EXPECT_STREQ(SdifLastError(list)->UserMess, "b");
    SdifKillErrorL(list);
    EXPECT_TRUE(rec.Reports().empty());
    EXPECT_EQ(err.Text(), "");
}

TEST_F(ErrMess, FreeingNothingIsAFatalReport) {
    RecordReports rec;
    AllowFatal fatal;
    SdifKillErrorL(nullptr);
    SdifKillError(nullptr);
    EXPECT_EQ(rec.Tags(), (std::vector<int>{eFreeNull, eFreeNull}));
    EXPECT_EQ(rec.LastMessage(), "Attempt to free a NULL pointer : 'Error free'");
    EXPECT_EQ(fatal.Count(), 2);
}

TEST(ErrMessDeath, NumErrorsAboveMessageLevelStops) {
    SdifFileT file{};
    EXPECT_DEATH(SdifFNumErrors(&file, static_cast<SdifErrorLevelET>(5)),
                 "failed assertion `!\"illegal argument for SdifErrorLevelET\"'");
}
