// SPDX-License-Identifier: BSD-2-Clause
// Tenth-order pole-zero filter of ITU-T G.728. The zeros are a plain sum modulo 2^32. The poles saturate after every step,
// in the order of the recommendation.
#include <algorithm>
#include <cstddef>

#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "g728/implementations.h"
#include "g728/vector_filter.h"
#include "g728/vectors.h"

using namespace ryxsc;
using simd::Vector;

namespace {

using g728::order;
constexpr int fractionBits = 14;
constexpr int samplesPerChunk = 160;

using State = g728::PoleZeroState;

// A chunk of inputs or outputs in time order, behind a zero and the history, which in the state has the newest in front.
class Signal {
public:
    static constexpr int past = order + 1;

    explicit Signal(const int16_t *history) {
        const Vector newest = simd::reverseWords(simd::load(history));
        const Vector oldest = simd::reverseWords(simd::load32(history + 8));
        simd::store(values_, _mm_alignr_epi8(newest, oldest, 10));
        simd::store64(values_ + 8, _mm_srli_si128(newest, 10));
    }

    int16_t *chunk() { return values_ + past; }

    void save(int16_t *history, int len) const {
        std::reverse_copy(values_ + past + len - order, values_ + past + len, history);
    }

private:
    int16_t values_[past + samplesPerChunk];
};

class Filter {
public:
    explicit Filter(const int16_t *coefficients) {
        Signal zeros(coefficients);
        *zeros.chunk() = 1 << fractionBits; // the current input's
        zerosFront_ = simd::load(zeros.chunk() - Signal::past);
        zerosBack_ = simd::load64(zeros.chunk() - Signal::past + 8);
        std::copy_n(coefficients + order, order, poles_);
    }

    void operator()(State &s, const int16_t *src, int16_t *dst, int len) const {
        Signal inputs(s.inputs), outputs(s.outputs);
        std::copy_n(src, len, inputs.chunk());
        int16_t latest = s.outputs[0];
        for (int i = 0; i < len; i++) {
            latest = applyPoles(applyZeros(inputs.chunk() + i), latest, outputs.chunk() + i);
            outputs.chunk()[i] = dst[i] = latest;
        }
        inputs.save(s.inputs, len);
        outputs.save(s.outputs, len);
    }

private:
    int32_t applyZeros(const int16_t *now) const {
        const int16_t *const window = now - Signal::past;
        return simd::sumOfDwords(_mm_add_epi32(_mm_madd_epi16(simd::load(window), zerosFront_),
                                               _mm_madd_epi16(simd::load64(window + 8), zerosBack_)));
    }

    // The latest output comes in a register: its product is the only one that the next output waits for.
    int16_t applyPoles(int32_t run, int16_t latest, const int16_t *now) const {
        run = rarelySaturatingSub(run, poles_[0] * latest);
        for (int k = 1; k < order; k++)
            run = rarelySaturatingSub(run, poles_[k] * now[-1 - k]);
        const int32_t output = run >> fractionBits;
        if (output != wrap16(output)) [[unlikely]]
            return sat16(output); // the next output waits for no limits either
        return wrap16(output);
    }

    Vector zerosFront_, zerosBack_;
    int32_t poles_[order];
};

// Vectors of five samples, in the block itself. Returns how many samples have been filtered that way: all, or those before a
// vector whose poles might saturate.
int filterVectors(const int16_t *coefficients, const int16_t *src, int16_t *dst, int len, IIRState_G728 *block) {
    auto *const octets = reinterpret_cast<unsigned char *>(block);
    auto *const pastInputs = octets + offsetof(State, inputs), *const pastOutputs = octets + offsetof(State, outputs);
    const g728::WeightingFilter filter(coefficients);
    g728::Ten inputs(pastInputs), outputs(pastOutputs);
    int n = 0;
    for (; n < len; n += g728::vectorLength) {
        Vector samples = g728::loadFive(src + n);
        if (!filter.apply(samples, inputs, outputs)) [[unlikely]]
            break;
        g728::storeFive(dst + n, samples);
    }
    inputs.save(pastInputs);
    outputs.save(pastOutputs);
    return n;
}

} // namespace

ryxStatus ryxsIIR16sGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsIIR16sInit_G728_16s_u8(IIRState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    saveBlock(block, State{});
    return ryxStsOk;
}

ryxStatus ryxsIIR16s_G728_16s_u8(const int16_t *coefficients, const int16_t *src, int16_t *dst, int len,
                                 IIRState_G728 *block) {
    if (anyNull(coefficients, src, dst, block)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    int done = 0;
    if (len % g728::vectorLength == 0) {
        done = filterVectors(coefficients, src, dst, len, block);
        if (done == len) [[likely]]
            return ryxStsOk;
    }
    auto state = loadBlock<State>(block);
    const Filter filter(coefficients);
    while (done < len) {
        const int count = std::min(len - done, samplesPerChunk);
        filter(state, src + done, dst + done, count);
        done += count;
    }
    saveBlock(block, state);
    return ryxStsOk;
}
