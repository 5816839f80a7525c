// SPDX-License-Identifier: BSD-2-Clause
// The fixed codebook of four pulses of ITU-T G.729 (clause 3.8): the focused search of the main body, the depth-first
// search of Annex A, and decoding.
#include <algorithm>

#include "common/checks.h"
#include "frame/implementations.h"
#include "g729/fixed_codebook.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

constexpr int pulses = 4;

// Positions by number, as they are sent: the place of each pulse, and for the last one its track.
void writeIndex(const SearchInput &in, const int *numbers, int16_t *index) {
    const auto place = [&](int k) { return numbers[k] % places; };
    const int lastTrack = numbers[3] / places == 4 ? 1 : 0;
    index[0] = static_cast<int16_t>(place(0) + 8 * place(1) + 64 * place(2) + 512 * (2 * place(3) + lastTrack));
    int signs = 0;
    for (int k = 0; k < pulses; k++)
        signs |= (in.minus[numbers[k]] == 0 ? 1 : 0) << k;
    index[1] = static_cast<int16_t>(signs);
}

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
        const int32_t base =
            2 * (phi(i0, i0) + phi(i1, i1) + phi(i2, i2)) + 4 * (phi(i0, i1) + phi(i0, i2) + phi(i1, i2));
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

// Annex A: a pair of pulses on two tracks, then a pair on two others for the best first one; for four choices of tracks.
// Energies are summed at half their scale, where even the largest stay below 2^31.
class DepthFirstSearch {
public:
    explicit DepthFirstSearch(const SearchInput &in) : in_(in) {}

    void run() {
        for (const int t : {3, 4}) {
            if (searchPairs(2, t, 0, 1)) choose(x_, y_, first_[0], first_[1]);
            if (searchPairs(t, 0, 1, 2)) choose(first_[1], x_, y_, first_[0]);
        }
    }
    const int *numbers() const { return best_; }

private:
    static constexpr int32_t rounding = 0x4000;

