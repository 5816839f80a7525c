// SPDX-License-Identifier: BSD-2-Clause
// Full-band echo canceller in 16-bit arithmetic: tap k, in Q15, weights the far-end sample x[n-k].
#include <algorithm>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "ec/implementations.h"

using namespace ryxsc;
using simd::Vector;

namespace {

constexpr int tapsPerStep = 8;

// The magnitude of a rounded product is 2^15 at most, so the sum of so many cannot saturate, and may have any order.
constexpr int mostTapsUnsaturated = 65535;

bool fitsSteps(int taps) {
    return taps >= tapsPerStep && taps <= mostTapsUnsaturated;
}

// Where the number of taps is no multiple of eight, the last step covers the last eight taps. These lanes of it are not
// covered by the others.
Vector lastLanes(int taps) {
    const Vector lanes = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
    return _mm_cmpgt_epi16(lanes, simd::words(static_cast<int16_t>(tapsPerStep - 1 - taps % tapsPerStep)));
}

bool holdsMinimum(const int16_t *x, int count) {
    Vector least = _mm_setzero_si128();
    for (; count >= 8; count -= 8, x += 8)
        least = _mm_min_epi16(least, simd::load(x));
    for (; count > 0; count--, x++)
        least = _mm_min_epi16(least, simd::loadWord(x));
    return _mm_movemask_epi8(_mm_cmpeq_epi16(least, simd::words(min16))) != 0;
}

// Sums of two neighbouring products (x*h + 16384) >> 15 each. pmulhrsw gives -32768 for -32768 * -32768, and for nothing
// else; where x and h may both be -32768 that product is subtracted instead of added.
template <bool minimumMeetsMinimum> Vector roundedProductSums(Vector x, Vector h) {
    const Vector products = _mm_mulhrs_epi16(x, h);
    Vector signs = simd::words(1);
    if (minimumMeetsMinimum) signs = _mm_or_si128(signs, _mm_cmpeq_epi16(products, simd::words(min16)));
    return _mm_madd_epi16(products, signs);
}

template <int outputs> struct Sums {
    Vector of[outputs] = {};
};

// Adds eight taps' products to the sums of neighbouring outputs, the first at x.
template <int outputs, bool minimumMeetsMinimum>
[[gnu::always_inline]] inline void addProducts(Sums<outputs> &sums, const int16_t *x, Vector taps) {
    const Vector reversed = simd::reverseWords(taps);
#pragma GCC unroll 8
    for (int i = 0; i < outputs; i++) {
        const Vector samples = simd::load(x + i - (tapsPerStep - 1));
        Vector sum = _mm_add_epi32(sums.of[i], roundedProductSums<minimumMeetsMinimum>(samples, reversed));
        simd::finish(sum);
        sums.of[i] = sum;
    }
}

// The dwords of each sum add up to an echo estimate.
template <int outputs, bool minimumMeetsMinimum> Sums<outputs> estimate(const int16_t *x, const int16_t *h, int taps) {
    Sums<outputs> sums;
    int k = 0;
    for (; k <= taps - tapsPerStep; k += tapsPerStep)
        addProducts<outputs, minimumMeetsMinimum>(sums, x - k, simd::load(h + k));
    if (k == taps) return sums;
    k = taps - tapsPerStep;
    addProducts<outputs, minimumMeetsMinimum>(sums, x - k, _mm_and_si128(simd::load(h + k), lastLanes(taps)));
    return sums;
}

template <bool minimumMeetsMinimum>
void filterInSteps(const int16_t *x, const int16_t *s, int16_t *e, int len, const int16_t *h, int taps) {
    int n = 0;
    for (; len - n >= 8; n += 8) {
        const Sums<8> y = estimate<8, minimumMeetsMinimum>(x + n, h, taps);
        const Vector near = simd::load(s + n);
        simd::store(e + n, _mm_packs_epi32(_mm_sub_epi32(simd::frontDwords(near), simd::sumsOfDwords(y.of)),
                                           _mm_sub_epi32(simd::backDwords(near), simd::sumsOfDwords(y.of + 4))));
    }
    for (; n < len; n++) {
        const Sums<1> y = estimate<1, minimumMeetsMinimum>(x + n, h, taps);
        e[n] = sat16(s[n] - simd::sumOfDwords(y.of[0]));
    }
}

int32_t addRoundedProduct(int32_t sum, int16_t x, int16_t h) {
    return L_add(sum, (x * h + 16384) >> 15);
}

// The running sum saturates.
void filterEach(const int16_t *x, const int16_t *s, int16_t *e, int len, const int16_t *h, int taps) {
    for (int n = 0; n < len; n++) {
        int32_t sum = 0;
        for (int k = 0; k < taps; k++)
            sum = addRoundedProduct(sum, x[n - k], h[k]);
        e[n] = sat16(L_sub(s[n], sum));
    }
}

// sat16(h + ((x*g + 4096) >> 13)) for small g: a product rounded in Q15, with 4*g.
class SmallUpdate {
public:
    static constexpr int32_t largest = 8191;

    explicit SmallUpdate(int32_t g) : factor_(simd::words(static_cast<int16_t>(4 * g))) {}

