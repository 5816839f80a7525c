// SPDX-License-Identifier: BSD-2-Clause
// Post-filter of ITU-T G.728, Annex G: long-term and short-term filter without a rounding between them, automatic gain
// control, coefficients from the predictor of order 10. And the way from block floating point to samples.
#include <cstddef>

#include "common/checks.h"
#include "common/state_block.h"
#include "g728/arithmetic.h"
#include "g728/group_filter.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

struct State {
    int16_t zeros[order], poles[order]; // outputs of the long-term filter and of the poles, newest first
};
static_assert(sizeof(State) == 40);

constexpr int minLag = 20, maxLag = 140;
constexpr int halfCycle = 2 * vectorLength; // in which the long-term filter stays the same

bool isLag(int lag) {
    return lag >= minLag && lag <= maxLag;
}
bool isFraction(int fraction) {
    return fraction >= 0 && fraction <= 15;
}

// From block floating point to fixed point, rounded and limited, zeros behind the five words. More than 15 places to the right
// leave nothing; 16 to the left limit whatever is not 0.
Vector converted(const int16_t *src, int exponent, int fraction) {
    const Vector x = loadFive(src);
    const int right = exponent - fraction;
    if (right > 0) return _mm_mulhrs_epi16(x, simd::words(static_cast<int16_t>((1 << 15) >> std::min(right, 16))));
    const Vector left = _mm_cvtsi32_si128(std::min(-right, 16));
    return _mm_packs_epi32(_mm_sll_epi32(simd::frontDwords(x), left), _mm_sll_epi32(simd::backDwords(x), left));
}

// Long-term filter of a vector or of a cycle, whose halves have their own lags and gains.
struct LongTerm {
    const int16_t *src, *speech; // Q2, Q0
    const int16_t *lags, *gains, *pitchGains;

    int64_t sum(int n) const { // Q16
        const int half = n / halfCycle;
        return int64_t{gains[half]} * src[n] + pitchGains[half] * speech[n - lags[half]];
    }
    // (gain, pitch gain) in all dwords.
    Vector factors(int half) const {
        return _mm_unpacklo_epi16(simd::words(gains[half]), simd::words(pitchGains[half]));
    }
    // Whether a rounded sum fits 32 bits.
    bool fits(int half) const { return std::abs(gains[half]) + std::abs(pitchGains[half]) < 65536; }
};

struct ShortTerm {
    const int16_t *zeros, *poles;
    int16_t tilt;
};

// The long-term filter's sums, and the samples in Q2 that the short-term filter remembers; zeros behind them.
template <int vectors> struct LongTermOutput {
    static constexpr int eights = vectors == 1 ? 1 : 3;
    Vector sums[2 * eights], words[eights];

    explicit LongTermOutput(const LongTerm &filter) {
        const int16_t *const x = filter.src, *const period = filter.speech - filter.lags[0];
        const Vector factors = filter.factors(0);
        if constexpr (vectors == 1) {
            set(0, loadFive(x), loadFive(period), factors, factors);
        } else {
            const int16_t *const laterPeriod = filter.speech - filter.lags[1];
            const Vector later = filter.factors(1);
            const Vector middle = _mm_castps_si128(
                _mm_move_ss(_mm_castsi128_ps(simd::load(laterPeriod + 8)), _mm_castsi128_ps(simd::load32(period + 8))));
            set(0, simd::load(x), simd::load(period), factors, factors);
            set(1, simd::load(x + 8), middle, _mm_unpacklo_epi64(factors, later), later);
            set(2, simd::load64(x + 16), simd::load64(laterPeriod + 16), later, later);
        }
    }

private:
    void set(int k, Vector x, Vector period, Vector frontFactors, Vector backFactors) {
        const auto rounded = [](Vector sum) { return _mm_srai_epi32(_mm_add_epi32(sum, simd::dwords(1 << 13)), 14); };
        sums[2 * k] = _mm_madd_epi16(_mm_unpacklo_epi16(x, period), frontFactors);
        sums[2 * k + 1] = _mm_madd_epi16(_mm_unpackhi_epi16(x, period), backFactors);
        words[k] = _mm_packs_epi32(rounded(sums[2 * k]), rounded(sums[2 * k + 1]));
    }
};

// A vector's five words from two groups of dwords, anything behind them.
template <int vector> Vector fiveOf(const Vector *groups) {
    return _mm_srli_si128(_mm_packs_epi32(groups[vector], groups[vector + 1]), 2 * vector);
}
template <int vectors> void toVectors(const Vector *groups, Vector *dst) {
    dst[0] = fiveOf<0>(groups);
    if constexpr (vectors == 4) {
        dst[1] = fiveOf<1>(groups);
        dst[2] = fiveOf<2>(groups);
        dst[3] = fiveOf<3>(groups);
    }
}

