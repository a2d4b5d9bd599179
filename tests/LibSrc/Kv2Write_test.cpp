#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "Kv2Io.h"
#include "Kv2Sdif.h"
#include "SdifAssert.h"
#include "TestSupport.h"
#include "sdifentity.h"

using namespace Kv2;
using testsupport::ReadFile;
using testsupport::SdifFrame;
using testsupport::TempPath;
using testsupport::TestMatrix;
using testsupport::TrcMatrix;

namespace {

class Kv2WriteEnv : public testing::Environment {
   public:
    void SetUp() override { Kv2InitCond(); }
};
testing::Environment* const gEnv = testing::AddGlobalTestEnvironment(new Kv2WriteEnv);

struct Stopped : std::runtime_error {
    using std::runtime_error::runtime_error;
};
void ThrowingStop(const char*, unsigned, const char* expr) { throw Stopped(expr); }

const uint32_t kInt4 = 0x0104;
const uint32_t kFloat4 = 0x0004;

// Values every partial of ident k carries: exact in a float and in the text
// formats' decimals.
float Freq(int k) { return 100.0f * k + 0.5f; }
float Amp(int k) { return k / 64.0f; }
float Phase(int k) { return k / 8.0f - 1.0f; }

using PState = PartialSet::PartialState;

PartialSet Partials(double time, std::vector<int> idents, PState state = PartialSet::ePartial) {
    PartialSet set(time, 0);
    for (int k : idents)
        set.addToSet(PartialSet::PartialParam(k, Freq(k), Amp(k), Phase(k), 0.0f, state),
                     set.size());
    return set;
}

void Add(PartialSet& set, int k, PState state) {
    set.addToSet(PartialSet::PartialParam(k, Freq(k), Amp(k), Phase(k), 0.0f, state), set.size());
}

ChordSet Chord(double time, std::vector<std::pair<int, ChordSet::ChordState>> notes) {
    ChordSet set(time, 0);
    for (auto [k, state] : notes)
        set.addToSet(ChordSet::PartialParam(k, Freq(k), Amp(k), Phase(k), state), set.size());
    return set;
}

// A row of a 1TRC/1HRM matrix: index, then the values of ident k.
std::vector<double> Row(int index, int k) { return {double(index), Freq(k), Amp(k), Phase(k)}; }

TestMatrix Column(const char* sig, std::vector<double> values) {
    return TestMatrix{sig, kInt4, static_cast<uint32_t>(values.size()), 1, values};
}

uint32_t U32(const std::string& b, size_t at) {
    uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i) v = (v << 8) | static_cast<unsigned char>(b[at + i]);
    return v;
}

// The bytes after the general header and the ASCII chunks: the data frames.
std::string DataFrames(const std::string& bytes) {
    size_t at = 16;
    while (at + 8 <= bytes.size()) {
        std::string sig = bytes.substr(at, 4);
        if (sig != "1NVT" && sig != "1TYP" && sig != "1IDS") break;
        at += 8 + U32(bytes, at + 4);
    }
    return bytes.substr(std::min(at, bytes.size()));
}

FILEIO* OpenWrite(const std::string& path, KvFormat format,
                  std::vector<std::string>* nvts = nullptr) {
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, format, -1, nvts);
    EXPECT_NE(f, nullptr);
    return f;
}

std::vector<PartialSet> ReadAll(const std::string& path, KvFormat format) {
    std::vector<PartialSet> frames;
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_READ, format, -1, nullptr);
    EXPECT_NE(f, nullptr);
    PartialSet set;
    while (f && Kv2ReadPartialSet(f, set)) frames.push_back(set);
    Kv2CloseFile(f);
    return frames;
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

