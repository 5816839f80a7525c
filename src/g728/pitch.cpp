// SPDX-License-Identifier: BSD-2-Clause
// Pitch analysis in the decoder of ITU-T G.728, Annex G: LPC residual of the decoded speech, its decimation, search for the
// pitch lag, tap of the long-term post-filter.
#include "common/checks.h"
#include "common/product_sums.h"
#include "g728/arithmetic.h"
#include "g728/group_filter.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int window = 100;
constexpr int historyLength = 240;
constexpr int decimation = 4;
constexpr int decimatedWindow = window / decimation, decimatedLength = historyLength / decimation;
constexpr int reach = 6; // how far the lag may have moved without a look at its old neighbourhood

// Sum of the newest `len` samples times those `lag` before them; x points behind the newest one.
int64_t sumAtLag(const int16_t *x, int len, int lag) {
    int64_t sum = 0;
    for (int i = 1; i <= len; i++)
        sum += x[-i] * x[-i - lag];
    return sum;
}

struct LagPeak {
    int lag;
    int64_t value;
};

// The last largest of the first `count` values, which are all but some of the last eight.
template <int groups> IndexedValue lastLargestOf(const int32_t *values, int count) {
    static_assert(groups % 2 == 0 && groups <= 8);
    const auto greater = [](Vector x, Vector y) { return simd::select(_mm_cmpgt_epi32(x, y), x, y); };
    Vector x[groups];
    for (int g = 0; g < groups; g++)
        x[g] = simd::load(values + 4 * g);
    for (int g = groups - 2; g < groups; g++) {
        const Vector places = _mm_add_epi32(_mm_setr_epi32(0, 1, 2, 3), simd::dwords(4 * g));
        x[g] = simd::select(_mm_cmpgt_epi32(simd::dwords(count), places), x[g], simd::dwords(min32));
    }
    Vector best = greater(x[0], x[1]);
    for (int g = 2; g < groups; g += 2)
        best = greater(best, greater(x[g], x[g + 1]));
    best = greater(best, _mm_shuffle_epi32(best, _MM_SHUFFLE(1, 0, 3, 2)));
    best = greater(best, _mm_shuffle_epi32(best, _MM_SHUFFLE(2, 3, 0, 1)));
    uint32_t places = 0;
    for (int g = 0; g < groups; g += 2) {
        const Vector equal = _mm_packs_epi32(_mm_cmpeq_epi32(x[g], best), _mm_cmpeq_epi32(x[g + 1], best));
        places |= static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(equal, _mm_setzero_si128()))) << 4 * g;
    }
    return {_mm_cvtsi128_si32(best), std::min(floorLog2(places), count - 1)};
}

// The correlations of a signal with its past. While the energies tell that sums fit 32 bits they are taken there: by Cauchy's
// inequality no sum is larger than the root of their product.
template <int window, int longestLag> class Correlations {
public:
    explicit Correlations(const int16_t *end) : end_(end) {
        constexpr int len = window + longestLag, current = (window + 7) / 8 * 8;
        EnergyBound energy;
        for (int i = 8; i <= current; i += 8)
            energy.add(simd::load(end - i));
        const uint64_t newest = energy.of(current);
        for (int i = current + 8; i < len + 8; i += 8)
            energy.add(simd::load(end - std::min(i, len)));
        fits_ = newest * energy.of(len + 8) < 1 << 30; // in units of 2^32
    }

    // The first largest one, from <= to <= longestLag, of at most `count` lags: 7, 13 or 32.
    template <int count> LagPeak peak(int from, int to) const {
        if (!fits_) [[unlikely]]
            return widePeak(from, to);
        alignas(16) int32_t values[(count + 7) / 8 * 8]; // the longest lag first, and shorter ones than asked for
        const int16_t *const x = end_ - window;
        if constexpr (count == 32) {
            correlation::wide<count>(x, x - to, window, values);
            const IndexedValue best = lastLargestOf<8>(values, to - from + 1);
            return {to - best.index, best.value};
        }
        correlation::deep<8>(x, x - to, window, values);
        const IndexedValue best = lastLargestOf<2>(values, std::min(to - from + 1, 8));
        if constexpr (count > 8) {
            if (to - from >= 8) {
                correlation::deep<8>(x, x - to + 8, window, values);
                const IndexedValue other = lastLargestOf<2>(values, to - from + 1 - 8);
                if (other.value >= best.value) return {to - 8 - other.index, other.value};
            }
        }
        return {to - best.index, best.value};
    }

private:
    LagPeak widePeak(int from, int to) const {
        LagPeak best = {from, INT64_MIN};
        for (int lag = from; lag <= to; lag++)
            if (const int64_t value = sumAtLag(end_, window, lag); value > best.value) best = {lag, value};
        return best;
    }

    const int16_t *end_;
    bool fits_;
};

