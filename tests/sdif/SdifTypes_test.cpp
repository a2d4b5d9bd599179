// Matrix and frame types: the predefined set, declarations in text, the rules
// by which a file extends a predefined type, and the 1TYP chunk.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "SdifTestEnv.h"

using namespace sdiftest;
using namespace testsupport;

namespace {
// Some of the predefined types as the format defines them (43 matrix types,
// 27 frame types in all): signature, then the columns (matrix types) or
// "matrix name" components (frame types).
const char* const kMatrixTypes[][2] = {
    {"1NVT", "NVTText"},
    {"1CHA", "Channel1, Channel2"},
    {"1TRC", "Index, Frequency, Amplitude, Phase"},
    {"1FOF", "Frequency, Amplitude, BandWidth, Tex, DebAtt, Atten, Phase"},
    {"1BEG", "Id"},
    {"EMJR", "Record"},
};

const char* const kFrameTypes[][2] = {
    {"1NVT", "1NVT NameValueTable"},
    {"1WIN", "IWIN WindowInfo; 1WIN Window"},
    {"1TRC", "1TRC SinusoidalTracks"},
    {"1FOB", "1FQ0 FundamentalFrequencyEstimate; 1FOF Formants; 1CHA Channels"},
    {"1MRK",
     "1BEG SegmentStart; 1END SegmentEnd; 1SEG Segmentation; 1LAB Label; 1PEM PeriodMarker; "
     "ITMR TransientMarkerRepresentation; ITMI TransientMarkerIdentifier"},
    {"EFKV", "EMKV Tableau; EMJR EndRecording"},
};

// Compare a matrix type with the expected comma-separated columns, and a
// frame type with its "matrix name" components separated by "; ": in order,
// each found again by its name (and a component by its matrix), none after.
size_t Items(const std::string& list, char sep) {
    return list.empty() ? 0 : 1 + std::count(list.begin(), list.end(), sep);
}

void ExpectColumns(SdifMatrixTypeT* type, const std::string& columns, const char* sig) {
    ASSERT_NE(type, nullptr) << sig;
    std::string found;
    for (int i = 1; i <= int(type->NbColumnDef) + 1; i++) {
        const char* name = SdifMatrixTypeGetColumnName(type, i);
        if (!name) break;
        bool back = SdifMatrixTypeGetNumColumnDef(type, name) == unsigned(i);
        found += (i > 1 ? ", " : "") + std::string(name) + (back ? "" : " (not found by name)");
    }
    EXPECT_EQ(found, columns) << sig;
    EXPECT_EQ(type->NbColumnDef, Items(columns, ',')) << sig;
}

void ExpectComponents(SdifFrameTypeT* type, const std::string& components, const char* sig) {
    ASSERT_NE(type, nullptr) << sig;
    std::string found;
    for (unsigned i = 1; i <= type->NbComponent + 1; i++) {
        SdifComponentT* c = SdifFrameTypeGetNthComponent(type, i);
        if (!c) break;
        bool back = SdifFrameTypeGetComponent_MtrxS(type, c->MtrxS) == c &&
                    SdifFrameTypeGetComponent(type, c->Name) == c;
        found += (i > 1 ? "; " : "") + std::string(SdifSignatureToString(c->MtrxS)) + " " +
                 c->Name + (back ? "" : " (not found again)");
    }
    EXPECT_EQ(found, components) << sig;
    EXPECT_EQ(type->NbComponent, Items(components, ';')) << sig;
}

// A file object that holds only types.
struct TypesFile {
    SdifFileT* file;
    TypesFile() : file(SdifFOpen("types", ePredefinedTypes)) {}
    ~TypesFile() { SdifFClose(file); }
    TypesFile(const TypesFile&) = delete;
    TypesFile& operator=(const TypesFile&) = delete;
    SdifFileT* operator->() { return file; }
    operator SdifFileT*() { return file; }

    size_t Declare(const char* text) {
        SdifStringT* s = SdifStringNew();
        SdifStringAppend(s, text);
        size_t n = SdifFGetAllTypefromSdifString(file, s);
        SdifStringFree(s);
        return n;
    }
};

class SdifTypes : public SdifLibraryTest {};

}  // namespace