// Both filters in 32 bits. False, with nothing changed, where a sum may not fit or an output was limited. None is where the
// magnitudes of all terms, as far as everything was right, stay below 2^31: the first sum that is not right would not be the
// first. A long-term sum is at most 2^14 times its output, rounded.
template <int vectors>
bool filterGroups(const LongTerm &longTerm, const ShortTerm &shortTerm, Vector *dst, PostFilterState_G728 *block) {
    constexpr int groups = (vectors * vectorLength + 3) / 4;
    auto *const octets = reinterpret_cast<unsigned char *>(block);
    auto *const zeroMemory = octets + offsetof(State, zeros), *const poleMemory = octets + offsetof(State, poles);
    const Ten zeros(shortTerm.zeros), poles(shortTerm.poles), pastZeros(zeroMemory), pastPoles(poleMemory);
    LongTermOutput<vectors> x(longTerm);
    Peak peak;
    peak.add(pastZeros);
    peak.add(pastPoles);
    const ZeroGroups applyZeros(zeros);
    const Vector inTime = simd::reverseWords(pastZeros.front);
    Vector past = inTime, older = _mm_slli_si128(_mm_shufflelo_epi16(pastZeros.back, _MM_SHUFFLE(3, 2, 0, 1)), 12);
    for (int k = 0; k < x.eights; k++) {
        peak.add(x.words[k]);
        const Eight sums = applyZeros(x.words[k], past, older);
        x.sums[2 * k] = _mm_add_epi32(x.sums[2 * k], sums.front);
        x.sums[2 * k + 1] = _mm_add_epi32(x.sums[2 * k + 1], sums.back);
        older = past;
        past = x.words[k];
    }

    PoleGroups applyPoles(poles, pastPoles);
    Vector outputs[groups], compensated[groups];
    Vector before = _mm_slli_si128(pastPoles.front, 12);
    const Vector tilt = simd::dwords(static_cast<uint16_t>(shortTerm.tilt));
    for (int g = 0; g < groups; g++) {
        const Vector sums = applyPoles(x.sums[g]);
        outputs[g] = PoleGroups::outputs(sums);
        const Vector delayed = _mm_alignr_epi8(outputs[g], before, 12);
        compensated[g] = PoleGroups::outputs(_mm_add_epi32(sums, _mm_madd_epi16(delayed, tilt)));
        before = outputs[g];
    }
    Vector words[vectors];
    toVectors<vectors>(outputs, words);
    for (const Vector &w : words)
        peak.add(w);

    const int64_t largest = peak.value(),
                  factors = 16384 + zeros.magnitudeSum() + poles.magnitudeSum() + std::abs(shortTerm.tilt);
    if (largest == max16 || factors * (largest + 2) >= int64_t{1} << 31 || !longTerm.fits(0) ||
        !longTerm.fits((vectors - 1) / 2)) [[unlikely]]
        return false;
    toVectors<vectors>(compensated, dst);
    if constexpr (vectors == 1) {
        advanced(pastZeros, reversedFive(x.words[0])).save(zeroMemory);
        advanced(pastPoles, reversedFive(words[0])).save(poleMemory);
    } else {
        // Newest in front: samples 19..12, 11 and 10.
        const auto save = [](Vector eight, Vector four, unsigned char *memory) {
            const Vector newest = _mm_unpacklo_epi64(_mm_unpackhi_epi64(eight, eight), four);
            const Vector rest = _mm_shufflelo_epi16(_mm_srli_si128(eight, 4), _MM_SHUFFLE(3, 2, 0, 1));
            Ten(simd::reverseWords(newest), rest).save(memory);
        };
        save(x.words[1], x.words[2], zeroMemory);
        save(_mm_packs_epi32(outputs[2], outputs[3]), _mm_packs_epi32(outputs[4], outputs[4]), poleMemory);
    }
    return true;
}

// The same, whatever the sums.
template <int vectors>
void filterPlainly(const LongTerm &longTerm, const ShortTerm &shortTerm, Vector *dst, PostFilterState_G728 *block) {
    constexpr int len = vectors * vectorLength;
    auto state = loadBlock<State>(block);
    int16_t x[order + len], y[order + len], out[len];
    std::reverse_copy(state.zeros, state.zeros + order, x);
    std::reverse_copy(state.poles, state.poles + order, y);
    for (int n = 0; n < len; n++) {
        int64_t sum = longTerm.sum(n);
        x[order + n] = upperOf<14>(sum);
        for (int i = 1; i <= order; i++)
            sum += int64_t{shortTerm.zeros[i - 1]} * x[order + n - i] - shortTerm.poles[i - 1] * y[order + n - i];
        out[n] = outputOf(sum + shortTerm.tilt * y[order + n - 1]);
        y[order + n] = outputOf(sum);
    }
    std::reverse_copy(x + len, x + len + order, state.zeros);
    std::reverse_copy(y + len, y + len + order, state.poles);
    saveBlock(block, state);
    for (int v = 0; v < vectors; v++)
        dst[v] = loadFive(out + v * vectorLength);
}

