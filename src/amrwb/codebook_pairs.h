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
#include "common/contest.h"

namespace ryxsc::amrwb {

namespace {

// A pair and its place in the scan.
struct Candidate {
    Score score; // squared correlation and energy
    int x = 0, y = 0;
};

// The best candidate of each of 16 lanes, and then of all.
class Tournament {
public:
    // Turns are counted from 1.
    void enter(int turn, Vector qFront, Vector qBack, Vector energyFront, Vector energyBack) {
        const Vector number = simd::words(static_cast<int16_t>(turn));
        lowestEnergy_ = _mm_min_epi16(lowestEnergy_, _mm_min_epi16(energyFront, energyBack));
        front_.challenge(qFront, energyFront, number);
        back_.challenge(qBack, energyBack, number);
    }

    // The winner with x = its turn and y = its lane; nothing when an energy was not positive.
    std::optional<Candidate> winner() const {
        if (_mm_movemask_epi8(_mm_cmpgt_epi16(simd::words(1), lowestEnergy_)) != 0) return std::nullopt;
        const Lanes first = better({front_.front(), frontPlaces(front_, 0)}, {front_.back(), backPlaces(front_, 4)});
        const Lanes second = better({back_.front(), frontPlaces(back_, 8)}, {back_.back(), backPlaces(back_, 12)});
        Lanes best = better(first, second);
        best = better(best, best.shuffled<_MM_SHUFFLE(1, 0, 3, 2)>());
        best = better(best, best.shuffled<_MM_SHUFFLE(2, 3, 0, 1)>());
        const int32_t pair = _mm_cvtsi128_si32(best.pairs), place = _mm_cvtsi128_si32(best.places);
        return Candidate{{extract_h(pair), extract_l(pair)}, place / trackLength, place % trackLength};
    }

private:
    // Energy and q in each dword, and the place in the scan, made of turn and lane.
    struct Lanes {
        Vector pairs, places;

        template <int order> Lanes shuffled() const {
            return {_mm_shuffle_epi32(pairs, order), _mm_shuffle_epi32(places, order)};
        }
    };

    static Vector frontPlaces(const Contest &contest, int lane) {
        return places(_mm_unpacklo_epi16(contest.number(), _mm_setzero_si128()), lane);
    }
    static Vector backPlaces(const Contest &contest, int lane) {
        return places(_mm_unpackhi_epi16(contest.number(), _mm_setzero_si128()), lane);
    }
    static Vector places(Vector turns, int lane) {
        return _mm_or_si128(_mm_slli_epi32(turns, 4), _mm_setr_epi32(lane, lane + 1, lane + 2, lane + 3));
    }

    static Lanes better(const Lanes &a, const Lanes &b) {
        // From (energy, q) to (q, -energy), so that pmaddwd gives the difference of the cross products.
        const Vector exchange = _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
        const Vector crossed = _mm_sign_epi16(_mm_shuffle_epi8(b.pairs, exchange), simd::dwords(-0x10000 + 1));
        const Vector lead = _mm_madd_epi16(crossed, a.pairs);
        // The earlier place wins a tie: then the lead may be 0, which is more than -1.
        const Vector wins = _mm_cmpgt_epi32(lead, _mm_cmpgt_epi32(a.places, b.places));
        return {simd::select(wins, b.pairs, a.pairs), simd::select(wins, b.places, a.places)};
    }

    Contest front_, back_;
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
            const Candidate next = {{mult(correlation, correlation), energyOf(x, y)}, x, y};
            if (best.score.isBeatenBy(next.score)) best = next;
        }
    }
    return best;
}

} // namespace

} // namespace ryxsc::amrwb
