// Exact "%f" (six decimals) and "%d" formatting without printf, for the
// converter's hot loop.  The text is byte-identical to glibc's printf in the
// default rounding mode: the binary value is scaled by 10^6 exactly in integers
// (64 bits for floats widened to double, 128 bits for other doubles) and
// rounded half to even, as printf rounds the exact decimal expansion.  Values
// too large for that path go through snprintf.
#ifndef SDIF2COLUMNS_FIXED_FORMAT_H
#define SDIF2COLUMNS_FIXED_FORMAT_H

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace fixedformat {

// Room for any "%f" of a double (309 integer digits, sign, point, 6 decimals).
constexpr int kMaxDoubleChars = 330;

namespace detail {

// "00" to "99": two digits per division.
constexpr char kPairs[201] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

inline void PutPair(uint32_t u, char* p) { std::memcpy(p, kPairs + 2 * u, 2); }

// The six digits of fp < 10^6, leading zeros included.  fp * 429497 holds
// fp / 10^4 above bit 32 and the rest as a fraction of 2^32 that yields the
// next two digits at each multiplication by 100 (exact for every fp below
// 10^6, checked exhaustively).
inline void PutDecimals(uint32_t fp, char* p) {
    uint64_t y = static_cast<uint64_t>(fp) * 429497u;
    PutPair(static_cast<uint32_t>(y >> 32), p);
    y = (y & 0xFFFFFFFFu) * 100u;
    PutPair(static_cast<uint32_t>(y >> 32), p + 2);
    y = (y & 0xFFFFFFFFu) * 100u;
    PutPair(static_cast<uint32_t>(y >> 32), p + 4);
}

// 10^0 to 10^19.
struct Pow10Table {
    uint64_t v[20];
    constexpr Pow10Table() : v() {
        uint64_t p = 1;
        for (int i = 0; i < 20; ++i, p *= 10) v[i] = p;
    }
};
inline constexpr Pow10Table kPow10{};

// Number of decimal digits of u.
inline int CountDigits(uint64_t u) {
    // With b bits, u has t or t + 1 digits, t = floor(b * log10(2)), and
    // 1233 / 4096 is just under log10(2).  u | 1 has the digits of u (an
    // even u is never one below a power of ten) and is not 0.
    const uint64_t v = u | 1;
    const int t = ((64 - __builtin_clzll(v)) * 1233) >> 12;
    return t + (v >= kPow10.v[t]);
}

// Writes the decimal digits of u at p; answers the end.
inline char* PutUnsigned(uint64_t u, char* p) {
    char* const end = p + CountDigits(u);
    char* s = end;
    while (u >= 100) {
        s -= 2;
        std::memcpy(s, kPairs + 2 * (u % 100), 2);
        u /= 100;
    }
    if (u >= 10) {
        std::memcpy(s - 2, kPairs + 2 * u, 2);
    } else {
        s[-1] = static_cast<char>('0' + u);
    }
    return end;
}

}  // namespace detail

// Writes "%f" of v at out (no terminator); answers the number of chars.
inline int FormatF6(double v, char* out) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const bool negative = (bits >> 63) != 0;
    const int biased = static_cast<int>((bits >> 52) & 0x7FF);
    uint64_t mant = bits & ((uint64_t{1} << 52) - 1);

    if (biased == 0x7FF) {  // printf prints the sign of NaNs too
        const char* t = mant ? (negative ? "-nan" : "nan") : (negative ? "-inf" : "inf");
        int n = static_cast<int>(std::strlen(t));
        std::memcpy(out, t, static_cast<size_t>(n));
        return n;
    }
    int exp2;  // v = mant * 2^exp2
    if (biased == 0) {
        exp2 = -1074;
    } else {
        mant |= uint64_t{1} << 52;
        exp2 = biased - 1075;
    }
    // From 2^44 up the rounded value may not fit 64 bits; such magnitudes are
    // rare in analysis data and take the slow path.
    if (exp2 > -9) {
        return std::snprintf(out, kMaxDoubleChars, "%f", v);
    }

    // q = round(v * 10^6), half to even: the digits printf prints; ip and fp
    // its integer and fractional parts (ip * 10^6 + fp = q).
    uint64_t ip = 0;
    uint32_t fp = 0;
    if (mant != 0) {
        // Without its trailing zero bits a float widened to double has at
        // most 24 significant bits, so mant * 10^6 fits 64 bits.
        const int tz = __builtin_ctzll(mant);
        mant >>= tz;
        const int shift = -exp2 - tz;  // v = mant / 2^shift
        if (shift > 0 && shift < 64 && mant < (uint64_t{1} << 44)) {
            // The integer part comes from the bits above the point, so no
            // division by 10^6 is needed; rounding may carry into it.
            const uint64_t scaled = mant * 1000000u;
            const uint64_t rem = scaled & ((uint64_t{1} << shift) - 1);
            const uint64_t half = uint64_t{1} << (shift - 1);
            uint64_t q = scaled >> shift;
            q += (rem > half) | ((rem == half) & q);
            ip = mant >> shift;
            fp = static_cast<uint32_t>(q - ip * 1000000u);
            if (fp == 1000000u) {
                ++ip;
                fp = 0;
            }
        } else {
            uint64_t q = 0;
            if (shift <= 0) {
                q = (mant << -shift) * 1000000u;  // an integer below 2^44
            } else if (shift < 127) {
                // mant * 10^6 below 2^73; 0 when v is below 2^-54.
                const unsigned __int128 scaled = static_cast<unsigned __int128>(mant) * 1000000u;
                const unsigned __int128 one = 1;
                const unsigned __int128 rem = scaled & ((one << shift) - 1);
                const unsigned __int128 half = one << (shift - 1);
                q = static_cast<uint64_t>(scaled >> shift);
                if (rem > half || (rem == half && (q & 1))) ++q;
            }
            ip = q / 1000000u;
            fp = static_cast<uint32_t>(q % 1000000u);
        }
    }

    *out = '-';  // kept only when negative
    char* p = out + negative;
    if (ip < 10)  // amplitudes, phases: one digit without counting
        *p++ = static_cast<char>('0' + ip);
    else
        p = detail::PutUnsigned(ip, p);
    *p = '.';
    detail::PutDecimals(fp, p + 1);
    return static_cast<int>(p + 7 - out);
}

