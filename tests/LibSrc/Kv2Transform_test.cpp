// Phase-continuous transformations, sorting and spectral envelopes of
// partial frames.
#include "Kv2Transform.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <initializer_list>
#include <vector>

#include "Kv2TestUtil.h"

namespace {

using Kv2::PartialSet;
using kv2test::Frame;
using kv2test::Ids;
using kv2test::kTwoPi;
using kv2test::P;
using kv2test::Rec;

// A steady 440 Hz partial 10 ms on: its phase moved by 2 pi * 4.4 turns.
const float kPh0 = 0.3f;
const float kPh1 = static_cast<float>(std::remainder(0.3 + kTwoPi * 4.4, kTwoPi));

// A segment of no length (up to the double epsilon) gives 1 and no advance;
// unit factors give 1 and the unwrapped advance; a ramp over a steady partial
// averages both ends.
TEST(TranspositionPhaseFactor, TinySegmentsUnitFactorsAndRamps) {
    P a = Rec(1, 440, 1, 0.1f), b = Rec(1, 450, 1, 2.0f);
    float adv = 99.0f;
    EXPECT_EQ(Kv2::kv_transposition_phase_factor(b, a, 1e-17, 2.0f, 0.5f, &adv), 1.0f);
    EXPECT_EQ(adv, 0.0f);
    adv = 99.0f;
    EXPECT_EQ(Kv2::kv_transposition_phase_factor(b, a, -DBL_EPSILON, 2.0f, 0.5f, &adv), 1.0f);
    EXPECT_EQ(adv, 0.0f);
    EXPECT_EQ(Kv2::kv_transposition_phase_factor(b, a, DBL_EPSILON, 2.0f, 0.5f, nullptr), 1.0f);

    P prev = Rec(1, 440, 1, 0.3f), cur = Rec(1, 450, 1, 2.0f);
    adv = 0.0f;
    EXPECT_EQ(Kv2::kv_transposition_phase_factor(cur, prev, 0.01, 1.0f, 1.0f, &adv), 1.0f);
    // 4.45 turns expected from the frequencies, 1.7 rad measured: 4 whole turns.
    const double dphi = static_cast<double>(2.0f) - static_cast<double>(0.3f);
    EXPECT_EQ(adv, static_cast<float>(4 * kTwoPi + dphi));
    for (double T : {0.001, 0.0232, 0.5})
        EXPECT_EQ(Kv2::kv_transposition_phase_factor(cur, prev, T, 1.0f, 1.0f, nullptr), 1.0f);

    P before = Rec(1, 440, 1, kPh0), after = Rec(1, 440, 1, kPh1);
    EXPECT_NEAR(Kv2::kv_transposition_phase_factor(after, before, 0.01, 2.0f, 1.0f, nullptr), 1.5,
                1e-4);
    EXPECT_EQ(Kv2::kv_transposition_phase_factor(after, before, 0.01, 2.0f, 2.0f, nullptr), 2.0f);
}

TEST(FreqTransp, RecordWithUnitFactorContinuesThePhase) {
    P prevIn = Rec(1, 440, 1, kPh0), in = Rec(1, 440, .7f, kPh1), prevOut = Rec(1, 440, 1, -1.0f);
    P out;
    ASSERT_TRUE(Kv2::Kv2FreqTransp(in, out, prevIn, prevOut, 0.01, 1.0f, 1.0f));
    EXPECT_NEAR(out.phase, std::remainder(-1.0 + kTwoPi * 4.4, kTwoPi), 1e-4);
    EXPECT_EQ(out.freq, 440.0f);
    EXPECT_EQ(out.amp, .7f);
    // A segment of no length keeps the previous output phase.
    ASSERT_TRUE(Kv2::Kv2FreqTransp(in, out, prevIn, prevOut, 0.0, 1.0f, 3.0f));
    EXPECT_EQ(out.phase, -1.0f);
    EXPECT_EQ(out.freq, 1320.0f);
    // Stretching doubles the advance.
    ASSERT_TRUE(Kv2::Kv2StretchAndTranspose(in, out, prevIn, prevOut, 0.01, 2.0f, 1.0f, 1.0f));
    EXPECT_NEAR(out.phase, std::remainder(-1.0 + 2 * kTwoPi * 4.4, kTwoPi), 1e-4);
}

class FrameTransform : public testing::Test {
   protected:
    // Partial 1 continues at index 0; index 1 holds a new partial.
    PartialSet prev = Frame(0.0, {Rec(1, 440, 1, kPh0), Rec(2, 1000, 1, 0)});
    PartialSet cur = Frame(0.01, {Rec(1, 440, 1, kPh1), Rec(5, 500, 1, 1.0f)});
    PartialSet prevOut = Frame(3.0, {Rec(1, 440, 1, -1.0f), Rec(2, 1000, 1, 0.5f)});
    PartialSet out;
};

// A unit factor reproduces the phase advance; transposition scales every
// frequency, stretching only the matched ones.
TEST_F(FrameTransform, FreqTranspScalesEveryFrequencyStretchOnlyMatchedOnes) {
    ASSERT_TRUE(Kv2::Kv2FreqTransp(cur, out, prev, prevOut, 1.0f, 1.0f));
    EXPECT_EQ(out.time, 0.01);
    ASSERT_EQ(out.size(), 2);
    EXPECT_NEAR(out[0].phase, std::remainder(-1.0 + kTwoPi * 4.4, kTwoPi), 1e-4);
    EXPECT_EQ(out[0].freq, 440.0f);
    EXPECT_EQ(out[1].phase, 1.0f);
    ASSERT_TRUE(Kv2::Kv2FreqTransp(cur, out, prev, prevOut, 2.0f, 2.0f));
    EXPECT_EQ(out[0].freq, 880.0f);
    EXPECT_EQ(out[1].freq, 1000.0f);  // not in prev, transposed all the same
    EXPECT_NEAR(out[0].phase, std::remainder(-1.0 + 2 * kTwoPi * 4.4, kTwoPi), 2e-4);
    ASSERT_TRUE(Kv2::Kv2StretchAndTranspose(cur, out, prev, prevOut, 2.0f, 2.0f, 2.0f));
    EXPECT_EQ(out[0].freq, 880.0f);
    EXPECT_EQ(out[1].freq, 500.0f);  // left as in cur
    EXPECT_DOUBLE_EQ(out.time, 3.02);
    EXPECT_NEAR(out[0].phase, std::remainder(-1.0 + 4 * kTwoPi * 4.4, kTwoPi), 4e-4);
}

TEST_F(FrameTransform, EqualFrameTimesKeepThePreviousOutputPhase) {
    cur.time = 0.0;
    ASSERT_TRUE(Kv2::Kv2StretchAndTranspose(cur, out, prev, prevOut, 2.0f, 1.0f, 1.5f));
    EXPECT_EQ(out[0].phase, -1.0f);
    EXPECT_EQ(out[0].freq, 660.0f);
    EXPECT_EQ(out.time, 3.0);
}

TEST_F(FrameTransform, TimeScalingBackwardsMovesTimeBackButPhaseForward) {
    ASSERT_TRUE(Kv2::Kv2TimeScaling(cur, out, prev, prevOut, -1.0f));
    EXPECT_DOUBLE_EQ(out.time, 2.99);
    EXPECT_NEAR(out[0].phase, std::remainder(-1.0 + kTwoPi * 4.4, kTwoPi), 1e-4);
    EXPECT_EQ(out[0].freq, 440.0f);
    EXPECT_EQ(out[1].phase, 1.0f);
    ASSERT_TRUE(Kv2::Kv2TimeScaling(cur, out, prev, prevOut, 0.5f));
    EXPECT_DOUBLE_EQ(out.time, 3.005);
    EXPECT_NEAR(out[0].phase, std::remainder(-1.0 + 0.5 * kTwoPi * 4.4, kTwoPi), 1e-4);
}

TEST(ReversePartialSet, MirrorsPartialPhasesOnly) {
    PartialSet s = Frame(0.0, {Rec(1, 1, 1, 0.0f), Rec(2, 1, 1, 1.0f, PartialSet::eLast),
                               Rec(3, 1, 1, -1.0f), Rec(4, 1, 1, 1.0f, PartialSet::ePeak)});
    Kv2::Kv2ReversePartialSet(s);
    EXPECT_EQ(s[0].phase, -3.1415927f);
    EXPECT_EQ(s[1].phase, 3.1415927f - 1.0f);
    EXPECT_FLOAT_EQ(s[1].phase, 2.1415927f);
    EXPECT_EQ(s[2].phase, -3.1415927f + 1.0f);
    EXPECT_EQ(s[3].phase, 1.0f);
}

TEST(SortPartials, AmplitudeSortPutsValidRecordsFirstLoudestFirst) {
    PartialSet s = Frame(0.0, {Rec(1, 1, .1f, 0), Rec(2, 1, .5f, 0), Rec(3, 1, .3f, 0)});
    EXPECT_EQ(Kv2::Kv2AmplSortPartials(s, 2), 2);
    EXPECT_EQ(s[0].amp, .5f);
    EXPECT_EQ(s[1].amp, .3f);
    PartialSet t = Frame(
        0.0, {Rec(1, 1, .1f, 0), Rec(2, 1, .9f, 0, PartialSet::eFree),
              Rec(3, 1, .5f, 0, PartialSet::ePeak), Rec(4, 1, .95f, 0, PartialSet::eCarried)});
    EXPECT_EQ(Kv2::Kv2AmplSortPartials(t, -1), 2);
    EXPECT_EQ(Ids(t), "3:1 1:2 4:4 2:0");           // invalid records by falling amplitude too
    EXPECT_EQ(Kv2::Kv2AmplSortPartials(t, 10), 2);  // n beyond the count
    PartialSet e;
    EXPECT_EQ(Kv2::Kv2AmplSortPartials(e, -1), 0);
}

TEST(SortPartials, FrequencySortRisesAndCopesWithNaN) {
    PartialSet s = Frame(0.0, {Rec(1, 300, 1, 0), Rec(2, 50, 1, 0, PartialSet::eFree),
                               Rec(3, NAN, 1, 0), Rec(4, 100, 1, 0), Rec(5, 200, 1, 0)});
    EXPECT_EQ(Kv2::Kv2FreqSortPartials(s, -1), 4);
    EXPECT_EQ(Ids(s), "4:2 5:2 1:2 3:2 2:0");  // 100, 200, 300, NaN, the free record
    EXPECT_EQ(Kv2::Kv2FreqSortPartials(s, 1), 1);
}

class SpectralEnv : public testing::Test {
   protected:
    // Four points over 0..4 Hz: one point per Hz.
    float env[4] = {1.0f, 2.0f, 3.0f, 4.0f};
    PartialSet in = Frame(0.0, {Rec(1, 1.5f, 1.0f, 0), Rec(2, 3.5f, 1.0f, 0),
                                Rec(3, 0.5f, 2.0f, 0, PartialSet::ePeak), Rec(4, -2.0f, 1.0f, 0),
                                Rec(5, 100.0f, 1.0f, 0)});
    PartialSet out;
};

// The envelope is read between its points and held at its ends (a negative
// frequency reads the first point); multiplying shapes peaks too, setting
// replaces the amplitudes, in place; an empty envelope is refused.
TEST_F(SpectralEnv, MultiplyOrSetInterpolatesAndHoldsTheEnds) {
    auto amps = [](PartialSet const& s) {
        std::vector<float> a;
        for (int i = 0; i < s.size(); ++i) a.push_back(s[i].amp);
        return a;
    };
    ASSERT_TRUE(Kv2::Kv2MultSpectralEnv(in, out, env, 8.0f, 1.0f, 4, 0));
    EXPECT_EQ(amps(out), (std::vector<float>{2.5f, 4.0f, 3.0f, 1.0f, 4.0f}));
    ASSERT_TRUE(Kv2::Kv2SetSpectralEnv(in, in, env, 8.0f, 1.0f, 4, 0));
    EXPECT_EQ(amps(in), (std::vector<float>{2.5f, 4.0f, 1.5f, 1.0f, 4.0f}));
    EXPECT_FALSE(Kv2::Kv2MultSpectralEnv(in, out, env, 8.0f, 1.0f, 0, 0));
    EXPECT_FALSE(Kv2::Kv2SetSpectralEnv(in, out, nullptr, 8.0f, 1.0f, 4, 0));
}

TEST_F(SpectralEnv, KeepEnergyRestoresThePartialsEnergy) {
    ASSERT_TRUE(Kv2::Kv2MultSpectralEnv(in, out, env, 8.0f, 1.0f, 4, 1));
    // In: four partials of amplitude 1.  Out before the correction: 2.5, 4,
    // 3 (peak), 1, 4.
    const double g = std::sqrt(4.0 / (6.25 + 16 + 9 + 1 + 16));
    EXPECT_NEAR(out[0].amp, 2.5 * g, 1e-6);
    EXPECT_NEAR(out[1].amp, 4.0 * g, 1e-6);
    EXPECT_FLOAT_EQ(out[2].amp, 3.0f);  // the peak is not rescaled
    EXPECT_NEAR(out[3].amp, 1.0 * g, 1e-6);
}

}  // namespace
