// Tidy tables: track and note building from frames, the reading of partial
// data from files built byte by byte here, and number texts that read back
// to the stored values.
#include "Tidy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include "TestSupport.h"

using namespace testsupport;

namespace {

Tidy::Frame MakeFrame(double time, const std::vector<std::pair<double, double>>& indexAndFreq,
                      const std::vector<double>& ends = {}) {
    Tidy::Frame f;
    f.time = time;
    for (const auto& r : indexAndFreq) f.rows.push_back(Tidy::Row{r.first, r.second, 0.5, 0.0});
    for (double e : ends) f.ends.push_back(Tidy::Row{e, NAN, NAN, NAN});
    return f;
}

// A track as "index: frequency@time ...", a note as "index start-end
// frequency", with "open" when the file never ended it.
std::string Show(const Tidy::Track& t) {
    std::ostringstream s;
    s << t.index << ":";
    for (const Tidy::Point& p : t.points) s << " " << p.frequency << "@" << p.time;
    return s.str();
}
std::string Show(const Tidy::Note& n) {
    std::ostringstream s;
    s << n.index << " " << n.start << "-" << n.end << " " << n.frequency
      << (n.ended ? "" : " open");
    return s.str();
}
template <class T>
std::vector<std::string> ShowAll(const std::vector<T>& all) {
    std::vector<std::string> shown;
    for (const T& one : all) shown.push_back(Show(one));
    return shown;
}

}  // namespace

TEST(TrackBuilder, TracksFollowAnIndexThroughConsecutiveFramesOnly) {
    // Index 5 leaves at t=2 and comes back at t=3: a new track.  Index 7
    // comes twice at t=0: the second row is a track of its own, and t=1
    // continues the first.  Numbers follow first points, in row order.
    // Each Add tells which tracks it completed: the second 7 at once, the
    // first 5 when t=2 lacks it, the rest at the end.
    Tidy::TrackBuilder b;
    const auto ended = [&] {
        std::vector<size_t> e = b.Ended();
        std::sort(e.begin(), e.end());
        return e;
    };
    using Ends = std::vector<size_t>;
    b.Add(MakeFrame(0, {{5, 100}, {7, 200}, {7, 300}}));
    EXPECT_EQ(ended(), Ends{2});
    b.Add(MakeFrame(1, {{7, 201}, {5, 101}}));
    EXPECT_EQ(ended(), Ends{});
    b.Add(MakeFrame(2, {{7, 202}}));
    EXPECT_EQ(ended(), Ends{0});
    b.Add(MakeFrame(3, {{5, 103}, {7, 203}}));
    EXPECT_EQ(ended(), Ends{});
    b.EndAll();
    EXPECT_EQ(ended(), (Ends{1, 3}));
    EXPECT_EQ(ShowAll(b.Tracks()),
              (std::vector<std::string>{"5: 100@0 101@1", "7: 200@0 201@1 202@2 203@3", "7: 300@0",
                                        "5: 103@3"}));
}

TEST(NoteBuilder, EndsComeBeforeBeginningsAndOpenNotesEndAtTheLastFrame) {
    Tidy::NoteBuilder b;
    b.Add(MakeFrame(0, {{1, 220}, {2, 330}}));
    b.Add(MakeFrame(0.5, {{1, 440}}, {1, 9}));  // 1 ends and begins again; 9 never began
    b.Add(MakeFrame(1, {{2, 550}}));            // 2 begins while sounding: the old one ends
    b.Add(MakeFrame(2, {}, {2}));
    b.Add(MakeFrame(3, {}));
    EXPECT_EQ(ShowAll(b.Finish()), (std::vector<std::string>{"1 0-0.5 220", "2 0-1 330",
                                                             "1 0.5-3 440 open", "2 1-2 550"}));
}

