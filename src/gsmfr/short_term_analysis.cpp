// SPDX-License-Identifier: BSD-2-Clause
// Short-term analysis lattice of GSM 06.10 (clause 4.2.10), as a wave front: at any time stage i works on sample n - i, so
// that one vector operation serves all eight stages.
#include <algorithm>

#include "common/checks.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

constexpr int delay = stages - 1; // steps from a sample's first stage to its last
constexpr int samplesPerBlock = 8;

// The first stage is in lane 7, the last one in lane 0. Steps are counted from the first sample on.
class Lattice {
public:
    Lattice(const int16_t *reflection, const int16_t *state)
        : reflection_(simd::reverseWords(simd::load(reflection))), u_(simd::reverseWords(simd::load(state))) {}

    void store(int16_t *state) const { simd::store(state, simd::reverseWords(u_)); }

    // Steps t .. t + 7 with eight new samples. Returns the outputs of the samples t - 7 .. t.
    template <class Active> [[gnu::always_inline]] inline Vector filterEight(Vector samples, Active active) {
        Vector outputs = _mm_setzero_si128();
#pragma GCC unroll 8
        for (int k = 0; k < samplesPerBlock; k++) {
            const Vector d = _mm_alignr_epi8(samples, d_, 2);
            const Vector sav = _mm_alignr_epi8(samples, sav_, 2);
            d_ = _mm_adds_epi16(d, _mm_mulhrs_epi16(reflection_, u_));
            sav_ = _mm_adds_epi16(u_, _mm_mulhrs_epi16(reflection_, d));
            u_ = active(k, sav, u_);
            outputs = _mm_alignr_epi8(d_, outputs, 2);
            samples = _mm_srli_si128(samples, 2);
        }
        return outputs;
    }

private:
    Vector reflection_, u_;
    Vector d_ = _mm_setzero_si128(), sav_ = _mm_setzero_si128(); // what the stages pass on
};

// Lets a stage's delayed value alone before the first sample has reached the stage and after the last one has left it.
class WithinSignal {
public:
    WithinSignal(int step, int len) : step_(step), len_(len) {}

    Vector operator()(int k, Vector passing, Vector kept) const {
        const Vector sample =
            _mm_setr_epi16(-7, -6, -5, -4, -3, -2, -1, 0); // each stage's, relative to the step's newest
        const Vector begun = _mm_cmpgt_epi16(sample, limit(-1 - step_ - k));
        const Vector valid = _mm_and_si128(begun, _mm_cmpgt_epi16(limit(len_ - step_ - k), sample));
        return _mm_xor_si128(kept, _mm_and_si128(_mm_xor_si128(passing, kept), valid));
    }

private:
    static Vector limit(int x) { return simd::words(static_cast<int16_t>(std::clamp(x, -8, 8))); }

    int step_, len_;
};

void filterEdge(Lattice &lattice, int16_t *srcDst, int step, int len) {
    int16_t block[samplesPerBlock] = {};
    std::copy_n(srcDst + step, std::clamp(len - step, 0, samplesPerBlock), block);
    simd::store(block, lattice.filterEight(simd::load(block), WithinSignal(step, len)));
    const int from = std::max(step - delay, 0), to = std::min(step + 1, len);
    std::copy_n(block + from - (step - delay), to - from, srcDst + from);
}

} // namespace

ryxStatus ryxsShortTermAnalysisFilter_GSMFR_16s_I_u8(const int16_t *reflection, int16_t *srcDst, int len,
                                                     int16_t *state) {
    if (anyNull(reflection, srcDst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    Lattice lattice(reflection, state);
    filterEdge(lattice, srcDst, 0, len);
    int step = samplesPerBlock;
    for (; len - step >= samplesPerBlock; step += samplesPerBlock) {
        const auto always = [](int, Vector passing, Vector) { return passing; };
        simd::store(srcDst + step - delay, lattice.filterEight(simd::load(srcDst + step), always));
    }
    for (; step - delay < len; step += samplesPerBlock)
        filterEdge(lattice, srcDst, step, len);
    lattice.store(state);
    return ryxStsOk;
}
