// SPDX-License-Identifier: BSD-2-Clause
// Two-band QMF of the RTA codec in single precision.
//
// Analysis and synthesis both apply the prototype's even coefficients to one stream and its odd ones to another: the
// samples at even and odd places, or the differences and the sums of the bands. Each stream lies behind its history and
// is filtered by one kernel, sixteen outputs at a time.
#include <xmmintrin.h>

#include "common/checks.h"
#include "common/state_block.h"
#include "rta/implementations.h"
#include "rta/tables.h"

using namespace ryxsc;
using namespace ryxsc::rta;

namespace {

constexpr int maxTaps = 48;
constexpr int maxLength = 640;
constexpr int maxPairs = maxLength / 2;
constexpr int groupsPerStep = 4;
constexpr int outputsPerStep = 4 * groupsPerStep;

struct State {
    const float *prototype; // tells the filter to whoever reads the block; the code goes by the number of taps
    float delay[maxTaps];   // pairs, the oldest first
    int32_t taps;
};
static_assert(sizeof(State) == 208);

// The first elements of the pairs of a signal, and the second ones. Zeros at the end serve the last step.
struct Streams {
    float even[maxTaps / 2 + maxPairs + outputsPerStep];
    float odd[maxTaps / 2 + maxPairs + outputsPerStep];

    void set(int position, int pairs, const float *signal) {
        for (int i = 0; i < pairs; i++) {
            even[position + i] = signal[2 * i];
            odd[position + i] = signal[2 * i + 1];
        }
    }
    void finish(int end) {
        for (int i = end; i < end + outputsPerStep; i++)
            even[i] = odd[i] = 0;
    }
    void get(int position, int pairs, float *signal) const {
        for (int i = 0; i < pairs; i++) {
            signal[2 * i] = even[position + i];
            signal[2 * i + 1] = odd[position + i];
        }
    }
};

// The taps phase, phase + 4, phase + 8, ... of sixteen outputs: each load serves up to four groups of outputs.
template <size_t phase, size_t halfTaps>
[[gnu::always_inline]] inline void accumulate(__m128 *sums, const float *stream, const Lanes<halfTaps> &coefficients) {
    constexpr size_t turns = halfTaps / 4;
#pragma GCC unroll 9
    for (size_t place = 0; place < turns + groupsPerStep - 1; place++) {
        const __m128 four = _mm_loadu_ps(stream + 4 * place + phase);
#pragma GCC unroll 6
        for (size_t turn = 0; turn < turns; turn++) {
            if (place < turn || place - turn >= groupsPerStep) continue;
            const __m128 weight = _mm_load_ps(coefficients[phase + 4 * turn].data());
            sums[place - turn] = _mm_add_ps(sums[place - turn], _mm_mul_ps(four, weight));
        }
    }
}

template <size_t halfTaps>
void filter(const float *stream, int count, const Lanes<halfTaps> &coefficients, float *outputs) {
    for (int i = 0; i < count; i += outputsPerStep) {
        __m128 sums[groupsPerStep] = {};
        accumulate<0>(sums, stream + i, coefficients);
        accumulate<1>(sums, stream + i, coefficients);
        accumulate<2>(sums, stream + i, coefficients);
        accumulate<3>(sums, stream + i, coefficients);
        for (int group = 0; group < groupsPerStep; group++)
            _mm_store_ps(outputs + i + 4 * group, sums[group]);
    }
}

struct Outputs {
    alignas(16) float even[maxPairs], odd[maxPairs];

    template <size_t taps> void compute(const Streams &streams, int count, const Prototype<taps> &prototype) {
        filter(streams.even, count, prototype.even, even);
        filter(streams.odd, count, prototype.odd, odd);
    }
};

template <size_t taps>
void analyse(const Prototype<taps> &prototype, const float *src, int pairs, float *low, float *high, float *delay) {
    constexpr int history = taps / 2;
    Streams streams;
    streams.set(0, history, delay);
    streams.set(history, pairs, src);
    streams.finish(history + pairs);
    streams.get(pairs, history, delay);
    Outputs outputs;
    outputs.compute(streams, pairs, prototype);
    for (int i = 0; i < pairs; i++) {
        low[i] = outputs.even[i] + outputs.odd[i];
        high[i] = outputs.even[i] - outputs.odd[i];
    }
}

// The factor 2 restores the level that the analysis takes.
template <size_t taps> void synthesise(const Prototype<taps> &prototype, const float *low, const float *high, int pairs,
                                       float *dst, float *delay) {
    constexpr int history = taps / 2 - 1;
    Streams streams;
    streams.set(0, history, delay);
    for (int i = 0; i < pairs; i++) {
        streams.even[history + i] = 2 * (low[i] - high[i]);
        streams.odd[history + i] = 2 * (low[i] + high[i]);
    }
    streams.finish(history + pairs);
    streams.get(pairs, history, delay);
    Outputs outputs;
    outputs.compute(streams, pairs, prototype);
    for (int i = 0; i < pairs; i++) {
        dst[2 * i] = outputs.odd[i];
        dst[2 * i + 1] = outputs.even[i];
    }
}

} // namespace

ryxStatus ryxsQMFGetStateSize_RTA_32f_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsQMFInit_RTA_32f_u8(QMFState_RTA *block, int taps) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (taps != 24 && taps != 48) return ryxStsOutOfRange;
    saveBlock(block, State{taps == 24 ? prototype24.h.data() : prototype48.h.data(), {}, taps});
    return ryxStsOk;
}

ryxStatus ryxsQMFEncode_RTA_32f_u8(const float *src, int len, float *low, float *high, QMFState_RTA *block) {
    if (anyNull(src, low, high, block)) return ryxStsNullPtr;
    if (len < 1 || len > maxLength || isOdd(len)) return ryxStsOutOfRange;
    auto state = loadBlock<State>(block);
    if (state.taps == 24)
        analyse(prototype24, src, len / 2, low, high, state.delay);
    else
        analyse(prototype48, src, len / 2, low, high, state.delay);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsQMFDecode_RTA_32f_u8(const float *low, const float *high, int len, float *dst, QMFState_RTA *block) {
    if (anyNull(low, high, dst, block)) return ryxStsNullPtr;
    if (len < 1 || len > maxPairs) return ryxStsOutOfRange;
    auto state = loadBlock<State>(block);
    if (state.taps == 24)
        synthesise(prototype24, low, high, len, dst, state.delay);
    else
        synthesise(prototype48, low, high, len, dst, state.delay);
    saveBlock(block, state);
    return ryxStsOk;
}
