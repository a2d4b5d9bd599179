#include "Kv2Synt.h"

#include <cmath>
#include <cstdint>

#include "SdifAssert.h"

namespace Kv2 {

namespace {

constexpr int kTableSize = 16384;
// Kept as the stored constants rather than recomputed so every build indexes
// the table identically: 2 pi / 16384 (0x39C90FDB) and 16384 / 2 pi
// (0x4522F983), each rounded to float.
constexpr float kStep = 0.00038349521f;
constexpr float kInvStep = 2607.5945f;

constexpr double kTwoPi = 6.283185307179586;
constexpr double kInvTwoPi = 0.15915494309189535;
constexpr float kTwoPiF = 6.2831855f;

SineTable gTable = {nullptr, kStep, kInvStep, 0, kTableSize - 1};

// Nearest integer, halves away from zero.
inline double RoundHalfAway(double x) {
    return x >= 0.0 ? std::trunc(x + 0.5) : std::trunc(x - 0.5);
}

// Truncated table position.  Phases far beyond the float's integer range
// would overflow an int; those go through 64 bits (and 0 past that), which
// leaves every ordinary position exactly as a plain int conversion would.
inline int TableIndex(float x) {
    if (x > -2147483648.0f && x < 2147483648.0f) return static_cast<int>(x) & (kTableSize - 1);
    if (x > -9.2e18f && x < 9.2e18f)
        return static_cast<int>(static_cast<int64_t>(x) & (kTableSize - 1));
    return 0;
}

// Amplitude and frequency ramp linearly over the segment; the phase is the
// current frequency times the elapsed time rather than the integral of the
// frequency, as the library has always synthesised it.  The phase reached at
// the end is written back into p1 so the next segment starts from it; answers
// the whole turns taken out of it.
int add_osc_WithoutPhase(PartialSet::PartialParam const& p0, PartialSet::PartialParam& p1,
                         float* out, double duration, double firstOffset, double samplePeriod,
                         int count) {
    const float* table = gTable.table;
    const float invStep = gTable.invStep;
    const double sa = (static_cast<double>(p1.amp) - p0.amp) / duration;
    const double sf = (static_cast<double>(p1.freq) - p0.freq) / duration;
    double a = p0.amp + sa * firstOffset;
    float f = static_cast<float>(p0.freq + sf * firstOffset);
    const float phi0 = static_cast<float>(p0.phase - kTwoPi * std::trunc(p0.phase / kTwoPi));
    const float fStep = static_cast<float>(sf * samplePeriod);
    const double aStep = sa * samplePeriod;
    for (int i = 0; i < count; ++i) {
        double t = i * samplePeriod + firstOffset;
        float theta = static_cast<float>(t * kTwoPi * f + phi0);
        out[i] += static_cast<float>(table[TableIndex(theta * invStep + 0.5f)] * a);
        f += fStep;
        a += aStep;
    }
    const float thetaEnd = static_cast<float>(duration * kTwoPi * f + phi0);
    const double k = RoundHalfAway(thetaEnd * kInvTwoPi);
    p1.phase = static_cast<float>(thetaEnd - kTwoPi * k);
    return (k > -2147483648.0 && k < 2147483648.0) ? static_cast<int>(k) : 0;
}

// Cubic phase through both records' phases and frequencies, evaluated in
// table units; amplitude ramps linearly.  p1 is left as it is.
int add_osc_WithPhase(PartialSet::PartialParam const& p0, PartialSet::PartialParam& p1, float* out,
                      double duration, double firstOffset, double samplePeriod, int count) {
    const float* table = gTable.table;
    const float invStep = gTable.invStep;
    float a3, a2, a1, a0;
    kv_get3Ord_phase_coef(p0.freq, p1.freq, p0.phase, p1.phase, static_cast<float>(duration), &a3,
                          &a2, &a1, &a0);
    const float c3 = a3 * invStep;
    const float c2 = a2 * invStep;
    const float c1 = a1 * invStep;
    const float c0 = a0 * invStep + 0.5f;
    const float sa = static_cast<float>((static_cast<double>(p1.amp) - p0.amp) / duration);
    float a = static_cast<float>(p0.amp + firstOffset * sa);
    const float aStep = static_cast<float>(sa * samplePeriod);
    for (int i = 0; i < count; ++i) {
        float t = static_cast<float>(i * samplePeriod + firstOffset);
        out[i] += a * table[TableIndex(t * ((t * c3 + c2) * t + c1) + c0)];
        a += aStep;
    }
    return 0;
}

}  // namespace

SineTable const& Kv2GetSineTable() { return gTable; }

bool Kv2AddSyntInit() {
    Kv2Synth_FreeStatic();
    gTable.table = new float[kTableSize];
    for (int i = 0; i < kTableSize; ++i) gTable.table[i] = std::sin(static_cast<float>(i) * kStep);
    gTable.step = kStep;
    gTable.invStep = kInvStep;
    gTable.size = kTableSize;
    gTable.mask = kTableSize - 1;
    return true;
}

void Kv2Synth_FreeStatic() {
    delete[] gTable.table;
    gTable.table = nullptr;
    gTable.size = 0;
}

void kv_get3Ord_phase_coef(float f0, float f1, float phase0, float phase1, float duration,
                           float* a3, float* a2, float* a1, float* a0) {
    const float iT = 1.0f / duration;
    const float delta = phase1 - phase0;
    const float w0 = kTwoPiF * f0;
    const float w1 = kTwoPiF * f1;
    const double x = duration * (f0 + f1) * 0.5 - delta * kInvTwoPi;
    const float m = static_cast<float>(RoundHalfAway(x));
    const float s = (delta + kTwoPiF * m) * iT;
    *a3 = iT * iT * (w0 + w1 - 2.0f * s);
    *a2 = iT * (3.0f * s - w1 - 2.0f * w0);
    *a1 = w0;
    *a0 = phase0;
}

void kv_get3Ord_phase_coef_d(double f0, double f1, double phase0, double phase1, double duration,
                             double* a3, double* a2, double* a1, double* a0) {
    const double iT = 1.0 / duration;
    const double delta = phase1 - phase0;
    const double w0 = kTwoPi * f0;
    const double w1 = kTwoPi * f1;
    const double m = RoundHalfAway(duration * (f0 + f1) * 0.5 - delta * kInvTwoPi);
    const double s = (delta + kTwoPi * m) * iT;
    *a3 = iT * iT * (w0 + w1 - 2.0 * s);
    *a2 = iT * (3.0 * s - w1 - 2.0 * w0);
    *a1 = w0;
    *a0 = phase0;
}

int Kv2AddSynt(PartialSet const& from, PartialSet& to, float* out, int outLength, int offset,
               float sampleRate, bool withPhase, int* firstSample) {
    SdifAssert(gTable.table != nullptr);
    const double t0 = from.time;
    const double T = to.time - t0;
    if (T < 0.0) return -1;
    if (!(T > 0.0)) return 0;  // equal times, or a NaN time

    const double dt = 1.0 / sampleRate;
    const double firstPos = std::ceil(t0 * sampleRate) + offset;
    const double x = to.time * sampleRate;
    double lastPos = std::floor(x);
    if (lastPos == std::ceil(x)) lastPos -= 1.0;  // the sample at to.time opens the next segment
    // Sample numbers are ints; a segment beyond their range cannot be rendered.
    if (!(firstPos > -2147483648.0 && firstPos < 2147483647.0)) return 0;
    if (!(lastPos > -2147483648.0 && lastPos < 2147483647.0)) return 0;
    const int first = static_cast<int>(firstPos);
    if (firstSample) *firstSample = first;
    const double firstOffset = first * dt - t0;
    const int last = static_cast<int>(lastPos);
    if (last < first) return 0;

    long long span = static_cast<long long>(last) - first + 1;
    const int count = static_cast<int>(span < outLength ? span : (outLength > 0 ? outLength : 0));
    for (int i = 0; i < count; ++i) out[i] = 0.0f;

    // Records are paired by index, not looked up by ident: frames aligned by
    // syncToLeft keep a partial at one index.
    const int n = from.size() < to.size() ? from.size() : to.size();
    for (int i = 0; i < n; ++i) {
        PartialSet::PartialParam const& p0 = from[i];
        PartialSet::PartialParam& p1 = to[i];
        const bool on0 = p0.state == PartialSet::ePartial || p0.state == PartialSet::eLast;
        const bool on1 = p1.state == PartialSet::ePartial || p1.state == PartialSet::eLast;
        if (!on0 || !on1 || p0.id != p1.id) continue;
        if (withPhase)
            add_osc_WithPhase(p0, p1, out, T, firstOffset, dt, count);
        else
            add_osc_WithoutPhase(p0, p1, out, T, firstOffset, dt, count);
    }
    return count;
}

}  // namespace Kv2