template <int vectors>
void postFilter(const LongTerm &longTerm, const ShortTerm &shortTerm, Vector *dst, PostFilterState_G728 *block) {
    if (!filterGroups<vectors>(longTerm, shortTerm, dst, block)) [[unlikely]]
        filterPlainly<vectors>(longTerm, shortTerm, dst, block);
}

// The magnitudes of five words, with anything behind them, in sums to be added up.
Vector magnitudes(Vector x) {
    return _mm_madd_epi16(x, _mm_sign_epi16(_mm_setr_epi16(1, 1, 1, 1, 1, 0, 0, 0), x));
}

// Of sums below 2^18 the upper 15 bits, rounded, as the normalisation to 16 bits leaves them.
__m128 mantissas(Vector sums) {
    const Vector bits = _mm_castps_si128(_mm_cvtepi32_ps(sums)), mantissa = simd::dwords(0x7ffe00);
    const Vector upper = simd::dwords(-1 << 9);
    const __m128 rounded = _mm_castsi128_ps(_mm_and_si128(_mm_add_epi32(bits, simd::dwords(1 << 8)), upper));
    return _mm_min_ps(rounded, _mm_castsi128_ps(_mm_and_si128(_mm_or_si128(bits, mantissa), upper)));
}

// What the smoothed scales of two vectors gain with each sample, 1 - 0.99 times the ratio of the magnitudes in front of the
// post-filter and behind it, from these in sums to be added up. With a step of 2^30 a scale is at its limit, as with a larger
// one.
// The ratio has 15 bits, to nearest, ties towards zero: as both magnitudes have no more, it is a tie exactly or so far from one
// that its rounding to 53 bits does not matter, whatever the rounding mode.
Vector scaleSteps(Vector wanted0, Vector wanted1, Vector actual0, Vector actual1) {
    const Vector sums = _mm_hadd_epi32(_mm_hadd_epi32(wanted0, wanted1), _mm_hadd_epi32(actual0, actual1));
    const Vector silent = _mm_cmpgt_epi32(simd::dwords(5), _mm_unpackhi_epi64(sums, sums)); // then the ratio is 1
    const __m128 both = mantissas(simd::select(silent, simd::dwords(1), sums));
    const Vector bits = _mm_castpd_si128(_mm_div_pd(_mm_cvtps_pd(both), _mm_cvtps_pd(_mm_movehl_ps(both, both))));
    const Vector half = _mm_set1_epi64x((int64_t{1} << 37) - 1), upper = _mm_set1_epi64x(-(int64_t{1} << 38));
    const __m128d ratio = _mm_castsi128_pd(_mm_and_si128(_mm_add_epi64(bits, half), upper));
    return _mm_cvttpd_epi32(_mm_min_pd(_mm_mul_pd(ratio, _mm_set1_pd(20972 << 7)), _mm_set1_pd(1 << 30)));
}

// Brings vectors to the level of the speech in front of the post-filter.
class GainControl {
public:
    explicit GainControl(int16_t scale) : scale_(simd::words(scale)) {}

    // A vector to PCM, from five words with anything behind them and its step, up to 2^30, in all dwords: all sums fit 32 bits.
    Vector operator()(Vector filtered, Vector step) {
        const Vector rounded = _mm_add_epi32(step, simd::dwords(1 << 13));
        Vector scales[vectorLength];
#pragma GCC unroll 5
        for (Vector &scale : scales) {
            const Vector sum = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(scale_, simd::dwords(16220)), rounded), 14);
            scale = scale_ = _mm_packs_epi32(sum, sum);
        }
        const Vector four =
            _mm_unpacklo_epi32(_mm_unpacklo_epi16(scales[0], scales[1]), _mm_unpacklo_epi16(scales[2], scales[3]));
        const Vector scaled = scaledWords(_mm_unpacklo_epi64(four, scales[4]), filtered);
        return _mm_adds_epi16(scaled, scaled);
    }
    int16_t scale() const {
        return static_cast<int16_t>(_mm_cvtsi128_si32(scale_));
    }

private:
    // x * y in Q14, rounded and limited.
    static Vector scaledWords(Vector x, Vector y) {
        const Vector low = _mm_mullo_epi16(x, y), high = _mm_mulhi_epi16(x, y), half = simd::dwords(1 << 13);
        const auto rounded = [=](Vector product) { return _mm_srai_epi32(_mm_add_epi32(product, half), 14); };
        return _mm_packs_epi32(rounded(_mm_unpacklo_epi16(low, high)), rounded(_mm_unpackhi_epi16(low, high)));
    }

    Vector scale_; // in all words
};

} // namespace

