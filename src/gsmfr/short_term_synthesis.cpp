// SPDX-License-Identifier: BSD-2-Clause
// Short-term synthesis lattice of GSM 06.10 (clause 4.3.4), alone and, for whole frames, with the de-emphasis behind it
// (clauses 4.3.5 to 4.3.7).
#include "common/checks.h"
#include "common/elementwise.h"
#include "gsmfr/deemphasis.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;
using simd::Vector;

namespace {

Vector inDwords(const int16_t *words, int first, int second) {
    return _mm_unpacklo_epi32(simd::loadWord(words + first), simd::loadWord(words + second));
}
Vector swapped(Vector x) {
    return _mm_shuffle_epi32(x, _MM_SHUFFLE(3, 2, 0, 1));
}
// Dword 0 of x, the rest of y: movss, whatever the bits are.
Vector withFirst(Vector y, Vector x) {
    return _mm_castps_si128(_mm_move_ss(_mm_castsi128_ps(y), _mm_castsi128_ps(x)));
}

// Two samples are on their way at a time: in a step the upper stages 7 to 4 work on a sample n in the low word of dword 0,
// the lower stages 3 to 0 on the sample n - 1 in that of dword 1; in stages 4 and 0 the dwords have changed places. The high
// words of these dwords and the other dwords hold nothing that counts.
//
// The chain of a step: s of stage 3, v behind it, s of stage 4 in the next sample, s of stage 3. That is two products and
// three additions as in a filter of one sample at a time, and two moves, but half of the operations.
struct Coefficients {
    Vector stages73, stages62, stages51, stages04;

    Coefficients() : stages73(_mm_setzero_si128()), stages62(stages73), stages51(stages73), stages04(stages73) {}
    explicit Coefficients(const int16_t *reflection)
        : stages73(inDwords(reflection, 7, 3)), stages62(inDwords(reflection, 6, 2)),
          stages51(inDwords(reflection, 5, 1)), stages04(inDwords(reflection, 0, 4)) {}

    // For the step in which the upper stages have gone on to a new set and the lower ones still have the old one. Where the
    // other set is zero, those stages pass on what they hold.
    static Coefficients between(const Coefficients &lower, const Coefficients &upper) {
        Coefficients both;
        both.stages73 = withFirst(lower.stages73, upper.stages73);
        both.stages62 = withFirst(lower.stages62, upper.stages62);
        both.stages51 = withFirst(lower.stages51, upper.stages51);
        both.stages04 = withFirst(upper.stages04, lower.stages04);
        return both;
    }
};

class Lattice {
public:
    explicit Lattice(const int16_t *v)
        : s_(inDwords(v, 1, 0)), v73_(inDwords(v, 7, 4)), v62_(inDwords(v, 6, 3)), v51_(inDwords(v, 5, 2)),
          v8_(_mm_setzero_si128()) {}

    // The upper stages of the next sample and the lower ones of the sample before, whose output this returns in dword 0.
    [[gnu::always_inline]] inline Vector step(Vector sample, const Coefficients &r) {
        const Vector v0 = s_; // of stage 0, in dword 0
        s_ = withFirst(s_, sample);
        pass(r.stages73, v73_, v8_);
        const Vector v04 = withFirst(v8_, v0);
        pass(r.stages62, v62_, v73_);
        pass(r.stages51, v51_, v62_);
        s_ = swapped(s_);
        pass(r.stages04, v04, v51_);
        v51_ = swapped(v51_);
        return s_;
    }

    // After a step without upper stages.
    void store(int16_t *v) const {
        simd::storeWord(v, s_);
        simd::storeWord(v + 1, swapped(v51_));
        simd::storeWord(v + 2, swapped(v62_));
        simd::storeWord(v + 3, swapped(v73_));
        simd::storeWord(v + 4, v51_);
        simd::storeWord(v + 5, v62_);
        simd::storeWord(v + 6, v73_);
        simd::storeWord(v + 7, v8_);
    }

private:
    // Two stages: lowers s by the old v, and makes the new v of the stages behind.
    void pass(Vector r, Vector v, Vector &behind) {
        s_ = _mm_subs_epi16(s_, _mm_mulhrs_epi16(r, v));
        behind = _mm_adds_epi16(v, _mm_mulhrs_epi16(r, s_));
    }

    Vector s_;
    Vector v73_, v62_, v51_; // in front of these stages
    Vector v8_;              // behind stages 7 and 3
};

// The samples `from` .. `to` - 1 into the upper stages; output(i, s) takes what leaves the lower ones for sample i.
template <class Output> [[gnu::always_inline]] inline void run(Lattice &lattice, const Coefficients &r,
                                                               const int16_t *src, int from, int to, Output output) {
    for (int i = from; i < to; i++)
        output(i - 1, lattice.step(simd::loadWord(src + i), r));
}

// All samples of a signal, where segment k has the coefficients r[k] and ends in front of sample ends[k]. The output for a
// sample may overwrite it.
template <int count, class Output> [[gnu::always_inline]] inline void
filter(const Coefficients (&r)[count], const int (&ends)[count], const int16_t *src, int16_t *state, Output output) {
    Lattice lattice(state);
    const Coefficients none;
    lattice.step(simd::loadWord(src), Coefficients::between(none, r[0]));
    run(lattice, r[0], src, 1, ends[0], output);
    for (int k = 1; k < count; k++) {
        run(lattice, Coefficients::between(r[k - 1], r[k]), src, ends[k - 1], ends[k - 1] + 1, output);
        run(lattice, r[k], src, ends[k - 1] + 1, ends[k], output);
    }
    output(ends[count - 1] - 1, lattice.step(none.stages73, Coefficients::between(r[count - 1], none)));
    lattice.store(state);
}

} // namespace

ryxStatus ryxsShortTermSynthesisFilter_GSMFR_16s_u8(const int16_t *reflection, const int16_t *src, int16_t *dst,
                                                    int len, int16_t *state) {
    if (anyNull(reflection, src, dst, state)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    const Coefficients r[] = {Coefficients(reflection)};
    const int ends[] = {len};
    filter(r, ends, src, state, [=](int i, Vector s) { simd::storeWord(dst + i, s); });
    return ryxStsOk;
}

// The chain of the de-emphasis runs beside that of the lattice, and in its shadow.
ryxStatus ryxsSynthesisFrame_GSMFR_16s_u8(const int16_t *reflections, const int16_t *src, int16_t *dst,
                                          int16_t *lattice, int16_t *deemphasis) {
    if (anyNull(reflections, src, dst, lattice, deemphasis)) return ryxStsNullPtr;
    const Coefficients r[segments] = {Coefficients(reflections), Coefficients(reflections + stages),
                                      Coefficients(reflections + 2 * stages), Coefficients(reflections + 3 * stages)};
    Vector filtered = simd::loadWord(deemphasis);
    filter(r, segmentEnds, src, lattice, [&](int i, Vector s) {
        filtered = deemphasised(s, filtered);
        simd::storeWord(dst + i, filtered);
    });
    simd::storeWord(deemphasis, filtered);
    mapWords(dst, frameLength, upscaled, dst);
    return ryxStsOk;
}
