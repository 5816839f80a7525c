// SPDX-License-Identifier: BSD-2-Clause
// Open-loop pitch of half a frame, ITU-T G.723.1: the largest squared correlation per energy, short lags preferred.
#include "common/checks.h"
#include "common/product_sums.h"
#include "g723/implementations.h"
#include "g723/operators.h"

using namespace ryxsc;
using namespace ryxsc::g723;

namespace {

constexpr int length = 120;
constexpr int longestOpenLoopLag = 142;

// correlation^2 / energy * 2^-exponent, mantissas of 15 bits.
struct Candidate {
    int16_t lag, exponent, correlation, energy;
};

// L_shl by no more bits than norm_l() allows.
int32_t shiftUp(int32_t x, int count) {
    return static_cast<int32_t>(static_cast<uint32_t>(x) << count);
}

Candidate normalised(int lag, int32_t correlation, int32_t energy) {
    const int16_t shift = norm_l(correlation);
    const int16_t mantissa = round(shiftUp(correlation, shift));
    const int32_t square = L_mult(mantissa, mantissa);
    const int16_t squareShift = norm_l(square), energyShift = norm_l(energy);
    Candidate candidate = {static_cast<int16_t>(lag), static_cast<int16_t>(2 * shift + squareShift - energyShift),
                           extract_h(shiftUp(square, squareShift)), round(shiftUp(energy, energyShift))};
    if (candidate.correlation >= candidate.energy) {
        candidate.exponent--;
        candidate.correlation >>= 1;
    }
    return candidate;
}

// A lag close to the best one must be better, one further up by more than 1.25 dB.
bool wins(const Candidate &candidate, const Candidate &best) {
    if (candidate.exponent > best.exponent) return false;
    if (candidate.exponent + 1 < best.exponent) return true;
    const bool equal = candidate.exponent == best.exponent;
    const int32_t mine = L_mult(candidate.correlation, best.energy);
    const int32_t other =
        L_mult(candidate.energy, static_cast<int16_t>(equal ? best.correlation : best.correlation >> 1));
    if (L_sub(mine, other) <= 0) return false;
    return candidate.lag - best.lag < 18 || L_sub(L_sub(mine, mine >> 2), other) > 0;
}

} // namespace

ryxStatus ryxsOpenLoopPitchSearch_G723_16s_u8(const int16_t *src, int16_t *lag) {
    if (anyNull(src, lag)) return ryxStsNullPtr;
    Candidate best = {shortestLag, 30, 16384, 32767};
    // Where the energy of the whole stretch has room, no sum over a part of it saturates. Otherwise the saturated energy
    // goes on from lag to lag, as it does in the recommendation.
    constexpr int count = longestOpenLoopLag - shortestLag + 1;
    const bool fits = ryxsc::energy(src - longestOpenLoopLag, longestOpenLoopLag + length) < 1U << 30;
    int32_t correlations[count];
    if (fits) [[likely]]
        wrappedCorrelations(src, src - longestOpenLoopLag, length, count, correlations);
    int32_t energy = macEnergy(src - shortestLag + 1, length).value;
    for (int i = shortestLag; i <= longestOpenLoopLag; i++) {
        if (fits) [[likely]] {
            energy += 2 * (src[-i] * src[-i] - src[length - i] * src[length - i]);
        } else {
            energy = L_msu(energy, src[length - i], src[length - i]);
            energy = L_mac(energy, src[-i], src[-i]);
        }
        const int32_t correlation = fits ? 2 * correlations[longestOpenLoopLag - i] : dotProduct(src, src - i, length);
        if (correlation <= 0) continue;
        const Candidate candidate = normalised(i, correlation, energy);
        if (wins(candidate, best)) best = candidate;
    }
    *lag = best.lag;
    return ryxStsOk;
}
