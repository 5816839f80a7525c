// SPDX-License-Identifier: BSD-2-Clause
// Steps that the LSF quantisers and decoders of ITU-T G.729 share, in 16 bits. LSFs, residuals and history are in Q13.
#pragma once

#include "common/fixed_point.h"
#include "common/simd.h"
#include "g729/lsp_tables.h"
#include "ryxsc/g729.h"

namespace ryxsc::g729 {

using simd::Vector;

inline constexpr int16_t lsfFloor = 40;      // 0.005
inline constexpr int16_t lsfCeiling = 25681; // 3.135
inline constexpr int16_t lsfDistance = 321;  // 0.0392
inline constexpr int16_t firstGap = 10;      // 0.0012
inline constexpr int16_t secondGap = 5;      // 0.0006

// Ten values: 0..7, then 8 and 9 with zeros behind them.
struct Ten {
    Vector parts[2];

    Vector &operator[](int i) { return parts[i]; }
    Vector operator[](int i) const { return parts[i]; }
};

inline Ten loadTen(const int16_t *from) {
    return {simd::load(from), simd::load32(from + 8)};
}
inline void storeTen(int16_t *to, const Ten &x) {
    simd::store(to, x[0]);
    simd::store32(to + 8, x[1]);
}

// A codebook vector.
template <size_t vectors> Ten vectorOf(const PairCodebook<vectors, 10> &book, size_t index) {
    const auto pair = [&](size_t p) { return simd::load32(book.pair(index, p)); };
    return {_mm_unpacklo_epi64(_mm_unpacklo_epi32(pair(0), pair(1)), _mm_unpacklo_epi32(pair(2), pair(3))), pair(4)};
}

// Values 0..4 and values 5..9, each with three zeros behind them.
struct Halves {
    Vector lower, upper;
};
inline Halves split(const Ten &x) {
    return {_mm_srli_si128(_mm_slli_si128(x[0], 6), 6), _mm_alignr_epi8(x[1], x[0], 10)};
}
inline Ten join(const Halves &x) {
    return {_mm_or_si128(x.lower, _mm_slli_si128(x.upper, 10)), _mm_srli_si128(x.upper, 6)};
}
template <size_t vectors> Vector vectorOf(const PairCodebook<vectors, 5> &book, size_t index) {
    const auto pair = [&](size_t p) { return simd::load32(book.pair(index, p)); };
    return _mm_unpacklo_epi64(_mm_unpacklo_epi32(pair(0), pair(1)), pair(2));
}

inline Ten add(const Ten &x, const Ten &y) {
    return {_mm_adds_epi16(x[0], y[0]), _mm_adds_epi16(x[1], y[1])};
}
inline Ten subtract(const Ten &x, const Ten &y) {
    return {_mm_subs_epi16(x[0], y[0]), _mm_subs_epi16(x[1], y[1])};
}

// Saturating differences x[j + 1] - x[j], j = 0..8. The places behind hold nothing of use.
inline Ten steps(const Ten &x) {
    const Ten next = {_mm_alignr_epi8(x[1], x[0], 2), _mm_srli_si128(x[1], 2)};
    return subtract(next, x);
}
// Whether all nine steps are at least `least`.
inline bool stepsReach(const Ten &steps, int16_t least) {
    const int low = _mm_movemask_epi8(_mm_cmpgt_epi16(simd::words(least), steps[0]));
    const int high = _mm_movemask_epi8(_mm_cmpgt_epi16(simd::words(least), steps[1]));
    return (low | (high & 3)) == 0;
}

// History of the MA predictor: 40 words, the newest frame first.
struct History {
    Ten frames[historyDepth];

