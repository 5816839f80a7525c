// SPDX-License-Identifier: BSD-2-Clause
// Two, three and four pulses: for every order of the tracks, and for every marked position of the first track, the pulses
// of the other tracks are found one after the other.
//
// The eight positions of the first track are eight lanes, each with a search of its own. What a lane has found on a track
// is a pattern that shuffles rows of the matrix.
#include <iterator>

#include "common/pulse_criterion.h"
#include "gsmamr/pulse_search.h"

namespace ryxsc::gsmamr {

namespace {

using simd::Vector;

constexpr int step = 5;
constexpr int lanes = 8;
constexpr int mostPulses = 4;

using Order = std::array<uint8_t, mostPulses>;

constexpr Order orders11Bits[] = {{1, 0}, {1, 1}, {1, 2}, {1, 4}, {3, 0}, {3, 1}, {3, 2}, {3, 4}};
// Each set of tracks is rotated to the right until the first one comes back.
constexpr Order ordersOfThree[] = {{0, 1, 2}, {2, 0, 1}, {1, 2, 0}, {0, 1, 4}, {4, 0, 1}, {1, 4, 0},
                                   {0, 3, 2}, {2, 0, 3}, {3, 2, 0}, {0, 3, 4}, {4, 0, 3}, {3, 4, 0}};
constexpr Order ordersOfFour[] = {{0, 1, 2, 3}, {3, 0, 1, 2}, {2, 3, 0, 1}, {1, 2, 3, 0},
                                  {0, 1, 2, 4}, {4, 0, 1, 2}, {2, 4, 0, 1}, {1, 2, 4, 0}};

// Positions of a track on which a first pulse is tried, one bit each.
using Marks = std::array<unsigned, step>;
constexpr Marks allMarked = {0xff, 0xff, 0xff, 0xff, 0xff};

// Without the `dropped` smallest correlations, of equal ones those in front. The reference looks for something smaller
// than 32767, so it never drops that; finding nothing, it drops the last position once more, at first position 0.
unsigned markTrack(Vector correlation, int dropped) {
    Vector rank = _mm_setzero_si128(); // how many are smaller, or equal and in front; as a negative number
    const Vector numbers = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
    Vector other = correlation;
    for (int turn = 1; turn < lanes; turn++) {
        other = _mm_alignr_epi8(other, other, 2);
        const Vector isInFront = _mm_cmpgt_epi16(numbers, simd::words(static_cast<int16_t>(lanes - 1 - turn)));
        rank = _mm_add_epi16(rank, _mm_cmpgt_epi16(correlation, _mm_add_epi16(other, isInFront)));
    }
    const Vector stays = _mm_or_si128(_mm_cmpgt_epi16(simd::words(static_cast<int16_t>(1 - dropped)), rank),
                                      _mm_cmpeq_epi16(correlation, simd::words(max16)));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(stays, _mm_setzero_si128())));
}

Marks mark(const TrackWords<step> &correlation, int dropped) {
    Marks marks;
    for (int track = 0; track < step; track++)
        marks[static_cast<size_t>(track)] = markTrack(correlation.at(track), dropped);
    const Vector first = _mm_cmpeq_epi16(correlation.at(0), simd::words(max16));
    if (_mm_movemask_epi8(first) == 0xffff) marks[0] &= ~1U;
    return marks;
}

// A pshufb pattern that gives every lane the word with the lane's number.
Vector lookUp(Vector numbers) {
    return _mm_add_epi16(_mm_mullo_epi16(numbers, simd::words(0x0202)), simd::words(0x0100));
}

// What the lanes have found so far.
struct Trial {
    Vector numbers[mostPulses]; // of the positions on their tracks, from the second pulse on
    Vector p;                   // correlation of all pulses
    LaneArgmax last;            // the latest stage
};

simd::Dwords operator+(const simd::Dwords &x, const simd::Dwords &y) {
    return {_mm_add_epi32(x.front, y.front), _mm_add_epi32(x.back, y.back)};
}

class OrderSearch {
public:
    OrderSearch(const Work<step> &work, const Order &order) : work_(work), order_(order) {}

