// The converter's number formatting must stay byte-identical to printf.
#include "FixedFormat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

namespace {

std::string Fast(double v) {
    char buf[fixedformat::kMaxDoubleChars + 1];
    int n = fixedformat::FormatF6(v, buf);
    return std::string(buf, static_cast<size_t>(n));
}

std::string Printf(double v) {
    char buf[400];
    std::snprintf(buf, sizeof buf, "%f", v);
    return buf;
}

double FromBits(uint64_t bits) {
    double d;
    std::memcpy(&d, &bits, 8);
    return d;
}

}  // namespace

TEST(FormatF6, SpecialValuesAndSignsMatchPrintf) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double v : {0.0, -0.0, inf, -inf, nan, -nan, 1e-7, -1e-7, 4.9e-324, -4.9e-324,
                     std::numeric_limits<double>::min(), std::numeric_limits<double>::max(),
                     -std::numeric_limits<double>::max(), 17592186044415.996, 17592186044416.0,
                     1e15, 123456789.123456789})
        EXPECT_EQ(Fast(v), Printf(v)) << std::hexfloat << v;
    EXPECT_EQ(Fast(-1e-9), "-0.000000");
    EXPECT_EQ(Fast(-nan), "-nan");
}

TEST(FormatF6, ExactTiesRoundHalfToEven) {
    // (2k+1)/128 has a 5 exactly in the seventh decimal.
    for (int64_t k = -200000; k < 200000; ++k) {
        const double v = static_cast<double>(2 * k + 1) / 128.0;
        ASSERT_EQ(Fast(v), Printf(v)) << v;
    }
    EXPECT_EQ(Fast(1.0 / 128), "0.007812");
    EXPECT_EQ(Fast(3.0 / 128), "0.023438");
}

TEST(FormatF6, RandomFloatsAndDoublesMatchPrintf) {
    std::mt19937_64 rng(20261121);
    for (int i = 0; i < 1500000; ++i) {
        const uint64_t r = rng();
        float f;
        const uint32_t fb = static_cast<uint32_t>(r);
        std::memcpy(&f, &fb, 4);
        ASSERT_EQ(Fast(f), Printf(f)) << std::hexfloat << f;
        const double d = FromBits(r);
        ASSERT_EQ(Fast(d), Printf(d)) << std::hexfloat << d;
        // Values of the size analysis data has.
        const double a = static_cast<double>(static_cast<int64_t>(r % 40000000000ULL)) / 1e6 - 2e4;
        ASSERT_EQ(Fast(a), Printf(a)) << a;
    }
}

TEST(FormatInt, MatchesPrintfAtTheExtremes) {
    char buf[16];
    for (int v : {0, 1, -1, 9, 10, 1000, -1000, 2147483647, -2147483647 - 1}) {
        int n = fixedformat::FormatInt(v, buf);
        char ref[16];
        std::snprintf(ref, sizeof ref, "%d", v);
        EXPECT_EQ(std::string(buf, static_cast<size_t>(n)), ref);
    }
}
