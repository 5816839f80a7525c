// SPDX-License-Identifier: BSD-2-Clause
// Hybrid windows of ITU-T G.728, Annex G: autocorrelation of a signal under a window with a recursive tail. Signals and
// windows stand in time order: history as long as the order, then the samples that enter the recursive part, then those of
// the non-recursive part.
#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

// Recursive parts of the autocorrelation, lag 0 first, and behind them, as word 51, their exponent.
struct State {
    static constexpr int exponent = synthesisOrder + 1;
    int16_t words[exponent + 1];
};
static_assert(sizeof(State) == 104);
constexpr int16_t startExponent = 31;

struct Layout {
    int lags;         // and length of the history
    int entering;     // samples that enter the recursive part
    int nonRecursive; // samples under the sine
    int attenuation;  // the tail decays by 1 - 2^-attenuation

    constexpr int length() const { return lags + entering + nonRecursive; }
};
constexpr Layout synthesisLayout = {synthesisOrder, 20, 35, 2};
constexpr Layout weightingLayout = {order, 20, 30, 1};
constexpr Layout logGainLayout = {order, 4, 20, 2};

// A windowed signal by age, the newest sample first, and its correlations. Lags stand side by side in the dwords of a
// vector: a pair of samples, in all lanes, times the pairs that follow it at each of four lags.
template <const Layout &layout> class Windowed {
public:
    static constexpr int groups = layout.lags / 4 + 1;

    // Where eight words in time order, that end `age` samples before the newest one, go. With age below 0 the newest of
    // them are no samples.
    void put(int age, Vector words) { simd::store(samples_ + front + age, simd::reverseWords(words)); }

    // After all samples have been put.
    void pair() {
        for (int i = layout.length(); i < length; i++)
            samples_[front + i] = 0;
        for (int i = 0; i < length - 8; i += 8) {
            const Vector first = simd::load(samples_ + front + i), second = simd::load(samples_ + front + i + 1);
            simd::store(pairs_ + i, _mm_unpacklo_epi16(first, second));
            simd::store(pairs_ + i + 4, _mm_unpackhi_epi16(first, second));
        }
    }

    // Sums, modulo 2^32, over ages `from` to from + len - 1 of the sample times the one `lag` older.
    template <int from, int len> void correlate(Vector *sums) const {
        constexpr int most = groups > 7 ? (groups + 1) / 2 : groups; // as many as stay in registers
        correlate<from, len, 0, most>(sums);
        if constexpr (most < groups) correlate<from, len, most, groups - most>(sums + most);
    }

private:
    static constexpr int front = 8;
    static constexpr int length = (layout.length() + 15) / 8 * 8 + 8;

    template <int from, int len, int firstGroup, int count> void correlate(Vector *sums) const {
        Vector partial[count];
        for (Vector &sum : partial)
            sum = _mm_setzero_si128();
        const auto accumulate = [&](int i, int32_t words) {
            const Vector pair = _mm_set1_epi32(words);
#pragma GCC unroll 8
            for (int g = 0; g < count; g++)
                partial[g] =
                    _mm_add_epi32(partial[g], _mm_madd_epi16(simd::load(pairs_ + i + 4 * (firstGroup + g)), pair));
        };
        for (int i = from; i < from + len - 1; i += 2)
            accumulate(i, pairs_[i]);
        if (len % 2 != 0) accumulate(from + len - 1, pairs_[from + len - 1] & 0xffff);
        std::copy_n(partial, count, sums);
    }

    alignas(16) int16_t samples_[front + length];
    alignas(16) int32_t pairs_[length];
};

