// SPDX-License-Identifier: BSD-2-Clause
// Line spectral pairs to line spectral frequencies and back, by tables with linear interpolation (ITU-T G.729, clause 3.2.4,
// in radians; its Annexes B and E with normalised frequencies).
#include <algorithm>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/lsp_frequency.h"
#include "g729/implementations.h"
#include "g729/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::g729::lp;

namespace {

constexpr int16_t quarterPi = 3217; // Q12
constexpr int16_t perTwoPi = 20861; // 1 / (2 * pi), Q17

// Calls convert(interval, scaled) for each LSP: scaled is the distance from the interval's edge times its slope, Q12 in
// units of 1/256 interval. Every distance fits 32 bits, extrapolated ones too.
template <class Convert> ryxStatus toFrequencies(const int16_t *lsp, int16_t *lsf, Convert convert) {
    if (anyNull(lsp, lsf)) return ryxStsNullPtr;
    ryxsc::toFrequencies(lsp, lsf, order, [&](int k, int distance) {
        return convert(k, distance * arccosineSlopes[static_cast<size_t>(k)]);
    });
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsLSPToLSF_G729_16s_u8(const int16_t *lsp, int16_t *lsf) {
    return toFrequencies(lsp, lsf, [](int k, int32_t scaled) {
        const int16_t quarters = sat16(512 * k + (scaled >> 11)); // in units of pi / 4
        return static_cast<int16_t>((quarters * quarterPi) >> 12);
    });
}

ryxStatus ryxsLSPToLSF_Norm_G729_16s_u8(const int16_t *lsp, int16_t *lsf) {
    return toFrequencies(lsp, lsf, [](int k, int32_t scaled) { return sat16(256 * k + ((scaled + 2048) >> 12)); });
}

ryxStatus ryxsLSFToLSP_G729_16s_u8(const int16_t *lsf, int16_t *lsp) {
    if (anyNull(lsf, lsp)) return ryxStsNullPtr;
    for (int i = 0; i < order; i++) {
        const int frequency = (lsf[i] * perTwoPi) >> 15; // in units of 1/256 interval
        const auto k = static_cast<size_t>(std::clamp(frequency >> 8, 0, cosineIntervals - 1));
        const int fraction = frequency & 255;
        lsp[i] = sat16(cosines[k] + ((cosineSlopes[k] * fraction) >> 12));
    }
    return ryxStsOk;
}
