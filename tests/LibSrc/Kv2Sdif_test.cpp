#include "Kv2Sdif.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Kv2TestUtil.h"
#include "PartialsContainer.h"
#include "TestSupport.h"
#include "sdifexception.h"

using namespace Kv2;
using testsupport::DataPath;
using testsupport::TempPath;
using testsupport::WriteFile;

namespace {

using kv2test::Ids;
const bool kStarted = kv2test::kKv2Started;

// ---- Hand-made SDIF files ----

const uint32_t kFloat4 = 0x0004;
const uint32_t kInt4 = 0x0104;
const uint32_t kUInt4 = 0x0204;
const uint32_t kText = 0x0301;

using M = testsupport::TestMatrix;
using testsupport::SdifHeader;

// A frame of the given matrices (argument order of the reader's results).
std::string Frame(const char* sig, double time, uint32_t stream, const std::vector<M>& ms) {
    return testsupport::SdifFrame(sig, stream, time, ms);
}

// The 1TYP chunk that lets a chord frame carry its 1TRC matrix.
std::string ChordTypes() {
    std::string text = "1FTD 1MRK\n{\n1TRC chord_seq_partials;\n}\n";
    M m{"1TYP", kText, static_cast<uint32_t>(text.size()), 1, {}};
    for (char c : text) m.values.push_back(c);
    return Frame("1TYP", 0.0, 0, {m});
}

// n rows of a 1TRC/1HRM matrix: index, frequency, amplitude, phase.
M Partials(const char* sig, std::initializer_list<int> indices) {
    M m{sig, kFloat4, static_cast<uint32_t>(indices.size()), 4, {}};
    for (int k : indices) {
        m.values.push_back(k);
        m.values.push_back(100.0 * k);
        m.values.push_back(0.01 * k);
        m.values.push_back(0.1 * k);
    }
    return m;
}

M Indices(const char* sig, std::initializer_list<int> indices) {
    M m{sig, kInt4, static_cast<uint32_t>(indices.size()), 1, {}};
    for (int k : indices) m.values.push_back(k);
    return m;
}

std::string Save(const std::string& name, const std::string& bytes) {
    return testsupport::SaveTemp(name, bytes);
}

// ---- An independent reader of the analysis files of tests/data ----

struct RefFrame {
    double time;
    uint32_t stream;
    std::vector<std::array<float, 4>> rows;
};

// Frames of one Float4 1TRC matrix each, no ASCII chunks (what hetro writes).
std::vector<RefFrame> ParseTrcFile(const std::string& path) {
    std::string b = testsupport::ReadFile(path);
    std::vector<RefFrame> frames;
    for (const testsupport::RawFrame& raw : testsupport::RawFrames(b)) {
        RefFrame f{raw.time, raw.id, {}};
        const testsupport::RawMatrix& m = raw.matrices.at(0);
        for (uint32_t r = 0; r < m.rows; ++r) {
            std::array<float, 4> row;
            for (uint32_t c = 0; c < 4; ++c) row[c] = testsupport::RawFloat4(b, m, r, c);
            f.rows.push_back(row);
        }
        frames.push_back(f);
    }
    return frames;
}

// The bytes saved under name, opened for reading in format.
FILEIO* OpenSaved(const std::string& name, const std::string& bytes, KvFormat format) {
    return Kv2OpenFile(Save(name, bytes).c_str(), KV_READ, format, -1, nullptr);
}

struct Handle {
    FILEIO* f;
    explicit Handle(FILEIO* h) : f(h) {}
    ~Handle() { Kv2CloseFile(f); }
};

}  // namespace

// ---- Format probe ----