    explicit History(const int16_t *from) {
        for (int k = 0; k < historyDepth; k++)
            frames[k] = loadTen(from + lsfOrder * k);
    }
};

inline void pushHistory(const History &old, const Ten &residual, int16_t *history) {
    storeTen(history, residual);
    for (int k = 1; k < historyDepth; k++)
        storeTen(history + lsfOrder * k, old.frames[k - 1]);
}

inline Ten loadRow(const int16_t (&row)[16]) {
    return {simd::loadAligned(row), simd::loadAligned(row + 8)};
}

// Values 4q..4q+3 of x, each with its neighbour of y behind it: what pmaddwd wants. Three quads cover the ten values.
inline constexpr int quads = 3;
inline Vector interleave(const Ten &x, const Ten &y, int q) {
    const Vector a = x[q / 2], b = y[q / 2];
    return q % 2 == 0 ? _mm_unpacklo_epi16(a, b) : _mm_unpackhi_epi16(a, b);
}
inline Ten narrow(const Vector (&sums)[quads]) {
    return {_mm_packs_epi32(sums[0], sums[1]), _mm_packs_epi32(sums[2], _mm_setzero_si128())};
}

// LSFs from the residual and the past. The coefficients of a value add up to less than 1, so the 32-bit sum holds.
inline Ten predict(const Ten &residual, const History &past, const Predictor &predictor) {
    static_assert(historyDepth == 4);
    const Ten gain = loadRow(predictor.gain);
    const Ten taps[] = {loadRow(predictor.taps[0]), loadRow(predictor.taps[1]), loadRow(predictor.taps[2]),
                        loadRow(predictor.taps[3])};
    const Ten *frames = past.frames;
    const Ten none = {_mm_setzero_si128(), _mm_setzero_si128()};
    Vector sums[quads];
    for (int q = 0; q < quads; q++) {
        const Vector newest = _mm_madd_epi16(interleave(residual, frames[0], q), interleave(gain, taps[0], q));
        const Vector middle = _mm_madd_epi16(interleave(frames[1], frames[2], q), interleave(taps[1], taps[2], q));
        const Vector oldest = _mm_madd_epi16(interleave(frames[3], none, q), interleave(taps[3], none, q));
        sums[q] = _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(newest, middle), oldest), 15);
    }
    return narrow(sums);
}

// The residual that gives these LSFs. Here the sum can leave 32 bits, and saturates after every frame.
inline Ten removePrediction(const Ten &lsf, const History &past, const Predictor &predictor) {
    const Ten none = {_mm_setzero_si128(), _mm_setzero_si128()};
    Vector sums[quads];
    for (int q = 0; q < quads; q++) {
        Vector sum = interleave(none, lsf, q);
        for (int k = 0; k < historyDepth; k++) {
            const Ten &frame = past.frames[k];
            const Ten tap = loadRow(predictor.taps[k]);
            const Vector doubled = _mm_madd_epi16(interleave(frame, frame, q), interleave(tap, tap, q));
            sum = simd::subtractSaturatedDwords(sum, doubled);
        }
        sums[q] = _mm_srai_epi32(sum, 16);
    }
    const Ten target = narrow(sums);
    // The doubled product, shifted left by 3, of which the upper half counts.
    const Ten inverse = loadRow(predictor.inverseGain);
    return {simd::mulShiftSaturated<12>(target[0], inverse[0]), simd::mulShiftSaturated<12>(target[1], inverse[1])};
}

// One pass that moves neighbours closer than the gap apart, each by half the shortfall, from the lowest pair up. It
// does not go back, so a pair may end closer than the gap again.
inline void spreadFrom(int16_t *x, int16_t gap) {
    for (int j = 1; j < lsfOrder; j++) {
        const auto move = static_cast<int16_t>(ryxsc::add(sub(x[j - 1], x[j]), gap) >> 1);
        if (move <= 0) continue;
        x[j - 1] = sub(x[j - 1], move);
        x[j] = ryxsc::add(x[j], move);
    }
}

// A shortfall of 1 moves nothing. If no pair moves at the start, none does in the pass.
inline Ten spread(const Ten &residual, int16_t gap) {
    if (stepsReach(steps(residual), static_cast<int16_t>(gap - 1))) return residual;
    int16_t x[lsfOrder];
    storeTen(x, residual);
    spreadFrom(x, gap);
    return loadTen(x);
}

// The residual that the indices L1, L2 and L3 stand for.
inline Ten residualOf(size_t l1, size_t l2, size_t l3) {
    const Ten second = join({vectorOf(secondStage[0], l2), vectorOf(secondStage[1], l3)});
    return spread(spread(add(vectorOf(firstStage, l1), second), firstGap), secondGap);
}

// The same for the two indices of Annex B. A second pass would move nothing with these vectors.
inline Ten noiseResidualOf(size_t l1, size_t l2) {
    return spread(add(vectorOf(noiseFirst, l1), vectorOf(noiseSecond, l2)), firstGap);
}

// Orders and spaces decoded LSFs in place, and limits their ends.
ryxStatus stabilise(int16_t *lsf);

// The end of every decoder and quantiser: LSFs and history from the residual that the indices stand for.
inline ryxStatus rebuild(const Ten &residual, const History &past, const Predictor &predictor, int16_t *lsf,
                         int16_t *history) {
    const Ten predicted = predict(residual, past, predictor);
    pushHistory(past, residual, history);
    storeTen(lsf, predicted);
    const int ends = lsf[0] < lsfFloor || lsf[lsfOrder - 1] > lsfCeiling;
    if (!ends && stepsReach(steps(predicted), lsfDistance)) return ryxStsOk;
    return stabilise(lsf);
}

} // namespace ryxsc::g729
