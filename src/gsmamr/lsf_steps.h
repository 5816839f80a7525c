// SPDX-License-Identifier: BSD-2-Clause
// Line spectral frequencies of GSM-AMR, 16384 for half the sampling frequency: conversions, order, weights
// (3GPP TS 26.090, clause 5.2.5, TS 26.073).
#pragma once

#include <algorithm>
#include <array>

#include "common/fixed_point.h"
#include "common/lsp_frequency.h"
#include "common/vector_quantiser_search.h"
#include "gsmamr/lsf_tables.h"

namespace ryxsc::gsmamr {

inline constexpr int halfSampling = 16384;

using Lsf = std::array<int16_t, lsfOrder>;
using Lsp = Lsf;

inline Lsf copyOf(const int16_t *values) {
    Lsf copy;
    std::copy_n(values, lsfOrder, copy.data());
    return copy;
}

// An LSP above the one before it is extrapolated from that one's interval. A distance of more than 16 bits is limited.
inline Lsf lsfOf(const Lsp &lsp) {
    Lsf lsf;
    toFrequencies(lsp.data(), lsf.data(), lsfOrder, [](int interval, int distance) {
        const int scaled =
            (std::max<int>(distance, min16) * arccosineSlopes[static_cast<size_t>(interval)] + 2048) >> 12;
        return add(sat16(scaled), static_cast<int16_t>(interval * 256));
    });
    return lsf;
}

// Rising frequencies, at least 205 apart.
inline void spread(Lsf &lsf) {
    constexpr int16_t spacing = 205;
    int16_t least = spacing;
    for (int16_t &frequency : lsf) {
        frequency = std::max(frequency, least);
        least = add(frequency, spacing);
    }
}

// Frequencies are limited to just below half the sampling frequency, beyond which only disordered LSPs lead, and to 0.
inline Lsp lspOf(const Lsf &lsf) {
    Lsp lsp;
    std::transform(lsf.begin(), lsf.end(), lsp.begin(), [](int16_t value) {
        const int frequency = std::clamp<int>(value, 0, halfSampling - 1);
        const auto interval = static_cast<size_t>(frequency >> 8);
        const int width = cosines[interval + 1] - cosines[interval];
        return static_cast<int16_t>(cosines[interval] + ((width * (frequency & 255)) >> 8));
    });
    return lsp;
}

// Eight times the weights of TS 26.073. Far neighbours lead to weights down to -7408, and rising frequencies to no others.
inline Lsf weightsOf(const Lsf &lsf) {
    constexpr int knee = 1843;
    const auto weigh = [](int distance) {
        const int limited = sat16(distance);
        const int weight =
            limited < knee ? 3427 - ((limited * 28160) >> 15) : knee - (((sat16(limited - knee)) * 6242) >> 15);
        return sat16(8 * sat16(weight));
    };
    Lsf weights;
    weights[0] = weigh(lsf[1]);
    for (size_t i = 1; i < lsfOrder - 1; i++)
        weights[i] = weigh(lsf[i + 1] - lsf[i - 1]);
    weights[lsfOrder - 1] = weigh(halfSampling - lsf[lsfOrder - 2]);
    return weights;
}

// The row with the smallest sum of squares of mult(weight, target - row). No product leaves 16 bits, since the weights are
// below 1.
template <class Book> int16_t nearestWeighted(const Book &book, const int16_t *target, const int16_t *weights) {
    const auto weightPairs = loadPairs<Book::values>(weights);
    const simd::Q15Factor factors[2] = {simd::Q15Factor(weightPairs.pair[0]), simd::Q15Factor(weightPairs.pair[1])};
    const auto terms = [&](Vector difference, size_t p) {
        const Vector weighted = factors[p] * difference;
        return _mm_madd_epi16(weighted, weighted);
    };
    return static_cast<int16_t>(nearest(book, loadPairs<Book::values>(target), terms).index);
}

} // namespace ryxsc::gsmamr