// Read back, every frame holds the values written in the order written, and
// an ident stands for one read ident while its track goes on; a track that
// stopped comes back as a new one.
void ExpectTracksReadBack(const std::vector<PartialSet>& frames) {
    ASSERT_EQ(frames.size(), kTrackFrames.size());
    std::map<std::pair<int, int>, int> identOf;  // (written ident, track start) -> read ident
    std::map<int, int> started;                  // written ident -> frame its track began
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].time, 0.25 * i);
        ASSERT_EQ(frames[i].size(), static_cast<int>(kTrackFrames[i].size()));
        std::map<int, int> next;
        for (size_t r = 0; r < kTrackFrames[i].size(); ++r) {
            int k = kTrackFrames[i][r];
            const auto& p = frames[i][static_cast<int>(r)];
            EXPECT_EQ(p.freq, Freq(k));
            EXPECT_EQ(p.amp, Amp(k));
            EXPECT_EQ(p.phase, Phase(k));
            EXPECT_EQ(p.state, PartialSet::ePartial);
            next[k] = started.count(k) ? started[k] : static_cast<int>(i);
            auto key = std::make_pair(k, next[k]);
            if (identOf.count(key))
                EXPECT_EQ(identOf[key], p.id) << "ident " << k << " in frame " << i;
            else
                identOf[key] = p.id;
        }
        started = next;
    }
    std::vector<int> idents;
    for (auto& e : identOf) idents.push_back(e.second);
    std::sort(idents.begin(), idents.end());
    EXPECT_EQ(std::unique(idents.begin(), idents.end()), idents.end()) << "tracks share an ident";
    EXPECT_EQ(identOf.size(), 5u);  // 17, 4, 9, 21 and 17 again
}

}  // namespace

// ---- Opening ----

TEST(Kv2SdifOpenWrite, HeaderTableNamesTheKindTheLibraryAndTheDate) {
    const std::map<KvFormat, std::string> names = {{KV_FORMAT_SDIF_TRC, "SinusoidalTracks"},
                                                   {KV_FORMAT_SDIF_HRM, "HarmonicTracks"},
                                                   {KV_FORMAT_SDIF_CHORDSEQ, "ChordSeq"},
                                                   {KV_FORMAT_SDIF_PIC, "SpectralPeaks"}};
    for (auto& [format, name] : names) {
        std::string path = TempPath("header.sdif");
        time_t before = time(nullptr);
        FILEIO* f = Kv2SdifOpenWrite(path.c_str(), format, nullptr);
        time_t after = time(nullptr);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(f->format, format);
        EXPECT_EQ(f->mode, KV_WRITE);
        Kv2CloseFile(f);

        Ondel::SDIFEntity entity;
        ASSERT_TRUE(entity.OpenRead(path.c_str()));
        ASSERT_EQ(entity.GetNbNVT(), 1u);
        Ondel::SDIFNameValueTable& table = entity.GetNVT(0);
        EXPECT_EQ(table.GetNbNameValue(), 3);
        EXPECT_EQ(table.GetValue("TableName"), name);
        EXPECT_EQ(table.GetValue("WrittenBy"), "Kv2_Version_1.3.2");
        // ctime's line feed has become a blank.
        std::string date = table.GetValue("Date");
        std::string dateBefore = ctime(&before), dateAfter = ctime(&after);
        dateBefore.back() = ' ';
        dateAfter.back() = ' ';
        EXPECT_TRUE(date == dateBefore || date == dateAfter) << date;
        // Only chord sequences declare the 1TRC matrix of their 1MRK frames.
        bool declared = entity.GetTypeString().find("chord_seq_partials") != std::string::npos;
        EXPECT_EQ(declared, format == KV_FORMAT_SDIF_CHORDSEQ) << name;
    }
}

TEST(Kv2SdifOpenWrite, UserStringsMakeASecondTableOnlyInPairs) {
    std::string path = TempPath("user.sdif");
    std::vector<std::string> pairs = {"Take", "3", "Author", "me"};
    Kv2CloseFile(OpenWrite(path, KV_FORMAT_SDIF_TRC, &pairs));
    Ondel::SDIFEntity entity;
    ASSERT_TRUE(entity.OpenRead(path.c_str()));
    ASSERT_EQ(entity.GetNbNVT(), 2u);
    EXPECT_EQ(entity.GetNVT(1).GetNbNameValue(), 2);
    EXPECT_EQ(entity.GetNVT(1).GetValue("Take"), "3");
    EXPECT_EQ(entity.GetNVT(1).GetValue("Author"), "me");
    entity.Close();

    std::vector<std::string> odd = {"Take", "3", "Author"};
    testing::internal::CaptureStderr();
    Kv2CloseFile(OpenWrite(path, KV_FORMAT_SDIF_HRM, &odd));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Kv2SdifOpenWrite: warning adding user supplied NVTs failed.\nThe list of strings "
              "contains 3 elements.\nIt should have an even number of entries ");
    ASSERT_TRUE(entity.OpenRead(path.c_str()));
    ASSERT_EQ(entity.GetNbNVT(), 2u);
    EXPECT_EQ(entity.GetNVT(0).GetValue("TableName"), "HarmonicTracks");
    EXPECT_EQ(entity.GetNVT(1).GetNbNameValue(), 0);
    entity.Close();

    std::vector<std::string> none;
    Kv2CloseFile(OpenWrite(path, KV_FORMAT_SDIF_TRC, &none));
    ASSERT_TRUE(entity.OpenRead(path.c_str()));
    EXPECT_EQ(entity.GetNbNVT(), 1u);
}

