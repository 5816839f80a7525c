// SPDX-License-Identifier: BSD-2-Clause
// Synthesis filter of order 50 of ITU-T G.728, Annex G, as a sum of its zero-input and zero-state responses, and the memory
// of the weighting filter that goes with them. The filter's past is in block floating point, vector by vector.
#include "g728/synthesis_filter.h"

#include <cstring>

#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int fractionBits = 14;
constexpr int16_t startExponent = 16;

ryxStatus getStateSize(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(SynthesisState);
    return ryxStsOk;
}

ryxStatus init(SynthesisFilterState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    SynthesisState state{};
    for (auto &vector : state.speech)
        vector[vectorLength] = startExponent;
    saveBlock(block, state);
    return ryxStsOk;
}

int16_t exponentOf(const int16_t *vector) {
    return vector[vectorLength];
}

int commonExponent(const SynthesisState &state) {
    int exponent = exponentOf(state.speech[0]);
    for (const auto &vector : state.speech)
        exponent = std::min<int>(exponent, exponentOf(vector));
    return exponent;
}

// What the past vectors add to the five samples of the response, Q14 over `exponent`. What each of them adds is shifted to
// that exponent by itself. The oldest one adds nothing where the shift is 30 or more. a[50] and the four behind it are 0:
// sample n sees only the newest 5 - n samples of the oldest vector.
void pastParts(const int16_t *a, const SynthesisState &state, int exponent, int64_t *parts) {
    for (int n = 0; n < vectorLength; n++) {
        parts[n] = 0;
        for (int v = 1; v <= SynthesisState::vectors; v++) {
            const int16_t *past = state.speech[v - 1];
            const int shift = exponentOf(past) - exponent;
            if (v == SynthesisState::vectors && shift >= 30) continue;
            int64_t part = 0;
            for (int m = 0; m < vectorLength; m++)
                part -= a[n + 5 * v - m - 1] * past[m];
            parts[n] += part >> std::min(shift, 63);
        }
    }
}

// The same for samples 0 to 3 in one vector and 4 in another, in 32 bits; false where these may not do. That the parts of
// the vectors fit follows from their normalisation to 14 bits; their sum is taken a second time, coarsely.
bool pastPartsNarrow(const int16_t *a, const SynthesisState &state, int exponent, int64_t *parts) {
    Vector front = _mm_setzero_si128(), back = front, coarseFront = front, coarseBack = front, bits = front;
#pragma GCC unroll 10
    for (int v = 1; v <= SynthesisState::vectors; v++) {
        const Vector past = simd::load(state.speech[v - 1]);
        const int shift = exponentOf(state.speech[v - 1]) - exponent;
        if (v == SynthesisState::vectors && shift >= 30) break;
        const Vector count = _mm_cvtsi32_si128(shift);
        const Vector magnitude = simd::onesMagnitude(past);
        bits = _mm_or_si128(bits, magnitude);
        const auto behind = [&](int m) { return simd::load(a + 5 * v - 1 - m); };
        const Vector a0 = behind(0), a1 = behind(1), a2 = behind(2), a3 = behind(3), a4 = behind(4);
        const Vector d01 = _mm_shuffle_epi32(past, _MM_SHUFFLE(0, 0, 0, 0));
        const Vector d23 = _mm_shuffle_epi32(past, _MM_SHUFFLE(1, 1, 1, 1));
        const Vector d4 = _mm_shuffle_epi32(past, _MM_SHUFFLE(2, 2, 2, 2));
        const auto part = [&](Vector c01, Vector c23, Vector c4) {
            const Vector sum = _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(c01, d01), _mm_madd_epi16(c23, d23)),
                                             _mm_madd_epi16(c4, d4));
            return _mm_sra_epi32(_mm_sub_epi32(_mm_setzero_si128(), sum), count);
        };
        const Vector zero = _mm_setzero_si128();
        const Vector partFront =
            part(_mm_unpacklo_epi16(a0, a1), _mm_unpacklo_epi16(a2, a3), _mm_unpacklo_epi16(a4, zero));
        const Vector partBack =
            part(_mm_unpackhi_epi16(a0, a1), _mm_unpackhi_epi16(a2, a3), _mm_unpackhi_epi16(a4, zero));
        front = _mm_add_epi32(front, partFront);
        back = _mm_add_epi32(back, partBack);
        coarseFront = _mm_add_epi32(coarseFront, _mm_srai_epi32(partFront, 10));
        coarseBack = _mm_add_epi32(coarseBack, _mm_srai_epi32(partBack, 10));
    }
    // 10 parts, each less than 1 too small after the division by 2^10.
    const Vector limit = simd::dwords((1 << 21) - 16);
    const Vector tooLarge =
        _mm_or_si128(_mm_cmpgt_epi32(_mm_abs_epi32(coarseFront), limit),
                     _mm_srli_si128(_mm_slli_si128(_mm_cmpgt_epi32(_mm_abs_epi32(coarseBack), limit), 12), 12));
    const Vector tooMany =
        _mm_and_si128(_mm_cmpgt_epi16(bits, simd::words(0x1fff)), _mm_setr_epi16(-1, -1, -1, -1, -1, 0, 0, 0));
    if (_mm_movemask_epi8(_mm_or_si128(tooLarge, tooMany)) != 0) [[unlikely]]
        return false;
    int32_t narrow[4];
    simd::store(narrow, front);
    std::copy_n(narrow, 4, parts);
    parts[4] = _mm_cvtsi128_si32(back);
    return true;
}

