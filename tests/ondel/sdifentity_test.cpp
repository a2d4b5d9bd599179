#include "sdifentity.h"

#include <gtest/gtest.h>

#include "OndelTestUtil.h"

using namespace Ondel;
using namespace ondeltest;
using testsupport::Sig;

namespace {

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

// The frames themselves are compared with their bytes by the directory's
// walk; here the entity's own state, its end and its rewind.
TEST(SDIFEntity, ReadsARealFileToItsEndAndRewinds) {
    const std::string path = Data("sweep-s0.sdif");
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(path.c_str()));
    EXPECT_EQ(e.GetOpenMode(), 2);
    EXPECT_EQ(e.GetGeneralHeaderSize(), 16u);
    EXPECT_EQ(e.GetFirstFramePos(),
              long(testsupport::RawFrames(testsupport::ReadFile(path))[0].at));
    SDIFFrame frame;
    for (int i = 0; i < 3; ++i) e.ReadNextFrame(frame);
    EXPECT_EQ(frame.GetTime(), 2.0 / 256);
    ASSERT_TRUE(e.Rewind());
    e.ReadNextFrame(frame);
    EXPECT_EQ(frame.GetTime(), 0.0);
    EXPECT_EQ(CountFrames(e), 511);
    const auto ex = Thrown<SDIFEof>([&] { e.ReadNextFrame(frame); });
    EXPECT_STREQ(ex.what(), "Error in SDIFEntity::ReadNextFrame -- Eof reached");
    EXPECT_EQ(ex.GetFile(), e.GetFile());
    EXPECT_EQ(ex.GetTag(), eEof);
    ASSERT_TRUE(e.Rewind());
    EXPECT_FALSE(e.eof());
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
// closed; a missing file is a plain refusal (its notice only printed).
TEST(SDIFEntity, FileWithoutSdifHeaderThrowsAndStaysClosed) {
    SDIFEntity e;
    const std::string text = testsupport::SaveTemp("notsdif.txt", "this is not an SDIF file");
    EXPECT_THROW(e.OpenRead(text.c_str()), Ondel::SDIFBadHeader);
    EXPECT_EQ(e.GetFile(), nullptr);
    EXPECT_EQ(e.GetOpenMode(), 0);
    EXPECT_TRUE(e.eof());
    EXPECT_THROW(e.OpenRead(testsupport::SaveTemp("short.sdif", "SDIF").c_str()), Ondel::SDIFEof);
    EXPECT_EQ(e.GetFile(), nullptr);
    testsupport::CaptureStderr(
        [&] { EXPECT_FALSE(e.OpenRead(testsupport::TempPath("missing.sdif").c_str())); });
    EXPECT_FALSE(e.Close());
}

// ---- the file's own selection, rewritten by Restrict... ----

// A selection from the name is intersected with the restriction (an empty
// intersection leaves a list holding only 0: active, empty); without one the
// restriction fills it; an inactive restriction changes nothing.  The frames
// read follow, and past the last one a selected read throws.
TEST(SDIFEntitySelection, RestrictionsNarrowTheSelectionOfTheName) {
    // Signatures "1TRC 1HRM" as a set.
    const auto sigs = [](const std::string& list) {
        std::set<unsigned> set;
        for (size_t at = 0; at + 4 <= list.size(); at += 5) set.insert(Sig(list.c_str() + at));
        return set;
    };
    const struct {
        std::string name;
        const char *matrices, *frames;  // restrictions; "" or {}: none
        std::set<unsigned> streams;
        const char *before, *after;  // null: not checked
        // The tests of matrix 1TRC, frame 1TRC, streams 0 and 1 after the
        // restrictions: a signature list answers 1 when empty or holding 0
        // and 0 otherwise, whatever is asked.
        const char* tests;
        int framesRead;
        unsigned matricesRead;  // in each frame read
    } cases[] = {
        {"saw-s0.sdif", "1TRC", "1TRC", {0}, "M- F- S-+", "M{1TRC} F{1TRC} S{0}", "0010", 256, 1},
        {"saw-s0.sdif::/1TRC",
         "1TRC 1HRM",
         "",
         {},
         "M{1TRC} F- S-+",
         "M{1TRC} F- S-+",
         "0111",
         256,
         1},
        {"tone-s1.sdif::/1HRM", "1TRC", "", {}, nullptr, "M{} F- S-+", "1111", 256, 0},
        {"saw-s0.sdif::#1", "", "", {0, 1}, nullptr, "M- F- S{1}", "1101", 0, 0},
        {"tone-s1.sdif::#1", "", "", {}, nullptr, nullptr, "1101", 256, 1},
        {"saw-s0.sdif::#0:1TRC", "", "1TRC 1HRM", {1, 2}, nullptr, "M- F{1TRC} S-", "1000", 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SDIFEntity e;
        ASSERT_TRUE(e.OpenRead((Data("") + c.name).c_str()));
        if (c.before) {
            EXPECT_EQ(Selections(e), c.before);
        }
        // An empty set is an inactive restriction: it changes nothing.
        EXPECT_TRUE(e.RestrictMatrixSelection(Set(sigs(c.matrices))));
        EXPECT_TRUE(e.RestrictFrameSelection(Set(sigs(c.frames))));
        EXPECT_TRUE(e.RestrictStreamSelection(Set(c.streams)));
        const std::string after = Selections(e);
        EXPECT_TRUE(e.RestrictMatrixSelection(Sel()));
        EXPECT_EQ(Selections(e), after);
        if (c.after) {
            EXPECT_EQ(after, c.after);
        }
        std::string tests;
        for (bool t : {e.TestMatrixSelection(Sig("1TRC")), e.TestFrameSelection(Sig("1TRC")),
                       e.TestStreamSelection(0), e.TestStreamSelection(1)})
            tests += t ? '1' : '0';
        EXPECT_EQ(tests, c.tests);
        SDIFFrame frame;
        int n = 0;
        while (!e.eof())
            if (e.ReadNextSelectedFrame(frame)) {
                ++n;
                EXPECT_EQ(frame.GetNbMatrix(), c.matricesRead);
            }
        EXPECT_EQ(n, c.framesRead);
        EXPECT_THROW(e.ReadNextSelectedFrame(frame), SDIFEof);
    }
}

// A cleared name selection is not refilled by a restriction but can be
// reestablished; merged and changed selections replace it.
TEST(SDIFEntitySelection, ClearMergeChangeAndReestablish) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead((Data("tone-s1.sdif") + "::/1TRC").c_str()));
    ASSERT_TRUE(e.ClearSelection(eSelectMatrices));
    EXPECT_EQ(Selections(e), "M- F- S-+");
    EXPECT_FALSE(e.RestrictMatrixSelection(Set({Sig("1HRM")})));
    ASSERT_TRUE(e.ReestablishMatrixSelection());
    EXPECT_EQ(Selections(e), "M{1TRC} F- S-+");
    EXPECT_TRUE(e.ClearSelection(eSelectMatrices));
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

// A missing table is reported, added empty, and the first one answered.
TEST(SDIFEntity, TablesAndTypesWithoutAFile) {
    SDIFEntity e;
    SDIFNameValueTable a;
    a.AddNameValue("n", "v");
    e.AddNVT(a, 7);
    e.AddNVT(a, 8);
    EXPECT_EQ(e.GetNVT(0).GetStreamID(), 7u);
    EXPECT_EQ(testsupport::CaptureStdout([&] { e.PrintAllNVTs(); }),
              "\nNameValueTable number : 1\nn\t\tv\n\nNameValueTable number : 2\nn\t\tv\n");
    SDIFNameValueTable* got = nullptr;
    const std::string err = testsupport::CaptureStderr([&] { got = &e.GetNVT(5); });
    EXPECT_EQ(err, " No such NameValueTable \n");
    EXPECT_EQ(e.GetNbNVT(), 3u);
    EXPECT_EQ(got, &e.GetNVT(0));
    e.AddMatrixType("1ABC", "a, b");
    EXPECT_EQ(testsupport::CaptureStdout([&] { e.PrintTypes(); }), "\n1MTD1ABC { a, b }\n\n");
    EXPECT_FALSE(e.WriteTypes());  // no file open
}
