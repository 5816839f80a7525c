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

// x / 2, rounded up: pmulhrsw gives (2^14 x + 2^14) >> 15.
Vector halvedWords(Vector x) {
    return _mm_mulhrs_epi16(x, simd::words(1 << 14));
}

// A windowed signal in time order and its correlations. Lags stand side by side in the dwords of a vector: a pair of
// neighbouring samples, in all lanes, times the pairs before it at each of four lags.
template <const Layout &layout> class Windowed {
public:
    static constexpr int groups = layout.lags / 4 + 1;

    // Where eight words from a time on go. Those behind the signal are no samples.
    void put(int time, Vector words) { simd::store(samples_ + front + time, words); }

    // After all samples have been put. Every pair is kept twice: the four that a step begins with lie on a vector's
    // boundary once in every two steps.
    void pair() {
        samples_[front - 1] = 0;
        simd::store(samples_ + front + layout.length(), _mm_setzero_si128());
        for (int i = 0; i < length; i += 8) {
            const Vector first = simd::load(samples_ + front - 1 + i), second = simd::load(samples_ + front + i);
            const Vector low = _mm_unpacklo_epi16(first, second), high = _mm_unpackhi_epi16(first, second);
            simd::store(pairs_[0] + i, low);
            simd::store(pairs_[0] + i + 4, high);
            simd::store(pairs_[1] + 2 + i, low);
            simd::store(pairs_[1] + 2 + i + 4, high);
        }
    }

    // Sums, modulo 2^32, over `len` samples from time `from` on of the sample times the one `lag` before it.
    template <int from, int len> void correlate(Vector *sums) const {
        static_assert(from % 4 == 2);
        static_assert(len % 2 == 0 || from + len == layout.length()); // a zero is behind an odd last sample
        Vector partial[groups];
#pragma GCC unroll 13
        for (int g = 0; g < groups; g++)
            partial[g] = _mm_setzero_si128();
        // From pair t - 3, which is entry t - 2 of the first array and entry t of the second.
        const auto accumulate = [&](const int32_t *pairs) __attribute__((always_inline)) {
            asm("" : "+r"(pairs)); // or vectors would be kept for the next step, for which there is no room
            const Vector pair = _mm_shuffle_epi32(simd::loadAligned(pairs), _MM_SHUFFLE(3, 3, 3, 3));
#pragma GCC unroll 13
            for (int g = 0; g < groups; g++) {
                Vector sum = _mm_add_epi32(partial[g], _mm_madd_epi16(pair, simd::loadAligned(pairs - 4 * g)));
                finishHere(sum);
                partial[g] = sum;
            }
        };
        constexpr int steps = (len + 1) / 2;
#pragma GCC unroll 1
        for (int i = 0; i < steps / 2; i++) {
            accumulate(pairs_[0] + from - 2 + 4 * i);
            accumulate(pairs_[1] + from + 2 + 4 * i);
        }
        if (steps % 2 != 0) accumulate(pairs_[0] + from - 2 + 2 * (steps - 1));
#pragma GCC unroll 13
        for (int g = 0; g < groups; g++) // the longest lag came first
            sums[g] = _mm_shuffle_epi32(partial[g], _MM_SHUFFLE(0, 1, 2, 3));
    }

private:
    static constexpr int front = 8;
    static constexpr int length = (layout.length() + 8) / 8 * 8;

    int16_t samples_[front + length + 8];
    alignas(16) int32_t pairs_[2][length + 4]; // pair t - 1 of the samples t - 1 and t is entry t, or t + 2
};

