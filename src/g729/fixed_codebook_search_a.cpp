// SPDX-License-Identifier: BSD-2-Clause
// The depth-first search of ITU-T G.729 Annex A for the four pulses of the fixed codebook (clause A.3.8).
#include <algorithm>

#include "common/checks.h"
#include "common/pulse_criterion.h"
#include "g729/fixed_codebook.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

struct Found {
    int outer, inner;    // places; -1 where nothing is better than none
    Criterion criterion; // square and energy
};

// The best of pairs of pulses: an outer place after the other, its inner ones in the lanes of a vector. Where all energies
// are positive, the order of the quotients is a total one, and the lanes may be compared apart. Otherwise they are compared
// one after the other. Of equal ones the first counts.
class Candidates {
public:
    void add(Vector squares, Vector energies) {
        squares_[count_] = squares;
        energies_[count_] = energies;
        least_ = _mm_min_epi16(least_, energies);
        count_++;
        lanes_.offer(squares, energies, simd::words(static_cast<int16_t>(count_)));
    }

    Found best() const {
        if (_mm_movemask_epi8(_mm_cmpgt_epi16(least_, _mm_setzero_si128())) != 0xffff) [[unlikely]]
            return bestInOrder();
        const Vector order = _mm_add_epi16(_mm_slli_epi16(lanes_.number(), 3), _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7));
        const Vector zero = _mm_setzero_si128();
        const PlacedCandidate found = argmaxOf(better({lanes_.front(), _mm_unpacklo_epi16(order, zero)},
                                                      {lanes_.back(), _mm_unpackhi_epi16(order, zero)}));
        return {found.place / places - 1, found.place % places, found.criterion};
    }

private:
    Found bestInOrder() const {
        Argmax argmax{-1, 1};
        Found found{-1, -1, {}};
        for (int i = 0; i < count_; i++)
            if (const int lane = argmax.offer(squares_[i], energies_[i]); lane >= 0) found = {i, lane, {}};
        found.criterion = {argmax.square, argmax.energy};
        return found;
    }

    alignas(16) Vector squares_[places], energies_[places];
    Vector least_ = simd::words(max16);
    LaneArgmax lanes_; // numbers from 1 on
    int count_ = 0;
};

// A pair of pulses on two tracks, then a pair on two others for the best first one; for four choices of tracks. Energies
// are summed at half their scale, where even the largest stay below 2^31.
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
        const Vector offset = simd::dwords(base + rounding);
        const auto sum = [&](Vector pairs) {
            return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, factors), offset), 15);
        };
        return _mm_packs_epi32(sum(_mm_unpacklo_epi16(u, v)), sum(_mm_unpackhi_epi16(u, v)));
    }

    // A pair on tracks a and b, then one on tracks c and e. Returns whether all four are the best so far.
    bool searchPairs(int a, int b, int c, int e) {
        const int energy = searchFirstPair(a, b);
        const Criterion found = searchSecondPair(c, e, energy);
        if (!overall_.isBelow(found)) return false;
        overall_ = found;
        return true;
    }

    // Only the two positions with the largest magnitudes on the first track. Returns the pair's energy.
    int searchFirstPair(int a, int b) {
        int outer[2];
        findTwoLargest(a, outer);
        Candidates candidates;
        for (const int i0 : outer) {
            const Vector sums = _mm_adds_epi16(simd::words(in_.d[i0]), in_.track(in_.d, b));
            candidates.add(squareQ15(sums), energiesOf(8192 * in_.energies[i0], in_.signedRow(i0, b), 16384,
                                                       in_.track(in_.energies, b), 8192));
        }
        const Found found = candidates.best();
        if (found.outer >= 0) {
            x_ = outer[found.outer];
            y_ = places * b + found.inner;
            sum_ = ryxsc::add(in_.d[x_], in_.d[y_]);
        }
        first_[0] = x_;
        first_[1] = y_;
        return found.criterion.a;
    }

    // All 64 pairs.
    Criterion searchSecondPair(int c, int e, int firstEnergy) {
        const int i0 = first_[0], i1 = first_[1];
        const Vector own = crossEnergies(i0, i1, e), trackE = in_.track(in_.d, e);
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
        Candidates candidates;
        for (int i = 0; i < places; i++)
            candidates.add(squareQ15(_mm_adds_epi16(simd::words(outerSums[i]), trackE)),
                           energiesOf(bases[i], in_.signedRow(places * c + i, e), 4096, own, 16384));
        const Found found = candidates.best();
        if (found.outer >= 0) {
            x_ = places * c + found.outer;
            y_ = places * e + found.inner;
        }
        return found.criterion;
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

    // The positions with the largest and the next largest magnitude on a track; the first among equals.
    void findTwoLargest(int t, int *found) const {
        int largest = -1, next = -1; // magnitude and place, without branches, which nothing could predict
        for (int i = 0; i < places; i++) {
            const int key = in_.d[places * t + i] * places + (places - 1 - i);
            next = std::max(next, std::min(largest, key));
            largest = std::max(largest, key);
        }
        found[0] = places * t + (places - 1 - largest % places);
        found[1] = places * t + (places - 1 - next % places);
    }

    void choose(int p0, int p1, int p2, int p3) {
        best_[0] = p0;
        best_[1] = p1;
        best_[2] = p2;
        best_[3] = p3;
    }

    const SearchInput &in_;
    Criterion overall_;
    int x_ = 0, y_ = 0;
    int16_t sum_ = 0;
    int first_[2];
    int best_[fourPulses] = {0, places, 2 * places, 3 * places}; // positions 0, 1, 2, 3
};

} // namespace

ryxStatus ryxsFixedCodebookSearch_G729A_16s_u8(const int16_t *target, const int16_t *response, int16_t lag,
                                               int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index) {
    if (anyNull(target, response, code, filtered, index)) return ryxStsNullPtr;
    if (!isCodebookLag(lag)) return ryxStsOutOfRange;
    const SearchInput in(target, response, lag, sharpening, correlateResponse<depthFirstPairs>);
    DepthFirstSearch search(in);
    search.run();
    finishFourPulses(in, search.numbers(), lag, sharpening, code, filtered, index);
    return ryxStsOk;
}
