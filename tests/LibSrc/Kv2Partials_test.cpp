// Frame sets: records, counts, placement, interpolation and alignment.
#include "Kv2Partials.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <random>
#include <vector>

#include "Kv2FrameSet.h"
#include "Kv2Synt.h"

namespace {

using Kv2::ChordSet;
using Kv2::PartialSet;
using P = PartialSet::PartialParam;
using C = ChordSet::PartialParam;

constexpr double kTwoPi = 6.283185307179586;

P Rec(int id, float f, float a, float ph, PartialSet::PartialState st = PartialSet::ePartial) {
    return P(id, f, a, ph, 0.0f, st);
}

P Carried(int id, float f, float a, float ph, double time) {
    P p = Rec(id, f, a, ph, PartialSet::eCarried);
    p.time = time;
    return p;
}

PartialSet Frame(double t, std::initializer_list<P> recs) {
    PartialSet s(t, 0);
    for (P const& p : recs) s.params().push_back(p);
    return s;
}

ChordSet Chord(double t, std::initializer_list<C> recs) {
    ChordSet s(t, 0);
    for (C const& p : recs) s.params().push_back(p);
    return s;
}

void ExpectRec(P const& p, int id, float f, float a, float ph, int state) {
    EXPECT_EQ(p.id, id);
    EXPECT_FLOAT_EQ(p.freq, f);
    EXPECT_FLOAT_EQ(p.amp, a);
    EXPECT_FLOAT_EQ(p.phase, ph);
    EXPECT_EQ(p.state, state);
}

// ------------------------------------------------------------------ records

TEST(PartialParam, ConstructorDropsFifthArgumentAndRaisesMaxIdent) {
    Kv2::StaticIdent::maxIdent = 10;
    P p(-25, 440.0f, 0.5f, 1.0f, 99.0f, PartialSet::eLast);
    EXPECT_EQ(p.id, -25);
    EXPECT_EQ(p.time, 0.0);
    EXPECT_EQ(p.state, PartialSet::eLast);
    EXPECT_EQ(Kv2::StaticIdent::maxIdent, 25);
    P q(3, 1.0f, 1.0f, 1.0f, 0.0f, PartialSet::ePeak);
    EXPECT_EQ(Kv2::StaticIdent::maxIdent, 25);  // never lowered
    C c(-40, 1.0f, 1.0f, 1.0f, ChordSet::eStart);
    EXPECT_EQ(Kv2::StaticIdent::maxIdent, 40);
}

TEST(PartialParam, ValidityIsPeakOrPartial) {
    EXPECT_FALSE(P().IsValid());
    EXPECT_TRUE(Rec(1, 1, 1, 0, PartialSet::ePeak).IsValid());
    EXPECT_TRUE(Rec(1, 1, 1, 0, PartialSet::ePartial).IsValid());
    EXPECT_TRUE(Rec(1, 1, 1, 0, PartialSet::eLast).IsValid());
    EXPECT_FALSE(Rec(1, 1, 1, 0, PartialSet::eCarried).IsValid());
}

TEST(PartialSetAddToSet, ExplicitIndexGrowsWithZeroRecords) {
    PartialSet s(0.0, 4);
    EXPECT_EQ(s.addToSet(Rec(7, 100, 1, 0), 5), 5);
    ASSERT_EQ(s.size(), 6);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(s[i].id, 0);
        EXPECT_EQ(s[i].state, PartialSet::eFree);
        EXPECT_EQ(s[i].freq, 0.0f);
    }
    EXPECT_EQ(s[5].id, 7);
    // Storing a record of the set into a slot beyond its end survives the growth.
    EXPECT_EQ(s.addToSet(s[5], 40), 40);
    EXPECT_EQ(s[40].id, 7);
    EXPECT_EQ(s[40].freq, 100.0f);
}

TEST(PartialSetAddToSet, NegativeIndexTakesFirstFreeSlotElseAppends) {
    PartialSet s = Frame(0.0, {Rec(1, 1, 1, 0), Rec(2, 1, 1, 0), P(), Rec(4, 1, 1, 0)});
    EXPECT_EQ(s.addToSet(Rec(9, 1, 1, 0), -1), 2);
    EXPECT_EQ(s[2].id, 9);
    EXPECT_EQ(s.addToSet(Rec(10, 1, 1, 0), -1), 4);
    EXPECT_EQ(s.size(), 5);
    ChordSet c = Chord(0.0, {C(3, 1, 1, 0, ChordSet::eStart), C()});
    EXPECT_EQ(c.addToSet(C(8, 1, 1, 0, ChordSet::eEnd), -1), 1);
    EXPECT_EQ(c.addToSet(C(9, 1, 1, 0, ChordSet::eEnd), 3), 3);
    EXPECT_EQ(c.size(), 4);
}

