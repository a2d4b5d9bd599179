// Selection expressions: splitting file names, parsing, error texts, integer
// masks (including the unsigned wrap and values beyond the flag array), the
// frame/matrix/row/column queries and the diagnostic print.

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
// A selection that frees itself.
struct Sel {
    SdifSelectionT* sel = SdifCreateSelection();
    ~Sel() { SdifFreeSelection(sel); }
    SdifSelectionT* operator->() { return sel; }
    operator SdifSelectionT*() { return sel; }
};

std::vector<int> Ints(SdifListT* list) {
    std::vector<int> v;
    for (SdifListNT* n = list->Head; n; n = n->Next)
        v.push_back(static_cast<SdifSelectElementT*>(n->Data)->value.integer);
    return v;
}

std::vector<std::string> Sigs(SdifListT* list) {
    std::vector<std::string> v;
    for (SdifListNT* n = list->Head; n; n = n->Next)
        v.push_back(
            SdifSignatureToString(static_cast<SdifSelectElementT*>(n->Data)->value.signature));
    return v;
}

// Parse and answer what went to standard error.
std::string ParseErr(SdifSelectionT* sel, const char* text, int* ret) {
    testing::internal::CaptureStderr();
    *ret = SdifParseSelection(sel, text);
    return testing::internal::GetCapturedStderr();
}

// What the print writes, caught on the library's error stream.
std::string Printed(SdifSelectionT* sel, int options) {
    CaptureSdifStdErr out;
    SdifPrintSelection(SdifStdErr, sel, options);
    return out.Text();
}

class Select : public SdifLibraryTest {};

// ---- file names ----

TEST_F(Select, NameIsCutAtTheLastDoubleColon) {
    Sel sel;
    const char* name = "/tmp/a.b::c/x.sdif::#1:1TRC";
    EXPECT_EQ(SdifSelectFindSelection(name), name + 18);
    std::string plain = SdifGetFilenameAndSelection(name, sel);
    EXPECT_EQ(plain, "/tmp/a.b::c/x.sdif");
    EXPECT_STREQ(sel->basename, "x.sdif");
    EXPECT_EQ(Ints(sel->stream), std::vector<int>{1});
    EXPECT_EQ(Sigs(sel->frame), std::vector<std::string>{"1TRC"});
}

TEST_F(Select, NameWithoutSelectionKeepsDotsAndSelectsEverything) {
    Sel sel;
    EXPECT_EQ(SdifSelectFindSelection("/data/v1.2/tone.s1.sdif"), nullptr);
    EXPECT_STREQ(SdifGetFilenameAndSelection("/data/v1.2/tone.s1.sdif", sel),
                 "/data/v1.2/tone.s1.sdif");
    EXPECT_STREQ(sel->basename, "tone.s1.sdif");
    EXPECT_EQ(std::make_tuple(SdifListIsEmpty(sel->stream), SdifListIsEmpty(sel->frame),
                              sel->streammask.openend, sel->streammask.num,
                              sel->streammask.mask == nullptr),
              std::make_tuple(1, 1, 1, 0, true));
}

TEST_F(Select, EmptySelectionAfterTheSeparatorSelectsEverything) {
    Sel sel;
    EXPECT_STREQ(SdifGetFilenameAndSelection("f.sdif::", sel), "f.sdif");
    EXPECT_EQ(SdifParseSelection(sel, ""), 2);
    SdifFrameHeaderT h = {Sig("1PIC"), 0, 1, 42, 3.0};
    EXPECT_TRUE(SdifFrameIsSelected(&h, sel));
    SdifMatrixHeaderT m = {Sig("XXXX"), eFloat4, 1, 1};
    EXPECT_TRUE(SdifMatrixIsSelected(&m, sel));
    EXPECT_TRUE(SdifSelectTestIntMask(&sel->rowmask, 1000000));
}

// ---- parsing ----

