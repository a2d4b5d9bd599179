#include "Kv2Sdif.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Kv2TestUtil.h"
#include "PartialsContainer.h"
#include "TestSupport.h"
#include "sdifexception.h"

using namespace Kv2;
using kv2test::Handle;
using kv2test::OpenSaved;
using kv2test::Reads;
using kv2test::Recs;
using testsupport::DataPath;
using testsupport::TempPath;

namespace {

const bool kStarted = kv2test::kKv2Started;

// ---- Hand-made SDIF files ----

const uint32_t kFloat4 = 0x0004;
const uint32_t kUInt4 = 0x0204;

using M = testsupport::TestMatrix;
using testsupport::IntColumn;
using testsupport::SdifHeader;
using Lines = std::vector<std::string>;
using testsupport::SaveTemp;

// A frame of the given matrices (argument order of the reader's results).
std::string Frame(const char* sig, double time, uint32_t stream, const std::vector<M>& ms) {
    return testsupport::SdifFrame(sig, stream, time, ms);
}

// n rows of a 1TRC/1HRM matrix: index k, frequency 100 k, amplitude 0.01 k,
// phase 0.1 k.
M Partials(const char* sig, std::initializer_list<int> indices) {
    M m{sig, kFloat4, static_cast<uint32_t>(indices.size()), 4, {}};
    for (int k : indices)
        m.values.insert(m.values.end(), {double(k), 100.0 * k, 0.01 * k, 0.1 * k});
    return m;
}

int ReadFrame(FILEIO* f, PartialSet& set) { return Kv2SdifReadFrame(f, set, -1); }
int ReadPeaks(FILEIO* f, PartialSet& set) {
    return Kv2ReadPeaksSet2(f, set, -1, 44100.0f) ? 0 : -1;
}
int ReadChord(FILEIO* f, ChordSet& set) {
    int stream = 5;
    bool read = Kv2ReadChordSet2(f, set, stream, -1);
    EXPECT_EQ(read, stream >= 0);
    return stream;
}

}  // namespace

// ---- Format probe ----

