// SPDX-License-Identifier: BSD-2-Clause
// Post-filters of the decoder of ITU-T G.723.1: pitch, formants and tilt, and the level.
#include "common/checks.h"
#include "common/elementwise.h"
#include "common/implementations.h"
#include "common/product_sums.h"
#include "g723/adaptive_codebook.h"
#include "g723/implementations.h"
#include "g723/line_filters.h"
#include "g723/lp_tables.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int headroom = 3;

struct PitchFilter {
    int lag = 0; // negative: back in time
    int16_t gain = 0, scale = max16;
};

// Sums of 2 * x[i] * y[i] over a subframe, saturated after every term. In normalised excitation, magnitudes up to 2^12,
// none saturates.
class Products {
public:
    // Of words from..to.
    Products(const int16_t *from, const int16_t *to) {
        Range range;
        range.add(from, static_cast<int>(to - from));
        fit_ = range.isWithin(1 << 12);
    }

    int32_t operator()(const int16_t *x, const int16_t *y) const {
        return fit_ ? 2 * wrappedProducts(x, y, subframeLength) : dotProduct(x, y, subframeLength);
    }
    void operator()(const int16_t *x, const int16_t *y, int count, int32_t *out) const {
        macCorrelations(x, y, subframeLength, count, out, fit_);
    }

private:
    bool fit_;
};

// The lag, of seven, with the largest positive correlation, the first among equals; 0 for none. ahead: how many of them the
// frame reaches, forwards.
constexpr int lags = 7;
int bestBackward(const int16_t *src, int first, const Products &products) {
    int32_t correlations[lags]; // the longest lag first
    products(src, src - first - lags + 1, lags, correlations);
    int32_t largest = 0;
    int best = 0;
    for (int i = 0; i < lags; i++) {
        if (correlations[lags - 1 - i] <= largest) continue;
        largest = correlations[lags - 1 - i];
        best = -first - i;
    }
    return best;
}
int bestForward(const int16_t *src, int first, int ahead, const Products &products) {
    int32_t correlations[lags];
    products(src, src + first, ahead, correlations);
    int32_t largest = 0;
    int best = 0;
    for (int i = 0; i < ahead; i++) {
        if (correlations[i] <= largest) continue;
        largest = correlations[i];
        best = first + i;
    }
    return best;
}

// Gain and the factor that keeps the energy, from the energies of the subframe and of the delayed one.
PitchFilter designPitchFilter(int lag, int16_t own, int16_t correlation, int16_t delayed, int16_t weight) {
    PitchFilter filter;
    filter.lag = lag;
    if (L_mult(correlation, correlation) <= L_mult(own, delayed) >> 2) return filter;
    const int16_t gain = correlation >= delayed ? weight : mult(div_s(correlation, delayed), weight);
    const int32_t halved = L_deposit_h(own) >> 1;
    const int32_t sum = L_add(L_mac(halved, correlation, gain), L_mult(delayed, mult(gain, gain)) >> 1);
    const int16_t filtered = round(sum);
    filter.scale = squareRoot(L_deposit_h(quotient(halved, filtered)));
    filter.gain = mult(gain, filter.scale);
    return filter;
}

