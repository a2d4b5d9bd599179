// Tracks built from frames, selections of tracks and points, and the
// correction of edited tracks.
#include "PartialsContainer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "Kv2TestUtil.h"

namespace {

using Kv2::ChordSet;
using Kv2::PartialSet;
using Quorlin::PartialPointIndex;
using P = PartialSet::PartialParam;
using C = ChordSet::PartialParam;
using Container = Quorlin::PartialsContainer<PartialSet>;

using kv2test::Frame;
using kv2test::kTwoPi;
using kv2test::Rec;

P Rec(int id, float f = 100.0f, PartialSet::PartialState st = PartialSet::ePartial) {
    return P(id, f, 0.1f, 0.0f, 0.0f, st);
}

void Fill(Container& c, std::initializer_list<PartialSet> frames) {
    for (PartialSet const& f : frames) c.GetFrames().push_back(f, false);
}

// Every track, in order of creation, as "id/occurrence time:frequency ...
// open|closed".
template <class T>
std::vector<std::string> Tracks(Quorlin::PartialsContainer<T> const& c) {
    std::vector<std::string> out;
    for (std::size_t k = 0; k < c.GetPartials().size(); ++k) {
        auto const& t = c.GetPartials()[k];
        std::ostringstream o;
        o << t.id << "/" << t.occurrence;
        for (auto const& p : t.points) o << " " << p.time << ":" << p.param.freq;
        o << (t.closed ? " closed" : " open");
        out.push_back(o.str());
    }
    return out;
}
using Lines = std::vector<std::string>;

// ------------------------------------------------------------- track building

TEST(FramesToPartials, IdentReturningAfterAGapStartsTheNextOccurrence) {
    Container c;
    Fill(c, {Frame(0, {Rec(5)}), Frame(1, {Rec(5)}), Frame(2, {Rec(5), Rec(8)}), Frame(3, {Rec(8)}),
             Frame(4, {}), Frame(5, {Rec(5)}), Frame(6, {Rec(5)})});
    c.UpdatePartials();
    EXPECT_EQ(Tracks(c), (Lines{"5/0 0:100 1:100 2:100 closed", "8/0 2:100 3:100 closed",
                                "5/1 5:100 6:100 open"}));
    auto const& tracks = c.GetPartials();
    EXPECT_EQ(tracks[1].GetStartTime(), 2.0);
    EXPECT_EQ(tracks[1].GetEndTime(), 3.0);
    EXPECT_EQ(tracks.CountByID(5), 2);
    EXPECT_EQ(tracks.CountByID(8), 1);
    EXPECT_EQ(tracks.CountByID(9), 0);
    EXPECT_EQ(tracks.OpenTracks(), (std::vector<unsigned>{2}));
}

TEST(FramesToPartials, InvalidRecordNeitherOpensNorContinues) {
    Container c;
    Fill(c, {Frame(0, {Rec(5)}),
             Frame(1, {Rec(5, 1, PartialSet::eFree), Rec(6, 1, PartialSet::eCarried)}),
             Frame(2, {Rec(5), Rec(6, 1, PartialSet::ePeak)})});
    c.UpdatePartials();
    // A peak is valid.
    EXPECT_EQ(Tracks(c), (Lines{"5/0 0:100 closed", "5/1 2:100 open", "6/0 2:1 open"}));
}

// Track 1 was open at the last frame and the first frame holds it again;
// track 3 was open but is absent from the first frame.
TEST(FramesToPartials, SecondPassContinuesOpenTracksAndDuplicatesOthers) {
    Container c;
    Fill(c, {Frame(0, {Rec(1), Rec(2)}), Frame(1, {Rec(1)}), Frame(2, {Rec(1), Rec(3)})});
    c.UpdatePartials();
    EXPECT_EQ(Tracks(c),
              (Lines{"1/0 0:100 1:100 2:100 open", "2/0 0:100 closed", "3/0 2:100 open"}));
    c.UpdatePartials();
    EXPECT_EQ(Tracks(c), (Lines{"1/0 0:100 1:100 2:100 0:100 1:100 2:100 open", "2/0 0:100 closed",
                                "3/0 2:100 closed", "2/1 0:100 closed", "3/1 2:100 open"}));
}

// The second record of an ident opens a track whose point copies the first
// record; the first opened track of the ident is the one continued.
TEST(FramesToPartials, SameIdentTwiceInAFrameOpensATrackCopyingTheFirstRecord) {
    Container c;
    Fill(c, {Frame(0, {Rec(7, 100), Rec(7, 200)}), Frame(1, {Rec(9), Rec(7, 300)})});
    c.UpdatePartials();
    EXPECT_EQ(Tracks(c), (Lines{"7/0 0:100 1:300 open", "7/1 0:100 closed", "9/0 1:100 open"}));
}

TEST(FramesToPartials, ChordTracksFollowNonEmptyNotes) {
    Quorlin::PartialsContainer<ChordSet> c;
    ChordSet a(0.0, 0), b(1.0, 0), d(2.0, 0);
    a.params() = {C(4, 220, .5f, 0, ChordSet::eStart)};
    b.params() = {C(4, 0, 0, 0, ChordSet::eCont), C()};
    d.params() = {C(4, 0, 0, 0, ChordSet::eEnd)};
    for (ChordSet const* f : {&a, &b, &d}) c.GetFrames().push_back(*f, false);
    c.UpdatePartials();
    EXPECT_EQ(Tracks(c), (Lines{"4/0 0:220 1:0 2:0 open"}));
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

// The selected points as "id/occurrence/point ...", the selected tracks as
// "id/occurrence ...".
std::string Selected(Container const& c) {
    std::ostringstream o;
    for (auto const& p : c.GetSelectedPoints())
        o << " " << p.id << "/" << p.occurrence << "/" << p.point;
    o << " |";
    for (Kv2::PartialID const& t : c.GetSelectedPartials()) o << " " << t.id << "/" << t.occurrence;
    return o.str();
}

TEST(SelectPartialPoint, KeepsOneCopyAndMatchesWildcardOnTheGivenSide) {
    Container c;
    c.SelectPartialPoint({5, 1, 2}, true, false);
    c.SelectPartialPoint({5, 1, 2}, true, false);
    c.SelectPartialPoint({5, -1, 2}, true, false);  // matches the stored one
    c.SelectPartialPoint({5, 0, 2}, true, false);
    // A stored wildcard does not match a given occurrence.
    c.SelectPartialPoint({6, -1, 0}, true, false);
    c.SelectPartialPoint({6, 3, 0}, true, false);
    EXPECT_EQ(Selected(c), " 5/1/2 5/0/2 6/-1/0 6/3/0 |");
    // Deselecting with a wildcard erases the first match only.
    c.SelectPartialPoint({5, -1, 2}, false, false);
    c.SelectPartialPoint({9, 9, 9}, false, false);  // nothing to erase
    EXPECT_EQ(Selected(c), " 5/0/2 6/-1/0 6/3/0 |");
    c.SelectPartialPoint({1, 0, 0}, true, true);
    EXPECT_EQ(Selected(c), " 1/0/0 |");
}

TEST(SelectPartial, DeselectingDropsTheTrackAndItsPoints) {
    Container c;
    Kv2::Kv2Partial<PartialSet> t5(5, 1), t6(6, 0);
    c.SelectPartial(t5, true, false);
    c.SelectPartial(t5, true, false);  // duplicates allowed
    c.SelectPartial(t6, true, false);
    c.SelectPartialPoint({5, 1, 0}, true, false);
    c.SelectPartialPoint({5, 0, 0}, true, false);
    c.SelectPartialPoint({6, 0, 4}, true, false);
    c.SelectPartial(t5, false, false);
    EXPECT_EQ(Selected(c), " 5/0/0 6/0/4 | 5/1 6/0");
    // A wildcard occurrence drops the points of every track of the ident.
    c.DeSelectAllPartialPoints(Kv2::PartialID{5, -1});
    EXPECT_EQ(Selected(c), " 6/0/4 | 5/1 6/0");
    c.SelectPartial(t6, true, true);
    EXPECT_EQ(Selected(c), " | 6/0");
}

// --------------------------------------------------------- editing of tracks

Kv2::Kv2Partial<PartialSet> Track(int id, int occ, std::initializer_list<double> times) {
    Kv2::Kv2Partial<PartialSet> t(id, occ);
    int i = 0;
    for (double time : times) t.points.push_back({time, Rec(id, 100.0f + i++)});
    return t;
}

TEST(GetValidPoints, KeepsSelectedPointsAndRisingTimesAroundThem) {
    auto valid = [](Container const& c, Kv2::Kv2Partial<PartialSet> const& t) {
        std::vector<int> keep;
        c.GetValidPoints(t, keep);
        return keep;
    };
    using Keep = std::vector<int>;
    Container c;
    auto t = Track(5, 0, {0.0, 0.1, 0.2, 0.15, 0.3, 0.4});
    c.SelectPartialPoint({5, 0, 3}, true, false);
    c.SelectPartialPoint({5, 1, 4}, true, false);  // another track of the ident
    c.SelectPartialPoint({4, 0, 2}, true, false);
    // 0.0 is not after the start; 0.2 is not before the selected 0.15.
    EXPECT_EQ(valid(c, t), (Keep{1, 3, 4, 5}));
    // Without a selection: strictly rising times above 0.
    EXPECT_EQ(valid(Container(), Track(5, 0, {0.0, 0.1, 0.1, 0.2})), (Keep{1, 3}));
    // A track given with occurrence -1 takes the points of every occurrence.
    EXPECT_EQ(valid(c, Track(5, -1, {0.0, 0.1, 0.2, 0.15, 0.3, 0.4})), (Keep{1, 3, 4, 5}));
    // A selected point beyond the track's end is ignored.
    c.SelectPartialPoint({5, 0, 17}, true, false);
    EXPECT_EQ(valid(c, t), (Keep{1, 3, 4, 5}));
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
    // 5/0/3 became point 1 and comes first in keep order; 5/0/5 became 3.
    EXPECT_EQ(Selected(c), " 6/0/1 5/0/1 5/0/3 |");
}

TEST(CorrectPartialData, RewritesEditedTrackFromOriginalWithContinuousPhase) {
    Container c;
    // The original: 440 Hz over 10 ms steps, phases advancing 4.4 turns.
    const float ph1 = static_cast<float>(std::remainder(kTwoPi * 4.4, kTwoPi));
    const float ph2 = static_cast<float>(std::remainder(kTwoPi * 8.8, kTwoPi));
    Kv2::Kv2Partial<PartialSet> a(5, 0), b(5, 0);
    a.points = {{1.00, Rec(5, 440, .1f, 0.0f)},
                {1.01, Rec(5, 440, .2f, ph1)},
                {1.02, Rec(5, 440, .3f, ph2)}};
    // The edit: an octave up, other amplitudes, a new start phase.
    b.points = {{1.00, Rec(5, 880, .9f, 0.5f)},
                {1.01, Rec(5, 880, .9f, 0.0f)},
                {1.02, Rec(5, 880, .9f, 0.0f)}};
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
    a.points = {
        {1.00, Rec(5, 440, .1f, 0)}, {1.01, Rec(5, 440, .1f, 1)}, {1.02, Rec(5, 440, .1f, 2)}};
    // The edit moved its last point before the second.
    b.points = {
        {1.00, Rec(5, 880, .9f, 0)}, {1.01, Rec(5, 880, .9f, 0)}, {1.005, Rec(5, 880, .9f, 0)}};
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
