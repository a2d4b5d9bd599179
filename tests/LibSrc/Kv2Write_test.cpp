// Writing frame sets: SDIF headers, partial, harmonic, peak and chord frames
// byte for byte, text and binary sets. The readers are tested on hand-made
// bytes of the same layouts, so the written bytes are not read back.
#include <gtest/gtest.h>

#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "Kv2Io.h"
#include "Kv2Sdif.h"
#include "Kv2TestUtil.h"
#include "SdifAssert.h"
#include "TestSupport.h"
#include "sdifentity.h"

using namespace Kv2;
using testsupport::IntColumn;
using testsupport::ReadFile;
using testsupport::SdifFrame;
using testsupport::TempPath;
using testsupport::TestMatrix;
using testsupport::TrcMatrix;

namespace {

const bool kStarted = kv2test::kKv2Started;

const uint32_t kFloat4 = 0x0004;

// Values every partial of ident k carries: exact in a float and in the text
// formats' decimals.
float Freq(int k) { return 100.0f * k + 0.5f; }
float Amp(int k) { return k / 64.0f; }
float Phase(int k) { return k / 8.0f - 1.0f; }

using PState = PartialSet::PartialState;
const PState kPeak = PartialSet::ePeak, kPartial = PartialSet::ePartial, kLast = PartialSet::eLast;

PartialSet Set(double time, std::vector<std::pair<int, PState>> recs) {
    PartialSet set(time, 0);
    for (auto [k, state] : recs)
        set.addToSet(PartialSet::PartialParam(k, Freq(k), Amp(k), Phase(k), 0.0f, state),
                     set.size());
    return set;
}

PartialSet Partials(double time, std::vector<int> idents, PState state = kPartial) {
    std::vector<std::pair<int, PState>> recs;
    for (int k : idents) recs.push_back({k, state});
    return Set(time, recs);
}

ChordSet Chord(double time, std::vector<std::pair<int, ChordSet::ChordState>> notes) {
    ChordSet set(time, 0);
    for (auto [k, state] : notes)
        set.addToSet(ChordSet::PartialParam(k, Freq(k), Amp(k), Phase(k), state), set.size());
    return set;
}

// A row of a 1TRC/1HRM matrix: index, then the values of ident k.
std::vector<double> Row(int index, int k) { return {double(index), Freq(k), Amp(k), Phase(k)}; }

// The bytes after the general header and the ASCII chunks: the data frames.
std::string DataFrames(const std::string& bytes) {
    std::vector<testsupport::RawFrame> frames = testsupport::RawFrames(bytes);
    return frames.empty() ? "" : bytes.substr(frames[0].at);
}

FILEIO* OpenWrite(const std::string& path, KvFormat format,
                  std::vector<std::string>* nvts = nullptr) {
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, format, -1, nvts);
    EXPECT_NE(f, nullptr);
    return f;
}

// The frames of the track tests: 17 and 9 stop after the first frame, 17
// comes back in the third.
const std::vector<std::vector<int>> kTrackFrames = {{17, 4, 9}, {4, 21}, {17, 4, 21}};

void WriteTracks(FILEIO* f) {
    for (size_t i = 0; i < kTrackFrames.size(); ++i)
        EXPECT_TRUE(Kv2WritePartialSet(f, Partials(0.25 * i, kTrackFrames[i])));
}

std::string TrackFrameBytes() {
    return SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {Row(1, 17), Row(2, 4), Row(3, 9)})}) +
           SdifFrame("1TRC", 0, 0.25, {TrcMatrix("1TRC", {Row(2, 4), Row(4, 21)})}) +
           SdifFrame("1TRC", 0, 0.5, {TrcMatrix("1TRC", {Row(5, 17), Row(2, 4), Row(4, 21)})});
}

}  // namespace

// ---- Opening ----