TEST(PartialSetCounts, TestsAndCountsFollowTheStates) {
    PartialSet s =
        Frame(0.0, {Rec(1, 100, 1, 0, PartialSet::ePeak), Rec(2, 200, 1, 0),
                    Rec(3, 300, 1, 0, PartialSet::eLast), Carried(4, 0, 1, 0, 0.0), P()});
    EXPECT_TRUE(s.IsPeak(0));
    EXPECT_FALSE(s.IsPeak(1));
    EXPECT_TRUE(s.IsPartial(1, true));
    EXPECT_FALSE(s.IsPartial(2, true));
    EXPECT_TRUE(s.IsPartial(2, false));
    EXPECT_FALSE(s.IsPartial(3, false));
    EXPECT_FALSE(s.IsPartial(99, false));
    EXPECT_FALSE(s.IsPartial(-1, false));
    EXPECT_EQ(s.numPartials(true), 1);
    EXPECT_EQ(s.numPartials(false), 2);
    EXPECT_EQ(s.numPeaks(), 1);
    EXPECT_TRUE(s.PartialIsPresent(2, 3, false));
    EXPECT_FALSE(s.PartialIsPresent(2, 3, true));
    EXPECT_FALSE(s.PartialIsPresent(1, 3, false));
    EXPECT_FALSE(s.PartialIsPresent(5, 0, false));
    EXPECT_EQ(s.PartialIndex(4), 3);
    EXPECT_EQ(s.PartialIndex(0), 4);
    EXPECT_EQ(s.PartialIndex(42), -1);
    EXPECT_EQ(s.size(), 5);
    EXPECT_FALSE(s.empty());
    s.clear();
    EXPECT_EQ(s.size(), 0);
    EXPECT_TRUE(s.empty());
}

TEST(ChordSetCounts, TestsAndCountsFollowTheStates) {
    ChordSet c = Chord(0.0, {C(1, 1, 1, 0, ChordSet::eStart), C(2, 1, 1, 0, ChordSet::eCont),
                             C(3, 1, 1, 0, ChordSet::eEnd), C(), C(5, 1, 1, 0, ChordSet::eStart)});
    EXPECT_TRUE(c.IsValid(0));
    EXPECT_FALSE(c.IsValid(3));
    EXPECT_FALSE(c.IsPartial(7));
    EXPECT_EQ(c.numPartials(), 4);
    EXPECT_EQ(c.numStart(), 2);
    EXPECT_EQ(c.numEnd(), 1);
    EXPECT_TRUE(c.PartialIsPresent(2, 3));
    EXPECT_FALSE(c.PartialIsPresent(3, 0));
    EXPECT_FALSE(c.PartialIsPresent(9, 5));
    EXPECT_EQ(c.PartialIndex(5), 4);
    std::unique_ptr<Kv2::Kv2Frame> copy = c.clone();
    ASSERT_EQ(copy->size(), 5);
    EXPECT_EQ(static_cast<ChordSet&>(*copy)[4].id, 5);
}

TEST(PartialSetGetAll, TakesRecordsWithPositiveIdsUpToMax) {
    PartialSet s = Frame(0.0, {Rec(1, 100, .1f, .5f), Rec(0, 200, .2f, .6f), Rec(-3, 300, .3f, .7f),
                               Carried(4, 0, .4f, .8f, 0.0), Rec(5, 500, .5f, .9f)});
    float out[8] = {};
    ASSERT_EQ(s.getAllFreq(out, 8), 3);
    EXPECT_EQ(out[0], 100.0f);
    EXPECT_EQ(out[1], 0.0f);  // a carried record has a positive id
    EXPECT_EQ(out[2], 500.0f);
    ASSERT_EQ(s.getAllAmpl(out, 2), 2);
    EXPECT_EQ(out[1], .4f);
    ASSERT_EQ(s.getAllPhase(out, 8), 3);
    EXPECT_EQ(out[2], .9f);
    EXPECT_EQ(s.getAllFreq(out, 0), 0);
}

TEST(PartialSetGetFundamental, KeepsIndexZeroWhenFirstPartialIsLowest) {
    PartialSet s =
        Frame(0.0, {Rec(1, 300, 1, 0, PartialSet::eFree), Rec(2, 200, 1, 0), Rec(3, 250, 1, 0)});
    EXPECT_EQ(s.getFundamental(), 0);
    PartialSet t = Frame(0.0, {Rec(1, 100, 1, 0, PartialSet::ePeak), Rec(2, 300, 1, 0),
                               Rec(3, 200, 1, 0, PartialSet::eLast), Rec(4, 200, 1, 0)});
    EXPECT_EQ(t.getFundamental(), 2);  // the earliest of equal frequencies wins
    EXPECT_EQ(Frame(0.0, {Rec(1, 1, 1, 0, PartialSet::ePeak)}).getFundamental(), -1);
}

