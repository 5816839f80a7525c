// SPDX-License-Identifier: BSD-2-Clause
// The adaptive predictor of ITU-T G.726 (blocks FMULT, ACCUM, UPA1, UPA2, UPB, LIMC, LIMD, FLOATA, FLOATB).
//
// The products of the recommendation work on a floating-point format: mantissa * 2^(exponent - 6) with a truncated mantissa
// of 32..63, where 0 is 32 with exponent 0. A product is (mantissas' product + 48) >> 4, times 2^(exponents' sum - 19), cut
// to 15 bits.
#pragma once

#include <algorithm>
#include <cstdlib>

#include "common/fixed_point.h"
#include "common/simd.h"
#include "g726/state.h"

namespace ryxsc::g726 {

// What a code makes of the estimates.
struct Reconstruction {
    int magnitude; // dqm
    int signMask;  // of the code, also when dqm is 0
    int sr, p;
};

// Six coefficients and six quantised differences, one product per word. Words 6 and 7 do not count.
class ZeroPredictor {
public:
    explicit ZeroPredictor(const State &state) {
        const simd::Vector words = simd::load(state.dqWord);
        b_ = simd::load(state.b);
        exponents_ = _mm_and_si128(_mm_srli_epi16(words, 6), simd::words(15));
        mantissas_ = _mm_and_si128(words, simd::words(63));
        signs_ = _mm_sub_epi16(simd::words(1), _mm_slli_epi16(simd::load(state.dqSign), 1));
    }

    void save(State &state) const {
        saveSix(state.b, b_);
        saveSix(state.dqWord, _mm_or_si128(_mm_slli_epi16(exponents_, 6), mantissas_));
        saveSix(state.dqSign, _mm_srli_epi16(signs_, 15));
    }

    // Sum of the six products, not yet reduced to 16 bits.
    int estimate() const {
        const simd::Vector shifted = _mm_srai_epi16(b_, 2);
        const simd::Vector magnitude = _mm_and_si128(_mm_abs_epi16(shifted), simd::words(8191));
        const simd::Vector zero = _mm_setzero_si128();
        const Floating b(_mm_unpacklo_epi16(magnitude, zero), _mm_unpackhi_epi16(magnitude, zero));
        const simd::Vector product = _mm_mullo_epi16(b.mantissa, mantissas_);
        const simd::Vector mantissa = _mm_srli_epi16(_mm_add_epi16(product, simd::words(48)), 4);
        const simd::Vector products = scale(mantissa, _mm_add_epi16(b.exponent, exponents_));
        const simd::Vector plusMinusOne = _mm_sign_epi16(_mm_or_si128(simd::signMask(shifted), simd::words(1)), signs_);
        const simd::Vector counted = _mm_setr_epi16(-1, -1, -1, -1, -1, -1, 0, 0);
        const simd::Vector sums = simd::addDwordPairs(_mm_madd_epi16(products, _mm_and_si128(plusMinusOne, counted)));
        return _mm_cvtsi128_si32(_mm_add_epi32(sums, _mm_shuffle_epi32(sums, _MM_SHUFFLE(1, 0, 3, 2))));
    }

    // UPB; the coefficients wrap at 16 bits. Then the delay line moves.
    void adapt(const Reconstruction &now, int leak) {
        const int step = negateWhere(now.signMask, now.magnitude == 0 ? 0 : 128);
        const simd::Vector steps = _mm_sign_epi16(simd::words(static_cast<int16_t>(step)), signs_);
        b_ = _mm_add_epi16(_mm_sub_epi16(b_, _mm_srai_epi16(b_, leak)), steps);
        const simd::Vector magnitude = simd::dwords(now.magnitude);
        const Floating newest(magnitude, magnitude);
        exponents_ = _mm_alignr_epi8(exponents_, newest.exponent, 14);
        mantissas_ = _mm_alignr_epi8(mantissas_, newest.mantissa, 14);
        signs_ = _mm_alignr_epi8(signs_, simd::words(static_cast<int16_t>(now.signMask | 1)), 14);
    }

    void clear() { b_ = _mm_setzero_si128(); }

private:
    // From two vectors of four magnitudes below 2^15. The upper 14 bits of a float's bits are its biased exponent and the
    // five mantissa bits behind the leading one.
    struct Floating {
        simd::Vector exponent, mantissa;

        Floating(simd::Vector low, simd::Vector high) {
            const simd::Vector bits =
                _mm_packs_epi32(_mm_srli_epi32(simd::floatBits(low), 18), _mm_srli_epi32(simd::floatBits(high), 18));
            exponent = _mm_subs_epu16(_mm_srli_epi16(bits, 5), simd::words(126));
            mantissa = _mm_or_si128(_mm_and_si128(bits, simd::words(31)), simd::words(32));
        }
    };

