// SPDX-License-Identifier: BSD-2-Clause
// Schur recursion of GSM 06.10: autocorrelations to reflection coefficients (clause 4.2.5).
#include <algorithm>

#include "common/checks.h"
#include "common/simd.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

// Lane m holds P[m + 1] and K[m] of the recommendation; its P[0] follows the rule of the K and is K[0] here.
struct Recursion {
    Vector p, k;

    // Lanes beyond the order hold something, but none of it reaches the lanes that are used: values move to lower lanes,
    // one per coefficient.
    void advance(int16_t reflection) {
        const Vector r = simd::words(reflection);
        const Vector next = _mm_adds_epi16(p, _mm_mulhrs_epi16(k, r));
        k = _mm_adds_epi16(k, _mm_mulhrs_epi16(p, r));
        p = _mm_srli_si128(next, 2);
    }
};

// The upper halves of the autocorrelations, shifted so that the first one lies in 16384 .. 32767.
Recursion start(const int32_t *acf, int lags) {
    int32_t values[12] = {};
    std::copy_n(acf, lags, values);
    const Vector count = _mm_cvtsi32_si128(30 - floorLog2(static_cast<uint32_t>(acf[0])));
    const auto four = [&](int from) { return _mm_srai_epi32(_mm_sll_epi32(simd::load(values + from), count), 16); };
    const Vector k = _mm_packs_epi32(four(0), four(4));
    return {_mm_alignr_epi8(simd::saturateDwords(four(8)), k, 2), k};
}

int16_t lane0(Vector x) {
    return extract_l(_mm_cvtsi128_si32(x));
}

} // namespace

// The error P[0] never becomes negative, and a reflection coefficient is never -32768: it is a quotient of at most 32767.
ryxStatus ryxsSchur_GSMFR_32s16s_u8(const int32_t *acf, int16_t *reflection, int order) {
    if (anyNull(acf, reflection)) return ryxStsNullPtr;
    if (order == 0 || order > stages) return ryxStsBadSize;
    int i = 0;
    if (order > 0 && acf[0] > 0) {
        Recursion recursion = start(acf, order + 1);
        for (; i < order; i++) {
            const int16_t error = lane0(recursion.k), p = lane0(recursion.p);
            const int16_t magnitude = abs_s(p);
            if (error < magnitude) break;
            const int16_t quotient = magnitude == 0 ? int16_t{0} : div_s(magnitude, error);
            reflection[i] = p > 0 ? negate(quotient) : quotient;
            recursion.advance(reflection[i]);
        }
    }
    for (; i < order; i++)
        reflection[i] = 0;
    return ryxStsOk;
}