// The analysis files are partial tracks; only the stream asked for counts,
// and the general probe looks at stream 0 only, whatever the name selects.
TEST(Kv2SdifGetFileFormat, AnalysisFilesAndTheStreamAskedFor) {
    for (const char* name : {"saw-s0.sdif", "chord-s0.sdif", "sweep-s0.sdif"}) {
        int stream = 5;
        EXPECT_EQ(Kv2GetFileFormat(DataPath(name).c_str(), KV_FORMAT_ADD, stream),
                  KV_FORMAT_SDIF_TRC);
        EXPECT_EQ(stream, 0);
    }
    std::string tone = DataPath("tone-s1.sdif");
    int stream = -1;
    EXPECT_EQ(Kv2SdifGetFileFormat(tone.c_str(), stream), KV_FORMAT_SDIF_TRC);
    EXPECT_EQ(stream, 1);
    EXPECT_EQ(Kv2SdifGetFileFormat(tone.c_str(), stream), KV_FORMAT_SDIF_TRC);
    stream = 2;
    EXPECT_EQ(Kv2SdifGetFileFormat(DataPath("saw-s0.sdif").c_str(), stream), KV_FORMAT_UNKNOWN);
    EXPECT_EQ(Kv2GetFileFormat(tone.c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_UNKNOWN);
    EXPECT_EQ(stream, 0);
    EXPECT_EQ(Kv2GetFileFormat((tone + "::#1").c_str(), KV_FORMAT_ADD, stream), KV_FORMAT_UNKNOWN);
    Kv2File file;
    EXPECT_FALSE(file.Open(tone.c_str(), KV_READ, KV_FORMAT_UNKNOWN, -1, nullptr));

    // An unopenable file is unknown, with a message.
    std::string missing = TempPath("missing.sdif");
    std::string err = testsupport::CaptureStderr(
        [&] { EXPECT_EQ(Kv2SdifGetFileFormat(missing.c_str(), stream), KV_FORMAT_UNKNOWN); });
    std::string message = "Kv2: cannot open file " + missing + " \n";
    ASSERT_GE(err.size(), message.size());
    EXPECT_EQ(err.substr(err.size() - message.size()), message);
}

TEST(Kv2SdifGetFileFormat, FirstDecidingFrameWins) {
    std::string gain = Frame("1GAI", 0.0, 0, {{"1GAI", kFloat4, 1, 1, {0.5}}});
    std::string hrm = Frame("1HRM", 0.1, 3, {Partials("1HRM", {1, 2})});
    std::string trc = Frame("1TRC", 0.2, 0, {Partials("1TRC", {1})});
    std::string pic = Frame("1PIC", 0.0, 0, {{"1PIC", kFloat4, 1, 4, {100, 0.5, 0, 1}}});
    std::string endOnly = Frame("1MRK", 0.0, 0, {IntColumn("1END", {1})});
    std::string chord = Frame("1MRK", 0.1, 0, {IntColumn("1BEG", {1}), Partials("1TRC", {1})});
    struct Case {
        std::string bytes;
        int stream;
        KvFormat format;
        int streamAfter;
    } cases[] = {
        {SdifHeader() + gain + hrm + trc, -1, KV_FORMAT_SDIF_HRM, 3},
        {SdifHeader() + gain + hrm + trc, 0, KV_FORMAT_SDIF_TRC, 0},
        {SdifHeader() + pic + trc, -1, KV_FORMAT_SDIF_PIC, 0},
        {SdifHeader() + testsupport::ChordTypesChunk() + endOnly + chord, -1,
         KV_FORMAT_SDIF_CHORDSEQ, 0},
        {SdifHeader() + testsupport::ChordTypesChunk() + endOnly + trc, -1, KV_FORMAT_SDIF_TRC, 0},
        {SdifHeader() + gain, -1, KV_FORMAT_UNKNOWN, 0},
        {SdifHeader(), -1, KV_FORMAT_UNKNOWN, -1},
    };
    int i = 0;
    for (const Case& c : cases) {
        std::string path = SaveTemp("probe" + std::to_string(i++) + ".sdif", c.bytes);
        int stream = c.stream;
        EXPECT_EQ(Kv2SdifGetFileFormat(path.c_str(), stream), c.format) << i;
        EXPECT_EQ(stream, c.streamAfter) << i;
    }
}

// ---- Opening ----

TEST(Kv2SdifOpenRead, NameSelectionsNarrowOrContradictTheFormats) {
    const std::string saw = DataPath("saw-s0.sdif");
    const struct {
        const char* selection;
        const char* wrong;  // M: the matrix selection, F: the frame selection
        bool general;       // opened through Kv2OpenFile, which hands SDIF names on
    } cases[] = {{"::/1TRC", "", false},
                 {"::1TRC", "", false},
                 {"::/1HRM", "M", false},
                 {"::1HRM", "F", true},
                 {"::1HRM/1HRM", "MF", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.selection);
        const std::string name = saw + c.selection;
        std::string want;
        for (char k : std::string(c.wrong))
            want += std::string("Kv2::OpenFile::ERROR:: invalid ") +
                    (k == 'M' ? "matrix" : "frame") + " selection in file " + name + "\n";
        FILEIO* f = nullptr;
        EXPECT_EQ(testsupport::CaptureStderr([&] {
                      f = c.general
                              ? Kv2OpenFile(name.c_str(), KV_READ, KV_FORMAT_SDIF_TRC, -1, nullptr)
                              : Kv2SdifOpenRead(name.c_str(), KV_FORMAT_SDIF_TRC, -1);
                  }),
                  want);
        ASSERT_EQ(f != nullptr, want.empty());
        if (!f) continue;
        EXPECT_EQ(f->format, KV_FORMAT_SDIF_TRC);
        EXPECT_EQ(f->mode, KV_READ);
        Kv2CloseFile(f);
    }
    Handle chord(Kv2SdifOpenRead(saw.c_str(), KV_FORMAT_SDIF_CHORDSEQ, -1));
    EXPECT_NE(chord.f, nullptr);
}

// ---- Partial frames ----

// Every frame of a real file, against its bytes; an index keeps its ident.
TEST(Kv2SdifReadFrame, AnalysisFileReadsRowForRowWithStableIdents) {
    const std::string path = DataPath("saw-s0.sdif"), b = testsupport::ReadFile(path);
    Handle h(Kv2OpenFile(path.c_str(), KV_READ, KV_FORMAT_SDIF_TRC, -1, nullptr));
    ASSERT_NE(h.f, nullptr);
    std::map<int, int> identOf;  // SDIF index -> ident
    PartialSet set;
    for (const testsupport::RawFrame& r : testsupport::RawFrames(b)) {
        const testsupport::RawMatrix& m = r.matrices.at(0);
        ASSERT_EQ(Kv2SdifReadFrame(h.f, set, -1), static_cast<int>(r.id));
        EXPECT_EQ(set.time, r.time);
        ASSERT_EQ(set.size(), static_cast<int>(m.rows));
        for (int i = 0; i < set.size(); ++i) {
            auto cell = [&](uint32_t col) { return testsupport::RawFloat4(b, m, i, col); };
            EXPECT_EQ(set[i].id,
                      identOf.emplace(static_cast<int>(cell(0)), set[i].id).first->second);
            EXPECT_EQ(set[i].freq, cell(1));
            EXPECT_EQ(set[i].amp, cell(2));
            EXPECT_EQ(set[i].phase, cell(3));
        }
    }
    EXPECT_EQ(Kv2SdifReadFrame(h.f, set, -1), -1);
    EXPECT_TRUE(Kv2IsEOF(h.f));
}

// Track indices get fresh idents, kept while the index goes on; an index back
// after a gap is a new track, and so are unsigned indices above INT_MAX,
// which saturate alike through double. Harmonic idents are the indices
// themselves, peaks are numbered by row; a frame without the selected matrix
// has no rows.
TEST(Kv2SdifReadFrame, IdentsAndValuesOfEachLayout) {
    auto trc = [](double t, std::initializer_list<int> k) {
        return Frame("1TRC", t, 0, {Partials("1TRC", k)});
    };
    const std::string unsignedRows =
        Frame("1TRC", 0.4, 0,
              {M{"1TRC", kUInt4, 2, 4, {4294967295.0, 440, 1, 0, 2147483648.0, 880, 1, 0}}});
    const M peaks{
        "1PIC", kFloat4, 3, 4, {440, 0.5, 0.25, 1, 880, 0.25, -0.5, 1, 1320, 0.125, 1, 1}};
    const struct {
        const char* what;
        std::string frames;
        KvFormat format;
        Lines want;  // the reads, then the ident counter
    } cases[] = {
        {"tracks",
         trc(0.0, {5, 6}) + trc(0.1, {6, 5}) + trc(0.2, {6}) + trc(0.3, {5, 6}) + unsignedRows,
         KV_FORMAT_SDIF_TRC,
         {"0 0: 1001 500 0.05 0.5 2 | 1002 600 0.06 0.6 2",
          "0 0.1: 1002 600 0.06 0.6 2 | 1001 500 0.05 0.5 2", "0 0.2: 1002 600 0.06 0.6 2",
          "0 0.3: 1003 500 0.05 0.5 2 | 1002 600 0.06 0.6 2",
          "0 0.4: 1004 440 1 0 2 | 1005 880 1 0 2", "fail -1", "1005"}},
        {"harmonic",
         Frame("1HRM", 0.5, 2, {Partials("1HRM", {3, 1})}) +
             Frame("1HRM", 0.6, 2, {Partials("1HRM", {3})}),
         KV_FORMAT_SDIF_HRM,
         {"2 0.5: 3 300 0.03 0.3 2 | 1 100 0.01 0.1 2", "2 0.6: 3 300 0.03 0.3 2", "fail -1",
          "1000"}},
        {"peaks (the sample rate plays no part)",
         Frame("1PIC", 1.5, 0, {peaks}),
         KV_FORMAT_SDIF_PIC,
         {"0 1.5: 0 440 0.5 0.25 1 | 1 880 0.25 -0.5 1 | 2 1320 0.125 1 1", "fail -1", "1000"}},
        {"a 1TRC frame carrying only a 1HRM matrix",
         Frame("1TRC", 0.0, 0, {Partials("1HRM", {1})}) + trc(0.1, {1}),
         KV_FORMAT_SDIF_TRC,
         {"0 0: ", "0 0.1: 1001 100 0.01 0.1 2", "fail -1", "1001"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Handle h(OpenSaved("layout.sdif", SdifHeader() + c.frames, c.format));
        ASSERT_NE(h.f, nullptr);
        StaticIdent::maxIdent = 1000;
        Lines got;
        testing::internal::CaptureStderr();  // the library notes a foreign matrix
        got = Reads<PartialSet>(h.f, c.format == KV_FORMAT_SDIF_PIC ? ReadPeaks : ReadFrame);
        testing::internal::GetCapturedStderr();
        got.push_back(std::to_string(StaticIdent::maxIdent));
        EXPECT_EQ(got, c.want);
    }
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

TEST(Kv2SdifReadMatrix, TheFirstMatrixOfAnyCellTypeIsTakenIfWideEnough) {
    Ondel::SDIFFrame frame;
    Ondel::SDIFMatrix first("1TRC", 2, 4, eFloat4);
    first.Set(0, 0, 7);
    first.Set(0, 1, 300.0);
    frame.AddMatrix(first);
    frame.AddMatrix(Ondel::SDIFMatrix("1TRC", 5, 4, eFloat4));
    const std::string warning =
        "Kv2SdifReadMatrix::warning more than a single matrix selected in SDIF Frame, we'll take "
        "the first one\n";
    ASSERT_EQ(warning.size(), 102u);

    PartialSet set;
    EXPECT_EQ(testsupport::CaptureStderr([&] {
                  EXPECT_EQ(Kv2SdifReadMatrix(frame, set, -1, KV_FORMAT_SDIF_HRM, nullptr), 0);
              }),
              warning);
    EXPECT_EQ(Recs(set), "7 300 0 0 2 | 0 0 0 0 2");
    ChordSet chord;
    EXPECT_EQ(testsupport::CaptureStderr([&] {
                  EXPECT_EQ(Kv2SdifReadMatrix(frame, chord, KV_FORMAT_SDIF_TRC, nullptr), 0);
              }),
              warning);
    EXPECT_EQ(chord.size(), 0);
    PartialSet untouched;
    EXPECT_EQ(Kv2SdifReadMatrix(frame, untouched, -1, KV_FORMAT_SDIF_CHORDSEQ, nullptr), 0);
    EXPECT_EQ(untouched.size(), 0);

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
        EXPECT_EQ(Recs(one), std::to_string(c.id) + " 123 0 0 2");
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
std::string Begin(double t, std::initializer_list<int> indices) {
    return Frame("1MRK", t, 0,
                 {IntColumn("1BEG", {indices.begin(), indices.end()}), Partials("1TRC", indices)});
}
std::string End(double t, std::initializer_list<int> indices) {
    return Frame("1MRK", t, 0, {IntColumn("1END", {indices.begin(), indices.end()})});
}
}  // namespace

// A frame lists its ends, then its beginnings, then the notes that sound on
// (by rising SDIF index, whatever order they began in, without values). The
// 1TRC and 1END indices go through the same conversion. An end without a
// beginning, or a second beginning of an open index, fails the frame; the
// map keeps what it held. Beginnings without matching partials contribute
// nothing, not even the frame's ends.
TEST(Kv2SdifReadChord, StartsSustainsAndEnds) {
    const std::string beginUInt4 = Frame("1MRK", 0.0, 0,
                                         {M{"1BEG", kUInt4, 1, 1, {4294967295.0}},
                                          M{"1TRC", kUInt4, 1, 4, {4294967295.0, 440, 1, 0}}});
    const std::string endUInt4 = Frame("1MRK", 0.5, 0, {M{"1END", kUInt4, 1, 1, {4294967295.0}}});
    const struct {
        const char* what;
        std::string frames;
        Lines want;  // the reads, then the ident counter
        std::string err;
    } cases[] = {
        {"starts, sustains and ends",
         Begin(0.0, {1, 2}) + Begin(0.5, {3}) +
             Frame("1MRK", 1.0, 0,
                   {IntColumn("1END", {1}), IntColumn("1BEG", {4}), Partials("1TRC", {4})}) +
             End(1.5, {2, 3, 4}),
         {"0 0: 1001 100 0.01 0.1 1 | 1002 200 0.02 0.2 1",
          "0 0.5: 1003 300 0.03 0.3 1 | 1001 0 0 0 2 | 1002 0 0 0 2",
          "0 1: 1001 0 0 0 3 | 1004 400 0.04 0.4 1 | 1002 0 0 0 2 | 1003 0 0 0 2",
          "0 1.5: 1002 0 0 0 3 | 1003 0 0 0 3 | 1004 0 0 0 3", "fail -1", "1004"},
         ""},
        {"index order",
         Begin(0.0, {9, 3, 5}) + End(0.5, {3}),
         {"0 0: 1001 900 0.09 0.9 1 | 1002 300 0.03 0.3 1 | 1003 500 0.05 0.5 1",
          "0 0.5: 1002 0 0 0 3 | 1003 0 0 0 2 | 1001 0 0 0 2", "fail -1", "1003"},
         ""},
        {"unsigned index",
         beginUInt4 + endUInt4,
         {"0 0: 1001 440 1 0 1", "0 0.5: 1001 0 0 0 3", "fail -1", "1001"},
         ""},
        {"end without beginning",
         Begin(0.0, {1}) + End(0.5, {4}),
         {"0 0: 1001 100 0.01 0.1 1", "fail -1", "fail -1", "1001"},
         "Kv2 Error:reading inconsistent chordset, cannot end 4 \n "},
        {"second beginning",
         Begin(0.0, {4}) + Begin(0.5, {4}) + End(1.0, {4}),
         {"0 0: 1001 400 0.04 0.4 1", "fail -1", "0 1: 1001 0 0 0 3", "fail -1", "1001"},
         "Kv2 Error:reading inconsistent chordset, id 4 exists \n "},
        {"beginnings without matching partials",
         Begin(0.0, {1, 2}) + Frame("1MRK", 0.5, 0,
                                    {IntColumn("1END", {1}), IntColumn("1BEG", {5, 6}),
                                     Partials("1TRC", {5, 6, 7})}),
         {"0 0: 1001 100 0.01 0.1 1 | 1002 200 0.02 0.2 1", "0 0.5: 1001 0 0 0 2 | 1002 0 0 0 2",
          "fail -1", "1002"},
         ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Handle h(OpenSaved("chord.sdif", SdifHeader() + testsupport::ChordTypesChunk() + c.frames,
                           KV_FORMAT_SDIF_CHORDSEQ));
        ASSERT_NE(h.f, nullptr);
        StaticIdent::maxIdent = 1000;
        Lines got;
        EXPECT_EQ(testsupport::CaptureStderr(
                      [&] { got = Reads<ChordSet>(h.f, ReadChord, c.err.empty() ? 1 : 2); }),
                  c.err);
        got.push_back(std::to_string(StaticIdent::maxIdent));
        EXPECT_EQ(got, c.want);
    }
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
    const auto ref = testsupport::RawFrames(testsupport::ReadFile(DataPath("sweep-s0.sdif")));
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

    std::string plain = SaveTemp("plain.add", "1 0.0\n1 100 0.1 0\n");
    Handle p(Kv2OpenFile(plain.c_str(), KV_READ, KV_FORMAT_ADD, -1, nullptr));
    EXPECT_FALSE(Kv2SdifGetBeginAndEnd(p.f, begin, end));
    EXPECT_FALSE(Kv2SdifGetBeginAndEnd(nullptr, begin, end));
}

// ---- Whole files into a container ----

TEST(PartialsContainerReadFromFile, ObjectLayerErrorFailsTheReadKeepingTheFramesRead) {
    std::string whole = SdifHeader() + Frame("1TRC", 0.0, 0, {Partials("1TRC", {1, 2})}) +
                        Frame("1TRC", 0.1, 0, {Partials("1TRC", {1, 2})}) +
                        Frame("1TRC", 0.2, 0, {Partials("1TRC", {1, 2})});
    std::string path = SaveTemp("cutcontainer.sdif", whole.substr(0, whole.size() - 12));
    Quorlin::PartialsContainer<PartialSet> container;
    Kv2File file;
    ASSERT_TRUE(file.Open(path.c_str(), KV_READ, KV_FORMAT_SDIF_TRC, -1, nullptr));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(container.ReadFromFile(file));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(container.GetFrames().size(), 2u);
}