// reach: samples of the frame behind the subframe.
PitchFilter choosePitchFilter(const int16_t *src, int lag, int reach, int rate) {
    const int first = lag - 3, ahead = std::clamp(reach - first + 1, 0, lags);
    const Products product(src - lag - 3, src + subframeLength + (ahead > 0 ? first + ahead - 1 : 0));
    const int backward = bestBackward(src, first, product);
    const int forward = ahead > 0 ? bestForward(src, first, ahead, product) : 0;
    if (backward == 0 && forward == 0) return {};
    int32_t sums[5] = {};
    sums[0] = product(src, src);
    if (backward != 0) {
        sums[1] = product(src, src + backward);
        sums[2] = product(src + backward, src + backward);
    }
    if (forward != 0) {
        sums[3] = product(src, src + forward);
        sums[4] = product(src + forward, src + forward);
    }
    const int shift = norm_l(*std::max_element(sums, sums + 5));
    int16_t scaled[5];
    for (int i = 0; i < 5; i++)
        scaled[i] = extract_h(L_shl(sums[i], shift));
    const int16_t weight = rate == ryxG723Rate63 ? 6144 : 8192;
    const int32_t backwardGain = L_mult(mult_r(scaled[1], scaled[1]), scaled[4]);
    const int32_t forwardGain = L_mult(mult_r(scaled[3], scaled[3]), scaled[2]);
    if (forward == 0 || (backward != 0 && backwardGain > forwardGain))
        return designPitchFilter(backward, scaled[0], scaled[1], scaled[2], weight);
    return designPitchFilter(forward, scaled[0], scaled[3], scaled[4], weight);
}

void filterInOrder(const Line &inputs, const int16_t *zeros, const int16_t *poles, int16_t tilt, Line &outputs,
                   int16_t *dst) {
    for (int n = 0; n < subframeLength; n++) {
        const int16_t *x = inputs.begin() + n;
        int16_t *y = outputs.begin() + n;
        const int32_t acc = L_shl(addTaps(subtractTaps(*x * 16384, zeros, x), poles, y), 2);
        *y = round(acc);
        dst[n] = round(L_mac(acc, y[-1], tilt));
    }
}

// False where a sum may have saturated. As the tilt is a multiple of 4, with the sum S of undoubled products
//     round(L_mac(L_shl(2 S, 2), y, tilt)) = sat16((S + y * tilt / 4 + 2^12) >> 13)
// unless the shift saturates, and then the output does.
bool filterOnVectors(const Line &inputs, const int16_t *zeros, const int16_t *poles, int16_t tilt, Line &outputs,
                     int16_t *dst) {
    constexpr int scale = 13;
    if (!hasNegative(poles)) return false;
    const int16_t *x = inputs.begin(), *y = outputs.begin();
    const Taps zeroTaps(zeros), poleTaps(poles);
    simd::Dwords sums[paddedSubframe / 8];
    const bool clipped =
        recurse(poles, outputs, [&](int n) { return sums[n / 8] = scaled(x + n, scale) - zeroTaps(x + n); });
    const int outputPeak = outputs.peak();
    if (clipped || int64_t{inputs.peak()} * ((1 << scale) + sumOfMagnitudes(zeros)) +
                           int64_t{outputPeak} * sumOfMagnitudes(poles) >=
                       1 << 30)
        return false;
    const simd::Vector factor = simd::words(static_cast<int16_t>(tilt >> 2));
    const simd::ScaleDown rounded(outputShift);
    for (int n = 0; n < subframeLength; n += 8) {
        const simd::Vector out = rounded(sums[n / 8] + poleTaps(y + n) + simd::products(simd::load(y + n - 1), factor));
        if (n + 8 <= subframeLength)
            simd::store(dst + n, out);
        else
            simd::store64(dst + n, out);
    }
    return true;
}

// State of the formant post-filter: two lines of ten words, then the smoothed reflection coefficient of the tilt.
constexpr int tiltPlace = 2 * order;

} // namespace

ryxStatus ryxsLongTermPostFilter_G723_16s_u8(const int16_t *src, const int16_t *normalised, int lag, int subframe,
                                             int rate, int16_t *dst) {
    if (anyNull(src, normalised, dst)) return ryxStsNullPtr;
    if (lag < shortestLag || lag > longestLag - 1 || subframe < 0 || subframe >= subframes || !isRate(rate))
        return ryxStsOutOfRange;
    const int reach = frameLength - subframeLength * (subframe + 1);
    const PitchFilter filter = choosePitchFilter(normalised, lag, reach, rate);
    // Gain and scale are positive, and -32768 times either is nowhere near -2^31: only the final sum may saturate.
    const simd::Vector scale = simd::words(filter.scale), gain = simd::words(filter.gain);
    const simd::ScaleDown rounded(15);
    const auto mix = [=](simd::Vector now, simd::Vector then) {
        return rounded(simd::sumsOfTwoProducts(now, scale, then, gain));
    };
    mapWords(dst, subframeLength, mix, src, src + filter.lag);
    return ryxStsOk;
}