    template <int pulses> Trial run() const {
        Trial trial;
        trial.p = work_.correlation.at(order_[0]);
        addPulse<1>(trial);
        if constexpr (pulses > 2) addPulse<2>(trial);
        if constexpr (pulses > 3) addPulse<3>(trial);
        return trial;
    }

private:
    // Energies, with R the matrix and 0, 1, 2, 3 the positions of the pulses; 32 bits hold all sums:
    //   a1 = (R00 + R11 + 2 R01 + 2) >> 2
    //   a2 = (4 a1 + R22 + 2 R02 + 2 R12 + 8) >> 4
    //   a3 = (16 a2 + R33 + 2 R03 + 2 R13 + 2 R23 + 8) >> 4
    template <int k> void addPulse(Trial &trial) const {
        constexpr int16_t scales[] = {0, 1, 4, 16}; // of the energy before
        const int track = order_[k];
        const Vector one = simd::words(1), zero = _mm_setzero_si128();
        const Vector correlations = work_.correlation.at(track), energies = work_.matrix.diagonal.at(track);
        Vector patterns[mostPulses];
        for (int j = 1; j < k; j++)
            patterns[j] = lookUp(trial.numbers[j]);
        constexpr int shift = k == 1 ? 2 : 4;
        const Vector before = k == 1 ? work_.matrix.diagonal.at(order_[0]) : trial.last.a();
        const auto base = simd::sumsOfTwoProducts(before, simd::words(scales[k]), one, simd::words(1 << (shift - 1)));
        LaneArgmax argmax;
#pragma GCC unroll 1
        for (int number = 0; number < lanes; number++) {
            const Vector energy = inAllLanes(energies, number);
            const int position = track + step * number;
            const auto cross = [&](int j) {
                const Vector row = work_.matrix.row(position, order_[static_cast<size_t>(j)]);
                return j == 0 ? row : _mm_shuffle_epi8(row, patterns[j]);
            };
            const Vector two = simd::words(2);
            simd::Dwords sums = base + simd::sumsOfTwoProducts(cross(0), two, energy, one);
            if constexpr (k == 2) sums = sums + simd::sumsOfTwoProducts(cross(1), two, zero, zero);
            if constexpr (k == 3) sums = sums + simd::sumsOfTwoProducts(cross(1), two, cross(2), two);
            const Vector a = _mm_packs_epi32(_mm_srai_epi32(sums.front, shift), _mm_srai_epi32(sums.back, shift));
            const Vector p = _mm_adds_epi16(trial.p, inAllLanes(correlations, number));
            argmax.offer(squareQ15(p), a, simd::words(static_cast<int16_t>(number)));
        }
        trial.numbers[k] = argmax.number();
        trial.last = argmax;
        const Vector found = _mm_adds_epi16(trial.p, _mm_shuffle_epi8(correlations, lookUp(argmax.number())));
        trial.p = _mm_andnot_si128(simd::signMask(argmax.q()), found); // 0 where nothing was found
    }

    const Work<step> &work_;
    const Order &order_;
};

// The best of all trials. It starts with the pulses at 0, 1, 2, ...
template <int pulses> class BestTrial {
public:
    // The marked lanes take part one after the other.
    void offer(const Trial &trial, const Order &order, unsigned marked) {
        for (unsigned better; (better = trial.last.lanesAbove(criterion_) & marked) != 0;) {
            const int lane = __builtin_ctz(better);
            marked &= ~1U << lane;
            take(trial, order, lane);
        }
    }

    Pulses withSigns(const Words &sign) const {
        Pulses result = {pulses, {}, {}};
        for (int k = 0; k < pulses; k++) {
            result.position[k] = positions_[k];
            result.negative[k] = sign.at[positions_[k]] < 0;
        }
        return result;
    }

private:
    void take(const Trial &trial, const Order &order, int lane) {
        const auto inLane = [lane](Vector x) {
            int16_t words[lanes];
            simd::store(words, x);
            return words[lane];
        };
        criterion_ = {inLane(trial.last.q()), inLane(trial.last.a())};
        positions_[0] = order[0] + step * lane;
        for (int k = 1; k < pulses; k++)
            positions_[k] = order[static_cast<size_t>(k)] + step * inLane(trial.numbers[k]);
    }

    Criterion criterion_;
    int positions_[mostPulses] = {0, 1, 2, 3};
};

template <int pulses, class Orders> Pulses search(const Orders &orders, const Marks &marks, const Work<step> &work) {
    BestTrial<pulses> best;
    for (const Order &order : orders)
        best.offer(OrderSearch(work, order).template run<pulses>(), order, marks[order[0]]);
    return best.withSigns(work.natural.sign);
}

} // namespace

Pulses searchFewPulses(Codebook codebook, int subframe, const Work<step> &work) {
    switch (codebook) {
    case Codebook::twoPulses9Bits: {
        Order pairs[2];
        for (size_t set = 0; set < 2; set++) {
            const auto &tracks = trackPairs9Bits[set][static_cast<size_t>(subframe)];
            pairs[set] = {tracks[0], tracks[1]};
        }
        return search<2>(pairs, allMarked, work);
    }
    case Codebook::twoPulses11Bits:
        return search<2>(orders11Bits, allMarked, work);
    case Codebook::threePulses:
        return search<3>(ordersOfThree, mark(work.correlation, 2), work);
    default:
        return search<4>(ordersOfFour, mark(work.correlation, 4), work);
    }
}

} // namespace ryxsc::gsmamr
