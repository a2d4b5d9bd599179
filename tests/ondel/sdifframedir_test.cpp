// The entity's frame directory: built as frames are read, walked by
// iterators, searched by time, filtered by the high-level selections.
#include <gtest/gtest.h>

#include <functional>

#include "OndelTestUtil.h"

using namespace Ondel;
using namespace ondeltest;
using testsupport::Sig;

namespace {

const std::string kSaw = testsupport::DataPath("saw-s0.sdif");

// saw-s0 holds a frame every 1/256 s from 0 on.
double SawTime(int k) { return k / 256.0; }

// Six frames, two per time: 1TRC in stream 0 and 1HRM in stream 1, at
// 0.0, 0.1 and 0.2.
std::string TwoStreamFile() {
    std::vector<SDIFFrame> frames(6);
    for (int k = 0; k < 6; ++k) {
        const char* sig = k % 2 ? "1HRM" : "1TRC";
        frames[k].SetHeader(sig, k % 2, 0.1 * (k / 2));
        frames[k].AddMatrix(SDIFMatrix(sig, 2 - k % 2, 4, eFloat4));
    }
    return WriteFrames("twostreams.sdif", frames);
}

std::vector<std::pair<unsigned, double>> Walk(SDIFEntity& e) {
    std::vector<std::pair<unsigned, double>> seen;
    for (FRIterator it = e.begin(); it != e.end(); ++it)
        seen.push_back({it->GetStreamID(), it->GetTime()});
    return seen;
}

}  // namespace

// The entries printed hold each frame's position, signature, time and matrix
// signatures.
TEST(FrameDir, EntriesAreRecordedAsFramesAreRead) {
    const auto raw = testsupport::RawFrames(testsupport::ReadFile(kSaw));
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(kSaw.c_str()));
    ASSERT_TRUE(e.EnableFrameDir());
    EXPECT_TRUE(e.EnableFrameDir());
    EXPECT_TRUE(e.GetFrameDir().empty());
    SDIFFrame frame;
    for (int i = 0; i < 3; ++i) ASSERT_GT(e.ReadNextFrame(frame), 0);
    ASSERT_EQ(e.GetFrameDir().size(), 3u);
    EXPECT_EQ(testsupport::CaptureStderr([&] { e.PrintFrameDir(); }),
              "Init pos 16\n"
              "Pos 16 sig 1TRC time 0\n Matrices: 1TRC\n"
              "Pos " +
                  std::to_string(raw[1].at) +
                  " sig 1TRC time 0.00390625\n Matrices: 1TRC\n"
                  "Pos " +
                  std::to_string(raw[2].at) + " sig 1TRC time 0.0078125\n Matrices: 1TRC\n");
}

// Iterators and timed reads need the directory.  It is enabled only before
// the first read (rewinding goes back there) and in read mode; while enabled
// the file's selection is frozen.
TEST(FrameDir, NeededByIteratorsAndTimedReadsAndEnabledBeforeTheFirstRead) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(kSaw.c_str()));
    const char* iterating =
        "Error in SDIFEntity::FRIterator:: !!! Iterator can only be used if frame directoy is "
        "enabled !!!";
    SDIFFrame frame;
    const struct {
        std::function<void()> use;
        const char* what;
    } uses[] = {{[&] { e.begin(); }, iterating},
                {[&] { e.end(); }, iterating},
                {[&] { e.ReadNextSelectedFrame(frame, 0.5); },
                 "Error in SDIFEntity::ReadNextFrame(SDIFFrame& frame, SdifFloat8 time):: !!! "
                 "frame directoy not enabled  !!!"}};
    for (auto const& use : uses) {
        const auto ex = Thrown<SDIFDirError>(use.use);
        EXPECT_STREQ(ex.what(), use.what);
        EXPECT_EQ(ex.GetTag(), 0);
        EXPECT_EQ(ex.GetLevel(), eError);
        EXPECT_EQ(ex.GetFile(), nullptr);
    }

    e.ReadNextFrame(frame);
    EXPECT_FALSE(e.EnableFrameDir());
    ASSERT_TRUE(e.Rewind());
    EXPECT_TRUE(e.EnableFrameDir());
    EXPECT_FALSE(e.ClearSelection(eSelectAll));
    EXPECT_FALSE(e.MergeSelection("#1"));
    EXPECT_FALSE(e.ChangeSelection("#1"));
    SDIFEntity closed;
    EXPECT_FALSE(closed.EnableFrameDir());
    SDIFEntity out;
    ASSERT_TRUE(out.OpenWrite(testsupport::TempPath("w.sdif").c_str()));
    EXPECT_FALSE(out.EnableFrameDir());
}

