// SPDX-License-Identifier: BSD-2-Clause
// Excitation and filter memories behind the search (3GPP TS 26.090, clauses 5.9 and 6.1).
#include "common/checks.h"
#include "common/simd.h"
#include "gsmamr/arithmetic.h"
#include "gsmamr/codebook.h"
#include "gsmamr/implementations.h"
#include "gsmamr/rates.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using simd::Vector;

namespace {

constexpr int order = 10;

void combineInOrder(int16_t *excitation, const int16_t *code, int16_t p, int16_t g, int up) {
    for (int n = 0; n < subframeLength; n++)
        excitation[n] = round(L_shl(L_mac(L_mult(excitation[n], p), code[n], g), up));
}

// The last ten samples of both errors, as eight and the last eight of them; the code's part is (filtered * codeGain) >>
// codeShift.
template <int codeShift> void updateMemories(const int16_t *speech, const int16_t *synthesis, const int16_t *target,
                                             const int16_t *adaptive, const int16_t *filtered, int16_t pitchGain,
                                             int16_t codeGain, int16_t *synthesisMemory, int16_t *weightingMemory) {
    Vector error[2], weighted[2];
    for (int part = 0; part < 2; part++) {
        const int n = subframeLength - order + 2 * part;
        const auto at = [n](const int16_t *x) { return simd::load(x + n); };
        const Vector pitchPart = simd::mulShiftSaturated<14>(at(adaptive), simd::words(pitchGain));
        const Vector codePart = simd::mulShiftSaturated<codeShift>(at(filtered), simd::words(codeGain));
        error[part] = _mm_subs_epi16(at(speech), at(synthesis));
        weighted[part] = _mm_subs_epi16(at(target), _mm_adds_epi16(pitchPart, codePart));
    }
    for (int part = 0; part < 2; part++) {
        simd::store(synthesisMemory + 2 * part, error[part]);
        simd::store(weightingMemory + 2 * part, weighted[part]);
    }
}

} // namespace

// With S the sum of the undoubled products: sat16((S + rounding) >> (15 - up)), since a sum that saturates does so in the
// result too. S fits 32 bits, with its rounding, unless both gains are -32768.
ryxStatus ryxsTotalExcitation_GSMAMR_16s_I_u8(int16_t *excitation, const int16_t *code, int16_t pitchGain,
                                              int16_t codeGain, int rate) {
    if (anyNull(excitation, code)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    const bool is122 = of == Rate::r1220; // half of the pitch gain makes up for the format of the code vector
    const auto p = static_cast<int16_t>(is122 ? pitchGain >> 1 : pitchGain);
    const int up = is122 ? 2 : 1;
    if (p == min16 && codeGain == min16) [[unlikely]] {
        combineInOrder(excitation, code, p, codeGain, up);
        return ryxStsOk;
    }
    const Vector ps = simd::words(p), gs = simd::words(codeGain);
    const simd::ScaleDown scaleDown(15 - up);
    for (int n = 0; n < subframeLength; n += 8)
        simd::store(excitation + n,
                    scaleDown(simd::sumsOfTwoProducts(simd::load(excitation + n), ps, simd::load(code + n), gs)));
    return ryxStsOk;
}

ryxStatus ryxsUpdateErrorMemories_GSMAMR_16s_u8(const int16_t *speech, const int16_t *synthesis, const int16_t *target,
                                                const int16_t *adaptive, const int16_t *filtered, int16_t pitchGain,
                                                int16_t codeGain, int16_t *synthesisMemory, int16_t *weightingMemory,
                                                int rate) {
    if (anyNull(speech, synthesis, target, adaptive, filtered, synthesisMemory, weightingMemory)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none) return ryxStsOutOfRange;
    of == Rate::r1220 ? updateMemories<11>(speech, synthesis, target, adaptive, filtered, pitchGain, codeGain,
                                           synthesisMemory, weightingMemory)
                      : updateMemories<13>(speech, synthesis, target, adaptive, filtered, pitchGain, codeGain,
                                           synthesisMemory, weightingMemory);
    return ryxStsOk;
}
