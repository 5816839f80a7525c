// SPDX-License-Identifier: BSD-2-Clause
// Closed-loop pitch search of GSM-AMR (3GPP TS 26.090, clause 5.6.1).
#include <algorithm>

#include "common/checks.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/implementations.h"
#include "gsmamr/pitch_lag.h"
#include "gsmamr/pitch_tables.h"
#include "gsmamr/subframe_sums.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using simd::Vector;

namespace {

constexpr int margin = 4; // lags beside the range, for the interpolation
constexpr int mostLags = 19 + 2 * margin + 1;

// The past excitation of one lag after the other through the impulse response, in registers: words that are loaded across
// two stores would be waited for.
class FilteredExcitation {
public:
    // count: of the lags; the first one's excitation begins at `start`.
    FilteredExcitation(const int16_t *start, int count, const int16_t *impulse, const int16_t *target) {
        alignas(16) int16_t y[subframeLength];
        convolve(start, impulse, y);
        for (int k = 0; k < vectors; k++) {
            y_[k] = simd::loadAligned(y + 8 * k);
            impulse_[k] = simd::load(impulse + 8 * k);
            target_[k] = simd::load(target + 8 * k);
        }
        // Up to this energy no doubled partial sum of the products reaches 31 bits.
        largestEnergy_ = std::min<int64_t>(((int64_t{1} << 60) - 1) / (sumOfSquares(target) + 1), max32);
        isLoud_ = saturatedEnergy(0, y) > 1 << 26;
        if (isLoud_)
            for (Vector &words : y_)
                words = _mm_srai_epi16(words, 2);
        makeRoom(start, count);
    }

    // Energy and correlation with the target, doubled.
    struct Sums {
        int32_t energy, product;
    };
    Sums sums() const {
        Vector squares[vectors], largest = _mm_setzero_si128(), products = largest;
        for (int k = 0; k < vectors; k++) {
            squares[k] = _mm_madd_epi16(y_[k], y_[k]);
            largest = _mm_or_si128(largest, squares[k]);
            products = _mm_add_epi32(products, _mm_madd_epi16(y_[k], target_[k]));
        }
        // The sum of 20 pairs of squares below 2^26 fits 31 bits; its double need not.
        if (_mm_movemask_epi8(_mm_cmpgt_epi32(largest, simd::dwords((1 << 26) - 1))) != 0) [[unlikely]]
            return carefulSums();
        const Vector squaresSum = _mm_add_epi32(_mm_add_epi32(squares[0], squares[1]),
                                                _mm_add_epi32(_mm_add_epi32(squares[2], squares[3]), squares[4]));
        const Vector both = _mm_hadd_epi32(squaresSum, products), total = _mm_hadd_epi32(both, both);
        const int32_t energy = _mm_cvtsi128_si32(total), product = _mm_cvtsi128_si32(_mm_srli_si128(total, 4));
        if (energy > largestEnergy_) [[unlikely]]
            return carefulSums();
        return {sat32(int64_t{2} * energy), 2 * product};
    }

    // One lag on: a sample more in front.
    void advance(int16_t sample) {
        const Vector factor = simd::words(hasRoom_ ? static_cast<int16_t>(sample * (1 << sampleShift_)) : sample);
        if (hasRoom_)
            put(sample, [=](Vector impulse) { return _mm_mulhi_epi16(impulse, factor); });
        else if (isLoud_)
            put(sample, [=](Vector impulse) { return simd::mulShiftSaturated<14>(impulse, factor); });
        else
            put(sample, [=](Vector impulse) { return simd::mulShiftSaturated<12>(impulse, factor); });
    }

private:
    static constexpr int vectors = subframeLength / 8;

    // How far words can be shifted to the left that use these bits.
    static int headroom(Vector bits) { return 14 - floorLog2(static_cast<uint32_t>(simd::bitsOfWords(bits) | 1)); }

