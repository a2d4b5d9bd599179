#include "sdifentity.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "OndelTestUtil.h"
#include "sdifexception.h"

using namespace Ondel;
using ondeltest::Thrown;
using testsupport::Sig;

namespace {

typedef SelectionSet<unsigned int> Sel;

Sel Set(std::set<unsigned int> values) { return Sel(values, false); }

// The matrix, frame and stream selections as the entity gives them, e.g.
// "M{1TRC} F- S{0 1}+": - when inactive, + when open-ended.
std::string Selections(const SDIFEntity& e) {
    std::string out;
    auto part = [&](const char* kind, bool (SDIFEntity::*get)(Sel&) const, bool sigs) {
        Sel s;
        (e.*get)(s);
        out += kind;
        if (s.IsActive()) {
            std::string list;
            for (unsigned v : s) {
                if (!list.empty()) list += " ";
                if (sigs)
                    for (int shift = 24; shift >= 0; shift -= 8) list += char(v >> shift);
                else
                    list += std::to_string(v);
            }
            out += "{" + list + "}";
        } else {
            out += "-";
        }
        if (s.IsOpenEnd()) out += "+";
        if (sigs) out += " ";
    };
    part("M", &SDIFEntity::GetMatrixSelection, true);
    part("F", &SDIFEntity::GetFrameSelection, true);
    part("S", &SDIFEntity::GetStreamSelection, false);
    return out;
}

std::string Data(const char* name) { return testsupport::DataPath(name); }

// Frames read until the end.
int CountFrames(SDIFEntity& e) {
    SDIFFrame frame;
    int n = 0;
    while (!e.eof())
        if (e.ReadNextSelectedFrame(frame)) ++n;
    return n;
}

}  // namespace

// Every frame of a real file with its time, stream, signature and rows.
TEST(SDIFEntity, ReadsEveryFrameOfARealFile) {
    const std::string path = Data("tone-s1.sdif");
    const auto raw = testsupport::RawFrames(testsupport::ReadFile(path));
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(path.c_str()));
    EXPECT_EQ(e.GetOpenMode(), 2);
    EXPECT_EQ(e.GetGeneralHeaderSize(), 16u);
    EXPECT_EQ(e.GetFirstFramePos(), long(raw[0].at));
    SDIFFrame frame;
    size_t n = 0;
    while (!e.eof()) {
        ASSERT_GT(e.ReadNextFrame(frame), 0);
        ASSERT_LT(n, raw.size());
        EXPECT_EQ(frame.GetTime(), raw[n].time);
        EXPECT_EQ(frame.GetStreamID(), raw[n].id);
        EXPECT_EQ(frame.GetSignature(), raw[n].sig);
        EXPECT_EQ(unsigned(frame.GetMatrix(0).GetNbRows()), raw[n].matrices[0].rows);
        ++n;
    }
    EXPECT_EQ(n, raw.size());
}

TEST(SDIFEntity, OpenRefusesOtherModes) {
    SDIFEntity e;
    for (SdifFileModeET mode : {eUnknownFileMode, eReadWriteFile}) {
        SCOPED_TRACE(mode);
        const auto ex = Thrown<SDIFBadMode>([&] { e.Open(Data("saw-s0.sdif").c_str(), mode); });
        EXPECT_STREQ(ex.what(), "Error in SDIFEntity::Open:: Mode specification error");
        EXPECT_EQ(ex.GetTag(), eBadMode);
        EXPECT_EQ(ex.GetFile(), nullptr);
    }
    EXPECT_TRUE(e.Open(Data("saw-s0.sdif").c_str(), eReadFile));
}

// A rejected header raises the library's exception and leaves the entity
// closed; a missing file is a plain refusal with the library's notice.
TEST(SDIFEntity, FileWithoutSdifHeaderThrowsAndStaysClosed) {
    const std::string path = testsupport::TempPath("notsdif.txt");
    testsupport::WriteFile(path, "this is not an SDIF file at all");
    SDIFEntity e;
    EXPECT_THROW(e.OpenRead(path.c_str()), Ondel::SDIFBadHeader);
    EXPECT_EQ(e.GetFile(), nullptr);
    EXPECT_EQ(e.GetOpenMode(), 0);
    EXPECT_TRUE(e.eof());
    const std::string shortFile = testsupport::TempPath("short.sdif");
    testsupport::WriteFile(shortFile, "SDIF");
    EXPECT_THROW(e.OpenRead(shortFile.c_str()), Ondel::SDIFEof);
    EXPECT_EQ(e.GetFile(), nullptr);
    std::string err = testsupport::CaptureStderr(
        [&] { EXPECT_FALSE(e.OpenRead(testsupport::TempPath("missing.sdif").c_str())); });
    EXPECT_NE(err.find("File not found"), std::string::npos);
    EXPECT_FALSE(e.Close());
}

