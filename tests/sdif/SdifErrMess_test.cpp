// Error reporting: the composed diagnostic, dispatch by level, the per-file
// list and counters, and the default callbacks.
#include <functional>
#include <iterator>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
class ErrMess : public ::testing::Test {
   protected:
    void SetUp() override {
        StartByteLayerOnly();
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

// Of a file: its name and a line feed (also without a stream), the position
// in three bases when not 0 (refreshed from the stream and stored), the text
// file when one is open, the current frame and matrix headers (no matrix
// line for a signature 0), the open mode in the mode messages.
TEST_F(ErrMess, DiagnosticDescribesTheFileState) {
    SdifFrameHeaderT frame{0x31545243, 0x40, 2, 3, 0.5};
    SdifMatrixHeaderT matrix{0x31545243, eFloat4, 10, 4}, unsigned0{0, eFloat4, 10, 4};
    FILE* text = std::tmpfile();
    const std::string framH =
        "  FramH : 1TRC   Size: 0x0040   NbMatrix: 2   NumID: 3   Time: 0.5\n";
    const struct {
        long pos;  // of the stream; -1: none
        const char* name;
        std::function<void(SdifFileT*)> set;
        SdifErrorTagET tag;
        const char* text;
        std::string want;
    } rows[] = {
        {0, "a.sdif", nullptr, eReDefined, "1TRC",
         "*Sdif* Error 5:\n  SdifFile: a.sdif\n--> 1TRC redefined\n\n"},
        {-1, "b.sdif", nullptr, eWordCut, "ab",
         "*Sdif* Warning 31:\n  SdifFile: b.sdif\n--> Word cut read : 'ab'\n\n"},
        {20, "a.sdif", nullptr, eBadHeader, "x",
         "*Sdif* Error 10:\n  SdifFile: a.sdif (byte:    20=0x0014=0000024)\n"
         "--> Bad Sdif Header : x\n\n"},
        {0, "a.sdif",
         [&](SdifFileT* f) {
             f->TextStream = text;
             f->TextStreamName = const_cast<char*>("types.txt");
         },
         eSyntax, "x",
         "*Sdif* Warning 7:\n  SdifFile: a.sdif, TextFile: types.txt\n--> Syntax error: x\n\n"},
        {0, "a.sdif",
         [&](SdifFileT* f) {
             f->CurrFramH = &frame;
             f->CurrMtrxH = &matrix;
         },
         eMatrixNotInFrame, "1ABC",
         "*Sdif* Warning 20:\n  SdifFile: a.sdif\n" + framH +
             "  MtrxH :   1TRC   DataWidth: 0004   Rows: 10   Columns: 4\n"
             "--> Matrix is not in frames components : 1ABC\n\n"},
        {0, "a.sdif",
         [&](SdifFileT* f) {
             f->CurrFramH = &frame;
             f->CurrMtrxH = &unsigned0;
         },
         eNotFound, "x",
         "*Sdif* Warning 29:\n  SdifFile: a.sdif\n" + framH + "--> Not Find : 'x'\n\n"},
        {0, "stdin", [](SdifFileT* f) { f->Mode = eWriteFile; }, eBadStdFile, "stdin",
         "*Sdif* Error 16:\n  SdifFile: stdin\n--> Bad standart file or bad mode (1), stdin\n\n"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.want);
        StreamFile file(row.pos < 0 ? nullptr : StreamAt(row.pos), row.name);
        file->Pos = 7;
        if (row.set) row.set(file.get());
        EXPECT_EQ(Compose(file.get(), row.tag, row.text), row.want);
        EXPECT_EQ(file->Pos, row.pos < 0 ? 7 : row.pos);
        file->TextStream = nullptr;
    }
    std::fclose(text);
}

TEST_F(ErrMess, DiagnosticIsTruncatedToTheBufferSize) {
    std::string full = Compose(nullptr, eEof, "x");
    EXPECT_EQ(Compose(nullptr, eEof, "x", 20), full.substr(0, 19));
}

// Without a file the head ends in "(no sdiffile)" with neither position nor
// line feed, and the tags 15 and 16 get the open mode -1.  Remark and
// Message reports are printed directly, the others go to the error or
// warning callback, Fatal ones then to the exit callback.
TEST_F(ErrMess, TagsHaveTheirLevelAndMessageAndGoToTheirCallback) {
    const struct {
        SdifErrorTagET tag;
        SdifErrorLevelET level;
        const char* message;  // for the text "T"
    } tags[] = {
        // some of the tags, each level and the oddly formed messages among them
        {eUnknown, eMessage, "Warning unknown"},
        {eNoError, eMessage, "No Error"},
        {eTypeDataNotSupported, eWarning, "Type of data not actualy supported : T\n"},
        {eEof, eFatal, "End of file : T\n"},
        {eUnDefined, eError, "T undefined\n"},
        {eSyntax, eWarning, "Syntax error: T\n"},
        {eBadMode, eError, "Bad mode at sdif file opening (-1), T\n"},
        {eReadWriteOnSameFile, eError, "Read file and Write file are the same file : T"},
        {eFileNotFound, eWarning, "File not found or permission denied: \"T\"\n"},
        {eTokenLength, eFatal, "Token too long : 'T'\n"},
    };
    const char* const levelNames[] = {"Fatal Error", "Error", "Warning", "Remark", "Message"};
    CaptureSdifStdErr err;
    std::string printed;
    for (const auto& row : tags) {
        const int tag = row.tag;
        SCOPED_TRACE(tag);
        const std::string diagnostic = "*Sdif* " + std::string(levelNames[row.level]) + " " +
                                       std::to_string(tag) + ":\n  SdifFile: (no sdiffile)--> " +
                                       row.message + "\n";
        EXPECT_EQ(Compose(nullptr, row.tag, "T"), diagnostic);

        RecordReports rec;
        AllowFatal fatal;
        EXPECT_EQ(SdifFError(nullptr, row.tag, "T", "X.cpp", 1), 0u);
        if (row.level >= eRemark) {
            EXPECT_TRUE(rec.Reports().empty());
            printed += diagnostic;
        } else {
            ASSERT_EQ(rec.Reports().size(), 1u);
            EXPECT_EQ(rec.Reports()[0].level, row.level);
            EXPECT_EQ(rec.Reports()[0].text, diagnostic);
        }
        EXPECT_EQ(fatal.Count(), row.level == eFatal ? 1 : 0);
    }
    EXPECT_EQ(err.Text(), printed);
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
    InstallTestExit();
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
    for (SdifErrorTagET tag : {eUnknown, eWordCut, eReDefined})  // Message, Warning, Error
        EXPECT_EQ(SdifFError(file.get(), tag, "m", "x", 1), 1u);
    EXPECT_EQ(std::make_tuple(err.Text(), SdifFNumErrors(file.get(), eMessage)),
              std::make_tuple("", 3u));
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
    // 1, not 0, on an empty list
    EXPECT_EQ(std::make_tuple(SdifFLastError(file.get()), SdifFLastErrorTag(file.get())),
              std::make_tuple(nullptr, eNoError));
    // each answers the count of its level so far; none without a file
    std::vector<unsigned> counts;
    for (auto [tag, text] : {std::make_tuple(eWordCut, "w1"), std::make_tuple(eSyntax, "w2"),
                             std::make_tuple(eEof, "f1"), std::make_tuple(eUnDefined, "e1"),
                             std::make_tuple(eNoError, "m1")})
        counts.push_back(SdifFError(file.get(), tag, text, "x", 1));
    counts.push_back(SdifFError(nullptr, eSyntax, "no file", "x", 1));
    EXPECT_EQ(counts, (std::vector<unsigned>{1, 2, 1, 1, 1, 0}));
    counts.clear();
    for (SdifErrorLevelET level : {eFatal, eError, eWarning, eRemark, eMessage})
        counts.push_back(SdifFNumErrors(file.get(), level));
    EXPECT_EQ(counts, (std::vector<unsigned>{1, 2, 4, 4, 5}));  // each level and those above it
    SdifErrorT* last = SdifFLastError(file.get());
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(std::make_tuple(last->Tag, last->Level, std::string(last->UserMess)),
              std::make_tuple(eNoError, eMessage, "m1"));

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

// A file that reports without end: its counters and last record stay exact,
// its list keeps only the latest records, and after its first 10,000 printed
// diagnostics (callback and direct prints together) one line says the rest
// are withheld.  The callbacks still see every report; another file prints
// on its own count.
TEST_F(ErrMess, AFileKeepsItsLatestRecordsAndPrintsItsFirstTenThousandDiagnostics) {
    CaptureSdifStdErr err;
    StreamFile file(StreamAt(0)), other(StreamAt(0), "other.sdif");
    const std::string warning =
        "*Sdif* Warning 31:\n  SdifFile: mem.sdif\n--> Word cut read : 'w'\n\n";
    const std::string message = "*Sdif* Message 1:\n  SdifFile: mem.sdif\n--> No Error\n";
    for (int i = 0; i < 9999; ++i) SdifFError(file.get(), eWordCut, "w", "x", 1);
    SdifFError(file.get(), eNoError, "m", "x", 1);
    std::string want;
    for (int i = 0; i < 9999; ++i) want += warning;
    want += message;
    EXPECT_EQ(err.Text(), want);

    for (int i = 0; i < 500; ++i) SdifFError(file.get(), eWordCut, "w", "x", 1);
    SdifFError(file.get(), eNoError, "m", "x", 1);
    want += "*Sdif* further diagnostics for this file are not printed\n";
    EXPECT_EQ(err.Text(), want);
    {
        RecordReports rec;
        AllowFatal fatal;
        SdifFError(file.get(), eEof, "last", "x", 1);
        EXPECT_EQ(rec.Tags(), (std::vector<int>{eEof}));
        EXPECT_EQ(fatal.Count(), 1);
    }
    SdifFError(other.get(), eWordCut, "w", "x", 1);
    EXPECT_EQ(err.Text(), want +
                              "*Sdif* Warning 31:\n  SdifFile: other.sdif\n--> Word cut "
                              "read : 'w'\n\n");

    EXPECT_EQ(
        std::make_tuple(SdifFNumErrors(file.get(), eFatal), SdifFNumErrors(file.get(), eWarning),
                        SdifFNumErrors(file.get(), eMessage), SdifFLastErrorTag(file.get()),
                        std::string(SdifFLastError(file.get())->UserMess),
                        SdifListGetNbData(file->Errors->ErrorList)),
        std::make_tuple(1u, 10500u, 10502u, eEof, "last", unsigned(_SdifMaxKeptErrors)));
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