TEST(Kv2SdifOpenWrite, FormatOutsideSdifStops) {
    SdifStopFuncT old = SdifSetStopFunc(ThrowingStop);
    for (KvFormat format : {KV_FORMAT_ADD, KV_FORMAT_PICS, KV_FORMAT_UNKNOWN}) {
        testing::internal::CaptureStderr();
        EXPECT_THROW(Kv2SdifOpenWrite(TempPath("stop.sdif").c_str(), format, nullptr), Stopped);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "LibSrc/Kv2Sdif.cpp:819: failed assertion `0'\n");
    }
    SdifSetStopFunc(old);
}

TEST(Kv2OpenFile, SdifWritingModesOpenAWriteHandle) {
    FILEIO* f = Kv2OpenFile(TempPath("rw.sdif").c_str(), KV_READWRITE, KV_FORMAT_SDIF_PIC);
    ASSERT_NE(f, nullptr);
    EXPECT_TRUE(Kv2IsSdif(f));
    EXPECT_TRUE(FILEIOIsValid(f));
    EXPECT_EQ(f->mode, KV_WRITE);
    EXPECT_EQ(f->format, KV_FORMAT_SDIF_PIC);
    Kv2CloseFile(f);

    testing::internal::CaptureStderr();
    EXPECT_EQ(Kv2OpenFile(TempPath("no-dir/x.sdif").c_str(), KV_WRITE, KV_FORMAT_SDIF_TRC),
              nullptr);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(Kv2SdifOpenWrite(nullptr, KV_FORMAT_SDIF_TRC, nullptr), nullptr);
}

// ---- Partial frames ----

TEST(Kv2SdifWriteFrame, TrackIndicesFollowIdentsAndRestartAfterAGap) {
    std::string path = TempPath("tracks.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_TRC);
    WriteTracks(f);
    EXPECT_EQ(f->sdif->lastIndex, 5);
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)), TrackFrameBytes());
}

TEST(Kv2SdifWriteFrame, HarmonicFramesCarryTheIdentsThemselves) {
    std::string path = TempPath("harmonics.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_HRM);
    PartialSet set = Partials(1.5, {3, 1});
    Add(set, 7, PartialSet::ePeak);  // not a partial: left out
    Add(set, 2, PartialSet::eLast);
    EXPECT_TRUE(Kv2SdifWriteFrame(f, set, -1, 5));
    EXPECT_EQ(f->sdif->lastIndex, 0);
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)),
              SdifFrame("1HRM", 5, 1.5, {TrcMatrix("1HRM", {Row(3, 3), Row(1, 1), Row(2, 2)})}));
}

TEST(Kv2SdifWriteFrame, PeakFramesHoldOnlyPeaksEndingInOne) {
    std::string path = TempPath("peaks.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_PIC);
    PartialSet set = Partials(0.5, {1, 2}, PartialSet::ePeak);
    Add(set, 8, PartialSet::ePartial);
    Add(set, 3, PartialSet::ePeak);
    EXPECT_TRUE(Kv2SdifWriteFrame(f, set, -1, 0));
    Kv2CloseFile(f);
    auto peak = [](int k) { return std::vector<double>{Freq(k), Amp(k), Phase(k), 1.0}; };
    EXPECT_EQ(DataFrames(ReadFile(path)),
              SdifFrame("1PIC", 0, 0.5, {TrcMatrix("1PIC", {peak(1), peak(2), peak(3)})}));
}

TEST(Kv2SdifWriteFrame, ChordFormatSplitsIdentsFromValues) {
    std::string path = TempPath("xchs.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_CHORDSEQ);
    PartialSet set = Partials(2.0, {6});
    Add(set, 9, PartialSet::ePeak);
    Add(set, 4, PartialSet::eLast);
    EXPECT_TRUE(Kv2SdifWriteFrame(f, set, -1, 1));
    Kv2CloseFile(f);
    TestMatrix values{
        "XCHS", kFloat4, 2, 3, {Freq(6), Amp(6), Phase(6), Freq(4), Amp(4), Phase(4)}};
    EXPECT_EQ(DataFrames(ReadFile(path)),
              SdifFrame("1MRK", 1, 2.0, {Column("1BEG", {6, 4}), values}));
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
    EXPECT_TRUE(Kv2WritePartialSet2(f, Partials(0.0, {1, 2}, PartialSet::ePeak), 5, 0));
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
    testing::internal::CaptureStderr();
    EXPECT_FALSE(Kv2SdifWriteFrame(f, set, -1, 0));
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "Kv2SdifWriteFrame: error unsupported format requested \n");
    EXPECT_EQ(err.size(), 55u);
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)), "");
}