TEST(SDIFEntity, ReadingPastTheEndThrows) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(Data("tone-s1.sdif").c_str()));
    EXPECT_EQ(CountFrames(e), 256);
    SDIFFrame frame;
    const auto ex = Thrown<SDIFEof>([&] { e.ReadNextFrame(frame); });
    EXPECT_STREQ(ex.what(), "Error in SDIFEntity::ReadNextFrame -- Eof reached");
    EXPECT_EQ(ex.GetFile(), e.GetFile());
    EXPECT_EQ(ex.GetTag(), eEof);
}

TEST(SDIFEntity, SelectedReadAnswersZeroOnceThenThrows) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead((Data("saw-s0.sdif") + "::#1").c_str()));
    SDIFFrame frame;
    EXPECT_EQ(e.ReadNextSelectedFrame(frame), 0);
    EXPECT_TRUE(e.eof());
    EXPECT_THROW(e.ReadNextSelectedFrame(frame), SDIFEof);
}

TEST(SDIFEntity, RewindGoesBackToTheFirstFrame) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(Data("sweep-s0.sdif").c_str()));
    SDIFFrame frame;
    for (int i = 0; i < 3; ++i) e.ReadNextFrame(frame);
    EXPECT_EQ(frame.GetTime(), 2.0 / 256);
    ASSERT_TRUE(e.Rewind());
    e.ReadNextFrame(frame);
    EXPECT_EQ(frame.GetTime(), 0.0);
    EXPECT_EQ(CountFrames(e), 511);
    ASSERT_TRUE(e.Rewind());
    EXPECT_FALSE(e.eof());
}

// ---- the file's own selection, rewritten by Restrict... ----

// Without a stream list every stream is selected (open-ended, inactive).
TEST(SDIFEntitySelection, EmptySelectionIsFilledFromTheRestriction) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(Data("saw-s0.sdif").c_str()));
    EXPECT_EQ(Selections(e), "M- F- S-+");
    EXPECT_TRUE(e.RestrictMatrixSelection(Set({Sig("1TRC")})));
    EXPECT_TRUE(e.RestrictFrameSelection(Set({Sig("1TRC")})));
    EXPECT_TRUE(e.RestrictStreamSelection(Set({0})));
    EXPECT_TRUE(e.RestrictStreamSelection(Sel()));  // an inactive restriction changes nothing
    EXPECT_EQ(Selections(e), "M{1TRC} F{1TRC} S{0}");
    EXPECT_EQ(CountFrames(e), 256);
}

TEST(SDIFEntitySelection, MatrixSelectionFromTheNameIsIntersected) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead((Data("saw-s0.sdif") + "::/1TRC").c_str()));
    EXPECT_EQ(Selections(e), "M{1TRC} F- S-+");
    EXPECT_TRUE(e.RestrictMatrixSelection(Set({Sig("1TRC"), Sig("1HRM")})));
    EXPECT_EQ(Selections(e), "M{1TRC} F- S-+");
    SDIFFrame frame;
    e.ReadNextSelectedFrame(frame);
    EXPECT_EQ(frame.GetNbMatrix(), 1u);
}

// An empty intersection leaves a list holding only 0: active, empty.
TEST(SDIFEntitySelection, DisjointMatrixSelectionSelectsNoMatrix) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead((Data("tone-s1.sdif") + "::/1HRM").c_str()));
    EXPECT_TRUE(e.RestrictMatrixSelection(Set({Sig("1TRC")})));
    EXPECT_EQ(Selections(e), "M{} F- S-+");
    // The test answers true for a list holding 0 whatever it is asked.
    EXPECT_TRUE(e.TestMatrixSelection(Sig("1TRC")));
    SDIFFrame frame;
    EXPECT_GT(e.ReadNextSelectedFrame(frame), 0);
    EXPECT_EQ(frame.GetNbMatrix(), 0u);
}

