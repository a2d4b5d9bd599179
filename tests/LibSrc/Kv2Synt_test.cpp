// Additive synthesis: the sine table, segment set-up, both oscillators and
// the cubic phase.
#include "Kv2Synt.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Kv2TestUtil.h"

namespace {

using Kv2::PartialSet;
using kv2test::kTwoPi;
using kv2test::P;
using kv2test::Rec;

uint32_t Bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

PartialSet One(double t, P const& p) {
    PartialSet s(t, 1);
    s.params().push_back(p);
    return s;
}

// The table sample the oscillator without phase reads for phase theta.
float TableAt(float theta) {
    Kv2::SineTable const& tab = Kv2::Kv2GetSineTable();
    return tab.table[static_cast<int>(theta * tab.invStep + 0.5f) & tab.mask];
}

class Synthesis : public testing::Test {
   protected:
    void SetUp() override { ASSERT_TRUE(Kv2::Kv2AddSyntInit()); }
    void TearDown() override { Kv2::Kv2Synth_FreeStatic(); }
};

TEST_F(Synthesis, TableHoldsTheFixedConstantsAndSines) {
    Kv2::SineTable const& tab = Kv2::Kv2GetSineTable();
    EXPECT_EQ(Bits(tab.step), 0x39C90FDBu);
    EXPECT_EQ(Bits(tab.invStep), 0x4522F983u);
    EXPECT_EQ(tab.size, 16384);
    EXPECT_EQ(tab.mask, 16383);
    ASSERT_NE(tab.table, nullptr);
    for (int i = 0; i < 16384; ++i)
        ASSERT_EQ(tab.table[i], std::sin(static_cast<float>(i) * tab.step)) << i;
    Kv2::Kv2Synth_FreeStatic();
    EXPECT_EQ(tab.table, nullptr);
    EXPECT_EQ(tab.size, 0);
    ASSERT_TRUE(Kv2::Kv2AddSyntInit());  // and back
    EXPECT_EQ(tab.size, 16384);
    EXPECT_NE(tab.table, nullptr);
}

// A steady partial without phase reads the table sample by sample at phase
// 2 pi f t, t counted from from's time; the first sample is the ceiling of
// from's time in samples plus the offset, the sample on to's time belongs to
// the next segment, the samples past the count are not touched, and to's
// phase becomes the wrapped phase reached at its time.
TEST_F(Synthesis, SteadyPartialWithoutPhaseReadsTheTableSampleBySample) {
    const struct {
        double from, to;
        float freq, amp;
        int length, offset, count, first;  // first -1: not written
    } rows[] = {
        {1.0, 1.01, 440, 1, 16, 0, 10, 1000},      // 1010 is the next segment's
        {0.0005, 0.0105, 110, .5f, 16, 0, 10, 1},  // sample 0 lies 0.5 ms after from
        {0.0005, 0.0105, 110, .5f, 16, 2, 8, 3},   // the offset moves samples and timing
        {0.0, 0.01, 440, 1, 4, 0, 4, 0},           // the length limits count and zeroing
        {1.0, 1.0, 440, 1, 8, 0, 0, -1},           // no time between the frames
        {1.0, 0.5, 440, 1, 8, 0, -1, -1},          // to before from
        {1.0, 1.0005, 440, 1, 8, 1, 0, 1001},      // no sample falls inside
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << row.from << " to " << row.to << " offset " << row.offset);
        PartialSet from = One(row.from, Rec(3, row.freq, row.amp, 0));
        PartialSet to = One(row.to, Rec(3, row.freq, row.amp, 0));
        std::vector<float> out(16, 7.0f);
        int first = -1;
        ASSERT_EQ(
            Kv2::Kv2AddSynt(from, to, out.data(), row.length, row.offset, 1000.0f, false, &first),
            row.count);
        EXPECT_EQ(first, row.first);
        for (int i = 0; i < 16; ++i) {
            const double t = i * 0.001 + (row.first * 0.001 - row.from);
            EXPECT_EQ(out[i], i < row.count
                                  ? row.amp * TableAt(static_cast<float>(t * kTwoPi * row.freq))
                                  : 7.0f)
                << i;
        }
        if (row.count <= 0) continue;
        // The wrapped phase reached at to's time: e.g. 4.4 turns in 10 ms at 440 Hz.
        EXPECT_NEAR(to[0].phase, std::remainder((row.to - row.from) * kTwoPi * row.freq, kTwoPi),
                    1e-4);
    }
}