// The first table names the kind of file, the library and the date; user
// strings make a second table, filled only from pairs. Only chord sequences
// declare the 1TRC matrix of their 1MRK frames.
TEST(Kv2SdifOpenWrite, HeaderTablesNameTheKindTheLibraryTheDateAndTheUserPairs) {
    const std::vector<std::string> pairs = {"Take", "3", "Author", "me"},
                                   odd = {"Take", "3", "Author"}, none;
    const std::string warning =
        "Kv2SdifOpenWrite: warning adding user supplied NVTs failed.\nThe list of strings "
        "contains 3 elements.\nIt should have an even number of entries ";
    const struct {
        KvFormat format;
        const char* name;
        const std::vector<std::string>* strings;
        std::string err;
        unsigned tables;
        std::map<std::string, std::string> second;
    } rows[] = {
        {KV_FORMAT_SDIF_TRC, "SinusoidalTracks", nullptr, "", 1, {}},
        {KV_FORMAT_SDIF_HRM, "HarmonicTracks", &pairs, "", 2, {{"Take", "3"}, {"Author", "me"}}},
        {KV_FORMAT_SDIF_CHORDSEQ, "ChordSeq", &odd, warning, 2, {}},
        {KV_FORMAT_SDIF_PIC, "SpectralPeaks", &none, "", 1, {}}};
    for (auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::string path = TempPath("header.sdif");
        std::vector<std::string> strings = row.strings ? *row.strings : none;
        time_t before = time(nullptr);
        EXPECT_EQ(testsupport::CaptureStderr([&] {
                      FILEIO* f = Kv2SdifOpenWrite(path.c_str(), row.format,
                                                   row.strings ? &strings : nullptr);
                      ASSERT_NE(f, nullptr);
                      EXPECT_EQ(f->format, row.format);
                      EXPECT_EQ(f->mode, KV_WRITE);
                      Kv2CloseFile(f);
                  }),
                  row.err);
        time_t after = time(nullptr);

        Ondel::SDIFEntity entity;
        ASSERT_TRUE(entity.OpenRead(path.c_str()));
        ASSERT_EQ(entity.GetNbNVT(), row.tables);
        Ondel::SDIFNameValueTable& table = entity.GetNVT(0);
        EXPECT_EQ(table.GetNbNameValue(), 3);
        EXPECT_EQ(table.GetValue("TableName"), row.name);
        EXPECT_EQ(table.GetValue("WrittenBy"), "Kv2_Version_1.3.2");
        // ctime's line feed has become a blank.
        std::string date = table.GetValue("Date");
        std::string dateBefore = ctime(&before), dateAfter = ctime(&after);
        dateBefore.back() = ' ';
        dateAfter.back() = ' ';
        EXPECT_TRUE(date == dateBefore || date == dateAfter) << date;
        bool declared = entity.GetTypeString().find("chord_seq_partials") != std::string::npos;
        EXPECT_EQ(declared, row.format == KV_FORMAT_SDIF_CHORDSEQ);
        if (row.tables < 2) continue;
        EXPECT_EQ(entity.GetNVT(1).GetNbNameValue(), int(row.second.size()));
        for (auto& [name, value] : row.second) EXPECT_EQ(entity.GetNVT(1).GetValue(name), value);
    }
}

TEST(Kv2SdifOpenWrite, FormatOutsideSdifStops) {
    for (KvFormat format : {KV_FORMAT_ADD, KV_FORMAT_PICS, KV_FORMAT_UNKNOWN})
        EXPECT_EQ(kv2test::StopText(
                      [&] { Kv2SdifOpenWrite(TempPath("stop.sdif").c_str(), format, nullptr); }),
                  "LibSrc/Kv2Sdif.cpp: failed assertion `0'\n");
}

