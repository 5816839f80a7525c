// SPDX-License-Identifier: BSD-2-Clause
// Gain quantisers of GSM-AMR (3GPP TS 26.090, clause 5.8) that work on one subframe: of both gains as a vector, and of the
// code gain alone at 12.2 kbit/s.
#include <cstdlib>
#include <span>

#include "common/checks.h"
#include "gsmamr/gain_error.h"
#include "gsmamr/gain_tables.h"
#include "gsmamr/implementations.h"
#include "gsmamr/subframe_sums.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

std::span<const GainRow> tableOf(Rate rate) {
    if (rate <= Rate::r590) return gainsOf515And590;
    return gainsOf670To1020;
}

constexpr bool isVectorRate(Rate rate) {
    return rate != Rate::r475 && rate != Rate::r795 && rate != Rate::r1220 && rate != Rate::none;
}

// The row with the smallest error among those whose pitch gain is within the limit.
size_t nearestRowSaturated(std::span<const GainRow> table, const ErrorTerms &terms, int16_t predicted, int16_t limit) {
    size_t best = 0;
    int32_t least = max32;
    for (size_t i = 0; i < table.size(); i++) {
        const int16_t p = table[i].pitchGain;
        if (p > limit) continue;
        const int16_t q = mult(table[i].correction, predicted);
        int32_t error = multiplyShort(terms[0], mult(p, p));
        error = L_add(error, multiplyShort(terms[1], p));
        error = L_add(error, multiplyShort(terms[2], mult(q, q)));
        error = L_add(error, multiplyShort(terms[3], q));
        error = L_add(error, multiplyShort(terms[4], mult(q, p)));
        if (error < least) {
            least = error;
            best = i;
        }
    }
    return best;
}

template <size_t size> constexpr GainColumns<size> columnsOf(const std::array<GainRow, size> &table) {
    GainColumns<size> columns = {};
    for (size_t i = 0; i < size; i++) {
        columns.pitchGain[i] = table[i].pitchGain;
        columns.correction[i] = table[i].correction;
    }
    return columns;
}
constexpr GainColumns<64> columns515And590 = columnsOf(gainsOf515And590);
constexpr GainColumns<128> columns670To1020 = columnsOf(gainsOf670To1020);

template <size_t size> bool findNearest(const GainColumns<size> &columns, const ErrorTerms &terms, int16_t predicted,
                                        int16_t limit, size_t &best) {
    const ErrorLanes::Terms laneTerms(terms);
    const simd::Vector gain = simd::words(predicted), most = simd::words(limit);
    const auto errors = [&](size_t row, ErrorLanes &lanes) {
        const simd::Vector p = simd::loadAligned(columns.pitchGain + row);
        lanes.add(laneTerms, p, simd::mulShift<15>(simd::loadAligned(columns.correction + row), gain));
        return _mm_cmpeq_epi16(_mm_min_epi16(p, most), p);
    };
    return findSmallest(size, errors, best);
}

size_t nearestRow(std::span<const GainRow> table, const ErrorTerms &terms, int16_t predicted, int16_t limit) {
    size_t best;
    const bool found = table.size() == 64 ? findNearest(columns515And590, terms, predicted, limit, best)
                                          : findNearest(columns670To1020, terms, predicted, limit, best);
    return found ? best : nearestRowSaturated(table, terms, predicted, limit);
}

// (target2, z) / (z, z) with z half the filtered vector.
int16_t optimalCodeGain(const int16_t *target2, const int16_t *filtered) {
    alignas(16) int16_t z[subframeLength];
    for (int n = 0; n < subframeLength; n += 8)
        simd::store(z + n, _mm_srai_epi16(simd::load(filtered + n), 1));
    const Normalised product(saturatedProducts(1, target2, z));
    if (product.mantissa <= 0) return 0;
    const Normalised energy(saturatedEnergy(0, z));
    if (energy.mantissa == 0) return 0; // the product is the constant alone
    const int16_t gain = div_s(static_cast<int16_t>(product.mantissa >> 1), energy.mantissa);
    return shl(shl(gain, -(product.shift + 5 - energy.shift)), 1);
}

} // namespace

ryxStatus ryxsGainQuant_GSMAMR_16s_u8(const int16_t *target, const int16_t *adaptive, const int16_t *filtered,
                                      const int16_t *code, const int16_t *pitchEnergies, int16_t limit,
                                      int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *pitchGain,
                                      int16_t *codeGain, int16_t *index, int rate) {
    if (anyNull(target, adaptive, filtered, code, pitchEnergies, pastEnergies, pastEnergies122, pitchGain, codeGain,
                index))
        return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (!isVectorRate(of)) return ryxStsOutOfRange;
    const Predictor predictor = {pastEnergies, pastEnergies122};
    const Prediction prediction = predictGain(code, predictor, of);
    const FilteredEnergies energies = filteredEnergies(target, target, adaptive, filtered, pitchEnergies, of);
    const ErrorTerms terms(withCodeGain(energies, prediction.exponent - 11));
    const auto table = tableOf(of);
    const size_t best = nearestRow(table, terms, prediction.mantissa(), limit);
    *pitchGain = table[best].pitchGain;
    *codeGain = codeGainOf(table[best].correction, prediction, 10);
    *index = static_cast<int16_t>(best);
    predictor.update(table[best].energy, table[best].log2Energy);
    return ryxStsOk;
}

ryxStatus ryxsCodeGainQuant_GSMAMR_16s_u8(const int16_t *target2, const int16_t *filtered, const int16_t *code,
                                          int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *codeGain,
                                          int16_t *index) {
    if (anyNull(target2, filtered, code, pastEnergies, pastEnergies122, codeGain, index)) return ryxStsNullPtr;
    const Predictor predictor = {pastEnergies, pastEnergies122};
    const Prediction prediction = predictGain(code, predictor, Rate::r1220);
    const auto goal = static_cast<int16_t>(optimalCodeGain(target2, filtered) >> 1);
    const int16_t predicted = shl(extract_l(powerOfTwo(prediction.exponent, prediction.fraction)), 4);
    simd::Vector errors[codeGains.size() / 8];
    for (size_t i = 0; i < codeGains.size(); i += 8) {
        const simd::Vector gain =
            simd::mulShift<15>(simd::loadAligned(corrections.correction + i), simd::words(predicted));
        const simd::Vector error = _mm_subs_epi16(simd::words(goal), gain);
        errors[i / 8] = _mm_max_epi16(error, _mm_subs_epi16(_mm_setzero_si128(), error));
    }
    const size_t best = firstSmallest(errors);
    *codeGain = shl(mult(predicted, codeGains[best].correction), 1);
    *index = static_cast<int16_t>(best);
    predictor.update(codeGains[best].energy, codeGains[best].log2Energy);
    return ryxStsOk;
}