TEST(TidyReader, FirstStreamWithPartialDataIsReadAndEverythingElsePassedOver) {
    // An undeclared frame type, of unknown size with a padded matrix, comes
    // first: the SDIF library would refuse it, the reader walks over it.
    std::string unknown;
    PutMatrixHeader(unknown, "XMAT", 0x0102, 1, 3);  // 6 bytes of int2, 2 of padding
    unknown += std::string(8, '\x01');
    PutMatrixHeader(unknown, "XMAT", 0x0004, 0, 4);
    TestMatrix wide = TrcMatrix("1TRC", {{1, 0.1, 0.2, 0.3}});
    wide.dataType = 0x0008;
    const std::string bytes =
        SdifHeader() + FrameBytes("XFRM", 0, 2, unknown, 0.0, 0xFFFFFFFF) +
        SdifFrame("1TRC", 2, 0.0, {TrcMatrix("1TRC", {{1, 100, 0.5, 0}, {2, 200, 0.25, 1}})}) +
        SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 900, 0.5, 0}})}) +
        SdifFrame("1HRM", 2, 0.1, {TrcMatrix("1HRM", {{1, 800, 0.5, 0}})}) +
        SdifFrame("1TRC", 2, 0.1, {wide});
    const std::string path = SaveTemp("streams.sdif", bytes);

    Tidy::Tables first = Tidy::ReadFrames(path);
    EXPECT_EQ(first.kind, Tidy::Kind::kPartials);
    EXPECT_EQ(first.stream, 2u);
    ASSERT_EQ(first.frames.size(), 2u);
    ASSERT_EQ(first.frames[0].rows.size(), 2u);
    EXPECT_EQ(first.frames[0].rows[1].index, 2);
    EXPECT_EQ(first.frames[0].rows[1].frequency, 200);
    EXPECT_TRUE(first.frames[0].rows[1].float32);
    // A float64 matrix keeps its values whole.
    ASSERT_EQ(first.frames[1].rows.size(), 1u);
    EXPECT_EQ(first.frames[1].time, 0.1);
    EXPECT_EQ(first.frames[1].rows[0].frequency, 0.1);
    EXPECT_EQ(first.frames[1].rows[0].phase, 0.3);
    EXPECT_FALSE(first.frames[1].rows[0].float32);

    Tidy::Tables zero = Tidy::ReadTracks(path, 0);
    EXPECT_EQ(zero.stream, 0u);
    ASSERT_EQ(zero.tracks.size(), 1u);
    EXPECT_EQ(zero.tracks[0].points[0].frequency, 900);
    // A selection after the name narrows what is read: here the times.
    EXPECT_EQ(Tidy::ReadFrames(path + "::@0.05-1").frames.size(), 1u);
}

TEST(TidyReader, FailuresNameTheFileAndTheReason) {
    const std::string frame = SdifFrame("1TRC", 0, 0.0, {TrcMatrix("1TRC", {{1, 100, 0.5, 0}})});
    TestMatrix three{"1TRC", 0x0004, 1, 3, {1, 100, 0.5}};
    const struct {
        const char* name;
        std::string bytes;  // empty: no file at all
        int64_t stream;
        std::string reason;
    } cases[] = {
        {"missing.sdif", "", -1, "No such file or directory"},
        {"text.sdif", "hello, world\n", -1, "not an SDIF file"},
        {"cut.sdif", SdifHeader() + frame.substr(0, 30), -1, "truncated at byte 46"},
        {"fq0.sdif",
         SdifHeader() + SdifFrame("1FQ0", 0, 0.0, {TestMatrix{"1FQ0", 0x0004, 1, 1, {100}}}), -1,
         "no partial data (no 1TRC, 1HRM or 1PIC frame, nor a 1MRK frame with 1BEG and 1TRC "
         "matrices)"},
        {"other.sdif", SdifHeader() + frame, 5, "stream 5 holds no partial data"},
        {"three.sdif", SdifHeader() + SdifFrame("1TRC", 0, 0.25, {three}), -1,
         "the 1TRC matrix at time 0.25 has 3 columns, 4 needed"},
        {"chord.sdif",
         SdifHeader() +
             SdifFrame("1MRK", 0, 0.0,
                       {IntColumn("1BEG", {1, 2}), TrcMatrix("1TRC", {{1, 100, 0.5, 0}})}),
         -1, "the chord frame at time 0 begins 2 notes but gives 1 rows of values"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = TempPath(c.name);
        if (!c.bytes.empty()) WriteFile(path, c.bytes);
        try {
            Tidy::ReadFrames(path, c.stream);
            ADD_FAILURE() << "no error";
        } catch (const Tidy::Error& e) {
            EXPECT_EQ(e.what(), path + ": " + c.reason);
        }
    }
}

TEST(AppendNumber, ShortestTextReadsBackToTheStoredValue) {
    const struct {
        double value;
        bool float32;
        const char* text;
    } cases[] = {
        {0.1f, true, "0.1"},        {0.1, false, "0.1"},
        {1e-7f, true, "1e-07"},     {440, true, "440"},
        {-0.0, false, "-0"},        {std::numeric_limits<double>::infinity(), true, "inf"},
        {-HUGE_VAL, false, "-inf"}, {-std::nan(""), true, "nan"},
    };
    for (const auto& c : cases) {
        std::string text;
        Tidy::AppendNumber(text, c.value, c.float32);
        EXPECT_EQ(text, c.text);
    }
    // Any bit pattern: the text parses back to the same float or double.
    std::mt19937_64 random(21);
    for (int i = 0; i < 20000; ++i) {
        const uint64_t bits = random();
        float f;
        double d;
        const uint32_t low = static_cast<uint32_t>(bits);
        std::memcpy(&f, &low, sizeof f);
        std::memcpy(&d, &bits, sizeof d);
        if (!std::isfinite(f) || !std::isfinite(d)) continue;
        std::string tf, td;
        Tidy::AppendNumber(tf, f, true);
        Tidy::AppendNumber(td, d, false);
        ASSERT_EQ(std::strtof(tf.c_str(), nullptr), f) << tf;
        ASSERT_EQ(std::strtod(td.c_str(), nullptr), d) << td;
    }
}
