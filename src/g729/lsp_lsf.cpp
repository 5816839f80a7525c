// Line spectral pairs to line spectral frequencies and back, by tables with linear interpolation (ITU-T G.729, clause 3.2.4,
// in radians; its Annexes B and E with normalised frequencies).
#include <algorithm>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "g729/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::g729::lp;
using simd::Vector;

namespace {

constexpr int16_t quarterPi = 3217; // Q12
constexpr int16_t perTwoPi = 20861; // 1 / (2 * pi), Q17

int cosineAt(int k) {
    return cosines[static_cast<size_t>(k)];
}

// The last interval whose lower edge in frequency has a cosine at or above lsp: among every eighth first, then among eight.
int intervalOf(int16_t lsp) {
    const Vector eight = simd::words(lsp);
    const int first = 8 * simd::lastNotBelow(everyEighthCosine.data(), eight);
    return first + simd::lastNotBelow(&cosines[static_cast<size_t>(first)], eight);
}

// Calls convert(interval, scaled) for each LSP: scaled is the distance from the interval's edge times its slope, Q12 in
// units of 1/256 interval. The recommendation searches the interval from that of the LSP behind, downwards only, so that an
// LSP above its predecessor is extrapolated; every distance fits 32 bits all the same.
template <class Convert> ryxStatus toFrequencies(const int16_t *lsp, int16_t *lsf, Convert convert) {
    if (anyNull(lsp, lsf)) return ryxStsNullPtr;
    int k = intervals - 1;
    for (int i = order - 1; i >= 0; i--) {
        k = std::min(k, intervalOf(lsp[i]));
        lsf[i] = convert(k, (lsp[i] - cosineAt(k)) * arccosineSlopes[static_cast<size_t>(k)]);
    }
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
        const int k = std::clamp(frequency >> 8, 0, intervals - 1);
        const int fraction = frequency & 255;
        lsp[i] = sat16(cosineAt(k) + ((cosineSlopes[static_cast<size_t>(k)] * fraction) >> 12));
    }
    return ryxStsOk;
}
