// SPDX-License-Identifier: BSD-2-Clause
#include "reference/common.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace reference::common {

namespace {

int64_t low16(int64_t x) {
    return static_cast<int16_t>(x);
}

int64_t low32(int64_t x) {
    return static_cast<int32_t>(x);
}

int sat16(int64_t x) {
    return static_cast<int>(std::clamp<int64_t>(x, -32768, 32767));
}

// The rounding constant has no limit but the 32 bits of the sum.
int64_t scaledDown(int64_t exact, int sf) {
    const int64_t rounding = sf > 0 && sf < 33 ? int64_t{1} << (sf - 1) : 0;
    return low32(exact + rounding) >> std::min(sf, 31);
}

// The recommendation's table of 32768 / sqrt(1 + k/16).
int64_t tableOfRoots(int64_t k) {
    return std::min(std::lround(32768 / std::sqrt(1 + static_cast<double>(k) / 16)), 32767L);
}

} // namespace

int product(int x, int y, int sf) {
    return sat16(scaledDown(int64_t{x} * y, sf));
}

void weightByPowers(const int16_t *src, int base, int16_t *dst, int len, int sf) {
    dst[0] = src[0];
    int64_t power = base;
    for (int i = 1; i < len; i++) {
        const int64_t exact = scaledDown(src[i] * power, sf);
        dst[i] = static_cast<int16_t>(sf == 15 ? low16(exact) : sat16(exact));
        power = low16(scaledDown(power * base, sf));
    }
}

int autoScale(const int16_t *src, int16_t *dst, int len, int headroom) {
    int largest = 0;
    for (int i = 0; i < len; i++)
        largest = std::max(largest, std::min(std::abs(int{src[i]}), 32767));
    int shifts = 0;
    while (largest > 0 && largest << shifts < 16384)
        shifts++;
    const int left = shifts - headroom;
    for (int i = 0; i < len; i++)
        dst[i] = static_cast<int16_t>(left > 0 ? src[i] * (1 << left) : src[i] >> std::min(-left, 15));
    return largest == 0 ? 16 - headroom : left;
}

int dotProduct(const int16_t *a, const int16_t *b, int len, int32_t &product) {
    for (int shiftA = 0, shiftB = 0;; shiftA < shiftB ? shiftA++ : shiftB++) {
        int64_t sum = int64_t{a[0] >> shiftA} * (b[0] >> shiftB);
        for (int i = 1; i < len; i++)
            sum += low32(2 * int64_t{a[i] >> shiftA} * (b[i] >> shiftB));
        product = static_cast<int32_t>(sum);
        if (product == sum) return shiftA + shiftB;
    }
}

int32_t inverseSqrt(int32_t x) {
    if (x <= 0) return 0x3fffffff;
    int shifts = 0;
    int64_t mantissa = x;
    for (; mantissa < 0x40000000; mantissa *= 2)
        shifts++;
    if (shifts % 2 == 0) mantissa /= 2;
    const int64_t k = mantissa / (1 << 25) - 16, position = mantissa / 1024 % 32768;
    const int64_t root = tableOfRoots(k) * 65536 - position * 2 * (tableOfRoots(k) - tableOfRoots(k + 1));
    return static_cast<int32_t>(root >> ((32 - shifts) / 2));
}

int sumOfTruncated(Weighted a, Weighted b, int sf) {
    const int shift = std::min(sf, 31);
    return sat16(low32((a.product() >> shift) + (b.product() >> shift)));
}

int roundedSum(Weighted a, Weighted b, int sf) {
    return sat16(scaledDown(a.product() + b.product(), sf));
}

int roundedScaledSum(Weighted a, Weighted b) {
    if (a.scale < b.scale) std::swap(a, b);
    const int difference = a.scale - b.scale;
    const int64_t sum = low32((difference < 32 ? a.product() * (int64_t{1} << difference) : 0) + b.product());
    if (b.scale > 16) return sum < 0 ? -1 : 0;
    return sat16(scaledDown(sum, 16 - b.scale));
}

} // namespace reference::common