TEST(Kv2SdifGetFileFormat, AnalysisFilesArePartialTracks) {
    for (const char* name : {"saw-s0.sdif", "chord-s0.sdif", "sweep-s0.sdif"}) {
        int stream = 0;
        EXPECT_EQ(Kv2SdifGetFileFormat(DataPath(name).c_str(), stream), KV_FORMAT_SDIF_TRC);
        EXPECT_EQ(stream, 0);
        stream = 5;
        EXPECT_EQ(Kv2GetFileFormat(DataPath(name).c_str(), KV_FORMAT_ADD, stream),
                  KV_FORMAT_SDIF_TRC);
        EXPECT_EQ(stream, 0);
    }
}

TEST(Kv2SdifGetFileFormat, OnlyTheStreamAskedForCounts) {
    std::string tone = DataPath("tone-s1.sdif");
    int stream = -1;
    EXPECT_EQ(Kv2SdifGetFileFormat(tone.c_str(), stream), KV_FORMAT_SDIF_TRC);
    EXPECT_EQ(stream, 1);
    stream = 1;
    EXPECT_EQ(Kv2SdifGetFileFormat(tone.c_str(), stream), KV_FORMAT_SDIF_TRC);
    stream = 2;
    EXPECT_EQ(Kv2SdifGetFileFormat(DataPath("saw-s0.sdif").c_str(), stream), KV_FORMAT_UNKNOWN);

    // The general probe looks at stream 0 only, whatever the name selects.
    EXPECT_EQ(Kv2GetFileFormat(tone.c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_UNKNOWN);
    EXPECT_EQ(stream, 0);
    EXPECT_EQ(Kv2GetFileFormat((tone + "::#1").c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_UNKNOWN);
    Kv2File file;
    EXPECT_FALSE(file.Open(tone.c_str(), KV_READ, KV_FORMAT_UNKNOWN, -1, nullptr));
}

TEST(Kv2SdifGetFileFormat, FirstDecidingFrameWins) {
    std::string gain = Frame("1GAI", 0.0, 0, {{"1GAI", kFloat4, 1, 1, {0.5}}});
    std::string hrm = Frame("1HRM", 0.1, 3, {Partials("1HRM", {1, 2})});
    std::string trc = Frame("1TRC", 0.2, 0, {Partials("1TRC", {1})});
    std::string pic = Frame("1PIC", 0.0, 0, {{"1PIC", kFloat4, 1, 4, {100, 0.5, 0, 1}}});
    std::string endOnly = Frame("1MRK", 0.0, 0, {Indices("1END", {1})});
    std::string chord = Frame("1MRK", 0.1, 0, {Indices("1BEG", {1}), Partials("1TRC", {1})});
    struct Case {
        std::string bytes;
        int stream;
        KvFormat format;
        int streamAfter;
    } cases[] = {
        {SdifHeader() + gain + hrm + trc, -1, KV_FORMAT_SDIF_HRM, 3},
        {SdifHeader() + gain + hrm + trc, 0, KV_FORMAT_SDIF_TRC, 0},
        {SdifHeader() + pic + trc, -1, KV_FORMAT_SDIF_PIC, 0},
        {SdifHeader() + ChordTypes() + endOnly + chord, -1, KV_FORMAT_SDIF_CHORDSEQ, 0},
        {SdifHeader() + ChordTypes() + endOnly + trc, -1, KV_FORMAT_SDIF_TRC, 0},
        {SdifHeader() + gain, -1, KV_FORMAT_UNKNOWN, 0},
        {SdifHeader(), -1, KV_FORMAT_UNKNOWN, -1},
    };
    int i = 0;
    for (const Case& c : cases) {
        std::string path = Save("probe" + std::to_string(i++) + ".sdif", c.bytes);
        int stream = c.stream;
        EXPECT_EQ(Kv2SdifGetFileFormat(path.c_str(), stream), c.format) << i;
        EXPECT_EQ(stream, c.streamAfter) << i;
    }
}

TEST(Kv2SdifGetFileFormat, UnopenableFileIsUnknownWithAMessage) {
    std::string missing = TempPath("missing.sdif");
    int stream = 0;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2SdifGetFileFormat(missing.c_str(), stream), KV_FORMAT_UNKNOWN);
    std::string err = testing::internal::GetCapturedStderr();
    std::string message = "Kv2: cannot open file " + missing + " \n";
    ASSERT_GE(err.size(), message.size());
    EXPECT_EQ(err.substr(err.size() - message.size()), message);
}

// ---- Opening ----

TEST(Kv2SdifOpenRead, NameSelectionsNarrowOrContradictTheFormats) {
    std::string saw = DataPath("saw-s0.sdif");
    testing::internal::CaptureStderr();
    FILEIO* narrowed = Kv2SdifOpenRead((saw + "::/1TRC").c_str(), KV_FORMAT_SDIF_TRC, -1);
    FILEIO* framed = Kv2SdifOpenRead((saw + "::1TRC").c_str(), KV_FORMAT_SDIF_TRC, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_NE(narrowed, nullptr);
    ASSERT_NE(framed, nullptr);
    EXPECT_EQ(narrowed->format, KV_FORMAT_SDIF_TRC);
    EXPECT_EQ(narrowed->mode, KV_READ);
    Kv2CloseFile(narrowed);
    Kv2CloseFile(framed);

    std::string wrongMatrix = saw + "::/1HRM";
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2SdifOpenRead(wrongMatrix.c_str(), KV_FORMAT_SDIF_TRC, -1), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Kv2::OpenFile::ERROR:: invalid matrix selection in file " + wrongMatrix + "\n");

    std::string wrongFrame = saw + "::1HRM";
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2OpenFile(wrongFrame.c_str(), KV_READ, KV_FORMAT_SDIF_TRC, -1, nullptr), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Kv2::OpenFile::ERROR:: invalid frame selection in file " + wrongFrame + "\n");

    // Both wrong: both messages.
    std::string bothWrong = saw + "::1HRM/1HRM";
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2SdifOpenRead(bothWrong.c_str(), KV_FORMAT_SDIF_TRC, -1), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Kv2::OpenFile::ERROR:: invalid matrix selection in file " + bothWrong + "\n" +
                  "Kv2::OpenFile::ERROR:: invalid frame selection in file " + bothWrong + "\n");
    Handle chord(Kv2SdifOpenRead(saw.c_str(), KV_FORMAT_SDIF_CHORDSEQ, -1));
    EXPECT_NE(chord.f, nullptr);
}

// ---- Partial frames ----

// Every frame of a real file, against its bytes; an index keeps its ident.
TEST(Kv2SdifReadFrame, AnalysisFileReadsRowForRowWithStableIdents) {
    std::vector<RefFrame> ref = ParseTrcFile(DataPath("saw-s0.sdif"));
    Handle h(
        Kv2OpenFile(DataPath("saw-s0.sdif").c_str(), KV_READ, KV_FORMAT_SDIF_TRC, -1, nullptr));
    ASSERT_NE(h.f, nullptr);
    std::map<int, int> identOf;  // SDIF index -> ident
    PartialSet set;
    for (const RefFrame& r : ref) {
        ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), static_cast<int>(r.stream));
        EXPECT_EQ(set.time, r.time);
        ASSERT_EQ(set.size(), static_cast<int>(r.rows.size()));
        for (int i = 0; i < set.size(); ++i) {
            auto known = identOf.emplace(static_cast<int>(r.rows[i][0]), set[i].id);
            EXPECT_EQ(set[i].id, known.first->second);
            EXPECT_EQ(set[i].freq, r.rows[i][1]);
            EXPECT_EQ(set[i].phase, r.rows[i][3]);
        }
    }
    EXPECT_EQ(Kv2SdifReadFrame(h.f, set, -1), -1);
    EXPECT_TRUE(Kv2IsEOF(h.f));
}

