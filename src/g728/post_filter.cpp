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

constexpr int halfCycle = 2 * vectorLength; // in which the long-term filter stays the same

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
    Vector factors(int half) const { return simd::wordPairs(gains[half], pitchGains[half]); }
    // Whether a rounded sum fits 32 bits.
    bool fits(int half) const { return std::abs(gains[half]) + std::abs(pitchGains[half]) < 65536; }
};

struct ShortTerm {
    const int16_t *zeros, *poles;
    int16_t tilt;
};

// Eight samples on their way through the long-term filter, with zeros behind the last ones.
struct LongTermInput {
    Vector x, period, frontFactors, backFactors;
};
template <int vectors, int k> LongTermInput longTermInput(const LongTerm &filter) {
    const int16_t *const x = filter.src, *const period = filter.speech - filter.lags[0];
    const Vector factors = filter.factors(0);
    if constexpr (vectors == 1) {
        return {loadFive(x), loadFive(period), factors, factors};
    } else if constexpr (k == 0) {
        return {simd::load(x), simd::load(period), factors, factors};
    } else {
        const int16_t *const laterPeriod = filter.speech - filter.lags[1];
        const Vector later = filter.factors(1);
        if constexpr (k == 2) return {simd::load64(x + 16), simd::load64(laterPeriod + 16), later, later};
        const Vector middle = _mm_castps_si128(
            _mm_move_ss(_mm_castsi128_ps(simd::load(laterPeriod + 8)), _mm_castsi128_ps(simd::load32(period + 8))));
        return {simd::load(x + 8), middle, _mm_unpacklo_epi64(factors, later), later};
    }
}

