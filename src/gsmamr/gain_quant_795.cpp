// SPDX-License-Identifier: BSD-2-Clause
// Gain quantiser at 7.95 kbit/s (3GPP TS 26.090, clause 5.8.1): the code gain is drawn towards the energy of the residual
// where the pitch predicts little.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/state_block.h"
#include "gsmamr/gain_error.h"
#include "gsmamr/gain_tables.h"
#include "gsmamr/implementations.h"
#include "gsmamr/pitch_gain.h"
#include "gsmamr/subframe_sums.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

struct GainAdaptState_GSMAMR {
    int16_t onset;
    int16_t alpha; // Q15
    int16_t codeGain;
    int16_t predictionGains[5]; // of the long-term prediction, newest first, Q13 of log2
};

namespace {

using State = GainAdaptState_GSMAMR;

// Of the adaptive vector, of it with the code vector, of the residual and of what the prediction leaves of it; the last one
// takes the code vector's energy later.
struct ResidualEnergies {
    Scaled residual, adaptive, cross, rest;
    int16_t predictionGain;
};

ResidualEnergies residualEnergies(const int16_t *residual, const int16_t *adaptive, const int16_t *code, int16_t gain) {
    alignas(16) int16_t rest[subframeLength];
    // round(L_shl(L_mult(u, gain), 1)) is sat16((u * gain + 2^13) >> 14).
    const simd::ScaleDown scaleDown(14);
    for (int n = 0; n < subframeLength; n += 8) {
        const simd::Vector part = scaleDown(simd::products(simd::load(adaptive + n), simd::words(gain)));
        simd::store(rest + n, _mm_subs_epi16(simd::load(residual + n), part));
    }
    const auto energyOf = [](const int16_t *x) {
        const Normalised energy(saturatedEnergy(0, x));
        return Scaled{energy.mantissa, 15 - energy.shift};
    };
    const Normalised cross(saturatedProducts(0, adaptive, code));
    ResidualEnergies energies = {{0, -15}, energyOf(adaptive), {cross.mantissa, 2 - cross.shift}, energyOf(rest), 0};
    if (saturatedEnergy(0, residual) >= 400) energies.residual = energyOf(residual);
    const auto [whole, wholeExponent] = energies.residual;
    const auto [left, leftExponent] = energies.rest;
    if (left > 0 && whole != 0) {
        const int16_t ratio = div_s(static_cast<int16_t>(whole >> 1), left);
        const Log2 logarithm = log2(L_shr(L_deposit_h(ratio), leftExponent - wholeExponent + 3));
        energies.predictionGain = round(L_shl(compose(logarithm.exponent - 27, logarithm.fraction), 13));
    }
    return energies;
}

// How much the residual's energy counts, Q15.
int16_t adapt(State &state, int16_t predictionGain, int16_t codeGain) {
    int level = predictionGain <= 2721 ? 0 : predictionGain <= 5443 ? 1 : 2;
    if (shr_r(codeGain, 1) > state.codeGain && codeGain > 200)
        state.onset = 8;
    else if (state.onset != 0)
        state.onset = sub(state.onset, 1);
    if (state.onset != 0 && level < 2) level++;
    state.predictionGains[0] = predictionGain;
    const int16_t middle = median<5>(state.predictionGains);
    int16_t alpha = 0;
    if (level == 0 && middle <= 5443) alpha = middle < 0 ? int16_t{16384} : sub(16384, mult(24660, shl(middle, 2)));
    if (state.alpha == 0) alpha = static_cast<int16_t>(alpha >> 1);
    state.alpha = alpha;
    state.codeGain = codeGain;
    pushFront<5>(state.predictionGains, predictionGain);
    return alpha;
}

constexpr int candidates = 3; // pitch gains

struct Choice {
    int pitch;
    size_t code;
};

// What the pitch gain alone has in the error.
int32_t pitchPart(const ErrorTerms &terms, int16_t p) {
    return accumulateShort(multiplyShort(terms[0], mult(p, p)), terms[1], p);
}

Choice searchBothPlainly(const ErrorTerms &terms, int16_t predicted, int first) {
    Choice best = {first, 0};
    int32_t least = max32;
    for (int candidate = first; candidate < first + candidates; candidate++) {
        const int16_t p = pitchGains[static_cast<size_t>(candidate)];
        const int32_t start = pitchPart(terms, p);
        for (size_t i = 0; i < codeGains.size(); i++) {
            const int16_t q = mult(codeGains[i].correction, predicted);
            int32_t error = accumulate(start, terms[2], clearBit0(L_mult(q, q)));
            error = accumulateShort(error, terms[3], q);
            error = accumulate(error, terms[4], clearBit0(L_mult(q, p)));
            if (error < least) {
                least = error;
                best = {candidate, i};
            }
        }
    }
    return best;
}

Choice searchBoth(const FilteredEnergies &energies, const Prediction &prediction, int first) {
    constexpr int32_t limit = (1 << 30) - (1 << 16);
    constexpr size_t rows = codeGains.size();
    const ErrorTerms terms(withCodeGain(energies, prediction.exponent - 10));
    const int16_t predicted = prediction.mantissa();
    int32_t starts[candidates]; // undoubled
    bool isSmall = true;
    for (int k = 0; k < candidates; k++) {
        starts[k] = pitchPart(terms, pitchGains[static_cast<size_t>(first + k)]) / 2;
        isSmall &= std::abs(starts[k]) < limit;
    }
    const ErrorLanes::Terms laneTerms(terms);
    const simd::Vector gain = simd::words(predicted);
    const auto errors = [&](size_t row, ErrorLanes &lanes) {
        const size_t k = row / rows;
        const simd::Vector p = simd::words(pitchGains[static_cast<size_t>(first) + k]);
        const simd::Vector q = simd::mulShift<15>(simd::loadAligned(corrections.correction + row % rows), gain);
        lanes = ErrorLanes(starts[k]);
        lanes.addLong(laneTerms, 2, q, q);
        lanes.addShort(laneTerms, 3, q);
        lanes.addLong(laneTerms, 4, q, p);
        return simd::words(-1);
    };
    size_t best;
    if (!isSmall || !findSmallest(candidates * rows, errors, best)) [[unlikely]]
        return searchBothPlainly(terms, predicted, first);
    return {first + static_cast<int>(best / rows), best % rows};
}

// The code gain again, with the excitation's energy in the criterion.
size_t searchAgain(const FilteredEnergies &energies, const ResidualEnergies &residual, const Prediction &prediction,
                   int16_t alpha, int16_t pitchGain, int16_t codeGain) {
    const int scale = prediction.exponent - 10;
    const auto weighted = [alpha](int16_t x) { return extract_h(L_shl(L_mult(alpha, x), 1)); };
    const int16_t optimum = shl(energies.optimum.mantissa, energies.optimum.exponent - scale);
    const int16_t ceiling = shl(codeGain, -scale);
    const auto [codeMantissa, codeExponent] = prediction.codeEnergy;

    int32_t constant = L_mult(weighted(residual.adaptive.mantissa), mult(pitchGain, pitchGain));
    const int x1 = residual.adaptive.exponent - 15;
    const int16_t k2 = mult(weighted(residual.cross.mantissa), pitchGain);
    const int x2 = residual.cross.exponent + scale;
    const int16_t k3 = weighted(codeMantissa);
    const int x3 = codeExponent + 2 * prediction.exponent - 7;
    const int16_t k4 = mult(add(sub(max16, alpha), 1), codeMantissa);
    const int x4 = x3 + 1;
    const Root wanted = squareRoot(L_mult(alpha, residual.residual.mantissa));
    const int x0 = residual.residual.exponent - (wanted.exponent + 47);

    const int largest = std::max({x0 + 31, x1, x2, x3, x4});
    constant = L_shr(constant, largest - x1);
    const int32_t cross = aligned(k2, largest - x2), square = aligned(k3, largest - x3),
                  error = aligned(k4, largest - x4);
    const int shift = largest - 31 - x0;
    int32_t amplitude = L_shr(wanted.mantissa, shift >> 1);
    if ((shift & 1) != 0) amplitude = multiplyShort(clearBit0(amplitude), 23170);

    const int16_t predicted = prediction.mantissa();
    size_t best = 0;
    int32_t least = max32;
    for (size_t i = 0; i < codeGains.size(); i++) {
        const int16_t q = mult(codeGains[i].correction, predicted);
        if (q >= ceiling) break;
        const int32_t energy = accumulate(accumulateShort(constant, cross, q), square, clearBit0(L_mult(q, q)));
        const Root root = squareRoot(energy);
        const int16_t difference = round(L_sub(L_shr(root.mantissa, root.exponent >> 1), amplitude));
        const int16_t distance = sub(q, optimum);
        const int32_t total = accumulate(L_mult(difference, difference), error, clearBit0(L_mult(distance, distance)));
        if (total < least) {
            least = total;
            best = i;
        }
    }
    return best;
}

// The first of three neighbouring pitch gains.
int firstCandidate(int nearest, int16_t limit) {
    if (nearest == 0) return 0;
    if (nearest == 15 || pitchGains[static_cast<size_t>(nearest + 1)] > limit) return nearest - 2;
    return nearest - 1;
}

} // namespace

ryxStatus ryxsGainQuantAdaptGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsGainQuantAdaptInit_GSMAMR_16s_u8(State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    saveBlock(state, State{});
    return ryxStsOk;
}

ryxStatus ryxsGainQuantAdapt_GSMAMR_16s_u8(const int16_t *target, const int16_t *target2, const int16_t *adaptive,
                                           const int16_t *filtered, const int16_t *residual, const int16_t *excitation,
                                           const int16_t *code, const int16_t *pitchEnergies, int16_t limit,
                                           int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *pitchGain,
                                           int16_t *codeGain, int16_t *indices, State *state) {
    if (anyNull(target, target2, adaptive, filtered, residual, excitation, code, pitchEnergies, pastEnergies,
                pastEnergies122, pitchGain, codeGain, indices, state))
        return ryxStsNullPtr;
    State memory = loadBlock<State>(state);
    const Predictor predictor = {pastEnergies, pastEnergies122};
    const Prediction prediction = predictGain(code, predictor, Rate::r795);
    const FilteredEnergies energies = filteredEnergies(target, target2, adaptive, filtered, pitchEnergies, Rate::r795);
    const int nearest = std::max(nearestPitchGain(*pitchGain, limit), 0);
    Choice choice = searchBoth(energies, prediction, std::max(firstCandidate(nearest, limit), 0));
    const int16_t p = pitchGains[static_cast<size_t>(choice.pitch)];
    int16_t g = codeGainOf(codeGains[choice.code].correction, prediction, 9);

    const ResidualEnergies parts = residualEnergies(residual, excitation, code, p);
    const int16_t alpha = adapt(memory, parts.predictionGain, g);
    if (parts.residual.mantissa != 0 && alpha > 0) {
        choice.code = searchAgain(energies, parts, prediction, alpha, p, g);
        g = codeGainOf(codeGains[choice.code].correction, prediction, 9);
    }
    predictor.update(codeGains[choice.code].energy, codeGains[choice.code].log2Energy);
    *pitchGain = p;
    *codeGain = g;
    indices[0] = static_cast<int16_t>(choice.pitch);
    indices[1] = static_cast<int16_t>(choice.code);
    saveBlock(state, memory);
    return ryxStsOk;
}