// Upper halves, rounded, of the sums shifted left by `shift`, limited. Lag 0 has the largest sum of any signal, but not of
// any memory: limits are rare.
template <int groups> void normalisedHalves(const Vector *sums, int shift, int16_t *dst) {
    Vector used = _mm_setzero_si128();
    for (int g = 0; g < groups; g++)
        used = _mm_or_si128(used, _mm_xor_si128(sums[g], _mm_srai_epi32(sums[g], 31)));
    const bool fits = _mm_movemask_epi8(_mm_cmpgt_epi32(used, simd::dwords(max32 >> shift))) == 0;
    if (!fits) [[unlikely]] {
        for (int g = 0; g < groups; g++) {
            const Vector x = shiftLeftLimited(sums[g], _mm_cvtsi32_si128(shift));
            simd::store64(dst + 4 * g, roundedUpperHalves(x, x));
        }
        return;
    }
    const Vector left = _mm_cvtsi32_si128(std::max(shift - 15, 0)), right = _mm_cvtsi32_si128(std::max(15 - shift, 0));
    for (int g = 0; g < groups; g++) {
        const Vector x = halved(_mm_sra_epi32(_mm_sll_epi32(sums[g], left), right));
        simd::store64(dst + 4 * g, _mm_packs_epi32(x, x));
    }
}

// Autocorrelation of the windowed signal, which stands for w * 2^-exponent. Whether its last value is of use.
template <const Layout &layout>
bool analyse(const Windowed<layout> &w, int exponent, int largestExponent, State &state, int16_t *dst) {
    constexpr int groups = Windowed<layout>::groups;
    const auto count = [](int shift) { return _mm_cvtsi32_si128(shift); };
    Vector sums[groups];

    const int na = 2 * exponent;
    int nr = state.words[State::exponent];
    w.template correlate<layout.nonRecursive, layout.entering>(sums);
    {
        const Vector tailShift = count(1 + std::max(nr - na, 0)), enteringShift = count(1 + std::max(na - nr, 0));
        for (int g = 0; g < groups; g++) {
            const Vector tail = _mm_unpacklo_epi16(_mm_setzero_si128(), simd::load64(state.words + 4 * g));
            const Vector decayed = _mm_sub_epi32(tail, _mm_srai_epi32(tail, layout.attenuation));
            sums[g] = _mm_add_epi32(_mm_sra_epi32(decayed, tailShift), _mm_sra_epi32(sums[g], enteringShift));
        }
    }
    const int n0 = normalisation(_mm_cvtsi128_si32(sums[0]), 32);
    normalisedHalves<groups>(sums, n0, state.words);

    nr = std::min(nr, na) + n0 - 1;
    w.template correlate<0, layout.nonRecursive>(sums);
    {
        const Vector tailShift = count(1 + std::max(nr - na, 0)), newestShift = count(1 + std::max(na - nr, 0));
        for (int g = 0; g < groups; g++) {
            const Vector tail = _mm_unpacklo_epi16(_mm_setzero_si128(), simd::load64(state.words + 4 * g));
            sums[g] = _mm_add_epi32(_mm_sra_epi32(tail, tailShift), _mm_sra_epi32(sums[g], newestShift));
        }
    }
    const int32_t energy = _mm_cvtsi128_si32(sums[0]);
    const int32_t raised = sat32(int64_t{energy} + (energy >> 8)); // white noise
    const int n1 = normalisation(raised, 32);
    int16_t correlations[4 * groups];
    normalisedHalves<groups>(sums, n1, correlations);
    correlations[0] = roundUpper(static_cast<int32_t>(static_cast<uint32_t>(raised) << n1));
    std::copy_n(correlations, layout.lags + 1, dst);
    state.words[State::exponent] = asExponent(std::min(nr, largestExponent));
    static_assert(layout.lags % 4 == 2);
    return _mm_cvtsi128_si32(_mm_unpackhi_epi64(sums[groups - 1], sums[groups - 1])) != 0;
}

// The count that brings the sample of largest magnitude into 15 bits.
template <int len> int normalisationOf(const int16_t *src) {
    Vector largest = _mm_setzero_si128(), smallest = simd::words(-1);
    for (int i = 0; i < len; i += 8) {
        const Vector x = simd::load(src + std::min(i, len - 8));
        largest = _mm_max_epi16(largest, x);
        smallest = _mm_min_epi16(smallest, x);
    }
    // A value below 0 takes as many bits as its one's complement.
    Vector bits = _mm_or_si128(largest, _mm_xor_si128(smallest, simd::words(-1)));
    bits = _mm_or_si128(bits, _mm_unpackhi_epi64(bits, bits));
    bits = _mm_or_si128(bits, _mm_srli_si128(bits, 4));
    bits = _mm_or_si128(bits, _mm_srli_si128(bits, 2));
    return normalisation(static_cast<int16_t>(_mm_cvtsi128_si32(bits)), 15);
}