// Upper halves, rounded, of the sums shifted left by `shift`, limited: `len` of them.
template <int len> [[gnu::always_inline]] inline void normalisedHalves(const Vector *sums, int shift, int16_t *dst) {
    constexpr int groups = (len + 3) / 4;
    const auto put = [=](auto upper) __attribute__((always_inline)) {
#pragma GCC unroll 7
        for (int g = 0; g < groups; g += 2) {
            const Vector x = _mm_packs_epi32(upper(sums[g]), upper(sums[std::min(g + 1, groups - 1)]));
            if (g + 1 < groups) {
                simd::store(dst + 4 * g, x);
            } else if (len % 4 == 0) {
                simd::store64(dst + 4 * g, x);
            } else {
                static_assert(len % 4 == 0 || (len % 4 == 3 && groups % 2 == 1));
                simd::store32(dst + 4 * g, x);
                simd::storeWord(dst + 4 * g + 2, _mm_srli_epi64(x, 32));
            }
        }
    };
    if (shift <= 15) [[likely]] { // the packing limits
        const Vector right = _mm_cvtsi32_si128(15 - shift);
        put([=](Vector x) { return halved(_mm_sra_epi32(x, right)); });
    } else {
        const Vector left = _mm_cvtsi32_si128(shift);
        put([=](Vector x) { return halved(_mm_srai_epi32(shiftLeftLimited(x, left), 15)); });
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
    w.template correlate<layout.lags, layout.entering>(sums);
    {
        const Vector tailShift = count(1 + std::max(nr - na, 0)), enteringShift = count(1 + std::max(na - nr, 0));
        for (int g = 0; g < groups; g++) {
            const Vector tail = _mm_unpacklo_epi16(_mm_setzero_si128(), simd::load64(state.words + 4 * g));
            const Vector decayed = _mm_sub_epi32(tail, _mm_srai_epi32(tail, layout.attenuation));
            sums[g] = _mm_add_epi32(_mm_sra_epi32(decayed, tailShift), _mm_sra_epi32(sums[g], enteringShift));
        }
    }
    const int n0 = normalisation(_mm_cvtsi128_si32(sums[0]), 32);
    normalisedHalves<4 * groups>(sums, n0, state.words);

    nr = std::min(nr, na) + n0 - 1;
    w.template correlate<layout.lags + layout.entering, layout.nonRecursive>(sums);
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
    normalisedHalves<layout.lags + 1>(sums, n1, dst);
    dst[0] = roundUpper(static_cast<int32_t>(static_cast<uint32_t>(raised) << n1));
    state.words[State::exponent] = asExponent(std::min(nr, largestExponent));
    static_assert(layout.lags % 4 == 2);
    return _mm_cvtsi128_si32(_mm_unpackhi_epi64(sums[groups - 1], sums[groups - 1])) != 0;
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
    const int shift = normalisation(usedBits<len>(src), 15); // of the sample of largest magnitude
    Windowed<layout> windowed;
    const auto put = [&](auto rounded) {
        for (int i = 0; i < len; i += 8) {
            const int at = std::min(i, len - 8);
            windowed.put(at, rounded(simd::load(src + at), simd::load(window + at)));
        }
    };
    if (shift >= 0) [[likely]] {
        // 2^shift x has at most 15 bits. Twice that, times the window: one place below the result, which is half of it,
        // rounded.
        const Vector left = _mm_cvtsi32_si128(shift + 1);
        put([=](Vector x, Vector w) {
            const Vector doubled = _mm_mulhi_epi16(_mm_sll_epi16(x, left), w);
            return halvedWords(doubled);
        });
    } else {
        const Vector right = _mm_cvtsi32_si128(-shift);
        put([=](Vector x, Vector w) {
            const simd::Dwords product = simd::products(x, w);
            return roundedUpperHalves(_mm_sra_epi32(product.front, right), _mm_sra_epi32(product.back, right));
        });
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
    const auto put = [&](auto rounded) {
        const auto putOne = [&](int v, Vector x) __attribute__((always_inline)) {
            windowed.put(vectorLength * v,
                         rounded(x, simd::load(synthesisWindow + vectorLength * v), exponents[v] - common));
        };
#pragma GCC unroll 5
        for (int v = 0; v < vectors - 1; v++)
            putOne(v, simd::load(src + vectorLength * v));
        putOne(vectors - 1, _mm_srli_si128(simd::load(src + len - 8), 6));
    };
    // 2 P >> shift, and from that the upper half, rounded: P >> (shift + 14), and half of that, rounded.
    if (usedBits<len>(src) < 1 << 13) [[likely]] {
        put([](Vector x, Vector w, int shift) {
            const Vector doubled = _mm_sra_epi16(_mm_mulhi_epi16(_mm_slli_epi16(x, 2), w), _mm_cvtsi32_si128(shift));
            return halvedWords(doubled);
        });
    } else {
        put([](Vector x, Vector w, int shift) {
            const simd::Dwords product = simd::products(x, w);
            const Vector count = _mm_cvtsi32_si128(shift + 14);
            return _mm_packs_epi32(halved(_mm_sra_epi32(product.front, count)),
                                   halved(_mm_sra_epi32(product.back, count)));
        });
    }
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
