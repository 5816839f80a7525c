// SPDX-License-Identifier: BSD-2-Clause
// The arithmetic that all codecs share, element by element and in 64 bits, as the plain forms that the library's kernels
// are compared with.
#pragma once

#include <cstdint>

namespace reference::common {

int product(int x, int y, int sf);
void weightByPowers(const int16_t *src, int base, int16_t *dst, int len, int sf);

// Returns the scale.
int autoScale(const int16_t *src, int16_t *dst, int len, int headroom);
int dotProduct(const int16_t *a, const int16_t *b, int len, int32_t &product);

int32_t inverseSqrt(int32_t x);

struct Weighted {
    int64_t value, weight;
    int scale = 0;

    int64_t product() const { return value * weight; }
};
int sumOfTruncated(Weighted a, Weighted b, int sf);
int roundedSum(Weighted a, Weighted b, int sf);
int roundedScaledSum(Weighted a, Weighted b);

} // namespace reference::common