// The smallest of at least eight words.
template <int len> int smallestOf(const int16_t *x) {
    Vector smallest = simd::load(x + len - 8);
    for (int i = 0; i < len - 8; i += 8)
        smallest = _mm_min_epi16(smallest, simd::load(x + i));
    smallest = _mm_min_epi16(smallest, _mm_unpackhi_epi64(smallest, smallest));
    smallest = _mm_min_epi16(smallest, _mm_srli_si128(smallest, 4));
    smallest = _mm_min_epi16(smallest, _mm_srli_si128(smallest, 2));
    return static_cast<int16_t>(_mm_cvtsi128_si32(smallest));
}

// A window over plain samples.
template <const Layout &layout> ryxStatus hybridWindow(const int16_t *src, const int16_t *window, int largestExponent,
                                                       int16_t *dst, HybridWindowState_G728 *block) {
    if (anyNull(src, dst, block)) return ryxStsNullPtr;
    auto state = loadBlock<State>(block);
    constexpr int len = layout.length();
    const int shift = normalisationOf<len>(src);
    const Vector left = _mm_cvtsi32_si128(std::max(shift, 0)), right = _mm_cvtsi32_si128(std::max(-shift, 0));
    Windowed<layout> windowed;
    for (int i = 0; i < len; i += 8) {
        const int at = std::min(i, len - 8);
        const simd::Dwords x = simd::products(simd::load(src + at), simd::load(window + at));
        const auto shifted = [&](Vector product) { return _mm_sra_epi32(_mm_sll_epi32(product, left), right); };
        windowed.put(len - 8 - at, roundedUpperHalves(shifted(x.front), shifted(x.back)));
    }
    windowed.pair();
    const bool useful = analyse<layout>(windowed, shift, largestExponent, state, dst);
    saveBlock(block, state);
    return useful ? ryxStsOk : ryxStsIllConditioned;
}

} // namespace

ryxStatus ryxsHybridWindowGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsHybridWindowInit_G728_16s_u8(HybridWindowState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    state.words[State::exponent] = startExponent;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsHybridWindowSynthesis_G728_16s_u8(const int16_t *src, const int16_t *exponents, int16_t *dst,
                                                HybridWindowState_G728 *block) {
    if (anyNull(src, exponents, dst, block)) return ryxStsNullPtr;
    constexpr int len = synthesisLayout.length(), vectors = len / vectorLength;
    auto state = loadBlock<State>(block);
    const int common = smallestOf<vectors>(exponents);
    Windowed<synthesisLayout> windowed;
    // Each vector as the first five of eight words; the next one covers the others.
    const auto put = [&](int v, Vector samples) {
        const simd::Dwords x = simd::products(samples, simd::load(synthesisWindow + vectorLength * v));
        // 2 P >> shift, and from that the upper half, rounded: P >> (shift + 14), and half of that, rounded.
        const Vector count = _mm_cvtsi32_si128(exponents[v] - common + 14);
        windowed.put(len - 8 - vectorLength * v,
                     _mm_packs_epi32(halved(_mm_sra_epi32(x.front, count)), halved(_mm_sra_epi32(x.back, count))));
    };
    for (int v = 0; v < vectors - 1; v++)
        put(v, simd::load(src + vectorLength * v));
    put(vectors - 1, _mm_srli_si128(simd::load(src + len - 8), 6));
    windowed.pair();
    const bool useful = analyse<synthesisLayout>(windowed, common, max16, state, dst);
    saveBlock(block, state);
    return useful ? ryxStsOk : ryxStsIllConditioned;
}

ryxStatus ryxsHybridWindowWeighting_G728_16s_u8(const int16_t *src, int16_t *dst, HybridWindowState_G728 *block) {
    return hybridWindow<weightingLayout>(src, weightingWindow, 41, dst, block);
}

ryxStatus ryxsHybridWindowLogGain_G728_16s_u8(const int16_t *src, int16_t *dst, HybridWindowState_G728 *block) {
    return hybridWindow<logGainLayout>(src, logGainWindow, max16, dst, block);
}