TEST(PartialSetAssign, ChordNotesBecomePartialsAtTheirIndices) {
    ChordSet c =
        Chord(2.5, {C(4, 110, .3f, 1, ChordSet::eEnd), C(), C(6, 220, .2f, 2, ChordSet::eStart)});
    PartialSet s = Frame(9.0, {Rec(1, 1, 1, 1), Rec(2, 1, 1, 1), Rec(3, 1, 1, 1), Rec(4, 1, 1, 1)});
    s.setTimeSpan(0.5);
    s = c;
    EXPECT_EQ(s.time, 2.5);
    EXPECT_EQ(s.timeSpan(), 0.0);
    ASSERT_EQ(s.size(), 3);
    ExpectRec(s[0], 4, 110, .3f, 1, PartialSet::ePartial);
    ExpectRec(s[1], 0, 0, 0, 0, PartialSet::eFree);
    ExpectRec(s[2], 6, 220, .2f, 2, PartialSet::ePartial);
    s = ChordSet(1.0, 0);
    EXPECT_EQ(s.size(), 0);
}

// ------------------------------------------------------------ interpolation

TEST(PartialSetInterpolateRecord, SteadyPartialKeepsFrequencyAndAdvancesPhase) {
    const double T = 0.01;
    const float ph0 = 0.3f;
    const float ph1 = static_cast<float>(std::remainder(ph0 + kTwoPi * 440.0 * T, kTwoPi));
    P l = Rec(1, 440, .2f, ph0);
    P r = Rec(1, 440, .6f, ph1);
    P out;
    ASSERT_TRUE(PartialSet::interpolate(l, r, 0.004, T, 0.4f, 77, out));
    EXPECT_EQ(out.id, 77);
    EXPECT_NEAR(out.freq, 440.0, 0.01);
    EXPECT_FLOAT_EQ(out.amp, 0.6f * .2f + 0.4f * .6f);
    EXPECT_NEAR(out.phase, std::remainder(ph0 + kTwoPi * 440.0 * 0.004, kTwoPi), 1e-3);
    EXPECT_LE(std::fabs(out.phase), 3.1416f);
    EXPECT_EQ(out.state, PartialSet::ePartial);
}

TEST(PartialSetInterpolateRecord, EndsOfTheGapMeetBothRecords) {
    const double T = 0.02;
    P l = Rec(1, 200, 1, 1.0f);
    P r = Rec(1, 260, 1, -2.0f, PartialSet::eLast);
    P out;
    PartialSet::interpolate(l, r, 0.0, T, 0.0f, 1, out);
    EXPECT_NEAR(out.freq, 200.0, 0.01);
    EXPECT_NEAR(out.phase, 1.0, 1e-4);
    EXPECT_EQ(out.state, PartialSet::eLast);  // either side being last makes it last
    PartialSet::interpolate(l, r, T, T, 1.0f, 1, out);
    EXPECT_NEAR(out.freq, 260.0, 0.05);
    EXPECT_NEAR(out.phase, -2.0, 1e-3);
    EXPECT_FLOAT_EQ(out.amp, 1.0f);
}

TEST(ChordSetInterpolateRecord, HoldsValuesAndRunsPhaseOn) {
    C l(5, 100, .5f, 0.25f, ChordSet::eStart);
    C out;
    ASSERT_TRUE(ChordSet::interpolate(l, C(), 0.0123, 1.0, 0.5f, 9, out));
    EXPECT_EQ(out.id, 9);
    EXPECT_EQ(out.freq, 100.0f);
    EXPECT_EQ(out.amp, .5f);
    EXPECT_NEAR(out.phase, std::remainder(0.25 + 100 * 0.0123 * kTwoPi, kTwoPi), 1e-5);
    EXPECT_EQ(out.state, ChordSet::eCont);
}

TEST(ChordSetInterpolateRecord, ContinuingAnEndedNoteComplains) {
    C l(5, 100, .5f, 0.25f, ChordSet::eEnd);
    C out;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ChordSet::interpolate(l, l, 0.01, 1.0, 0.5f, 5, out));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ChordSet::interpolate sets a cont after end \n");
    EXPECT_EQ(out.state, ChordSet::eCont);  // written all the same
}

