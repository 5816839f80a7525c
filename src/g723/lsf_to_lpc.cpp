// SPDX-License-Identifier: BSD-2-Clause
// Interpolation of the LSFs and their conversion to LP coefficients, ITU-T G.723.1.
#include "common/checks.h"
#include "g723/implementations.h"
#include "g723/lp_tables.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int half = order / 2;

// -cos in Q15. The table's points are 128 apart; frequencies below 0 meet the end of its period.
int16_t negativeCosine(int16_t lsf) {
    const int16_t *point = &cosines[(lsf >> 7) & 511];
    const int32_t between =
        L_mult(static_cast<int16_t>(point[1] - point[0]), static_cast<int16_t>((lsf & 127) * 256 + 128));
    return negate(round(L_shl(L_add(L_deposit_h(point[0]), between), 1)));
}

// Product of five factors 1 - 2 c z^-1 + z^-2, in Q28 and falling by a bit with every factor; c[0], c[2], ... are taken.
void multiplyFactors(const int16_t *c, int32_t *p) {
    p[0] = 1 << 28;
    p[1] = L_mac(L_mult(c[0], 8192), c[2], 8192);
    p[2] = rarelySaturatingAdd(L_mult(c[0], c[2]) >> 1, 1 << 29);
    for (int i = 2; i < half; i++) {
        const int16_t factor = c[2 * i];
        p[i + 1] = rarelySaturatingAdd(scale(p[i], factor), p[i - 1]);
        for (int j = i; j >= 2; j--)
            p[j] = rarelySaturatingAdd(rarelySaturatingAdd(scale(p[j - 1], factor), p[j] >> 1), p[j - 2] >> 1);
        p[0] >>= 1;
        p[1] = rarelySaturatingAdd(L_deposit_h(factor) >> i, p[1]) >> 1;
    }
}

void convert(const int16_t *lsf, int16_t *lpc) {
    int16_t c[order];
    std::transform(lsf, lsf + order, c, negativeCosine);
    int32_t p[half + 1], q[half + 1];
    multiplyFactors(c, p);
    multiplyFactors(c + 1, q);
    for (int i = 0; i < half; i++) {
        const int32_t sum = rarelySaturatingAdd(p[i], p[i + 1]);
        lpc[i] = negate(round(L_shl(rarelySaturatingAdd(rarelySaturatingSub(sum, q[i]), q[i + 1]), 3)));
        lpc[order - 1 - i] = negate(round(L_shl(rarelySaturatingSub(rarelySaturatingAdd(sum, q[i]), q[i + 1]), 3)));
    }
}

} // namespace

ryxStatus ryxsLSFToLPC_G723_16s_u8(const int16_t *lsf, int16_t *lpc) {
    if (anyNull(lsf, lpc)) return ryxStsNullPtr;
    convert(lsf, lpc);
    return ryxStsOk;
}

ryxStatus ryxsLSFToLPC_G723_16s_I_u8(int16_t *lsfLpc) {
    if (anyNull(lsfLpc)) return ryxStsNullPtr;
    convert(lsfLpc, lsfLpc);
    return ryxStsOk;
}

ryxStatus ryxsInterpolate_G723_16s_u8(const int16_t *previous, const int16_t *current, int16_t *lsf) {
    if (anyNull(previous, current, lsf)) return ryxStsNullPtr;
    for (int n = 1; n <= subframes; n++)
        for (int j = 0; j < order; j++)
            *lsf++ = static_cast<int16_t>(((subframes - n) * previous[j] + n * current[j] + 2) >> 2);
    return ryxStsOk;
}
