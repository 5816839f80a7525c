// SPDX-License-Identifier: BSD-2-Clause
// Joint quantisation of the gains of two subframes at 4.75 kbit/s (3GPP TS 26.090, clause 5.8.2).
#include "common/checks.h"
#include "common/state_block.h"
#include "gsmamr/gain_error.h"
#include "gsmamr/gain_tables.h"
#include "gsmamr/implementations.h"
#include "gsmamr/subframe_sums.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

// What the first subframe leaves for the second.
struct JointGainState_GSMAMR {
    int16_t energies[pastFrames], energies122[pastFrames]; // with the first subframe's unquantised gain
    Prediction prediction;
    FilteredEnergies filtered;
    Scaled targetEnergy;
};

namespace {

using State = JointGainState_GSMAMR;

Scaled energyOfTarget(const int16_t *target) {
    const Normalised energy(saturatedEnergy(0, target));
    return {energy.mantissa, 16 - energy.shift};
}

CorrectionEnergies unquantisedEnergies(Scaled optimum, const Prediction &prediction) {
    constexpr CorrectionEnergies none = {-5443, -32768}, largest = {3037, 18284};
    auto [gain, exponent] = optimum;
    if (gain <= 0) return none;
    const int16_t predicted = prediction.mantissa();
    if (gain >= predicted) {
        gain = static_cast<int16_t>(gain >> 1);
        exponent++;
    }
    const Log2 ratio = log2(div_s(gain, predicted));
    const CorrectionEnergies found = energiesOf({ratio.exponent + exponent - prediction.exponent - 1, ratio.fraction});
    return found.energy122 > largest.energy122 ? largest : found;
}

// By how much the first subframe's error counts more, as a power of two.
int balance(Scaled first, Scaled second) {
    const int distance = first.exponent - second.exponent;
    const int16_t one = distance > 0 ? first.mantissa : shl(first.mantissa, distance);
    const int16_t two = distance > 0 ? shr(second.mantissa, distance) : second.mantissa;
    if (shr_r(two, 1) > one) return 1;
    return shr(add(one, 3), 2) > two ? -1 : 0;
}

int32_t accumulateError(int32_t sum, const ErrorTerms &terms, int16_t p, int16_t q) {
    sum = accumulateShort(sum, terms[0], mult(p, p));
    sum = accumulateShort(sum, terms[1], p);
    sum = accumulateShort(sum, terms[2], mult(q, q));
    sum = accumulateShort(sum, terms[3], q);
    return accumulateShort(sum, terms[4], mult(q, p));
}

size_t nearestRowSaturated(const ErrorTerms (&terms)[2], const int16_t (&predicted)[2], int16_t limit) {
    size_t best = 0;
    int32_t least = max32;
    for (size_t i = 0; i < gainsOf475.size(); i++) {
        const auto [first, second] = gainsOf475[i].subframe;
        if (first.pitchGain > limit || second.pitchGain > limit) continue;
        int32_t error = accumulateError(0, terms[0], first.pitchGain, mult(first.correction, predicted[0]));
        error = accumulateError(error, terms[1], second.pitchGain, mult(second.correction, predicted[1]));
        if (error < least) {
            least = error;
            best = i;
        }
    }
    return best;
}

template <int subframe> constexpr GainColumns<256> columnsOf() {
    GainColumns<256> columns = {};
    for (size_t i = 0; i < 256; i++) {
        columns.pitchGain[i] = gainsOf475[i].subframe[subframe].pitchGain;
        columns.correction[i] = gainsOf475[i].subframe[subframe].correction;
    }
    return columns;
}
constexpr GainColumns<256> columns[2] = {columnsOf<0>(), columnsOf<1>()};

size_t nearestRow(const ErrorTerms (&terms)[2], const int16_t (&predicted)[2], int16_t limit) {
    const ErrorLanes::Terms laneTerms[2] = {ErrorLanes::Terms(terms[0]), ErrorLanes::Terms(terms[1])};
    const simd::Vector gains[2] = {simd::words(predicted[0]), simd::words(predicted[1])}, most = simd::words(limit);
    const auto errors = [&](size_t row, ErrorLanes &lanes) {
        simd::Vector largest = _mm_setzero_si128();
        for (int k = 0; k < 2; k++) {
            const simd::Vector p = simd::loadAligned(columns[k].pitchGain + row);
            const simd::Vector q = simd::mulShift<15>(simd::loadAligned(columns[k].correction + row), gains[k]);
            lanes.add(laneTerms[k], p, q);
            largest = _mm_max_epi16(largest, p);
        }
        return _mm_cmpeq_epi16(_mm_min_epi16(largest, most), largest);
    };
    size_t best;
    return findSmallest(256, errors, best) ? best : nearestRowSaturated(terms, predicted, limit);
}

// Puts a subframe's gains out and enters them into the predictor.
void take(const JointGainRow::Gains &row, const Prediction &prediction, const Predictor &predictor, int16_t *gains) {
    gains[0] = row.pitchGain;
    gains[1] = codeGainOf(row.correction, prediction, 10);
    const CorrectionEnergies energies = energiesOfCorrection(row.correction);
    predictor.update(energies.energy, energies.energy122);
}

} // namespace