ryxStatus ryxsShortTermPostFilter_G723_16s_u8(const int16_t *src, const int16_t *lpc, int16_t *dst, int32_t *energy,
                                              int16_t *memory) {
    if (anyNull(src, lpc, dst, energy, memory)) return ryxStsNullPtr;
    int16_t zeros[order], poles[order], scaled[subframeLength];
    for (int i = 0; i < order; i++) {
        zeros[i] = mult_r(lpc[i], postFilterZeros[i]);
        poles[i] = mult_r(lpc[i], postFilterPoles[i]);
    }
    int scale = headroom;
    ryxsAutoScale_16s_u8(src, scaled, subframeLength, &scale);
    // Normalised: 60 squares of at most 2^24.
    const int32_t squares = 2 * wrappedProducts(scaled, scaled, subframeLength);
    const int32_t neighbours = 2 * wrappedProducts(scaled + 1, scaled, subframeLength - 1);
    const int16_t loudness = extract_h(squares);
    int16_t reflection = 0;
    if (loudness != 0) {
        const int16_t ratio = quotient(L_abs(neighbours >> 1), loudness);
        reflection = neighbours < 0 ? negate(ratio) : ratio;
    }
    int16_t &smoothed = memory[tiltPlace];
    smoothed = round(L_mac(L_msu(L_deposit_h(smoothed), smoothed, 8192), reflection, 8192));
    const auto tilt = static_cast<int16_t>(mult(smoothed, -16384) & ~3);

    Line inputs(memory), outputs(memory + order);
    std::copy_n(src, subframeLength, inputs.begin());
    if (!filterOnVectors(inputs, zeros, poles, tilt, outputs, dst)) [[unlikely]]
        filterInOrder(inputs, zeros, poles, tilt, outputs, dst);
    inputs.save(memory);
    outputs.save(memory + order);
    *energy = L_shl(squares, -(2 * scale + 4));
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G723_16s_I_u8(int16_t *srcDst, int32_t energy, int16_t *gain) {
    if (anyNull(srcDst, gain)) return ryxStsNullPtr;
    if (energy < 0) return ryxStsOutOfRange;
    int16_t quarters[subframeLength];
    mapWords(
        quarters, subframeLength, [](simd::Vector x) { return _mm_srai_epi16(x, 2); }, srcDst);
    const int32_t filtered = macEnergy(quarters, subframeLength).value;
    int16_t wanted = 4096;
    if (filtered != 0 && energy != 0) {
        const int filteredShift = norm_l(filtered), energyShift = norm_l(energy);
        const int16_t ratio = quotient(L_shl(energy, energyShift) >> 1, extract_h(L_shl(filtered, filteredShift)));
        const int excess = std::max(0, 6 - (filteredShift - energyShift + 1));
        wanted = squareRoot(L_shr(L_deposit_h(ratio), excess));
    }
    // round(L_mac(L_msu(L_deposit_h(g), g, 2048), wanted, 2048)): a mean, so nothing saturates.
    int16_t gains[subframeLength];
    int current = *gain;
    for (int16_t &factor : gains) {
        current += (wanted - current + 8) >> 4;
        factor = static_cast<int16_t>(current);
    }
    *gain = static_cast<int16_t>(current);
    // round(L_shl(2 * x * g, 4)) with 1/16 more gain.
    const simd::ScaleDown rounded(11);
    const auto amplify = [=](simd::Vector x, simd::Vector g) {
        return rounded(simd::products(x, _mm_adds_epi16(g, _mm_srai_epi16(g, 4))));
    };
    mapWords(srcDst, subframeLength, amplify, srcDst, gains);
    return ryxStsOk;
}
