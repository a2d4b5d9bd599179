// Long comparison of the converter's "%f" and "%d" formatters
// (converter/FixedFormat.h) with the C library's snprintf, on tens of
// millions of values: every exact tie a float can hold and its two
// neighbours, ties among doubles, both zeros, infinities and NaNs of both
// signs (with payloads), subnormals, the extremes and the edges of the
// formatter's fast path, random float bit patterns, random double bit
// patterns and random doubles of the magnitudes analysis data holds; and
// every one of the 2^32 floats through the float overload against the
// double path.
//
//   sdif_format_check [SCALE]
//
// SCALE (default 1) multiplies the random samples.  Prints one line per
// family and exits 1 at the first difference, which it shows.
#include <cfloat>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "FixedFormat.h"

namespace {

// splitmix64, as the generator of the benchmark files.
struct Random {
    uint64_t state;
    uint64_t Next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    double Uniform() { return static_cast<double>(Next() >> 11) * (1.0 / 9007199254740992.0); }
};

double FromBits(uint64_t bits) {
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}
float FloatFromBits(uint32_t bits) {
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}
uint64_t Bits(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

long gChecked = 0;

void Fail(const char* family, double v, const char* want, int wantLen, const char* got,
          int gotLen) {
    std::printf(
        "MISMATCH in %s: value %a (bits 0x%016llx)\n  expected: \"%.*s\"\n"
        "  got:      \"%.*s\"\n",
        family, v, static_cast<unsigned long long>(Bits(v)), wantLen, want, gotLen, got);
    std::exit(1);
}

inline void Check(const char* family, double v) {
    char want[fixedformat::kMaxDoubleChars + 8];
    char got[fixedformat::kMaxDoubleChars + 8];
    const int wantLen = std::snprintf(want, sizeof want, "%f", v);
    const int gotLen = fixedformat::FormatF6(v, got);
    if (wantLen != gotLen || std::memcmp(want, got, static_cast<size_t>(gotLen)) != 0)
        Fail(family, v, want, wantLen, got, gotLen);
    ++gChecked;
}

inline void CheckInt(int v) {
    char want[16], got[16];
    const int wantLen = std::snprintf(want, sizeof want, "%d", v);
    const int gotLen = fixedformat::FormatInt(v, got);
    if (wantLen != gotLen || std::memcmp(want, got, static_cast<size_t>(gotLen)) != 0) {
        std::printf("MISMATCH in %%d: value %d\n  printf:    \"%.*s\"\n  FormatInt: \"%.*s\"\n", v,
                    wantLen, want, gotLen, got);
        std::exit(1);
    }
    ++gChecked;
}

// Both signs.
inline void CheckPair(const char* family, double v) {
    Check(family, v);
    Check(family, -v);
}

class Family {
   public:
    explicit Family(const char* name)
        : mName(name), mStart(gChecked), mT0(std::chrono::steady_clock::now()) {}
    ~Family() {
        const double s =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - mT0).count();
        std::printf("  %-64s %11ld values  %6.1f s\n", mName, gChecked - mStart, s);
        std::fflush(stdout);
    }
    const char* name() const { return mName; }

   private:
    const char* mName;
    long mStart;
    std::chrono::steady_clock::time_point mT0;
};

}  // namespace

