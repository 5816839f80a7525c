// Eight and ten pulses, two a track. The first one stays where correlation and residual together are largest; the others
// follow in pairs, for every rotation of their tracks.
//
// The positions of a pair's first pulse are lanes. The rotations do not depend on each other: a pair is searched in all of
// them before the next one, so that the processor works on several at a time.
#include <algorithm>

#include "common/contest.h"
#include "gsmamr/pulse_search.h"

namespace ryxsc::gsmamr {

namespace {

using simd::Vector;

// A rotation of the tracks, with the pulses that it has so far.
template <int step> struct Rotation {
    int tracks[2 * step];
    int position[2 * step];
    int p; // correlation of the pulses
    Score score;
};

// The arithmetic of a pair: energies are sums of the matrix in units of c, the second pulse's part w, rounded, is put on
// with the weight z / c. In 32 bits of the reference c = 2^(12 - pair).
struct PairScale {
    int pair;

    int shift() const { return 4 + pair; }
    int partShift() const { return pair < 2 ? 3 : 4; }
    int weight() const { return 1 << partShift(); }
    int c() const { return 4096 >> pair; }
    int w() const { return pair < 2 ? 8192 : 4096; }
    int z() const { return c() * weight(); }

    // Up to this energy of the pulses before the pair, none of the reference's sums saturates. With R the matrix, P the
    // pulses before and v a position, |sum of R[P][v]| is at most the root of the energy times R[v][v], and fewer terms
    // than all stay small enough anyway. In the first and the third pair nothing ever saturates.
    int largestEnergy() const { return pair == 1 || pair == 3 ? 24999 : 32767; }
};

template <int step> class PairSearch {
public:
    PairSearch(const Work<step> &work, Rotation<step> &rotation, PairScale scale)
        : work_(work), rotation_(rotation), scale_(scale), placed_(2 + 2 * scale.pair),
          first_(rotation.tracks[placed_]), second_(rotation.tracks[placed_ + 1]) {}

    void run() {
        if (work_.matrix.isSaturated || rotation_.score.a > scale_.largestEnergy() || !searchLanes()) searchPlainly();
    }

private:
    static constexpr int positions = TrackWords<step>::positions;
    static constexpr int vectors = TrackWords<step>::vectors;

    struct Lanes {
        int pair[8 * vectors]; // (a, q)
        int16_t number[8 * vectors];
    };

    // Energy of a pulse beside those before, without theirs.
    simd::Dwords ownEnergy(int track, int vector) const {
        const Vector energies = work_.matrix.diagonal.at(track, vector), two = simd::words(2);
        simd::Dwords sums = {_mm_unpacklo_epi16(energies, _mm_setzero_si128()),
                             _mm_unpackhi_epi16(energies, _mm_setzero_si128())};
        for (int k = 0; k < placed_; k += 2) {
            const auto rows = simd::sumsOfTwoProducts(work_.matrix.row(rotation_.position[k], track, vector), two,
                                                      work_.matrix.row(rotation_.position[k + 1], track, vector), two);
            sums.front = _mm_add_epi32(sums.front, rows.front);
            sums.back = _mm_add_epi32(sums.back, rows.back);
        }
        return sums;
    }

    // Energy of the pulses before, in units of c.
    int energyBefore() const {
        if (scale_.pair > 0) return rotation_.score.a << (3 + scale_.pair);
        const int i0 = rotation_.position[0], i1 = rotation_.position[1];
        return work_.matrix.energy(i0) + work_.matrix.energy(i1) + 2 * work_.matrix.entry(i0, i1);
    }

    // False where an energy is negative: then the order of the comparisons decides.
    bool searchLanes() {
        alignas(16) int16_t part[8 * vectors];
        const simd::ScaleDown scaleDown(scale_.partShift());
        for (int vector = 0; vector < vectors; vector++)
            simd::store(part + 8 * vector, scaleDown(ownEnergy(second_, vector)));
        Lanes lanes;
        bool negative = false;
        for (int vector = 0; vector < vectors; vector++)
            negative |= searchVector(vector, part, lanes);
        if (!negative) takeBest(lanes);
        return !negative;
    }

    bool searchVector(int vector, const int16_t *part, Lanes &lanes) const {
        const Vector base = simd::dwords(energyBefore() + (1 << (scale_.shift() - 1)));
        const Vector shift = _mm_cvtsi32_si128(scale_.shift());
        const Vector two = simd::words(2), weight = simd::words(static_cast<int16_t>(scale_.weight()));
        simd::Dwords first = ownEnergy(first_, vector);
        first.front = _mm_add_epi32(first.front, base);
        first.back = _mm_add_epi32(first.back, base);
        const Vector p1 =
            _mm_adds_epi16(simd::words(static_cast<int16_t>(rotation_.p)), work_.correlation.at(first_, vector));
        const int16_t *d = work_.correlation.words[second_];
        Contest contest;
        Vector least = _mm_setzero_si128();
        for (int number = 0; number < positions; number++) {
            const auto rest = simd::sumsOfTwoProducts(work_.matrix.row(second_ + step * number, first_, vector), two,
                                                      simd::words(part[number]), weight);
            const Vector a = _mm_packs_epi32(_mm_sra_epi32(_mm_add_epi32(first.front, rest.front), shift),
                                             _mm_sra_epi32(_mm_add_epi32(first.back, rest.back), shift));
            least = _mm_min_epi16(least, a);
            contest.challenge(squareQ15(_mm_adds_epi16(p1, simd::words(d[number]))), a,
                              simd::words(static_cast<int16_t>(number)));
        }
        contest.store(lanes.pair + 8 * vector, lanes.number + 8 * vector);
        return _mm_movemask_epi8(least) != 0;
    }

    void takeBest(const Lanes &lanes) {
        int best = 0;
        const auto scoreOf = [&](int lane) { return Score{lanes.pair[lane] >> 16, extract_l(lanes.pair[lane])}; };
        for (int lane = 1; lane < positions; lane++)
            best = scoreOf(best).isBeatenBy(scoreOf(lane)) ? lane : best;
        take(best, lanes.number[best], scoreOf(best));
    }

    void take(int first, int second, const Score &score) {
        const int u = first_ + step * first, v = second_ + step * second;
        const int p = sat16(sat16(rotation_.p + work_.d(u)) + work_.d(v));
        rotation_.position[placed_] = u;
        rotation_.position[placed_ + 1] = v;
        rotation_.score = score;
        rotation_.p = score.q < 0 ? 0 : p; // nothing has won
    }

    // The recommendation's loops with all their saturations.
    void searchPlainly() {
        Score best;
        int first = 0, second = 0;
        const int32_t before = energyBefore() * scale_.c();
        for (int i = 0; i < positions; i++) {
            const int u = first_ + step * i, p1 = sat16(rotation_.p + work_.d(u));
            const int32_t energy = addEnergy(before, scale_.c(), u);
            for (int j = 0; j < positions; j++) {
                const int v = second_ + step * j, p = sat16(p1 + work_.d(v));
                const int part = round(addEnergy(0, scale_.w(), v));
                const int32_t sum = L_add(L_add(energy, scale_.z() * part), 2 * scale_.c() * work_.matrix.entry(u, v));
                const Score score = {std::min((p * p) >> 15, 32767), round(sum)};
                if (!best.isBeatenBy(score)) continue;
                best = score;
                first = i;
                second = j;
            }
        }
        take(first, second, best);
    }

    int32_t addEnergy(int32_t sum, int weight, int position) const {
        sum = L_add(sum, weight * work_.matrix.energy(position));
        for (int k = 0; k < placed_; k++)
            sum = L_add(sum, 2 * weight * work_.matrix.entry(rotation_.position[k], position));
        return sum;
    }

    const Work<step> &work_;
    Rotation<step> &rotation_;
    const PairScale scale_;
    const int placed_, first_, second_;
};

// The position of each track's largest magnitude, the first of equals, and which track has the largest of all.
template <int step> struct Maxima {
    int position[step];
    int track = 0;

    explicit Maxima(const Words &magnitude) {
        for (int t = 0; t < step; t++) {
            position[t] = t;
            for (int n = t; n < subframeLength; n += step)
                if (magnitude.at[n] > magnitude.at[position[t]]) position[t] = n;
            if (magnitude.at[position[t]] > magnitude.at[position[track]]) track = t;
        }
    }
};

template <int step> Rotation<step> rotate(const Maxima<step> &maxima, int turn, const Work<step> &work) {
    Rotation<step> rotation;
    constexpr int others = 2 * step - 1;
    rotation.tracks[0] = maxima.track;
    for (int k = 0; k < others; k++)
        rotation.tracks[1 + k] = (maxima.track + 1 + (k + turn) % others) % step;
    for (int k = 0; k < 2; k++)
        rotation.position[k] = maxima.position[rotation.tracks[k]];
    rotation.p = sat16(work.d(rotation.position[0]) + work.d(rotation.position[1]));
    return rotation;
}

} // namespace

template <int step> Pulses searchManyPulses(const Words &magnitude, const Work<step> &work) {
    const Maxima<step> maxima(magnitude);
    Rotation<step> rotations[step - 1];
    for (int turn = 0; turn < step - 1; turn++)
        rotations[turn] = rotate(maxima, turn, work);
    for (int pair = 0; pair < step - 1; pair++)
        for (Rotation<step> &rotation : rotations)
            PairSearch<step>(work, rotation, {pair}).run();

    Pulses pulses = {2 * step, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, {}};
    Score best;
    for (const Rotation<step> &rotation : rotations)
        if (best.isBeatenBy(rotation.score)) {
            best = rotation.score;
            std::copy_n(rotation.position, 2 * step, pulses.position);
        }
    for (int k = 0; k < pulses.count; k++)
        pulses.negative[k] = work.natural.sign.at[pulses.position[k]] < 0;
    return pulses;
}

template Pulses searchManyPulses(const Words &, const Work<4> &);
template Pulses searchManyPulses(const Words &, const Work<5> &);

} // namespace ryxsc::gsmamr
