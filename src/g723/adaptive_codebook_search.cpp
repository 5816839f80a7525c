// SPDX-License-Identifier: BSD-2-Clause
// Closed-loop search of the fifth-order pitch predictor of ITU-T G.723.1, and the target that it leaves.
#include <bit>

#include "common/checks.h"
#include "common/convolution.h"
#include "common/vector_quantiser_search.h"
#include "g723/adaptive_codebook.h"
#include "g723/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int taps = pitchTaps;
constexpr int terms = pitchTerms; // of a gain vector: correlations with the target, energies, cross terms
constexpr int candidates = 4;     // lags tried in an odd subframe; one less in an even one
constexpr int paddedLength = 64;
constexpr int32_t errorLimit = 1 << 30;

struct Response {
    alignas(16) int16_t words[paddedLength] = {}; // zeros at the end
    uint64_t energy;

    explicit Response(const int16_t *impulse) : energy(ryxsc::energy(impulse, subframeLength)) {
        std::copy_n(impulse, subframeLength, words);
    }
};

struct Target {
    alignas(16) int16_t words[paddedLength] = {};
    uint64_t energy;

    explicit Target(const int16_t *target) : energy(ryxsc::energy(target, subframeLength)) {
        std::copy_n(target, subframeLength, words);
    }
};

// The five delayed excitations filtered by the impulse response. Each is its neighbour a sample later and one more
// response, so only the last is a convolution; and where the excitation does not repeat itself, the convolution of the
// next lag is that of this one a sample later and one more response, in full sums.
class FilteredTaps {
public:
    explicit FilteredTaps(const Response &response) : response_(response) {}

    const int16_t *operator[](int m) const { return tap_[m] + 8; }
    // Whether sums of products among them need no saturation, for which the target must not be too loud either.
    bool fit(const Target &target) const {
        if (quiet_ && target.energy < uint64_t{1} << 31) return true;
        return std::all_of(tap_, tap_ + taps, [&](const int16_t *tap) {
            const uint64_t own = energy(tap + 8, subframeLength);
            return own < 1U << 30 && static_cast<unsigned __int128>(own) * target.energy < uint64_t{1} << 62;
        });
    }

    // For lags in rising order; short: shorter than the delayed excitation.
    void filter(const DelayedExcitation &delayed, bool isShort) {
        const uint64_t energy = ryxsc::energy(delayed.words, paddedLength);
        // A response of -32768 would make the rounded products below saturate.
        if (!fitsSums(energy, response_.energy) || response_.energy >= 1U << 30) [[unlikely]] {
            filterInOrder(delayed.words);
            started_ = quiet_ = false;
            return;
        }
        // Then no tap exceeds 2^12 by more than the rounding of its steps.
        quiet_ = static_cast<unsigned __int128>(energy) * response_.energy < uint64_t{1} << 54;
        if (started_ && !isShort)
            delaySums(delayed.words[taps - 1]);
        else
            wrappedConvolution<subframeLength>(delayed.words + taps - 1, response_.words, sums_ + 4);
        started_ = true;
        const Vector rounding = simd::dwords(1 << 14);
        for (int i = 0; i < paddedLength; i += 8) {
            const auto rounded = [=](const int32_t *sums) {
                return _mm_srai_epi32(_mm_add_epi32(simd::load(sums), rounding), 15);
            };
            simd::store(tap_[taps - 1] + 8 + i, _mm_packs_epi32(rounded(sums_ + 4 + i), rounded(sums_ + 8 + i)));
        }
        clearEnd(taps - 1);
        for (int m = taps - 2; m >= 0; m--)
            delayTap(m, delayed.words[m]);
    }

private:
    // sums[i] = sums[i - 1] + word * h[i]
    void delaySums(int16_t word) {
        const Vector factor = simd::words(word);
        for (int i = paddedLength - 8; i >= 0; i -= 8) {
            const simd::Dwords products = simd::products(simd::loadAligned(response_.words + i), factor);
            const Vector back = _mm_add_epi32(simd::load(sums_ + 7 + i), products.back);
            const Vector front = _mm_add_epi32(simd::load(sums_ + 3 + i), products.front);
            simd::store(sums_ + 8 + i, back);
            simd::store(sums_ + 4 + i, front);
        }
    }

