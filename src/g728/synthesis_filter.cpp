// SPDX-License-Identifier: BSD-2-Clause
// Synthesis filter of order 50 of ITU-T G.728, Annex G, as a sum of its zero-input and zero-state responses, and the memory
// of the weighting filter that goes with them. The filter's past is in block floating point, vector by vector.
#include "g728/synthesis_filter.h"

#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "frame/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g728;

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

// What each past vector adds is shifted to the common exponent by itself. The oldest one, of which sample n of the response
// sees only the newest 5 - n, adds nothing where the shift is 30 or more.
int zeroInputResponse(const int16_t *a, const SynthesisState &state, int16_t *z) {
    int exponent = exponentOf(state.speech[0]);
    for (const auto &vector : state.speech)
        exponent = std::min<int>(exponent, exponentOf(vector));
    for (int n = 0; n < vectorLength; n++) {
        int64_t sum = 0;
        for (int i = 1; i <= n; i++)
            sum -= a[i - 1] * z[n - i];
        for (int v = 1; v <= SynthesisState::vectors; v++) {
            const int16_t *past = state.speech[v - 1];
            const bool oldest = v == SynthesisState::vectors;
            const int shift = exponentOf(past) - exponent;
            if (oldest && shift >= 30) continue;
            int64_t part = 0;
            for (int m = oldest ? n : 0; m < vectorLength; m++)
                part -= a[n + 5 * v - m - 1] * past[m];
            sum += part >> std::min(shift, 63);
        }
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