TEST(Kv2SdifReadFrame, AnIndexBackAfterAGapIsANewTrack) {
    Handle h(OpenSaved(
        "gap.sdif",
        SdifHeader() + Frame("1TRC", 0.0, 0, {Partials("1TRC", {5, 6})}) +
            Frame("1TRC", 0.1, 0, {Partials("1TRC", {6, 5})}) +
            Frame("1TRC", 0.2, 0, {Partials("1TRC", {6})}) +
            Frame("1TRC", 0.3, 0, {Partials("1TRC", {5, 6})}) +
            Frame("1TRC", 0.4, 0,
                  {M{"1TRC", kUInt4, 2, 4, {4294967295.0, 440, 1, 0, 2147483648.0, 880, 1, 0}}}),
        KV_FORMAT_SDIF_TRC));
    ASSERT_NE(h.f, nullptr);
    StaticIdent::maxIdent = 1000;
    PartialSet set;
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    EXPECT_EQ(Ids(set), "1001:2 1002:2");
    EXPECT_FLOAT_EQ(set[0].freq, 500.0f);
    EXPECT_FLOAT_EQ(set[0].amp, 0.05f);
    EXPECT_FLOAT_EQ(set[0].phase, 0.5f);
    EXPECT_DOUBLE_EQ(set.time, 0.0);
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    EXPECT_EQ(Ids(set), "1002:2 1001:2");  // index 6, now in row 0
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    EXPECT_EQ(Ids(set), "1002:2");
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    EXPECT_EQ(Ids(set), "1003:2 1002:2");  // index 5 after its gap
    EXPECT_DOUBLE_EQ(set.time, 0.3);
    // Unsigned indices above INT_MAX, which saturate alike through double,
    // are two new tracks.
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    EXPECT_EQ(Ids(set), "1004:2 1005:2");
    EXPECT_FLOAT_EQ(set[1].freq, 880.0f);
}