ryxStatus ryxsGainQuantJointGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsGainQuantJointFirst_GSMAMR_16s_u8(const int16_t *target, const int16_t *target2, const int16_t *adaptive,
                                                const int16_t *filtered, const int16_t *code,
                                                const int16_t *pitchEnergies, const int16_t *pastEnergies,
                                                const int16_t *pastEnergies122, int16_t *codeGain, State *state) {
    if (anyNull(target, target2, adaptive, filtered, code, pitchEnergies, pastEnergies, pastEnergies122, codeGain,
                state))
        return ryxStsNullPtr;
    State memory = {};
    std::copy_n(pastEnergies, pastFrames, memory.energies);
    std::copy_n(pastEnergies122, pastFrames, memory.energies122);
    const Predictor predictor = {memory.energies, memory.energies122};
    memory.prediction = predictGain(code, predictor, Rate::r475);
    memory.filtered = filteredEnergies(target, target2, adaptive, filtered, pitchEnergies, Rate::r475);
    memory.targetEnergy = energyOfTarget(target);
    const Scaled optimum = memory.filtered.optimum;
    const CorrectionEnergies energies = unquantisedEnergies(optimum, memory.prediction);
    predictor.update(energies.energy, energies.energy122);
    *codeGain = shl(optimum.mantissa, optimum.exponent + 1);
    saveBlock(state, memory);
    return ryxStsOk;
}

ryxStatus ryxsGainQuantJointSecond_GSMAMR_16s_u8(const int16_t *target, const int16_t *adaptive,
                                                 const int16_t *filtered, const int16_t *code,
                                                 const int16_t *pitchEnergies, int16_t limit, int16_t *pastEnergies,
                                                 int16_t *pastEnergies122, int16_t *gains, int16_t *index,
                                                 const State *state) {
    if (anyNull(target, adaptive, filtered, code, pitchEnergies, pastEnergies, pastEnergies122, gains, index, state))
        return ryxStsNullPtr;
    State first = loadBlock<State>(state);
    const Prediction prediction = predictGain(code, {first.energies, first.energies122}, Rate::r475);
    const FilteredEnergies energies = filteredEnergies(target, target, adaptive, filtered, pitchEnergies, Rate::r475);
    ScaledTerms one = withCodeGain(first.filtered, first.prediction.exponent - 11);
    const ScaledTerms two = withCodeGain(energies, prediction.exponent - 11);
    const int weight = balance(first.targetEnergy, energyOfTarget(target));
    for (Scaled &term : one.terms)
        term.exponent += weight;
    const int largest = std::max(one.largestExponent(), two.largestExponent());
    const ErrorTerms terms[2] = {{one, largest}, {two, largest}};
    const size_t best = nearestRow(terms, {first.prediction.mantissa(), prediction.mantissa()}, limit);
    *index = static_cast<int16_t>(best);

    const Predictor predictor = {pastEnergies, pastEnergies122};
    take(gainsOf475[best].subframe[0], first.prediction, predictor, gains);
    take(gainsOf475[best].subframe[1], predictGain(code, predictor, Rate::r475), predictor, gains + 2);
    return ryxStsOk;
}