// Energy of the window one lag back.
int32_t energyBefore(const int16_t *x, int lag) {
    return sat32(static_cast<int64_t>(energy(x - lag - window, window)));
}

// Whether the tap at the old lag comes to more than 0.4 of that at the new one, which then is taken for a multiple.
bool isMultiple(const int16_t *x, const LagPeak &found, const LagPeak &old) {
    const int32_t foundEnergy = energyBefore(x, found.lag), oldEnergy = energyBefore(x, old.lag);
    const int shift = normalisation(std::max(foundEnergy, oldEnergy), 32);
    const auto upper = [&](int64_t value) { return shiftLimited(value, shift) >> 16; };
    const int32_t e = upper(foundEnergy), eOld = upper(oldEnergy);
    const int32_t c = upper(std::clamp<int64_t>(found.value, 0, foundEnergy));
    const int32_t cOld = upper(std::clamp<int64_t>(old.value, 0, oldEnergy));
    return cOld * e > ((c * eOld) >> 16) * 26214;
}

struct TapSums {
    int32_t correlation, energy;
};

// The window's correlation with the one a lag back, and the energy of that. As long as no lane of either window's energy
// reaches 2^29, no sum leaves 32 bits.
TapSums tapSums(const int16_t *end, int lag) {
    const int16_t *const x = end - window, *const y = x - lag;
    Vector own = _mm_setzero_si128(), energy = own, products = own, seen = own;
    const auto add = [&](Vector current, Vector past) {
        own = _mm_add_epi32(own, _mm_madd_epi16(current, current));
        energy = _mm_add_epi32(energy, _mm_madd_epi16(past, past));
        products = _mm_add_epi32(products, _mm_madd_epi16(current, past));
        seen = _mm_or_si128(seen, _mm_or_si128(own, energy));
    };
    for (int i = 0; i < window - 4; i += 8)
        add(simd::load(x + i), simd::load(y + i));
    add(simd::load64(x + window - 4), simd::load64(y + window - 4));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(_mm_srli_epi32(seen, 29), _mm_setzero_si128())) != 0xffff) [[unlikely]]
        return {sat32(sumAtLag(end, window, lag)), energyBefore(end, lag)};
    return {simd::sumOfDwords(products), simd::sumOfDwords(energy)};
}

// Correlation over energy in Q14, between 0 and 1.
int16_t tapOf(int32_t correlation, int32_t energy) {
    if (energy <= 0 || correlation <= 0) return 0;
    if (correlation >= energy) return one.mantissa;
    const Scaled q = divide(normalised(correlation, 16), normalised(energy, 16));
    const int shift = q.exponent - 14;
    return shift > 30 ? int16_t{0} : static_cast<int16_t>(q.mantissa >> shift);
}

// The inverse filter, eight samples after eight, in 32 bits; fits() tells whether all sums were within them.
class Residual {
public:
    Residual(const int16_t *coefficients, const int16_t *src)
        : c_(coefficients), filter_(c_), past_(simd::load(src - 8)),
          older_(_mm_slli_si128(simd::load32(src - 10), 12)) {
        peak_.add(past_);
        peak_.add(older_);
    }

    Vector operator()(Vector current) {
        const Eight sums = filter_(current, past_, older_);
        peak_.add(current);
        older_ = past_;
        past_ = current;
        // With the sample itself, and a rounding.
        const Vector ones = simd::words(1), weights = simd::words(weight);
        const auto rounded = [=](Vector sum, Vector pairs) {
            return _mm_srai_epi32(_mm_add_epi32(sum, _mm_madd_epi16(pairs, weights)), 14);
        };
        return _mm_packs_epi32(rounded(sums.front, _mm_unpacklo_epi16(current, ones)),
                               rounded(sums.back, _mm_unpackhi_epi16(current, ones)));
    }

    bool fits() const { return (peak_.value() + 1) * (c_.magnitudeSum() + weight) + weight < int64_t{1} << 31; }

private:
    static constexpr int16_t weight = 8192;

    Ten c_;
    ZeroGroups filter_;
    Peak peak_;
    Vector past_, older_;
};

void residualPlainly(const int16_t *coefficients, const int16_t *src, int len, int16_t *dst) {
    for (int n = 0; n < len; n++) {
        int64_t sum = src[n] * 8192;
        for (int i = 1; i <= order; i++)
            sum += coefficients[i - 1] * src[n - i];
        dst[n] = roundUpper(sat32(4 * sum));
    }
}

} // namespace

ryxStatus ryxsResidualFilter_G728_16s_u8(const int16_t *coefficients, const int16_t *src, int16_t *dst) {
    if (anyNull(coefficients, src, dst)) return ryxStsNullPtr;
    Residual residual(coefficients, src);
    storeFive(dst, residual(loadFive(src)));
    if (!residual.fits()) [[unlikely]]
        residualPlainly(coefficients, src, vectorLength, dst);
    return ryxStsOk;
}

