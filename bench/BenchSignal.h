// The synthetic partial-tracking material of the benchmarks, shared by the
// file generator and the micro-benchmarks: partial tracks that are born and
// die, with indices that keep growing, smoothly varying frequency and
// amplitude, and phase advancing with the frequency (wrapped to [-pi, pi]);
// rows in rising index order.  Deterministic for a given seed.
#ifndef SDIF_BENCH_SIGNAL_H
#define SDIF_BENCH_SIGNAL_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "sdif.h"

namespace benchsignal {

constexpr double kPi = 3.14159265358979323846;
constexpr double kHop = 256.0 / 44100.0;  // seconds between frames
constexpr int kMeanPartials = 100;        // partials alive in a frame, on average
constexpr double kMeanLife = 60.0;        // frames a partial lives, on average

// splitmix64: small, fast, and the same on every platform.
class Random {
   public:
    explicit Random(uint64_t seed) : mState(seed) {}
    uint64_t Next() {
        uint64_t z = (mState += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    // Uniform in [0, 1).
    double Uniform() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }
    double Range(double lo, double hi) { return lo + (hi - lo) * Uniform(); }
    // Exponential with the given mean, at least 1.
    int Life(double mean) {
        const double u = 1.0 - Uniform();  // (0, 1]
        const int n = static_cast<int>(std::ceil(-mean * std::log(u)));
        return n < 1 ? 1 : n;
    }

   private:
    uint64_t mState;
};

struct Partial {
    float index;      // SDIF partial index, written as a Float4 cell
    double baseFreq;  // Hz
    double vibDepth;  // relative frequency deviation
    double vibRate;   // radians per frame
    double vibPhase;  // radians
    double peakAmp;   // linear amplitude at the top of the envelope
    double tremRate;  // radians per frame
    double phase;     // running phase, radians, wrapped
    int age;          // frames lived so far
    int life;         // frames it will live
};

// Into [-pi, pi].
inline double Wrap(double phi) { return phi - 2.0 * kPi * std::floor((phi + kPi) / (2.0 * kPi)); }

class Generator {
   public:
    explicit Generator(uint64_t seed) : mRandom(seed) {
        // Start in the steady state: partials already alive with part of
        // their life behind them.
        for (int i = 0; i < kMeanPartials; ++i) {
            Born();
            Partial& p = mAlive.back();
            p.age = static_cast<int>(mRandom.Range(0.0, p.life));
        }
    }

    // The rows (index, frequency, amplitude, phase) of the next frame.
    void NextFrame(std::vector<float>& rows) {
        // Births at the rate that keeps the mean population.
        mBirthCredit += kMeanPartials / kMeanLife;
        while (mBirthCredit >= 1.0) {
            mBirthCredit -= 1.0;
            if (mRandom.Uniform() < 0.98) Born();
        }
        if (mRandom.Uniform() < 0.02) Born();

        rows.clear();
        for (Partial& p : mAlive) {
            const double a = p.age;
            const double freq =
                p.baseFreq * (1.0 + p.vibDepth * std::sin(p.vibRate * a + p.vibPhase));
            // Attack of a few frames, slow decay, a little tremolo.
            const double attack = std::min(1.0, (a + 1.0) / 4.0);
            const double release = std::min(1.0, (p.life - a) / 6.0);
            const double amp = p.peakAmp * attack * release * std::exp(-a / (4.0 * kMeanLife)) *
                               (1.0 + 0.1 * std::sin(p.tremRate * a));
            rows.push_back(p.index);
            rows.push_back(static_cast<float>(freq));
            rows.push_back(static_cast<float>(amp));
            rows.push_back(static_cast<float>(p.phase));
            p.phase = Wrap(p.phase + 2.0 * kPi * freq * kHop);
            ++p.age;
        }
        // The dead leave; the rest keep their (rising) index order.
        size_t kept = 0;
        for (size_t i = 0; i < mAlive.size(); ++i)
            if (mAlive[i].age < mAlive[i].life) mAlive[kept++] = mAlive[i];
        mAlive.resize(kept);
    }

   private:
    void Born() {
        Partial p;
        p.index = static_cast<float>(mNextIndex++);
        p.baseFreq = 40.0 * std::pow(2.0, mRandom.Range(0.0, 8.5));  // 40 Hz to 14.5 kHz
        p.vibDepth = mRandom.Range(0.0, 0.01);
        p.vibRate = mRandom.Range(0.02, 0.2);
        p.vibPhase = mRandom.Range(-kPi, kPi);
        p.peakAmp = std::pow(10.0, mRandom.Range(-4.0, -0.5));
        p.tremRate = mRandom.Range(0.01, 0.1);
        p.phase = mRandom.Range(-kPi, kPi);
        p.age = 0;
        p.life = mRandom.Life(kMeanLife);
        mAlive.push_back(p);
    }

    Random mRandom;
    std::vector<Partial> mAlive;  // in rising index order
    long mNextIndex = 1;
    double mBirthCredit = 0.0;
};

// Write frames frames of the material of seed to path as a 1TRC file (hop
// kHop, stream 0, one Float4 matrix per frame).  Answers the number of rows
// written, -1 on failure.  The SDIF library must be started.
inline long WriteTrcFile(const char* path, long frames, uint64_t seed) {
    SdifFileT* file = SdifFOpen(path, eWriteFile);
    if (!file) return -1;
    SdifFWriteGeneralHeader(file);
    SdifFWriteAllASCIIChunks(file);
    const SdifSignature trc = SdifStringToSignature("1TRC");
    Generator gen(seed);
    std::vector<float> rows;
    long nbRows = 0;
    for (long n = 0; n < frames; ++n) {
        gen.NextFrame(rows);
        const SdifUInt4 nbRow = static_cast<SdifUInt4>(rows.size() / 4);
        if (SdifFWriteFrameAndOneMatrix(file, trc, 0, static_cast<double>(n) * kHop, trc, eFloat4,
                                        nbRow, 4, rows.data()) == 0) {
            SdifFClose(file);
            return -1;
        }
        nbRows += nbRow;
    }
    SdifFClose(file);
    return nbRows;
}

}  // namespace benchsignal

#endif