TEST(Kv2SdifReadFrame, MaxPartialsLimitsTheRows) {
    std::string frame = Frame("1TRC", 0.0, 0, {Partials("1TRC", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10})});
    Handle h(
        OpenSaved("ten.sdif", SdifHeader() + frame + frame + frame + frame, KV_FORMAT_SDIF_TRC));
    PartialSet set;
    for (int limit : {3, 0, -1, 12}) {
        ASSERT_EQ(Kv2SdifReadFrame(h.f, set, limit), 0);
        EXPECT_EQ(set.size(), limit == 3 ? 3 : limit == 0 ? 0 : 10) << limit;
    }
}

TEST(Kv2SdifReadFrame, HarmonicIdentsAreTheIndicesThemselves) {
    Handle h(OpenSaved("hrm.sdif",
                       SdifHeader() + Frame("1HRM", 0.5, 2, {Partials("1HRM", {3, 1})}) +
                           Frame("1HRM", 0.6, 2, {Partials("1HRM", {3})}),
                       KV_FORMAT_SDIF_HRM));
    ASSERT_NE(h.f, nullptr);
    StaticIdent::maxIdent = 1000;
    PartialSet set;
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 2);
    EXPECT_EQ(Ids(set), "3:2 1:2");
    EXPECT_FLOAT_EQ(set[1].freq, 100.0f);
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 2);
    EXPECT_EQ(Ids(set), "3:2");
    EXPECT_EQ(StaticIdent::maxIdent, 1000);
}

TEST(Kv2SdifReadFrame, PeaksAreNumberedByRow) {
    M peaks{"1PIC", kFloat4, 3, 4, {440, 0.5, 0.25, 1, 880, 0.25, -0.5, 1, 1320, 0.125, 1, 1}};
    Handle h(
        OpenSaved("pic.sdif", SdifHeader() + Frame("1PIC", 1.5, 0, {peaks}), KV_FORMAT_SDIF_PIC));
    ASSERT_NE(h.f, nullptr);
    PartialSet set;
    ASSERT_TRUE(Kv2ReadPeaksSet2(h.f, set, -1, 44100.0f));
    EXPECT_DOUBLE_EQ(set.time, 1.5);  // the sample rate plays no part here
    EXPECT_EQ(Ids(set), "0:1 1:1 2:1");
    EXPECT_FLOAT_EQ(set[2].freq, 1320.0f);
    EXPECT_FLOAT_EQ(set[1].amp, 0.25f);
    EXPECT_FLOAT_EQ(set[1].phase, -0.5f);
}

