// Name-value tables: pairs and tables, the list and its current table, the
// text form, and 1NVT chunks written and read back in both binary forms.

#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <cstring>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
const char* Value(SdifNameValuesLT* list, const char* name) {
    SdifNameValueT* nv = SdifNameValuesLGetCurrNVT(list, name);
    return nv ? nv->Value : nullptr;
}

// The values of names in the current table, "-" for a name it lacks.
std::vector<std::string> Values(SdifNameValuesLT* list, std::initializer_list<const char*> names) {
    std::vector<std::string> v;
    for (const char* name : names) v.push_back(Value(list, name) ? Value(list, name) : "-");
    return v;
}

std::string DataFrame() { return FrameBytes("1TRC", 0, 0, ""); }

class NameValue : public SdifLibraryTest {};

// ---- tables and the list ----

TEST_F(NameValue, PutKeepsTheFirstValue) {
    SdifNameValuesLT* l = SdifCreateNameValuesL(31);
    EXPECT_EQ(SdifNameValuesLPutCurrNVT(l, "a", "1"), nullptr);  // no table yet
    SdifNameValuesLNewTable(l, 7);
    SdifNameValuesLPutCurrNVT(l, "a", "1");
    SdifNameValueT* again = SdifNameValuesLPutCurrNVT(l, "a", "2");
    ASSERT_NE(again, nullptr);
    EXPECT_STREQ(again->Value, "1");
    EXPECT_EQ(l->CurrNVT->NVHT->NbOfData, 1u);
    // names are whole keys, not prefixes
    EXPECT_EQ(Values(l, {"a", "aa"}), (std::vector<std::string>{"1", "-"}));
    SdifNameValuesLPutCurrNVT(l, "aa", "3");
    EXPECT_EQ(Values(l, {"a", "aa"}), (std::vector<std::string>{"1", "3"}));
    SdifKillNameValuesL(l);
}

TEST_F(NameValue, TranslatingPutTurnsTabsAndLineFeedsIntoBlanks) {
    SdifNameValuesLT* l = SdifCreateNameValuesL(31);
    SdifNameValuesLNewTable(l, 0);
    const char name[] = "two\tparts";
    const char value[] = "x\ty\nz";
    SdifNameValuesLPutCurrNVTTranslate(l, name, value);
    EXPECT_STREQ(Value(l, "two parts"), "x y z");
    EXPECT_STREQ(value, "x\ty\nz");  // the caller's text is left alone
    SdifKillNameValuesL(l);
}

TEST_F(NameValue, TablesAreNumberedInOrderOfCreation) {
    SdifNameValuesLT* l = SdifCreateNameValuesL(31);
    SdifNameValuesLNewTable(l, 10);
    SdifNameValuesLNewTable(l, 20);
    EXPECT_EQ(std::make_tuple(l->CurrNVT->NumTable, l->CurrNVT->StreamID),
              std::make_tuple(2u, 20u));
    EXPECT_FALSE(SdifNameValuesLIsNotEmpty(l));
    SdifNameValuesLPutCurrNVT(l, "k", "second");
    EXPECT_TRUE(SdifNameValuesLIsNotEmpty(l));
    ASSERT_NE(SdifNameValuesLSetCurrNVT(l, 1), nullptr);
    EXPECT_EQ(l->CurrNVT->StreamID, 10u);
    EXPECT_EQ(Value(l, "k"), nullptr);
    SdifNameValuesLPutCurrNVT(l, "k", "first");
    EXPECT_STREQ(SdifNameValuesLGet(l, "k")->Value, "first");  // list order decides
    SdifNameValuesLSetCurrNVT(l, 2);
    EXPECT_STREQ(Value(l, "k"), "second");
    SdifNameValuesLKillCurrNVT(l);
    EXPECT_EQ(std::make_tuple(l->CurrNVT == nullptr, SdifListGetNbData(l->NVTList)),
              std::make_tuple(true, 1u));
    EXPECT_STREQ(SdifNameValuesLGet(l, "k")->Value, "first");
    SdifKillNameValuesL(l);
}

