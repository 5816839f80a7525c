// SPDX-License-Identifier: BSD-2-Clause
// Functions by table and interpolation, and sums, of GSM-AMR (3GPP TS 26.073).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "common/double_precision.h"
#include "common/fixed_point.h"
#include "common/inv_sqrt.h"
#include "common/log2.h"

namespace ryxsc::gsmamr {

// A number as mantissa and exponent.
struct Scaled {
    int16_t mantissa;
    int exponent;
};

// sqrt(x), about mantissa / 2^(exponent / 2), in the scale of the table; exponent is even.
struct Root {
    int32_t mantissa;
    int exponent;
};
Root squareRoot(int32_t x);

// 2^(exponent + fraction / 2^15), rounded; 0 where it is below a half, saturated at the upper end.
int32_t powerOfTwo(int exponent, int fraction);

// log2() of a number that is normalised already, by `shift`.
inline Log2 log2Normalised(int32_t mantissa, int shift) {
    if (mantissa <= 0) return {0, 0};
    const Log2 logarithm = log2(mantissa);
    return {30 - shift, logarithm.fraction};
}

// h * 2^16 + 2 * l with any l.
constexpr int32_t compose(int high, int low) {
    return L_add(L_deposit_h(static_cast<int16_t>(high)), 2 * low);
}

// Accumulations that saturate after each of the terms of multiply() and multiplyShort().
constexpr int32_t accumulate(int32_t sum, int32_t x, int32_t y) {
    const auto part = [](int h, int l) { return 2 * ((h * l) >> 15); };
    sum = L_mac(sum, extract_h(x), extract_h(y));
    sum = rarelySaturatingAdd(sum, part(highPart(x), lowPart(y)));
    return rarelySaturatingAdd(sum, part(lowPart(x), highPart(y)));
}
constexpr int32_t accumulateShort(int32_t sum, int32_t x, int16_t y) {
    sum = L_mac(sum, extract_h(x), y);
    return rarelySaturatingAdd(sum, 2 * ((lowPart(x) * y) >> 15));
}

// The middle one of five or nine values.
template <int count> int16_t median(const int16_t *values) {
    int16_t sorted[count];
    std::copy_n(values, count, sorted);
    std::nth_element(sorted, sorted + count / 2, sorted + count);
    return sorted[count / 2];
}

// Moves all values on by one and puts the new one in front, or behind.
template <int count> void pushFront(int16_t *values, int16_t newest) {
    std::copy_backward(values, values + count - 1, values + count);
    values[0] = newest;
}
template <int count> void pushBack(int16_t *values, int16_t newest) {
    std::copy(values + 1, values + count, values);
    values[count - 1] = newest;
}

} // namespace ryxsc::gsmamr