// ---- the predefined set ----

TEST_F(SdifTypes, PredefinedMatrixTypesHaveTheirColumnsInOrder) {
    SdifHashTableT* table = gSdifPredefinedTypes->MatrixTypesTable;
    EXPECT_EQ(43u, table->NbOfData);
    for (const auto& entry : kMatrixTypes) {
        SdifMatrixTypeT* type = SdifGetMatrixType(table, Sig(entry[0]));
        ExpectColumns(type, entry[1], entry[0]);
        if (type) {
            EXPECT_EQ(type->MatrixTypePre, nullptr);
        }
    }
}

TEST_F(SdifTypes, PredefinedFrameTypesHaveTheirComponentsInOrder) {
    SdifHashTableT* table = gSdifPredefinedTypes->FrameTypesTable;
    EXPECT_EQ(27u, table->NbOfData);
    for (const auto& entry : kFrameTypes)
        ExpectComponents(SdifGetFrameType(table, Sig(entry[0])), entry[1], entry[0]);
    // declared only as matrix types
    EXPECT_EQ(SdifGetFrameType(table, Sig("IWIN")), nullptr);
    EXPECT_EQ(SdifGetFrameType(table, Sig("1BEG")), nullptr);
}

TEST_F(SdifTypes, CodedSetBuildsFiveMatrixTypesAndThreeFrameTypes) {
    TypesFile coded;
    ASSERT_EQ(coded.file, SdifTakeCodedPredefinedTypes(coded));
    EXPECT_EQ(5u, coded->MatrixTypesTable->NbOfData);
    EXPECT_EQ(3u, coded->FrameTypesTable->NbOfData);
    for (const auto& entry : kMatrixTypes) {
        SdifMatrixTypeT* type = SdifGetMatrixType(coded->MatrixTypesTable, Sig(entry[0]));
        if (type) ExpectColumns(type, entry[1], entry[0]);
    }
    for (const char* sig : {"1FQ0", "1FOF", "1CHA", "1RES", "1DIS"})
        EXPECT_NE(SdifGetMatrixType(coded->MatrixTypesTable, Sig(sig)), nullptr) << sig;
    for (const auto& entry : kFrameTypes) {
        SdifFrameTypeT* type = SdifGetFrameType(coded->FrameTypesTable, Sig(entry[0]));
        if (type) ExpectComponents(type, entry[1], entry[0]);
    }
    for (const char* sig : {"1FOB", "1REB", "1NOI"})
        EXPECT_NE(SdifGetFrameType(coded->FrameTypesTable, Sig(sig)), nullptr) << sig;
    // the set is built once: a second call adds nothing
    SdifTakeCodedPredefinedTypes(coded);
    EXPECT_EQ(5u, coded->MatrixTypesTable->NbOfData);
}

// ---- lookups from a file ----

TEST_F(SdifTypes, FirstUseOfAPredefinedSignatureCreatesALinkedFileType) {
    TypesFile f;
    EXPECT_EQ(SdifFGetMatrixType(f, Sig("1TRC")), nullptr);
    SdifMatrixTypeT* trc = SdifTestMatrixType(f, Sig("1TRC"));
    ASSERT_NE(trc, nullptr);
    EXPECT_EQ(trc, SdifFGetMatrixType(f, Sig("1TRC")));
    EXPECT_EQ(trc, SdifTestMatrixType(f, Sig("1TRC")));  // found, not made again
    EXPECT_EQ(
        std::make_tuple(trc->MatrixTypePre, trc->NbColumnDef,
                        SdifListGetNbData(trc->ColumnUserList), trc->ModifMode),
        std::make_tuple(SdifGetMatrixType(gSdifPredefinedTypes->MatrixTypesTable, Sig("1TRC")), 4u,
                        0u, eCanModif));
    SdifFrameTypeT* mrk = SdifTestFrameType(f, Sig("1MRK"));
    ASSERT_NE(mrk, nullptr);
    // nothing of the file's own yet: no 1TYP chunk would be written
    EXPECT_EQ(std::make_tuple(mrk->NbComponent, mrk->NbComponentUse,
                              SdifFrameTypeGetNthComponent(mrk, 2)->MtrxS,
                              SdifExistUserMatrixType(f->MatrixTypesTable),
                              SdifExistUserFrameType(f->FrameTypesTable)),
              std::make_tuple(7u, 0u, Sig("1END"), 0, 0));
}

