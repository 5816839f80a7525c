// SPDX-License-Identifier: BSD-2-Clause
// Hybrid windows of ITU-T G.728, Annex G: autocorrelation of a signal under a window with a recursive tail. Signals and
// windows stand in time order: history as long as the order, then the samples that enter the recursive part, then those of
// the non-recursive part.
#include "common/checks.h"
#include "common/state_block.h"
#include "frame/implementations.h"
#include "g728/arithmetic.h"
#include "g728/tables.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

struct State {
    int16_t recursive[synthesisOrder + 1];
    int16_t exponent;
};
static_assert(sizeof(State) == 104);
constexpr int16_t startExponent = 31;

struct Layout {
    int lags;         // and length of the history
    int entering;     // samples that enter the recursive part
    int nonRecursive; // samples under the sine
    int attenuation;  // the tail decays by 1 - 2^-attenuation

    constexpr int length() const { return lags + entering + nonRecursive; }
};
constexpr Layout synthesisLayout = {synthesisOrder, 20, 35, 2};
constexpr Layout weightingLayout = {order, 20, 30, 1};
constexpr Layout logGainLayout = {order, 4, 20, 2};

int64_t correlation(const int16_t *x, int len, int lag) {
    int64_t sum = 0;
    for (int i = 0; i < len; i++)
        sum += x[i] * x[i - lag];
    return sum;
}

int64_t shifted(int64_t x, int count) {
    return x >> std::min(count, 63);
}

int normalisation64(int64_t x) {
    if (x == 0) return 31;
    return std::countl_zero(static_cast<uint64_t>(x < 0 ? ~x : x)) - 1 - 32;
}

// Autocorrelation of the windowed signal w * 2^-exponent. Whether its last value is of use.
template <const Layout &layout> bool analyse(const int16_t *w, int exponent, State &state, int16_t *dst) {
    const int16_t *const entering = w + layout.lags;
    const int16_t *const newest = entering + layout.entering;
    constexpr int32_t decay = 65536 - (1 << (16 - layout.attenuation));

    const int na = 2 * exponent;
    int nr = state.exponent;
    const int tailShift = 1 + std::max(nr - na, 0), enteringShift = 1 + std::max(na - nr, 0);
    nr = std::min(nr, na);
    const auto updated = [&](int lag) {
        return shifted(int64_t{state.recursive[lag]} * decay, tailShift) +
               shifted(correlation(entering, layout.entering, lag), enteringShift);
    };
    int64_t a = updated(0);
    const int n0 = normalisation64(a);
    state.recursive[0] = round(shiftLimited(a, n0));
    nr += n0 - 1;

    const int recursiveShift = 1 + std::max(nr - na, 0), newestShift = 1 + std::max(na - nr, 0);
    const auto total = [&](int lag) {
        return shifted(int64_t{state.recursive[lag]} * 65536, recursiveShift) +
               shifted(correlation(newest, layout.nonRecursive, lag), newestShift);
    };
    a = total(0);
    a += a >> 8; // white noise
    const int n1 = normalisation64(a);
    int32_t last = shiftLimited(a, n1);
    dst[0] = round(last);
    for (int lag = 1; lag <= layout.lags; lag++) {
        state.recursive[lag] = round(shiftLimited(updated(lag), n0));
        last = shiftLimited(total(lag), n1);
        dst[lag] = round(last);
    }
    state.exponent = asExponent(nr);
    return last != 0;
}

// A window over plain samples, normalised to 15 bits.
template <const Layout &layout> ryxStatus hybridWindow(const int16_t *src, const int16_t *window, int largestExponent,
                                                       int16_t *dst, HybridWindowState_G728 *block) {
    if (anyNull(src, dst, block)) return ryxStsNullPtr;
    auto state = loadBlock<State>(block);
    const int shift = vectorNormalisation(src, layout.length(), 15);
    int16_t windowed[layout.length()];
    for (int i = 0; i < layout.length(); i++)
        windowed[i] = round(shiftLimited(src[i] * window[i], shift));
    const bool useful = analyse<layout>(windowed, shift, state, dst);
    state.exponent = static_cast<int16_t>(std::min<int>(state.exponent, largestExponent));
    saveBlock(block, state);
    return useful ? ryxStsOk : ryxStsIllConditioned;
}

} // namespace

ryxStatus ryxsHybridWindowGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsHybridWindowInit_G728_16s_u8(HybridWindowState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    state.exponent = startExponent;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsHybridWindowSynthesis_G728_16s_u8(const int16_t *src, const int16_t *exponents, int16_t *dst,
                                                HybridWindowState_G728 *block) {
    if (anyNull(src, exponents, dst, block)) return ryxStsNullPtr;
    constexpr int vectors = synthesisLayout.length() / vectorLength;
    auto state = loadBlock<State>(block);
    const int common = *std::min_element(exponents, exponents + vectors);
    int16_t windowed[synthesisLayout.length()];
    for (int v = 0; v < vectors; v++) {
        const int shift = exponents[v] - common - 1;
        for (int i = 5 * v; i < 5 * v + 5; i++)
            windowed[i] = round(shiftLimited(src[i] * synthesisWindow[i], -shift));
    }
    const bool useful = analyse<synthesisLayout>(windowed, common, state, dst);
    saveBlock(block, state);
    return useful ? ryxStsOk : ryxStsIllConditioned;
}

ryxStatus ryxsHybridWindowWeighting_G728_16s_u8(const int16_t *src, int16_t *dst, HybridWindowState_G728 *block) {
    return hybridWindow<weightingLayout>(src, weightingWindow, 41, dst, block);
}

ryxStatus ryxsHybridWindowLogGain_G728_16s_u8(const int16_t *src, int16_t *dst, HybridWindowState_G728 *block) {
    return hybridWindow<logGainLayout>(src, logGainWindow, max16, dst, block);
}
