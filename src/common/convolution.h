// SPDX-License-Identifier: BSD-2-Clause
// Convolution of a subframe with an impulse response, and its update from one lag of the closed-loop search to the next.
#pragma once

#include <algorithm>
#include <utility>

#include "common/product_sums.h"

namespace ryxsc {

// y[n] = hi(L_shl(S, up)), truncated, or round(L_shl(S, up)), where S = sum over i = 0 .. n of 2 * x[i] * h[n - i]
// saturates after every term, in the order of i; n = 0 .. length - 1, length a multiple of 4 up to 80. y may be x.
//   G.729, GSM-AMR: truncated, up 3.  AMR-WB, G.723.1 (closed loop): rounded, up 0.
enum class Rounding { truncate, nearest };

template <int length> void convolveInOrder(const int16_t *x, const int16_t *h, int16_t *y, int up, Rounding rounding) {
    for (int n = length; n-- > 0;) {
        int32_t sum = 0;
        for (int i = 0; i <= n; i++)
            sum = L_mac(sum, x[i], h[n - i]);
        sum = L_shl(sum, up);
        y[n] = rounding == Rounding::truncate ? extract_h(sum) : round(sum);
    }
}

// The kernel of convolutions and of correlations with an impulse response ("backwards"), modulo 2^32:
//   forwards:   S[n] = sum over j = 0 .. n of h[j] * x[n - j]
//   backwards:  S[n] = sum over j = 0 .. length - 1 - n of h[j] * x[n + j]
// Eight outputs have two vectors, for those of even and of odd place. Eight words of x are loaded once for both: they meet
// the taps two by two, and for the odd outputs the taps one further on. Where x begins or ends, zeros are shifted in.
template <int length, bool backwards> class Convolution {
    static_assert(length % 4 == 0 && length >= 16 && length <= 80);
    using Vector = simd::Vector;

public:
    // Blocks of eight outputs; forwards they end at the last output, backwards they start at the first one.
    static constexpr int blocks = (length + 7) / 8, lead = backwards ? 0 : 8 * blocks - length;

    Convolution(const int16_t *x, const int16_t *h) : x_(x), h_(h) {}

    // take.operator()<b>(even, odd) gets the sums of the outputs 8 * b - lead and on. Each half of the blocks has a turn.
    template <class Take> [[gnu::always_inline]] void sums(Take take) const {
        if constexpr (blocks <= 5) {
            part<0, blocks>(take);
        } else {
            part<blocks / 2, blocks>(take);
            part<0, blocks / 2>(take);
        }
    }

private:
    // Taps in pairs: those for the even outputs, and those for the odd ones.
    struct Taps {
        Vector even, odd;
    };
    [[gnu::always_inline]] static Taps tapsAt(const int16_t *h, bool isFirst, bool isHalf, bool isLast) {
        const Vector now = isHalf ? simd::load64(h) : simd::load(h);
        if constexpr (backwards) // (h[j], h[j + 1]) and (h[j - 1], h[j])
            return {now, isFirst ? _mm_slli_si128(now, 2) : isHalf ? simd::load64(h - 1) : simd::load(h - 1)};
        // (h[j + 1], h[j]) and (h[j + 2], h[j + 1])
        const Vector swap = _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
        const Vector next = isLast ? _mm_srli_si128(now, 2) : simd::load(h + 1);
        return {_mm_shuffle_epi8(now, swap), _mm_shuffle_epi8(next, swap)};
    }

    // Hides where a pointer comes from: or else words that come again later are kept on the stack until then.
    [[gnu::always_inline]] static const int16_t *loadedAnew(const int16_t *x) {
        asm volatile("" : "+r"(x));
        return x;
    }

    template <int pair> static Taps pairOf(const Taps &taps) {
        return {_mm_shuffle_epi32(taps.even, 0x55 * pair), _mm_shuffle_epi32(taps.odd, 0x55 * pair)};
    }

    // Eight words of x from index `from` on, with zeros where there are none.
    template <int from> [[gnu::always_inline]] static Vector words(const int16_t *x) {
        if constexpr (from < 0)
            return _mm_slli_si128(simd::load(x), -2 * from);
        else if constexpr (from + 8 > length)
            return _mm_srli_si128(simd::load(x + length - 8), 2 * (from + 8 - length));
        else
            return simd::load(x + from);
    }

    // Where the words for block b and the pair of taps from j on start.
    static constexpr int start(int b, int j) { return backwards ? 8 * b + j : 8 * b - lead - j - 1; }

    // The blocks first .. last - 1. Groups of eight taps: for those below `plain` nothing sticks out of x.
    template <int first, int last, class Take> [[gnu::always_inline]] void part(Take take) const {
        constexpr int plain = backwards ? std::max(length / 8 - last, 0) : std::max(lead == 0 ? first : first - 1, 0);
        constexpr int groups = backwards ? blocks - first : last;
        Vector even[last - first], odd[last - first];
        correlation::forEach<last - first>([&]<int b>() __attribute__((always_inline)) {
            even[b] = odd[b] = _mm_setzero_si128();
            if constexpr (!backwards) // the first tap of the odd outputs
                odd[b] = _mm_madd_epi16(words<8 * (first + b) - lead>(x_), firstTap());
        });
        if constexpr (plain > 0) {
            const int16_t *h = h_, *x = x_ + start(first, 0);
            for (int q = 0; q < plain; q++, h += 8, x += backwards ? 8 : -8) {
                const Taps taps = tapsAt(h, backwards && q == 0, false, false);
                correlation::forEach<4>([&]<int p>() __attribute__((always_inline)) {
                    const Taps pair = pairOf<p>(taps);
                    const int16_t *const from = loadedAnew(x + (backwards ? 2 * p : -2 * p));
                    correlation::forEach<last - first>([&]<int b>() __attribute__((always_inline)) {
                        const Vector current = simd::load(from + 8 * b);
                        correlation::addProducts(even[b], current, pair.even);
                        correlation::addProducts(odd[b], current, pair.odd);
                    });
                });
            }
        }
        correlation::forEach<groups - plain>([&]<int group>() __attribute__((always_inline)) {
            constexpr int q = plain + group;
            const Taps taps = tapsAt(h_ + 8 * q, q == 0, 8 * q + 8 > length, 8 * q + 8 >= length);
            correlation::forEach<4>([&]<int p>() __attribute__((always_inline)) {
                const Taps pair = pairOf<p>(taps);
                const int16_t *const x = loadedAnew(x_);
                correlation::forEach<last - first>([&]<int b>() __attribute__((always_inline)) {
                    constexpr int from = start(first + b, 8 * q + 2 * p);
                    if constexpr (from > -8 && from < length) {
                        const Vector current = words<from>(x);
                        correlation::addProducts(even[b], current, pair.even);
                        correlation::addProducts(odd[b], current, pair.odd);
                    }
                });
            });
        });
        correlation::forEach<last - first>([&]<int b>() __attribute__((always_inline)) {
            take.template operator()<first + b>(even[b], odd[b]);
        });
    }

    Vector firstTap() const { return _mm_set1_epi32(h_[0] * 65536); }

    const int16_t *x_, *h_;
};

// sums[n] = sum over i = 0 .. n of x[i] * h[n - i], modulo 2^32.
template <int length> void wrappedConvolution(const int16_t *x, const int16_t *h, int32_t *sums) {
    using Kernel = Convolution<length, false>;
    Kernel(x, h).sums([=]<int b>(simd::Vector even, simd::Vector odd) {
        constexpr int n = 8 * b - Kernel::lead;
        if constexpr (n >= 0) simd::store(sums + n, _mm_unpacklo_epi32(even, odd));
        simd::store(sums + n + 4, _mm_unpackhi_epi32(even, odd));
    });
}

// y[n] = scaled(S[n]), where scaled() takes four sums and saturates them to words afterwards. y may be x or h.
template <int length, bool backwards, class Scaled>
void convolveScaled(const int16_t *x, const int16_t *h, int16_t *y, Scaled scaled) {
    using simd::Vector;
    using Kernel = Convolution<length, backwards>;
    Vector words[Kernel::blocks];
    Kernel(x, h).sums([&]<int b>(Vector even, Vector odd) __attribute__((always_inline)) {
        even = scaled(even);
        odd = scaled(odd);
        words[b] = _mm_packs_epi32(_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd));
    });
    correlation::forEach<Kernel::blocks>([&]<int b>() __attribute__((always_inline)) {
        constexpr int n = 8 * b - Kernel::lead;
        if constexpr (n < 0)
            simd::store64(y, _mm_unpackhi_epi64(words[b], words[b]));
        else if constexpr (n + 8 > length)
            simd::store64(y + n, words[b]);
        else
            simd::store(y + n, words[b]);
    });
}