TEST_F(SdifTypes, UnknownSignatureIsReportedUndefined) {
    RecordReports rec;
    TypesFile f;
    EXPECT_EQ(SdifTestMatrixType(f, Sig("ABCD")), nullptr);
    EXPECT_EQ(eUnDefined, SdifFLastErrorTag(f));
    EXPECT_EQ("Matrix Type : 'ABCD' (0x41424344) undefined", RecordReports::LastMessage());
    EXPECT_EQ(SdifTestFrameType(f, Sig("WXYZ")), nullptr);
    EXPECT_EQ(std::make_tuple(SdifFLastErrorTag(f), f->MatrixTypesTable->NbOfData,
                              f->FrameTypesTable->NbOfData),
              std::make_tuple(eUnDefined, 0u, 0u));
}

TEST_F(SdifTypes, PredefinedTypeOfAnotherSignatureIsNotLinked) {
    RecordReports rec;
    SdifMatrixTypeT* trc = SdifGetMatrixType(gSdifPredefinedTypes->MatrixTypesTable, Sig("1TRC"));
    SdifMatrixTypeT* type = SdifCreateMatrixType(Sig("1HRM"), trc);
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(std::make_tuple(type->MatrixTypePre == nullptr, type->NbColumnDef),
              std::make_tuple(true, 0u));
    ASSERT_EQ(std::vector<int>{eInvalidPredefinedType}, RecordReports::Tags());
    EXPECT_EQ("Invalid Predefined Type : '1TRC'(Pre) != '1HRM'", RecordReports::LastMessage());
    SdifKillMatrixType(type);
}

// ---- declarations ----

TEST_F(SdifTypes, ExtendingOneTRCWithExtraGivesItAFifthColumn) {
    TypesFile f;
    f.Declare("1MTD 1TRC {Extra}");
    SdifMatrixTypeT* trc = SdifFGetMatrixType(f, Sig("1TRC"));
    ExpectColumns(trc, "Index, Frequency, Amplitude, Phase, Extra", "1TRC");
    ASSERT_NE(trc, nullptr);
    // the predefined type itself is untouched
    EXPECT_EQ(std::make_tuple(trc->ModifMode, SdifExistUserMatrixType(f->MatrixTypesTable),
                              trc->MatrixTypePre->NbColumnDef, SdifFNumErrors(f, eMessage)),
              std::make_tuple(eNoModif, 1, 4u, 0u));
}