int zeroInputResponse(const int16_t *coefficients, const SynthesisState &state, int16_t *z) {
    int16_t a[64];
    std::copy_n(coefficients, synthesisOrder, a);
    std::fill_n(a + synthesisOrder, 64 - synthesisOrder, int16_t{0});
    const int exponent = commonExponent(state);
    int64_t parts[vectorLength];
    if (!pastPartsNarrow(a, state, exponent, parts)) pastParts(a, state, exponent, parts);
    for (int n = 0; n < vectorLength; n++) {
        int64_t sum = parts[n];
        for (int i = 1; i <= n; i++)
            sum -= a[i - 1] * z[n - i];
        z[n] = sat16(sat32(sum >> fractionBits));
    }
    return exponent;
}

// Response from rest to the excitation. Where it would leave 15 bits the excitation is halved and all starts again.
int zeroStateResponse(const int16_t *a, int16_t *excitation, int exponent, int16_t *response) {
    for (int n = 0; n < vectorLength;) {
        int64_t sum = excitation[n] * 16384;
        for (int i = 1; i <= n; i++)
            sum -= a[i - 1] * response[n - i];
        if (sum > (1 << 28) - 1 || sum < -(1 << 28)) {
            for (int i = 0; i < vectorLength; i++)
                excitation[i] = static_cast<int16_t>(excitation[i] >> 1);
            exponent--;
            n = 0;
            continue;
        }
        response[n++] = static_cast<int16_t>(sum >> fractionBits);
    }
    return exponent;
}

// Adds the response to the vector; what this may reach depends on the exponent. Returns the common exponent.
int addResponse(int16_t *vector, int exponent, const int16_t *response, int responseExponent) {
    const int common = std::min(exponent, responseExponent);
    const int limit = common < 0 ? shiftRight(4095, -common) : 4095 << std::min(common, 4);
    const int low = limit > max16 ? min16 : -limit, high = std::min<int>(limit, max16);
    for (int n = 0; n < vectorLength; n++) {
        const int32_t sum =
            shiftRight(vector[n], exponent - common) + shiftRight(response[n], responseExponent - common);
        vector[n] = static_cast<int16_t>(std::clamp(sum, low, high));
    }
    return common;
}

// Memory of the pole-zero filter, as ryxsIIR16s_G728_16s() documents it.
struct WeightingState {
    int16_t inputs[order], reserved1[6]; // newest first
    int16_t outputs[order], reserved2[6];
};

} // namespace

ryxStatus ryxsSynthesisFilterGetStateSize_G728_16s_u8(int *size) {
    return getStateSize(size);
}