// Both filters for one vector or four, in 32 bits: the long-term filter and the zeros eight samples at a time, the poles four at
// a time. Whether all sums fit is known in the end; nothing is changed before save().
template <int vectors> class GroupFilter {
    static constexpr int groups = (vectors * vectorLength + 3) / 4;

public:
    GroupFilter(const LongTerm &longTerm, const ShortTerm &shortTerm, PostFilterState_G728 *block)
        : longTerm_(longTerm), octets_(reinterpret_cast<unsigned char *>(block)), zeros_(shortTerm.zeros),
          poles_(shortTerm.poles), pastZeros_(octets_ + offsetof(State, zeros)),
          pastPoles_(octets_ + offsetof(State, poles)), applyZeros_(zeros_), applyPoles_(poles_, pastPoles_),
          past_(simd::reverseWords(pastZeros_.front)),
          older_(_mm_slli_si128(_mm_shufflelo_epi16(pastZeros_.back, _MM_SHUFFLE(3, 2, 0, 1)), 12)),
          before_(_mm_slli_si128(pastPoles_.front, 12)), tilt_(shortTerm.tilt) {
        peak_.add(pastZeros_);
        peak_.add(pastPoles_);
    }

    // The inputs of the groups 2 k and 2 k + 1.
    template <int k> void prepare() {
        const LongTermInput in = longTermInput<vectors, k>(longTerm_);
        const Vector front = _mm_madd_epi16(_mm_unpacklo_epi16(in.x, in.period), in.frontFactors); // Q16
        const Vector back = _mm_madd_epi16(_mm_unpackhi_epi16(in.x, in.period), in.backFactors);
        const auto rounded = [](Vector sum) { return _mm_srai_epi32(_mm_add_epi32(sum, simd::dwords(1 << 13)), 14); };
        const Vector words = _mm_packs_epi32(rounded(front), rounded(back)); // what the short-term filter remembers
        peak_.add(words);
        const Eight sums = applyZeros_(words, past_, older_);
        inputs_[0] = _mm_add_epi32(front, sums.front);
        inputs_[1] = _mm_add_epi32(back, sums.back);
        older_ = past_;
        past_ = words;
    }
    // The outputs of a group.
    template <int g> void recur() {
        const Vector sums = applyPoles_(inputs_[g % 2]);
        outputs_[g] = PoleGroups::outputs(sums);
        const Vector delayed = _mm_alignr_epi8(outputs_[g], before_, 12);
        const Vector tilt = simd::dwords(static_cast<uint16_t>(tilt_));
        compensated_[g] = PoleGroups::outputs(_mm_add_epi32(sums, _mm_madd_epi16(delayed, tilt)));
        before_ = outputs_[g];
    }

    // A vector's five words, anything behind them, after the groups v and v + 1.
    template <int v> Vector vector() const {
        return _mm_srli_si128(_mm_packs_epi32(compensated_[v], compensated_[v + 1]), 2 * v);
    }

    // Whether no sum may have left 32 bits and no output was limited: the magnitudes of all terms, as far as everything was
    // right, stay below 2^31, and the first sum that is not right would not be the first. A long-term sum is at most 2^14
    // times its output, rounded.
    bool fits() {
        for (int g = 0; g < groups; g += 2)
            peak_.add(_mm_packs_epi32(outputs_[g], outputs_[std::min(g + 1, groups - 1)]));
        const int64_t largest = peak_.value();
        const int factors = 16384 + zeros_.magnitudeSum() + poles_.magnitudeSum() + std::abs(tilt_);
        return largest < max16 && factors * (largest + 2) < int64_t{1} << 31 && longTerm_.fits(0) &&
               longTerm_.fits((vectors - 1) / 2);
    }
    void save() const {
        auto *const zeroMemory = octets_ + offsetof(State, zeros), *const poleMemory = octets_ + offsetof(State, poles);
        if constexpr (vectors == 1) {
            advanced(pastZeros_, reversedFive(past_)).save(zeroMemory);
            advanced(pastPoles_, reversedFive(_mm_packs_epi32(outputs_[0], outputs_[1]))).save(poleMemory);
        } else {
            saveLatest(older_, past_, zeroMemory);
            saveLatest(_mm_packs_epi32(outputs_[2], outputs_[3]), _mm_packs_epi32(outputs_[4], outputs_[4]),
                       poleMemory);
        }
    }

private:
    // The latest ten of eight words and four behind them.
    static void saveLatest(Vector eight, Vector four, unsigned char *memory) {
        const Vector newest = _mm_unpacklo_epi64(_mm_unpackhi_epi64(eight, eight), four);
        const Vector rest = _mm_shufflelo_epi16(_mm_srli_si128(eight, 4), _MM_SHUFFLE(3, 2, 0, 1));
        Ten(simd::reverseWords(newest), rest).save(memory);
    }

    const LongTerm &longTerm_;
    unsigned char *octets_;
    Ten zeros_, poles_, pastZeros_, pastPoles_;
    ZeroGroups applyZeros_;
    PoleGroups applyPoles_;
    Vector past_, older_; // what the short-term filter remembers
    Vector before_;       // the group before, of which the last output counts
    int16_t tilt_;
    Peak peak_;
    Vector inputs_[2], outputs_[groups], compensated_[groups];
};

// Both filters, whatever the sums.
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
    explicit GainControl(int16_t scale) : scale_(scale) {}

    // A vector to PCM, from five words with anything behind them and its step, up to 2^30: all sums fit 32 bits.
    Vector operator()(Vector filtered, int32_t step) {
        uint64_t four = 0;
#pragma GCC unroll 4
        for (int n = 0; n < 4; n++)
            four |= static_cast<uint64_t>(static_cast<uint16_t>(next(step))) << 16 * n;
        const Vector front = _mm_cvtsi64_si128(static_cast<int64_t>(four));
        const Vector scaled = scaledWords(_mm_unpacklo_epi64(front, _mm_cvtsi32_si128(next(step))), filtered);
        return _mm_adds_epi16(scaled, scaled);
    }
    int16_t scale() const {
        return static_cast<int16_t>(scale_);
    }

private:
    // x * y in Q14, rounded and limited.
    static Vector scaledWords(Vector x, Vector y) {
        const Vector low = _mm_mullo_epi16(x, y), high = _mm_mulhi_epi16(x, y), half = simd::dwords(1 << 13);
        const auto rounded = [=](Vector product) { return _mm_srai_epi32(_mm_add_epi32(product, half), 14); };
        return _mm_packs_epi32(rounded(_mm_unpacklo_epi16(low, high)), rounded(_mm_unpackhi_epi16(low, high)));
    }

    int32_t next(int32_t step) {
        scale_ = (16220 * scale_ + (step + (1 << 13))) >> 14;
        if (scale_ > max16) [[unlikely]]
            scale_ = max16;
        return scale_;
    }

    int32_t scale_;
};