// Declarations read: new types numbered from 1, components after the
// predefined ones; a refused declaration or component is reported and reading
// goes on. The types end as listed ("" for one left without columns or
// components).
TEST_F(SdifTypes, DeclarationsAreReadAndRefusedOnesReportedAndReadingGoesOn) {
    using Types = std::vector<std::pair<const char*, const char*>>;
    const struct {
        const char* text;
        std::vector<int> tags;
        std::vector<std::string> messages;  // found in order in the reports
        Types matrices, frames;
    } cases[] = {
        {"1MTD XNEW {Alpha, Beta,Gamma }\n1FTD XFRM {XNEW NewOne; 1TRC Tracks;}\n",
         {},
         {},
         {{"XNEW", "Alpha, Beta, Gamma"}},
         {{"XFRM", "XNEW NewOne; 1TRC Tracks"}}},
        // the object layer writes its declarations without a blank after the keyword
        {"1FTD1MRK { 1TRC chord_seq_partials;  }\n",
         {},
         {},
         {},
         {{"1MRK",
           "1BEG SegmentStart; 1END SegmentEnd; 1SEG Segmentation; 1LAB Label; "
           "1PEM PeriodMarker; ITMR TransientMarkerRepresentation; "
           "ITMI TransientMarkerIdentifier; 1TRC chord_seq_partials"}}},
        {"1FTD XAAA {1TRC}\n1MTD XNEW {A}\n",
         {eSyntax},
         {"Syntax error: Incomplete Component : '1TRC}'"},
         {{"XNEW", "A"}},
         {}},
        // a second declaration of a type; the first is kept
        {"1MTD XNEW {A, B}\n1MTD XNEW {C}\n1MTD XTWO {D}\n"
         "1FTD XFRM {XNEW One;}\n1FTD XFRM {XTWO Two;}\n",
         {eCompletedYet, eCompletedYet},
         {"Matrix Type 'XNEW'  has been completed in this file yet"},
         {{"XNEW", "A, B"}, {"XTWO", "D"}},
         {{"XFRM", "XNEW One"}}},
        // a repeated column name, a predefined one as well
        {"1MTD XNEW {A, B, A, C}\n1MTD 1TRC {Phase, Extra}\n",
         {eExistsYet, eExistsYet},
         {"Object Exists Yet : 'Phase'"},
         {{"XNEW", "A, B, C"}, {"1TRC", "Index, Frequency, Amplitude, Phase, Extra"}},
         {}},
        {"1FTD XFRM {QQQQ Unknown; 1TRC Tracks;}\n",
         {eUnDefined},
         {"Matrix Type : 'QQQQ' (0x51515151) undefined"},
         {},
         {{"XFRM", "1TRC Tracks"}}},
        // 1TRC is a predefined component of 1TRC; then name clashes
        {"1FTD 1TRC {1TRC Again; 1HRM SinusoidalTracks; 1PIC Peaks; 1FQ0 Peaks;}\n",
         {eExistsYet, eExistsYet, eExistsYet},
         {"Object Exists Yet : '1TRC'", "Object Exists Yet : 'SinusoidalTracks'",
          "Object Exists Yet : 'Peaks'"},
         {},
         {{"1TRC", "1TRC SinusoidalTracks; 1PIC Peaks"}}},
        {"1MTD XNEW abc {A, B}\n1MTD XTWO {C}\n1FTD XFRM ; {XTWO C;}\n1MTD XTRE {D}\n",
         {eSyntax, eSyntax},
         {"--> Syntax error: Matrix Type : waiting for '{', read 'abc'\n",
          "--> Syntax error: Frame Type : waiting for '{', read ';'\n"},
         {{"XNEW", ""}, {"XTWO", "C"}, {"XTRE", "D"}},
         {{"XFRM", ""}}},
        // a component without its ';' (its name cut by the next word) is
        // dropped, the next one kept
        {"1FTD XBBB {1TRC Tracks 1HRM Harm; 1PIC Peaks;}\n1MTD XTWO {B}\n",
         {eWordCut, eSyntax},
         {"Word cut read : 'Tracks'", "Component must be finished by ';'"},
         {{"XTWO", "B"}},
         {{"XBBB", "1PIC Peaks"}}},
        {"1MTD XNEW {A}\nJUNK 1MTD XTWO {B}\n",
         {eSyntax},
         {"Syntax error: Waiting for signature '1MTD' or '1FTD', read 'JUNK'",
          "\nremaining input ' 1MTD XTWO {B}\n'"},
         {{"XNEW", "A"}, {"XTWO", "B"}},
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        RecordReports rec;
        TypesFile f;
        f.Declare(c.text);
        EXPECT_EQ(c.tags, RecordReports::Tags());
        std::string all;
        for (const auto& r : RecordReports::Reports()) all += r.text;
        size_t at = 0;
        for (const std::string& m : c.messages) {
            at = all.find(m, at);
            ASSERT_NE(at, std::string::npos) << m << " in " << all;
        }
        for (const auto& [sig, columns] : c.matrices)
            ExpectColumns(SdifFGetMatrixType(f, Sig(sig)), columns, sig);
        for (const auto& [sig, components] : c.frames)
            ExpectComponents(SdifFGetFrameType(f, Sig(sig)), components, sig);
    }
}

TEST_F(SdifTypes, ClosedTypeRefusesNewColumnsAndComponents) {
    RecordReports rec;
    TypesFile f;
    f.Declare("1MTD XNEW {A}\n1FTD XFRM {XNEW One;}\n");
    SdifMatrixTypeT* m = SdifFGetMatrixType(f, Sig("XNEW"));
    SdifFrameTypeT* fr = SdifFGetFrameType(f, Sig("XFRM"));
    EXPECT_EQ(SdifMatrixTypeInsertTailColumnDef(m, "B"), nullptr);
    EXPECT_EQ("Type has been defined yet: 'XNEW'", RecordReports::LastMessage());
    EXPECT_EQ(SdifFrameTypePutComponent(fr, Sig("1TRC"), "Two"), nullptr);
    EXPECT_EQ(RecordReports::Tags(), (std::vector<int>{eTypeDefinedYet, eTypeDefinedYet}));
    EXPECT_EQ(std::make_tuple(m->NbColumnDef, fr->NbComponent), std::make_tuple(1u, 1u));
}

TEST_F(SdifTypes, StringFormStopsAtAClosingBrace) {
    TypesFile f;
    SdifStringT* s = SdifStringNew();
    SdifStringAppend(s, "1MTD XNEW {A}\n}\n1MTD XTWO {B}\n");
    size_t n = SdifFGetAllTypefromSdifString(f, s);
    EXPECT_EQ(
        std::make_tuple(n, size_t(s->NbCharRead), SdifFGetMatrixType(f, Sig("XNEW")) != nullptr,
                        SdifFGetMatrixType(f, Sig("XTWO")) != nullptr),
        std::make_tuple(std::string("1MTD XNEW {A}\n}").size(), n, true, false));
    SdifStringFree(s);
}

// ---- declaration text of a file's own types ----

// (read back through the 1TYP chunk below)
TEST_F(SdifTypes, OwnTypesRenderAsDeclarations) {
    TypesFile a;
    a.Declare(
        "1MTD 1TRC {Extra, More}\n"
        "1MTD XNEW {Alpha}\n"
        "1FTD 1MRK {1TRC chord_seq_partials;}\n"
        "1FTD XFRM {XNEW First; 1TRC Second;}\n");
    SdifTestMatrixType(a, Sig("1HRM"));  // used but not extended: not rendered
    SdifStringT* text = SdifStringNew();
    EXPECT_EQ(2, SdifFAllMatrixTypeToSdifString(a, text));
    EXPECT_EQ(2, SdifFAllFrameTypeToSdifString(a, text));
    std::string rendered = text->str;
    for (const char* line :
         {"1MTD 1TRC {Extra, More }\n", "1MTD XNEW {Alpha }\n",
          "1FTD 1MRK {1TRC chord_seq_partials;  }\n", "1FTD XFRM {XNEW First; 1TRC Second;  }\n"})
        EXPECT_NE(rendered.find(line), std::string::npos) << line << " in " << rendered;
    EXPECT_EQ(rendered.find("1HRM"), std::string::npos) << rendered;

    SdifStringFree(text);
}

// ---- the binary 1TYP chunk ----

TEST_F(SdifTypes, OneTYPChunkWrittenWithAFileReadsBack) {
    std::string path = TempPath("types.sdif");
    {
        SdifFileT* w = SdifFOpen(path.c_str(), eWriteFile);
        ASSERT_NE(w, nullptr);
        SdifStringT* decl = SdifStringNew();
        SdifStringAppend(decl, "1MTD 1TRC {Extra}\n1MTD XNEW {A, B}\n1FTD XFRM {XNEW Pair;}\n");
        SdifFGetAllTypefromSdifString(w, decl);
        SdifStringFree(decl);
        EXPECT_EQ(16u, SdifFWriteGeneralHeader(w));
        size_t written = SdifFWriteAllASCIIChunks(w);
        EXPECT_GT(written, 0u);
        EXPECT_EQ(0u, written % 8);  // chunks end on 8-byte boundaries
        SdifFClose(w);
    }
    std::string bytes = ReadFile(path);
    ASSERT_GE(bytes.size(), 24u);
    EXPECT_EQ("1TYP", bytes.substr(16, 4));

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    CaptureSdifStdErr err;
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(bytes.size() - 16, SdifFReadAllASCIIChunks(r));
    // nothing after the chunk, no notice
    EXPECT_EQ(std::make_tuple(r->CurrSignature, err.Text(), r->TypeDefPass),
              std::make_tuple(0u, std::string(), 1));
    ExpectColumns(SdifFGetMatrixType(r, Sig("1TRC")), "Index, Frequency, Amplitude, Phase, Extra",
                  "1TRC");
    ExpectColumns(SdifFGetMatrixType(r, Sig("XNEW")), "A, B", "XNEW");
    ExpectComponents(SdifFGetFrameType(r, Sig("XFRM")), "XNEW Pair", "XFRM");
    SdifFClose(r);
}

TEST_F(SdifTypes, OneTYPFrameWithoutMatrixIsReadAsIntermediateText) {
    const std::string decl = "{\n1MTD XNEW {A, B}\n}";
    std::string path =
        SaveTemp("intermediate.sdif", SdifHeader() + FrameBytes("1TYP", 0xFFFFFFFFu, 0, decl) +
                                          "1TRC");  // a frame follows

    SdifFileT* r = SdifFOpen(path.c_str(), eReadFile);
    ASSERT_NE(r, nullptr);
    CaptureSdifStdErr err;
    EXPECT_EQ(16u, SdifFReadGeneralHeader(r));
    EXPECT_EQ(4 + 20 + decl.size(), SdifFReadAllASCIIChunks(r));
    EXPECT_EQ(Sig("1TRC"), r->CurrSignature);
    EXPECT_EQ(
        "*Sdif* Warning, this file uses an intermediate format for the user defined types.  "
        "Portablity with programs not using the QUENDA SDIF library is not guaranteed.\n",
        err.Text());
    ExpectColumns(SdifFGetMatrixType(r, Sig("XNEW")), "A, B", "XNEW");
    SdifFClose(r);
}

// ---- a types file in the working directory ----

// The library starts once per process, so the start-up with a types file
// runs in a child.
TEST_F(SdifTypes, TypesFileInTheWorkingDirectoryReplacesTheBuiltInTypes) {
    std::string dir = TempPath("styp");
    ASSERT_TRUE(dir.size() > 0);
    std::string mk = "mkdir -p '" + dir + "'";
    ASSERT_EQ(0, std::system(mk.c_str()));
    WriteFile(dir + "/SdifTypes.STYP",
              "SDIF\n\n1TYP\n{\n  1MTD XTST {Alpha, Beta}\n"
              "  1FTD XTST {XTST Test;}\n}\n\nENDF\n");
    EXPECT_EXIT(
        {
            if (chdir(dir.c_str()) != 0) std::_Exit(2);
            SdifGenKill();
            SdifStdErr = stderr;
            SdifGenInit("");
            SdifHashTableT* m = gSdifPredefinedTypes->MatrixTypesTable;
            SdifMatrixTypeT* tst = SdifGetMatrixType(m, Sig("XTST"));
            bool ok = tst && tst->NbColumnDef == 2 &&
                      SdifMatrixTypeGetNumColumnDef(tst, "Beta") == 2 &&
                      SdifGetMatrixType(m, Sig("1TRC")) == nullptr &&
                      SdifGetFrameType(gSdifPredefinedTypes->FrameTypesTable, Sig("XTST")) &&
                      SdifFNumErrors(gSdifPredefinedTypes, eMessage) == 0;
            std::fprintf(stderr, ok ? "types from the file\n" : "wrong types\n");
            std::_Exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "types from the file");
}

TEST_F(SdifTypes, MissingTypesFileFallsBackOnTheBuiltInTypes) {
    EXPECT_EXIT(
        {
            SdifGenKill();
            SdifStdErr = stderr;
            SdifDisableErrorOutput();
            SdifGenInit("/nonexistent/dir/Types.STYP");
            bool ok = SdifGetMatrixType(gSdifPredefinedTypes->MatrixTypesTable, Sig("1TRC"));
            std::_Exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0),
        "\\*Sdif\\* Load Coded Predefinied Types, it can be incomplete \\(file not found\\)\n\n");
}