    // Eight energies in the units of the criterion: (base + u * x + v * y) / 2^15, rounded.
    static Vector energiesOf(int32_t base, Vector u, int16_t x, Vector v, int16_t y) {
        const Vector factors = _mm_set1_epi32(static_cast<uint16_t>(x) | y << 16);
        const auto sum = [&](Vector pairs) {
            return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, factors), simd::dwords(base + rounding)), 15);
        };
        return _mm_packs_epi32(sum(_mm_unpacklo_epi16(u, v)), sum(_mm_unpackhi_epi16(u, v)));
    }

    // A pair on tracks a and b, then one on tracks c and e. Returns whether all four are the best so far.
    bool searchPairs(int a, int b, int c, int e) {
        const int16_t energy = searchFirstPair(a, b);
        const Argmax found = searchSecondPair(c, e, energy);
        return overall_.offer(found.square, found.energy);
    }

    // Only the two positions with the largest magnitudes on the first track. Returns the pair's energy.
    int16_t searchFirstPair(int a, int b) {
        Argmax argmax{-1, 1};
        const int largest = largestOn(a, -1);
        for (const int i0 : {largest, largestOn(a, largest)}) {
            const Vector sums = _mm_adds_epi16(simd::words(in_.d[i0]), in_.track(in_.d, b));
            const Vector energies =
                energiesOf(8192 * in_.energies[i0], in_.signedRow(i0, b), 16384, in_.track(in_.energies, b), 8192);
            if (const int lane = argmax.offer(simd::mulShift<15>(sums, sums), energies); lane >= 0) {
                x_ = i0;
                y_ = places * b + lane;
                sum_ = ryxsc::add(in_.d[i0], in_.d[y_]);
            }
        }
        first_[0] = x_;
        first_[1] = y_;
        return argmax.energy;
    }

    // All 64 pairs. Of positive quotients square / energy the largest ones are found in floating point, as good as exact
    // but for the last bits; the argmax decides between those that are close.
    Argmax searchSecondPair(int c, int e, int16_t firstEnergy) {
        Argmax argmax{-1, 1};
        alignas(16) Vector squares[places], energies[places];
        __m128 quotients[2 * places], largest = _mm_setzero_ps();
        Vector smallestEnergy = simd::words(max16);
        const int i0 = first_[0], i1 = first_[1];
        const Vector own = crossEnergies(i0, i1, e);
        // What a pulse on track c brings along, and the sums that it makes.
        alignas(16) int32_t bases[places];
        alignas(16) int16_t outerSums[places];
        const Vector pair = _mm_set1_epi32(4096 | 4096 << 16), u = in_.signedRow(i0, c), v = in_.signedRow(i1, c);
        const auto base4 = [&](Vector crossed, Vector own4) {
            return _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(crossed, pair), _mm_slli_epi32(own4, 11)),
                                 simd::dwords(8192 * firstEnergy));
        };
        simd::store(bases, base4(_mm_unpacklo_epi16(u, v), simd::frontDwords(in_.track(in_.energies, c))));
        simd::store(bases + 4, base4(_mm_unpackhi_epi16(u, v), simd::backDwords(in_.track(in_.energies, c))));
        simd::store(outerSums, _mm_adds_epi16(simd::words(sum_), in_.track(in_.d, c)));
        for (int i2 = places * c; i2 < places * (c + 1); i2++) {
            const int16_t sum = outerSums[i2 - places * c];
            const int32_t base = bases[i2 - places * c];
            const Vector sums = _mm_adds_epi16(simd::words(sum), in_.track(in_.d, e));
            const int i = i2 - places * c;
            squares[i] = simd::mulShift<15>(sums, sums);
            energies[i] = energiesOf(base, in_.signedRow(i2, e), 4096, own, 16384);
            smallestEnergy = _mm_min_epi16(smallestEnergy, energies[i]);
            const auto quotient = [](Vector square, Vector energy) {
                return _mm_div_ps(_mm_cvtepi32_ps(square), _mm_cvtepi32_ps(energy));
            };
            quotients[2 * i] = quotient(simd::frontDwords(squares[i]), simd::frontDwords(energies[i]));
            quotients[2 * i + 1] = quotient(simd::backDwords(squares[i]), simd::backDwords(energies[i]));
            largest = _mm_max_ps(largest, _mm_max_ps(quotients[2 * i], quotients[2 * i + 1]));
        }
        const bool allPositive = _mm_movemask_epi8(_mm_cmpgt_epi16(smallestEnergy, _mm_setzero_si128())) == 0xffff;
        largest = _mm_max_ps(largest, _mm_shuffle_ps(largest, largest, _MM_SHUFFLE(1, 0, 3, 2)));
        largest = _mm_max_ps(largest, _mm_shuffle_ps(largest, largest, _MM_SHUFFLE(2, 3, 0, 1)));
        const __m128 close = _mm_mul_ps(largest, _mm_set1_ps(1 - 1.0f / (1 << 20)));
        for (int i = 0; i < places; i++) {
            const Vector near = _mm_packs_epi32(_mm_castps_si128(_mm_cmpge_ps(quotients[2 * i], close)),
                                                _mm_castps_si128(_mm_cmpge_ps(quotients[2 * i + 1], close)));
            if (allPositive && _mm_movemask_epi8(near) == 0) continue;
            if (const int lane = argmax.offer(squares[i], energies[i]); lane >= 0) {
                x_ = places * c + i;
                y_ = places * e + lane;
            }
        }
        return argmax;
    }

    // What pulses on track e bring along beside those at i0 and i1.
    Vector crossEnergies(int i0, int i1, int e) const {
        const Vector pair = _mm_set1_epi32(8192 | 8192 << 16);
        const auto sum = [&](Vector pairs, Vector energies) {
            const Vector crossed = _mm_madd_epi16(pairs, pair);
            return _mm_srai_epi32(
                _mm_add_epi32(_mm_add_epi32(crossed, _mm_slli_epi32(energies, 12)), simd::dwords(rounding)), 15);
        };
        const Vector u = in_.signedRow(i0, e), v = in_.signedRow(i1, e), energies = in_.track(in_.energies, e);
        return _mm_packs_epi32(sum(_mm_unpacklo_epi16(u, v), simd::frontDwords(energies)),
                               sum(_mm_unpackhi_epi16(u, v), simd::backDwords(energies)));
    }

    // The position with the largest magnitude on a track, without one of them; the first among equals.
    int largestOn(int t, int without) const {
        int found = -1;
        for (int number = places * t; number < places * (t + 1); number++)
            if (number != without && (found < 0 || in_.d[number] > in_.d[found])) found = number;
        return found;
    }

    void choose(int p0, int p1, int p2, int p3) {
        best_[0] = p0;
        best_[1] = p1;
        best_[2] = p2;
        best_[3] = p3;
    }

    const SearchInput &in_;
    Argmax overall_{-1, 1};
    int x_ = 0, y_ = 0;
    int16_t sum_ = 0;
    int first_[2];
    int best_[pulses] = {0, places, 2 * places, 3 * places}; // positions 0, 1, 2, 3
};

// Everything behind a search: code vector, filtered code vector, what is sent.
void finish(const SearchInput &in, const int *numbers, int16_t lag, int16_t sharpening, int16_t *code,
            int16_t *filtered, int16_t *index) {
    placePulses(in, numbers, pulses, code, filtered);
    writeIndex(in, numbers, index);
    sharpen(code, lag, sharpening);
}

} // namespace

ryxStatus ryxsFixedCodebookSearch_G729_16s_u8(const int16_t *target, const int16_t *response, int16_t lag,
                                              int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index,
                                              int16_t *extraTime, int16_t subframeFlag) {
    constexpr int ownTime = 75, frameTime = 30;
    if (anyNull(target, response, code, filtered, index, extraTime)) return ryxStsNullPtr;
    if (!isCodebookLag(lag) || subframeFlag < 0 || subframeFlag > 1) return ryxStsOutOfRange;
    SearchInput in(target, response, lag, sharpening);
    FocusedSearch search(in);
    *extraTime = static_cast<int16_t>(search.run(ownTime + (subframeFlag == 0 ? frameTime : *extraTime)));
    finish(in, search.numbers(), lag, sharpening, code, filtered, index);
    return ryxStsOk;
}

ryxStatus ryxsFixedCodebookSearch_G729A_16s_u8(const int16_t *target, const int16_t *response, int16_t lag,
                                               int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index) {
    if (anyNull(target, response, code, filtered, index)) return ryxStsNullPtr;
    if (!isCodebookLag(lag)) return ryxStsOutOfRange;
    const SearchInput in(target, response, lag, sharpening);
    DepthFirstSearch search(in);
    search.run();
    finish(in, search.numbers(), lag, sharpening, code, filtered, index);
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
