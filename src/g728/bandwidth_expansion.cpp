// SPDX-License-Identifier: BSD-2-Clause
// Bandwidth expansions of ITU-T G.728, Annex G: coefficient i times the i-th power of a number, which tables hold.
#include <iterator>
#include <utility>

#include "common/checks.h"
#include "common/simd.h"
#include "g728/arithmetic.h"
#include "g728/implementations.h"
#include "g728/tables.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

struct Expansion {
    const int16_t *factors; // Q14
    int len;
};
constexpr Expansion expansions[] = {
    {synthesisExpansion, synthesisOrder}, {logGainExpansion, order},        {weightingPoleExpansion, order},
    {weightingZeroExpansion, order},      {postFilterPoleExpansion, order}, {postFilterZeroExpansion, order},
    {erasureExpansion, synthesisOrder},
};
static_assert(ryxG728ErasureExpansion == std::size(expansions) - 1);

} // namespace

ryxStatus ryxsBandwidthExpand_G728_16s_u8(const int16_t *src, int16_t fraction, int16_t expansion, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (fraction < 13 || fraction > 15) return ryxStsOutOfRange;
    if (expansion < 0 || expansion > ryxG728ErasureExpansion) return ryxStsOutOfRange;
    const Expansion &e = expansions[expansion];
    const Vector tail = simd::load(src + e.len - 8); // before the loop, which may work in place
    if (fraction > 13) { // nothing needs limiting: the factors are below 1, and also when doubled they fit 16 bits
        const auto expand = [&](Vector x, int at) {
            const Vector factors = simd::load(e.factors + at);
            simd::store(dst + at, _mm_mulhrs_epi16(x, fraction == 15 ? factors : _mm_add_epi16(factors, factors)));
        };
        for (int at = 0; at + 8 < e.len; at += 8)
            expand(simd::load(src + at), at);
        expand(tail, e.len - 8);
        return ryxStsOk;
    }
    const Vector count = _mm_cvtsi32_si128(16 - fraction);
    Vector changed = _mm_setzero_si128();
    const auto expand = [&](Vector x, int at) {
        const simd::Dwords product = simd::products(x, simd::load(e.factors + at));
        const Vector front = shiftLeftLimited(product.front, count), back = shiftLeftLimited(product.back, count);
        for (const auto &[limited, whole] : {std::pair(front, product.front), std::pair(back, product.back)})
            changed = _mm_or_si128(changed, _mm_xor_si128(_mm_sra_epi32(limited, count), whole));
        simd::store(dst + at, roundedUpperHalves(front, back));
    };
    for (int at = 0; at + 8 < e.len; at += 8)
        expand(simd::load(src + at), at);
    expand(tail, e.len - 8);
    const bool fits = _mm_movemask_epi8(_mm_cmpeq_epi32(changed, _mm_setzero_si128())) == 0xffff;
    return fits ? ryxStsOk : ryxStsOverflow;
}
