// Tracks built from frames, selections of tracks and points, and the
// correction of edited tracks.
#include "PartialsContainer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <vector>

namespace {

using Kv2::ChordSet;
using Kv2::PartialSet;
using Quorlin::PartialPointIndex;
using P = PartialSet::PartialParam;
using C = ChordSet::PartialParam;
using Container = Quorlin::PartialsContainer<PartialSet>;

constexpr double kTwoPi = 6.283185307179586;

P Rec(int id, float f = 100.0f, PartialSet::PartialState st = PartialSet::ePartial) {
    return P(id, f, 0.1f, 0.0f, 0.0f, st);
}

PartialSet Frame(double t, std::initializer_list<P> recs) {
    PartialSet s(t, 0);
    for (P const& p : recs) s.params().push_back(p);
    return s;
}

void Fill(Container& c, std::initializer_list<PartialSet> frames) {
    for (PartialSet const& f : frames) c.GetFrames().push_back(f, false);
}

Kv2::PartialID IdOf(Kv2::Kv2Partial<PartialSet> const& t) { return t; }

// ------------------------------------------------------------- track building

TEST(FramesToPartials, IdentReturningAfterAGapStartsTheNextOccurrence) {
    Container c;
    Fill(c, {Frame(0, {Rec(5)}), Frame(1, {Rec(5)}), Frame(2, {Rec(5), Rec(8)}), Frame(3, {Rec(8)}),
             Frame(4, {}), Frame(5, {Rec(5)}), Frame(6, {Rec(5)})});
    c.UpdatePartials();
    auto const& tracks = c.GetPartials();
    ASSERT_EQ(tracks.size(), 3u);
    EXPECT_EQ(tracks[0].id, 5);
    EXPECT_EQ(tracks[0].occurrence, 0);
    EXPECT_EQ(tracks[0].GetNbPoints(), 3u);
    EXPECT_TRUE(tracks[0].closed);
    EXPECT_EQ(tracks[1].id, 8);
    EXPECT_EQ(tracks[1].GetStartTime(), 2.0);
    EXPECT_EQ(tracks[1].GetEndTime(), 3.0);
    EXPECT_EQ(tracks[2].id, 5);
    EXPECT_EQ(tracks[2].occurrence, 1);
    EXPECT_EQ(tracks[2].GetStartTime(), 5.0);
    EXPECT_EQ(tracks[2].GetEndTime(), 6.0);
    EXPECT_FALSE(tracks[2].closed);
    EXPECT_EQ(tracks.CountByID(5), 2);
    EXPECT_EQ(tracks.CountByID(8), 1);
    EXPECT_EQ(tracks.CountByID(9), 0);
    ASSERT_EQ(tracks.OpenTracks().size(), 1u);
    EXPECT_EQ(tracks.OpenTracks()[0], 2u);
}

TEST(FramesToPartials, InvalidRecordNeitherOpensNorContinues) {
    Container c;
    Fill(c, {Frame(0, {Rec(5)}),
             Frame(1, {Rec(5, 1, PartialSet::eFree), Rec(6, 1, PartialSet::eCarried)}),
             Frame(2, {Rec(5), Rec(6, 1, PartialSet::ePeak)})});
    c.UpdatePartials();
    auto const& tracks = c.GetPartials();
    ASSERT_EQ(tracks.size(), 3u);
    EXPECT_EQ(tracks[0].GetNbPoints(), 1u);
    EXPECT_EQ(tracks[1].id, 5);
    EXPECT_EQ(tracks[1].occurrence, 1);
    EXPECT_EQ(tracks[2].id, 6);  // a peak is valid
    EXPECT_EQ(tracks[2].occurrence, 0);
    EXPECT_EQ(tracks[2].GetStartTime(), 2.0);
}

TEST(FramesToPartials, SecondPassContinuesOpenTracksAndDuplicatesOthers) {
    Container c;
    Fill(c, {Frame(0, {Rec(1), Rec(2)}), Frame(1, {Rec(1)}), Frame(2, {Rec(1), Rec(3)})});
    c.UpdatePartials();
    ASSERT_EQ(c.GetPartials().size(), 3u);
    c.UpdatePartials();
    auto const& tracks = c.GetPartials();
    ASSERT_EQ(tracks.size(), 5u);
    // Track 1 was open at the last frame and the first frame holds it again.
    ASSERT_EQ(tracks[0].GetNbPoints(), 6u);
    const double times[] = {0, 1, 2, 0, 1, 2};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(tracks[0].GetPoint(i)->time, times[i]);
    EXPECT_EQ(tracks[1].GetNbPoints(), 1u);  // id 2, first pass
    EXPECT_EQ(tracks[2].GetNbPoints(), 1u);  // id 3 was open but absent from the first frame
    EXPECT_TRUE(tracks[2].closed);
    EXPECT_EQ(tracks[3].id, 2);
    EXPECT_EQ(tracks[3].occurrence, 1);
    EXPECT_EQ(tracks[4].id, 3);
    EXPECT_EQ(tracks[4].occurrence, 1);
    EXPECT_EQ(tracks[4].GetStartTime(), 2.0);
}

TEST(FramesToPartials, SameIdentTwiceInAFrameOpensATrackCopyingTheFirstRecord) {
    Container c;
    Fill(c, {Frame(0, {Rec(7, 100), Rec(7, 200)}), Frame(1, {Rec(9), Rec(7, 300)})});
    c.UpdatePartials();
    auto const& tracks = c.GetPartials();
    ASSERT_EQ(tracks.size(), 3u);
    EXPECT_EQ(tracks[0].occurrence, 0);
    EXPECT_EQ(tracks[1].occurrence, 1);
    EXPECT_EQ(tracks[1].GetPoint(0)->param.freq, 100.0f);  // not 200
    // The first opened track of the ident is the one continued.
    ASSERT_EQ(tracks[0].GetNbPoints(), 2u);
    EXPECT_EQ(tracks[0].GetPoint(1)->param.freq, 300.0f);
    EXPECT_TRUE(tracks[1].closed);
    EXPECT_EQ(tracks[2].id, 9);
}

TEST(FramesToPartials, AlignedFramesGiveOneTrackPerRun) {
    // Frames aligned as the reader appends them: carried records are not points.
    Container c;
    c.GetFrames().push_back(Frame(0.00, {Rec(1, 440), Rec(2, 880), Rec(3, 1320)}), true);
    c.GetFrames().push_back(Frame(0.01, {Rec(1, 441), Rec(3, 1321)}), true);
    c.GetFrames().push_back(Frame(0.02, {Rec(1, 442), Rec(3, 1322), Rec(4, 1760)}), true);
    c.UpdatePartials();
    auto const& tracks = c.GetPartials();
    ASSERT_EQ(tracks.size(), 4u);
    EXPECT_EQ(tracks[0].id, 1);
    EXPECT_EQ(tracks[0].GetNbPoints(), 3u);
    EXPECT_EQ(tracks[1].id, 2);
    EXPECT_EQ(tracks[1].GetNbPoints(), 1u);
    EXPECT_EQ(tracks[2].id, 3);
    EXPECT_EQ(tracks[2].GetNbPoints(), 3u);
    EXPECT_EQ(tracks[2].GetPoint(2)->param.freq, 1322.0f);
    EXPECT_EQ(tracks[3].id, 4);
}

TEST(FramesToPartials, ChordTracksFollowNonEmptyNotes) {
    Quorlin::PartialsContainer<ChordSet> c;
    ChordSet a(0.0, 0), b(1.0, 0), d(2.0, 0);
    a.params() = {C(4, 220, .5f, 0, ChordSet::eStart)};
    b.params() = {C(4, 0, 0, 0, ChordSet::eCont), C()};
    d.params() = {C(4, 0, 0, 0, ChordSet::eEnd)};
    c.GetFrames().push_back(a, false);
    c.GetFrames().push_back(b, false);
    c.GetFrames().push_back(d, false);
    c.UpdatePartials();
    ASSERT_EQ(c.GetPartials().size(), 1u);
    auto const& t = c.GetPartials()[0];
    EXPECT_EQ(t.GetNbPoints(), 3u);
    EXPECT_EQ(t.GetPoint(0)->param.freq, 220.0f);
    EXPECT_EQ(t.GetEndTime(), 2.0);
}

TEST(Kv2Partial, PointsComeFromTheFirstRecordOfItsIdent) {
    Kv2::Kv2Partial<PartialSet> t(7, 0);
    EXPECT_EQ(t.GetStartTime(), -1.0);
    EXPECT_EQ(t.GetEndTime(), -1.0);
    EXPECT_EQ(t.GetPoint(0), nullptr);
    t.AddFrame(Frame(1.0, {Rec(3), Rec(7, 50, PartialSet::eCarried), Rec(7, 60)}));
    t.AddFrame(Frame(2.0, {Rec(3)}));  // absent: nothing
    ASSERT_EQ(t.GetNbPoints(), 1u);
    EXPECT_EQ(t.GetPoint(0)->param.freq, 50.0f);
    EXPECT_EQ(t.GetPoint(1), nullptr);
    EXPECT_EQ(t.GetPoint(-1), nullptr);
    EXPECT_EQ(t.GetStartTime(), 1.0);
}

// ----------------------------------------------------------------- selection

TEST(PartialPointIndex, OnlyTheRightOccurrenceIsAWildcard) {
    PartialPointIndex stored{5, 1, 2}, any{5, -1, 2};
    EXPECT_TRUE(stored == any);
    EXPECT_FALSE(any == stored);
    EXPECT_FALSE((stored == PartialPointIndex{5, 1, 3}));
    EXPECT_FALSE((stored == PartialPointIndex{6, 1, 2}));
    EXPECT_FALSE((stored == PartialPointIndex{5, 0, 2}));
}

TEST(SelectPartialPoint, KeepsOneCopyAndMatchesWildcardOnTheGivenSide) {
    Container c;
    c.SelectPartialPoint({5, 1, 2}, true, false);
    c.SelectPartialPoint({5, 1, 2}, true, false);
    EXPECT_EQ(c.GetSelectedPoints().size(), 1u);
    c.SelectPartialPoint({5, -1, 2}, true, false);  // matches the stored one
    EXPECT_EQ(c.GetSelectedPoints().size(), 1u);
    c.SelectPartialPoint({5, 0, 2}, true, false);
    ASSERT_EQ(c.GetSelectedPoints().size(), 2u);
    // A stored wildcard does not match a given occurrence.
    c.SelectPartialPoint({6, -1, 0}, true, false);
    c.SelectPartialPoint({6, 3, 0}, true, false);
    EXPECT_EQ(c.GetSelectedPoints().size(), 4u);
    // Deselecting with a wildcard erases the first match only.
    c.SelectPartialPoint({5, -1, 2}, false, false);
    ASSERT_EQ(c.GetSelectedPoints().size(), 3u);
    EXPECT_EQ(c.GetSelectedPoints()[0].occurrence, 0);
    c.SelectPartialPoint({9, 9, 9}, false, false);  // nothing to erase
    EXPECT_EQ(c.GetSelectedPoints().size(), 3u);
    c.SelectPartialPoint({1, 0, 0}, true, true);
    ASSERT_EQ(c.GetSelectedPoints().size(), 1u);
    EXPECT_EQ(c.GetSelectedPoints()[0].id, 1);
}

TEST(SelectPartial, DeselectingDropsTheTrackAndItsPoints) {
    Container c;
    Kv2::Kv2Partial<PartialSet> t5(5, 1), t6(6, 0);
    c.SelectPartial(t5, true, false);
    c.SelectPartial(t5, true, false);
    c.SelectPartial(t6, true, false);
    EXPECT_EQ(c.GetSelectedPartials().size(), 3u);  // duplicates allowed
    c.SelectPartialPoint({5, 1, 0}, true, false);
    c.SelectPartialPoint({5, 0, 0}, true, false);
    c.SelectPartialPoint({6, 0, 4}, true, false);
    c.SelectPartial(t5, false, false);
    ASSERT_EQ(c.GetSelectedPartials().size(), 2u);
    EXPECT_TRUE(c.GetSelectedPartials()[0] == IdOf(t5));
    ASSERT_EQ(c.GetSelectedPoints().size(), 2u);
    EXPECT_EQ(c.GetSelectedPoints()[0].occurrence, 0);
    // A wildcard occurrence drops the points of every track of the ident.
    c.DeSelectAllPartialPoints(Kv2::PartialID{5, -1});
    ASSERT_EQ(c.GetSelectedPoints().size(), 1u);
    EXPECT_EQ(c.GetSelectedPoints()[0].id, 6);
    c.SelectPartial(t6, true, true);
    EXPECT_EQ(c.GetSelectedPartials().size(), 1u);
    EXPECT_TRUE(c.GetSelectedPoints().empty());
}

// --------------------------------------------------------- editing of tracks

Kv2::Kv2Partial<PartialSet> Track(int id, int occ, std::initializer_list<double> times) {
    Kv2::Kv2Partial<PartialSet> t(id, occ);
    int i = 0;
    for (double time : times) t.points.push_back({time, Rec(id, 100.0f + i++)});
    return t;
}

TEST(GetValidPoints, KeepsSelectedPointsAndRisingTimesAroundThem) {
    Container c;
    auto t = Track(5, 0, {0.0, 0.1, 0.2, 0.15, 0.3, 0.4});
    c.SelectPartialPoint({5, 0, 3}, true, false);
    c.SelectPartialPoint({5, 1, 4}, true, false);  // another track of the ident
    c.SelectPartialPoint({4, 0, 2}, true, false);
    std::vector<int> keep;
    c.GetValidPoints(t, keep);
    // 0.0 is not after the start; 0.2 is not before the selected 0.15.
    EXPECT_EQ(keep, (std::vector<int>{1, 3, 4, 5}));
    // Without a selection: strictly rising times above 0.
    Container none;
    keep.clear();
    none.GetValidPoints(Track(5, 0, {0.0, 0.1, 0.1, 0.2}), keep);
    EXPECT_EQ(keep, (std::vector<int>{1, 3}));
    // A track given with occurrence -1 takes the points of every occurrence.
    keep.clear();
    c.GetValidPoints(Track(5, -1, {0.0, 0.1, 0.2, 0.15, 0.3, 0.4}), keep);
    EXPECT_EQ(keep, (std::vector<int>{1, 3, 4, 5}));
    // A selected point beyond the track's end is ignored.
    c.SelectPartialPoint({5, 0, 17}, true, false);
    keep.clear();
    c.GetValidPoints(t, keep);
    EXPECT_EQ(keep, (std::vector<int>{1, 3, 4, 5}));
}

class CountingContainer : public Container {
   public:
    int calls = 0;
    void SelectPartialPoint(PartialPointIndex const& index, bool select, bool exclusive) override {
        ++calls;
        Container::SelectPartialPoint(index, select, exclusive);
    }
};

TEST(RemoveInvalidPoints, SelectionsFollowTheirPoints) {
    CountingContainer c;
    auto t = Track(5, 0, {0.0, 0.1, 0.2, 0.15, 0.3, 0.4});
    c.SelectPartialPoint({6, 0, 1}, true, false);
    c.SelectPartialPoint({5, 0, 5}, true, false);
    c.SelectPartialPoint({5, 0, 3}, true, false);
    c.calls = 0;
    c.RemoveInvalidPoints(t, {1, 3, 4, 5});
    ASSERT_EQ(t.GetNbPoints(), 4u);
    EXPECT_EQ(t.GetPoint(1)->time, 0.15);
    EXPECT_EQ(t.GetPoint(3)->param.freq, 105.0f);
    EXPECT_EQ(c.calls, 2);  // through the virtual
    auto const& sel = c.GetSelectedPoints();
    ASSERT_EQ(sel.size(), 3u);
    EXPECT_EQ(sel[0].id, 6);
    EXPECT_EQ(sel[1].point, 1);  // was 3, comes first in keep order
    EXPECT_EQ(sel[2].point, 3);  // was 5
}

P Param(int id, float f, float amp, float phase) {
    return P(id, f, amp, phase, 0.0f, PartialSet::ePartial);
}

TEST(CorrectPartialData, RewritesEditedTrackFromOriginalWithContinuousPhase) {
    Container c;
    // The original: 440 Hz over 10 ms steps, phases advancing 4.4 turns.
    const float ph1 = static_cast<float>(std::remainder(kTwoPi * 4.4, kTwoPi));
    const float ph2 = static_cast<float>(std::remainder(kTwoPi * 8.8, kTwoPi));
    Kv2::Kv2Partial<PartialSet> a(5, 0), b(5, 0);
    a.points = {{1.00, Param(5, 440, .1f, 0.0f)},
                {1.01, Param(5, 440, .2f, ph1)},
                {1.02, Param(5, 440, .3f, ph2)}};
    // The edit: an octave up, other amplitudes, a new start phase.
    b.points = {{1.00, Param(5, 880, .9f, 0.5f)},
                {1.01, Param(5, 880, .9f, 0.0f)},
                {1.02, Param(5, 880, .9f, 0.0f)}};
    c.CorrectPartialData(a, b);
    ASSERT_EQ(a.GetNbPoints(), 3u);
    ASSERT_EQ(b.GetNbPoints(), 3u);
    EXPECT_EQ(b.points[0].param.phase, 0.5f);  // the first point is the reference
    EXPECT_EQ(b.points[1].param.freq, 880.0f);
    EXPECT_EQ(b.points[1].param.amp, .2f);
    EXPECT_EQ(b.points[2].param.amp, .3f);
    // Each step advances the doubled phase: 8.8 turns.
    const double b1 = std::remainder(0.5 + kTwoPi * 8.8, kTwoPi);
    EXPECT_NEAR(b.points[1].param.phase, b1, 2e-4);
    EXPECT_NEAR(b.points[2].param.phase, std::remainder(b1 + kTwoPi * 8.8, kTwoPi), 4e-4);
}

TEST(CorrectPartialData, TrackTrimmedToADifferentCountLeavesEditUnchanged) {
    Container c;
    Kv2::Kv2Partial<PartialSet> a(5, 0), b(5, 0);
    a.points = {{1.00, Param(5, 440, .1f, 0)},
                {1.01, Param(5, 440, .1f, 1)},
                {1.02, Param(5, 440, .1f, 2)}};
    // The edit moved its last point before the second.
    b.points = {{1.00, Param(5, 880, .9f, 0)},
                {1.01, Param(5, 880, .9f, 0)},
                {1.005, Param(5, 880, .9f, 0)}};
    c.CorrectPartialData(a, b);
    ASSERT_EQ(a.GetNbPoints(), 2u);
    EXPECT_EQ(a.points[1].time, 1.01);
    ASSERT_EQ(b.GetNbPoints(), 3u);
    EXPECT_EQ(b.points[1].param.amp, .9f);
    EXPECT_EQ(b.points[2].param.freq, 880.0f);
}

TEST(CorrectPartialData, ChordTracksAreLeftAlone) {
    Quorlin::PartialsContainer<ChordSet> c;
    Kv2::Kv2Partial<ChordSet> a(5, 0), b(5, 0);
    a.points = {{0.0, C(5, 1, 1, 0, ChordSet::eStart)}, {1.0, C(5, 1, 1, 0, ChordSet::eCont)}};
    b.points = {{2.0, C(5, 2, 2, 0, ChordSet::eStart)}};
    c.CorrectPartialData(a, b);
    EXPECT_EQ(a.GetNbPoints(), 2u);
    EXPECT_EQ(b.points[0].param.freq, 2.0f);
}

}  // namespace
