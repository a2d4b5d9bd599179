// Phase-continuous transformations, orderings and spectral envelopes of
// partial frames.
#include "Kv2Transform.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <utility>

#include "Kv2PhaseMath.h"
#include "Kv2Synt.h"

namespace Kv2 {

float kv_transposition_phase_factor(PartialSet::PartialParam const& cur,
                                    PartialSet::PartialParam const& prev, double T, float toFactor,
                                    float fromFactor, float* phaseAdvance) {
    if (!(std::fabs(T) > DBL_EPSILON)) {
        if (phaseAdvance) *phaseAdvance = 0.0f;
        return 1.0f;
    }
    const double dphi = static_cast<double>(cur.phase) - prev.phase;
    const double m = RoundHalfAway((prev.freq + cur.freq) * T * 0.5 - dphi * kInvTwoPi);
    if (phaseAdvance) *phaseAdvance = static_cast<float>(m * kTwoPi + dphi);

    const double s0 = fromFactor;
    const double k = (static_cast<double>(toFactor) - fromFactor) / T;
    double a3, a2, a1, a0;
    kv_get3Ord_phase_coef_d(prev.freq, cur.freq, prev.phase, cur.phase, T, &a3, &a2, &a1, &a0);
    const double num =
        s0 * a1 +
        (k * a1 * 0.5 + s0 * a2 + (a2 * (2.0 / 3.0) * k + s0 * a3 + T * a3 * 0.75 * k) * T) * T;
    const double den = a1 + (a2 + a3 * T) * T;
    // A phase that never turns (no frequency at either end, no advance) gives
    // 0/0; the plain mean of the factor leaves such a partial's phase alone.
    if (den == 0.0) return static_cast<float>((s0 + toFactor) * 0.5);
    return static_cast<float>(num / den);
}

float kv_transposition_phase_factor(PartialSet const& cur, PartialSet const& prev, int index,
                                    float toFactor, float fromFactor, float* phaseAdvance) {
    return kv_transposition_phase_factor(cur[index], prev[index], cur.time - prev.time, toFactor,
                                         fromFactor, phaseAdvance);
}

bool Kv2FreqTransp(PartialSet::PartialParam const& in, PartialSet::PartialParam& out,
                   PartialSet::PartialParam const& prevIn, PartialSet::PartialParam const& prevOut,
                   double T, float fromFactor, float toFactor) {
    return Kv2StretchAndTranspose(in, out, prevIn, prevOut, T, 1.0f, fromFactor, toFactor);
}

bool Kv2StretchAndTranspose(PartialSet::PartialParam const& in, PartialSet::PartialParam& out,
                            PartialSet::PartialParam const& prevIn,
                            PartialSet::PartialParam const& prevOut, double T, float stretch,
                            float fromFactor, float toFactor) {
    const PartialSet::PartialParam src = in;  // out may be in
    float phase;
    if (T == 0.0) {
        phase = prevOut.phase;
    } else {
        float adv = 0.0f;
        const float f = kv_transposition_phase_factor(src, prevIn, T, toFactor, fromFactor, &adv);
        phase = WrapPhaseF(f * stretch * adv + prevOut.phase);
    }
    out = src;
    out.phase = phase;
    out.freq = toFactor * src.freq;
    return true;
}

namespace {

// Frame transposition; stretch applies to the phase advance and the time,
// and without stretching every frequency is transposed, found in prev or not.
bool TransposeFrame(PartialSet const& cur, PartialSet& out, PartialSet const& prev,
                    PartialSet const& prevOut, float const* stretch, float fromFactor,
                    float toFactor) {
    const int n = cur.size();
    const double curTime = cur.time;
    const double T = cur.time - prev.time;
    const double prevOutTime = prevOut.time;
    if (&out != &cur) out = cur;
    if (out.size() != n) return false;
    for (int i = 0; i < n; ++i) {
        const bool present = prev.PartialIsPresent(i, cur[i].id, false) && i < prevOut.size();
        if (present) {
            if (T == 0.0) {
                out[i].phase = prevOut[i].phase;
            } else {
                float adv = 0.0f;
                const float f =
                    kv_transposition_phase_factor(cur[i], prev[i], T, toFactor, fromFactor, &adv);
                const float advance = stretch ? *stretch * adv * f : adv * f;
                out[i].phase = WrapPhaseF(advance + prevOut[i].phase);
            }
        }
        if (present || !stretch) out[i].freq = toFactor * cur[i].freq;
    }
    out.time = stretch ? *stretch * T + prevOutTime : curTime;
    return true;
}

}  // namespace

bool Kv2StretchAndTranspose(PartialSet const& cur, PartialSet& out, PartialSet const& prev,
                            PartialSet const& prevOut, float stretch, float fromFactor,
                            float toFactor) {
    return TransposeFrame(cur, out, prev, prevOut, &stretch, fromFactor, toFactor);
}

bool Kv2FreqTransp(PartialSet const& cur, PartialSet& out, PartialSet const& prev,
                   PartialSet const& prevOut, float fromFactor, float toFactor) {
    return TransposeFrame(cur, out, prev, prevOut, nullptr, fromFactor, toFactor);
}

bool Kv2TimeScaling(PartialSet const& cur, PartialSet& out, PartialSet const& prev,
                    PartialSet const& prevOut, float stretch) {
    const int n = cur.size();
    const double T = cur.time - prev.time;
    const double prevOutTime = prevOut.time;
    if (&out != &cur) out = cur;
    if (out.size() != n) return false;
    const float absStretch = std::fabs(stretch);
    for (int i = 0; i < n; ++i) {
        if (!prev.PartialIsPresent(i, cur[i].id, false) || i >= prevOut.size()) continue;
        const float dphi = cur[i].phase - prev[i].phase;
        const float m = RoundHalfAwayF(
            static_cast<float>(T * (cur[i].freq + prev[i].freq) * 0.5 - dphi * kInvTwoPi));
        const float theta = static_cast<float>(m * kTwoPi + dphi) * absStretch + prevOut[i].phase;
        out[i].phase = WrapPhaseF(theta);
    }
    // The signed factor moves the time, so -1 plays the segment backwards.
    out.time = stretch * T + prevOutTime;
    return true;
}

void Kv2ReversePartialSet(PartialSet& set) {
    for (PartialSet::PartialParam& p : set.params()) {
        if (p.state != PartialSet::ePartial && p.state != PartialSet::eLast) continue;
        p.phase = p.phase > 0.0f ? kPiF - p.phase : -kPiF - p.phase;
    }
}

// NaN amplitudes and frequencies sort after every number of their group:
// std::sort needs a strict weak ordering, and a bare comparison with NaN is
// not one.
bool a_cmp(PartialSet::PartialParam const& x, PartialSet::PartialParam const& y) {
    const bool xv = x.IsValid();
    const bool yv = y.IsValid();
    if (xv != yv) return xv;
    return x.amp > y.amp || (std::isnan(y.amp) && !std::isnan(x.amp));
}

bool f_cmp(PartialSet::PartialParam const& x, PartialSet::PartialParam const& y) {
    const bool xv = x.IsValid();
    const bool yv = y.IsValid();
    if (xv != yv) return xv;
    return y.freq > x.freq || (std::isnan(y.freq) && !std::isnan(x.freq));
}

namespace {

template <class Cmp>
int SortPartials(PartialSet& set, int n, Cmp cmp) {
    std::vector<PartialSet::PartialParam>& v = set.params();
    if (v.empty()) return 0;
    std::size_t m = v.size();
    if (n < 0) {
        std::sort(v.begin(), v.end(), cmp);
    } else {
        m = std::min(m, static_cast<std::size_t>(n));
        std::partial_sort(v.begin(), v.begin() + m, v.end(), cmp);
    }
    int valid = 0;
    while (static_cast<std::size_t>(valid) < m && v[valid].IsValid()) ++valid;
    return valid;
}

// Envelope value at frequency freq.  A negative (or NaN) frequency would index
// before the envelope; it reads the first point instead, as 0 Hz would.
inline float EnvelopeAt(float const* env, int envSize, float scale, float freq) {
    float pos = scale * freq;
    if (!(pos > 0.0f)) pos = 0.0f;
    if (pos < static_cast<float>(envSize - 1)) {
        const int j = static_cast<int>(pos);
        const float frac = pos - static_cast<float>(j);
        return (1.0f - frac) * env[j] + frac * env[j + 1];
    }
    return env[envSize - 1];
}

bool SpectralEnv(PartialSet const& in, PartialSet& out, float const* env, float rate,
                 float rangeFactor, int envSize, int keepEnergy, bool multiply) {
    if (!env || envSize < 1) return false;
    if (&in != &out) out = in;
    float eIn = 0.0f;
    float eOut = 0.0f;
    const float scale = static_cast<float>(envSize) / (rate * 0.5f * rangeFactor);
    const int n = in.size();
    for (int i = 0; i < n; ++i) {
        if (in.IsPartial(i, false)) eIn += in[i].amp * in[i].amp;
        const float e = EnvelopeAt(env, envSize, scale, in[i].freq);
        out[i].amp = multiply ? e * out[i].amp : e;
        eOut += out[i].amp * out[i].amp;
    }
    if (keepEnergy && eOut > 0.0f) {
        const float g = std::sqrt(eIn / eOut);
        for (int i = 0; i < out.size(); ++i)
            if (out.IsPartial(i, false)) out[i].amp *= g;
    }
    return true;
}

}  // namespace

int Kv2AmplSortPartials(PartialSet& set, int n) { return SortPartials(set, n, a_cmp); }

int Kv2FreqSortPartials(PartialSet& set, int n) { return SortPartials(set, n, f_cmp); }

bool Kv2MultSpectralEnv(PartialSet const& in, PartialSet& out, float* env, float rate,
                        float rangeFactor, int envSize, int keepEnergy) {
    return SpectralEnv(in, out, env, rate, rangeFactor, envSize, keepEnergy, true);
}

bool Kv2SetSpectralEnv(PartialSet const& in, PartialSet& out, float* env, float rate,
                       float rangeFactor, int envSize, int keepEnergy) {
    return SpectralEnv(in, out, env, rate, rangeFactor, envSize, keepEnergy, false);
}

}  // namespace Kv2