    // round(L_mac(L_deposit_h(x), y, z)) = sat16(x + mult_r(y, z)) unless both factors are -32768. In place of h[0] the
    // recommendation has 1.0 here.
    void delayTap(int m, int16_t word) {
        const Vector factor = simd::words(word);
        for (int i = 0; i < paddedLength; i += 8)
            simd::store(tap_[m] + 8 + i,
                        _mm_adds_epi16(simd::load(tap_[m + 1] + 7 + i),
                                       _mm_mulhrs_epi16(factor, simd::loadAligned(response_.words + i))));
        tap_[m][8] = mult_r(word, 8192);
        clearEnd(m);
    }

    void clearEnd(int m) { std::fill_n(tap_[m] + 8 + subframeLength, paddedLength - subframeLength, int16_t{0}); }

    void filterInOrder(const int16_t *delayed) {
        convolveInOrder<subframeLength>(delayed + taps - 1, response_.words, tap_[taps - 1] + 8, 0, Rounding::nearest);
        for (int m = taps - 2; m >= 0; m--) {
            int16_t *tap = tap_[m] + 8;
            const int16_t *next = tap_[m + 1] + 8;
            tap[0] = mult_r(delayed[m], 8192);
            for (int j = 1; j < subframeLength; j++)
                tap[j] = round(L_mac(L_deposit_h(next[j - 1]), delayed[m], response_.words[j]));
        }
        for (int m = 0; m < taps; m++)
            clearEnd(m);
    }

    const Response &response_;
    alignas(16) int16_t tap_[taps][8 + paddedLength] = {}; // zeros in front
    alignas(16) int32_t sums_[4 + paddedLength] = {};      // of the convolution; a zero in front
    bool started_ = false;                                 // sums_ are those of the lag before
    bool quiet_ = false;
};

// sum of x[i] * y[i] * 2^shift, undoubled, saturated after every term.
int32_t correlateInOrder(const int16_t *x, const int16_t *y, int shift) {
    int32_t acc = 0;
    for (int i = 0; i < subframeLength; i++)
        acc = L_add(acc, x[i] * y[i]);
    return L_shl(acc, shift);
}

void correlateTapsInOrder(const FilteredTaps &filtered, const Target &target, int32_t *values) {
    for (int m = 0; m < taps; m++)
        *values++ = correlateInOrder(target.words, filtered[m], 1);
    for (int m = 0; m < taps; m++)
        *values++ = dotProduct(filtered[m], filtered[m], subframeLength);
    for (int i = 1; i < taps; i++)
        for (int j = 0; j < i; j++)
            *values++ = correlateInOrder(filtered[i], filtered[j], 2);
}

void correlateTaps(const FilteredTaps &filtered, const Target &target, int32_t *values) {
    if (!filtered.fit(target)) [[unlikely]]
        return correlateTapsInOrder(filtered, target, values);
    Vector sums[terms];
    std::fill_n(sums, terms, _mm_setzero_si128());
    const auto accumulate = [](Vector &sum, Vector x, Vector y) { sum = _mm_add_epi32(sum, _mm_madd_epi16(x, y)); };
    // In two passes, so that ten sums and what they need stay in registers.
    for (int at = 0; at < paddedLength; at += 8) {
        const Vector t = simd::loadAligned(target.words + at);
        for (int m = 0; m < taps; m++) {
            const Vector tap = simd::load(filtered[m] + at);
            accumulate(sums[m], t, tap);
            accumulate(sums[taps + m], tap, tap);
        }
    }
    for (int at = 0; at < paddedLength; at += 8) {
        Vector tap[taps];
        for (int m = 0; m < taps; m++)
            tap[m] = simd::load(filtered[m] + at);
        Vector *sum = sums + 2 * taps;
        for (int i = 1; i < taps; i++)
            for (int j = 0; j < i; j++)
                accumulate(*sum++, tap[i], tap[j]);
    }
    for (int i = 0; i < terms; i += 4)
        simd::store(values + i, simd::sumsOfDwords(sums + i));
    for (int i = 0; i < taps; i++) {
        values[i] = L_shl(values[i], 1);
        values[taps + i] *= 2;
    }
    for (int i = 2 * taps; i < terms; i++)
        values[i] = L_shl(values[i], 2);
}