    // mantissa * 2^(exponent - 19) without its fraction, the lowest 15 bits; mantissa below 2^8, exponent 0..28. Powers up
    // to 2^-1 act through the upper half of the product with mantissa * 2^8, the others through the lower half.
    static simd::Vector scale(simd::Vector mantissa, simd::Vector exponent) {
        const simd::Vector powers = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0);
        const simd::Vector above = _mm_subs_epu16(exponent, simd::words(11)); // 0..17
        const simd::Vector twice = _mm_or_si128(above, _mm_slli_epi16(above, 8));
        // As shuffle indices, bytes with bit 7 set select 0.
        const simd::Vector fraction = _mm_shuffle_epi8(powers, _mm_add_epi8(above, simd::words(-0x7f90)));
        const simd::Vector factor = _mm_shuffle_epi8(powers, _mm_sub_epi8(twice, simd::words(0x1008)));
        const simd::Vector small = _mm_mulhi_epu16(_mm_slli_epi16(mantissa, 8), fraction);
        const simd::Vector large = _mm_and_si128(_mm_mullo_epi16(mantissa, factor), simd::words(0x7fff));
        return _mm_or_si128(small, large);
    }

    static void saveSix(int16_t *to, simd::Vector x) {
        int16_t words[8];
        simd::store(words, x);
        std::copy_n(words, 6, to);
    }

    simd::Vector b_;
    simd::Vector exponents_, mantissas_, signs_; // of the differences, the newest in word 0; signs are 1 or -1
};

// Two coefficients and two reconstructed samples, in scalar registers: both products wait for the newest sample.
class PolePredictor {
public:
    explicit PolePredictor(const State &state)
        : a1_(state.a[0]), a2_(state.a[1]), sr1_(state.srWord[0], state.srSign[0]),
          sr2_(state.srWord[1], state.srSign[1]), pk1_(-(state.pk1 & 1)), pk2_(-(state.pk2 & 1)) {}

    void save(State &state) const {
        state.a[0] = static_cast<int16_t>(a1_);
        state.a[1] = static_cast<int16_t>(a2_);
        sr1_.save(state.srWord[0], state.srSign[0]);
        sr2_.save(state.srWord[1], state.srSign[1]);
        state.pk1 = static_cast<int16_t>(pk1_ & 1);
        state.pk2 = static_cast<int16_t>(pk2_ & 1);
    }

    int estimate() const { return product(a1_, sr1_) + product(a2_, sr2_); }

    // UPA2, LIMC, UPA1, LIMD; for p = 0 the coefficients only leak. Then the delay line moves.
    void adapt(const Reconstruction &now) {
        const int sign = now.p >> 31;
        const int differ1 = sign ^ pk1_;
        const int differ2 = sign ^ pk2_;
        const int active = now.p != 0 ? -1 : 0;
        const int f = std::clamp(4 * a1_, -32764, 32764);
        const int step2 = (negateWhere(~differ1, f) + negateWhere(differ2, 16384)) >> 7;
        const int step1 = negateWhere(differ1, 192);
        a2_ = std::clamp(a2_ - (a2_ >> 7) + (step2 & active), -12288, 12288);
        a1_ = std::clamp(a1_ - (a1_ >> 8) + (step1 & active), a2_ - 15360, 15360 - a2_);
        pk2_ = pk1_;
        pk1_ = sign;
        sr2_ = sr1_;
        sr1_ = Delayed(now.sr);
    }

    // TONE
    bool isTone() const { return a2_ < -11776; }

    void clear() { a1_ = a2_ = 0; }

private:
    // Doubling 0 to 1 in place of 0 makes its mantissa and exponent follow the rule.
    struct Floating {
        int exponent, mantissa;

        explicit Floating(int magnitude) {
            const auto doubled = static_cast<uint32_t>(2 * magnitude + (magnitude < 1));
            exponent = floorLog2(doubled);
            mantissa = static_cast<int>((doubled << 5) >> exponent);
        }
        Floating(int e, int m) : exponent(e), mantissa(m) {}
    };

    struct Delayed {
        Floating magnitude;
        int signMask;

        // A sample of -32768 has the magnitude 0 and a negative sign.
        explicit Delayed(int sample) : magnitude(std::abs(sample) & 32767), signMask(sample >> 31) {}
        Delayed(int word, int sign) : magnitude((word >> 6) & 15, word & 63), signMask(-(sign & 1)) {}

        void save(int16_t &word, int16_t &sign) const {
            word = static_cast<int16_t>(magnitude.exponent << 6 | magnitude.mantissa);
            sign = static_cast<int16_t>(signMask & 1);
        }
    };

    static int product(int coefficient, const Delayed &value) {
        const int shifted = coefficient >> 2;
        const int signMask = shifted >> 31;
        const Floating c(negateWhere(signMask, shifted)); // below 8192, as the limits hold
        const int mantissa = (c.mantissa * value.magnitude.mantissa + 48) >> 4;
        const int exponent = c.exponent + value.magnitude.exponent; // at most 28
        const auto scaled = static_cast<int>((static_cast<uint64_t>(mantissa) << exponent) >> 19) & 32767;
        return negateWhere(signMask ^ value.signMask, scaled);
    }

    int a1_, a2_;
    Delayed sr1_, sr2_;
    int pk1_, pk2_; // sign masks of p
};

} // namespace ryxsc::g726