TEST(Kv2OpenFile, SdifWritingModesOpenAWriteHandle) {
    FILEIO* f = Kv2OpenFile(TempPath("rw.sdif").c_str(), KV_READWRITE, KV_FORMAT_SDIF_PIC);
    ASSERT_NE(f, nullptr);
    EXPECT_TRUE(Kv2IsSdif(f));
    EXPECT_TRUE(FILEIOIsValid(f));
    EXPECT_EQ(f->mode, KV_WRITE);
    EXPECT_EQ(f->format, KV_FORMAT_SDIF_PIC);
    Kv2CloseFile(f);
    testsupport::CaptureStderr([] {
        EXPECT_EQ(Kv2OpenFile(TempPath("no-dir/x.sdif").c_str(), KV_WRITE, KV_FORMAT_SDIF_TRC),
                  nullptr);
    });
    EXPECT_EQ(Kv2SdifOpenWrite(nullptr, KV_FORMAT_SDIF_TRC, nullptr), nullptr);
}

// ---- Partial frames ----

// To a file, or to standard output through a pipe (a stream that cannot seek
// back to patch sizes; "-" is the library's name for it, "stdout" the SDIF
// library's): the same bytes.
TEST(Kv2SdifWriteFrame, TrackIndicesFollowIdentsAndRestartAfterAGap) {
    for (std::string name : {"file", "-", "stdout"}) {
        SCOPED_TRACE(name);
        std::string bytes;
        if (name == "file") {
            std::string path = TempPath("tracks.sdif");
            FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_TRC);
            WriteTracks(f);
            EXPECT_EQ(f->sdif->lastIndex, 5);
            Kv2CloseFile(f);
            bytes = ReadFile(path);
        } else {
            testsupport::ChildRun run = testsupport::RunChild("", [&] {
                FILEIO* f = Kv2OpenFile(name.c_str(), KV_WRITE, KV_FORMAT_SDIF_TRC);
                if (!f) return "not opened";
                WriteTracks(f);
                Kv2CloseFile(f);
                return "written";
            });
            ASSERT_EQ(run.result, "written");
            bytes = run.out;
        }
        EXPECT_EQ(bytes.substr(0, 4), "SDIF");
        EXPECT_EQ(DataFrames(bytes), TrackFrameBytes());
    }
}

TEST(Kv2SdifWriteFrame, OtherFormatsHaveTheirOwnLayoutAndHandOutNoIndex) {
    auto peak = [](int k) { return std::vector<double>{Freq(k), Amp(k), Phase(k), 1.0}; };
    const TestMatrix xchs{
        "XCHS", kFloat4, 2, 3, {Freq(6), Amp(6), Phase(6), Freq(4), Amp(4), Phase(4)}};
    const struct {
        KvFormat format;
        PartialSet set;
        int stream;
        std::string bytes;
    } rows[] = {
        // The idents themselves; a peak is not a partial, a last point is.
        {KV_FORMAT_SDIF_HRM, Set(1.5, {{3, kPartial}, {1, kPartial}, {7, kPeak}, {2, kLast}}), 5,
         SdifFrame("1HRM", 5, 1.5, {TrcMatrix("1HRM", {Row(3, 3), Row(1, 1), Row(2, 2)})})},
        // Only the peaks, ending in 1.
        {KV_FORMAT_SDIF_PIC, Set(0.5, {{1, kPeak}, {2, kPeak}, {8, kPartial}, {3, kPeak}}), 0,
         SdifFrame("1PIC", 0, 0.5, {TrcMatrix("1PIC", {peak(1), peak(2), peak(3)})})},
        // Idents in 1BEG, values in XCHS.
        {KV_FORMAT_SDIF_CHORDSEQ, Set(2.0, {{6, kPartial}, {9, kPeak}, {4, kLast}}), 1,
         SdifFrame("1MRK", 1, 2.0, {IntColumn("1BEG", {6, 4}), xchs})},
    };
    for (auto& row : rows) {
        SCOPED_TRACE(row.format);
        std::string path = TempPath("layout.sdif");
        FILEIO* f = OpenWrite(path, row.format);
        EXPECT_TRUE(Kv2SdifWriteFrame(f, row.set, -1, row.stream));
        EXPECT_EQ(f->sdif->lastIndex, 0);
        Kv2CloseFile(f);
        EXPECT_EQ(DataFrames(ReadFile(path)), row.bytes);
    }
}

