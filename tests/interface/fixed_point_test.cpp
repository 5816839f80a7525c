// SPDX-License-Identifier: BSD-2-Clause
// The basic operators against exact arithmetic in 64 bits: all 16-bit values where there is one operand, all pairs of
// nasty values where there are two.
#include "common/fixed_point.h"

#include <climits>
#include <gtest/gtest.h>
#include <vector>

using namespace ryxsc;

namespace {

int64_t clamp16(int64_t x) {
    return std::clamp<int64_t>(x, -32768, 32767);
}
int64_t clamp32(int64_t x) {
    return std::clamp<int64_t>(x, INT32_MIN, INT32_MAX);
}
// x * 2^count, rounded down. Counts beyond 32 make no difference to what 32 bits can hold of it.
int64_t scaled(int64_t x, int64_t count) {
    count = std::clamp<int64_t>(count, -32, 32);
    return count < 0 ? x >> -count : x * (int64_t{1} << count);
}
// x / 2^count, rounded to nearest, ties upwards.
int64_t scaledDown(int64_t x, int64_t count) {
    count = std::min<int64_t>(count, 33);
    return count <= 0 ? scaled(x, -count) : (x + (int64_t{1} << (count - 1))) >> count;
}

// Powers of two and their neighbours of both signs, up to the extremes, and a few values without a pattern.
template <class T> std::vector<T> nastyValues() {
    std::vector<T> values = {0, T(0x5A5A), T(-0x1234), T(0x12345678), T(-0x6789ABCD)};
    for (int bit = 0; bit < std::numeric_limits<T>::digits; ++bit)
        for (const int64_t offset : {-1, 0, 1})
            for (const int64_t sign : {-1, 1})
                values.push_back(static_cast<T>(sign * (int64_t{1} << bit) + offset));
    values.push_back(std::numeric_limits<T>::min());
    values.push_back(std::numeric_limits<T>::min() + 1);
    values.push_back(std::numeric_limits<T>::max());
    return values;
}

const std::vector<int16_t> words = nastyValues<int16_t>();
const std::vector<int32_t> longs = nastyValues<int32_t>();
const std::vector<int> shiftCounts = [] {
    std::vector<int> counts = {INT_MIN, INT_MIN + 1, -1000, 1000, INT_MAX};
    for (int count = -36; count <= 36; ++count)
        counts.push_back(count);
    return counts;
}();

template <class T> int normShift(T x) {
    int count = 0;
    for (int64_t y = x; y != 0 && 2 * y == static_cast<T>(2 * y); y *= 2)
        ++count;
    return count;
}

TEST(FixedPoint, OperatorsOfOneWordAreRightForEveryWord) {
    for (int i = INT16_MIN; i <= INT16_MAX; ++i) {
        const auto x = static_cast<int16_t>(i);
        ASSERT_EQ(negate(x), clamp16(-i)) << i;
        ASSERT_EQ(abs_s(x), clamp16(std::abs(i))) << i;
        ASSERT_EQ(norm_s(x), normShift(x)) << i;
        ASSERT_EQ(L_deposit_h(x), i * 65536) << i;
        ASSERT_EQ(L_deposit_l(x), i) << i;
        for (const int count : shiftCounts) {
            ASSERT_EQ(shl(x, count), clamp16(scaled(i, count))) << i << ", " << count;
            ASSERT_EQ(shr(x, count), clamp16(scaled(i, -int64_t{count}))) << i << ", " << count;
            ASSERT_EQ(shr_r(x, count), clamp16(scaledDown(i, count))) << i << ", " << count;
        }
    }
}

TEST(FixedPoint, OperatorsOfOneLongAreRightAtTheExtremes) {
    for (const int32_t x : longs) {
        const int64_t exact = x;
        ASSERT_EQ(L_negate(x), clamp32(-exact)) << x;
        ASSERT_EQ(L_abs(x), clamp32(std::abs(exact))) << x;
        ASSERT_EQ(norm_l(x), normShift(x)) << x;
        ASSERT_EQ(extract_h(x), exact >> 16) << x;
        ASSERT_EQ(extract_l(x), static_cast<int16_t>(exact & 0xffff)) << x;
        ASSERT_EQ(ryxsc::round(x), clamp32(exact + 0x8000) >> 16) << x;
        ASSERT_EQ(sat16(x), clamp16(exact)) << x;
        ASSERT_EQ(wrap16(x), static_cast<int16_t>(exact & 0xffff)) << x;
        ASSERT_EQ(negateWhere(0, x), x);
        ASSERT_EQ(negateWhere(-1, x), wrapSub32(0, x)) << x;
        if (x > 0) {
            ASSERT_EQ(exact >> floorLog2(static_cast<uint32_t>(x)), 1) << x;
        }
        int16_t hi = 0, lo = 0;
        L_Extract(x, hi, lo);
        ASSERT_EQ(L_Comp(hi, lo), exact & ~int64_t{1}) << x;
        ASSERT_GE(lo, 0) << x;
        for (const int count : shiftCounts) {
            ASSERT_EQ(L_shl(x, count), clamp32(scaled(x, count))) << x << ", " << count;
            ASSERT_EQ(L_shr(x, count), clamp32(scaled(x, -int64_t{count}))) << x << ", " << count;
            ASSERT_EQ(L_shr_r(x, count), clamp32(scaledDown(x, count))) << x << ", " << count;
        }
    }
}

TEST(FixedPoint, OperatorsOfTwoValuesSaturateOrWrapAsTheirNamesSay) {
    for (const int16_t x : words) {
        for (const int16_t y : words) {
            const int64_t product = int64_t{x} * y;
            ASSERT_EQ(add(x, y), clamp16(x + y)) << x << ", " << y;
            ASSERT_EQ(sub(x, y), clamp16(x - y)) << x << ", " << y;
            ASSERT_EQ(mult(x, y), clamp16(product >> 15)) << x << ", " << y;
            ASSERT_EQ(mult_r(x, y), clamp16((product + 0x4000) >> 15)) << x << ", " << y;
            ASSERT_EQ(L_mult(x, y), clamp32(2 * product)) << x << ", " << y;
            for (const int32_t acc : longs) {
                ASSERT_EQ(L_mac(acc, x, y), clamp32(acc + clamp32(2 * product))) << acc << ", " << x << ", " << y;
                ASSERT_EQ(L_msu(acc, x, y), clamp32(acc - clamp32(2 * product))) << acc << ", " << x << ", " << y;
            }
        }
    }
    for (const int32_t x : longs) {
        for (const int32_t y : longs) {
            ASSERT_EQ(L_add(x, y), clamp32(int64_t{x} + y)) << x << ", " << y;
            ASSERT_EQ(L_sub(x, y), clamp32(int64_t{x} - y)) << x << ", " << y;
            ASSERT_EQ(wrapAdd32(x, y), static_cast<int32_t>(int64_t{x} + y)) << x << ", " << y;
            ASSERT_EQ(wrapSub32(x, y), static_cast<int32_t>(int64_t{x} - y)) << x << ", " << y;
            ASSERT_EQ(wrapMul32(x, y), static_cast<int32_t>(int64_t{x} * y)) << x << ", " << y;
        }
    }
}

// Long division, one bit of the quotient after the other, as the recommendations define it.
int longDivision(int32_t num, int32_t den) {
    int quotient = 0;
    for (int bit = 0; bit < 15; ++bit) {
        num *= 2;
        quotient = 2 * quotient + (num >= den);
        if (num >= den) num -= den;
    }
    return quotient;
}

TEST(FixedPoint, DivisionGivesFifteenBitsOfTheQuotient) {
    for (const int16_t den : words) {
        if (den <= 0) continue;
        for (int num = 0; num < den; num += 1 + num / 64)
            ASSERT_EQ(div_s(static_cast<int16_t>(num), den), longDivision(num, den)) << num << " / " << den;
        ASSERT_EQ(div_s(den, den), 32767) << den;
    }
}

TEST(FixedPoint, ProductsInDoublePrecisionTruncateEveryPartialProduct) {
    for (const int32_t x : longs) {
        for (const int32_t y : longs) {
            const int64_t xHigh = x >> 16, xLow = (x >> 1) & 0x7fff, yHigh = y >> 16, yLow = (y >> 1) & 0x7fff;
            const auto plus = [](int64_t sum, int64_t product) { return clamp32(sum + 2 * clamp16(product >> 15)); };
            const auto word = [](int64_t value) { return static_cast<int16_t>(value); };
            ASSERT_EQ(Mpy_32(word(xHigh), word(xLow), word(yHigh), word(yLow)),
                      plus(plus(clamp32(2 * xHigh * yHigh), xHigh * yLow), xLow * yHigh))
                << x << ", " << y;
            ASSERT_EQ(Mpy_32_16(word(xHigh), word(xLow), word(yHigh)), plus(clamp32(2 * xHigh * yHigh), xLow * yHigh))
                << x << ", " << y;
        }
    }
}

} // namespace
