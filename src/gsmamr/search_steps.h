// SPDX-License-Identifier: BSD-2-Clause
// The steps in front of the pulse search, 3GPP TS 26.090, clause 5.7.2.
#pragma once

#include "gsmamr/search_work.h"

namespace ryxsc::gsmamr {

// The impulse response with zeros in front, for filters, and with room for whole vectors behind.
struct alignas(16) PaddedResponse {
    int16_t words[2 * subframeLength + 8]; // zeros, the response

    int16_t *response() { return words + subframeLength; }
    const int16_t *response() const { return words + subframeLength; }
};

// x[n] += (factor * x[n - lag]) >> 15 for n = lag..39, lag at least 8, wrapping. May write 7 words behind the subframe.
void sharpen(int lag, int16_t factor, int16_t *x);
// The same saturating, as the recommendation does.
void sharpenSaturated(int lag, int16_t factor, int16_t *x);

// Correlations of the target with the impulse response, normalised to words of which those of all `tracks` together have
// `headroom` bits left.
void correlate(const int16_t *target, const int16_t *impulse, int tracks, int headroom, Words &correlation);

// Takes the magnitudes of the correlations, and their signs.
void splitSigns(Signed &d);
// Takes the signs from correlation and residual together, and leaves the combination's magnitudes.
void combineSigns(const int16_t *residual, Signed &d, Words &magnitude);

// Which distances between tracks, modulo their number, a search reads the matrix at.
enum class Distances { twoAndThree, others, all };

// From correlation signs and impulse response to the matrix.
template <int step> void buildMatrix(const int16_t *impulse, Distances distances, Work<step> &work);

// The code vector's pulses through the impulse response.
void filter(Codebook codebook, const Pulses &pulses, const PaddedResponse &impulse, int16_t *filtered);

} // namespace ryxsc::gsmamr