TEST(Kv2WritePartialSet2, LimitFillsTheFirstRowsOfAFullSizeMatrix) {
    std::string path = TempPath("limit.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_TRC);
    EXPECT_TRUE(Kv2WritePartialSet2(f, Partials(0.0, {10, 11, 12, 13, 14}), 2, 0));
    // The rows left out did not enter the index map: their tracks start here.
    EXPECT_TRUE(Kv2WritePartialSet2(f, Partials(0.1, {10, 11, 12, 13, 14}), 7, 0));
    Kv2CloseFile(f);
    std::vector<double> zero(4, 0.0);
    EXPECT_EQ(
        DataFrames(ReadFile(path)),
        SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {Row(1, 10), Row(2, 11), zero, zero, zero})}) +
            SdifFrame(
                "1TRC", 0, 0.1,
                {TrcMatrix("1TRC", {Row(1, 10), Row(2, 11), Row(3, 12), Row(4, 13), Row(5, 14)})}));

    // For peak files the limit still comes from the partial count, here 0.
    f = OpenWrite(path, KV_FORMAT_SDIF_PIC);
    EXPECT_TRUE(Kv2WritePartialSet2(f, Partials(0.0, {1, 2}, kPeak), 5, 0));
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)),
              SdifFrame("1PIC", 0, 0.0, {TrcMatrix("1PIC", {zero, zero})}));
}

TEST(Kv2SdifWriteFrame, HandlesWithoutSdifFileOrOfAnotherFormatWriteNothing) {
    PartialSet set = Partials(0.0, {1});
    EXPECT_FALSE(Kv2SdifWriteFrame(nullptr, set, -1, 0));
    EXPECT_FALSE(Kv2WritePartialSet(nullptr, set));
    FILEIO* plain = Kv2OpenFile(TempPath("plain.pics").c_str(), KV_WRITE, KV_FORMAT_PICS);
    EXPECT_FALSE(Kv2SdifWriteFrame(plain, set, -1, 0));
    EXPECT_FALSE(Kv2WritePartialSet(plain, set));
    Kv2CloseFile(plain);
    EXPECT_EQ(ReadFile(TempPath("plain.pics")), "");

    std::string path = TempPath("odd.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_TRC);
    f->format = KV_FORMAT_PICS;
    EXPECT_EQ(testsupport::CaptureStderr([&] { EXPECT_FALSE(Kv2SdifWriteFrame(f, set, -1, 0)); }),
              "Kv2SdifWriteFrame: error unsupported format requested \n");
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)), "");
}

// ---- Chord sequences ----

TEST(Kv2SdifWriteChordSeq, InconsistentNotesAreWarnedAndWrittenWithoutIndex) {
    std::string path = TempPath("bad-chords.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_CHORDSEQ);
    EXPECT_EQ(
        testsupport::CaptureStderr([&] {
            EXPECT_TRUE(Kv2SdifWriteChordSeq(
                f, Chord(1.5, {{5, ChordSet::eStart}, {12, ChordSet::eEnd}, {5, ChordSet::eStart}}),
                0));
        }),
        "Warning::Kv2SdifWriteChordSeq end of chord 12 without related start "
        "@1.500000-> ignoring \n "
        "Warning::Kv2SdifWriteChordSeq  chord 5 is ot unique -> ignoring \n ");
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)),
              SdifFrame("1MRK", 0, 1.5,
                        {IntColumn("1END", {0}), IntColumn("1BEG", {1, 0}),
                         TrcMatrix("1TRC", {Row(1, 5), Row(0, 5)})}));
}