template <int length> void convolve(const int16_t *x, const int16_t *h, int16_t *y, int up, Rounding rounding) {
    if (!productsFit(x, h, length)) [[unlikely]]
        return convolveInOrder<length>(x, h, y, up, rounding);
    // Without saturation, with S the sum of the undoubled products: sat16((S + rounding) >> (15 - up)).
    const simd::Vector half = simd::dwords(rounding == Rounding::nearest ? 1 << (14 - up) : 0);
    const __m128i down = _mm_cvtsi32_si128(15 - up);
    convolveScaled<length, false>(x, h, y,
                                  [=](simd::Vector sum) { return _mm_sra_epi32(_mm_add_epi32(sum, half), down); });
}

// The convolution of the excitation one sample further back: y[n] = sat16(b * h[n] >> shift) + y[n - 1], saturating, for
// n = length - 1 down to 1, and y[0] = first.
//   G.729, GSM-AMR: hi(L_shl(2 b h, k)) is shift 15 - k = 12 (or 14 for the reduced vector) and y[0] = b >> (0 or 2).
//   AMR-WB: mult(b, h[n]) is shift 15, y[0] = mult(b, h[0]).
template <int length, int shift> void delayConvolution(int16_t *y, const int16_t *h, int16_t b, int16_t first) {
    static_assert(length % 4 == 0);
    const simd::Vector factor = simd::words(b);
    const auto step = [=](simd::Vector response, simd::Vector past) {
        return _mm_adds_epi16(simd::mulShiftSaturated<shift>(response, factor), past);
    };
    if constexpr (length % 8 != 0)
        simd::store64(y + length - 4, step(simd::load64(h + length - 4), simd::load64(y + length - 5)));
    for (int n = length / 8 * 8 - 8; n > 0; n -= 8)
        simd::store(y + n, step(simd::load(h + n), simd::load(y + n - 1)));
    simd::store(y, step(simd::load(h), _mm_slli_si128(simd::load(y), 2)));
    y[0] = first;
}

} // namespace ryxsc