TEST(PartialSetInterpolateFrame, OutsideTheGapCopiesTheNearerFrame) {
    PartialSet l = Frame(1.0, {Rec(1, 100, 1, 0)});
    PartialSet r = Frame(2.0, {Rec(2, 200, 1, 0), Rec(3, 300, 1, 0)});
    PartialSet f(0.5, 0);
    ASSERT_TRUE(f.interpolate(l, r));
    EXPECT_EQ(f.time, 1.0);
    EXPECT_EQ(f.size(), 1);
    f.time = 1.0;
    ASSERT_TRUE(f.interpolate(l, r));
    EXPECT_EQ(f.size(), 1);
    f.time = 2.0;
    ASSERT_TRUE(f.interpolate(l, r));
    EXPECT_EQ(f.time, 2.0);
    EXPECT_EQ(f.size(), 2);
    f.time = 7.0;
    ASSERT_TRUE(f.interpolate(l, r));
    EXPECT_EQ(f.time, 2.0);
    // Two frames at one time: the right one is copied, time included.
    PartialSet r2 = Frame(1.0, {Rec(2, 200, 1, 0), Rec(3, 300, 1, 0)});
    PartialSet g(1.5, 0);
    ASSERT_TRUE(g.interpolate(l, r2));
    EXPECT_EQ(g.time, 1.0);
    EXPECT_EQ(g.size(), 2);
}

TEST(PartialSetInterpolateFrame, InsideTheGapOnlyPartialsAtTheSameIndex) {
    PartialSet l = Frame(1.0, {Rec(1, 100, .1f, 0), Rec(2, 200, .2f, 0), Rec(3, 300, .3f, 0),
                               Rec(4, 400, .4f, 0, PartialSet::ePeak)});
    PartialSet r = Frame(
        1.1, {Rec(1, 100, .3f, 0), Rec(9, 200, .2f, 0), Rec(3, 300, .3f, 0, PartialSet::eCarried)});
    PartialSet f(1.05, 0);
    ASSERT_TRUE(f.interpolate(l, r));
    EXPECT_EQ(f.time, 1.05);
    ASSERT_EQ(f.size(), 3);
    EXPECT_EQ(f[0].id, 1);
    EXPECT_NEAR(f[0].amp, 0.2f, 1e-6);
    EXPECT_EQ(f[0].state, PartialSet::ePartial);
    EXPECT_EQ(f[1].state, PartialSet::eFree);  // ident differs on the right
    EXPECT_EQ(f[2].state, PartialSet::eFree);  // not a partial on the right
}

TEST(PartialSetInterpolateFrame, RefusesFramesOfAnotherType) {
    PartialSet f = Frame(1.5, {Rec(1, 100, 1, 0)});
    ChordSet c(1.0, 0);
    PartialSet r(2.0, 0);
    EXPECT_FALSE(f.interpolate(c, r));
    EXPECT_EQ(f.size(), 1);
    EXPECT_EQ(f.time, 1.5);
    ChordSet g(1.5, 0);
    EXPECT_FALSE(g.interpolate(f, r));
}

TEST(ChordSetInterpolateFrame, ExtendsSoundingNotesOnBothSides) {
    ChordSet l =
        Chord(1.0, {C(1, 100, .1f, 0, ChordSet::eStart), C(2, 200, .2f, 0, ChordSet::eCont),
                    C(3, 300, .3f, 0, ChordSet::eEnd)});
    ChordSet r =
        Chord(2.0, {C(1, 100, .1f, 0, ChordSet::eCont), C(7, 200, .2f, 0, ChordSet::eCont),
                    C(3, 300, .3f, 0, ChordSet::eStart), C(4, 400, .4f, 0, ChordSet::eEnd)});
    testing::internal::CaptureStderr();
    // Before the left frame: starts are not carried back.
    ChordSet f(0.5, 0);
    ASSERT_TRUE(f.interpolate(l, r));
    ASSERT_EQ(f.size(), 3);
    EXPECT_EQ(f[0].state, ChordSet::eEmpty);
    EXPECT_EQ(f[1].id, 2);
    EXPECT_NEAR(f[1].phase, std::remainder(200 * -0.5 * kTwoPi, kTwoPi), 1e-4);
    EXPECT_EQ(f[2].state, ChordSet::eCont);  // the end is carried, with a complaint
    // Inside: the notes at the same index with the same ident.
    f.time = 1.25;
    ASSERT_TRUE(f.interpolate(l, r));
    ASSERT_EQ(f.size(), 3);
    EXPECT_EQ(f[0].state, ChordSet::eCont);
    EXPECT_NEAR(f[0].phase, std::remainder(100 * 0.25 * kTwoPi, kTwoPi), 1e-4);
    EXPECT_EQ(f[1].state, ChordSet::eEmpty);
    EXPECT_EQ(f[2].state, ChordSet::eCont);
    // After the right frame: ends are not carried on.
    f.time = 2.5;
    ASSERT_TRUE(f.interpolate(l, r));
    ASSERT_EQ(f.size(), 4);
    EXPECT_EQ(f[1].id, 7);
    EXPECT_EQ(f[2].id, 3);
    EXPECT_EQ(f[3].state, ChordSet::eEmpty);
    // At either frame's time, a copy.
    f.time = 2.0;
    ASSERT_TRUE(f.interpolate(l, r));
    EXPECT_EQ(f.size(), 4);
    EXPECT_EQ(f[3].state, ChordSet::eEnd);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("ChordSet::interpolate sets a cont after end \n"), std::string::npos);
}

