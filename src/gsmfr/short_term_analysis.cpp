// SPDX-License-Identifier: BSD-2-Clause
// Short-term analysis lattice of GSM 06.10 (clause 4.2.10). Nothing in it is recursive: a stage makes its two outputs from
// its inputs of this sample and the sample before, so that a stage can work on eight samples at a time.
#include <algorithm>

#include "common/checks.h"
#include "common/simd.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr int samplesPerBlock = 8;

// What enters each stage as sav, of the block before; only the newest sample, in lane 7, counts.
struct Lattice {
    Vector sav[stages];

    explicit Lattice(const int16_t *state) {
        for (int i = 0; i < stages; i++)
            sav[i] = _mm_slli_si128(simd::loadWord(state + i), 14);
    }

    // coefficients(i): those of stage i for each of the eight samples.
    template <class Coefficients> [[gnu::always_inline]] inline Vector filter(Vector d, Coefficients coefficients) {
        Vector entering = d;
#pragma GCC unroll 8
        for (int i = 0; i < stages; i++) {
            const Vector r = coefficients(i);
            const Vector u = _mm_alignr_epi8(entering, sav[i], 14);
            sav[i] = entering;
            entering = _mm_adds_epi16(u, _mm_mulhrs_epi16(r, d));
            d = _mm_adds_epi16(d, _mm_mulhrs_epi16(r, u));
        }
        return d;
    }

    // After a last block of `samples` samples.
    void store(int16_t *state, int samples) const {
        for (int i = 0; i < stages; i++) {
            int16_t block[samplesPerBlock];
            simd::store(block, sav[i]);
            state[i] = block[samples - 1];
        }
    }
};

// Coefficients of the stages, each in all lanes.
struct Coefficients {
    Vector stage[stages];

    explicit Coefficients(const int16_t *reflection) {
        for (int i = 0; i < stages; i++)
            stage[i] = simd::words(reflection[i]);
    }
    Vector operator()(int i) const { return stage[i]; }
};

} // namespace

ryxStatus ryxsShortTermAnalysisFilter_GSMFR_16s_I_u8(const int16_t *reflection, int16_t *srcDst, int len,
                                                     int16_t *state) {
    if (anyNull(reflection, srcDst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    Lattice lattice(state);
    const Coefficients coefficients(reflection);
    int i = 0;
    for (; len - i > samplesPerBlock; i += samplesPerBlock)
        simd::store(srcDst + i, lattice.filter(simd::load(srcDst + i), coefficients));
    int16_t block[samplesPerBlock] = {};
    std::copy_n(srcDst + i, len - i, block);
    simd::store(block, lattice.filter(simd::load(block), coefficients));
    std::copy_n(block, len - i, srcDst + i);
    lattice.store(state, len - i);
    return ryxStsOk;
}

// The segments begin at the samples 0, 13, 27 and 40: blocks 1 and 3 belong to two of them.
ryxStatus ryxsShortTermAnalysisFrame_GSMFR_16s_I_u8(const int16_t *reflections, int16_t *srcDst, int16_t *state) {
    if (anyNull(reflections, srcDst, state)) return ryxStsNullPtr;
    Lattice lattice(state);
    const auto filter = [&](int block, auto coefficients) {
        int16_t *const at = srcDst + samplesPerBlock * block;
        simd::store(at, lattice.filter(simd::load(at), coefficients));
    };
    const Coefficients first(reflections), second(reflections + stages), third(reflections + 2 * stages);
    const Vector from5 = _mm_setr_epi16(0, 0, 0, 0, 0, -1, -1, -1), from3 = _mm_setr_epi16(0, 0, 0, -1, -1, -1, -1, -1);
    filter(0, first);
    filter(1, [&](int i) { return simd::select(from5, second.stage[i], first.stage[i]); });
    filter(2, second);
    filter(3, [&](int i) { return simd::select(from3, third.stage[i], second.stage[i]); });
    filter(4, third);
    const Coefficients last(reflections + 3 * stages);
    for (int block = 5; block < frameLength / samplesPerBlock; block++)
        filter(block, last);
    lattice.store(state, samplesPerBlock);
    return ryxStsOk;
}