// ---- Chord sequences ----

TEST(Kv2SdifWriteChordSeq, EndsThenBeginningsUnderFreshIndices) {
    std::string path = TempPath("chords.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_CHORDSEQ);
    EXPECT_TRUE(
        Kv2SdifWriteChordSeq(f, Chord(0.0, {{40, ChordSet::eStart}, {30, ChordSet::eStart}}), 0));
    EXPECT_TRUE(Kv2SdifWriteChordSeq(
        f, Chord(1.0, {{30, ChordSet::eCont}, {50, ChordSet::eStart}, {40, ChordSet::eEnd}}), 0));
    EXPECT_TRUE(
        Kv2SdifWriteChordSeq(f, Chord(2.0, {{50, ChordSet::eEnd}, {30, ChordSet::eEnd}}), 2));
    EXPECT_EQ(f->sdif->lastIndex, 3);
    EXPECT_TRUE(f->sdif->trackMap.empty());
    Kv2CloseFile(f);
    EXPECT_EQ(
        DataFrames(ReadFile(path)),
        SdifFrame("1MRK", 0, 0.0,
                  {Column("1BEG", {1, 2}), TrcMatrix("1TRC", {Row(1, 40), Row(2, 30)})}) +
            SdifFrame("1MRK", 0, 1.0,
                      {Column("1END", {1}), Column("1BEG", {3}), TrcMatrix("1TRC", {Row(3, 50)})}) +
            SdifFrame("1MRK", 2, 2.0, {Column("1END", {3, 2})}));
}

TEST(Kv2SdifWriteChordSeq, InconsistentNotesAreWarnedAndWrittenWithoutIndex) {
    std::string path = TempPath("bad-chords.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_CHORDSEQ);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(Kv2SdifWriteChordSeq(
        f, Chord(1.5, {{5, ChordSet::eStart}, {12, ChordSet::eEnd}, {5, ChordSet::eStart}}), 0));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Warning::Kv2SdifWriteChordSeq end of chord 12 without related start "
              "@1.500000-> ignoring \n "
              "Warning::Kv2SdifWriteChordSeq  chord 5 is ot unique -> ignoring \n ");
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)), SdifFrame("1MRK", 0, 1.5,
                                                    {Column("1END", {0}), Column("1BEG", {1, 0}),
                                                     TrcMatrix("1TRC", {Row(1, 5), Row(0, 5)})}));
}

