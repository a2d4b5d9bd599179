// Exact "%f" (six decimals) and "%d" formatting without printf, for the
// converter's hot loop.  The text is byte-identical to glibc's printf in the
// default rounding mode: the binary value is scaled by 10^6 exactly in 128-bit
// integers and rounded half to even, as printf rounds the exact decimal
// expansion.  Values too large for that path go through snprintf.
#ifndef SDIF2COLUMNS_FIXED_FORMAT_H
#define SDIF2COLUMNS_FIXED_FORMAT_H

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace fixedformat {

// Room for any "%f" of a double (309 integer digits, sign, point, 6 decimals).
constexpr int kMaxDoubleChars = 330;

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

    // v * 10^6 = mant * 10^6 / 2^shift, with mant * 10^6 below 2^73.
    const unsigned __int128 scaled = static_cast<unsigned __int128>(mant) * 1000000u;
    const int shift = -exp2;
    uint64_t q = 0;  // round(v * 10^6), half to even; 0 when below 2^-54
    if (shift < 127) {
        const unsigned __int128 one = 1;
        const unsigned __int128 rem = scaled & ((one << shift) - 1);
        const unsigned __int128 half = one << (shift - 1);
        q = static_cast<uint64_t>(scaled >> shift);
        if (rem > half || (rem == half && (q & 1))) ++q;
    }

    char digits[24];
    int nd = 0;
    uint64_t ip = q / 1000000u;
    uint32_t fp = static_cast<uint32_t>(q % 1000000u);
    do {
        digits[nd++] = static_cast<char>('0' + ip % 10);
        ip /= 10;
    } while (ip);
    char* p = out;
    if (negative) *p++ = '-';
    while (nd) *p++ = digits[--nd];
    *p++ = '.';
    for (int i = 5; i >= 0; --i) {
        p[i] = static_cast<char>('0' + fp % 10);
        fp /= 10;
    }
    p += 6;
    return static_cast<int>(p - out);
}

// Writes "%d" of v at out; answers the number of chars.
inline int FormatInt(int v, char* out) {
    char digits[12];
    int nd = 0;
    uint32_t u = v < 0 ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
    do {
        digits[nd++] = static_cast<char>('0' + u % 10);
        u /= 10;
    } while (u);
    char* p = out;
    if (v < 0) *p++ = '-';
    while (nd) *p++ = digits[--nd];
    return static_cast<int>(p - out);
}

}  // namespace fixedformat

#endif
