// SPDX-License-Identifier: BSD-2-Clause
// The part of a CELP encoder in front of its fixed codebook, in floating point: LP analysis, weighting filter and adaptive
// codebook. It makes from speech what codebook searches take.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace celp {

/** What the front ends of two codecs differ in. Both have four subframes to a frame. */
struct Codec {
    double sampleRate;
    size_t order;
    size_t subframeLength;
    size_t shortestLag, longestLag;
    double preEmphasis; /**< b of 1 - b/z, which the speech goes through */
    double gamma1;      /**< the weighting filter is W(z) = A(z/gamma1) / D(z) */
    double gamma2;      /**< D(z) = A(z/gamma2), or 1 - b/z for 0 */
    double one;         /**< 1.0 of the impulse response */
};

constexpr Codec gsmAmr = {8000, 10, 40, 20, 143, 0, 0.94, 0.6, 4096};
constexpr Codec amrWb = {12800, 16, 64, 34, 231, 0.68, 0.92, 0, 2048};

constexpr size_t maxOrder = 16;
constexpr size_t maxSubframe = 64;
using Vector = std::array<int16_t, maxSubframe>;
using Coefficients = std::array<int16_t, maxOrder + 1>; // Q12, a[0] = 4096
using Memory = std::array<int16_t, maxOrder>;           // `order` samples, oldest first

struct Subframe {
    int16_t number; /**< in its frame, 0..3 */

    // The search of the fixed codebook.
    int16_t pitchLag;
    int16_t pitchGain; /**< Q14, 0..1.2 */
    Vector target;     /**< without the adaptive codebook's part */
    Vector residual;   /**< LP residual without the adaptive codebook's part */
    Vector impulse;    /**< response of W(z)/A(z) */

    // What target and impulse response are made from.
    std::array<int16_t, maxOrder + maxSubframe> speech; /**< `order` samples before the subframe, the subframe */
    Coefficients lpc, numerator, denominator;           /**< A(z), A(z/gamma1), D(z) */
    Memory synthesisMemory, weightingMemory;
};

/**
 * @brief Takes the whole frames of a recording through the front end.
 *
 * The excitation that the filters and the adaptive codebook remember is that of an encoder whose fixed codebook leaves
 * the largest quarter of the residual's samples.
 */
std::vector<Subframe> analyse(const Codec &codec, std::span<const int16_t> speech);

/** LP filters of the whole frames of a recording, as analyse() finds them. */
std::vector<Coefficients> analyseFilters(const Codec &codec, std::span<const int16_t> speech);

} // namespace celp
