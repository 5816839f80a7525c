// SPDX-License-Identifier: BSD-2-Clause
// Long-term predictor of GSM 06.10: search of lag and gain (clause 4.2.11), analysis (4.2.12) and synthesis (4.2.18, 4.3.2).
#include <algorithm>

#include "common/checks.h"
#include "common/elementwise.h"
#include "common/fixed_point.h"
#include "gsmfr/implementations.h"
#include "gsmfr/largest_magnitude.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr int wordsPerVector = 8, dwordsPerVector = 4;

// The right shift that brings the samples to at most 512.
int scaleOf(const int16_t *src) {
    const int16_t magnitude = largestMagnitude(src, subSegmentLength);
    return magnitude == 0 ? 0 : std::max(0, 6 - norm_s(magnitude));
}

struct Correlation {
    int32_t sum;
    int lag;
};

// Neighbours of the history side by side, so that pmaddwd gives two terms of the correlation for four lags at a time.
class Pairs {
public:
    explicit Pairs(const int16_t *history) {
        const int16_t *const oldest = history - maxLag;
        for (int i = 0; i < maxLag; i += wordsPerVector) {
            const Vector first = simd::load(oldest + i);
            // The neighbour of the newest sample is not read, and no sum needs it.
            const Vector second = i + wordsPerVector < maxLag ? simd::load(oldest + i + 1) : _mm_srli_si128(first, 2);
            simd::store(pairs_ + i, _mm_unpacklo_epi16(first, second));
            simd::store(pairs_ + i + dwordsPerVector, _mm_unpackhi_epi16(first, second));
        }
    }

    // The samples `lag` and `lag` - 1 before the present, and those of the next three smaller lags.
    Vector at(int lag) const { return simd::load(pairs_ + (maxLag - lag)); }

private:
    alignas(16) int32_t pairs_[maxLag];
};

constexpr int lagGroups = 21; // of four lags; the last one, of the smallest lags, shares three with its neighbour

constexpr int largestLagOf(int group) {
    return group < lagGroups - 1 ? maxLag - dwordsPerVector * group : minLag + dwordsPerVector - 1;
}

// Keeps for each lane the first largest sum, going from small lags to large ones.
struct Best {
    Vector sums = _mm_setzero_si128();
    Vector groups = simd::dwords(-1);

    void consider(Vector candidates, int group) {
        const Vector larger = _mm_cmpgt_epi32(candidates, sums);
        sums = simd::select(larger, candidates, sums);
        groups = simd::select(larger, simd::dwords(group), groups);
    }

    // Of equal sums the one with the smallest lag.
    Correlation result() const {
        int32_t sum[dwordsPerVector], group[dwordsPerVector];
        simd::store(sum, sums);
        simd::store(group, groups);
        Correlation best = {0, minLag};
        for (int lane = dwordsPerVector - 1; lane >= 0; lane--) {
            if (group[lane] < 0) continue;
            const int lag = largestLagOf(group[lane]) - lane;
            if (sum[lane] > best.sum || (sum[lane] == best.sum && lag < best.lag)) best = {sum[lane], lag};
        }
        return best;
    }
};

// The first largest positive correlation. Sums stay below 2^30: 40 products of at most 512 * 32768.
Correlation search(const int16_t *src, int scale, const int16_t *history) {
    const Pairs past(history);
    const Vector count = _mm_cvtsi32_si128(scale);
    alignas(16) int16_t scaled[subSegmentLength];
    for (int i = 0; i < subSegmentLength; i += wordsPerVector)
        simd::store(scaled + i, _mm_sra_epi16(simd::load(src + i), count));
    Best best;
    constexpr int together = 7;
    for (int last = lagGroups - 1; last >= 0; last -= together) {
        Vector sums[together] = {};
#pragma GCC unroll 2
        for (int k = 0; k < subSegmentLength; k += 2) {
            const Vector samples = _mm_shuffle_epi32(simd::load32(scaled + k), 0);
#pragma GCC unroll 7
            for (int i = 0; i < together; i++)
                sums[i] = _mm_add_epi32(sums[i], _mm_madd_epi16(past.at(largestLagOf(last - i) - k), samples));
        }
        for (int i = 0; i < together; i++)
            best.consider(sums[i], last - i);
    }
    return best.result();
}

// Twice the sum of squares of the samples shifted right by 3; below 2^31.
int32_t powerOf(const int16_t *samples) {
    Vector sum = _mm_setzero_si128();
    for (int i = 0; i < subSegmentLength; i += wordsPerVector) {
        const Vector x = _mm_srai_epi16(simd::load(samples + i), 3);
        sum = _mm_add_epi32(sum, _mm_madd_epi16(x, x));
    }
    return 2 * simd::sumOfDwords(sum);
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