TEST(SDIFEntitySelection, StreamSelectionFromTheName) {
    SDIFEntity saw;
    ASSERT_TRUE(saw.OpenRead((Data("saw-s0.sdif") + "::#1").c_str()));
    EXPECT_TRUE(saw.RestrictStreamSelection(Set({0, 1})));
    EXPECT_EQ(Selections(saw), "M- F- S{1}");
    EXPECT_TRUE(saw.TestStreamSelection(1));
    EXPECT_FALSE(saw.TestStreamSelection(0));
    EXPECT_EQ(CountFrames(saw), 0);

    SDIFEntity tone;
    ASSERT_TRUE(tone.OpenRead((Data("tone-s1.sdif") + "::#1").c_str()));
    EXPECT_EQ(CountFrames(tone), 256);
}

TEST(SDIFEntitySelection, StreamAndFrameSelectionNarrowedToNothing) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead((Data("saw-s0.sdif") + "::#0:1TRC").c_str()));
    EXPECT_FALSE(e.TestFrameSelection(Sig("1TRC")));  // a list without 0 answers false
    EXPECT_TRUE(e.RestrictFrameSelection(Set({Sig("1TRC"), Sig("1HRM")})));
    EXPECT_TRUE(e.RestrictStreamSelection(Set({1, 2})));
    EXPECT_EQ(Selections(e), "M- F{1TRC} S-");
    EXPECT_FALSE(e.TestStreamSelection(0));
    EXPECT_FALSE(e.TestStreamSelection(1));
    EXPECT_EQ(CountFrames(e), 0);
}

TEST(SDIFEntitySelection, ClearedNameSelectionIsNotRefilledButReestablished) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead((Data("saw-s0.sdif") + "::/1TRC").c_str()));
    ASSERT_TRUE(e.ClearSelection(eSelectMatrices));
    EXPECT_EQ(Selections(e), "M- F- S-+");
    EXPECT_FALSE(e.RestrictMatrixSelection(Set({Sig("1HRM")})));
    ASSERT_TRUE(e.ReestablishMatrixSelection());
    EXPECT_EQ(Selections(e), "M{1TRC} F- S-+");
}

TEST(SDIFEntitySelection, MergeChangeAndClear) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(Data("tone-s1.sdif").c_str()));
    EXPECT_TRUE(e.TestFrameSelection(Sig("XXXX")));
    EXPECT_TRUE(e.MergeSelection("#1"));
    EXPECT_TRUE(e.MergeSelection("#3"));
    EXPECT_EQ(Selections(e), "M- F- S{1 3}");
    EXPECT_FALSE(e.TestStreamSelection(2));
    EXPECT_TRUE(e.ChangeSelection("#2:1HRM"));
    EXPECT_EQ(Selections(e), "M- F{1HRM} S{2}");
    EXPECT_TRUE(e.ClearSelection(eSelectAll));
    EXPECT_EQ(Selections(e), "M- F- S-+");
    EXPECT_TRUE(e.TestStreamSelection(77));
    EXPECT_EQ(CountFrames(e), 256);
}

TEST(SDIFEntitySelection, HelpersBuildTheFileSelection) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(Data("tone-s1.sdif").c_str()));
    SdifSelectionT* sel = e.GetFile()->Selection;
    ASSERT_TRUE(SDIFEntity::CreateEmptyStreamSelection(sel));
    EXPECT_FALSE(e.TestStreamSelection(0));
    EXPECT_FALSE(e.TestStreamSelection(1));
    Sel open = Set({2, 4});
    open.SetOpenEnd(true);
    ASSERT_TRUE(SDIFEntity::CreateStreamSelection(sel, open));
    EXPECT_TRUE(e.TestStreamSelection(2));
    EXPECT_FALSE(e.TestStreamSelection(3));
    EXPECT_TRUE(e.TestStreamSelection(9));
    Sel inactive = Set({5});
    inactive.SetActive(false);
    ASSERT_TRUE(SDIFEntity::CreateStreamSelection(sel, inactive));  // leaves no stream list
    EXPECT_TRUE(e.TestStreamSelection(3));
    ASSERT_TRUE(SDIFEntity::CreateSignatureSelection(sel->frame, Set({Sig("1TRC")})));
    EXPECT_EQ(Selections(e), "M- F{1TRC} S-+");
}