    Vector operator()(Vector h, Vector x) const { return _mm_adds_epi16(h, _mm_mulhrs_epi16(x, factor_)); }

private:
    Vector factor_;
};

// The same for any g, with a product of 32 bits that wraps: the upper half of g only reaches its upper half.
class WideUpdate {
public:
    explicit WideUpdate(int32_t g)
        : low_(simd::words(extract_l(g))), high_(simd::words(extract_h(wrapAdd32(g, 0x8000)))) {}

    Vector operator()(Vector h, Vector x) const {
        const Vector low = _mm_mullo_epi16(x, low_);
        const Vector high = _mm_add_epi16(_mm_mulhi_epi16(x, low_), _mm_mullo_epi16(x, high_));
        return _mm_packs_epi32(_mm_add_epi32(simd::frontDwords(h), shifted(_mm_unpacklo_epi16(low, high))),
                               _mm_add_epi32(simd::backDwords(h), shifted(_mm_unpackhi_epi16(low, high))));
    }

private:
    static Vector shifted(Vector product) { return _mm_srai_epi32(_mm_add_epi32(product, simd::dwords(4096)), 13); }

    Vector low_, high_;
};

// Updates eight taps, which stand in reversed order, with the samples before x. The products of the updated taps and the
// samples at x.
template <bool minimumMeetsMinimum, class Update>
[[gnu::always_inline]] inline Vector adaptEight(const int16_t *x, int16_t *h, Update update, Vector lanes) {
    const Vector taps = update(simd::load(h), _mm_and_si128(simd::load(x - 1), lanes));
    simd::store(h, taps);
    return roundedProductSums<minimumMeetsMinimum>(_mm_and_si128(simd::load(x), lanes), taps);
}

// Updates all taps, which stand in reversed order, and returns the echo estimate. x: the sample of the first of them.
template <bool minimumMeetsMinimum, class Update>
int32_t adaptInSteps(const int16_t *x, int16_t *h, int taps, Update update) {
    const Vector allLanes = simd::words(-1);
    Vector sum = _mm_setzero_si128();
    int k = 0;
    for (; k <= taps - tapsPerStep; k += tapsPerStep)
        sum = _mm_add_epi32(sum, adaptEight<minimumMeetsMinimum>(x + k, h + k, update, allLanes));
    if (k == taps) return simd::sumOfDwords(sum);
    k = taps - tapsPerStep;
    sum = _mm_add_epi32(sum, adaptEight<minimumMeetsMinimum>(x + k, h + k, update, lastLanes(taps)));
    return simd::sumOfDwords(sum);
}

template <bool minimumMeetsMinimum> int32_t adaptInSteps(const int16_t *x, int16_t *h, int taps, int32_t g) {
    const int16_t *const first = x - (taps - 1);
    if (g >= -SmallUpdate::largest && g <= SmallUpdate::largest)
        return adaptInSteps<minimumMeetsMinimum>(first, h, taps, SmallUpdate(g));
    return adaptInSteps<minimumMeetsMinimum>(first, h, taps, WideUpdate(g));
}

int32_t adaptEach(const int16_t *x, int16_t *h, int taps, int32_t g) {
    int32_t sum = 0;
    for (int k = 0; k < taps; k++) {
        h[k] = sat16(h[k] + (wrapAdd32(wrapMul32(x[-1 - k], g), 4096) >> 13));
        sum = addRoundedProduct(sum, x[-k], h[k]);
    }
    return sum;
}

} // namespace

ryxStatus ryxsFIR_EC_16s_u8(const int16_t *x, const int16_t *s, int16_t *e, int len, const int16_t *h, int tapsLen) {
    if (anyNull(x, s, e, h)) return ryxStsNullPtr;
    if (len < 1 || tapsLen < 1) return ryxStsBadArg;
    const auto filter = !fitsSteps(tapsLen)        ? filterEach
                        : holdsMinimum(h, tapsLen) ? filterInSteps<true>
                                                   : filterInSteps<false>;
    filter(x, s, e, len, h, tapsLen);
    return ryxStsOk;
}

ryxStatus ryxsNLMS_EC_16s_u8(const int16_t *x, const int16_t *s, const int32_t *mu, int16_t *e, int len, int16_t *h,
                             int tapsLen, int16_t *errPrev) {
    if (anyNull(x, s, mu, e, h, errPrev)) return ryxStsNullPtr;
    if (len < 1 || tapsLen < 1) return ryxStsBadArg;
    const bool inSteps = fitsSteps(tapsLen);
    const bool hasMinimum = inSteps && (holdsMinimum(x - tapsLen, tapsLen) || holdsMinimum(x, len));
    int32_t (*const adapt)(const int16_t *, int16_t *, int, int32_t) = !inSteps     ? adaptEach
                                                                       : hasMinimum ? adaptInSteps<true>
                                                                                    : adaptInSteps<false>;
    if (inSteps) std::reverse(h, h + tapsLen);
    int32_t g = *errPrev;
    for (int n = 0; n < len; n++) {
        e[n] = sat16(L_sub(s[n], adapt(x + n, h, tapsLen, g)));
        g = wrapAdd32(wrapMul32(e[n], mu[n]), 1024) >> 11;
    }
    if (inSteps) std::reverse(h, h + tapsLen);
    *errPrev = sat16(g);
    return ryxStsOk;
}