// Writes "%f" of the float v widened to double, as FormatF6 does; shorter
// on the path every float of analysis data takes (24 significant bits at
// most, so the scaled value always fits 64 bits).
inline int FormatF6(float v, char* out) {
    uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    const int biased = static_cast<int>((bits >> 23) & 0xFF);
    // v = mant / 2^shift with mant below 2^24; from 2^32 up, infinities and
    // NaNs included, the double path answers.
    const int shift = biased == 0 ? 149 : 150 - biased;
    if (shift <= 0 || shift >= 64) return FormatF6(static_cast<double>(v), out);
    const uint64_t mant = biased == 0 ? (bits & 0x7FFFFFu) : ((bits & 0x7FFFFFu) | 0x800000u);
    const uint64_t scaled = mant * 1000000u;
    const uint64_t rem = scaled & ((uint64_t{1} << shift) - 1);
    const uint64_t half = uint64_t{1} << (shift - 1);
    uint64_t q = scaled >> shift;
    q += (rem > half) | ((rem == half) & q);
    uint32_t ip = static_cast<uint32_t>(mant >> shift);
    uint32_t fp = static_cast<uint32_t>(q - uint64_t{ip} * 1000000u);
    if (fp == 1000000u) {
        ++ip;
        fp = 0;
    }
    *out = '-';  // kept only when negative
    char* p = out + (bits >> 31);
    if (ip < 10)
        *p++ = static_cast<char>('0' + ip);
    else
        p = detail::PutUnsigned(ip, p);
    *p = '.';
    detail::PutDecimals(fp, p + 1);
    return static_cast<int>(p + 7 - out);
}

// Writes "%d" of v at out; answers the number of chars.
inline int FormatInt(int v, char* out) {
    const uint32_t u = v < 0 ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
    char* p = out;
    if (v < 0) *p++ = '-';
    return static_cast<int>(detail::PutUnsigned(u, p) - out);
}

}  // namespace fixedformat

#endif
