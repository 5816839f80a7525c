// SPDX-License-Identifier: BSD-2-Clause
// GSM 06.10, operation by operation as the recommendation writes it: the plain forms that the library's kernels are
// compared with.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "common/fixed_point.h"

namespace reference::gsmfr {

using namespace ryxsc;

inline int16_t compensateOffset(int16_t x, int32_t *state) {
    const int32_t so = x >> 3 << 2, s1 = wrapSub32(so, state[1]);
    const int16_t msp = wrap16(state[0] >> 15), lsp = state[0] & 32767;
    state[0] = wrapAdd32(wrapAdd32(wrapMul32(s1, 32768), (lsp * 32735 + 16384) >> 15), msp * 32735);
    state[1] = so;
    return wrap16(wrapAdd32(state[0], 16384) >> 15);
}

inline int16_t deemphasize(int16_t x, int16_t *state) {
    *state = add(x, mult_r(*state, 28180));
    return static_cast<int16_t>(add(*state, *state) & ~7);
}

inline int16_t analyse(const int16_t *r, int16_t x, int16_t *u) {
    int16_t d = x, sav = x;
    for (int i = 0; i < 8; i++) {
        const int16_t old = u[i];
        u[i] = sav;
        sav = add(old, mult_r(r[i], d));
        d = add(d, mult_r(r[i], old));
    }
    return d;
}

inline int16_t synthesise(const int16_t *r, int16_t x, int16_t *v) {
    for (int i = 7; i >= 0; i--) {
        x = sub(x, mult_r(r[i], v[i]));
        if (i < 7) v[i + 1] = add(v[i], mult_r(r[i], x));
    }
    return v[0] = x;
}

struct LongTerm {
    int16_t lag, gainCode;
};

inline LongTerm searchLongTerm(const int16_t *d, const int16_t *history) {
    int16_t dmax = 0, nc = 40;
    for (int k = 0; k < 40; k++)
        dmax = std::max(dmax, abs_s(d[k]));
    const int n = dmax == 0 ? 0 : norm_s(dmax), scal = dmax == 0 || n > 6 ? 0 : 6 - n;
    int32_t largest = 0, power = 0;
    for (int16_t lag = 40; lag <= 120; lag++) {
        int32_t sum = 0;
        for (int k = 0; k < 40; k++)
            sum += (d[k] >> scal) * history[k - lag];
        if (sum > largest) {
            largest = sum;
            nc = lag;
        }
    }
    largest = 2 * largest >> (6 - scal);
    for (int k = 0; k < 40; k++)
        power += 2 * (history[k - nc] >> 3) * (history[k - nc] >> 3);
    if (largest <= 0) return {nc, 0};
    if (largest >= power) return {nc, 3};
    constexpr int16_t levels[3] = {6554, 16384, 26214};
    const int16_t r = extract_h(L_shl(largest, norm_l(power))), s = extract_h(L_shl(power, norm_l(power)));
    for (int16_t code = 0; code < 3; code++)
        if (r <= mult(s, levels[code])) return {nc, code};
    return {nc, 3};
}

inline int selectGrid(const int16_t *x) {
    int32_t largest = 0;
    int grid = 0;
    for (int m = 0; m < 4; m++) {
        int32_t energy = 0;
        for (int i = 0; i < 13; i++)
            energy += 2 * (x[m + 3 * i] >> 2) * (x[m + 3 * i] >> 2);
        if (energy > largest) {
            largest = energy;
            grid = m;
        }
    }
    return grid;
}

inline int16_t weigh(const int16_t *e) {
    constexpr int taps[11] = {-134, -374, 0, 2054, 5741, 8192, 5741, 2054, 0, -374, -134};
    int sum = 4096;
    for (int i = 0; i < 11; i++)
        sum += taps[i] * e[i - 5];
    return sat16(sum >> 13);
}

inline void schur(const int32_t *acf, int16_t *r, int order) {
    int16_t p[9] = {}, k[9] = {};
    std::fill_n(r, order, int16_t{0});
    if (acf[0] == 0) return;
    for (int i = 0; i <= order; i++)
        p[i] = k[i] = extract_h(L_shl(acf[i], norm_l(acf[0])));
    for (int n = 0; n < order && p[0] >= abs_s(p[1]); n++) {
        r[n] = p[1] == 0 ? int16_t{0} : div_s(abs_s(p[1]), p[0]);
        if (p[1] > 0) r[n] = negate(r[n]);
        p[0] = add(p[0], mult_r(p[1], r[n]));
        for (int m = 1; m < order - n; m++) {
            p[m] = add(p[m + 1], mult_r(k[m], r[n]));
            k[m] = add(k[m], mult_r(p[m + 1], r[n]));
        }
    }
}

} // namespace reference::gsmfr
