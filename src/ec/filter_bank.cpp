// SPDX-License-Identifier: BSD-2-Clause
// Sub-band filter bank of the echo canceller in single precision.
#include "ec/filter_bank.h"

#include <algorithm>
#include <xmmintrin.h>

#include "ec/filter_bank_float.h"
#include "ec/implementations.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

// z[n] = d[n] w[n] + d[n + N] w[n + N] + ..., oldest samples first; whole vectors, as N is a power of two.
void fold(Bank<float> &bank, float *z) {
    const float *line = bank.line(), *window = bank.window();
    const int points = bank.points, windowLen = bank.windowLen;
    if (points < 4) {
        for (int n = 0; n < points; n++) {
            z[n] = line[n] * window[n];
            for (int k = n + points; k < windowLen; k += points)
                z[n] += line[k] * window[k];
        }
        return;
    }
    for (int n = 0; n < points; n += 4) {
        __m128 sum = _mm_loadu_ps(line + n) * _mm_load_ps(window + n);
        for (int k = n + points; k < windowLen; k += points)
            sum += _mm_loadu_ps(line + k) * _mm_load_ps(window + k);
        _mm_store_ps(z + n, sum);
    }
}

} // namespace

ryxStatus ryxsSubbandProcessGetSize_32f_u8(int order, int windowLen, int *stateSize, int *initBufSize,
                                           int *workBufSize) {
    return reportSizes<float>(order, windowLen, stateSize, initBufSize, workBufSize);
}

ryxStatus ryxsSubbandProcessInit_32f_u8(SubbandProcessState *state, int order, int hop, int windowLen,
                                        const float *window, void *) {
    return initialise(state, order, hop, windowLen, window);
}

ryxStatus ryxsSubbandAnalysis_32f32fc_u8(const float *src, ryx32fc *dst, SubbandProcessState *state, void *workBuf) {
    if (anyNull(src, dst, state, workBuf)) return ryxStsNullPtr;
    auto &bank = alignedBlock<Bank<float>>(state);
    if (!bank.transform().isValid()) return ryxStsErr;
    if (!bank.isSound()) return ryxStsBadContext;
    const transform::TransformMemory memory(bank.transform().order());
    if (anyNull(memory.get())) return ryxStsNoMem;
    auto *z = &alignedBlock<float>(workBuf);
    std::copy_n(src, bank.hop, bank.shiftLine());
    fold(bank, z);
    bank.transform().forward(z, &dst->re, 0, memory.get());
    return ryxStsOk;
}

ryxStatus ryxsSubbandSynthesis_32fc32f_u8(const ryx32fc *src, float *dst, SubbandProcessState *state, void *workBuf) {
    if (anyNull(src, dst, state, workBuf)) return ryxStsNullPtr;
    auto &bank = alignedBlock<Bank<float>>(state);
    if (!bank.transform().isValid()) return ryxStsErr;
    if (!bank.isSound()) return ryxStsBadContext;
    const transform::TransformMemory memory(bank.transform().order());
    if (anyNull(memory.get())) return ryxStsNoMem;
    auto *y = &alignedBlock<float>(workBuf);
    bank.transform().inverse(&src->re, y, 0, memory.get());
    std::fill_n(bank.shiftLine(), bank.hop, 0.0f);
    overlap(bank, y);
    std::copy_n(bank.line(), bank.hop, dst);
    return ryxStsOk;
}
