// SPDX-License-Identifier: BSD-2-Clause
// Decoding of the pitch predictor of ITU-T G.723.1, the excitation and the error growth that taming follows.
#include "g723/adaptive_codebook.h"

#include "common/checks.h"
#include "common/elementwise.h"
#include "g723/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int zoneLength = 30;

// lag / 30 as the recommendation computes it: multiples of 30 fall into the zone below.
constexpr int zoneOf(int lag) {
    return (lag * 1092) >> 15;
}

ryxStatus checkParameters(int lag, int offset, int gainIndex, int rate) {
    if (!isRate(rate)) return ryxStsOutOfRange;
    if (lag < shortestLag || lag > longestLag || offset < 0 || offset > 3 || lag - 1 + offset > longestLag)
        return ryxStsBadIndex;
    if (gainIndex < 0 || gainIndex >= gainCount(lag, rate)) return ryxStsBadIndex;
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsDecodeAdaptiveVector_G723_16s_u8(const int16_t *excitation, int lag, int offset, int gainIndex, int rate,
                                               int16_t *vector) {
    if (anyNull(excitation, vector)) return ryxStsNullPtr;
    if (const ryxStatus status = checkParameters(lag, offset, gainIndex, rate); status != ryxStsOk) return status;
    predict(DelayedExcitation(excitation, lag - 1 + offset), gainVector(lag, rate, gainIndex), vector);
    return ryxStsOk;
}

ryxStatus ryxsExcitation_G723_16s_u8(const int16_t *code, const int16_t *adaptive, int16_t *excitation) {
    if (anyNull(code, adaptive, excitation)) return ryxStsNullPtr;
    const auto sum = [](simd::Vector c, simd::Vector a) { return _mm_adds_epi16(_mm_adds_epi16(c, c), a); };
    mapWords(excitation, subframeLength, sum, code, adaptive);
    return ryxStsOk;
}

ryxStatus ryxsTaming_G723_32s_I_u8(int32_t *errors, int lag, int offset, int gainIndex, int rate) {
    if (anyNull(errors)) return ryxStsNullPtr;
    if (const ryxStatus status = checkParameters(lag, offset, gainIndex, rate); status != ryxStsOk) return status;
    const int16_t gain = hasFewGains(lag, rate) ? tamingGains85[gainIndex] : tamingGains170[gainIndex];
    const auto grown = [=](int zone) { return L_add(4, L_shl(scale(errors[zone], gain), 2)); };
    const int delay = lag - 1 + offset;
    int32_t first, second;
    if (delay <= zoneLength) {
        first = second = grown(0);
    } else {
        const int zone = zoneOf(delay);
        const int32_t here = grown(zone), below = grown(zone - 1);
        if (delay == zoneLength * (zone + 1)) {
            first = below;
            second = here;
        } else {
            second = std::max(below, here);
            first = zone == 1 ? second : std::max(grown(zone - 2), below);
        }
    }
    std::copy_backward(errors, errors + 3, errors + 5);
    errors[0] = first;
    errors[1] = second;
    return ryxStsOk;
}