TEST(Kv2SdifReadFrame, AFrameWithoutSelectedMatrixHasNoRows) {
    // A 1TRC frame carrying only a 1HRM matrix, which the format deselects.
    Handle h(OpenSaved("nomatrix.sdif",
                       SdifHeader() + Frame("1TRC", 0.0, 0, {Partials("1HRM", {1})}) +
                           Frame("1TRC", 0.1, 0, {Partials("1TRC", {1})}),
                       KV_FORMAT_SDIF_TRC));
    ASSERT_NE(h.f, nullptr);
    PartialSet set;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    testing::internal::GetCapturedStderr();  // the library notes the foreign matrix
    EXPECT_EQ(set.size(), 0);
    EXPECT_DOUBLE_EQ(set.time, 0.0);
    EXPECT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    EXPECT_EQ(set.size(), 1);
}

TEST(Kv2SdifReadFrame, NullHandlesAndPlainHandlesReadNothing) {
    PartialSet set;
    ChordSet chord;
    EXPECT_EQ(Kv2SdifReadFrame(nullptr, set, -1), -1);
    EXPECT_EQ(Kv2SdifReadFrame(nullptr, chord, -1), -1);
    FILEIO plain;
    EXPECT_EQ(Kv2SdifReadFrame(&plain, set, -1), -1);
    EXPECT_FALSE(Kv2ReadChordSet(&plain, chord));
    int stream = 5;
    EXPECT_FALSE(Kv2ReadChordSet2(&plain, chord, stream, -1));
    EXPECT_EQ(stream, 0);
}

// ---- Filling sets from frames ----

TEST(Kv2SdifReadMatrix, SeveralMatricesWarnAndTheFirstIsTaken) {
    Ondel::SDIFFrame frame;
    Ondel::SDIFMatrix first("1TRC", 2, 4, eFloat4);
    first.Set(0, 0, 7);
    first.Set(0, 1, 300.0);
    Ondel::SDIFMatrix second("1TRC", 5, 4, eFloat4);
    frame.AddMatrix(first);
    frame.AddMatrix(second);
    const std::string warning =
        "Kv2SdifReadMatrix::warning more than a single matrix selected in SDIF Frame, we'll take "
        "the first one\n";
    ASSERT_EQ(warning.size(), 102u);

    PartialSet set;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2SdifReadMatrix(frame, set, -1, KV_FORMAT_SDIF_HRM, nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), warning);
    ASSERT_EQ(set.size(), 2);
    EXPECT_EQ(set[0].id, 7);
    EXPECT_FLOAT_EQ(set[0].freq, 300.0f);

    ChordSet chord;
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2SdifReadMatrix(frame, chord, KV_FORMAT_SDIF_TRC, nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), warning);
    EXPECT_EQ(chord.size(), 0);

    PartialSet untouched;
    EXPECT_EQ(Kv2SdifReadMatrix(frame, untouched, -1, KV_FORMAT_SDIF_CHORDSEQ, nullptr), 0);
    EXPECT_EQ(untouched.size(), 0);
}