// ---- writing, name-value tables and types ----

TEST(SDIFEntity, WrittenTablesAndDeclaredFrameTypeReadBack) {
    const std::string path = testsupport::TempPath("nvt.sdif");
    {
        SDIFEntity out;
        SDIFNameValueTable info;
        info.AddNameValue("TableName", "ChordSeq");
        info.AddNameValue("WrittenBy", "tests");
        out.AddNVT(info, 0);
        SDIFNameValueTable more;
        more.AddNameValue("key", "value");
        out.AddNVT(more, 3);
        out.AddFrameType("1MRK", "1TRC chord_seq_partials");
        EXPECT_EQ(out.GetTypeString(), "1FTD1MRK { 1TRC chord_seq_partials;  }\n");
        ASSERT_TRUE(out.OpenWrite(path.c_str()));
        EXPECT_EQ(out.GetOpenMode(), 1);
        EXPECT_FALSE(out.EnableFrameDir());
        SDIFFrame frame;
        frame.SetHeader("1MRK", 0, 0.5);
        SDIFMatrix partials("1TRC", 1, 4, eFloat4);
        partials.Set(0, 1, 440.0);
        frame.AddMatrix(partials);
        EXPECT_EQ(out.WriteFrame(frame), int(frame.GetSize()) + 8);
    }
    SDIFEntity in;
    std::string err = testsupport::CaptureStderr([&] {
        ASSERT_TRUE(in.OpenRead(path.c_str()));
        ASSERT_EQ(in.GetNbNVT(), 2u);
        EXPECT_EQ(in.GetNVT(0).GetValue("TableName"), "ChordSeq");
        EXPECT_EQ(in.GetNVT(0).GetValue("WrittenBy"), "tests");
        EXPECT_EQ(in.GetNVT(1).GetValue("key"), "value");
        EXPECT_GT(in.GetAsciiChunksSize(), 0u);
        SDIFFrame frame;
        ASSERT_GT(in.ReadNextFrame(frame), 0);
        EXPECT_EQ(frame.GetSignature(), Sig("1MRK"));
        EXPECT_EQ(frame.GetMatrix("1TRC").GetFloat(0, 1), 440.0f);
    });
    // The 1TRC matrix is a declared component of 1MRK: no complaint.
    EXPECT_EQ(err.find("not in frames components"), std::string::npos) << err;
    EXPECT_NE(in.GetTypeString().find("1MRK"), std::string::npos) << in.GetTypeString();
    EXPECT_NE(in.GetTypeString().find("chord_seq_partials"), std::string::npos);
}

TEST(SDIFEntity, MissingTableIsReportedAndTheFirstAnswered) {
    SDIFEntity e;
    SDIFNameValueTable a, b;
    a.AddNameValue("n", "first");
    e.AddNVT(a, 7);
    e.AddNVT(b, 8);
    EXPECT_EQ(e.GetNVT(0).GetStreamID(), 7u);
    SDIFNameValueTable* got = nullptr;
    const std::string err = testsupport::CaptureStderr([&] { got = &e.GetNVT(5); });
    EXPECT_EQ(err, " No such NameValueTable \n");
    EXPECT_EQ(e.GetNbNVT(), 3u);
    EXPECT_EQ(got, &e.GetNVT(0));
    EXPECT_EQ(got->GetValue("n"), "first");
}

TEST(SDIFEntity, PrintsTablesAndTypes) {
    SDIFEntity e;
    SDIFNameValueTable a;
    a.AddNameValue("n", "v");
    e.AddNVT(a, 0);
    e.AddNVT(a, 1);
    EXPECT_EQ(testsupport::CaptureStdout([&] { e.PrintAllNVTs(); }),
              "\nNameValueTable number : 1\nn\t\tv\n\nNameValueTable number : 2\nn\t\tv\n");
    e.AddMatrixType("1ABC", "a, b");
    EXPECT_EQ(testsupport::CaptureStdout([&] { e.PrintTypes(); }), "\n1MTD1ABC { a, b }\n\n");
    EXPECT_FALSE(e.WriteTypes());  // no file open
}