int main(int argc, char** argv) {
    const long scale = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1;
    if (scale < 1) {
        std::fprintf(stderr, "usage: %s [SCALE >= 1]\n", argv[0]);
        return 2;
    }
    Random rng{0x5D1F2C01u};
    std::printf("FixedFormat against snprintf (scale %ld):\n", scale);

    {
        // A value has an exact tie at the sixth decimal when its seventh is
        // the last and is 5: exactly the odd multiples of 2^-7.  A float
        // holds them for odd j below 2^24; every one is checked, with both
        // float neighbours, which must round away from the tie.
        Family f("float ties j/128 (every odd j < 2^24), both signs");
        for (uint32_t j = 1; j < (1u << 24); j += 2) CheckPair(f.name(), std::ldexp(double(j), -7));
    }
    {
        Family f("float neighbours of every float tie, both signs");
        for (uint32_t j = 1; j < (1u << 24); j += 2) {
            const float t = static_cast<float>(std::ldexp(double(j), -7));
            CheckPair(f.name(), std::nextafter(t, 0.0f));
            CheckPair(f.name(), std::nextafter(t, INFINITY));
        }
    }
    {
        // Double ties reach 2^46 (odd j below 2^53); past 2^44 the formatter
        // hands over to snprintf, so both sides of that edge are covered.
        Family f("double ties: odd j < 2^22, random odd j < 2^53, neighbours");
        for (uint64_t j = 1; j < (uint64_t{1} << 22); j += 2) {
            const double t = std::ldexp(double(j), -7);
            CheckPair(f.name(), t);
        }
        for (long i = 0; i < 2000000 * scale; ++i) {
            const int bitsWanted = 1 + static_cast<int>(rng.Next() % 53);
            uint64_t j = (rng.Next() >> (64 - bitsWanted)) | 1;
            const double t = std::ldexp(double(j), -7);
            CheckPair(f.name(), t);
            CheckPair(f.name(), std::nextafter(t, 0.0));
            CheckPair(f.name(), std::nextafter(t, INFINITY));
        }
    }
    {
        Family f("zeros, infinities, NaNs of both signs and payloads");
        CheckPair(f.name(), 0.0);
        CheckPair(f.name(), INFINITY);
        CheckPair(f.name(), static_cast<double>(INFINITY));
        const uint64_t nans[] = {0x7FF8000000000000ull, 0x7FF0000000000001ull,
                                 0x7FF4000000000000ull, 0x7FFFFFFFFFFFFFFFull,
                                 0x7FF8000000000001ull, 0x7FFC000000000000ull};
        for (uint64_t n : nans) {
            Check(f.name(), FromBits(n));
            Check(f.name(), FromBits(n | (uint64_t{1} << 63)));
        }
        const uint32_t fnans[] = {0x7FC00000u, 0x7F800001u, 0x7FFFFFFFu, 0x7FA00000u};
        for (uint32_t n : fnans) {
            Check(f.name(), FloatFromBits(n));
            Check(f.name(), FloatFromBits(n | 0x80000000u));
        }
        Check(f.name(), std::nan(""));
        Check(f.name(), -std::nan(""));
        for (long i = 0; i < 100000; ++i) {
            const uint64_t payload = (rng.Next() & ((uint64_t{1} << 52) - 1)) | 1;
            Check(f.name(), FromBits(0x7FF0000000000000ull | payload));
            Check(f.name(), FromBits(0xFFF0000000000000ull | payload));
        }
    }
    {
        Family f("subnormals: double and float, edges and random");
        CheckPair(f.name(), DBL_TRUE_MIN);
        CheckPair(f.name(), DBL_MIN);
        CheckPair(f.name(), std::nextafter(DBL_MIN, 0.0));
        CheckPair(f.name(), FLT_TRUE_MIN);
        CheckPair(f.name(), FLT_MIN);
        CheckPair(f.name(), std::nextafter(FLT_MIN, 0.0f));
        for (long i = 0; i < 1000000 * scale; ++i) {
            CheckPair(f.name(), FromBits(rng.Next() & ((uint64_t{1} << 52) - 1)));
            CheckPair(f.name(), FloatFromBits(static_cast<uint32_t>(rng.Next()) & 0x7FFFFFu));
        }
    }
    {
        Family f("extremes and the formatter's edges (2^k and neighbours)");
        CheckPair(f.name(), DBL_MAX);
        CheckPair(f.name(), FLT_MAX);
        CheckPair(f.name(), std::nextafter(DBL_MAX, 0.0));
        CheckPair(f.name(), double(INT_MAX));
        CheckPair(f.name(), double(INT_MIN));
        for (int k = -1074; k <= 1023; ++k) {
            const double p = std::ldexp(1.0, k);
            CheckPair(f.name(), p);
            CheckPair(f.name(), std::nextafter(p, 0.0));
            CheckPair(f.name(), std::nextafter(p, INFINITY));
            CheckPair(f.name(), p * 1.5);
        }
        // Around the powers of ten, where the rounding carries into a new
        // integer digit (9.9999995 -> 10.000000).
        for (int k = -7; k <= 22; ++k) {
            const double p = std::pow(10.0, k);
            double v = p;
            for (int s = 0; s < 2000; ++s) v = std::nextafter(v, 0.0);
            for (int s = 0; s < 4000; ++s) {
                CheckPair(f.name(), v);
                CheckPair(f.name(), static_cast<float>(v));
                v = std::nextafter(v, INFINITY);
            }
            const double half = 0.5e-6;  // values just under x.xxxxxx5 around p
            CheckPair(f.name(), p - half);
            CheckPair(f.name(), std::nextafter(p - half, 0.0));
            CheckPair(f.name(), std::nextafter(p - half, INFINITY));
        }
    }
    {
        Family f("random float bit patterns");
        for (long i = 0; i < 12000000 * scale; ++i)
            Check(f.name(), FloatFromBits(static_cast<uint32_t>(rng.Next())));
    }
    {
        // Half of random bit patterns are beyond 1e16 or below 1e-16: both
        // are useful (the slow path, and values that round to zero).
        Family f("random double bit patterns");
        for (long i = 0; i < 3000000 * scale; ++i) Check(f.name(), FromBits(rng.Next()));
    }
    {
        Family f("random doubles, magnitudes 1e-9 .. 1e16, both signs");
        for (long i = 0; i < 6000000 * scale; ++i) {
            const double mag = std::pow(10.0, -9.0 + 25.0 * rng.Uniform());
            Check(f.name(), (rng.Next() & 1) ? mag : -mag);
        }
    }
    {
        Family f("random doubles of analysis data: times, Hz, amplitudes, phases");
        for (long i = 0; i < 2000000 * scale; ++i) {
            Check(f.name(), static_cast<double>(rng.Next() % 400000) * (256.0 / 44100.0));
            Check(f.name(), static_cast<float>(20.0 + 22000.0 * rng.Uniform()));
            Check(f.name(), static_cast<float>(std::pow(10.0, -7.0 * rng.Uniform())));
            Check(f.name(), static_cast<float>((rng.Uniform() * 2.0 - 1.0) * 3.14159265358979));
        }
    }
    {
        // The float overload must print what the double path prints for the
        // same value widened; that path is the one compared with printf.
        // From 2^44 up (biased exponents 171 to 254) the float overload only
        // forwards to the double path, which then prints with snprintf.
        Family f("all floats below 2^44, inf, NaN: float path = double path");
        char a[fixedformat::kMaxDoubleChars + 8];
        char b[fixedformat::kMaxDoubleChars + 8];
        for (uint64_t x = 0; x < (uint64_t{1} << 32); ++x) {
            const uint32_t biased = static_cast<uint32_t>(x >> 23) & 0xFF;
            if (biased >= 171 && biased <= 254) {
                x |= 0x7FFFFF;  // the rest of this exponent
                continue;
            }
            const float v = FloatFromBits(static_cast<uint32_t>(x));
            const int na = fixedformat::FormatF6(v, a);
            const int nb = fixedformat::FormatF6(static_cast<double>(v), b);
            if (na != nb || std::memcmp(a, b, static_cast<size_t>(na)) != 0)
                Fail(f.name(), v, b, nb, a, na);
            ++gChecked;
        }
    }
    {
        Family f("%d: edges, 0 .. 2^20 both signs, random");
        CheckInt(INT_MIN);
        CheckInt(INT_MAX);
        CheckInt(INT_MIN + 1);
        for (int v = 0; v < (1 << 20); ++v) {
            CheckInt(v);
            CheckInt(-v);
        }
        for (long i = 0; i < 1000000; ++i) CheckInt(static_cast<int>(rng.Next()));
    }
    std::printf("%ld values, 0 differences\n", gChecked);
    return 0;
}