TEST_F(NameValue, ChoosingATableBeyondTheCountLeavesNone) {
    SdifNameValuesLT* l = SdifCreateNameValuesL(31);
    SdifNameValuesLNewTable(l, 0);
    SdifNameValuesLNewTable(l, 0);
    {
        RecordReports rec;
        AllowFatal fatal;
        EXPECT_EQ(SdifNameValuesLSetCurrNVT(l, 3), nullptr);
        EXPECT_EQ(fatal.Count(), 1);
        EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eArrayPosition});
        EXPECT_EQ(RecordReports::LastMessage(),
                  "Attempt to access to a non-existing square in an array : "
                  "'SdifNameValuesLSetCurrNVT: name table size exeeded'");
    }
    EXPECT_EQ(l->CurrNVT, nullptr);
    EXPECT_EQ(SdifNameValuesLPutCurrNVT(l, "a", "b"), nullptr);
    SdifKillNameValuesL(l);
}

// ---- text form ----

class NameValueFile : public SdifLibraryTest {
   protected:
    void SetUp() override {
        SdifLibraryTest::SetUp();
        mPath = TempPath(std::string("nvt-") +
                         testing::UnitTest::GetInstance()->current_test_info()->name() + ".sdif");
        mFile = SdifFOpen(mPath.c_str(), eWriteFile);
        ASSERT_NE(mFile, nullptr);
        SdifNameValuesLNewTable(mFile->NameValues, 1);
    }
    void TearDown() override {
        if (mFile) SdifFClose(mFile);
    }
    std::string mPath;
    SdifFileT* mFile = nullptr;
};

TEST_F(NameValueFile, TextEndsAtALineWithoutTabOrLineFeed) {
    SdifNameValuesLT* l = mFile->NameValues;
    EXPECT_EQ(SdifFNameValueLCurrNVTfromString(mFile, "a\t1\nb\tx y\tz\nc3\nd\t4\n"), 2u);
    EXPECT_EQ(SdifFNameValueLCurrNVTfromString(mFile, "e\t5"), 0u);
    // split at the first tab only
    EXPECT_EQ(Values(l, {"a", "b", "c3", "d", "e"}),
              (std::vector<std::string>{"1", "x y\tz", "-", "-", "-"}));
}

TEST_F(NameValueFile, DuplicateNameInTextIsReportedAndDropped) {
    RecordReports rec;
    EXPECT_EQ(SdifFNameValueLCurrNVTfromString(mFile, "a\t1\na\t2\nb\t3\n"), 2u);
    EXPECT_EQ(Values(mFile->NameValues, {"a", "b"}), (std::vector<std::string>{"1", "3"}));
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eReDefined});
    EXPECT_EQ(RecordReports::LastMessage(), "NameValue : a  redefined");
}

TEST_F(NameValueFile, BraceFormOnTheTextStream) {
    static const char text[] = "{\nname\tvalue;  \r\n\nx\ty\n}\nrest";
    mFile->TextStream = fmemopen(const_cast<char*>(text), sizeof text - 1, "r");
    ASSERT_NE(mFile->TextStream, nullptr);
    EXPECT_EQ(SdifFScanNameValueLCurrNVT(mFile), 24u);  // up to the brace's line feed
    EXPECT_EQ(Values(mFile->NameValues, {"name", "x"}), (std::vector<std::string>{"value", "y"}));
    EXPECT_EQ(std::fgetc(mFile->TextStream), 'r');
}

TEST_F(NameValueFile, OneLineAnswersItsKind) {
    static const char text[] = "a\tb;\n  }";
    mFile->TextStream = fmemopen(const_cast<char*>(text), sizeof text - 1, "r");
    size_t nb = 0;
    EXPECT_EQ(SdifFGetOneNameValue(mFile, 't', &nb), '\n');
    EXPECT_EQ(SdifFGetOneNameValue(mFile, 't', &nb), '}');
    EXPECT_EQ(SdifFGetOneNameValue(mFile, 't', &nb), 4);
    EXPECT_EQ(nb, sizeof text - 1);
    EXPECT_STREQ(Value(mFile->NameValues, "a"), "b");
}

