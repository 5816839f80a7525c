// SPDX-License-Identifier: BSD-2-Clause
// The fixed codebook of four pulses of ITU-T G.729 (clause 3.8): the focused search of the main body, and
// decoding.
#include <algorithm>

#include "common/checks.h"
#include "g729/fixed_codebook.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

constexpr int pulses = fourPulses;

// The focused search: the last pulse is only tried where the first three promise enough, and not too often.
class FocusedSearch {
public:
    explicit FocusedSearch(SearchInput &in) : in_(in) {
        for (int t = 0; t < 3; t++)
            in.signRows(t, t + 1, 4, 32766, 32767, -32767);
    }

    // Returns what is left of the time.
    int run(int time) {
        const int16_t threshold = findThreshold();
        for (int i0 = 0; i0 < places; i0++)
            for (int i1 = places; i1 < 2 * places; i1++) {
                const int16_t pair = ryxsc::add(in_.d[i0], in_.d[i1]);
                const Vector triples = _mm_adds_epi16(simd::words(pair), in_.track(in_.d, 2));
                const Vector promising = _mm_cmpgt_epi16(triples, simd::words(threshold));
                auto lanes = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(promising, _mm_setzero_si128())));
                for (; lanes != 0; lanes &= lanes - 1) {
                    const int i2 = 2 * places + __builtin_ctz(lanes);
                    tryLast(i0, i1, i2, ryxsc::add(pair, in_.d[i2]));
                    if (--time <= 0) return time;
                }
            }
        return time;
    }
    const int *numbers() const { return best_; }

private:
    // Between the mean and the largest sum of three magnitudes.
    int16_t findThreshold() const {
        int16_t largest = 0;
        int32_t total = 0;
        for (int t = 0; t < 3; t++) {
            int16_t peak = 0;
            for (int i = 0; i < places; i++) {
                peak = std::max(peak, in_.d[places * t + i]);
                total += 2 * in_.d[places * t + i];
            }
            largest = ryxsc::add(largest, peak);
        }
        const int16_t mean = extract_l(total >> 4);
        return ryxsc::add(mult(sub(largest, mean), 13107), mean);
    }

    void tryLast(int i0, int i1, int i2, int16_t sum) {
        const auto phi = [&](int p, int q) { return in_.phi[p][q]; };
        const int32_t base = 2 * (in_.energies[i0] + in_.energies[i1] + in_.energies[i2]) +
                             4 * (phi(i0, i1) + phi(i0, i2) + phi(i1, i2));
        for (int t = 3; t <= 4; t++) {
            const Vector correlation = _mm_adds_epi16(simd::words(sum), in_.track(in_.d, t));
            const Vector square = simd::mulShift<15>(correlation, correlation);
            const auto half = [&](auto widen, auto unpack) {
                const Vector two = widen(in_.track(in_.energies, t));
                const Vector pair = _mm_madd_epi16(unpack(in_.row(i0, t), in_.row(i1, t)), simd::words(4));
                const Vector third = _mm_slli_epi32(widen(in_.row(i2, t)), 2);
                const Vector energy = _mm_add_epi32(_mm_add_epi32(simd::dwords(base), _mm_add_epi32(two, two)),
                                                    _mm_add_epi32(pair, third));
                return _mm_srai_epi32(energy, 5);
            };
            const Vector energy =
                _mm_packs_epi32(half(simd::frontDwords, [](Vector x, Vector y) { return _mm_unpacklo_epi16(x, y); }),
                                half(simd::backDwords, [](Vector x, Vector y) { return _mm_unpackhi_epi16(x, y); }));
            if (const int lane = argmax_.offer(square, energy); lane >= 0) {
                best_[0] = i0;
                best_[1] = i1;
                best_[2] = i2;
                best_[3] = places * t + lane;
            }
        }
    }

    SearchInput &in_;
    Argmax argmax_{0, max16};
    int best_[pulses] = {0, places, 2 * places, 3 * places}; // positions 0, 1, 2, 3
};

} // namespace

ryxStatus ryxsFixedCodebookSearch_G729_16s_u8(const int16_t *target, const int16_t *response, int16_t lag,
                                              int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index,
                                              int16_t *extraTime, int16_t subframeFlag) {
    constexpr int ownTime = 75, frameTime = 30;
    if (anyNull(target, response, code, filtered, index, extraTime)) return ryxStsNullPtr;
    if (!isCodebookLag(lag) || subframeFlag < 0 || subframeFlag > 1) return ryxStsOutOfRange;
    SearchInput in(target, response, lag, sharpening, correlateResponse<focusedPairs>);
    FocusedSearch search(in);
    *extraTime = static_cast<int16_t>(search.run(ownTime + (subframeFlag == 0 ? frameTime : *extraTime)));
    finishFourPulses(in, search.numbers(), lag, sharpening, code, filtered, index);
    return ryxStsOk;
}

ryxStatus ryxsFixedCodebookDecode_G729_16s_u8(const int16_t *index, int16_t lag, int16_t sharpening, int16_t *code) {
    if (anyNull(index, code)) return ryxStsNullPtr;
    if (!isCodebookLag(lag)) return ryxStsOutOfRange;
    const int positions = index[0], signs = index[1];
    const int at[pulses] = {5 * (positions & 7), 5 * (positions >> 3 & 7) + 1, 5 * (positions >> 6 & 7) + 2,
                            5 * (positions >> 10 & 7) + 3 + (positions >> 9 & 1)};
    std::fill_n(code, subframe, int16_t{0});
    for (int k = 0; k < pulses; k++)
        code[at[k]] = (signs >> k & 1) != 0 ? plusAmplitude : minusAmplitude;
    sharpen(code, lag, sharpening);
    return ryxStsOk;
}