// A leading signature is a frame list; a signature stops at a symbol and
// keeps four characters.
TEST_F(Select, LeadingSignatureIsAFrameList) {
    for (const char* text : {"1TRC", ":1TRCX/1HR"}) {
        Sel sel;
        EXPECT_EQ(SdifParseSelection(sel, text), 1);
        EXPECT_EQ(Sigs(sel->frame), std::vector<std::string>{"1TRC"});
    }
    Sel cut;
    SdifParseSelection(cut, ":1TRCX/1HR");
    auto* m = static_cast<SdifSelectElementT*>(cut->matrix->Head->Data);
    EXPECT_EQ(m->value.signature, 0x31485200u);  // unfilled byte stays 0
    Sel two;
    EXPECT_EQ(SdifParseSelection(two, ":1TRC,1HRM"), 1);
    EXPECT_EQ(Sigs(two->frame), (std::vector<std::string>{"1TRC", "1HRM"}));
    SdifFrameHeaderT h = {Sig("1HRM"), 0, 1, 0, 0.0};
    EXPECT_TRUE(SdifFrameIsSelected(&h, two));
    h.Signature = Sig("1PIC");
    EXPECT_FALSE(SdifFrameIsSelected(&h, two));
}

TEST_F(Select, EveryListOfAFullExpression) {
    Sel sel;
    EXPECT_EQ(SdifParseSelection(sel, " # 1 , 4 :1TRC/1TRC,1HRM.2_3-5@0.5-2.0"), 1);
    EXPECT_EQ(Ints(sel->stream), (std::vector<int>{1, 4}));
    EXPECT_EQ(Sigs(sel->frame), std::vector<std::string>{"1TRC"});
    EXPECT_EQ(Sigs(sel->matrix), (std::vector<std::string>{"1TRC", "1HRM"}));
    EXPECT_EQ(Ints(sel->column), std::vector<int>{2});
    EXPECT_EQ(Ints(sel->row), std::vector<int>{3});
    auto* row = static_cast<SdifSelectElementT*>(sel->row->Head->Data);
    auto* time = static_cast<SdifSelectElementT*>(sel->time->Head->Data);
    EXPECT_EQ(std::make_tuple(row->rangetype, row->range.integer, time->rangetype, time->value.real,
                              time->range.real),
              std::make_tuple(sst_range, 5, sst_range, 0.5, 2.0));
}

TEST_F(Select, ParsingAddsToTheListsAndReplacingEmptiesThem) {
    Sel sel;
    SdifParseSelection(sel, "#1");
    SdifParseSelection(sel, "#2:1TRC");
    EXPECT_EQ(Ints(sel->stream), (std::vector<int>{1, 2}));
    EXPECT_EQ(sel->streammask.num, 2);
    SdifReplaceSelection("#7", sel);
    EXPECT_EQ(Ints(sel->stream), std::vector<int>{7});
    EXPECT_TRUE(SdifListIsEmpty(sel->frame));
    EXPECT_TRUE(SdifSelectTestIntMask(&sel->streammask, 7));
    EXPECT_FALSE(SdifSelectTestIntMask(&sel->streammask, 1));
    SdifReplaceSelection(nullptr, sel);
    EXPECT_TRUE(SdifListIsEmpty(sel->stream));
    EXPECT_TRUE(SdifSelectTestIntMask(&sel->streammask, 1));
}

// ---- malformed expressions ----

