// SPDX-License-Identifier: BSD-2-Clause
// Split vector quantiser of the LSFs, ITU-T G.723.1.
#include "common/checks.h"
#include "frame/implementations.h"
#include "g723/operators.h"
#include "g723/tables.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int16_t prediction = 12288;

// Close neighbours make a frequency heavy: 32 / distance, scaled together to 15 bits.
void weigh(const int16_t *lsf, int16_t *weights) {
    for (int i = 0; i < order; i++) {
        const int16_t above = i < order - 1 ? sub(lsf[i + 1], lsf[i]) : max16;
        const int16_t below = i > 0 ? sub(lsf[i], lsf[i - 1]) : max16;
        const int16_t distance = std::min(above, below);
        weights[i] = distance > 32 ? div_s(32, distance) : max16;
    }
    const int16_t shift = norm_s(*std::max_element(weights, weights + order));
    for (int i = 0; i < order; i++)
        weights[i] = shl(weights[i], shift);
}

template <int length> int nearest(const int16_t (*book)[length], const int16_t *target, const int16_t *weights) {
    int best = 0;
    int32_t largest = -1;
    for (int row = 0; row < 256; row++) {
        int16_t weighted[length];
        for (int j = 0; j < length; j++)
            weighted[j] = mult_r(weights[j], book[row][j]);
        int32_t acc = 0;
        for (int j = 0; j < length; j++)
            acc = L_mac(acc, target[j], weighted[j]);
        acc = L_shl(acc, 1);
        for (int j = 0; j < length; j++)
            acc = L_msu(acc, book[row][j], weighted[j]);
        if (acc <= largest) continue;
        largest = acc;
        best = row;
    }
    return best;
}

} // namespace

ryxStatus ryxsLSFQuant_G723_16s32s_u8(const int16_t *lsf, const int16_t *previous, int32_t *index) {
    if (anyNull(lsf, previous, index)) return ryxStsNullPtr;
    int16_t weights[order], target[order];
    weigh(lsf, weights);
    for (int i = 0; i < order; i++)
        target[i] = sub(sub(lsf[i], lsfMean[i]), mult_r(sub(previous[i], lsfMean[i]), prediction));
    const int low = nearest(lowBand, target, weights);
    const int middle = nearest(middleBand, target + 3, weights + 3);
    const int high = nearest(highBand, target + 6, weights + 6);
    *index = low << 16 | middle << 8 | high;
    return ryxStsOk;
}
