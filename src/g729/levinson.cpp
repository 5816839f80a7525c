// SPDX-License-Identifier: BSD-2-Clause
// Levinson-Durbin recursion in double-precision fixed point (ITU-T G.729, clause 3.2.2), orders 1 to 30.
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "g729/implementations.h"

using namespace ryxsc;
using simd::Vector;

namespace {

constexpr int maxOrder = 30;
constexpr int32_t smallestEnergy = 1 << 16; // of r[0]: below it the high part is 0
constexpr int16_t unstable = 32750;         // Q15 magnitude of a reflection coefficient

// num / den in Q31 for 0 <= num <= den and a normalised den; saturates above. A den whose high part is not 0 never traps,
// however far from normalised.
int32_t quotient(int32_t num, int32_t den) {
    const int16_t estimate = wrap16(0x1fff8000 / highPart(den)); // of 1 / den, Q14
    const int32_t error = L_sub(max32, multiplyShort(den, estimate));
    const int32_t reciprocal = multiplyShort(error, estimate); // Q29
    return L_shl(multiply(num, reciprocal), 2);
}

// The prediction error: a normalised mantissa and the shifts that normalised it.
struct Energy {
    int32_t mantissa;
    int exponent = 0;

    // Times 1 - k^2; k in Q31. The factor is positive for every k that is accepted, so the mantissa's high part, once not 0,
    // stays so.
    void scale(int32_t k) {
        const int32_t factor = L_sub(max32, L_abs(multiply(k, k))); // the square can be slightly negative
        mantissa = multiply(mantissa, factor);
        const int shift = norm_l(mantissa);
        mantissa = L_shl(mantissa, shift);
        exponent += shift;
    }
};

// Numbers with an index from 1 on, behind and before which kernels may load up to four more.
class Padded {
public:
    int32_t &operator[](int i) { return values_[i + 3]; }
    const int32_t &operator[](int i) const { return values_[i + 3]; }

    // Elements i to i + 3, and in reverse order i to i - 3.
    Vector four(int i) const { return simd::load(&(*this)[i]); }
    Vector fourReversed(int i) const { return _mm_shuffle_epi32(four(i - 3), _MM_SHUFFLE(0, 1, 2, 3)); }

private:
    alignas(16) int32_t values_[4 + maxOrder + 6] = {};
};

// Annexes B and E run the recursion on autocorrelations without lag window or with a weak one: they accept any first
// coefficient, and limit the numerators.
enum class Form { main, annexes };

template <Form form> class Recursion {
public:
    Recursion(const int32_t *r, int order) : energy_{r[0]} { std::copy_n(r + 1, order, &r_[1]); }

    // Appends reflection coefficient m. Returns false, and leaves the filter as it is, where that is unstable.
    bool step(int m) {
        const int32_t t = L_add(L_shl(predictionSum(m), 4), clearBit0(r_[m]));
        if (form == Form::annexes && energy_.mantissa == 0) return false; // after a first coefficient of magnitude 1
        const int32_t magnitude = quotient(numerator(t, m), energy_.mantissa);
        const int32_t k = L_shl(t > 0 ? L_negate(magnitude) : magnitude, energy_.exponent);
        if (abs_s(extract_h(k)) > unstable && !(form == Form::annexes && m == 1)) return false;
        reflections_[m - 1] = extract_h(k);
        extendFilter(m, clearBit0(k));
        energy_.scale(k);
        return true;
    }

    void write(int order, int16_t *lpc, int16_t *reflections, int16_t *energy) const {
        const Padded &a = filters_[(order + 1) % 2];
        lpc[0] = 4096;
        for (int j = 1; j <= order; j++)
            lpc[j] = round(L_shl(a[j], 1));
        std::copy_n(reflections_, order, reflections);
        *energy = shr(extract_h(energy_.mantissa), form == Form::annexes ? energy_.exponent : 0);
    }

private:
    int32_t numerator(int32_t t, int m) const {
        if (form == Form::annexes && (m > 1 || t > 0)) return std::min(L_abs(t), energy_.mantissa);
        return L_abs(t);
    }

    // The sum of r[j] * a[m - j], Q27, saturating from term to term. As long as the magnitudes of all terms add up to less
    // than 2^31, nothing saturates and the order does not matter. A product of two high parts of -2^15, which the vector
    // form gets wrong, is beyond the limit by itself.
    int32_t predictionSum(int m) const {
        constexpr int magnitudeShift = 5, limit = (1 << 26) - (1 << 13);
        Vector sums = _mm_setzero_si128(), magnitudes = _mm_setzero_si128();
        const Padded &a = filters_[m % 2];
        for (int j = 1; j < m; j += 4) {
            const Vector terms = lanes::multiply(r_.four(j), a.fourReversed(m - j));
            sums = _mm_add_epi32(sums, terms);
            magnitudes = _mm_add_epi32(magnitudes, _mm_srli_epi32(_mm_abs_epi32(terms), magnitudeShift));
        }
        return lanes::total(magnitudes) < limit ? lanes::total(sums) : saturatedSum(m);
    }

    int32_t saturatedSum(int m) const {
        const Padded &a = filters_[m % 2];
        int32_t sum = 0;
        for (int j = 1; j < m; j++)
            sum = L_add(sum, multiply(r_[j], a[m - j]));
        return sum;
    }

    // The magnitude of k is at most 32750 in the high part, so the products are exact in vectors.
    void extendFilter(int m, int32_t k) {
        const Padded &filter = filters_[m % 2];
        Padded &extended = filters_[(m + 1) % 2];
        const Vector factor = simd::dwords(k);
        for (int j = 1; j < m; j += 4) {
            const Vector products = lanes::multiply(factor, filter.fourReversed(m - j));
            simd::store(&extended[j], lanes::clearBit0(lanes::addSaturated(products, filter.four(j))));
        }
        extended[m] = clearBit0(k >> 4);
    }

    Energy energy_;
    Padded r_;
    Padded filters_[2]; // Q27, without bit 0; the one before step m is that of m's parity. Elements outside are 0
    int16_t reflections_[maxOrder];
};

template <Form form>
ryxStatus levinsonDurbin(const int32_t *autoCorr, int order, int16_t *lpc, int16_t *reflection, int16_t *energy) {
    if (anyNull(autoCorr, lpc, reflection, energy)) return ryxStsNullPtr;
    if (order < 1 || order > maxOrder) return ryxStsOutOfRange;
    if (L_abs(autoCorr[0]) < smallestEnergy) return ryxStsOverflow;
    Recursion<form> recursion(autoCorr, order);
    for (int m = 1; m <= order; m++)
        if (!recursion.step(m)) return ryxStsOverflow;
    recursion.write(order, lpc, reflection, energy);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsLevinsonDurbin_G729_32s16s_u8(const int32_t *autoCorr, int order, int16_t *lpc, int16_t *reflection,
                                            int16_t *energy) {
    return levinsonDurbin<Form::main>(autoCorr, order, lpc, reflection, energy);
}

ryxStatus ryxsLevinsonDurbin_G729E_32s16s_u8(const int32_t *autoCorr, int order, int16_t *lpc, int16_t *reflection,
                                             int16_t *energy) {
    return levinsonDurbin<Form::annexes>(autoCorr, order, lpc, reflection, energy);
}