// Each malformed expression is reported with its text; what was read before
// the fault stays in its list.
TEST_F(Select, MalformedExpressionsAreReportedAndKeepWhatWasRead) {
    // "ERROR: SDIF selection: can't parse <list> from '<rest>'\n(recently
    // read: '<symbol>'):\n<reason>\n\n": most reasons end with their own line feed
    struct Case {
        const char* text;
        const char* list;
        const char* from;
        const char* recent;
        const char* reason;
        SdifListT* SdifSelectionT::*values;  // the list that was being read
        std::vector<int> kept;               // the values it keeps
    } cases[] = {
        {":1TRC-1HRM",
         "frame",
         "1HRM",
         "-",
         "Range only permitted with numerical values\n",
         &SdifSelectionT::frame,
         {}},
        // the complete range stays in the list
        {"#1-2-3",
         "stream",
         "3",
         "-",
         "Another range symbol '-' after complete range",
         &SdifSelectionT::stream,
         {1}},
        {"#1 2", "stream", "2", "", "No separator after value '1'\n", &SdifSelectionT::stream, {1}},
        {"#x", "stream", "x", "#", "Can't read value from 'x'\n", &SdifSelectionT::stream, {}},
        {"@0.5-", "time", "", "-", "Malformed range expression\n", &SdifSelectionT::time, {}},
        // a trailing comma asks for one more value (the answer is left open)
        {"_1,", "row", "", ",", "Can't read value from ''\n", &SdifSelectionT::row, {1}},
        // a word after a complete range
        {"#1-3 5",
         "stream",
         "5",
         "",
         "No separator after value '3'\n",
         &SdifSelectionT::stream,
         {1}},
        // a double colon only starts the expression
        {"#1::2", "stream", "2", "::", "Unexpected symbol '::'\n", &SdifSelectionT::stream, {1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Sel sel;
        int ret;
        EXPECT_EQ(ParseErr(sel, c.text, &ret),
                  std::string("ERROR: SDIF selection: can't parse ") + c.list + " from '" + c.from +
                      "'\n(recently read: '" + c.recent + "'):\n" + c.reason + "\n\n");
        EXPECT_TRUE(ret == 0 || std::string(c.text) == "_1,") << ret;
        EXPECT_EQ(Ints(sel.sel->*c.values), c.kept);
        // the masks follow the complete range
        if (std::string(c.text) == "#1-2-3") {
            EXPECT_EQ(sel->streammask.num, 2);
        }
    }
    Sel sel;
    EXPECT_EQ(SdifParseSelection(sel, "::1TRC"), 1);
    EXPECT_EQ(Sigs(sel->frame), std::vector<std::string>{"1TRC"});
}

TEST_F(Select, ColumnNamesStopTheProgram) {
    Sel sel;
    EXPECT_DEATH(SdifParseSelection(sel, ".frequency"),
                 "failed assertion .!\"can't handle column names, yet\".");
}

// ---- integer masks ----

TEST_F(Select, RangeMaskInEitherOrder) {
    for (const char* text : {"#1-3", "#3-1"}) {
        Sel sel;
        SdifParseSelection(sel, text);
        const SdifSelectIntMaskT& m = sel->streammask;
        EXPECT_EQ(std::make_tuple(m.num, m.max, m.openend), std::make_tuple(3, 3, 0)) << text;
        ASSERT_EQ(SdifSelectIntMaskNbFlags(&m), 4u);
        EXPECT_EQ(std::vector<int>(m.mask, m.mask + 4), (std::vector<int>{0, 1, 1, 1})) << text;
        EXPECT_FALSE(SdifSelectTestIntMask(&sel->streammask, 4)) << text;
    }
}

TEST_F(Select, DeltaBelowZeroWrapsAndMarksNothing) {
    Sel sel;
    SdifParseSelection(sel, "#1+2");
    EXPECT_EQ(std::make_tuple(sel->streammask.max, sel->streammask.num, sel->streammask.openend),
              std::make_tuple(3, 0, 0));
    for (SdifUInt4 v : {0u, 1u, 2u, 3u, 4u, 1000u})
        EXPECT_FALSE(SdifSelectTestIntMask(&sel->streammask, v)) << v;

    Sel five;
    SdifParseSelection(five, "#5+2");
    EXPECT_EQ(std::make_tuple(five->streammask.num, five->streammask.max), std::make_tuple(5, 7));
    for (SdifUInt4 v = 0; v < 10; v++)
        EXPECT_EQ(SdifSelectTestIntMask(&five->streammask, v), v >= 3 && v <= 7) << v;
}

TEST_F(Select, OverlappingElementsAreCountedOnce) {
    Sel sel;
    SdifParseSelection(sel, "_2-6,4,5+1,10");
    EXPECT_EQ(std::make_tuple(sel->rowmask.num, sel->rowmask.max),
              std::make_tuple(6, 10));  // 2..6, 10
}

TEST_F(Select, HugeValuesKeepTheFlagArrayBounded) {
    Sel sel;
    SdifParseSelection(sel, "#4000000000,7");
    SdifSelectIntMaskT* m = &sel->streammask;
    EXPECT_EQ(std::make_tuple(static_cast<SdifUInt4>(m->max), m->num, SdifSelectIntMaskNbFlags(m)),
              std::make_tuple(4000000000u, 2, static_cast<SdifUInt4>(_SdifSelectMaskCap)));
    for (SdifUInt4 v : {7u, 70000u, 3999999999u, 4000000000u, 4000000001u})
        EXPECT_EQ(SdifSelectTestIntMask(m, v), v == 7 || v == 4000000000u) << v;

    Sel range;  // four thousand million values, counted without marking them
    SdifParseSelection(range, "_0-4000000000");
    m = &range->rowmask;
    EXPECT_EQ(m->num, 2147483647);
    for (SdifUInt4 v : {0u, 65535u, 65536u, 3000000000u, 4000000000u})
        EXPECT_TRUE(SdifSelectTestIntMask(m, v)) << v;
    EXPECT_FALSE(SdifSelectTestIntMask(m, 4000000001u));

    Sel negative;  // -3 is 4294967293 unsigned: the range covers 1 upwards
    SdifParseSelection(negative, "#1--3");
    m = &negative->streammask;
    for (SdifUInt4 v : {0u, 5u, 4294967293u, 4294967294u})
        EXPECT_EQ(SdifSelectTestIntMask(m, v), v == 5 || v == 4294967293u) << v;
}

// ---- element and list tests ----

TEST_F(Select, ElementTests) {
    SdifSelectElementT e = {};
    e.value.integer = 5;
    e.range.integer = 2;
    e.rangetype = sst_delta;
    EXPECT_TRUE(SdifSelectTestIntRange(&e, 3));
    EXPECT_TRUE(SdifSelectTestIntRange(&e, 7));
    EXPECT_FALSE(SdifSelectTestIntRange(&e, 8));
    e.range.integer = -2;  // an integer delta is not made absolute
    EXPECT_FALSE(SdifSelectTestIntRange(&e, 5));
    e.rangetype = sst_range;
    e.value.integer = 9;
    e.range.integer = 4;
    EXPECT_TRUE(SdifSelectTestIntRange(&e, 4));
    EXPECT_TRUE(SdifSelectTestIntRange(&e, 9));
    EXPECT_FALSE(SdifSelectTestIntRange(&e, 10));

    SdifSelectElementT r = {};
    r.value.real = 2.0;
    r.range.real = -0.5;  // a real delta is
    r.rangetype = sst_delta;
    EXPECT_TRUE(SdifSelectTestRealRange(&r, 1.5));
    EXPECT_TRUE(SdifSelectTestRealRange(&r, 2.5));
    EXPECT_FALSE(SdifSelectTestRealRange(&r, 2.5000001));
    r.rangetype = sst_norange;
    EXPECT_TRUE(SdifSelectTestRealRange(&r, 2.0));
    EXPECT_FALSE(SdifSelectTestRealRange(&r, 2.0000000001));
}

TEST_F(Select, ListTestsAcceptAnEmptyList) {
    SdifListT* list = SdifCreateList(SdifKillSelectElement);
    EXPECT_EQ(
        std::make_tuple(SdifSelectTestInt(list, 99), SdifSelectTestReal(list, -1.0),
                        SdifSelectTestSignature(list, Sig("1TRC")), SdifSelectTestString(list, "x"),
                        SdifSelectGetFirstInt(list, -7), SdifSelectGetFirstSignature(list, 3u)),
        std::make_tuple(1, 1, 1, 1, -7, 3u));
    SdifSelectAddSignature(list, Sig("1TRC"));
    SdifSelectAddSignature(list, Sig("1PIC"));
    EXPECT_TRUE(SdifSelectTestSignature(list, Sig("1PIC")));
    EXPECT_FALSE(SdifSelectTestSignature(list, Sig("1HRM")));
    EXPECT_EQ(SdifSelectGetFirstSignature(list, 0), Sig("1TRC"));
    SdifListT* copy = SdifCreateList(SdifKillSelectElement);
    SdifSelectAppendList(copy, list);
    SdifKillList(list);  // the copy owns its own elements
    EXPECT_EQ(Sigs(copy), (std::vector<std::string>{"1TRC", "1PIC"}));
    SdifListInitLoop(copy);
    for (SdifSignature want : {Sig("1TRC"), Sig("1PIC"), 0u})
        EXPECT_EQ(SdifSelectGetNextSignature(copy), want);
    SdifKillList(copy);
}

TEST_F(Select, TimeDeltaIncludesItsBounds) {
    Sel sel;
    SdifParseSelection(sel, "@1.5+0.1");
    SdifFrameHeaderT h = {Sig("1TRC"), 0, 1, 0, 0.0};
    for (double t : {1.4, 1.45, 1.5, 1.6, 1.39, 1.61, 0.0}) {
        h.Time = t;
        EXPECT_EQ(SdifFrameIsSelected(&h, sel), t >= 1.4 && t <= 1.6) << t;
    }
}

// ---- queries on a file's current headers ----

struct FakeFile {
    Sel sel;
    SdifFrameHeaderT frame = {0, 0, 1, 0, 0.0};
    SdifMatrixHeaderT matrix = {0, eFloat4, 5, 4};
    SdifFileT file{};
    FakeFile() {
        file.Selection = sel;
        file.CurrFramH = &frame;
        file.CurrMtrxH = &matrix;
    }
};

TEST_F(Select, CurrentFrameAndMatrix) {
    FakeFile f;
    SdifParseSelection(f.sel, "#1-2:1TRC/1TRC");
    // 0xFFFFFFFF: no stream at all
    for (auto [sig, id, selected] :
         {std::make_tuple("1TRC", 2u, 1), std::make_tuple("1TRC", 3u, 0),
          std::make_tuple("1TRC", 0xFFFFFFFFu, 1), std::make_tuple("1HRM", 0xFFFFFFFFu, 0)}) {
        f.frame = {Sig(sig), 0, 1, id, 0.25};
        f.matrix.Signature = Sig(sig == std::string("1TRC") ? "1TRC" : "1BEG");
        EXPECT_EQ(SdifFCurrFrameIsSelected(&f.file), selected) << sig << " " << id;
        EXPECT_EQ(SdifFCurrMatrixIsSelected(&f.file), sig == std::string("1TRC")) << sig;
    }
    EXPECT_EQ(SdifFNumStreamsSelected(&f.file), 2);
}

TEST_F(Select, RowsAndColumnsCountFromOne) {
    FakeFile f;
    SdifParseSelection(f.sel, "_2-3,9.1,3");
    for (int row = 1; row <= 4; row++)
        EXPECT_EQ(SdifFRowIsSelected(&f.file, row), row == 2 || row == 3) << row;
    EXPECT_EQ(SdifFNumRowsSelected(&f.file), 2);  // row 9 lies beyond the 5 rows
    EXPECT_EQ(std::make_tuple(SdifFColumnIsSelected(&f.file, 1), SdifFColumnIsSelected(&f.file, 2),
                              SdifFNumColumnsSelected(&f.file)),
              std::make_tuple(1, 0, 2));
    f.matrix.NbRow = 100;
    EXPECT_EQ(SdifFNumRowsSelected(&f.file), 3);

    FakeFile all;  // no row or column list: everything
    EXPECT_EQ(std::make_tuple(SdifFNumRowsSelected(&all.file), SdifFNumColumnsSelected(&all.file),
                              SdifFColumnIsSelected(&all.file, 4000)),
              std::make_tuple(5, 4, 1));

    FakeFile none;
    SdifParseSelection(none.sel, "_1+2");
    EXPECT_EQ(SdifFNumRowsSelected(&none.file), 0);

    FakeFile huge;  // rows past the flag array are counted from the list
    SdifParseSelection(huge.sel, "_65530-70000,80000");
    huge.matrix.NbRow = 75000;
    EXPECT_EQ(SdifFNumRowsSelected(&huge.file), 4471);
    EXPECT_TRUE(SdifFRowIsSelected(&huge.file, 69999));
    EXPECT_FALSE(SdifFRowIsSelected(&huge.file, 70001));
}

// ---- print ----

TEST_F(Select, PrintShowsEveryList) {
    Sel sel;
    SdifGetFilenameAndSelection("dir/x.sdif::#1-3,5:1TRC,1HRM@0.5+0.1", sel);
    EXPECT_EQ(Printed(sel, 0),
              "selection: file dir/x.sdif  basename x.sdif\n"
              "   stream: 1 - 3, 5\n"
              "   frame : 1TRC, 1HRM\n"
              "   matrix: any\n"
              "   column: any\n"
              "   row   : any\n"
              "   time  : 0.5 + 0.1\n");
    Sel opt;  // the option shows plain ranges
    SdifGetFilenameAndSelection("x::#5+2,3-1_4@2-1,1+0.25", opt);
    std::string plain = Printed(opt, 1);
    EXPECT_NE(plain.find("   stream: 3 - 7, 1 - 3\n"), std::string::npos) << plain;
    EXPECT_NE(plain.find("   row   : 4\n"), std::string::npos) << plain;
    EXPECT_NE(plain.find("   time  : 1 - 2, 0.75 - 1.25\n"), std::string::npos) << plain;
    std::string raw = Printed(opt, 0);
    EXPECT_NE(raw.find("   stream: 5 + 2, 3 - 1\n"), std::string::npos) << raw;
}

}  // namespace