// The vectors of a cycle, two by two.
class Levelling {
public:
    Levelling(const int16_t *speech, int16_t scale) : speech_(speech), control_(scale) {}

    void two(int v, Vector first, Vector second) {
        const int16_t *const x = speech_ + v * vectorLength;
        const Vector steps = scaleSteps(magnitudes(loadFive(x)), magnitudes(loadFive(x + vectorLength)),
                                        magnitudes(first), magnitudes(second));
        const int64_t both = _mm_cvtsi128_si64(steps);
        pcm_[v] = control_(first, static_cast<int32_t>(both));
        pcm_[v + 1] = control_(second, static_cast<int32_t>(both >> 32));
    }
    void store(int16_t *dst, int16_t *scale) const {
        for (int v = 0; v < cycleVectors; v++)
            storeFive(dst + v * vectorLength, pcm_[v]);
        *scale = control_.scale();
    }

private:
    const int16_t *speech_;
    GainControl control_;
    Vector pcm_[cycleVectors];
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
    const LongTerm longTerm = {src, speech, &lag, &gain, &pitchGain};
    GroupFilter<1> filter(longTerm, {zeros, poles, tilt}, block);
    filter.prepare<0>();
    filter.recur<0>();
    filter.recur<1>();
    Vector filtered = filter.vector<0>();
    if (filter.fits()) [[likely]]
        filter.save();
    else
        filterPlainly<1>(longTerm, {zeros, poles, tilt}, &filtered, block);
    storeFive(dst, filtered);
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G728_16s_u8(const int16_t *speech, const int16_t *src, int16_t *dst, int16_t *scale) {
    if (anyNull(speech, src, dst, scale)) return ryxStsNullPtr;
    GainControl control(*scale);
    const Vector x = loadFive(src), wanted = magnitudes(loadFive(speech)), actual = magnitudes(x);
    storeFive(dst, control(x, _mm_cvtsi128_si32(scaleSteps(wanted, wanted, actual, actual))));
    *scale = control.scale();
    return ryxStsOk;
}

ryxStatus ryxsPostProcess_G728_16s_u8(const int16_t *src, const int16_t *speech, const int16_t *lags,
                                      const int16_t *gains, const int16_t *pitchGains, const int16_t *zeros,
                                      const int16_t *poles, int16_t tilt, int16_t *dst, int16_t *scale,
                                      PostFilterState_G728 *block) {
    if (anyNull(src, speech, lags, gains, pitchGains, zeros, poles, dst, scale, block)) return ryxStsNullPtr;
    if (!isLag(lags[0]) || !isLag(lags[1])) return ryxStsOutOfRange;
    const LongTerm longTerm = {src, speech, lags, gains, pitchGains};
    GroupFilter<cycleVectors> filter(longTerm, {zeros, poles, tilt}, block);
    Levelling levelling(src, *scale);
    // The recursion has the zeros of samples to come and the gain of earlier ones beside it.
    filter.prepare<0>();
    filter.recur<0>();
    filter.recur<1>();
    filter.prepare<1>();
    filter.recur<2>();
    filter.recur<3>();
    levelling.two(0, filter.vector<0>(), filter.vector<1>());
    filter.prepare<2>();
    filter.recur<4>();
    levelling.two(2, filter.vector<2>(), filter.vector<3>());
    if (filter.fits()) [[likely]] {
        filter.save();
    } else {
        Vector filtered[cycleVectors];
        filterPlainly<cycleVectors>(longTerm, {zeros, poles, tilt}, filtered, block);
        levelling = Levelling(src, *scale);
        levelling.two(0, filtered[0], filtered[1]);
        levelling.two(2, filtered[2], filtered[3]);
    }
    levelling.store(dst, scale);
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