// ---------------------------------------------------------------- alignment

TEST(PartialSetSyncToLeft, AbsentPartialIsCarriedAndOccupantMoved) {
    PartialSet l = Frame(0.0, {Rec(7, 300, .5f, 1.0f)});
    PartialSet r = Frame(0.01, {Rec(9, 400, .25f, 2.0f)});
    ASSERT_TRUE(r.syncToLeft(l));
    ASSERT_EQ(r.size(), 2);
    ExpectRec(r[0], 7, 0, .25f, 2.0f, PartialSet::eCarried);  // amplitude and phase stay
    EXPECT_EQ(r[0].time, 0.01);
    ExpectRec(r[1], 9, 400, .25f, 2.0f, PartialSet::ePartial);
}

TEST(PartialSetSyncToLeft, SwapsPartialsToTheLeftIndices) {
    PartialSet l =
        Frame(0.0, {Rec(1, 1, 1, 0), Rec(2, 2, 1, 0), Rec(3, 3, 1, 0, PartialSet::ePeak)});
    PartialSet r =
        Frame(0.1, {Rec(3, 30, 1, 0), Rec(1, 10, 1, 0), Rec(2, 20, 1, 0), Rec(4, 40, 1, 0)});
    ASSERT_TRUE(r.syncToLeft(l));
    ASSERT_EQ(r.size(), 4);
    EXPECT_EQ(r[0].id, 1);
    EXPECT_EQ(r[1].id, 2);
    EXPECT_EQ(r[2].id, 3);
    EXPECT_EQ(r[3].id, 4);  // beyond the left frame: untouched
    EXPECT_EQ(r[0].freq, 10.0f);
}

TEST(PartialSetSyncToLeft, CarriedLeftRecordsCountOnlyWhenNotBeforeThisFrame) {
    PartialSet l = Frame(
        1.0, {Carried(11, 0, .1f, 0, 0.5), Carried(12, 0, .2f, 0, 3.0), Rec(13, 130, .3f, 0)});
    l.setTimeSpan(0.25);
    PartialSet r = Frame(2.0, {});
    Kv2::StaticIdent::maxIdent = 0;  // carrying raises it again
    ASSERT_TRUE(r.syncToLeft(l));
    ASSERT_EQ(r.size(), 3);
    EXPECT_EQ(r[0].id, 0);  // dated before this frame: dropped
    EXPECT_EQ(r[1].id, 12);
    EXPECT_EQ(r[1].time, 3.0);  // keeps its own date
    EXPECT_EQ(r[1].state, PartialSet::eCarried);
    EXPECT_EQ(r[2].id, 13);
    EXPECT_EQ(r[2].time, 2.25);  // this frame's time plus the left span
    EXPECT_EQ(r[2].freq, 0.0f);
    EXPECT_EQ(Kv2::StaticIdent::maxIdent, 13);
}

TEST(PartialSetSyncToLeft, FreeSlotTestReadsTheTimeOfTheRecordBeingPlaced) {
    // left[1] is a carried record that counts (dated after this frame), but the
    // search for a place for the occupant of slot 0 judges it by left[0]'s date
    // and takes slot 1; the later swap then leaves the frame with three slots.
    PartialSet l = Frame(0.0, {Rec(1, 100, 1, 0), Carried(2, 0, 1, 0, 5.0)});
    PartialSet r = Frame(1.0, {Rec(3, 300, .3f, 0), P(), Rec(2, 200, .2f, 0)});
    ASSERT_TRUE(r.syncToLeft(l));
    ASSERT_EQ(r.size(), 3);
    ExpectRec(r[0], 1, 0, .3f, 0, PartialSet::eCarried);
    ExpectRec(r[1], 2, 200, .2f, 0, PartialSet::ePartial);
    ExpectRec(r[2], 3, 300, .3f, 0, PartialSet::ePartial);
}

