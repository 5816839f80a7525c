// SPDX-License-Identifier: BSD-2-Clause
// Backward LP analysis of ITU-T G.729 Annex E (clause E.3.2): a hybrid window on the past synthesis, of which the older
// part fades recursively, and its lag window.
#include <algorithm>
#include <array>

#include "common/autocorrelation.h"
#include "common/checks.h"
#include "common/double_precision.h"
#include "common/state_block.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

constexpr int order = 30, terms = order + 1;
constexpr int length = 145, fading = 110; // samples up to `fading` count recursively
constexpr int16_t fade = 10368;           // a frame's, Q15

struct State {
    std::array<int32_t, terms> fading;
};
static_assert(sizeof(State) == 124);

} // namespace

ryxStatus ryxsHybridWindowGetStateSize_G729E_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsHybridWindowInit_G729E_16s_u8(HybridWindowState_G729E *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    saveBlock(block, State{});
    return ryxStsOk;
}

ryxStatus ryxsHybridWindow_G729E_16s32s_u8(const int16_t *synthesis, int32_t *autoCorr,
                                           HybridWindowState_G729E *block) {
    if (anyNull(synthesis, autoCorr, block)) return ryxStsNullPtr;
    auto s = loadBlock<State>(block);
    int16_t v[length];
    for (size_t n = 0; n < length; n++)
        v[n] = mult(synthesis[n], hybridWindow[n]);
    const bool fits = energy(v, length) < 1 << 29; // no sum of doubled products reaches 2^30
    for (int k = 0; k < terms; k++) {
        const auto sum = [&](int from, int to, int32_t start) {
            if (!fits) return macInOrder(v + from, v + from - k, to - from, start).value;
            return L_add(start, 2 * wrappedProducts(v + from, v + from - k, to - from));
        };
        int32_t &faded = s.fading[static_cast<size_t>(k)];
        faded = L_add(multiplyShort(faded, fade), sum(order, fading, 0) >> 1);
        const int32_t doubled = L_shl(faded, 1);
        const bool near = doubled > (1 << 30) || doubled < -(1 << 30);
        autoCorr[k] = (near ? macInOrder(v + fading, v + fading - k, length - fading, doubled).value
                            : sum(fading, length, doubled)) >>
                      1;
    }
    saveBlock(block, s);
    return ryxStsOk;
}

ryxStatus ryxsLagWindow_G729E_32s_I_u8(int32_t *srcDst) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    for (size_t k = 1; k < terms; k++)
        srcDst[k] = multiply(srcDst[k], backwardLagWindow[k - 1]);
    const int up = norm_l(L_add(srcDst[0], 1));
    for (int k = 0; k < terms; k++)
        srcDst[k] = L_shl(L_add(srcDst[k], 1), up);
    return ryxStsOk;
}
