// SPDX-License-Identifier: BSD-2-Clause
// Eight and ten pulses, two a track. The first one stays where correlation and residual together are largest; the others
// follow in pairs, for every rotation of their tracks.
//
// The positions of a pair's first pulse are lanes. The rotations do not depend on each other: a pair is searched in all of
// them before the next one, so that the processor works on several at a time.
#include <algorithm>

#include "common/pulse_criterion.h"
#include "gsmamr/pulse_search.h"

namespace ryxsc::gsmamr {

namespace {

using simd::Vector;

// The tracks of the pulses, for each track that the first one lies on and each rotation of the others, round which the
// pulses go twice.
template <int step> struct TrackOrders {
    static constexpr int others = 2 * step - 1;
    uint8_t tracks[step][step - 1][2 * step];

    constexpr TrackOrders() : tracks() {
        for (int first = 0; first < step; first++)
            for (int turn = 0; turn < step - 1; turn++) {
                tracks[first][turn][0] = static_cast<uint8_t>(first);
                for (int k = 0; k < others; k++)
                    tracks[first][turn][1 + k] = static_cast<uint8_t>((first + 1 + (k + turn) % others) % step);
            }
    }
};
template <int step> inline constexpr TrackOrders<step> trackOrders;

// A rotation of the tracks, with the pulses that it has so far.
template <int step> struct Rotation {
    const uint8_t *tracks;
    int position[2 * step];
    int p; // correlation of the pulses
    Criterion criterion;
};

// The arithmetic of a pair: energies are sums of the matrix in units of c, the second pulse's part, rounded in units of
// 65536 / w, is put on with the weight z / c.
template <int pair> struct PairScale {
    static constexpr int c = 4096 >> pair;
    static constexpr int w = pair < 2 ? 8192 : 4096;
    static constexpr int partShift = pair < 2 ? 3 : 4;
    static constexpr int weight = 1 << partShift;
    static constexpr int z = c * weight;
    static constexpr int shift = 4 + pair;

    // Up to this energy of the pulses before the pair, none of the reference's sums saturates. With R the matrix, P the
    // pulses before and v a position, |sum of R[P][v]| is at most the root of the energy times R[v][v], and fewer terms
    // than all stay small enough anyway. In the first and the third pair nothing ever saturates.
    static constexpr int largestEnergy = pair == 1 || pair == 3 ? 24999 : 32767;
};

// What a pulse brings into a pair, in the lanes of a vector: its correlation, and its energy beside the pulses before,
// halved, in units of the pair's energy and the rest below that.
struct Share {
    Vector energy, rest, correlation;

