// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients to line spectral frequencies, ITU-T G.723.1: zero crossings of the sum and the difference polynomial,
// taken in turn on a grid of 257 frequencies.
#include "common/checks.h"
#include "g723/implementations.h"
#include "g723/lp_tables.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int terms = order / 2 + 1;
constexpr int gridPoints = 256;

struct Polynomials {
    int16_t f[2][terms]; // sum and difference polynomial, divided by their roots at -1 and 1

    explicit Polynomials(const int16_t *lpc) {
        int32_t p[2 * terms];
        int32_t *q = p + terms;
        p[0] = q[0] = 1 << 25;
        for (int i = 0; i < terms - 1; i++) {
            const int32_t front = L_deposit_h(expanded(lpc, i)) >> 4,
                          back = L_deposit_h(expanded(lpc, order - 1 - i)) >> 4;
            p[i + 1] = L_sub(L_sub(L_negate(p[i]), front), back);
            q[i + 1] = L_add(L_sub(q[i], front), back);
        }
        p[terms - 1] >>= 1;
        q[terms - 1] >>= 1;
        const int shift = norm_l(largestMagnitude(p, 2 * terms));
        for (int i = 0; i < terms; i++) {
            f[0][i] = round(L_shl(p[i], shift));
            f[1][i] = round(L_shl(q[i], shift));
        }
    }

    int32_t evaluate(int which, int point) const {
        int32_t acc = 0;
        for (int j = 0; j < terms; j++)
            acc = L_mac(acc, f[which][terms - 1 - j], cosines[(point * j) & 511]);
        return acc;
    }

private:
    static int16_t expanded(const int16_t *lpc, int i) { return mult_r(lpc[i], bandwidthExpansion[i]); }
};

// Where between two points of the grid the value passes zero, in 128ths of their distance.
int16_t fraction(int32_t before, int32_t after) {
    const int32_t total = L_add(L_abs(before), L_abs(after));
    const int shift = norm_l(total);
    return quotient(L_shl(L_abs(before), shift) >> 8, extract_h(L_shl(total, shift)));
}

} // namespace

ryxStatus ryxsLPCToLSF_G723_16s_u8(const int16_t *lpc, const int16_t *previous, int16_t *lsf) {
    if (anyNull(lpc, previous, lsf)) return ryxStsNullPtr;
    const Polynomials polynomials(lpc);
    int16_t found[order];
    int count = 0, which = 0;
    int32_t before = polynomials.evaluate(0, 0);
    for (int point = 1; point < gridPoints; point++) {
        int32_t value = polynomials.evaluate(which, point);
        if ((value ^ before) < 0) {
            found[count++] = static_cast<int16_t>(fraction(before, value) + 128 * (point - 1));
            if (count == order) break;
            which ^= 1;
            value = polynomials.evaluate(which, point);
        }
        before = value;
    }
    std::copy_n(count == order ? found : previous, order, lsf);
    return ryxStsOk;
}