TEST(FrameDir, IteratorWalksTheWholeFileReadingOnDemand) {
    const std::string bytes = testsupport::ReadFile(kSaw);
    const auto raw = testsupport::RawFrames(bytes);
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(kSaw.c_str()));
    ASSERT_TRUE(e.EnableFrameDir());
    size_t n = 0;
    for (FRIterator it = e.begin(); it != e.end(); ++it, ++n) {
        ASSERT_LT(n, raw.size());
        EXPECT_EQ(it->GetTime(), raw[n].time);
        EXPECT_EQ((*it).GetMatrix(0).GetFloat(3, 1),
                  testsupport::RawFloat4(bytes, raw[n].matrices[0], 3, 1));
        // The directory grows one frame at a time, not ahead of the walk.
        EXPECT_EQ(e.GetFrameDir().size(), n + 1);
    }
    EXPECT_EQ(n, raw.size());
    EXPECT_TRUE(e.eof());
    // A second walk reads every frame again through the directory.
    n = 0;
    for (FRIterator it = e.begin(); it != e.end(); ++it, ++n) ASSERT_EQ(it->GetTime(), raw[n].time);
    EXPECT_EQ(n, raw.size());
    EXPECT_EQ(e.GetFrameDir().size(), raw.size());
}

TEST(FrameDir, SteppingBackFromTheEndReadsTheFileToItsEnd) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(kSaw.c_str()));
    ASSERT_TRUE(e.EnableFrameDir());
    FRIterator first = e.begin();
    EXPECT_EQ(first->GetTime(), 0.0);
    FRIterator last = e.end();
    --last;
    EXPECT_EQ(e.GetFrameDir().size(), 256u);
    EXPECT_EQ(last->GetTime(), SawTime(255));
    --last;
    EXPECT_EQ(last->GetTime(), SawTime(254));
    ++last;
    ++last;
    EXPECT_TRUE(last == e.end());
    FRIterator front = e.begin();
    --front;  // off the front, and back on the first entry
    EXPECT_FALSE(front == e.begin());
    ++front;
    EXPECT_TRUE(front == e.begin());
    EXPECT_EQ(front->GetTime(), 0.0);
}

TEST(FrameDir, TimedReadsSearchForwardAndBackward) {
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(kSaw.c_str()));
    ASSERT_TRUE(e.EnableFrameDir());
    SDIFFrame frame;
    // Forward takes a frame at exactly the time asked.
    EXPECT_EQ(e.ReadNextSelectedFrame(frame, 0.5), 16 + 16 + 40 * 4 * 4);
    EXPECT_EQ(frame.GetTime(), 0.5);
    // Backward passes over a frame at exactly the time asked.
    e.ReadNextSelectedFrame(frame, 0.25);
    EXPECT_EQ(frame.GetTime(), SawTime(65));
    e.ReadNextSelectedFrame(frame, 0.3);
    EXPECT_EQ(frame.GetTime(), SawTime(77));
    e.ReadNextSelectedFrame(frame, SawTime(77));
    EXPECT_EQ(frame.GetTime(), SawTime(78));
    // Past the last frame: nothing, then the end is an error.
    EXPECT_EQ(e.ReadNextSelectedFrame(frame, 2.0), 0);
    EXPECT_EQ(frame.GetTime(), -1.0);
    EXPECT_TRUE(e.eof());
    const auto ex = Thrown<SDIFEof>([&] { e.ReadNextSelectedFrame(frame, 2.0); });
    EXPECT_STREQ(ex.what(), "Error in SDIFEntity::ReadNextSelectedFrame -- Eof reached");
    EXPECT_EQ(ex.GetFile(), e.GetFile());
    // From the end, backward again.
    e.ReadNextSelectedFrame(frame, 0.0);
    EXPECT_EQ(frame.GetTime(), SawTime(1));
    EXPECT_FALSE(e.eof());
    ASSERT_TRUE(e.Rewind());
    e.ReadNextSelectedFrame(frame, 0.0);
    EXPECT_EQ(frame.GetTime(), 0.0);
    // Ordinary reads go on from where the search left the file.
    e.ReadNextSelectedFrame(frame);
    EXPECT_EQ(frame.GetTime(), SawTime(1));
}