TEST(PartialSetSyncToLeft, ThroughTheBaseForwardsByType) {
    PartialSet l = Frame(0.0, {Rec(7, 300, .5f, 1.0f)});
    PartialSet r = Frame(0.01, {Rec(9, 400, .25f, 2.0f)});
    Kv2::Kv2Frame& base = r;
    EXPECT_TRUE(base.syncToLeft(static_cast<Kv2::Kv2Frame const&>(l)));
    EXPECT_EQ(r.size(), 2);
    ChordSet c(0.0, 0);
    EXPECT_FALSE(base.syncToLeft(static_cast<Kv2::Kv2Frame const&>(c)));
}

TEST(Kv2FrameSet, AlignsEachFrameToTheOneBeforeIt) {
    // Three frames as a reader delivers them; partial 2 vanishes in the second.
    Kv2::Kv2FrameSet<PartialSet> frames;
    frames.push_back(
        Frame(0.00, {Rec(1, 440, .1f, 0), Rec(2, 880, .05f, 1), Rec(3, 1320, .02f, 2)}), true);
    frames.push_back(Frame(0.01, {Rec(1, 441, .1f, .5f), Rec(3, 1321, .02f, 2.5f)}), true);
    frames.push_back(
        Frame(0.02, {Rec(1, 442, .1f, 1.0f), Rec(3, 1322, .02f, 3.0f), Rec(4, 1760, .01f, -1.0f)}),
        true);
    ASSERT_EQ(frames.size(), 3u);
    auto it = std::next(frames.begin());
    PartialSet const& f2 = *it;
    ASSERT_EQ(f2.size(), 4);
    ExpectRec(f2[0], 1, 441, .1f, .5f, PartialSet::ePartial);
    ExpectRec(f2[1], 2, 0, .02f, 2.5f, PartialSet::eCarried);
    EXPECT_EQ(f2[1].time, 0.01);
    ExpectRec(f2[2], 3, 1321, .02f, 2.5f, PartialSet::ePartial);
    ExpectRec(f2[3], 0, 0, 0, 0, PartialSet::eFree);
    // What the converter prints for it: numPartials(false) records with a positive id.
    float fr[8], am[8], ph[8];
    const int n2 = f2.numPartials(false);
    ASSERT_EQ(n2, 2);
    ASSERT_EQ(f2.getAllFreq(fr, n2), 2);
    f2.getAllAmpl(am, n2);
    f2.getAllPhase(ph, n2);
    EXPECT_EQ(fr[0], 441.0f);
    EXPECT_EQ(am[0], .1f);
    EXPECT_EQ(ph[0], .5f);
    EXPECT_EQ(fr[1], 0.0f);
    EXPECT_EQ(am[1], .02f);
    EXPECT_EQ(ph[1], 2.5f);

    PartialSet const& f3 = *std::next(it);
    ASSERT_EQ(f3.size(), 4);
    const int n3 = f3.numPartials(false);
    ASSERT_EQ(n3, 3);
    ASSERT_EQ(f3.getAllFreq(fr, n3), 3);
    f3.getAllAmpl(am, n3);
    f3.getAllPhase(ph, n3);
    EXPECT_EQ(fr[0], 442.0f);
    EXPECT_EQ(am[0], .1f);
    EXPECT_EQ(ph[0], 1.0f);
    EXPECT_EQ(fr[1], 1760.0f);
    EXPECT_EQ(am[1], .01f);
    EXPECT_EQ(ph[1], -1.0f);
    EXPECT_EQ(fr[2], 1322.0f);
    EXPECT_EQ(am[2], .02f);
    EXPECT_EQ(ph[2], 3.0f);

    // Without sync the frame is appended as it is.
    frames.push_back(Frame(0.03, {Rec(3, 1, 1, 0)}), false);
    EXPECT_EQ(frames.back().size(), 1);
    EXPECT_EQ(frames.back()[0].id, 3);
}

TEST(ChordSetSyncToLeft, ContinuingNoteTakesLeftValuesPhaseWithoutTwoPi) {
    ChordSet l = Chord(1.0, {C(5, 100, .5f, 1.0f, ChordSet::eStart)});
    ChordSet r = Chord(1.5, {C(5, 0, 0, 0, ChordSet::eCont)});
    ASSERT_TRUE(r.syncToLeft(l));
    ASSERT_EQ(r.size(), 1);
    EXPECT_EQ(r[0].id, 5);
    EXPECT_EQ(r[0].freq, 100.0f);
    EXPECT_EQ(r[0].amp, .5f);
    EXPECT_FLOAT_EQ(r[0].phase, 100.0f * -0.5f + 1.0f);  // -49: neither 2 pi nor wrapped
    EXPECT_EQ(r[0].state, ChordSet::eCont);
}

