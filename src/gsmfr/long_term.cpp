// SPDX-License-Identifier: BSD-2-Clause
// Long-term predictor of GSM 06.10: search of lag and gain (clause 4.2.11), analysis (4.2.12) and synthesis (4.2.18, 4.3.2).
#include <algorithm>

#include "common/checks.h"
#include "common/elementwise.h"
#include "common/fixed_point.h"
#include "frame/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr int wordsPerVector = 8;

// The right shift that brings the samples to at most 512.
int scaleOf(const int16_t *src) {
    int16_t largest = 0;
    for (int i = 0; i < subSegmentLength; i++)
        largest = std::max(largest, abs_s(src[i]));
    return largest == 0 ? 0 : std::max(0, 6 - norm_s(largest));
}

struct Correlation {
    int32_t sum = 0;
    int lag = minLag;
};

// Sums stay below 2^30: 40 products of at most 512 * 32768.
Correlation search(const int16_t *src, int scale, const int16_t *history) {
    Correlation best;
    for (int lag = minLag; lag <= maxLag; lag++) {
        int32_t sum = 0;
        for (int k = 0; k < subSegmentLength; k++)
            sum += (src[k] >> scale) * history[k - lag];
        if (sum > best.sum) best = {sum, lag};
    }
    return best;
}

// Twice the sum of squares of the samples shifted right by 3; below 2^31.
int32_t powerOf(const int16_t *samples) {
    int32_t sum = 0;
    for (int k = 0; k < subSegmentLength; k++)
        sum += (samples[k] >> 3) * (samples[k] >> 3);
    return 2 * sum;
}

int16_t gainCodeOf(int32_t correlation, int32_t power) {
    if (correlation <= 0) return 0;
    if (correlation >= power) return gainCodes - 1;
    const int count = norm_l(power);
    const int16_t numerator = extract_h(correlation << count), denominator = extract_h(power << count);
    int16_t code = 0;
    while (code < gainCodes - 1 && numerator > mult(denominator, gainDecision[code]))
        code++;
    return code;
}

bool isLag(int16_t lag) {
    return lag >= minLag && lag <= maxLag;
}
bool isGainCode(int16_t code) {
    return code >= 0 && code < gainCodes;
}

} // namespace

ryxStatus ryxsLTPSearch_GSMFR_16s_u8(const int16_t *src, const int16_t *history, int16_t *lag, int16_t *gainCode) {
    if (anyNull(src, history, lag, gainCode)) return ryxStsNullPtr;
    const int scale = scaleOf(src);
    const Correlation best = search(src, scale, history);
    *lag = static_cast<int16_t>(best.lag);
    *gainCode = gainCodeOf(2 * best.sum >> (6 - scale), powerOf(history - best.lag));
    return ryxStsOk;
}

ryxStatus ryxsLongTermAnalysisFilter_GSMFR_16s_u8(const int16_t *src, const int16_t *history, int16_t lag,
                                                  int16_t gainCode, int16_t *dst) {
    if (anyNull(src, history, dst)) return ryxStsNullPtr;
    if (!isLag(lag)) return ryxStsOutOfRange;
    if (!isGainCode(gainCode)) return ryxStsBadIndex;
    const Vector gain = simd::words(gainValue[gainCode]);
    mapWords(
        dst, subSegmentLength, [=](Vector x, Vector past) { return _mm_subs_epi16(x, _mm_mulhrs_epi16(gain, past)); },
        src, history - lag);
    return ryxStsOk;
}

// Lags are at least as long as a sub-segment, so that nothing that is written is read.
ryxStatus ryxsLongTermSynthesisFilter_GSMFR_16s_I_u8(int16_t *srcDst, int16_t lag, int16_t gainCode) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (!isLag(lag)) return ryxStsOutOfRange;
    if (!isGainCode(gainCode)) return ryxStsBadIndex;
    const Vector gain = simd::words(gainValue[gainCode]);
    const int16_t *const past = srcDst - lag;
    mapWords(
        srcDst, subSegmentLength, [=](Vector x, Vector y) { return _mm_adds_epi16(x, _mm_mulhrs_epi16(gain, y)); },
        srcDst, past);
    return ryxStsOk;
}
