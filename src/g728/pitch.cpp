// SPDX-License-Identifier: BSD-2-Clause
// Pitch analysis in the decoder of ITU-T G.728, Annex G: LPC residual of the decoded speech, its decimation, search for the
// pitch lag, tap of the long-term post-filter.
#include "common/checks.h"
#include "common/product_sums.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vector_filter.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int minLag = 20, maxLag = 140;
constexpr int window = 100;
constexpr int historyLength = 240;
constexpr int decimation = 4;
constexpr int decimatedWindow = window / decimation, decimatedLength = historyLength / decimation;
constexpr int reach = 6; // how far the lag may have moved without a look at its old neighbourhood

bool isLag(int lag) {
    return lag >= minLag && lag <= maxLag;
}

// Sum of the newest `len` samples times those `lag` before them; x points behind the newest one.
int64_t sumAtLag(const int16_t *x, int len, int lag) {
    int64_t sum = 0;
    for (int i = 1; i <= len; i++)
        sum += x[-i] * x[-i - lag];
    return sum;
}

// Words x and y in all dwords.
Vector wordPairs(int16_t x, int16_t y) {
    return _mm_unpacklo_epi16(simd::words(x), simd::words(y));
}

struct Peak {
    int lag;
    int64_t value;
};

// The correlations of a signal with its past. While the magnitudes, or the energies, tell that sums fit 32 bits they are taken
// there.
template <int window, int longestLag> class Correlations {
public:
    explicit Correlations(const int16_t *end) : end_(end) {
        constexpr int len = window + longestLag;
        constexpr int32_t small = window > 32 ? 1 << 12 : 1 << 13;
        static_assert(int64_t{window} * small * small <= max32);
        fits_ = usedBits<len>(end - len) < small || fitsSums(energy(end - window, window), energy(end - len, len));
    }

    // The first largest one, from <= to <= longestLag, of at most `count` lags.
    template <int count> Peak peak(int from, int to) const {
        if (!fits_) [[unlikely]]
            return widePeak(from, to);
        int32_t values[count]; // the longest lag first, and shorter ones than asked for
        const int16_t *const x = end_ - window;
        if constexpr (count == 32) {
            correlation::wide<count>(x, x - to, window, values);
        } else {
            constexpr int first = std::min(count, 7);
            correlation::deep<first>(x, x - to, window, values);
            if constexpr (first < count) correlation::deep<count - first>(x, x - to + first, window, values + first);
        }
        const IndexedValue best = lastLargest(values, to - from + 1);
        return {to - best.index, best.value};
    }

private:
    Peak widePeak(int from, int to) const {
        Peak best = {from, INT64_MIN};
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
bool isMultiple(const int16_t *x, const Peak &found, const Peak &old) {
    const int32_t foundEnergy = energyBefore(x, found.lag), oldEnergy = energyBefore(x, old.lag);
    const int shift = normalisation(std::max(foundEnergy, oldEnergy), 32);
    const auto upper = [&](int64_t value) { return shiftLimited(value, shift) >> 16; };
    const int32_t e = upper(foundEnergy), eOld = upper(oldEnergy);
    const int32_t c = upper(std::clamp<int64_t>(found.value, 0, foundEnergy));
    const int32_t cOld = upper(std::clamp<int64_t>(old.value, 0, oldEnergy));
    return cOld * e > ((c * eOld) >> 16) * 26214;
}

// Correlation over energy in Q14, between 0 and 1.
int16_t tapOf(int32_t correlation, int32_t energy) {
    if (energy <= 0 || correlation <= 0) return 0;
    if (correlation >= energy) return one.mantissa;
    const Scaled q = divide(normalised(correlation, 16), normalised(energy, 16));
    const int shift = q.exponent - 14;
    return shift > 30 ? int16_t{0} : static_cast<int16_t>(q.mantissa >> shift);
}

} // namespace

ryxStatus ryxsResidualFilter_G728_16s_u8(const int16_t *coefficients, const int16_t *src, int16_t *dst) {
    if (anyNull(coefficients, src, dst)) return ryxStsNullPtr;
    const Ten factors(coefficients);
    // A sum of magnitudes below 2^16: 32 bits will do for what the past contributes.
    if (factors.magnitudeSum() < 65536) [[likely]] {
        const Vector eight = simd::reverseWords(simd::load(src - 8));
        const Vector two = _mm_shufflelo_epi16(simd::load32(src - 10), _MM_SHUFFLE(3, 2, 0, 1));
        const VectorSums sums = zeroSums(factors, Ten(eight, two), reversedVector(src));
        for (int n = 0; n < vectorLength; n++)
            dst[n] = roundUpper(sat32(4 * (int64_t{sums.values[n]} + src[n] * 8192)));
        return ryxStsOk;
    }
    for (int n = 0; n < vectorLength; n++) {
        int64_t sum = src[n] * 8192;
        for (int i = 1; i <= order; i++)
            sum += coefficients[i - 1] * src[n - i];
        dst[n] = roundUpper(sat32(4 * sum));
    }
    return ryxStsOk;
}

ryxStatus ryxsDecimationFilter_G728_16s_u8(const int16_t *src, int16_t *dst, int16_t *memory) {
    if (anyNull(src, dst, memory)) return ryxStsNullPtr;
    constexpr int len = 20;
    // The magnitudes of the zeros' factors sum up to less than 2^16, so that 32 bits will do.
    alignas(16) int32_t zeros[len];
    const Vector c01 = wordPairs(decimationZeros[0], decimationZeros[1]);
    const Vector c23 = wordPairs(decimationZeros[2], decimationZeros[3]);
    for (int n = 0; n < len; n += 4) {
        const auto pairs = [=](int back) {
            return _mm_unpacklo_epi16(simd::load64(src + n - back), simd::load64(src + n - back - 1));
        };
        simd::store(zeros + n,
                    _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(pairs(0), c01), _mm_madd_epi16(pairs(2), c23)), 6));
    }
    int32_t first = memory[2], second = memory[1], third = memory[0]; // by age
    for (int n = 0; n < len; n++) {
        int64_t sum = zeros[n];
        sum -= int64_t{decimationPoles[2]} * third + int64_t{decimationPoles[1]} * second;
        sum -= int64_t{decimationPoles[0]} * first; // the newest output last
        third = second;
        second = first;
        first = upperOf<13>(sum);
        if (n % decimation == decimation - 1) *dst++ = static_cast<int16_t>(first);
    }
    memory[2] = static_cast<int16_t>(first);
    memory[1] = static_cast<int16_t>(second);
    memory[0] = static_cast<int16_t>(third);
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
    Peak found = full.peak<7>(std::max(coarse - 3, minLag), std::min(coarse + 3, maxLag));
    if (previousLag + reach < found.lag) {
        const Peak old = full.peak<2 * reach + 1>(std::max(previousLag - reach, minLag), previousLag + reach);
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
    const int16_t *const end = speech + historyLength;
    *tap = tapOf(sat32(sumAtLag(end, window, lag)), energyBefore(end, lag));
    const int32_t product = weight * (*tap < lowestTap ? 0 : *tap);
    const Scaled q = divide(one, {static_cast<int16_t>((product >> 16) + 16384), 14});
    *pitchGain = static_cast<int16_t>((q.mantissa * (product >> 14)) >> q.exponent);
    *gain = static_cast<int16_t>(q.mantissa >> (q.exponent - 14));
    return ryxStsOk;
}