// How many vectors of the two codebooks taming leaves.
struct AllowedGains {
    int few, many;

    AllowedGains(const int32_t *errors, int sine, int shortest, int longest) {
        const int first = std::max(1, shortest - 61) * 1092 >> 15, last = (longest + 2) * 1092 >> 15;
        const int32_t error = *std::max_element(errors + first, errors + last + 1);
        const int steps = error > errorLimit || sine != 0 ? 0 : (errorLimit - error) >> 23;
        few = std::min(85, 51 + 4 * steps);
        many = std::min(170, 93 + 8 * steps);
    }
};

// The largest score, the first among equals.
struct Best {
    int32_t score = 0;
    int candidate = 1, gainIndex = 0;

    template <class Book> void search(const int16_t *values, int number, const Book &vectors, int count) {
        simd::IndexedDword found = largest(values, vectors.book, count);
        int peak = 0;
        for (int c = 0; c < terms; c++)
            peak = std::max(peak, std::abs(values[c]));
        const bool fits = static_cast<int64_t>(peak) * largestVector <= max32;
        for (const LargeVector &large : vectors.large) {
            if (large.index >= count) break;
            const int32_t value = fits ? wrappedProducts(values, large.term, terms) : scoreInOrder(values, large.term);
            if (value > found.value || (value == found.value && large.index < static_cast<int>(found.index)))
                found = {value, static_cast<uint32_t>(large.index)};
        }
        if (found.value <= score) return;
        score = found.value;
        candidate = number;
        gainIndex = static_cast<int>(found.index);
    }

private:
    static int32_t scoreInOrder(const int16_t *values, const int16_t *vector) {
        int32_t acc = 0;
        for (int c = 0; c < terms; c++)
            acc = L_add(acc, values[c] * vector[c]);
        return acc;
    }

    // With magnitudes that sum up to less than 2^16, no sum of a vector leaves 32 bits.
    template <class Pairs> simd::IndexedDword largest(const int16_t *values, const Pairs &book, int count) const {
        Vector pair[terms / 2];
        for (int p = 0; p < terms / 2; p++)
            pair[p] = _mm_shuffle_epi32(simd::load32(values + 2 * p), 0);
        Vector best = simd::dwords(score), bestIndex = _mm_setzero_si128(), index = _mm_setr_epi32(0, 1, 2, 3);
        for (int group = 0; group < (count + 3) / 4; group++) {
            const auto *quads = book.quads[group];
            Vector even = _mm_madd_epi16(pair[0], simd::loadAligned(quads[0]));
            Vector odd = _mm_madd_epi16(pair[1], simd::loadAligned(quads[1]));
            for (int p = 2; p < terms / 2; p += 2) {
                even = _mm_add_epi32(even, _mm_madd_epi16(pair[p], simd::loadAligned(quads[p])));
                odd = _mm_add_epi32(odd, _mm_madd_epi16(pair[p + 1], simd::loadAligned(quads[p + 1])));
            }
            const Vector sum = _mm_add_epi32(even, odd);
            const Vector better =
                _mm_and_si128(_mm_cmpgt_epi32(sum, best), _mm_cmpgt_epi32(simd::dwords(count), index));
            best = simd::select(better, sum, best);
            bestIndex = simd::select(better, index, bestIndex);
            index = _mm_add_epi32(index, simd::dwords(4));
        }
        const simd::IndexedDword least = simd::smallest(_mm_sub_epi32(simd::dwords(max32), best), bestIndex);
        return {max32 - least.value, least.index};
    }
};

