// SPDX-License-Identifier: BSD-2-Clause
// The pair of positions, one on each of two tracks, whose pulses make (correlation)^2 / energy largest. Compiled by both
// processor variants.
//
// The recommendation scans the pairs and takes one when it beats the best so far by cross multiplication. As long as all
// energies are positive, that is an order among fractions: the scan may be cut into lanes, one for each second position,
// and the best of each compared at the end, as long as equal fractions leave the pair that the scan meets first.
#pragma once

#include <bit>
#include <optional>

#include "amrwb/codebook_response.inl"
#include "common/pulse_criterion.h"

namespace ryxsc::amrwb {

namespace {

// A pair and its place in the scan.
struct Candidate {
    Criterion criterion; // squared correlation and energy
    int x = 0, y = 0;
};

// The best candidate of each of 16 lanes, and then of all.
class PairArgmax {
public:
    // Turns are counted from 1.
    void offer(int turn, Vector qFront, Vector qBack, Vector energyFront, Vector energyBack) {
        const Vector number = simd::words(static_cast<int16_t>(turn));
        lowestEnergy_ = _mm_min_epi16(lowestEnergy_, _mm_min_epi16(energyFront, energyBack));
        front_.offer(qFront, energyFront, number);
        back_.offer(qBack, energyBack, number);
    }

    // The best pair, with x = its turn and y = its lane; nothing when an energy was not positive.
    std::optional<Candidate> best() const {
        if (_mm_movemask_epi8(_mm_cmpgt_epi16(simd::words(1), lowestEnergy_)) != 0) return std::nullopt;
        const FourCandidates first =
            better({front_.front(), frontPlaces(front_, 0)}, {front_.back(), backPlaces(front_, 4)});
        const FourCandidates second =
            better({back_.front(), frontPlaces(back_, 8)}, {back_.back(), backPlaces(back_, 12)});
        const PlacedCandidate found = argmaxOf(better(first, second));
        return Candidate{found.criterion, found.place / trackLength, found.place % trackLength};
    }

private:
    // A place in the scan is made of turn and lane.
    static Vector frontPlaces(const LaneArgmax &argmax, int lane) {
        return places(_mm_unpacklo_epi16(argmax.number(), _mm_setzero_si128()), lane);
    }
    static Vector backPlaces(const LaneArgmax &argmax, int lane) {
        return places(_mm_unpackhi_epi16(argmax.number(), _mm_setzero_si128()), lane);
    }
    static Vector places(Vector turns, int lane) {
        return _mm_or_si128(_mm_slli_epi32(turns, 4), _mm_setr_epi32(lane, lane + 1, lane + 2, lane + 3));
    }

    LaneArgmax front_, back_;
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
            if (best.criterion.isBelow(next.criterion)) best = next;
        }
    }
    return best;
}

} // namespace

} // namespace ryxsc::amrwb
