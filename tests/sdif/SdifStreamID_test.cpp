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

TEST_F(StreamID, TableKeepsTheFirstEntryOfANumber) {
    SdifStreamIDTableT* t = SdifCreateStreamIDTable(1);
    EXPECT_EQ(t->StreamID, 0xFFFFFFFEu);
    SdifStreamIDTablePutSID(t, 3, "a", "b");
    SdifStreamIDTablePutSID(t, 1, "c", "d/e");
    SdifStreamIDT* again = SdifStreamIDTablePutSID(t, 3, "x", "y");
    EXPECT_STREQ(SdifStreamIDEntryGetSource(again), "a");
    EXPECT_EQ(SdifStreamIDTableGetNbData(t), 2u);
    SdifStreamIDT* one = SdifStreamIDTableGetSID(t, 1);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(SdifStreamIDEntryGetSID(one), 1u);
    EXPECT_STREQ(SdifStreamIDEntryGetTreeWay(one), "d/e");
    EXPECT_EQ(SdifStreamIDTableGetSID(t, 2), nullptr);
    SdifKillStreamIDTable(t);
}

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
    EXPECT_EQ(Source(mFile, 1), "src|a/b c");
    EXPECT_EQ(Source(mFile, 2), "other| x");  // the tree way keeps its blanks
    EXPECT_EQ(SdifStreamIDTableGetNbData(mFile->StreamIDsTable), 2u);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eReDefined});
    EXPECT_EQ(RecordReports::LastMessage(), "StreamID : 1  redefined");
    EXPECT_EQ(mFile->StreamIDPass, 1);
    EXPECT_EQ(err.Text(), "");  // the text form is no intermediate format
}

TEST_F(StreamIDText, FaultyEntriesAreSkippedToTheirSemicolon) {
    SetText("{ 1:src:x; 2 ok:y; 3 src x; 4 ok2:z; }");
    RecordReports rec;
    SdifFGetAllStreamID(mFile, 't');
    ASSERT_EQ(RecordReports::Reports().size(), 2u);
    EXPECT_EQ(RecordReports::Tags(), (std::vector<int>{eSyntax, eSyntax}));
    // the message line of each diagnostic: the format's line feed, then the join's
    auto message = [](const Report& r) {
        size_t at = r.text.rfind("--> ");
        return r.text.substr(at + 4);
    };
    EXPECT_EQ(message(RecordReports::Reports()[0]),
              "Syntax error: Wait a space_char after NumId '1', read char: (58) ':'\n\n");
    EXPECT_EQ(message(RecordReports::Reports()[1]),
              "Syntax error: Attempt to read ':' failed, read 'x' (120) : Stream ID Source\n\n");
    EXPECT_EQ(Source(mFile, 2), "ok|y");
    EXPECT_EQ(Source(mFile, 4), "ok2|z");
    EXPECT_EQ(SdifStreamIDTableGetNbData(mFile->StreamIDsTable), 2u);
}

TEST_F(StreamIDText, MissingSemicolonBeforeTheBrace) {
    SetText("{ 5 s:t }");
    RecordReports rec;
    SdifFGetAllStreamID(mFile, 't');
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eSyntax});
    EXPECT_EQ(
        RecordReports::LastMessage(),
        "Syntax error: Attempt to read ';' failed, read '}' (125) : end of Stream ID TreeWay");
    EXPECT_EQ(SdifStreamIDTableGetNbData(mFile->StreamIDsTable), 0u);
}

TEST_F(StreamIDText, EntriesOfATextMatrixNeedNoBraces) {
    SdifStringT* s = SdifStringNew();
    SdifStringAppend(s, "7 a:b;\n8 c:d/e;\n");
    SdifFGetAllStreamIDfromSdifString(mFile, s);
    EXPECT_EQ(Source(mFile, 7), "a|b");
    EXPECT_EQ(Source(mFile, 8), "c|d/e");
    SdifStringFree(s);
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

    std::string b = ReadFile(path);
    // "1 src:a/b;\n2 other:x;\n" and the NUL: 23 rows, 16 + 23 + 1 padding
    ASSERT_EQ(b.size(), 16u + 24u + 40u);
    EXPECT_EQ(written, b.size() - 16);
    EXPECT_EQ(b.substr(16, 4), "1IDS");
    EXPECT_EQ(BE32(b, 20), 56u);
    EXPECT_EQ(BE32(b, 32), 0xFFFFFFFEu);
    EXPECT_EQ(b.substr(40, 4), "1IDS");
    EXPECT_EQ(BE32(b, 48), 23u);
    EXPECT_EQ(b.substr(56, 23), std::string("1 src:a/b;\n2 other:x;\n\0", 23));

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    SdifFReadGeneralHeader(r);
    SdifFReadAllASCIIChunks(r);
    EXPECT_EQ(r->StreamIDPass, 1);
    EXPECT_EQ(Source(r, 1), "src|a/b");
    EXPECT_EQ(Source(r, 2), "other|x");
    SdifFClose(r);
}

TEST_F(StreamID, EmptyTableWritesNothing) {
    std::string path = TempPath("sid-empty.sdif");
    SdifFileT* w = SdifFOpen(path.c_str(), eWriteFile);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(SdifFWriteAllStreamID(w), 0u);
    SdifFClose(w);
    EXPECT_EQ(ReadFile(path), "");
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
    EXPECT_EQ(Source(f, 1), "a|b");
    EXPECT_EQ(Source(f, 2), "c|d");
    EXPECT_EQ(SdifFCurrSignature(f), SdifStringToSignature("1TRC"));
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
    EXPECT_EQ(Source(f, 1), "a|b");
    EXPECT_EQ(f->StreamIDPass, 1);
    EXPECT_EQ(SdifFCurrSignature(f), SdifStringToSignature("1TRC"));
    SdifFClose(f);
}

}  // namespace
