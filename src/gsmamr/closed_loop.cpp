// SPDX-License-Identifier: BSD-2-Clause
// Closed-loop pitch search of GSM-AMR (3GPP TS 26.090, clause 5.6.1).
#include <algorithm>

#include "common/checks.h"
#include "frame/implementations.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/pitch_lag.h"
#include "gsmamr/pitch_tables.h"
#include "gsmamr/subframe_sums.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using simd::Vector;

namespace {

constexpr int margin = 4; // lags beside the range, for the interpolation
constexpr int most = 19 + 2 * margin + 1;

// The normalised correlation of the target with the filtered past excitation.
class Correlation {
public:
    Correlation(const int16_t *excitation, const int16_t *target, const int16_t *impulse, LagRange range)
        : first_(range.min - margin) {
        const int last = range.max + margin;
        alignas(16) int16_t filtered[8 + subframeLength] = {}; // a word in front of the samples is loaded with them
        int16_t *const y = filtered + 8;
        convolve(excitation - first_, impulse, y);
        const bool loud = saturatedEnergy(0, y) > 1 << 26;
        if (loud) std::transform(y, y + subframeLength, y, [](int16_t x) { return static_cast<int16_t>(x >> 2); });
        const int64_t targetEnergy = sumOfSquares(target);
        for (int lag = first_;; lag++) {
            const int64_t energy = sumOfSquares(y);
            const int32_t product =
                sumsFit(targetEnergy, energy) ? 2 * dotProduct(target, y) : accumulateProducts(0, target, y).sum;
            values_[lag - first_] = sat16(multiply(product, inverseSqrt(sat32(2 * energy))));
            if (lag == last) break;
            loud ? advance<14>(excitation[-(lag + 1)], impulse, y) : advance<12>(excitation[-(lag + 1)], impulse, y);
            y[0] = static_cast<int16_t>(excitation[-(lag + 1)] >> (loud ? 2 : 0));
        }
    }

    // The largest one; of equals the longest lag's.
    int bestLag(LagRange range) const {
        int best = range.max;
        for (int lag = range.max; lag >= range.min; lag--)
            if (at(lag) > at(best)) best = lag;
        return best;
    }

    // Between the lags, at a sixth of a sample.
    int16_t between(int lag, int sixths) const {
        if (sixths < 0) {
            sixths += 6;
            lag--;
        }
        const int16_t *const v = values_ + lag - first_;
        int32_t sum = 0;
        for (int i = 0; i < 4; i++) {
            sum = L_mac(sum, v[-i], searchInterpolation[static_cast<size_t>(sixths + 6 * i)]);
            sum = L_mac(sum, v[1 + i], searchInterpolation[static_cast<size_t>(6 - sixths + 6 * i)]);
        }
        return round(sum);
    }

private:
    // One lag on: a sample more in front.
    template <int shift> static void advance(int16_t sample, const int16_t *impulse, int16_t *y) {
        const Vector factor = simd::words(sample);
        for (int n = subframeLength - 8; n >= 0; n -= 8) {
            const Vector response = simd::mulShiftSaturated<shift>(simd::load(impulse + n), factor);
            simd::store(y + n, _mm_adds_epi16(response, simd::load(y + n - 1)));
        }
    }

    int16_t at(int lag) const { return values_[lag - first_]; }

    int first_;
    int16_t values_[most];
};

struct Search {
    const Correlation &correlation;
    bool thirds;

    // The best fraction from..to, the first of equals; at the ends of the range it is another lag's.
    PitchLag fractions(int lag, int from, int to) const {
        const int step = thirds ? 2 : 1;
        int best = from;
        int16_t highest = correlation.between(lag, from * step);
        for (int fraction = from + 1; fraction <= to; fraction++) {
            const int16_t value = correlation.between(lag, fraction * step);
            if (value > highest) {
                highest = value;
                best = fraction;
            }
        }
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