ryxStatus ryxsConvertBlock_G728_16s_u8(const int16_t *src, int16_t exponent, int16_t fraction, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (!isFraction(fraction)) return ryxStsOutOfRange;
    storeFive(dst, converted(src, exponent, fraction));
    return ryxStsOk;
}

ryxStatus ryxsConvertCycle_G728_16s_u8(const int16_t *src, const int16_t *exponents, int16_t fraction, int16_t *dst) {
    if (anyNull(src, exponents, dst)) return ryxStsNullPtr;
    if (!isFraction(fraction)) return ryxStsOutOfRange;
    Vector out[cycleVectors];
    for (int v = 0; v < cycleVectors; v++)
        out[v] = converted(src + v * vectorLength, exponents[v], fraction);
    storeCycle(dst, out);
    return ryxStsOk;
}

ryxStatus ryxsPostFilterGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsPostFilterInit_G728_16s_u8(PostFilterState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    saveBlock(block, State{});
    return ryxStsOk;
}

ryxStatus ryxsPostFilter_G728_16s_u8(const int16_t *src, const int16_t *speech, int16_t lag, int16_t gain,
                                     int16_t pitchGain, const int16_t *zeros, const int16_t *poles, int16_t tilt,
                                     int16_t *dst, PostFilterState_G728 *block) {
    if (anyNull(src, speech, zeros, poles, dst, block)) return ryxStsNullPtr;
    if (!isLag(lag)) return ryxStsOutOfRange;
    Vector filtered;
    postFilter<1>({src, speech, &lag, &gain, &pitchGain}, {zeros, poles, tilt}, &filtered, block);
    storeFive(dst, filtered);
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G728_16s_u8(const int16_t *speech, const int16_t *src, int16_t *dst, int16_t *scale) {
    if (anyNull(speech, src, dst, scale)) return ryxStsNullPtr;
    GainControl control(*scale);
    const Vector x = loadFive(src), wanted = magnitudes(loadFive(speech)), actual = magnitudes(x);
    storeFive(dst, control(x, _mm_shuffle_epi32(scaleSteps(wanted, wanted, actual, actual), 0)));
    *scale = control.scale();
    return ryxStsOk;
}

ryxStatus ryxsPostProcess_G728_16s_u8(const int16_t *src, const int16_t *speech, const int16_t *lags,
                                      const int16_t *gains, const int16_t *pitchGains, const int16_t *zeros,
                                      const int16_t *poles, int16_t tilt, int16_t *dst, int16_t *scale,
                                      PostFilterState_G728 *block) {
    if (anyNull(src, speech, lags, gains, pitchGains, zeros, poles, dst, scale, block)) return ryxStsNullPtr;
    if (!isLag(lags[0]) || !isLag(lags[1])) return ryxStsOutOfRange;
    Vector filtered[cycleVectors];
    postFilter<cycleVectors>({src, speech, lags, gains, pitchGains}, {zeros, poles, tilt}, filtered, block);
    GainControl control(*scale);
    for (int v = 0; v < cycleVectors; v += 2) {
        const int16_t *const x = src + v * vectorLength;
        const Vector steps = scaleSteps(magnitudes(loadFive(x)), magnitudes(loadFive(x + vectorLength)),
                                        magnitudes(filtered[v]), magnitudes(filtered[v + 1]));
        int16_t *const y = dst + v * vectorLength;
        storeFive(y, control(filtered[v], _mm_shuffle_epi32(steps, 0)));
        storeFive(y + vectorLength, control(filtered[v + 1], _mm_shuffle_epi32(steps, 0x55)));
    }
    *scale = control.scale();
    return ryxStsOk;
}

ryxStatus ryxsPostFilterCoefficients_G728_16s_u8(const int16_t *lpc, int16_t fraction, int16_t reflection,
                                                 int16_t *inverse, int16_t *zeros, int16_t *poles, int16_t *tilt) {
    if (anyNull(lpc, inverse, zeros, poles, tilt)) return ryxStsNullPtr;
    if (fraction < 13 || fraction > 15) return ryxStsOutOfRange;
    for (int i = 0; i < order; i++)
        inverse[i] = roundUpper(lpc[i] * (1 << (29 - fraction)));
    int16_t expanded[order];
    if (ryxsBandwidthExpand_G728_16s_u8(lpc, fraction, ryxG728PostFilterPoleExpansion, expanded) != ryxStsOk)
        return ryxStsOverflow;
    std::copy_n(expanded, order, poles);
    ryxsBandwidthExpand_G728_16s_u8(lpc, fraction, ryxG728PostFilterZeroExpansion, zeros);
    *tilt = roundUpper(4915 * reflection); // 0.15 in Q15
    return ryxStsOk;
}