// The closing brace's line is read like any other: to its line feed, then
// past further line ends, whatever lies between.
TEST_F(NameValueFile, ClosingLineIsReadToItsLineFeed) {
    const struct {
        std::string text;
        size_t read;  // characters read with the closing line
        int next;     // the character left for the next reading
    } cases[] = {
        {"}\nrest", 2, 'r'},
        {"}\r\n\r\nrest", 5, 'r'},
        {"} trailing words\nrest", 17, 'r'},
        {std::string("}1TRC\0\0\0\x20\xff\n\nrest", 16), 12, 'r'},
        {"}", 1, EOF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        FILE* stream = fmemopen(const_cast<char*>(c.text.data()), c.text.size(), "r");
        ASSERT_NE(stream, nullptr);
        mFile->TextStream = stream;
        size_t nb = 0;
        EXPECT_EQ(SdifFGetOneNameValue(mFile, 't', &nb), '}');
        EXPECT_EQ(nb, c.read);
        EXPECT_EQ(std::fgetc(stream), c.next);
        std::fclose(stream);
        mFile->TextStream = nullptr;
    }
}

// ---- 1NVT chunks ----

TEST_F(NameValue, WrittenTablesAreTextFramesAndReadBack) {
    std::string path = TempPath("nvt-roundtrip.sdif");
    SdifFileT* w = SdifFOpen(path.c_str(), eWriteFile);
    ASSERT_NE(w, nullptr);
    SdifNameValuesLNewTable(w->NameValues, 5);
    SdifNameValuesLPutCurrNVT(w->NameValues, "creator", "test");
    SdifNameValuesLPutCurrNVT(w->NameValues, "rate", "44100");
    SdifNameValuesLNewTable(w->NameValues, 6);
    SdifNameValuesLPutCurrNVT(w->NameValues, "x", "y");
    SdifNameValuesLSetCurrNVT(w->NameValues, 1);
    EXPECT_EQ(SdifFWriteGeneralHeader(w), 16u);
    size_t written = SdifFWriteAllASCIIChunks(w);
    EXPECT_EQ(w->NameValues->CurrNVT->NumTable, 1u);  // the current table is kept
    SdifFClose(w);

    // Table 1's 24 characters and the NUL are 25 rows of one text column, in
    // the order of the table's hash; table 2 is "x\ty\n" and its NUL.
    const std::string second =
        FrameBytes("1NVT", 6, 1, TextMatrixBytes("1NVT", std::string("x\ty\n\0", 5)), -DBL_MAX);
    auto image = [&](const char* pairs) {
        return SdifHeader() +
               FrameBytes("1NVT", 5, 1, TextMatrixBytes("1NVT", std::string(pairs, 25)), -DBL_MAX) +
               second;
    };
    const std::string b = ReadFile(path);
    EXPECT_TRUE(b == image("creator\ttest\nrate\t44100\n") ||
                b == image("rate\t44100\ncreator\ttest\n"))
        << b.size();
    EXPECT_EQ(written, b.size() - 16);

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(SdifFReadGeneralHeader(r), 16u);
    SdifFReadAllASCIIChunks(r);
    ASSERT_EQ(SdifFNameValueNum(r), 2);
    SdifNameValuesLSetCurrNVT(r->NameValues, 1);
    EXPECT_EQ(r->NameValues->CurrNVT->StreamID, 5u);
    EXPECT_EQ(Values(r->NameValues, {"creator", "rate"}),
              (std::vector<std::string>{"test", "44100"}));
    SdifNameValuesLSetCurrNVT(r->NameValues, 2);
    EXPECT_EQ(r->NameValues->CurrNVT->StreamID, 6u);
    EXPECT_STREQ(Value(r->NameValues, "x"), "y");
    SdifFClose(r);
}

TEST_F(NameValue, TwoColumnTextMatrixIsReportedAndStillRead) {
    std::string text("a\t1\nb\t2\n\0\0", 10);
    std::string bytes =
        SdifHeader() + FrameBytes("1NVT", 0, 1, TextMatrixBytes("1NVT", text, 2)) + DataFrame();
    RecordReports rec;
    SdifFileT* f = OpenBytes("nvt-2cols.sdif", bytes);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(RecordReports::Tags(), std::vector<int>{eSyntax});
    EXPECT_EQ(RecordReports::LastMessage(),
              "Syntax error: Name-Value Table text matrix must have exactly one column!");
    ASSERT_EQ(SdifFNameValueNum(f), 1);
    EXPECT_EQ(Values(f->NameValues, {"a", "b"}), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(SdifFCurrSignature(f), Sig("1TRC"));
    SdifFClose(f);
}

// The closing line ends as text written by a person or a program does, and
// the data frame follows at once, whether the Size is unknown or exact.
TEST_F(NameValue, IntermediateFormIsReadToTheEndOfItsClosingLine) {
    for (const char* close : {"}\n", "}\r\n", "}  \n\r\n\n"}) {
        const std::string text = std::string("{\na\t1\nb\t2\n") + close;
        for (int64_t size : {int64_t(0xFFFFFFFF), int64_t(16 + text.size())}) {
            SCOPED_TRACE(text + std::to_string(size));
            std::string bytes =
                SdifHeader() + FrameBytes("1NVT", 3, 0, text, 0.0, size) + DataFrame();
            CaptureSdifStdErr err;
            RecordReports rec;
            SdifFileT* f = OpenBytes("nvt-intermediate.sdif", bytes);
            ASSERT_NE(f, nullptr);
            EXPECT_EQ(err.Text(),
                      "*Sdif* Warning, this file uses an intermediate format for the Name-Value "
                      "Table.  Portablity with programs not using the QUENDA SDIF library is not "
                      "guaranteed.  Tip: Use 'sdifextract file newfile' to convert to compliant "
                      "format.\n");
            EXPECT_TRUE(RecordReports::Tags().empty());
            EXPECT_EQ(Values(f->NameValues, {"a", "b"}), (std::vector<std::string>{"1", "2"}));
            EXPECT_EQ(SdifFCurrSignature(f), Sig("1TRC"));
            SdifFClose(f);
        }
    }
}

// A brace followed directly by the next chunk's bytes reads on to the next
// line feed: here the one after the second chunk's opening brace, so the
// second table's first line is taken for the next signature.
TEST_F(NameValue, ClosingBraceWithoutLineFeedReadsIntoTheNextChunk) {
    std::string bytes = SdifHeader() + FrameBytes("1NVT", 3, 0, "{\na\t1\n}", 0.0, 0xFFFFFFFF) +
                        FrameBytes("1NVT", 3, 0, "{\nb\t2\n}\n", 0.0, 0xFFFFFFFF) + DataFrame();
    CaptureSdifStdErr err;
    SdifFileT* f = OpenBytes("nvt-brace.sdif", bytes);
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(SdifFNameValueNum(f), 1);
    EXPECT_STREQ(Value(f->NameValues, "a"), "1");
    EXPECT_EQ(SdifFCurrSignature(f), SdifStringToSignature("b\t2\n"));
    SdifFClose(f);
}

TEST_F(NameValue, HugeTextMatrixInATinyFileIsAnEndOfFile) {
    std::string matrix;
    PutMatrixHeader(matrix, "1NVT", 0x0301, 0x7FFFFFF0u, 1);
    matrix += "a\t1\n";
    std::string bytes = SdifHeader() + FrameBytes("1NVT", 0, 1, matrix, 0.0, 16 + 0x7FFFFFF0u);
    CaptureSdifStdErr err;
    RecordReports rec;
    AllowFatal fatal;
    SdifFileT* f = OpenBytes("nvt-huge.sdif", bytes);
    ASSERT_NE(f, nullptr);
    std::vector<int> tags = RecordReports::Tags();
    EXPECT_NE(std::find(tags.begin(), tags.end(), eEof), tags.end());
    EXPECT_EQ(Value(f->NameValues, "a"), nullptr);
    SdifFClose(f);
}

}  // namespace
