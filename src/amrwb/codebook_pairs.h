// The pair of positions, one on each of two tracks, whose pulses make (correlation)^2 / energy largest. Compiled by both
// processor variants.
//
// The recommendation scans the pairs and takes one when it beats the best so far by cross multiplication. As long as all
// energies are positive, that is an order among fractions: the scan may be cut into lanes, one for each second position,
// and the winners compared at the end, as long as equal fractions leave the pair that the scan meets first.
#pragma once

#include <bit>
#include <optional>

#include "amrwb/codebook_response.h"

namespace ryxsc::amrwb {

namespace {

// Squared correlation and energy of a pair, and its place in the scan. Before the scan: the worst there is.
struct Candidate {
    int16_t score = -1;
    int16_t energy = 1;
    int x = 0, y = 0;

    // Whether the recommendation would replace `best` by this one.
    constexpr bool beats(const Candidate &best) const { return best.energy * score > best.score * energy; }
};

// mult(x, x), for x that saturated additions have not brought to -32768.
inline Vector squares(Vector x) {
    const Vector magnitude = _mm_abs_epi16(x);
    return _mm_mulhi_epu16(_mm_add_epi16(magnitude, magnitude), magnitude);
}

// The best candidate of each of 16 lanes, and then of all. A score is at least 0.
class Tournament {
public:
    // Turns are counted from 1.
    [[gnu::always_inline]] void enter(int turn, Vector scoreFront, Vector scoreBack, Vector energyFront,
                                      Vector energyBack) {
        lowestEnergy_ = _mm_min_epi16(lowestEnergy_, _mm_min_epi16(energyFront, energyBack));
        const Vector wins = _mm_packs_epi16(_mm_packs_epi32(enter(0, _mm_unpacklo_epi16(scoreFront, energyFront)),
                                                            enter(1, _mm_unpackhi_epi16(scoreFront, energyFront))),
                                            _mm_packs_epi32(enter(2, _mm_unpacklo_epi16(scoreBack, energyBack)),
                                                            enter(3, _mm_unpackhi_epi16(scoreBack, energyBack))));
        turns_ = _mm_max_epu8(turns_, _mm_and_si128(wins, _mm_set1_epi8(static_cast<char>(turn))));
    }

    // The winner with x = its turn and y = its lane; nothing when an energy was not positive.
    std::optional<Candidate> winner() const {
        if (_mm_movemask_epi8(_mm_cmpgt_epi16(simd::words(1), lowestEnergy_)) != 0) return std::nullopt;
        // The place in the scan: turn and lane.
        const Vector zero = _mm_setzero_si128();
        const Vector turns[2] = {_mm_unpacklo_epi8(turns_, zero), _mm_unpackhi_epi8(turns_, zero)};
        Lanes all[4];
        for (int i = 0; i < 4; i++) {
            const Vector turn = i % 2 ? _mm_unpackhi_epi16(turns[i / 2], zero) : _mm_unpacklo_epi16(turns[i / 2], zero);
            const Vector lane = _mm_setr_epi32(4 * i, 4 * i + 1, 4 * i + 2, 4 * i + 3);
            all[i] = {best_[i], _mm_or_si128(_mm_slli_epi32(turn, 4), lane)};
        }
        Lanes best = better(better(all[0], all[1]), better(all[2], all[3]));
        best = better(best, best.shuffled<_MM_SHUFFLE(1, 0, 3, 2)>());
        best = better(best, best.shuffled<_MM_SHUFFLE(2, 3, 0, 1)>());
        const int32_t pair = _mm_cvtsi128_si32(best.pairs), place = _mm_cvtsi128_si32(best.places);
        return Candidate{negate(extract_h(pair)), extract_l(pair), place / 16, place % 16};
    }

private:
    // Energy and negated score in each dword, so that pmaddwd with score and energy gives the difference of the cross
    // products. It fits 31 bits with a sign as long as both energies are below 2^15.
    struct Lanes {
        Vector pairs, places;

        template <int order> Lanes shuffled() const {
            return {_mm_shuffle_epi32(pairs, order), _mm_shuffle_epi32(places, order)};
        }
    };

    static Vector selected(Vector mask, Vector x, Vector other) {
        return _mm_xor_si128(other, _mm_and_si128(mask, _mm_xor_si128(x, other)));
    }
    // From (score, energy) to (energy, -score), and back.
    static Vector turned(Vector pairs) {
        const Vector exchange = _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
        return _mm_sign_epi16(_mm_shuffle_epi8(pairs, exchange), simd::dwords(-0x10000 + 1));
    }
    static Vector turnedBack(Vector pairs) {
        const Vector exchange = _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
        return _mm_sign_epi16(_mm_shuffle_epi8(pairs, exchange), simd::dwords(0x1ffff));
    }

    [[gnu::always_inline]] Vector enter(int i, Vector scoresAndEnergies) {
        const Vector wins = _mm_cmpgt_epi32(_mm_madd_epi16(scoresAndEnergies, best_[i]), _mm_setzero_si128());
        best_[i] = selected(wins, turned(scoresAndEnergies), best_[i]);
        return wins;
    }

    static Lanes better(const Lanes &a, const Lanes &b) {
        const Vector lead = _mm_madd_epi16(turnedBack(b.pairs), a.pairs);
        // The earlier place wins a tie: then the lead may be 0, which is more than -1.
        const Vector wins = _mm_cmpgt_epi32(lead, _mm_cmpgt_epi32(a.places, b.places));
        return {selected(wins, b.pairs, a.pairs), selected(wins, b.places, a.places)};
    }

    // The start loses to every first entry: score -1, energy 1.
    Vector best_[4] = {simd::words(1), simd::words(1), simd::words(1), simd::words(1)};
    Vector turns_ = _mm_setzero_si128();
    Vector lowestEnergy_ = simd::words(max16);
};

// The scan as the recommendation has it, over the x whose bits are set, with any energies.
template <class Correlation, class Energy>
Candidate scan(uint32_t candidates, int lanes, Correlation correlationOf, Energy energyOf) {
    Candidate best;
    for (; candidates != 0; candidates &= candidates - 1) {
        const int x = std::countr_zero(candidates);
        for (int y = 0; y < lanes; y++) {
            const int16_t correlation = correlationOf(x, y);
            const Candidate next = {mult(correlation, correlation), energyOf(x, y), x, y};
            if (next.beats(best)) best = next;
        }
    }
    return best;
}

} // namespace

} // namespace ryxsc::amrwb