TEST(Kv2SdifReadMatrix, OtherCellTypesAndNarrowMatrices) {
    // The index is the cell converted to int from the store's own type:
    // floating cells truncate toward zero, unsigned 32-bit ones above
    // INT_MAX wrap to negative ints.
    const struct {
        SdifDataTypeE type;
        double index;
        int id;
    } cases[] = {
        {eFloat8, -2.9, -2},
        {eUInt4, 4294967295.0, -1},
        {eUInt4, 2147483648.0, INT_MIN},
        {eUInt2, 65535, 65535},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.index);
        Ondel::SDIFFrame wide;
        Ondel::SDIFMatrix m("1HRM", 1, 4, c.type);
        m.Set(0, 0, c.index);
        m.Set(0, 1, 123.0);
        wide.AddMatrix(m);
        PartialSet one;
        Kv2SdifReadMatrix(wide, one, -1, KV_FORMAT_SDIF_HRM, nullptr);
        ASSERT_EQ(one.size(), 1);
        EXPECT_EQ(one[0].id, c.id);
        EXPECT_FLOAT_EQ(one[0].freq, 123.0f);
    }

    // Too few columns for a track: the object layer's range error.
    Ondel::SDIFFrame narrow;
    narrow.AddMatrix(Ondel::SDIFMatrix("1TRC", 2, 3, eFloat4));
    PartialSet other;
    EXPECT_THROW(Kv2SdifReadMatrix(narrow, other, -1, KV_FORMAT_SDIF_HRM, nullptr),
                 Ondel::SDIFArrayPosition);
}

// ---- Chord sequences ----

namespace {
std::string ChordFile(const std::vector<std::string>& frames) {
    std::string s = SdifHeader() + ChordTypes();
    for (const std::string& f : frames) s += f;
    return s;
}
std::string Begin(double t, std::initializer_list<int> indices) {
    return Frame("1MRK", t, 0, {Indices("1BEG", indices), Partials("1TRC", indices)});
}
std::string End(double t, std::initializer_list<int> indices) {
    return Frame("1MRK", t, 0, {Indices("1END", indices)});
}
}  // namespace

TEST(Kv2SdifReadChord, StartsSustainsAndEnds) {
    std::string path =
        Save("chord.sdif",
             ChordFile({Begin(0.0, {1, 2}), Begin(0.5, {3}),
                        Frame("1MRK", 1.0, 0,
                              {Indices("1END", {1}), Indices("1BEG", {4}), Partials("1TRC", {4})}),
                        End(1.5, {2, 3, 4})}));
    int stream = -1;
    ASSERT_EQ(Kv2SdifGetFileFormat(path.c_str(), stream), KV_FORMAT_SDIF_CHORDSEQ);
    Handle h(Kv2OpenFile(path.c_str(), KV_READ, KV_FORMAT_SDIF_CHORDSEQ, -1, nullptr));
    ASSERT_NE(h.f, nullptr);
    StaticIdent::maxIdent = 1000;
    ChordSet set;
    testing::internal::CaptureStderr();

    ASSERT_TRUE(Kv2ReadChordSet2(h.f, set, stream, -1));
    EXPECT_EQ(stream, 0);
    EXPECT_DOUBLE_EQ(set.time, 0.0);
    EXPECT_EQ(Ids(set), "1001:1 1002:1");  // both start
    EXPECT_FLOAT_EQ(set[0].freq, 100.0f);
    EXPECT_FLOAT_EQ(set[0].amp, 0.01f);
    EXPECT_FLOAT_EQ(set[0].phase, 0.1f);
    EXPECT_FLOAT_EQ(set[1].freq, 200.0f);

    // Index 3 begins; 1 and 2 sound on, without values.
    ASSERT_TRUE(Kv2ReadChordSet2(h.f, set, -1));
    EXPECT_DOUBLE_EQ(set.time, 0.5);
    EXPECT_EQ(Ids(set), "1003:1 1001:2 1002:2");
    EXPECT_EQ(set[1].freq, 0.0f);
    EXPECT_EQ(set[2].amp, 0.0f);

    // Ends come first, then beginnings, then what sounds on.
    ASSERT_TRUE(Kv2ReadChordSet(h.f, set));
    EXPECT_EQ(Ids(set), "1001:3 1004:1 1002:2 1003:2");
    EXPECT_EQ(set[0].freq, 0.0f);
    EXPECT_FLOAT_EQ(set[1].freq, 400.0f);

    ASSERT_TRUE(Kv2ReadChordSet(h.f, set));
    EXPECT_EQ(Ids(set), "1002:3 1003:3 1004:3");
    EXPECT_FALSE(Kv2ReadChordSet(h.f, set));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(StaticIdent::maxIdent, 1004);
}

