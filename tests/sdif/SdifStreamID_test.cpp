// Stream-ID tables: entries, the text syntax with its faults, and 1IDS chunks
// written and read back in both binary forms.

#include <cfloat>
#include <cstdint>
#include <cstring>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
std::string DataFrame() { return FrameBytes("1TRC", 0, 0, ""); }

std::string Source(SdifFileT* f, SdifUInt4 id) {
    SdifStreamIDT* sid = SdifStreamIDTableGetSID(f->StreamIDsTable, id);
    return sid ? std::string(sid->Source) + "|" + sid->TreeWay : "(none)";
}

class StreamID : public SdifLibraryTest {};

class StreamIDText : public SdifLibraryTest {
   protected:
    void SetUp() override {
        SdifLibraryTest::SetUp();
        std::string path = TempPath("sid-text.sdif");
        mFile = SdifFOpen(path.c_str(), eWriteFile);
        ASSERT_NE(mFile, nullptr);
    }
    void TearDown() override {
        if (mFile) SdifFClose(mFile);
    }
    void SetText(const char* text) {
        mFile->TextStream = fmemopen(const_cast<char*>(text), std::strlen(text), "r");
        ASSERT_NE(mFile->TextStream, nullptr);
    }
    SdifFileT* mFile = nullptr;
};

TEST_F(StreamIDText, EntriesBetweenBraces) {
    const char* text = "{ 1 src:a/b c;\n  2  other : x;\n 1 dup:y; }\nafter";
    SetText(text);
    CaptureSdifStdErr err;
    RecordReports rec;
    EXPECT_EQ(SdifFGetAllStreamID(mFile, 't'), std::strlen(text) - std::strlen("\nafter"));
    // the first entry of a number is kept; the tree way keeps its blanks
    EXPECT_EQ(std::make_tuple(Source(mFile, 1), Source(mFile, 2), Source(mFile, 3),
                              SdifStreamIDTableGetNbData(mFile->StreamIDsTable)),
              std::make_tuple("src|a/b c", "other| x", "(none)", 2u));
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eReDefined});
    EXPECT_EQ(RecordReports::LastMessage(), "StreamID : 1  redefined");
    EXPECT_EQ(mFile->StreamIDPass, 1);
    EXPECT_EQ(err.Text(), "");  // the text form is no intermediate format
    // Entries of a text matrix need no braces.
    SdifStringT* s = SdifStringNew();
    SdifStringAppend(s, "7 a:b;\n8 c:d/e;\n");
    SdifFGetAllStreamIDfromSdifString(mFile, s);
    EXPECT_EQ(std::make_tuple(Source(mFile, 7), Source(mFile, 8)), std::make_tuple("a|b", "c|d/e"));
    SdifStringFree(s);
}

// A faulty entry is reported and skipped to its semicolon; without one, the
// closing brace ends it.
TEST_F(StreamIDText, FaultyEntriesAreReportedAndSkipped) {
    SetText("{ 1:src:x; 2 ok:y; 3 src x; 4 ok2:z; 5 s:t }");
    RecordReports rec;
    SdifFGetAllStreamID(mFile, 't');
    ASSERT_EQ(RecordReports::Tags(), (std::vector<int>{eSyntax, eSyntax, eSyntax}));
    // the message line of each diagnostic: the format's line feed, then the join's
    std::vector<std::string> messages;
    for (const Report& r : RecordReports::Reports())
        messages.push_back(r.text.substr(r.text.rfind("--> ") + 4));
    EXPECT_EQ(messages,
              (std::vector<std::string>{
                  "Syntax error: Wait a space_char after NumId '1', read char: (58) ':'\n\n",
                  "Syntax error: Attempt to read ':' failed, read 'x' (120) : Stream ID Source\n\n",
                  "Syntax error: Attempt to read ';' failed, read '}' (125) : end of Stream ID "
                  "TreeWay\n\n"}));
    EXPECT_EQ(std::make_tuple(Source(mFile, 2), Source(mFile, 4),
                              SdifStreamIDTableGetNbData(mFile->StreamIDsTable)),
              std::make_tuple("ok|y", "ok2|z", 2u));
}

TEST_F(StreamID, WrittenTableIsATextFrameAndReadsBack) {
    std::string path = TempPath("sid-roundtrip.sdif");
    SdifFileT* w = SdifFOpen(path.c_str(), eWriteFile);
    ASSERT_NE(w, nullptr);
    SdifStreamIDTablePutSID(w->StreamIDsTable, 2, "other", "x");
    SdifStreamIDTablePutSID(w->StreamIDsTable, 1, "src", "a/b");
    SdifFWriteGeneralHeader(w);
    size_t written = SdifFWriteAllASCIIChunks(w);
    SdifFClose(w);

    // one text matrix of the entries in order of their numbers, and the NUL;
    // the frame's time (bytes 24 to 31) is left open
    const std::string b = ReadFile(path),
                      want = SdifHeader() +
                             FrameBytes("1IDS", 0xFFFFFFFEu, 1,
                                        TextMatrixBytes(
                                            "1IDS", std::string("1 src:a/b;\n2 other:x;\n\0", 23)));
    ASSERT_EQ(b.size(), want.size());
    EXPECT_EQ(b.substr(0, 24) + b.substr(32), want.substr(0, 24) + want.substr(32));
    EXPECT_EQ(written, b.size() - 16);

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    SdifFReadGeneralHeader(r);
    SdifFReadAllASCIIChunks(r);
    EXPECT_EQ(std::make_tuple(r->StreamIDPass, Source(r, 1), Source(r, 2)),
              std::make_tuple(1, "src|a/b", "other|x"));
    SdifFClose(r);
}

TEST_F(StreamID, SecondChunkIsReportedAndStillRead) {
    std::string bytes =
        SdifHeader() +
        FrameBytes("1IDS", 0xFFFFFFFEu, 1, TextMatrixBytes("1IDS", std::string("1 a:b;\n\0", 8))) +
        FrameBytes("1IDS", 0xFFFFFFFEu, 1, TextMatrixBytes("1IDS", std::string("2 c:d;\n\0", 8))) +
        DataFrame();
    RecordReports rec;
    SdifFileT* f = OpenBytes("sid-twice.sdif", bytes);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eOnlyOneChunk});
    EXPECT_EQ(RecordReports::LastMessage(), "There can be only 0 or 1 '1IDS' chunk.");
    EXPECT_EQ(std::make_tuple(Source(f, 1), Source(f, 2), SdifFCurrSignature(f)),
              std::make_tuple("a|b", "c|d", Sig("1TRC")));
    SdifFClose(f);
}

TEST_F(StreamID, IntermediateFormIsReadWithAWarning) {
    std::string body = "{ 1 a:b; }";  // the chunk ends at its brace: no padding is read
    std::string bytes = SdifHeader() + FrameBytes("1IDS", 0, 0, body) + DataFrame();
    CaptureSdifStdErr err;
    RecordReports rec;
    SdifFileT* f = OpenBytes("sid-intermediate.sdif", bytes);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(err.Text(),
              "*Sdif* Warning, this file uses an intermediate format for the stream ID table.  "
              "Portablity with programs not using the QUENDA SDIF library is not guaranteed.\n");
    EXPECT_TRUE(RecordReports::Tags().empty());
    EXPECT_EQ(std::make_tuple(Source(f, 1), f->StreamIDPass, SdifFCurrSignature(f)),
              std::make_tuple("a|b", 1, Sig("1TRC")));
    SdifFClose(f);
}

}  // namespace