TEST(FrameDir, HighLevelSelectionsFilterWalksAndSearches) {
    const std::string path = TwoStreamFile();
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(path.c_str()));
    ASSERT_TRUE(e.EnableFrameDir());
    EXPECT_TRUE(e.RestrictStreamSelection(Set({1})));
    Sel s;
    e.GetStreamSelection(s);
    EXPECT_EQ(std::set<unsigned>(s.begin(), s.end()), (std::set<unsigned>{1}));
    EXPECT_TRUE(e.TestStreamSelection(1));
    EXPECT_FALSE(e.TestStreamSelection(0));
    typedef std::vector<std::pair<unsigned, double>> Seen;
    EXPECT_EQ(Walk(e), (Seen{{1, 0.0}, {1, 0.1}, {1, 0.2}}));
    EXPECT_EQ(e.GetFrameDir().size(), 6u);  // every frame is known all the same

    ASSERT_TRUE(e.ReestablishStreamSelection());
    EXPECT_EQ(Walk(e).size(), 6u);

    EXPECT_TRUE(e.RestrictMatrixSelection(Set({Sig("1TRC"), Sig("1PIC")})));
    EXPECT_EQ(Walk(e), (Seen{{0, 0.0}, {0, 0.1}, {0, 0.2}}));
    EXPECT_TRUE(e.TestMatrixSelection(Sig("1TRC")));
    EXPECT_FALSE(e.TestMatrixSelection(Sig("1HRM")));
    ASSERT_TRUE(e.ReestablishMatrixSelection());

    EXPECT_TRUE(e.RestrictFrameSelection(Set({Sig("1HRM")})));
    SDIFFrame frame;
    e.ReadNextSelectedFrame(frame, 0.05);
    EXPECT_EQ(frame.GetSignature(), Sig("1HRM"));
    EXPECT_NEAR(frame.GetTime(), 0.1, 1e-12);
    EXPECT_EQ(frame.GetStreamID(), 1u);

    // A file selecting stream 0 only: restricting to {0, 1} keeps {0}, and the
    // frames it rejects are not recorded.
    SDIFEntity zero;
    ASSERT_TRUE(zero.OpenRead((path + "::#0").c_str()));
    ASSERT_TRUE(zero.EnableFrameDir());
    EXPECT_TRUE(zero.RestrictStreamSelection(Set({0, 1})));
    zero.GetStreamSelection(s);
    EXPECT_EQ(std::set<unsigned>(s.begin(), s.end()), (std::set<unsigned>{0}));
    int n = 0;
    while (!zero.eof())
        if (zero.ReadNextSelectedFrame(frame)) {
            ++n;
            EXPECT_EQ(frame.GetStreamID(), 0u);
        }
    EXPECT_EQ(n, 3);
    EXPECT_EQ(zero.GetFrameDir().size(), 3u);
}

// A known position only moves the cursor, a new one is inserted in order; an
// entry beyond the file fails to seek.
TEST(FrameDir, KnownPositionMovesTheCursorNewOneIsInserted) {
    const std::string bytes = testsupport::ReadFile(kSaw);
    const auto raw = testsupport::RawFrames(bytes);
    SDIFEntity e;
    ASSERT_TRUE(e.OpenRead(kSaw.c_str()));
    ASSERT_TRUE(e.EnableFrameDir());
    SDIFFrame frame;
    for (int i = 0; i < 3; ++i) e.ReadNextFrame(frame);
    EXPECT_EQ(e.AddFramePos(0, Sig("1TRC"), SawTime(1), 1, SdifInt4(raw[1].at)), nullptr);
    ASSERT_NE(e.AddFramePos(0, Sig("1HRM"), 9.0, 0, SdifInt4(raw[1].at + 8)), nullptr);
    std::vector<SdifInt4> positions;
    for (const SDIFLocation& loc : e.GetFrameDir()) positions.push_back(loc.GetPos());
    EXPECT_EQ(positions, (std::vector<SdifInt4>{SdifInt4(raw[0].at), SdifInt4(raw[1].at),
                                                SdifInt4(raw[1].at + 8), SdifInt4(raw[2].at)}));

    SDIFEntity whole;
    ASSERT_TRUE(whole.OpenRead(kSaw.c_str()));
    ASSERT_TRUE(whole.EnableFrameDir());
    while (!whole.eof()) whole.ReadNextFrame(frame);
    ASSERT_NE(whole.AddFramePos(0, Sig("1TRC"), 5.0, 0, SdifInt4(bytes.size() + 64)), nullptr);
    FRIterator last = whole.end();
    --last;
    const auto ex = Thrown<SDIFSeekError>([&] { last.GotoPos(); });
    EXPECT_STREQ(ex.what(),
                 "Error in  SDIFEntity::FRIterator::GotoPos()!!!error while seeking  !!!");
    EXPECT_EQ(ex.GetTag(), 0);
    EXPECT_EQ(ex.GetFile(), nullptr);
}

TEST(SDIFLocation, MatrixSignaturesBeyondTheThirdAndOutOfBounds) {
    SDIFLocation loc(100, Sig("1MRK"), 5, 2, 1.5);
    loc.SetMSignature(0, Sig("1BEG"));
    loc.SetMSignature(4, Sig("1END"));
    EXPECT_EQ(loc.GetMSignature(0), Sig("1BEG"));
    EXPECT_EQ(loc.GetMSignature(3), 0u);
    EXPECT_EQ(loc.GetMSignature(4), Sig("1END"));
    EXPECT_EQ(testsupport::CaptureStderr([&] { loc.SetMSignature(5, Sig("1SEG")); }),
              " SDIFLocation:: SetMSignature ind out of bounds 5");
    EXPECT_EQ(loc.GetMSignature(5), 0u);
}
