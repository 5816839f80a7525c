// SPDX-License-Identifier: BSD-2-Clause
// Steps that the ISF quantisers and decoders of AMR-WB share (3GPP TS 26.173).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "amrwb/isf_tables.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "common/vector_quantiser.h"

namespace ryxsc::amrwb {

using simd::Vector;

inline constexpr int16_t predictionFactor = 10923; // 1/3, Q15
inline constexpr int16_t minimumSpacing = 128;     // 50 Hz

// Sixteen words, with room for whole vectors from any of them on.
struct Isfs {
    alignas(16) int16_t values[2 * isfOrder];
};

// Saturated. Not the bare intrinsics: those of GCC have no address unless it optimises.
inline constexpr auto addWords = [](Vector x, Vector y) { return _mm_adds_epi16(x, y); };
inline constexpr auto subtractWords = [](Vector x, Vector y) { return _mm_subs_epi16(x, y); };

// operation on the vectors of all arguments, eight words at a time.
template <class Operation, class... Words> void forEach(int16_t *to, Operation operation, const Words *...from) {
    for (int i = 0; i < isfOrder; i += 8)
        simd::store(to + i, operation(simd::load(from + i)...));
}

// What the residual of the frame before says about this one.
inline Vector prediction(Vector past) {
    return simd::Q15Factor(simd::words(predictionFactor)) * past;
}

// Writes the vectors of the indices end to end. Each overwrites the zero at the end of the one before.
template <class... Books> void decodeVectors(const int16_t *indices, int16_t *to, const Books &...books) {
    const auto decode = [&](const auto &book) {
        const auto vector = static_cast<size_t>(*indices++) % book.size;
        for (size_t p = 0; p < book.pairs; p++)
            simd::store32(to + 2 * p, simd::load32(book.pair(vector, p)));
        to += book.values;
    };
    (decode(books), ...);
}

// Quantised residual of a speech frame.
inline void decodeResidual(const int16_t *indices, bool is36Bits, int16_t *residual) {
    Isfs first, second;
    decodeVectors(indices, first.values, firstStageLow, firstStageHigh);
    if (is36Bits)
        decodeVectors(indices + 2, second.values, secondStage36Low1, secondStage36Low2, secondStage36High);
    else
        decodeVectors(indices + 2, second.values, secondStage46Low1, secondStage46Low2, secondStage46Low3,
                      secondStage46High1, secondStage46High2);
    forEach(residual, addWords, first.values, second.values);
}

// ISFs of a speech frame, not spaced yet; the residual becomes that of the frame before.
inline void rebuild(const int16_t *residual, int16_t *past, int16_t *isf) {
    const auto sum = [](Vector r, Vector mean, Vector p) {
        return _mm_adds_epi16(_mm_adds_epi16(r, mean), prediction(p));
    };
    forEach(isf, sum, residual, isfMean.data(), past);
    std::copy_n(residual, isfOrder, past);
}

// Keeps all but the last at least the minimum apart.
inline void space(int16_t *isf) {
    int16_t limit = minimumSpacing;
    for (int i = 0; i < isfOrder - 1; i++) {
        isf[i] = std::max(isf[i], limit);
        limit = add(isf[i], minimumSpacing);
    }
}

// Codes of the bit rates: AMR-WB modes from 6.60 to 23.85 kbit/s without 22, and the first of AMR-WB+.
constexpr bool isSpeechMode(int mode) {
    constexpr uint32_t modes =
        1U << 5 | 1U << 9 | 1U << 13 | 1U << 15 | 1U << 16 | 1U << 18 | 1U << 19 | 1U << 20 | 1U << 21 | 1U << 25;
    return mode >= 0 && mode < 32 && (modes >> mode & 1) != 0;
}
constexpr bool has36Bits(int mode) {
    return mode == 5 || mode == 25;
}

} // namespace ryxsc::amrwb