TEST(ChordSetSyncToLeft, EndingNoteGetsLeftRecordUnadvanced) {
    ChordSet l = Chord(
        1.0, {C(5, 100, .5f, 1.0f, ChordSet::eCont), C(6, 200, .25f, 2.0f, ChordSet::eStart)});
    ChordSet r = Chord(2.0, {C(6, 0, 0, 0, ChordSet::eEnd), C(5, 0, 0, 0, ChordSet::eCont)});
    ASSERT_TRUE(r.syncToLeft(l));
    ASSERT_EQ(r.size(), 2);
    EXPECT_EQ(r[0].id, 5);
    EXPECT_EQ(r[0].state, ChordSet::eCont);
    EXPECT_FLOAT_EQ(r[0].phase, 100.0f * -1.0f + 1.0f);
    EXPECT_EQ(r[1].id, 6);
    EXPECT_EQ(r[1].state, ChordSet::eEnd);
    EXPECT_EQ(r[1].freq, 200.0f);
    EXPECT_EQ(r[1].phase, 2.0f);
}

// Note 5 ended in the left frame; note 6 ends now and is swapped into the slot
// added to match the left frame's size: it too gets the left values back.
TEST(ChordSetSyncToLeft, EndingNoteSwappedIntoPaddingGetsLeftRecordUnadvanced) {
    ChordSet l =
        Chord(1.0, {C(5, 100, .5f, 1.0f, ChordSet::eEnd), C(6, 200, .25f, 2.0f, ChordSet::eCont)});
    ChordSet r = Chord(2.0, {C(6, 0, 0, 0, ChordSet::eEnd)});
    ASSERT_TRUE(r.syncToLeft(l));
    ASSERT_EQ(r.size(), 2);
    EXPECT_EQ(r[0].state, ChordSet::eEmpty);
    EXPECT_EQ(r[1].id, 6);
    EXPECT_EQ(r[1].state, ChordSet::eEnd);
    EXPECT_EQ(r[1].freq, 200.0f);
    EXPECT_EQ(r[1].phase, 2.0f);
}

TEST(ChordSetSyncToLeft, OccupantIsCopiedAwayAndStartsStayTwice) {
    ChordSet l =
        Chord(0.0, {C(5, 100, .5f, 1.0f, ChordSet::eStart), C(), C(8, 1, 1, 1, ChordSet::eEnd)});
    ChordSet r = Chord(1.0, {C(9, 300, .3f, 0.5f, ChordSet::eStart)});
    ASSERT_TRUE(r.syncToLeft(l));
    // Slot 1 is free on both sides; slot 0 keeps its start, which is not overwritten.
    ASSERT_EQ(r.size(), 3);
    EXPECT_EQ(r[0].id, 9);
    EXPECT_EQ(r[0].state, ChordSet::eStart);
    EXPECT_EQ(r[1].id, 9);
    EXPECT_EQ(r[1].state, ChordSet::eStart);
    EXPECT_EQ(r[2].state, ChordSet::eEmpty);  // left ends are not carried
}

// ---------------------------------------------------- alignment, cross-check
//
// The alignments keep an ident index to avoid a scan per record; these
// straightforward versions scan, and random frames full of duplicate idents,
// free slots and carried records must align identically.

bool Valid(P const& p) { return p.state >= 1 && p.state <= 3; }

void NaiveSync(std::vector<P>& r, double tR, std::vector<P> const& l, double span) {
    const int nL = static_cast<int>(l.size());
    if (nL > static_cast<int>(r.size())) r.resize(nL);
    int nT = static_cast<int>(r.size());
    for (int i = 0; i < nL; ++i) {
        P const& lr = l[i];
        if (!(Valid(lr) || (lr.state == 4 && lr.time >= tR))) continue;
        if (r[i].id == lr.id) continue;
        int j = -1;
        for (int k = 0; k < static_cast<int>(r.size()); ++k)
            if (r[k].id == lr.id) {
                j = k;
                break;
            }
        if (j >= 0) {
            std::swap(r[i], r[j]);
            continue;
        }
        if (Valid(r[i]) || r[i].state == 4) {
            int k = 0;
            while (!((k >= nL || (!Valid(l[k]) && !(l[k].state == 4 && lr.time >= tR))) &&
                     (k >= nT || !(Valid(r[k]) || r[k].state == 4))))
                ++k;
            P c = r[i];
            if (k >= static_cast<int>(r.size())) r.resize(k + 1);
            r[k] = c;
            nT = std::max(nT, k + 1);
        }
        r[i].time = Valid(lr) ? tR + span : lr.time;
        r[i].freq = lr.freq * 0.0f;
        r[i].id = lr.id;
        r[i].state = PartialSet::eCarried;
    }
}

