// SPDX-License-Identifier: BSD-2-Clause
// The transforms of a filter bank without its window, and its synthesis, all in single precision: what a canceller needs
// whose sub-band filters are exact (overlap-save).
#include <algorithm>
#include <xmmintrin.h>

#include "ec/filter_bank.h"
#include "ec/filter_bank_float.h"
#include "ec/implementations.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

// What a call does behind the check of its pointers: work(bank, aligned buffer, memory of the transform).
template <class Work> ryxStatus withBank(SubbandProcessState *state, void *workBuf, Work work) {
    auto &bank = alignedBlock<Bank<float>>(state);
    if (!bank.transform().isValid()) return ryxStsErr;
    if (!bank.isSound()) return ryxStsBadContext;
    const transform::TransformMemory memory(bank.transform().order());
    if (anyNull(memory.get())) return ryxStsNoMem;
    work(bank, &alignedBlock<float>(workBuf), memory.get());
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsSubbandForward_EC_32f32fc_u8(const float *src, ryx32fc *dst, SubbandProcessState *state, void *workBuf) {
    if (anyNull(src, dst, state, workBuf)) return ryxStsNullPtr;
    return withBank(state, workBuf, [=](Bank<float> &bank, float *, void *memory) {
        bank.transform().forward(src, &dst->re, 0, memory);
    });
}

ryxStatus ryxsSubbandInverse_EC_32fc32f_u8(const ryx32fc *src, float *dst, SubbandProcessState *state, void *workBuf) {
    if (anyNull(src, dst, state, workBuf)) return ryxStsNullPtr;
    return withBank(state, workBuf, [=](Bank<float> &bank, float *, void *memory) {
        bank.transform().inverseSingle(&src->re, dst, memory);
    });
}

ryxStatus ryxsSubbandConstrain_EC_32fc_I_u8(ryx32fc *coefs, int tapsLen, SubbandProcessState *state, void *workBuf) {
    if (anyNull(coefs, state, workBuf)) return ryxStsNullPtr;
    if (tapsLen < 1) return ryxStsBadArg;
    return withBank(state, workBuf, [=](Bank<float> &bank, float *response, void *memory) {
        bank.transform().inverseSingle(&coefs->re, response, memory);
        std::fill(response + std::min(tapsLen, bank.points), response + bank.points, 0.0F);
        bank.transform().forward(response, &coefs->re, 0, memory);
    });
}

ryxStatus ryxsSubbandSynthesis_EC_32fc32f_u8(const ryx32fc *src, float *dst, SubbandProcessState *state,
                                             void *workBuf) {
    if (anyNull(src, dst, state, workBuf)) return ryxStsNullPtr;
    return withBank(state, workBuf, [=](Bank<float> &bank, float *y, void *memory) {
        bank.transform().inverseSingle(&src->re, y, memory);
        std::fill_n(bank.shiftLine(), bank.hop, 0.0F);
        overlap(bank, y);
        std::copy_n(bank.line(), bank.hop, dst);
    });
}
