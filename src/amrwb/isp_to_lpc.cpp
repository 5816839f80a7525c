// SPDX-License-Identifier: BSD-2-Clause
// Immittance spectral pairs to LP coefficients (3GPP TS 26.173).
#include <algorithm>

#include "amrwb/implementations.h"
#include "common/checks.h"
#include "common/double_precision.h"

using namespace ryxsc;

namespace {

constexpr int maxOrder = 20;
constexpr int maxDegree = maxOrder / 2;

// The product of 1 - 2 * isp[i] * z^-1 + z^-2 over every other ISP, coefficients 0 to degree. Q23; beyond degree 8 it is
// built in Q21, where it does not saturate so soon.
void expand(const int16_t *isp, int degree, bool isLong, int32_t *f) {
    const int factor = isLong ? 128 : 512;
    f[0] = isLong ? 1 << 21 : 1 << 23;
    if (degree >= 1) f[1] = -factor * isp[0];
    for (int i = 2; i <= degree; i++) {
        const int16_t next = isp[2 * (i - 1)];
        f[i] = f[i - 2];             // the product is symmetric
        for (int k = i; k >= 2; k--) // downwards, so that f[k - 1] and f[k - 2] are still the old ones
            f[k] = L_add(L_sub(f[k], doubledProduct(f[k - 1], next)), f[k - 2]);
        f[1] = L_sub(f[1], factor * next);
    }
    if (isLong) std::transform(f, f + degree + 1, f, [](int32_t x) { return L_shl(x, 2); });
}

// The same in Q23 without saturation; the bits of all magnitudes are gathered in `bits`. The steps wait for one another only
// from coefficient to coefficient.
template <int degree, bool isLong> void expandExactly(const int16_t *isp, int64_t *f, int64_t &bits) {
    constexpr int factor = isLong ? 128 : 512;
    f[0] = isLong ? 1 << 21 : 1 << 23;
    f[1] = -factor * isp[0];
#pragma GCC unroll 10
    for (int i = 2; i <= degree; i++) {
        const int64_t next = isp[2 * (i - 1)];
        f[i] = f[i - 2];
#pragma GCC unroll 10
        for (int k = i; k >= 2; k--) {
            f[k] += f[k - 2] - ((f[k - 1] & ~int64_t{1}) * next >> 16) * 4;
            bits |= f[k] ^ f[k] >> 63;
        }
        f[1] -= factor * next;
    }
}

// Both polynomials with their roots at z = 1 and z = -1 and the last ISP in them: coefficient i is half of the sum, and
// coefficient order - i half of the difference, Q23.
struct Polynomials {
    int32_t sum[maxDegree + 1], difference[maxDegree + 1];
    int32_t middle;

    Polynomials(const int16_t *isp, int order) {
        const bool isExact = order == 16 ? makeExactly<16>(isp) : order == 20 && makeExactly<20>(isp);
        if (!isExact) makeSaturating(isp, order);
    }

private:
    // False when something may saturate. With coefficients below 2^29 on the way no step leaves 31 bits: two of them and twice
    // a third. With final ones below 2^28 neither does anything that is made of them.
    template <int order> bool makeExactly(const int16_t *isp) {
        constexpr int degree = order / 2;
        constexpr bool isLong = degree > 8;
        int64_t f[degree + 1], g[degree], bits = 0, finalBits = 0;
        expandExactly<degree, isLong>(isp, f, bits);
        expandExactly<degree - 1, isLong>(isp + 1, g, bits);
        for (int i = 0; i < degree; i++) {
            f[i] *= isLong ? 4 : 1;
            g[i] *= isLong ? 4 : 1;
            finalBits |= (f[i] ^ f[i] >> 63) | (g[i] ^ g[i] >> 63);
        }
        f[degree] *= isLong ? 4 : 1;
        finalBits |= f[degree] ^ f[degree] >> 63;
        if (bits >= 1 << 29 || finalBits >= 1 << 28) return false;
        const int64_t last = isp[order - 1];
        const auto part = [last](int64_t x) { return ((x & ~int64_t{1}) * last >> 16) * 2; };
        for (int i = degree - 1; i >= 0; i--) {
            const int64_t d = i >= 2 ? g[i] - g[i - 2] : g[i];
            sum[i] = static_cast<int32_t>(f[i] + part(f[i]));
            difference[i] = static_cast<int32_t>(d - part(d));
        }
        middle = static_cast<int32_t>(f[degree] + part(f[degree]));
        return true;
    }

    void makeSaturating(const int16_t *isp, int order) {
        const int degree = order / 2;
        const bool isLong = degree > 8;
        expand(isp, degree, isLong, sum);
        expand(isp + 1, degree - 1, isLong, difference);
        for (int i = degree - 1; i >= 2; i--) // times 1 - z^-2
            difference[i] = L_sub(difference[i], difference[i - 2]);
        const int16_t last = isp[order - 1];
        for (int i = 0; i < degree; i++) {
            sum[i] = L_add(sum[i], multiplyShort(sum[i], last));
            difference[i] = L_sub(difference[i], multiplyShort(difference[i], last));
        }
        middle = L_add(sum[degree], multiplyShort(sum[degree], last));
    }

public:
    // In Q12 divided by 2^reduction, rounded. Filters whose coefficients fit 16 bits fit; beyond that the low bits remain.
    void write(int16_t *lpc, int order, int16_t last, int reduction) const {
        const int degree = order / 2;
        const auto narrowed = [=](int32_t x) { return wrap16(L_shr_r(x, 12 + reduction)); };
        lpc[degree] = narrowed(middle);
        lpc[order - degree] = lpc[degree]; // another one at odd orders only, which have no meaning
        for (int i = 1; i < degree; i++) {
            lpc[i] = narrowed(L_add(sum[i], difference[i]));
            lpc[order - i] = narrowed(L_sub(sum[i], difference[i]));
        }
        lpc[0] = static_cast<int16_t>(4096 >> reduction);
        lpc[order] = shr_r(last, 3 + reduction);
    }

    // By how many bits the coefficients miss 16 bits.
    int excess(int order) const {
        int32_t bits = 1;
        for (int i = 1; i < order / 2; i++)
            bits |= L_abs(L_add(sum[i], difference[i])) | L_abs(L_sub(sum[i], difference[i]));
        return std::max(4 - norm_l(bits), 0);
    }
};

} // namespace

ryxStatus ryxsISPToLPC_AMRWB_16s_u8(const int16_t *isp, int16_t *lpc, int order) {
    if (anyNull(isp, lpc)) return ryxStsNullPtr;
    if (order < 1 || order > maxOrder) return ryxStsBadSize;
    Polynomials(isp, order).write(lpc, order, isp[order - 1], 0);
    return ryxStsOk;
}

ryxStatus ryxsISPToLPCScaled_AMRWB_16s_u8(const int16_t *isp, int16_t *lpc) {
    constexpr int order = 16;
    if (anyNull(isp, lpc)) return ryxStsNullPtr;
    const Polynomials polynomials(isp, order);
    polynomials.write(lpc, order, isp[order - 1], polynomials.excess(order));
    return ryxStsOk;
}
