// SPDX-License-Identifier: BSD-2-Clause
// Line spectral pairs to LP coefficients, in fixed point (ITU-T G.729, clause 3.2.6) and in single precision.
#include "common/checks.h"
#include "common/double_precision.h"
#include "frame/implementations.h"
#include "g729/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::g729::lp;

namespace {

constexpr int degree = order / 2;

// The product of 1 - 2 * lsp[i] * z^-1 + z^-2 over every other lsp, coefficients 0 to 5 in Q24.
void expand(const int16_t *lsp, int32_t *f) {
    f[0] = 1 << 24;
    f[1] = -1024 * lsp[0];
    for (int i = 2; i <= degree; i++) {
        const int16_t factor = lsp[2 * (i - 1)];
        f[i] = f[i - 2];             // the product is symmetric
        for (int k = i; k >= 2; k--) // downwards, so that f[k - 1] and f[k - 2] are still the old ones
            f[k] = L_sub(L_add(f[k], f[k - 2]), doubledProduct(f[k - 1], factor));
        f[1] = L_sub(f[1], 1024 * factor);
    }
}

// The same without saturation, which ordered LSPs do not need. Returns false where any value would have saturated.
bool expandExactly(const int16_t *lsp, int64_t *f) {
    uint64_t beyond = 0;
    const auto checked = [&beyond](int64_t x) {
        beyond |= static_cast<uint64_t>(x - min32) >> 32;
        return x;
    };
    f[0] = 1 << 24;
    f[1] = -1024 * lsp[0];
    for (int i = 2; i <= degree; i++) {
        const int64_t factor = lsp[2 * (i - 1)];
        f[i] = f[i - 2];
        for (int k = i; k >= 2; k--) {
            const int64_t product = checked(4 * ((f[k - 1] & ~int64_t{1}) * factor >> 16));
            f[k] = checked(checked(f[k] + f[k - 2]) - product);
        }
        f[1] = checked(f[1] - 1024 * factor);
    }
    return beyond == 0;
}

// Q24 to Q12 of the halved sum, rounded. Ordered LSPs stay inside +-8; beyond that the low 16 bits remain.
int16_t toQ12(int32_t sum) {
    return wrap16((sum >> 13) + ((sum >> 12) & 1));
}

void expand(const float *lsp, float *f) {
    f[0] = 1;
    f[1] = -2 * lsp[0];
    for (int i = 2; i <= degree; i++) {
        const float factor = -2 * lsp[2 * (i - 1)];
        f[i] = factor * f[i - 1] + 2 * f[i - 2];
        for (int k = i - 1; k >= 2; k--)
            f[k] += factor * f[k - 1] + f[k - 2];
        f[1] += factor;
    }
}

} // namespace

ryxStatus ryxsLSPToLPC_G729_16s_u8(const int16_t *lsp, int16_t *lpc) {
    if (anyNull(lsp, lpc)) return ryxStsNullPtr;
    int32_t sum[degree + 1], difference[degree + 1];
    int64_t exactSum[degree + 1], exactDifference[degree + 1];
    if (expandExactly(lsp, exactSum) && expandExactly(lsp + 1, exactDifference)) {
        for (int k = 0; k <= degree; k++) {
            sum[k] = static_cast<int32_t>(exactSum[k]);
            difference[k] = static_cast<int32_t>(exactDifference[k]);
        }
    } else {
        expand(lsp, sum);
        expand(lsp + 1, difference);
    }
    for (int k = degree; k > 0; k--) { // times 1 + z^-1 and 1 - z^-1
        sum[k] = L_add(sum[k], sum[k - 1]);
        difference[k] = L_sub(difference[k], difference[k - 1]);
    }
    lpc[0] = 4096;
    for (int k = 1; k <= degree; k++) {
        lpc[k] = toQ12(L_add(sum[k], difference[k]));
        lpc[order + 1 - k] = toQ12(L_sub(sum[k], difference[k]));
    }
    return ryxStsOk;
}

ryxStatus ryxsLSPToLPC_G729_32f_u8(const float *lsp, float *lpc) {
    if (anyNull(lsp, lpc)) return ryxStsNullPtr;
    float sum[degree + 1], difference[degree + 1];
    expand(lsp, sum);
    expand(lsp + 1, difference);
    for (int k = degree; k > 0; k--) { // times 1 + z^-1 and 1 - z^-1
        sum[k] += sum[k - 1];
        difference[k] -= difference[k - 1];
    }
    lpc[0] = 1;
    for (int k = 1; k <= degree; k++) {
        lpc[k] = 0.5f * (sum[k] + difference[k]);
        lpc[order + 1 - k] = 0.5f * (sum[k] - difference[k]);
    }
    return ryxStsOk;
}