    // (impulse * sample) >> 12, or >> 14 of the reduced vector, is the upper half of a product where both factors together
    // have room for 4 or 2 bits more.
    void makeRoom(const int16_t *start, int count) {
        Vector bits = _mm_setzero_si128(), sampleBits = bits;
        for (const Vector &words : impulse_)
            bits = _mm_or_si128(bits, simd::onesMagnitude(words));
        // Those of the lags, and some behind them.
        for (const int16_t *sample = start - (count - 1); sample < start; sample += 8)
            sampleBits = _mm_or_si128(sampleBits, simd::onesMagnitude(simd::load(sample)));
        const int up = isLoud_ ? 2 : 4, impulseShift = std::min(headroom(bits), up);
        sampleShift_ = up - impulseShift;
        hasRoom_ = headroom(sampleBits) >= sampleShift_;
        if (hasRoom_)
            for (Vector &words : impulse_)
                words = _mm_sll_epi16(words, _mm_cvtsi32_si128(impulseShift));
    }

    Sums carefulSums() const {
        alignas(16) int16_t y[subframeLength], target[subframeLength];
        for (int k = 0; k < vectors; k++) {
            simd::store(y + 8 * k, y_[k]);
            simd::store(target + 8 * k, target_[k]);
        }
        return {saturatedEnergy(0, y), saturatedProducts(0, target, y)};
    }

    // responseOf(impulse): the sample's.
    template <class Response> [[gnu::always_inline]] void put(int16_t sample, Response responseOf) {
        for (int k = vectors - 1; k > 0; k--)
            y_[k] = _mm_adds_epi16(responseOf(impulse_[k]), _mm_alignr_epi8(y_[k], y_[k - 1], 14));
        const Vector front = _mm_adds_epi16(responseOf(impulse_[0]), _mm_slli_si128(y_[0], 2));
        y_[0] = _mm_insert_epi16(front, isLoud_ ? sample >> 2 : sample, 0);
    }

    Vector y_[vectors], impulse_[vectors], target_[vectors];
    int64_t largestEnergy_;
    int sampleShift_;
    bool isLoud_, hasRoom_;
};

// The normalised correlation of the target with the filtered past excitation.
class Correlation {
public:
    Correlation(const int16_t *excitation, const int16_t *target, const int16_t *impulse, LagRange range)
        : first_(range.min - margin) {
        const int count = range.max + margin - first_ + 1;
        FilteredExcitation filtered(excitation - first_, count, impulse, target);
        FilteredExcitation::Sums sums[mostLags];
        sums[0] = filtered.sums();
        for (int k = 1; k < count; k++) {
            filtered.advance(excitation[-(first_ + k)]);
            sums[k] = filtered.sums();
        }
        for (int k = 0; k < count; k++)
            values_[k] = sat16(multiply(sums[k].product, inverseSqrt(sums[k].energy)));
    }

    // The largest one; of equals the longest lag's.
    int bestLag(LagRange range) const {
        int best = range.max;
        for (int lag = range.max; lag >= range.min; lag--)
            if (at(lag) > at(best)) best = lag;
        return best;
    }

    // Around a lag, at multiples of `step` sixths of a sample, -reach .. reach of them.
    using Values = int16_t[8];
    void around(int lag, int step, int reach, Values &values) const {
        const auto placeOf = [=](int i) { return step * (std::min(i, 2 * reach) - reach); };
        const Vector left = simd::load(window(lag - 1)), right = simd::load(window(lag));
        const Vector magnitudes = _mm_max_epi16(simd::onesMagnitude(left), simd::onesMagnitude(right));
        if (_mm_movemask_epi8(_mm_cmpgt_epi16(magnitudes, simd::words(16383))) != 0) [[unlikely]] {
            for (int i = 0; i < 8; i++)
                values[i] = between(lag, placeOf(i));
            return;
        }
        Vector sums[8]; // below 2^30, as the magnitudes of a row of the filter sum up to less than 2^16
        for (int i = 0; i < 8; i++) {
            const int place = placeOf(i);
            const int16_t *const row = searchInterpolation[place < 0 ? place + 6 : place];
            sums[i] = _mm_madd_epi16(place < 0 ? left : right, simd::loadAligned(row));
        }
        simd::store(values, simd::ScaleDown(15)({simd::sumsOfDwords(sums), simd::sumsOfDwords(sums + 4)}));
    }

private:
    int16_t at(int lag) const { return values_[lag - first_]; }
    const int16_t *window(int lag) const { return &values_[lag - first_ - 3]; }