void NaiveChordSync(std::vector<C>& r, double tR, std::vector<C> const& l, double tL) {
    const int nL = static_cast<int>(l.size());
    if (static_cast<int>(r.size()) < nL) r.resize(nL);
    int nT = static_cast<int>(r.size());
    for (int i = 0; i < nL; ++i) {
        C const& lr = l[i];
        if (lr.state == 0 || lr.state == 3) continue;
        if (r[i].id != lr.id) {
            int j = -1;
            for (int k = 0; k < static_cast<int>(r.size()); ++k)
                if (r[k].id == lr.id) {
                    j = k;
                    break;
                }
            if (j >= 0) {
                std::swap(r[i], r[j]);
            } else if (r[i].state != 0) {
                int k = 0;
                while (!((k >= nL || l[k].state == 0) && (k >= nT || r[k].state == 0))) ++k;
                C c = r[i];
                if (k >= static_cast<int>(r.size())) r.resize(k + 1);
                r[k] = c;
                nT = std::max(nT, k + 1);
            }
        }
        if (r[i].state == 3 || r[i].state == 2) {
            auto st = r[i].state;
            r[i] = lr;
            r[i].phase = static_cast<float>(lr.freq * (tL - tR) + lr.phase);
            r[i].state = st;
        }
    }
    for (int i = 0; i < std::min(nL, nT); ++i)
        if (r[i].state == 3) {
            r[i] = l[i];
            r[i].state = ChordSet::eEnd;
        }
}

TEST(PartialSetSyncToLeft, MatchesPlainScansOnRandomFrames) {
    std::mt19937 rng(12345);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int round = 0; round < 20000; ++round) {
        const double tR = 1.0;
        auto make = [&](int n) {
            std::vector<P> v(n);
            for (P& p : v) {
                p.id = pick(0, 3) == 0 ? 0 : pick(1, 8);
                p.freq = static_cast<float>(pick(1, 1000));
                p.amp = static_cast<float>(pick(0, 100)) / 100.0f;
                p.phase = static_cast<float>(pick(-300, 300)) / 100.0f;
                p.state = static_cast<PartialSet::PartialState>(pick(0, 5));
                p.time = pick(0, 1) ? 0.5 : (pick(0, 1) ? 1.0 : 2.0);
            }
            return v;
        };
        PartialSet l(0.5, 0), r(tR, 0);
        l.params() = make(pick(0, 10));
        r.params() = make(pick(0, 10));
        l.setTimeSpan(pick(0, 1) * 0.25);
        std::vector<P> expected = r.params();
        NaiveSync(expected, tR, l.params(), l.timeSpan());
        ASSERT_TRUE(r.syncToLeft(l));
        ASSERT_EQ(r.size(), static_cast<int>(expected.size())) << "round " << round;
        for (int i = 0; i < r.size(); ++i) {
            ASSERT_EQ(r[i].id, expected[i].id) << "round " << round << " slot " << i;
            ASSERT_EQ(r[i].state, expected[i].state) << "round " << round << " slot " << i;
            ASSERT_EQ(r[i].freq, expected[i].freq);
            ASSERT_EQ(r[i].amp, expected[i].amp);
            ASSERT_EQ(r[i].phase, expected[i].phase);
            ASSERT_EQ(r[i].time, expected[i].time);
        }
    }
}

TEST(ChordSetSyncToLeft, MatchesPlainScansOnRandomFrames) {
    std::mt19937 rng(777);
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int round = 0; round < 20000; ++round) {
        auto make = [&](int n) {
            std::vector<C> v(n);
            for (C& p : v) {
                p.id = pick(0, 3) == 0 ? 0 : pick(1, 8);
                p.freq = static_cast<float>(pick(1, 1000));
                p.amp = static_cast<float>(pick(0, 100)) / 100.0f;
                p.phase = static_cast<float>(pick(-300, 300)) / 100.0f;
                p.state = static_cast<ChordSet::ChordState>(pick(0, 3));
            }
            return v;
        };
        ChordSet l(0.5, 0), r(1.25, 0);
        l.params() = make(pick(0, 10));
        r.params() = make(pick(0, 10));
        std::vector<C> expected = r.params();
        NaiveChordSync(expected, r.time, l.params(), l.time);
        ASSERT_TRUE(r.syncToLeft(l));
        ASSERT_EQ(r.size(), static_cast<int>(expected.size())) << "round " << round;
        for (int i = 0; i < r.size(); ++i) {
            ASSERT_EQ(r[i].id, expected[i].id) << "round " << round << " slot " << i;
            ASSERT_EQ(r[i].state, expected[i].state) << "round " << round << " slot " << i;
            ASSERT_EQ(r[i].freq, expected[i].freq);
            ASSERT_EQ(r[i].amp, expected[i].amp);
            ASSERT_EQ(r[i].phase, expected[i].phase);
        }
    }
}

}  // namespace
