// SPDX-License-Identifier: BSD-2-Clause
// Pitch gain of GSM-AMR: computation, limitation, quantisation (3GPP TS 26.090, clauses 5.6.1 and 5.8).
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/gain_error.h"
#include "gsmamr/gain_tables.h"
#include "gsmamr/implementations.h"
#include "gsmamr/pitch_gain.h"
#include "gsmamr/rates.h"
#include "gsmamr/subframe_sums.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using simd::Vector;

namespace {

constexpr int16_t largestGain = 19661; // 1.2
constexpr int16_t clippedGain = 15565; // 0.95
constexpr int keptGains = 7;

struct Quarters {
    alignas(16) int16_t at[subframeLength];

    explicit Quarters(const int16_t *x) {
        for (int n = 0; n < subframeLength; n += 8)
            simd::store(at + n, _mm_srai_epi16(simd::load(x + n), 2));
    }
};

Scaled normalised(int32_t sum, int shift) {
    const int normalisation = norm_l(sum);
    return {round(L_shl(sum, normalisation)), shift + 15 - normalisation};
}

// Energy of the filtered vector; where it saturates, that of a quarter of it.
Scaled energyOf(const int16_t *y) {
    const int64_t energy = 2 * sumOfSquares(y) + 1;
    if (energy <= max32) return normalised(static_cast<int32_t>(energy), 0);
    return normalised(saturatedEnergy(1, Quarters(y).at), 4);
}

Scaled productOf(const int16_t *x, const int16_t *y) {
    if (sumsFit(sumOfSquares(x) + 8, sumOfSquares(y) + 8)) return normalised(1 + 2 * dotProduct(x, y), 0);
    const Accumulation whole = accumulateProducts(1, x, y);
    if (!whole.saturated) return normalised(whole.sum, 0);
    return normalised(accumulateProducts(1, x, Quarters(y).at).sum, 2);
}

} // namespace

namespace ryxsc::gsmamr {

// The first one is within every limit.
int nearestPitchGain(int16_t gain, int16_t limit) {
    const Vector wanted = simd::words(gain), most = simd::words(limit);
    Vector distances[pitchGains.size() / 8]; // unsigned, less 32768
    for (size_t i = 0; i < pitchGains.size(); i += 8) {
        const Vector x = simd::load(&pitchGains[i]);
        const Vector distance = _mm_sub_epi16(_mm_max_epi16(x, wanted), _mm_min_epi16(x, wanted));
        Vector excluded = _mm_cmpgt_epi16(x, most);
        if (i == 0) excluded = _mm_and_si128(excluded, _mm_setr_epi16(0, -1, -1, -1, -1, -1, -1, -1));
        distances[i / 8] = simd::select(excluded, simd::words(max16), _mm_xor_si128(distance, simd::words(min16)));
    }
    return static_cast<int>(firstSmallest(distances));
}

} // namespace ryxsc::gsmamr

ryxStatus ryxsConvolve_GSMAMR_16s_u8(const int16_t *src, const int16_t *impulse, int16_t *dst) {
    if (anyNull(src, impulse, dst)) return ryxStsNullPtr;
    convolve(src, impulse, dst);
    return ryxStsOk;
}

ryxStatus ryxsAdaptiveCodebookGain_GSMAMR_16s_u8(const int16_t *target, const int16_t *filtered, int16_t *gain,
                                                 int16_t *energies, int rate) {
    if (anyNull(target, filtered, gain, energies)) return ryxStsNullPtr;
    if (rateOf(rate) == Rate::none) return ryxStsOutOfRange;
    const Scaled yy = energyOf(filtered), xy = productOf(target, filtered);
    energies[0] = yy.mantissa;
    energies[1] = static_cast<int16_t>(yy.exponent);
    energies[2] = xy.mantissa;
    energies[3] = static_cast<int16_t>(xy.exponent);
    int16_t found = 0;
    if (xy.mantissa >= 4) {
        found = div_s(static_cast<int16_t>(xy.mantissa >> 1), yy.mantissa);
        found = std::min(shl(found, xy.exponent - yy.exponent), largestGain);
        if (rateOf(rate) == Rate::r1220) found = static_cast<int16_t>(found & ~3);
    }
    *gain = found;
    return ryxStsOk;
}

// Counts frames with a resonance: two LSPs close together.
ryxStatus ryxsLSPResonance_GSMAMR_16s_u8(const int16_t *lsp, int16_t *count, int16_t *resonance) {
    if (anyNull(lsp, count, resonance)) return ryxStsNullPtr;
    constexpr int16_t enough = 12;
    const auto closest = [lsp](int from, int to) {
        int16_t least = max16;
        for (int i = from; i <= to; i++)
            least = std::min(least, sub(lsp[i], lsp[i + 1]));
        return least;
    };
    const int16_t threshold = lsp[1] > 32000 ? 600 : lsp[1] > 30500 ? 800 : 1100;
    const bool close = closest(3, 7) < 1500 || closest(1, 2) < threshold;
    *count = close ? std::min(add(*count, 1), enough) : int16_t{0};
    *resonance = *count >= enough;
    return ryxStsOk;
}

ryxStatus ryxsPitchGainLimit_GSMAMR_16s_u8(int resonance, const int16_t *pastGains, int16_t *gain, int16_t *limit,
                                           int rate) {
    if (anyNull(pastGains, gain, limit)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    bool clip = false;
    if (resonance != 0 && *gain > clippedGain) {
        auto sum = static_cast<int16_t>(*gain >> 3);
        for (int i = 0; i < keptGains; i++)
            sum = add(sum, pastGains[i]);
        clip = sum > clippedGain;
    }
    if (of <= Rate::r515)
        *gain = std::min<int16_t>(*gain, 13926);
    else if (clip)
        *gain = clippedGain;
    *limit = clip ? clippedGain : max16;
    return ryxStsOk;
}

ryxStatus ryxsPitchGainQuant_GSMAMR_16s_u8(int16_t *gain, int16_t limit, int16_t *index) {
    if (anyNull(gain, index)) return ryxStsNullPtr;
    const int nearest = nearestPitchGain(*gain, limit);
    *gain = static_cast<int16_t>(pitchGains[static_cast<size_t>(nearest)] & ~3);
    *index = static_cast<int16_t>(nearest);
    return ryxStsOk;
}

// src - gain * vector, rounded down.
ryxStatus ryxsSubtractAdaptiveVector_GSMAMR_16s_u8(const int16_t *src, const int16_t *vector, int16_t gain,
                                                   int16_t *dst) {
    if (anyNull(src, vector, dst)) return ryxStsNullPtr;
    const Vector factor = simd::words(gain);
    for (int n = 0; n < subframeLength; n += 8) {
        const Vector part = simd::mulShiftSaturated<14>(simd::load(vector + n), factor);
        simd::store(dst + n, _mm_subs_epi16(simd::load(src + n), part));
    }
    return ryxStsOk;
}