ryxStatus ryxsSynthesisFilterGetStateSize_G728_16s_n8(int *size) {
    return getStateSize(size);
}

ryxStatus ryxsSynthesisFilterInit_G728_16s_u8(SynthesisFilterState_G728 *block) {
    return init(block);
}

ryxStatus ryxsSynthesisFilterInit_G728_16s_n8(SynthesisFilterState_G728 *block) {
    return init(block);
}

ryxStatus ryxsSynthesisFilterZeroInput_G728_16s_u8(const int16_t *coefficients, int16_t *dst, int16_t *exponent,
                                                   SynthesisFilterState_G728 *block) {
    if (anyNull(coefficients, dst, exponent, block)) return ryxStsNullPtr;
    auto state = loadBlock<SynthesisState>(block);
    int16_t response[vectorLength];
    int q = zeroInputResponse(coefficients, state, response);
    q += normaliseVector(response, 15);
    std::memmove(state.speech[1], state.speech[0], sizeof state.speech - sizeof *state.speech);
    std::copy_n(response, vectorLength, state.speech[0]);
    state.speech[0][vectorLength] = *exponent = asExponent(q);
    std::copy_n(response, vectorLength, dst);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsSynthesisFilter_G728_16s_u8(const int16_t *coefficients, int16_t *excitation, int16_t *exponent,
                                          int16_t largestExponent, int16_t *response, int16_t *speech,
                                          int16_t *speechExponent, SynthesisFilterState_G728 *block) {
    if (anyNull(coefficients, excitation, exponent, response, speech, speechExponent, block)) return ryxStsNullPtr;
    auto state = loadBlock<SynthesisState>(block);
    const int responseExponent = zeroStateResponse(coefficients, excitation, *exponent, response);
    *exponent = asExponent(responseExponent);
    int16_t *newest = state.speech[0];
    int q = addResponse(newest, exponentOf(newest), response, responseExponent);
    q += normaliseVector(newest, 14);
    newest[vectorLength] = *speechExponent = std::min(asExponent(q), largestExponent);
    std::copy_n(newest, vectorLength, speech);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsWeightedZeroInput_G728_16s_u8(const int16_t *coefficients, const SynthesisFilterState_G728 *block,
                                            int16_t *dst, IIRState_G728 *weighting) {
    if (anyNull(coefficients, block, dst, weighting)) return ryxStsNullPtr;
    const auto state = loadBlock<SynthesisState>(block);
    auto memory = loadBlock<WeightingState>(weighting);
    int16_t response[vectorLength];
    for (int n = 0; n < vectorLength; n++) {
        response[n] = toQ2(state.speech[0][n], exponentOf(state.speech[0]));
        for (int v = 1; v <= 2; v++)
            memory.inputs[5 * v - 1 - n] = toQ2(state.speech[v][n], exponentOf(state.speech[v]));
    }
    saveBlock(weighting, memory);
    return ryxsIIR16s_G728_16s_u8(coefficients, response, dst, vectorLength, weighting);
}

ryxStatus ryxsWeightedZeroState_G728_16s_u8(const int16_t *coefficients, const int16_t *response, int16_t exponent,
                                            IIRState_G728 *weighting) {
    if (anyNull(coefficients, response, weighting)) return ryxStsNullPtr;
    auto memory = loadBlock<WeightingState>(weighting);
    int16_t weighted[vectorLength];
    for (int n = 0; n < vectorLength; n++) {
        int64_t sum = response[n] * 16384;
        for (int i = 1; i <= n; i++)
            sum += coefficients[i - 1] * response[n - i] - int64_t{coefficients[order + i - 1]} * weighted[n - i];
        weighted[n] = sat16(sat32(sum >> fractionBits));
        int16_t &output = memory.outputs[vectorLength - 1 - n];
        output = sat16(sat32(int64_t{output} + shiftLimited(weighted[n], 2 - exponent)));
    }
    saveBlock(weighting, memory);
    return ryxStsOk;
}
