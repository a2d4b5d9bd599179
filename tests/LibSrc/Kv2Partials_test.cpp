// Frame sets: records, counts, placement, interpolation and alignment.
#include "Kv2Partials.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "Kv2TestUtil.h"
#include "TestSupport.h"

namespace {

using Kv2::ChordSet;
using Kv2::PartialSet;
using kv2test::C;
using kv2test::Chord;
using kv2test::Frame;
using kv2test::kTwoPi;
using kv2test::P;
using kv2test::Rec;

P Carried(int id, float f, float a, float ph, double time) {
    return Rec(id, f, a, ph, PartialSet::eCarried, time);
}

// Every field to nine digits, time included for partial records.
template <class Set>
std::string Text(Set const& s) {
    std::ostringstream o;
    o.precision(9);
    for (int i = 0; i < s.size(); ++i) {
        o << (i ? " | " : "") << s[i].id << " " << s[i].freq << " " << s[i].amp << " " << s[i].phase
          << " " << s[i].state;
        if constexpr (std::is_same_v<Set, PartialSet>) o << " @" << s[i].time;
    }
    return o.str();
}
template <class Set>
void ExpectRecords(Set const& got, std::vector<typename Set::PartialParam> const& want) {
    EXPECT_EQ(Text(got), Text(kv2test::MakeSet<Set>(0.0, want)));
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

// An explicit index grows the set with zero records; a negative one takes
// the first free slot, else appends.
TEST(PartialSetAddToSet, ExplicitIndexGrowsNegativeIndexTakesAFreeSlot) {
    PartialSet s(0.0, 4);
    EXPECT_EQ(s.addToSet(Rec(7, 100, 1, 0), 5), 5);
    ExpectRecords(s, {P(), P(), P(), P(), P(), Rec(7, 100, 1, 0)});
    // Storing a record of the set into a slot beyond its end survives the growth.
    EXPECT_EQ(s.addToSet(s[5], 40), 40);
    ExpectRecords(Frame(0.0, {s[40]}), {Rec(7, 100, 1, 0)});
    EXPECT_EQ(s.addToSet(Rec(9, 1, 1, 0), -1), 0);
    s = Frame(0.0, {Rec(1, 1, 1, 0), Rec(2, 1, 1, 0), P(), Rec(4, 1, 1, 0)});
    EXPECT_EQ(s.addToSet(Rec(9, 1, 1, 0), -1), 2);
    EXPECT_EQ(s.addToSet(Rec(10, 1, 1, 0), -1), 4);
    EXPECT_EQ(kv2test::Ids(s), "1:2 2:2 9:2 4:2 10:2");
    ChordSet c = Chord(0.0, {C(3, 1, 1, 0, ChordSet::eStart), C()});
    EXPECT_EQ(c.addToSet(C(8, 1, 1, 0, ChordSet::eEnd), -1), 1);
    EXPECT_EQ(c.addToSet(C(9, 1, 1, 0, ChordSet::eEnd), 3), 3);
    EXPECT_EQ(c.size(), 4);
}

TEST(PartialSetCounts, TestsAndCountsFollowTheStates) {
    // One record per state; ident = state, so the free slot holds ident 0.
    // Per record: IsValid, IsPeak, IsPartial strict and loose, PartialIsPresent
    // strict and loose.
    PartialSet s(0.0, 0);
    std::string tests;
    for (int i = 0; i < 5; ++i) {
        s.params().push_back(Rec(i, 100, 1, 0, static_cast<PartialSet::PartialState>(i)));
        tests += std::to_string(s[i].IsValid()) + std::to_string(s.IsPeak(i)) +
                 std::to_string(s.IsPartial(i, true)) + std::to_string(s.IsPartial(i, false)) +
                 std::to_string(s.PartialIsPresent(i, i, true)) +
                 std::to_string(s.PartialIsPresent(i, i, false)) + " ";
    }
    // free, peak, partial, last, carried
    EXPECT_EQ(tests, "000000 110000 101111 100101 000000 ");
    EXPECT_FALSE(s.PartialIsPresent(2, 3, false));  // another ident
    EXPECT_FALSE(s.PartialIsPresent(5, 0, false));
    EXPECT_FALSE(s.IsPartial(99, false));
    EXPECT_FALSE(s.IsPartial(-1, false));
    EXPECT_EQ(s.numPartials(true), 1);
    EXPECT_EQ(s.numPartials(false), 2);
    EXPECT_EQ(s.numPeaks(), 1);
    s.params().push_back(Rec(2, 1, 1, 0));
    EXPECT_EQ(s.PartialIndex(2), 2);  // the first of two
    EXPECT_EQ(s.PartialIndex(0), 0);
    EXPECT_EQ(s.PartialIndex(42), -1);
    s.clear();
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
    ExpectRecords(static_cast<ChordSet&>(*copy), c.params());
}

TEST(PartialSetGetAll, TakesRecordsWithPositiveIdsUpToMax) {
    PartialSet s = Frame(0.0, {Rec(1, 100, .1f, .5f), Rec(0, 200, .2f, .6f), Rec(-3, 300, .3f, .7f),
                               Carried(4, 0, .4f, .8f, 0.0), Rec(5, 500, .5f, .9f)});
    float out[8] = {};
    ASSERT_EQ(s.getAllFreq(out, 8), 3);
    EXPECT_EQ(std::vector<float>(out, out + 3), (std::vector<float>{100, 0, 500}));  // 0: carried
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
    ExpectRecords(s, {Rec(4, 110, .3f, 1), P(), Rec(6, 220, .2f, 2)});
    s = ChordSet(1.0, 0);
    EXPECT_EQ(s.size(), 0);
}

// ------------------------------------------------------------ interpolation

TEST(PartialSetInterpolateRecord, SteadyPartialKeepsFrequencyEndsMeetBothRecords) {
    const double T = 0.01;
    const float ph0 = 0.3f;
    const float ph1 = static_cast<float>(std::remainder(ph0 + kTwoPi * 440.0 * T, kTwoPi));
    P out;
    ASSERT_TRUE(PartialSet::interpolate(Rec(1, 440, .2f, ph0), Rec(1, 440, .6f, ph1), 0.004, T,
                                        0.4f, 77, out));
    EXPECT_EQ(out.id, 77);
    EXPECT_NEAR(out.freq, 440.0, 0.01);
    EXPECT_FLOAT_EQ(out.amp, 0.6f * .2f + 0.4f * .6f);
    EXPECT_NEAR(out.phase, std::remainder(ph0 + kTwoPi * 440.0 * 0.004, kTwoPi), 1e-3);
    EXPECT_LE(std::fabs(out.phase), 3.1416f);
    EXPECT_EQ(out.state, PartialSet::ePartial);

    // The ends of the gap meet both records.
    P l = Rec(1, 200, 1, 1.0f), r = Rec(1, 260, 1, -2.0f, PartialSet::eLast);
    PartialSet::interpolate(l, r, 0.0, 0.02, 0.0f, 1, out);
    EXPECT_NEAR(out.freq, 200.0, 0.01);
    EXPECT_NEAR(out.phase, 1.0, 1e-4);
    EXPECT_EQ(out.state, PartialSet::eLast);  // either side being last makes it last
    PartialSet::interpolate(l, r, 0.02, 0.02, 1.0f, 1, out);
    EXPECT_NEAR(out.freq, 260.0, 0.05);
    EXPECT_NEAR(out.phase, -2.0, 1e-3);
    EXPECT_FLOAT_EQ(out.amp, 1.0f);
}

TEST(ChordSetInterpolateRecord, HoldsValuesRunsPhaseOnAndComplainsAfterAnEnd) {
    for (ChordSet::ChordState st : {ChordSet::eStart, ChordSet::eEnd}) {
        SCOPED_TRACE(st);
        C out;
        bool ok = false;
        std::string err = testsupport::CaptureStderr([&] {
            ok = ChordSet::interpolate(C(5, 100, .5f, 0.25f, st), C(), 0.0123, 1.0, 0.5f, 9, out);
        });
        EXPECT_EQ(ok, st != ChordSet::eEnd);
        EXPECT_EQ(err,
                  st == ChordSet::eEnd ? "ChordSet::interpolate sets a cont after end \n" : "");
        // Written all the same.
        EXPECT_EQ(out.id, 9);
        EXPECT_EQ(out.freq, 100.0f);
        EXPECT_EQ(out.amp, .5f);
        EXPECT_NEAR(out.phase, std::remainder(0.25 + 100 * 0.0123 * kTwoPi, kTwoPi), 1e-5);
        EXPECT_EQ(out.state, ChordSet::eCont);
    }
}

TEST(PartialSetInterpolateFrame, OutsideTheGapCopiesTheNearerFrameOfTheSameType) {
    PartialSet l = Frame(1.0, {Rec(1, 100, 1, 0)});
    PartialSet r = Frame(2.0, {Rec(2, 200, 1, 0), Rec(3, 300, 1, 0)});
    PartialSet sameTime = Frame(1.0, {Rec(2, 200, 1, 0), Rec(3, 300, 1, 0)});
    const struct {
        double time;
        PartialSet const *right, *copied;
    } rows[] = {{0.5, &r, &l},
                {1.0, &r, &l},
                {2.0, &r, &r},
                {7.0, &r, &r},
                // Two frames at one time: the right one is copied, time included.
                {1.5, &sameTime, &sameTime}};
    for (auto const& row : rows) {
        SCOPED_TRACE(row.time);
        PartialSet f = Frame(row.time, {Rec(8, 1, 1, 0)});
        ASSERT_TRUE(f.interpolate(l, *row.right));
        EXPECT_EQ(f.time, row.copied->time);
        ExpectRecords(f, row.copied->params());
    }
    // Frames of another type are refused.
    PartialSet f = Frame(1.5, {Rec(1, 100, 1, 0)});
    ChordSet c(1.0, 0);
    EXPECT_FALSE(f.interpolate(c, r));
    EXPECT_EQ(Text(f), "1 100 1 0 2 @0");
    EXPECT_EQ(f.time, 1.5);
    EXPECT_FALSE(c.interpolate(f, r));
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
    ExpectRecords(f, r.params());
    // The end of note 3 was continued before the left frame and inside the gap.
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "ChordSet::interpolate sets a cont after end \n"
              "ChordSet::interpolate sets a cont after end \n");
}

// ---------------------------------------------------------------- alignment

TEST(PartialSetSyncToLeft, ExamplesCarrySwapAndMoveRecords) {
    const struct {
        const char* what;
        PartialSet left, right;
        std::vector<P> want;
    } rows[] = {
        {"an absent partial is carried (amplitude and phase stay), the occupant moves",
         Frame(0.0, {Rec(7, 300, .5f, 1.0f)}),
         Frame(0.01, {Rec(9, 400, .25f, 2.0f)}),
         {Carried(7, 0, .25f, 2.0f, 0.01), Rec(9, 400, .25f, 2.0f)}},
        {"partials are swapped to the left indices; those beyond stay",
         Frame(0.0, {Rec(1, 1, 1, 0), Rec(2, 2, 1, 0), Rec(3, 3, 1, 0, PartialSet::ePeak)}),
         Frame(0.1, {Rec(3, 30, 1, 0), Rec(1, 10, 1, 0), Rec(2, 20, 1, 0), Rec(4, 40, 1, 0)}),
         {Rec(1, 10, 1, 0), Rec(2, 20, 1, 0), Rec(3, 30, 1, 0), Rec(4, 40, 1, 0)}},
        // left[1] counts (dated after this frame), but the search for a place
        // for the occupant of slot 0 judges it by left[0]'s date and takes
        // slot 1; the later swap then leaves the frame with three slots.
        {"the free-slot test reads the time of the record being placed",
         Frame(0.0, {Rec(1, 100, 1, 0), Carried(2, 0, 1, 0, 5.0)}),
         Frame(1.0, {Rec(3, 300, .3f, 0), P(), Rec(2, 200, .2f, 0)}),
         {Carried(1, 0, .3f, 0, 1.0), Rec(2, 200, .2f, 0), Rec(3, 300, .3f, 0)}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        PartialSet r = row.right;
        ASSERT_TRUE(r.syncToLeft(row.left));
        ExpectRecords(r, row.want);
    }
}

TEST(PartialSetSyncToLeft, CarriedLeftRecordsCountOnlyWhenNotBeforeThisFrame) {
    PartialSet l = Frame(
        1.0, {Carried(11, 0, .1f, 0, 0.5), Carried(12, 0, .2f, 0, 3.0), Rec(13, 130, .3f, 0)});
    l.setTimeSpan(0.25);
    PartialSet r = Frame(2.0, {});
    Kv2::StaticIdent::maxIdent = 0;  // carrying raises it again
    ASSERT_TRUE(r.syncToLeft(l));
    // Dated before this frame: dropped; a carried record keeps its own date, a
    // partial is dated this frame's time plus the left span.
    ExpectRecords(r, {P(), Carried(12, 0, 0, 0, 3.0), Carried(13, 0, 0, 0, 2.25)});
    EXPECT_EQ(Kv2::StaticIdent::maxIdent, 13);
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

TEST(ChordSetSyncToLeft, ExamplesTakeLeftValuesWithPhaseWithoutTwoPi) {
    const struct {
        const char* what;
        ChordSet left, right;
        std::vector<C> want;
    } rows[] = {
        {"a continuing note takes the left values, phase 100 * -0.5 + 1: no 2 pi, no wrap",
         Chord(1.0, {C(5, 100, .5f, 1.0f, ChordSet::eStart)}),
         Chord(1.5, {C(5, 0, 0, 0, ChordSet::eCont)}),
         {C(5, 100, .5f, -49.0f, ChordSet::eCont)}},
        {"an ending note gets the left record unadvanced",
         Chord(1.0,
               {C(5, 100, .5f, 1.0f, ChordSet::eCont), C(6, 200, .25f, 2.0f, ChordSet::eStart)}),
         Chord(2.0, {C(6, 0, 0, 0, ChordSet::eEnd), C(5, 0, 0, 0, ChordSet::eCont)}),
         {C(5, 100, .5f, -99.0f, ChordSet::eCont), C(6, 200, .25f, 2.0f, ChordSet::eEnd)}},
        // Note 5 ended in the left frame; note 6 ends now and is swapped into
        // the slot added to match the left frame's size.
        {"an ending note swapped into the padding gets the left record unadvanced too",
         Chord(1.0, {C(5, 100, .5f, 1.0f, ChordSet::eEnd), C(6, 200, .25f, 2.0f, ChordSet::eCont)}),
         Chord(2.0, {C(6, 0, 0, 0, ChordSet::eEnd)}),
         {C(), C(6, 200, .25f, 2.0f, ChordSet::eEnd)}},
        // Slot 1 is free on both sides; slot 0 keeps its start, which is not
        // overwritten; left ends are not carried.
        {"an occupant is copied away and a start stays twice",
         Chord(0.0, {C(5, 100, .5f, 1.0f, ChordSet::eStart), C(), C(8, 1, 1, 1, ChordSet::eEnd)}),
         Chord(1.0, {C(9, 300, .3f, 0.5f, ChordSet::eStart)}),
         {C(9, 300, .3f, 0.5f, ChordSet::eStart), C(9, 300, .3f, 0.5f, ChordSet::eStart), C()}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        ChordSet r = row.right;
        ASSERT_TRUE(r.syncToLeft(row.left));
        ExpectRecords(r, row.want);
    }
}

}  // namespace