// Notes that sound on are listed by rising SDIF index, whatever order they
// began in.
TEST(Kv2SdifReadChord, SoundingNotesFollowTheirIndexOrder) {
    Handle h(OpenSaved("chordorder.sdif", ChordFile({Begin(0.0, {9, 3, 5}), End(0.5, {3})}),
                       KV_FORMAT_SDIF_CHORDSEQ));
    ASSERT_NE(h.f, nullptr);
    StaticIdent::maxIdent = 1000;
    ChordSet set;
    ASSERT_TRUE(Kv2ReadChordSet(h.f, set));
    ASSERT_TRUE(Kv2ReadChordSet(h.f, set));
    EXPECT_EQ(Ids(set), "1002:3 1003:2 1001:2");  // 3 ends; 5 and 9 sound on
}

// The 1TRC index and the 1END index go through the same conversion: a note
// begun and ended with the unsigned index 4294967295 is one note.
TEST(Kv2SdifReadChord, UnsignedIndexBeginsAndEndsOneNote) {
    Handle h(
        OpenSaved("chorduint4.sdif",
                  ChordFile({Frame("1MRK", 0.0, 0,
                                   {M{"1BEG", kUInt4, 1, 1, {4294967295.0}},
                                    M{"1TRC", kUInt4, 1, 4, {4294967295.0, 440, 1, 0}}}),
                             Frame("1MRK", 0.5, 0, {M{"1END", kUInt4, 1, 1, {4294967295.0}}})}),
                  KV_FORMAT_SDIF_CHORDSEQ));
    ASSERT_NE(h.f, nullptr);
    StaticIdent::maxIdent = 1000;
    ChordSet set;
    testing::internal::CaptureStderr();
    ASSERT_TRUE(Kv2ReadChordSet(h.f, set));
    EXPECT_EQ(Ids(set), "1001:1");
    EXPECT_FLOAT_EQ(set[0].freq, 440.0f);
    EXPECT_TRUE(Kv2ReadChordSet(h.f, set));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Ids(set), "1001:3");
}

TEST(Kv2SdifReadChord, EndWithoutBeginningIsAnError) {
    Handle h(OpenSaved("chordend.sdif", ChordFile({Begin(0.0, {1}), End(0.5, {4})}),
                       KV_FORMAT_SDIF_CHORDSEQ));
    ASSERT_NE(h.f, nullptr);
    ChordSet set;
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2SdifReadFrame(h.f, set, -1), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Kv2 Error:reading inconsistent chordset, cannot end 4 \n ");
}