ryxStatus ryxsResidualFilterCycle_G728_16s_u8(const int16_t *coefficients, const int16_t *src, int16_t *dst) {
    if (anyNull(coefficients, src, dst)) return ryxStsNullPtr;
    Residual residual(coefficients, src);
    simd::store(dst, residual(simd::load(src)));
    simd::store(dst + 8, residual(simd::load(src + 8)));
    simd::store64(dst + 16, residual(simd::load64(src + 16)));
    if (!residual.fits()) [[unlikely]]
        residualPlainly(coefficients, src, cycleLength, dst);
    return ryxStsOk;
}

ryxStatus ryxsDecimationFilter_G728_16s_u8(const int16_t *src, int16_t *dst, int16_t *memory) {
    if (anyNull(src, dst, memory)) return ryxStsNullPtr;
    // The magnitudes of the zeros' factors sum up to less than 2^16, so that 32 bits will do; then to less than 2^25, with
    // less than 2^31 - 2^29 for the poles.
    alignas(16) int32_t zeros[cycleLength]; // and the rounding
    const Vector c01 = simd::wordPairs(decimationZeros[0], decimationZeros[1]);
    const Vector c23 = simd::wordPairs(decimationZeros[2], decimationZeros[3]);
    for (int n = 0; n < cycleLength; n += 4) {
        const auto pairs = [=](int back) {
            return _mm_unpacklo_epi16(simd::load64(src + n - back), simd::load64(src + n - back - 1));
        };
        const Vector sum = _mm_add_epi32(_mm_madd_epi16(pairs(0), c01), _mm_madd_epi16(pairs(2), c23));
        simd::store(zeros + n, _mm_add_epi32(_mm_srai_epi32(sum, 6), simd::dwords(1 << 12)));
    }
    const int32_t c1 = decimationPoles[0], c2 = decimationPoles[1], c3 = decimationPoles[2];
    const auto next = [=](int32_t zerosSum, int32_t first, int32_t second, int32_t third) { // outputs by age
        const int32_t output = (zerosSum - c3 * third - c2 * second - c1 * first) >> 13;    // the newest one last
        if (output != wrap16(output)) [[unlikely]]
            return int32_t{sat16(output)}; // with a branch the next sample waits for no limits
        return output;
    };
    int32_t y1 = memory[0], y2 = memory[1], y3 = memory[2];
    for (int n = 0; n < cycleLength; n += decimation) {
        const int32_t y0 = next(zeros[n], y3, y2, y1);
        y1 = next(zeros[n + 1], y0, y3, y2);
        y2 = next(zeros[n + 2], y1, y0, y3);
        y3 = next(zeros[n + 3], y2, y1, y0);
        *dst++ = wrap16(y3);
    }
    memory[0] = wrap16(y1);
    memory[1] = wrap16(y2);
    memory[2] = wrap16(y3);
    return ryxStsOk;
}

ryxStatus ryxsPitchSearch_G728_16s_u8(const int16_t *residual, const int16_t *decimated, int16_t previousLag,
                                      int16_t *lag) {
    if (anyNull(residual, decimated, lag)) return ryxStsNullPtr;
    if (!isLag(previousLag)) return ryxStsOutOfRange;
    const int16_t *const end = residual + historyLength;
    constexpr int shortest = minLag / decimation, longest = maxLag / decimation;
    const Correlations<decimatedWindow, longest> low(decimated + decimatedLength);
    const Correlations<window, maxLag> full(end);
    const int coarse = low.peak<32>(shortest, longest).lag * decimation;
    LagPeak found = full.peak<7>(std::max(coarse - 3, minLag), std::min(coarse + 3, maxLag));
    if (previousLag + reach < found.lag) {
        const LagPeak old = full.peak<2 * reach + 1>(std::max(previousLag - reach, minLag), previousLag + reach);
        if (isMultiple(end, found, old)) found = old;
    }
    *lag = static_cast<int16_t>(found.lag);
    return ryxStsOk;
}

ryxStatus ryxsPitchTap_G728_16s_u8(const int16_t *speech, int16_t lag, int16_t *tap, int16_t *gain,
                                   int16_t *pitchGain) {
    if (anyNull(speech, tap, gain, pitchGain)) return ryxStsNullPtr;
    if (!isLag(lag)) return ryxStsOutOfRange;
    constexpr int16_t lowestTap = 9830, weight = 9830; // 0.6 and 0.15 in Q14 and Q16
    const TapSums sums = tapSums(speech + historyLength, lag);
    *tap = tapOf(sums.correlation, sums.energy);
    const int32_t product = weight * (*tap < lowestTap ? 0 : *tap);
    const Scaled q = divide(one, {static_cast<int16_t>((product >> 16) + 16384), 14});
    *pitchGain = static_cast<int16_t>((q.mantissa * (product >> 14)) >> q.exponent);
    *gain = static_cast<int16_t>(q.mantissa >> (q.exponent - 14));
    return ryxStsOk;
}