// All values with one shift, which normalises the largest of them, to 16 bits with rounding.
void normalise(const int32_t *values, int count, int16_t *scaled) {
    Vector magnitudes = _mm_setzero_si128();
    for (int i = 0; i < count; i += 4)
        magnitudes = _mm_or_si128(magnitudes, _mm_abs_epi32(simd::loadAligned(values + i)));
    magnitudes = _mm_or_si128(magnitudes, _mm_unpackhi_epi64(magnitudes, magnitudes));
    magnitudes = _mm_or_si128(magnitudes, _mm_srli_epi64(magnitudes, 32));
    const auto bits = static_cast<uint32_t>(_mm_cvtsi128_si32(magnitudes));
    const Vector shift = _mm_cvtsi32_si128(bits == 0 ? 0 : std::max(0, std::countl_zero(bits) - 1));
    // round(x): the pack saturates what the rounding takes beyond 32767.
    const auto rounded = [=](const int32_t *from) {
        const Vector halves = _mm_srai_epi32(_mm_sll_epi32(simd::loadAligned(from), shift), 15);
        return _mm_srai_epi32(_mm_sub_epi32(halves, simd::dwords(-1)), 1);
    };
    for (int i = 0; i < count; i += 4)
        simd::store64(scaled + i, simd::saturateDwords(rounded(values + i)));
}

} // namespace

ryxStatus ryxsAdaptiveCodebookSearch_G723_16s_u8(const int16_t *target, const int16_t *impulse,
                                                 const int16_t *excitation, const int32_t *errors, int sine,
                                                 int subframe, int rate, int16_t *lag, int16_t *offset,
                                                 int16_t *gainIndex) {
    if (anyNull(target, impulse, excitation, errors, lag, offset, gainIndex)) return ryxStsNullPtr;
    if (subframe < 0 || subframe >= subframes || !isRate(rate)) return ryxStsOutOfRange;
    const bool even = !isOdd(subframe);
    if (*lag < shortestLag || *lag > (even ? longestLag - 1 : longestLag - 2)) return ryxStsOutOfRange;
    const int centre = even ? std::clamp<int>(*lag, 19, 140) : *lag;
    const int count = even ? candidates - 1 : candidates;

    const Response response(impulse);
    const Target padded(target);
    FilteredTaps filtered(response);
    alignas(16) int32_t values[candidates * terms];
    for (int k = 0; k < count; k++) {
        const int candidate = centre - 1 + k;
        filtered.filter(DelayedExcitation(excitation, candidate), candidate < subframeLength + 3);
        correlateTaps(filtered, padded, values + k * terms);
    }
    alignas(16) int16_t scaled[candidates * terms];
    normalise(values, count * terms, scaled);

    const AllowedGains allowed(errors, sine, centre - 1, centre - 2 + count);
    Best best;
    for (int k = 0; k < count; k++) {
        if (hasFewGains(even ? centre - 1 + k : centre, rate))
            best.search(scaled + k * terms, k, pitchBook85, allowed.few);
        else
            best.search(scaled + k * terms, k, pitchBook170, allowed.many);
    }
    *lag = static_cast<int16_t>(even ? centre - 1 + best.candidate : centre);
    *offset = static_cast<int16_t>(even ? 1 : best.candidate);
    *gainIndex = static_cast<int16_t>(best.gainIndex);
    return ryxStsOk;
}

ryxStatus ryxsFixedCodebookTarget_G723_16s_I_u8(int16_t *srcDst, const int16_t *adaptive, const int16_t *impulse) {
    if (anyNull(srcDst, adaptive, impulse)) return ryxStsNullPtr;
    const uint64_t own = energy(adaptive, subframeLength), response = energy(impulse, subframeLength);
    if (static_cast<unsigned __int128>(own) * response < uint64_t{1} << 56) [[likely]] {
        // The sum of doubled products stays below 2^29, half a sample below 2^30: nothing saturates before the end.
        int32_t sums[paddedLength];
        wrappedConvolution<subframeLength>(adaptive, impulse, sums);
        for (int i = 0; i < subframeLength; i++)
            srcDst[i] = sat16((srcDst[i] * 32768 - 2 * sums[i] + (1 << 14)) >> 15);
        return ryxStsOk;
    }
    for (int i = 0; i < subframeLength; i++) {
        int32_t acc = srcDst[i] * 32768;
        for (int j = 0; j <= i; j++)
            acc = L_msu(acc, adaptive[j], impulse[i - j]);
        srcDst[i] = round(L_shl(acc, 1));
    }
    return ryxStsOk;
}
