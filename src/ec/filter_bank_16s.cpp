// SPDX-License-Identifier: BSD-2-Clause
// Sub-band filter bank of the echo canceller in 16 bits, with spectra of 32 bits.
#include "ec/filter_bank_16s.inl"
#include "ec/implementations.h"

using namespace ryxsc;
using namespace ryxsc::ec;
using simd::Vector;

namespace {

// Sums of d[k] w[k] over k = n, n + N, ... in 32 bits (wrap-around), shifted right by 13. Two periods at a time make the
// pairs of pmaddwd.
Vector foldEight(const int16_t *line, const int16_t *window, int points, int windowLen, Vector &back) {
    Vector front = back = _mm_setzero_si128();
    for (int k = 0; k < windowLen; k += 2 * points) {
        const bool pair = k + points < windowLen;
        const Vector d0 = simd::load(line + k), w0 = simd::load(window + k);
        const Vector d1 = pair ? simd::load(line + k + points) : d0;
        const Vector w1 = pair ? simd::load(window + k + points) : _mm_setzero_si128();
        const simd::Dwords sums = simd::sumsOfTwoProducts(d0, w0, d1, w1);
        front = _mm_add_epi32(front, sums.front);
        back = _mm_add_epi32(back, sums.back);
    }
    back = _mm_srai_epi32(back, windowFraction);
    return _mm_srai_epi32(front, windowFraction);
}

void fold(Bank<int16_t> &bank, int32_t *z) {
    const int16_t *line = bank.line(), *window = bank.window();
    const int points = bank.points, windowLen = bank.windowLen;
    if (points < 8) {
        for (int n = 0; n < points; n++) {
            int32_t sum = 0;
            for (int k = n; k < windowLen; k += points)
                sum = wrapAdd32(sum, line[k] * window[k]);
            z[n] = sum >> windowFraction;
        }
        return;
    }
    for (int n = 0; n < points; n += 8) {
        Vector back;
        simd::store(z + n, foldEight(line + n, window + n, points, windowLen - n, back));
        simd::store(z + n + 4, back);
    }
}

} // namespace

ryxStatus ryxsSubbandProcessGetSize_16s_u8(int order, int windowLen, int *stateSize, int *initBufSize,
                                           int *workBufSize) {
    return reportSizes<int16_t>(order, windowLen, stateSize, initBufSize, workBufSize);
}

ryxStatus ryxsSubbandProcessInit_16s_u8(SubbandProcessState *state, int order, int hop, int windowLen,
                                        const int16_t *window, void *) {
    return initialise(state, order, hop, windowLen, window);
}

ryxStatus ryxsSubbandAnalysis_16s32sc_Sfs_u8(const int16_t *src, ryx32sc *dst, SubbandProcessState *state,
                                             int scaleFactor, void *workBuf) {
    if (anyNull(src, dst, state, workBuf)) return ryxStsNullPtr;
    if (scaleFactor < 0) return ryxStsBadScale;
    auto &bank = alignedBlock<Bank<int16_t>>(state);
    if (!bank.transform().isValid()) return ryxStsErr;
    if (!bank.isSound()) return ryxStsBadContext;
    const transform::TransformMemory memory(bank.transform().order());
    if (anyNull(memory.get())) return ryxStsNoMem;
    auto *z = &alignedBlock<int32_t>(workBuf);
    std::copy_n(src, bank.hop, bank.shiftLine());
    fold(bank, z);
    bank.transform().forward(z, &dst->re, scaleFactor, memory.get());
    return ryxStsOk;
}

ryxStatus ryxsSubbandSynthesis_32sc16s_Sfs_u8(const ryx32sc *src, int16_t *dst, SubbandProcessState *state,
                                              int scaleFactor, void *workBuf) {
    return synthesise(src, dst, state, scaleFactor, workBuf);
}