    Share inAllLanes(int number) const {
        return {gsmamr::inAllLanes(energy, number), gsmamr::inAllLanes(rest, number),
                gsmamr::inAllLanes(correlation, number)};
    }
};

template <int step, int pair> class PairSearch {
public:
    PairSearch(const Work<step> &work, Rotation<step> &rotation)
        : work_(work), rotation_(rotation), first_(rotation.tracks[placed]), second_(rotation.tracks[placed + 1]) {}

    void run() {
        if (work_.matrix.isSaturated || work_.matrix.energy(0) > largestEntry ||
            rotation_.criterion.a > Scale::largestEnergy || !searchLanes())
            searchPlainly();
    }

private:
    using Scale = PairScale<pair>;
    static constexpr int placed = 2 + 2 * pair;
    static constexpr int positions = TrackWords<step>::positions;
    static constexpr int vectors = TrackWords<step>::vectors;
    static constexpr int unitShift = Scale::shift - 1; // of halved energies

    // An entry of the matrix has room for two rests, each less than a unit. No entry is larger than energy(0).
    static constexpr int largestEntry = max16 - 128;

    // Energy of a pulse beside those before, without theirs.
    simd::Dwords ownEnergy(int track, int vector) const {
        const Vector energies = work_.matrix.diagonal.at(track, vector), two = simd::words(2);
        simd::Dwords sums = {_mm_unpacklo_epi16(energies, _mm_setzero_si128()),
                             _mm_unpackhi_epi16(energies, _mm_setzero_si128())};
        for (int k = 0; k < placed; k += 2) {
            const auto rows = simd::sumsOfTwoProducts(work_.matrix.row(rotation_.position[k], track, vector), two,
                                                      work_.matrix.row(rotation_.position[k + 1], track, vector), two);
            sums.front = _mm_add_epi32(sums.front, rows.front);
            sums.back = _mm_add_epi32(sums.back, rows.back);
        }
        return sums;
    }

    // Energy of the pulses before, in units of c.
    int energyBefore() const {
        if constexpr (pair > 0) return rotation_.criterion.a << (3 + pair);
        const int i0 = rotation_.position[0], i1 = rotation_.position[1];
        return work_.matrix.energy(i0) + work_.matrix.energy(i1) + 2 * work_.matrix.entry(i0, i1);
    }

    // The energy of the pair is (base + first + 2 R + weight * part) >> shift, the weight being even: half of everything
    // will do, and 16 bits hold it. With all entries of the matrix at their largest, the share of the first pulse and
    // those before is 18431, 21715, 23039 or 16851, and that of the second pulse with R is 14336, 10239, 7679 or 4607.
    Share firstShare(int vector) const {
        const simd::Dwords own = ownEnergy(first_, vector);
        const Vector base = simd::dwords(energyBefore() + (1 << (Scale::shift - 1)));
        const Vector front = _mm_srai_epi32(_mm_add_epi32(own.front, base), 1);
        const Vector back = _mm_srai_epi32(_mm_add_epi32(own.back, base), 1);
        const Vector below = simd::dwords((1 << unitShift) - 1);
        return {_mm_packs_epi32(_mm_srai_epi32(front, unitShift), _mm_srai_epi32(back, unitShift)),
                _mm_packs_epi32(_mm_and_si128(front, below), _mm_and_si128(back, below)),
                _mm_adds_epi16(simd::words(static_cast<int16_t>(rotation_.p)), work_.correlation.at(first_, vector))};
    }
    Share secondShare(int vector) const {
        constexpr int weightShift = Scale::partShift - 1, partsPerUnit = unitShift - weightShift;
        const Vector part = simd::ScaleDown(Scale::partShift)(ownEnergy(second_, vector));
        const Vector below = simd::words((1 << partsPerUnit) - 1);
        return {_mm_srai_epi16(part, partsPerUnit), _mm_slli_epi16(_mm_and_si128(part, below), weightShift),
                work_.correlation.at(second_, vector)};
    }

    // The best of eight lanes.
    struct Candidates {
        LaneArgmax argmax;
        Vector leastEnergy = _mm_setzero_si128();

        void offer(const Share &x, const Share &y, Vector entries, Vector places) {
            const Vector rest = _mm_add_epi16(_mm_add_epi16(entries, x.rest), y.rest);
            const Vector a = _mm_add_epi16(_mm_srai_epi16(rest, unitShift), _mm_add_epi16(x.energy, y.energy));
            leastEnergy = _mm_min_epi16(leastEnergy, a);
            argmax.offer(squareQ15(_mm_adds_epi16(x.correlation, y.correlation)), a, places);
        }
        FourCandidates bestFour() const {
            const Vector zero = _mm_setzero_si128();
            return better({argmax.front(), _mm_unpacklo_epi16(argmax.number(), zero)},
                          {argmax.back(), _mm_unpackhi_epi16(argmax.number(), zero)});
        }
    };

    // A place is made of the first pulse's position and the second one's, in the order of the loops.
    static constexpr int placeOf(int first, int second) { return 16 * first + second; }

    // False where an energy is negative: then the order of the comparisons decides.
    bool searchLanes() {
        const Share first = firstShare(0), second = secondShare(0);
        Candidates candidates;
        Vector places = _mm_setr_epi16(0, 16, 32, 48, 64, 80, 96, 112);
#pragma GCC unroll 1
        for (int j = 0; j < 8; j++) {
            candidates.offer(first, second.inAllLanes(j), work_.matrix.row(second_ + step * j, first_), places);
            places = _mm_add_epi16(places, simd::words(1));
        }
        FourCandidates found;
        if constexpr (vectors == 1)
            found = candidates.bestFour();
        else
            found = withLastPositions(first, second, candidates);
        if (_mm_movemask_epi8(candidates.leastEnergy) != 0) return false;
        const PlacedCandidate best = argmaxOf(found);
        take(best.place / 16, best.place % 16, best.criterion);
        return true;
    }

    // Positions 8 and 9 of both pulses: of the second one beside the lanes of the first one's other positions, then the
    // other way round, and beside each other.
    FourCandidates withLastPositions(const Share &first, const Share &second, Candidates &candidates) const {
        const Share lastFirst = firstShare(1), lastSecond = secondShare(1);
        const auto row8 = [&](int track, int beside, int vector) {
            return work_.matrix.row(track + step * 8, beside, vector);
        };
        const auto row9 = [&](int track, int beside, int vector) {
            return work_.matrix.row(track + step * 9, beside, vector);
        };
        const Vector sixteens = _mm_setr_epi16(0, 16, 32, 48, 64, 80, 96, 112);
        const Vector ones = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
        candidates.offer(first, lastSecond.inAllLanes(0), row8(second_, first_, 0),
                         _mm_add_epi16(sixteens, simd::words(placeOf(0, 8))));
        candidates.offer(first, lastSecond.inAllLanes(1), row9(second_, first_, 0),
                         _mm_add_epi16(sixteens, simd::words(placeOf(0, 9))));
        candidates.offer(second, lastFirst.inAllLanes(0), row8(first_, second_, 0),
                         _mm_add_epi16(ones, simd::words(placeOf(8, 0))));
        candidates.offer(second, lastFirst.inAllLanes(1), row9(first_, second_, 0),
                         _mm_add_epi16(ones, simd::words(placeOf(9, 0))));
        const auto twice = [](Vector x) { return _mm_shuffle_epi32(x, 0); };
        const auto doubled = [](Vector x) { return _mm_unpacklo_epi16(x, x); };
        Candidates last;
        last.leastEnergy = candidates.leastEnergy;
        last.offer({twice(lastFirst.energy), twice(lastFirst.rest), twice(lastFirst.correlation)},
                   {doubled(lastSecond.energy), doubled(lastSecond.rest), doubled(lastSecond.correlation)},
                   _mm_unpacklo_epi32(row8(second_, first_, 1), row9(second_, first_, 1)), simd::words(0));
        candidates.leastEnergy = last.leastEnergy;
        const Vector places = _mm_setr_epi32(placeOf(8, 8), placeOf(9, 8), placeOf(8, 9), placeOf(9, 9));
        return better(candidates.bestFour(), {last.argmax.front(), places});
    }

    void take(int first, int second, const Criterion &criterion) {
        const int u = first_ + step * first, v = second_ + step * second;
        const int p = sat16(sat16(rotation_.p + work_.d(u)) + work_.d(v));
        rotation_.position[placed] = u;
        rotation_.position[placed + 1] = v;
        rotation_.criterion = criterion;
        rotation_.p = criterion.q < 0 ? 0 : p; // nothing was found
    }

    // The recommendation's loops with all their saturations.
    void searchPlainly() {
        Criterion best;
        int first = 0, second = 0;
        const int32_t before = energyBefore() * Scale::c;
        for (int i = 0; i < positions; i++) {
            const int u = first_ + step * i, p1 = sat16(rotation_.p + work_.d(u));
            const int32_t energy = addEnergy(before, Scale::c, u);
            for (int j = 0; j < positions; j++) {
                const int v = second_ + step * j, p = sat16(p1 + work_.d(v));
                const int part = round(addEnergy(0, Scale::w, v));
                const int32_t sum = L_add(L_add(energy, Scale::z * part), 2 * Scale::c * work_.matrix.entry(u, v));
                const Criterion criterion = {std::min((p * p) >> 15, 32767), round(sum)};
                if (!best.isBelow(criterion)) continue;
                best = criterion;
                first = i;
                second = j;
            }
        }
        take(first, second, best);
    }

    int32_t addEnergy(int32_t sum, int weight, int position) const {
        sum = L_add(sum, weight * work_.matrix.energy(position));
        for (int k = 0; k < placed; k++)
            sum = L_add(sum, 2 * weight * work_.matrix.entry(rotation_.position[k], position));
        return sum;
    }

    const Work<step> &work_;
    Rotation<step> &rotation_;
    const int first_, second_;
};

// The position of each track's largest magnitude, the first of equals, and which track has the largest of all.
template <int step> struct Maxima {
    int position[step];
    int track = 0;

    explicit Maxima(const TrackWords<step> &magnitude) {
        int largest = -1;
        for (int t = 0; t < step; t++) {
            const auto [value, index] = largestOf(magnitude, t);
            position[t] = t + step * index;
            if (value <= largest) continue;
            largest = value;
            track = t;
        }
    }

private:
    struct Largest {
        int value, index;
    };

    static Largest largestOf(const TrackWords<step> &magnitude, int t) {
        constexpr int last = TrackWords<step>::vectors - 1;
        const Vector front = magnitude.at(t), back = magnitude.at(t, last);
        Vector most = _mm_max_epi16(front, back);
        most = _mm_max_epi16(most, _mm_shuffle_epi32(most, _MM_SHUFFLE(1, 0, 3, 2)));
        most = _mm_max_epi16(most, _mm_shuffle_epi32(most, _MM_SHUFFLE(2, 3, 0, 1)));
        most = _mm_max_epi16(most, _mm_shufflelo_epi16(most, _MM_SHUFFLE(2, 3, 0, 1)));
        most = simd::broadcastWord<0>(most);
        const Vector equal = _mm_packs_epi16(_mm_cmpeq_epi16(front, most), _mm_cmpeq_epi16(back, most));
        return {extract_l(_mm_cvtsi128_si32(most)), __builtin_ctz(static_cast<unsigned>(_mm_movemask_epi8(equal)))};
    }
};

template <int step> Rotation<step> rotate(const Maxima<step> &maxima, int turn, const Work<step> &work) {
    Rotation<step> rotation;
    rotation.tracks = trackOrders<step>.tracks[maxima.track][turn];
    for (int k = 0; k < 2; k++)
        rotation.position[k] = maxima.position[rotation.tracks[k]];
    rotation.p = sat16(work.d(rotation.position[0]) + work.d(rotation.position[1]));
    return rotation;
}

// This pair in all rotations, and the pairs behind it.
template <int step, int pair = 0> void searchPairs(const Work<step> &work, Rotation<step> (&rotations)[step - 1]) {
    for (Rotation<step> &rotation : rotations)
        PairSearch<step, pair>(work, rotation).run();
    if constexpr (pair + 1 < step - 1) searchPairs<step, pair + 1>(work, rotations);
}

} // namespace

template <int step> Pulses searchManyPulses(const Words &magnitude, const Work<step> &work) {
    const Maxima<step> maxima(byTracks<step>(magnitude));
    Rotation<step> rotations[step - 1];
    for (int turn = 0; turn < step - 1; turn++)
        rotations[turn] = rotate(maxima, turn, work);
    searchPairs(work, rotations);

    Pulses pulses = {2 * step, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {}};
    Criterion best;
    for (const Rotation<step> &rotation : rotations)
        if (best.isBelow(rotation.criterion)) {
            best = rotation.criterion;
            std::copy_n(rotation.position, 2 * step, pulses.position);
        }
    for (int k = 0; k < pulses.count; k++)
        pulses.negative[k] = work.natural.sign.at[pulses.position[k]] < 0;
    return pulses;
}

template Pulses searchManyPulses(const Words &, const Work<4> &);
template Pulses searchManyPulses(const Words &, const Work<5> &);

} // namespace ryxsc::gsmamr