TEST(Kv2SdifReadChord, SecondBeginningOfAnOpenIndexIsAnError) {
    Handle h(OpenSaved("chordtwice.sdif",
                       ChordFile({Begin(0.0, {4}), Begin(0.5, {4}), End(1.0, {4})}),
                       KV_FORMAT_SDIF_CHORDSEQ));
    ASSERT_NE(h.f, nullptr);
    ChordSet set;
    int stream = 0;
    ASSERT_TRUE(Kv2ReadChordSet2(h.f, set, stream, -1));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(Kv2ReadChordSet2(h.f, set, stream, -1));
    EXPECT_EQ(stream, -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Kv2 Error:reading inconsistent chordset, id 4 exists \n ");
    // The map still holds index 4: its end reads normally.
    ASSERT_TRUE(Kv2ReadChordSet2(h.f, set, stream, -1));
    ASSERT_EQ(set.size(), 1);
    EXPECT_EQ(set[0].state, ChordSet::eEnd);
}

TEST(Kv2SdifReadChord, BeginsWithoutMatchingPartialsContributeNothing) {
    std::string mismatch =
        Frame("1MRK", 0.5, 0,
              {Indices("1END", {1}), Indices("1BEG", {5, 6}), Partials("1TRC", {5, 6, 7})});
    Handle h(OpenSaved("chordmismatch.sdif", ChordFile({Begin(0.0, {1, 2}), mismatch}),
                       KV_FORMAT_SDIF_CHORDSEQ));
    ASSERT_NE(h.f, nullptr);
    StaticIdent::maxIdent = 1000;
    ChordSet set;
    ASSERT_TRUE(Kv2ReadChordSet(h.f, set));
    ASSERT_TRUE(Kv2ReadChordSet(h.f, set));
    EXPECT_DOUBLE_EQ(set.time, 0.5);
    EXPECT_EQ(Ids(set), "1001:2 1002:2");  // not even the end of index 1
}

// ---- Streams and times ----

TEST(Kv2SdifSelectAllStreams, SelectsTheStreamsOfTheFirstReferenceTime) {
    std::string one = Frame("1TRC", 0.0, 2, {Partials("1TRC", {1})});
    Handle h(OpenSaved("streams.sdif",
                       SdifHeader() + Frame("1TRC", -1.0, 8, {Partials("1TRC", {1})}) + one +
                           Frame("1TRC", 0.0, 5, {Partials("1TRC", {1})}) +
                           Frame("1TRC", 0.1, 3, {Partials("1TRC", {1})}) +
                           Frame("1TRC", 0.1, 5, {Partials("1TRC", {1})}) +
                           Frame("1TRC", 0.2, 2, {Partials("1TRC", {1})}),
                       KV_FORMAT_SDIF_TRC));
    ASSERT_NE(h.f, nullptr);
    Kv2SdifSelectAllStreams(h.f);
    ASSERT_TRUE(h.f->sdif->Rewind());
    PartialSet set;
    std::vector<int> streams;
    for (int s; (s = Kv2SdifReadFrame(h.f, set, -1)) >= 0;) streams.push_back(s);
    EXPECT_EQ(streams, (std::vector<int>{2, 5, 5, 2}));
}

TEST(Kv2SdifGetBeginAndEnd, FirstAndLastFrameTimesThenRewound) {
    std::vector<RefFrame> ref = ParseTrcFile(DataPath("sweep-s0.sdif"));
    Handle h(
        Kv2OpenFile(DataPath("sweep-s0.sdif").c_str(), KV_READ, KV_FORMAT_SDIF_TRC, -1, nullptr));
    ASSERT_NE(h.f, nullptr);
    double begin = -5.0, end = -5.0;
    ASSERT_TRUE(Kv2SdifGetBeginAndEnd(h.f, begin, end));
    EXPECT_EQ(begin, ref.front().time);
    EXPECT_EQ(end, ref.back().time);
    EXPECT_LT(begin, end);
    PartialSet set;
    ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), 0);
    EXPECT_EQ(set.time, ref.front().time);

    std::string plain = Save("plain.add", "1 0.0\n1 100 0.1 0\n");
    Handle p(Kv2OpenFile(plain.c_str(), KV_READ, KV_FORMAT_ADD, -1, nullptr));
    EXPECT_FALSE(Kv2SdifGetBeginAndEnd(p.f, begin, end));
    EXPECT_FALSE(Kv2SdifGetBeginAndEnd(nullptr, begin, end));
}

// ---- Whole files into a container ----

TEST(PartialsContainerReadFromFile, ObjectLayerErrorFailsTheReadKeepingTheFramesRead) {
    std::string whole = SdifHeader() + Frame("1TRC", 0.0, 0, {Partials("1TRC", {1, 2})}) +
                        Frame("1TRC", 0.1, 0, {Partials("1TRC", {1, 2})}) +
                        Frame("1TRC", 0.2, 0, {Partials("1TRC", {1, 2})});
    std::string path = Save("cutcontainer.sdif", whole.substr(0, whole.size() - 12));
    Quorlin::PartialsContainer<PartialSet> container;
    Kv2File file;
    ASSERT_TRUE(file.Open(path.c_str(), KV_READ, KV_FORMAT_SDIF_TRC, -1, nullptr));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(container.ReadFromFile(file));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(container.GetFrames().size(), 2u);
}