TEST(Kv2SdifWriteChordSeq, NothingBeginningOrEndingWritesNoFrame) {
    std::string path = TempPath("quiet-chords.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_CHORDSEQ);
    EXPECT_TRUE(Kv2SdifWriteChordSeq(f, Chord(0.5, {{3, ChordSet::eCont}}), 0));
    EXPECT_TRUE(Kv2SdifWriteChordSeq(f, ChordSet(0.7, 0), 0));
    Kv2CloseFile(f);
    EXPECT_EQ(DataFrames(ReadFile(path)), "");
    EXPECT_FALSE(Kv2SdifWriteChordSeq(nullptr, Chord(0.5, {{3, ChordSet::eStart}}), 0));
}

// ---- Round trips through the readers ----

TEST(Kv2SdifRoundTrip, PartialTracksKeepValuesAndOneIdentityPerTrack) {
    std::string path = TempPath("trip-tracks.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_TRC);
    WriteTracks(f);
    Kv2CloseFile(f);
    ExpectTracksReadBack(ReadAll(path, KV_FORMAT_SDIF_TRC));
}

TEST(Kv2SdifRoundTrip, HarmonicIdentsAndPeakValuesComeBack) {
    std::string path = TempPath("trip-harmonics.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_HRM);
    EXPECT_TRUE(Kv2WritePartialSet(f, Partials(0.0, {1, 2, 3})));
    EXPECT_TRUE(Kv2WritePartialSet(f, Partials(0.5, {2, 4})));
    Kv2CloseFile(f);
    std::vector<PartialSet> frames = ReadAll(path, KV_FORMAT_SDIF_HRM);
    ASSERT_EQ(frames.size(), 2u);
    ASSERT_EQ(frames[1].size(), 2);
    EXPECT_EQ(frames[1].time, 0.5);
    for (int r = 0; r < 2; ++r) {
        int k = r == 0 ? 2 : 4;
        EXPECT_EQ(frames[1][r].id, k);
        EXPECT_EQ(frames[1][r].freq, Freq(k));
        EXPECT_EQ(frames[1][r].amp, Amp(k));
        EXPECT_EQ(frames[1][r].phase, Phase(k));
        EXPECT_EQ(frames[1][r].state, PartialSet::ePartial);
    }

    path = TempPath("trip-peaks.sdif");
    f = OpenWrite(path, KV_FORMAT_SDIF_PIC);
    EXPECT_TRUE(Kv2WritePartialSet(f, Partials(0.25, {9, 5, 7}, PartialSet::ePeak)));
    Kv2CloseFile(f);
    frames = ReadAll(path, KV_FORMAT_SDIF_PIC);
    ASSERT_EQ(frames.size(), 1u);
    ASSERT_EQ(frames[0].size(), 3);
    EXPECT_EQ(frames[0].time, 0.25);
    const int written[] = {9, 5, 7};
    for (int r = 0; r < 3; ++r) {
        EXPECT_EQ(frames[0][r].id, r);  // peaks are numbered by row
        EXPECT_EQ(frames[0][r].freq, Freq(written[r]));
        EXPECT_EQ(frames[0][r].amp, Amp(written[r]));
        EXPECT_EQ(frames[0][r].phase, Phase(written[r]));
        EXPECT_EQ(frames[0][r].state, PartialSet::ePeak);
    }
}

TEST(Kv2SdifRoundTrip, ChordSequenceStartsAndEndsComeBackWithSoundingNotesRegenerated) {
    std::string path = TempPath("trip-chords.sdif");
    FILEIO* f = OpenWrite(path, KV_FORMAT_SDIF_CHORDSEQ);
    EXPECT_TRUE(
        Kv2SdifWriteChordSeq(f, Chord(0.0, {{40, ChordSet::eStart}, {30, ChordSet::eStart}}), 0));
    EXPECT_TRUE(Kv2SdifWriteChordSeq(
        f, Chord(1.0, {{50, ChordSet::eStart}, {30, ChordSet::eCont}, {40, ChordSet::eEnd}}), 0));
    EXPECT_TRUE(
        Kv2SdifWriteChordSeq(f, Chord(2.0, {{50, ChordSet::eEnd}, {30, ChordSet::eEnd}}), 0));
    Kv2CloseFile(f);

    int stream = 0;
    EXPECT_EQ(Kv2SdifGetFileFormat(path.c_str(), stream), KV_FORMAT_SDIF_CHORDSEQ);
    FILEIO* in = Kv2OpenFile(path.c_str(), KV_READ, KV_FORMAT_SDIF_CHORDSEQ);
    ASSERT_NE(in, nullptr);
    ChordSet c;
    auto expectNote = [&](int at, ChordSet::ChordState state, int k, int ident) {
        ASSERT_LT(at, c.size());
        EXPECT_EQ(c[at].state, state) << "entry " << at;
        EXPECT_EQ(c[at].id, ident) << "entry " << at;
        bool begins = state == ChordSet::eStart;
        EXPECT_EQ(c[at].freq, begins ? Freq(k) : 0.0f);
        EXPECT_EQ(c[at].amp, begins ? Amp(k) : 0.0f);
        EXPECT_EQ(c[at].phase, begins ? Phase(k) : 0.0f);
    };

    ASSERT_TRUE(Kv2ReadChordSet(in, c));
    ASSERT_EQ(c.size(), 2);
    EXPECT_EQ(c.time, 0.0);
    int id40 = c[0].id, id30 = c[1].id;
    EXPECT_NE(id40, id30);
    expectNote(0, ChordSet::eStart, 40, id40);
    expectNote(1, ChordSet::eStart, 30, id30);

    ASSERT_TRUE(Kv2ReadChordSet(in, c));
    ASSERT_EQ(c.size(), 3);  // the end first, then the beginning, then the note sounding on
    EXPECT_EQ(c.time, 1.0);
    int id50 = c[1].id;
    EXPECT_NE(id50, id40);
    EXPECT_NE(id50, id30);
    expectNote(0, ChordSet::eEnd, 40, id40);
    expectNote(1, ChordSet::eStart, 50, id50);
    expectNote(2, ChordSet::eCont, 30, id30);

    ASSERT_TRUE(Kv2ReadChordSet(in, c));
    ASSERT_EQ(c.size(), 2);
    expectNote(0, ChordSet::eEnd, 50, id50);
    expectNote(1, ChordSet::eEnd, 30, id30);
    EXPECT_FALSE(Kv2ReadChordSet(in, c));
    Kv2CloseFile(in);
}

TEST(Kv2SdifRoundTrip, StandardOutputThroughAPipeCarriesTheSameFrames) {
    for (const char* name : {"-", "stdout"}) {
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        fflush(stdout);
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            close(fds[0]);
            dup2(fds[1], 1);
            FILEIO* f = Kv2OpenFile(name, KV_WRITE, KV_FORMAT_SDIF_TRC);
            if (!f) _exit(2);
            WriteTracks(f);
            Kv2CloseFile(f);
            fflush(stdout);
            _exit(0);
        }
        close(fds[1]);
        std::string bytes;
        char buf[4096];
        ssize_t n;
        while ((n = read(fds[0], buf, sizeof buf)) > 0) bytes.append(buf, static_cast<size_t>(n));
        close(fds[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << name;

        EXPECT_EQ(bytes.substr(0, 4), "SDIF");
        EXPECT_EQ(DataFrames(bytes), TrackFrameBytes()) << name;
        std::string path = TempPath("from-pipe.sdif");
        testsupport::WriteFile(path, bytes);
        ExpectTracksReadBack(ReadAll(path, KV_FORMAT_SDIF_TRC));
    }
}

// ---- Text and binary partial sets ----

TEST(Kv2WritePartialSet2, TextRecordsCountOnlyPartialsAndReadBack) {
    std::string path = TempPath("sets.add");
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, KV_FORMAT_ADD);
    PartialSet first = Partials(0.5, {1});
    Add(first, 6, PartialSet::ePeak);
    Add(first, 2, PartialSet::eLast);
    Add(first, 3, PartialSet::ePartial);
    EXPECT_TRUE(Kv2WritePartialSet2(f, first, 5, 7));
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

    std::vector<PartialSet> frames = ReadAll(path, KV_FORMAT_ADD);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[1].time, 1.0);
    ASSERT_EQ(frames[0].size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(frames[0][i].id, i + 1);
        EXPECT_EQ(frames[0][i].freq, Freq(i + 1));
        EXPECT_EQ(frames[0][i].amp, Amp(i + 1));
        EXPECT_EQ(frames[0][i].phase, Phase(i + 1));
        EXPECT_EQ(frames[0][i].state, PartialSet::ePartial);
    }
}

TEST(Kv2WritePartialSet2, BinaryRecordsStoreColumnsAndReadBack) {
    std::string path = TempPath("sets.fmt");
    FILEIO* f = Kv2OpenFile(path.c_str(), KV_WRITE, KV_FORMAT_FMT);
    PartialSet set = Partials(0.75, {-3});
    Add(set, 8, PartialSet::ePeak);
    Add(set, 2, PartialSet::ePartial);
    Add(set, 5, PartialSet::eLast);
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

    std::vector<PartialSet> frames = ReadAll(path, KV_FORMAT_FMT);
    ASSERT_EQ(frames.size(), 2u);
    ASSERT_EQ(frames[0].size(), 3);
    const int idents[] = {-3, 2, 5};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(frames[0][i].id, idents[i]);
        EXPECT_EQ(frames[0][i].freq, Freq(idents[i]));
        EXPECT_EQ(frames[0][i].amp, Amp(idents[i]));
        EXPECT_EQ(frames[0][i].phase, Phase(idents[i]));
    }
    EXPECT_EQ(frames[1].size(), 1);
    EXPECT_EQ(frames[1].time, 0.75);
}