// A chord set where nothing begins or ends writes no frame; ends come before
// beginnings, each under the index its note was given.
TEST(Kv2SdifWriteChordSeq, EndsThenBeginningsUnderFreshIndicesAndBackAgain) {
    std::string path = TempPath("chords.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_CHORDSEQ);
    EXPECT_TRUE(
        Kv2SdifWriteChordSeq(f, Chord(0.0, {{40, ChordSet::eStart}, {30, ChordSet::eStart}}), 2));
    EXPECT_TRUE(
        Kv2SdifWriteChordSeq(f, Chord(0.5, {{40, ChordSet::eCont}, {30, ChordSet::eCont}}), 2));
    EXPECT_TRUE(Kv2SdifWriteChordSeq(f, ChordSet(0.7, 0), 2));
    EXPECT_TRUE(Kv2SdifWriteChordSeq(
        f, Chord(1.0, {{30, ChordSet::eCont}, {50, ChordSet::eStart}, {40, ChordSet::eEnd}}), 2));
    EXPECT_TRUE(
        Kv2SdifWriteChordSeq(f, Chord(2.0, {{50, ChordSet::eEnd}, {30, ChordSet::eEnd}}), 2));
    EXPECT_EQ(f->sdif->lastIndex, 3);
    EXPECT_TRUE(f->sdif->trackMap.empty());
    Kv2CloseFile(f);
    EXPECT_FALSE(Kv2SdifWriteChordSeq(nullptr, Chord(0.5, {{3, ChordSet::eStart}}), 0));
    EXPECT_EQ(DataFrames(ReadFile(path)),
              SdifFrame("1MRK", 2, 0.0,
                        {IntColumn("1BEG", {1, 2}), TrcMatrix("1TRC", {Row(1, 40), Row(2, 30)})}) +
                  SdifFrame("1MRK", 2, 1.0,
                            {IntColumn("1END", {1}), IntColumn("1BEG", {3}),
                             TrcMatrix("1TRC", {Row(3, 50)})}) +
                  SdifFrame("1MRK", 2, 2.0, {IntColumn("1END", {3, 2})}));

    int stream = 2;
    EXPECT_EQ(Kv2SdifGetFileFormat(path.c_str(), stream), KV_FORMAT_SDIF_CHORDSEQ);
}

// ---- Text and binary partial sets ----

TEST(Kv2WritePartialSet2, TextRecordsCountOnlyPartials) {
    std::string path = TempPath("sets.add");
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, KV_FORMAT_ADD);
    EXPECT_TRUE(Kv2WritePartialSet2(
        f, Set(0.5, {{1, kPartial}, {6, kPeak}, {2, kLast}, {3, kPartial}}), 5, 7));
    EXPECT_TRUE(Kv2WritePartialSet2(f, Partials(1.0, {4, 5, 6}), 2, 0));
    Kv2CloseFile(f);
    EXPECT_EQ(ReadFile(path),
              "3\t0.500000\n"
              "1\t100.500000\t0.0156250000\t-0.875000\n"
              "2\t200.500000\t0.0312500000\t-0.750000\n"
              "3\t300.500000\t0.0468750000\t-0.625000\n"
              "2\t1.000000\n"
              "4\t400.500000\t0.0625000000\t-0.500000\n"
              "5\t500.500000\t0.0781250000\t-0.375000\n");
}

TEST(Kv2WritePartialSet2, BinaryRecordsStoreColumns) {
    std::string path = TempPath("sets.fmt");
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, KV_FORMAT_FMT);
    PartialSet set = Set(0.75, {{-3, kPartial}, {8, kPeak}, {2, kPartial}, {5, kLast}});
    EXPECT_TRUE(Kv2WritePartialSet(f, set));
    EXPECT_TRUE(Kv2WritePartialSet2(f, set, 1, 0));
    Kv2CloseFile(f);

    std::vector<float> expected = {0.75f,    3.0f,      -3.0f,    2.0f,     5.0f,
                                   Freq(-3), Freq(2),   Freq(5),  Amp(-3),  Amp(2),
                                   Amp(5),   Phase(-3), Phase(2), Phase(5), 0.75f,
                                   1.0f,     -3.0f,     Freq(-3), Amp(-3),  Phase(-3)};
    std::string bytes = ReadFile(path);
    ASSERT_EQ(bytes.size(), expected.size() * sizeof(float));
    EXPECT_EQ(memcmp(bytes.data(), expected.data(), bytes.size()), 0);
}
