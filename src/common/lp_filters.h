// SPDX-License-Identifier: BSD-2-Clause
// The LP filters of the CELP recommendations: residual A(z) and synthesis 1 / A(z), coefficients in Q12, 16-bit signals,
// sums of doubled products that saturate after every term, in the order a[0], a[1], ...
//
//   residual:   y[n] = round(L_shl(2 a[0] x[n] + sum over k = 1 .. order of 2 a[k] x[n - k], up))
//   synthesis:  y[n] = round(L_shl(2 gain x[n] - sum over k = 1 .. order of 2 a[k] y[n - k], up))
//
// With M the largest magnitude of the samples that meet the coefficients, no sum saturates while M * sum |a[k]| < 2^30.
// Then with S the sum of the undoubled products, round(L_shl(2 S, up)) = sat16((S + 2^(14 - up)) >> (15 - up)), because
// the shift saturates where the result does.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/fixed_point.h"
#include "common/simd.h"

namespace ryxsc {

// Whether the samples are small enough for coefficients whose magnitudes have the given sum.
inline int largestSafeSample(int sumOfMagnitudes) {
    return ((1 << 30) - 1) / std::max(sumOfMagnitudes, 1);
}
template <int order> int sumOfMagnitudes(const int16_t *a) {
    int sum = 0;
    for (int k = 0; k <= order; k++)
        sum += std::abs(a[k]);
    return sum;
}
inline bool allWithin(const int16_t *x, int n, int limit) {
    if (limit >= 32768) return true;
    bool within = true;
    for (int i = 0; i < n; i++)
        within &= std::abs(x[i]) <= limit;
    return within;
}

// Term by term. Both return whether anything saturated: a product, a sum, the shift or the rounding.
namespace in_order {
class Watch {
public:
    explicit Watch(int32_t start = 0) : sum(start) {}
    void add(int64_t term) {
        const int64_t clamped = sat32(term); // -32768 * -32768
        const int64_t next = sum + clamped;
        sum = sat32(next);
        saturated |= clamped != term || sum != next;
    }
    void subtract(int64_t term) {
        const int64_t clamped = sat32(term);
        const int64_t next = sum - clamped;
        sum = sat32(next);
        saturated |= clamped != term || sum != next;
    }
    int16_t rounded(int up) {
        const int64_t shifted = int64_t{sum} << up;
        saturated |= sat32(shifted) != shifted || sat32(shifted) > max32 - 0x8000;
        return round(sat32(shifted));
    }
    bool saturated = false;

private:
    int32_t sum;
};

template <int order> bool residual(const int16_t *a, const int16_t *x, int16_t *y, int n, int up) {
    bool saturated = false;
    for (int i = 0; i < n; i++) {
        Watch sum;
        for (int k = 0; k <= order; k++)
            sum.add(int64_t{2} * a[k] * x[i - k]);
        y[i] = sum.rounded(up);
        saturated |= sum.saturated;
    }
    return saturated;
}

// The outputs stand behind their history y[-order .. -1].
template <int order> bool synthesis(const int16_t *a, int16_t gain, const int16_t *x, int16_t *y, int n, int up) {
    bool saturated = false;
    for (int i = 0; i < n; i++) {
        Watch sum;
        sum.add(int64_t{2} * gain * x[i]);
        for (int k = 1; k <= order; k++)
            sum.subtract(int64_t{2} * a[k] * y[i - k]);
        y[i] = sum.rounded(up);
        saturated |= sum.saturated;
    }
    return saturated;
}
} // namespace in_order

// y = A(z) x, n samples, with the history x[-order .. -1]. y does not overlap x.
template <int order> void residualFilter(const int16_t *a, const int16_t *x, int16_t *y, int n, int up = 3) {
    if (!allWithin(x - order, n + order, largestSafeSample(sumOfMagnitudes<order>(a)))) [[unlikely]] {
        in_order::residual<order>(a, x, y, n, up);
        return;
    }
    for (int i = 0; i < n; i++) {
        int32_t sum = 1 << (14 - up);
        for (int k = 0; k <= order; k++)
            sum += a[k] * x[i - k];
        y[i] = sat16(sum >> (15 - up));
    }
}

// y = x / A(z), n samples. The outputs stand behind their history y[-order .. -1], which the caller provides; x may be y.
// Returns whether anything saturated: a product, a sum, the shift or the rounding.
template <int order>
bool synthesisInPlaceOfHistory(const int16_t *a, int16_t gain, const int16_t *x, int16_t *y, int n, int up = 3) {
    return in_order::synthesis<order>(a, gain, x, y, n, up);
}

// y = x / A(z), n up to 320 samples, from the memory of `order` samples, the oldest first, which keeps its content or
// takes the last `order` outputs. x may be y.
enum class Memory { keep, update };
template <int order>
bool synthesisFilter(const int16_t *a, const int16_t *x, int16_t *y, int n, int16_t *memory, Memory use) {
    int16_t buffer[order + 320];
    std::copy_n(memory, order, buffer);
    const bool saturated = synthesisInPlaceOfHistory<order>(a, a[0], x, buffer + order, n);
    std::copy_n(buffer + order, n, y);
    if (use == Memory::update) std::copy_n(buffer + n, order, memory);
    return saturated;
}
// From rest: zero-state response, or with x = 1, 0, 0, ... the impulse response.
template <int order> bool zeroStateResponse(const int16_t *a, const int16_t *x, int16_t *y, int n) {
    int16_t rest[order] = {};
    return synthesisFilter<order>(a, x, y, n, rest, Memory::keep);
}

} // namespace ryxsc