TEST_F(Synthesis, PhaseIsCurrentFrequencyTimesElapsedTime) {
    // A glide 100 -> 200 Hz over 100 ms at 1 kHz: the frequency climbs 1 Hz
    // per sample.  The oscillator multiplies it by the elapsed time instead
    // of integrating it.
    PartialSet from = One(0.0, Rec(1, 100, 1, 0));
    PartialSet to = One(0.1, Rec(1, 200, 1, 0));
    std::vector<float> out(100);
    ASSERT_EQ(Kv2::Kv2AddSynt(from, to, out.data(), 100, 0, 1000.0f, false, nullptr), 100);
    for (int i = 0; i < 100; ++i) {
        const double t = i * 0.001;
        ASSERT_EQ(out[i], TableAt(static_cast<float>(t * kTwoPi * (100.0 + i)))) << i;
    }
}

TEST_F(Synthesis, OnlyMatchingPartialsAtTheSameIndexSound) {
    PartialSet from(0.0, 3), to(0.01, 3);
    from.params() = {Rec(1, 440, 1, 0, PartialSet::ePeak), Rec(2, 440, 1, 0), Rec(3, 440, 1, 0),
                     Rec(4, 440, 1, 0, PartialSet::eCarried)};
    to.params() = {Rec(1, 440, 1, 0, PartialSet::ePeak), Rec(9, 440, 1, 0), Rec(2, 440, 1, 0),
                   Rec(4, 440, 1, 0, PartialSet::eCarried)};
    std::vector<float> out(10, 7.0f);
    ASSERT_EQ(Kv2::Kv2AddSynt(from, to, out.data(), 10, 0, 1000.0f, false, nullptr), 10);
    for (float v : out) EXPECT_EQ(v, 0.0f);
    // State 3 sounds like state 2.
    from[1].state = PartialSet::eLast;
    to[1] = Rec(2, 440, 1, 0, PartialSet::eLast);
    ASSERT_EQ(Kv2::Kv2AddSynt(from, to, out.data(), 10, 0, 1000.0f, false, nullptr), 10);
    EXPECT_NE(out[1], 0.0f);
}

TEST_F(Synthesis, WithPhaseFollowsTheCubicAndLeavesTheEndPhase) {
    const float ph0 = 0.3f;
    const float ph1 = static_cast<float>(std::remainder(0.3 + kTwoPi * 4.4, kTwoPi));
    PartialSet from = One(0.0, Rec(1, 440, .5f, ph0)), to = One(0.01, Rec(1, 440, .5f, ph1));
    std::vector<float> out(441);
    ASSERT_EQ(Kv2::Kv2AddSynt(from, to, out.data(), 441, 0, 44100.0f, true, nullptr), 441);
    for (int i = 0; i < 441; ++i) {
        const double t = i / 44100.0;
        ASSERT_NEAR(out[i], 0.5 * std::sin(kTwoPi * 440.0 * t + ph0), 5e-4) << i;
    }
    EXPECT_EQ(to[0].phase, ph1);
}

TEST(CubicPhase, MeetsBothEndsInPhaseAndFrequency) {
    const double T = 0.02;
    float a3, a2, a1, a0;
    Kv2::kv_get3Ord_phase_coef(200.0f, 260.0f, 1.0f, -2.0f, static_cast<float>(T), &a3, &a2, &a1,
                               &a0);
    // 4.6 turns expected, -3 rad measured: 5 whole turns are added.
    auto phase = [&](double t) { return ((a3 * t + a2) * t + a1) * t + a0; };
    auto omega = [&](double t) { return (3 * a3 * t + 2 * a2) * t + a1; };
    EXPECT_EQ(a0, 1.0f);
    EXPECT_NEAR(omega(0), kTwoPi * 200, 1e-3);
    EXPECT_NEAR(phase(T), -2.0 + 5 * kTwoPi, 1e-3);
    EXPECT_NEAR(omega(T), kTwoPi * 260, 0.1);
    double d3, d2, d1, d0;
    Kv2::kv_get3Ord_phase_coef_d(200.0, 260.0, 1.0, -2.0, T, &d3, &d2, &d1, &d0);
    EXPECT_NEAR(((d3 * T + d2) * T + d1) * T + d0, -2.0 + 5 * kTwoPi, 1e-9);
    EXPECT_NEAR((3 * d3 * T + 2 * d2) * T + d1, kTwoPi * 260, 1e-7);
    EXPECT_NEAR(d3, a3, std::fabs(d3) * 1e-3);
}

}  // namespace