    int16_t between(int lag, int place) const {
        const int16_t *const v = window(place < 0 ? lag - 1 : lag);
        const int16_t *const row = searchInterpolation[place < 0 ? place + 6 : place];
        int32_t sum = 0;
        for (int i = 0; i < 4; i++)
            sum = L_mac(L_mac(sum, v[3 - i], row[3 - i]), v[4 + i], row[4 + i]);
        return round(sum);
    }

    int first_;
    int16_t values_[mostLags];
};

struct Search {
    const Correlation &correlation;
    bool thirds;

    // The best fraction from..to, the first of equals; at the ends of the range it is another lag's.
    PitchLag fractions(int lag, int from, int to) const {
        const int reach = thirds ? 2 : 3;
        Correlation::Values values;
        correlation.around(lag, thirds ? 2 : 1, reach, values);
        const auto best =
            static_cast<int>(std::max_element(values + reach + from, values + reach + to + 1) - values) - reach;
        if (thirds && best == -2) return {lag - 1, 1};
        if (thirds && best == 2) return {lag + 1, -1};
        if (!thirds && best == -3) return {lag - 1, 3};
        return {lag, best};
    }

    PitchLag all(int lag) const { return thirds ? fractions(lag, -2, 2) : fractions(lag, -3, 3); }
};

PitchLag refine(const Correlation &correlation, int lag, int previous, LagRange range, bool absolute, Rate rate) {
    const Search search = {correlation, rate != Rate::r1220};
    if (absolute) return lag > (search.thirds ? 84 : 94) ? PitchLag{lag, 0} : search.all(lag);
    if (!hasFourBits(rate)) return search.all(lag);
    const int centre = range.centre(previous);
    if (lag == centre || lag == centre - 1) return search.all(lag);
    if (lag == centre - 2) return search.fractions(lag, 0, 2);
    if (lag == centre + 1) return search.fractions(lag, -2, 0);
    return {lag, 0};
}

int indexOf(PitchLag found, int previous, LagRange range, bool absolute, Rate rate) {
    const auto [lag, fraction] = found;
    if (rate == Rate::r1220) {
        if (absolute) return lag <= 94 ? 6 * lag - 105 + fraction : lag + 368;
        return 6 * (lag - range.min) + 3 + fraction;
    }
    if (absolute) return lag <= 85 ? 3 * lag - 58 + fraction : lag + 112;
    if (!hasFourBits(rate)) return 3 * (lag - range.min) + 2 + fraction;
    const int centre = range.centre(previous), start = 3 * (centre - 2), place = 3 * lag + fraction;
    if (place <= start) return lag - centre + 5;
    return place < 3 * (centre + 1) ? place - start + 3 : lag - centre + 11;
}

} // namespace

ryxStatus ryxsAdaptiveCodebookSearch_GSMAMR_16s_u8(const int16_t *excitation, const int16_t *target,
                                                   const int16_t *impulse, int16_t openLoopLag, int16_t *prevLag,
                                                   int16_t *fraction, int16_t *index, int subframe, int rate) {
    if (anyNull(excitation, target, impulse, prevLag, fraction, index)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none || subframe < 0 || subframe > 3) return ryxStsOutOfRange;
    const bool absolute = isAbsolute(of, subframe);
    const int previous = *prevLag, start = absolute ? openLoopLag : previous;
    if (start < 0 || start > maxPitchLag + 1) return ryxStsOutOfRange;

    const LagRange range = absolute ? LagRange::absolute(of, start) : LagRange::relative(of, start);
    const Correlation correlation(excitation, target, impulse, range);
    const PitchLag found = refine(correlation, correlation.bestLag(range), previous, range, absolute, of);
    *index = static_cast<int16_t>(indexOf(found, previous, range, absolute, of));
    *prevLag = static_cast<int16_t>(found.lag);
    *fraction = static_cast<int16_t>(found.fraction);
    return ryxStsOk;
}
