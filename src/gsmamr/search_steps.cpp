// SPDX-License-Identifier: BSD-2-Clause
#include "gsmamr/search_steps.h"

#include <algorithm>
#include <cstring>

#include "common/inv_sqrt.h"
#include "gsmamr/subframe_sums.h"

namespace ryxsc::gsmamr {

using simd::Vector;

namespace {

void sumProductsSaturated(const int16_t *x, const int16_t *h, int32_t *sums) {
    for (int n = 0; n < subframeLength; n++) {
        sums[n] = 0;
        for (int i = n; i < subframeLength; i++)
            sums[n] = L_mac(sums[n], x[i], h[i - n]);
    }
}

int normalisation(const int32_t *sums, int tracks) {
    int32_t most[5] = {}, total = 5;
    for (int n = 0; n < subframeLength; n += tracks)
        for (int track = 0; track < tracks; track++)
            most[track] = std::max(most[track], L_abs(sums[n + track]));
    for (const int32_t m : most)
        total = L_add(total, m >> 1);
    return norm_l(total);
}

// round(L_shl(x, shift)) of sums whose shifted values fit 32 bits.
void normalise(const int32_t *sums, int shift, int16_t *words) {
    const Vector left = _mm_cvtsi32_si128(std::max(shift, 0)), right = _mm_cvtsi32_si128(15 - std::min(shift, 0));
    const auto four = [&](const int32_t *from) {
        const Vector halves = _mm_sra_epi32(_mm_sll_epi32(simd::load(from), left), right);
        return _mm_srai_epi32(_mm_add_epi32(halves, simd::dwords(1)), 1);
    };
    for (int n = 0; n < subframeLength; n += 8)
        simd::store(words + n, _mm_packs_epi32(four(sums + n), four(sums + n + 4)));
}

int16_t amplitudeScale(const int16_t *x) {
    return extract_h(L_shl(inverseSqrt(saturatedEnergy(256, x)), 5));
}

} // namespace

void sharpen(int lag, int16_t factor, int16_t *x) {
    for (int n = lag; n < subframeLength; n += 8) {
        const Vector product = simd::mulShift<15>(simd::load(x + n - lag), simd::words(factor));
        simd::store(x + n, _mm_add_epi16(simd::load(x + n), product));
    }
}

void sharpenSaturated(int lag, int16_t factor, int16_t *x) {
    for (int n = lag; n < subframeLength; n += 8) {
        const Vector product = simd::mulShiftSaturated<15>(simd::load(x + n - lag), simd::words(factor));
        simd::store(x + n, _mm_adds_epi16(simd::load(x + n), product));
    }
}

void correlate(const int16_t *target, const int16_t *impulse, int tracks, int headroom, Words &correlation) {
    alignas(16) int32_t sums[subframeLength];
    const bool fit = sumsFit(sumOfSquares(target), sumOfSquares(impulse));
    if (fit) {
        sumProducts(target, impulse, sums);
        for (int n = 0; n < subframeLength; n += 4)
            simd::store(sums + n, _mm_slli_epi32(simd::load(sums + n), 1));
    } else {
        sumProductsSaturated(target, impulse, sums);
    }
    normalise(sums, normalisation(sums, tracks) - headroom, correlation.at);
}

void splitSigns(Signed &d) {
    for (int n = 0; n < subframeLength; n += 8) {
        const Vector x = simd::load(d.correlation.at + n), negative = simd::signMask(x);
        simd::store(d.sign.at + n, _mm_or_si128(negative, simd::words(1)));
        simd::store(d.correlation.at + n, simd::negateSaturatedWhere(negative, x));
    }
}

// The combination is sat16((kr * r + kd * d + 16) >> 5): none of the saturations on the recommendation's way changes that,
// and kr and kd are not negative.
void combineSigns(const int16_t *residual, Signed &d, Words &magnitude) {
    const Vector kr = simd::words(amplitudeScale(residual)), kd = simd::words(amplitudeScale(d.correlation.at));
    const simd::ScaleDown scaleDown(5);
    for (int n = 0; n < subframeLength; n += 8) {
        const Vector x = simd::load(d.correlation.at + n);
        const Vector c = scaleDown(simd::sumsOfTwoProducts(simd::load(residual + n), kr, x, kd));
        const Vector negative = simd::signMask(c);
        simd::store(magnitude.at + n, simd::negateSaturatedWhere(negative, c));
        simd::store(d.sign.at + n, _mm_or_si128(negative, simd::words(1)));
        simd::store(d.correlation.at + n, simd::negateSaturatedWhere(negative, x));
    }
}

namespace {

constexpr int maxPairs = maxPulses / 2;

struct PulseGains {
    int16_t positive, negative;

    int16_t of(const Pulses &pulses, int k) const { return pulses.negative[k] ? negative : positive; }
};

void filterSaturated(PulseGains gains, const Pulses &pulses, const int16_t *impulse, int16_t *filtered) {
    for (int n = 0; n < subframeLength; n++) {
        int32_t sum = 0;
        for (int k = 0; k < pulses.count; k++)
            if (pulses.position[k] <= n) sum = L_mac(sum, gains.of(pulses, k), impulse[n - pulses.position[k]]);
        filtered[n] = round(sum);
    }
}

} // namespace

void filter(Codebook codebook, const Pulses &pulses, const PaddedResponse &impulse, int16_t *filtered) {
    const bool ten = codebook == Codebook::tenPulses;
    const PulseGains gains = ten ? PulseGains{8192, -8192} : PulseGains{32767, -32768};
    const simd::ScaleDown scaleDown(15);
    const int pairs = (pulses.count + 1) / 2;
    // The responses to the pulses from sample 0 on; zeros for the one that a third pulse lacks.
    const int16_t *responses[2 * maxPairs];
    Vector factors[maxPairs];
    for (int k = 0; k < 2 * pairs; k++)
        responses[k] = k < pulses.count ? impulse.response() - pulses.position[k] : impulse.words;
    for (int k = 0; k < pairs; k++)
        factors[k] = _mm_unpacklo_epi16(simd::words(gains.of(pulses, 2 * k)), simd::words(gains.of(pulses, 2 * k + 1)));
    Vector reach = _mm_setzero_si128(); // magnitudes that meet in a sample
    Words result;
    for (int n = 0; n < subframeLength; n += 8) {
        simd::Dwords sums = {};
        Vector magnitudes = _mm_setzero_si128();
        for (int k = 0; k < pairs; k++) {
            const Vector x = simd::load(responses[2 * k] + n), y = simd::load(responses[2 * k + 1] + n);
            sums.front = _mm_add_epi32(sums.front, _mm_madd_epi16(_mm_unpacklo_epi16(x, y), factors[k]));
            sums.back = _mm_add_epi32(sums.back, _mm_madd_epi16(_mm_unpackhi_epi16(x, y), factors[k]));
            magnitudes = _mm_adds_epu16(magnitudes, _mm_adds_epu16(_mm_abs_epi16(x), _mm_abs_epi16(y)));
        }
        reach = _mm_or_si128(reach, magnitudes);
        simd::store(result.at + n, scaleDown(sums));
    }
    // Magnitudes below 32768 keep the doubled sums within 32 bits, rounding included.
    if (_mm_movemask_epi8(simd::signMask(reach)) != 0)
        return filterSaturated(gains, pulses, impulse.response(), filtered);
    std::memcpy(filtered, result.at, sizeof result.at);
}

} // namespace ryxsc::gsmamr
