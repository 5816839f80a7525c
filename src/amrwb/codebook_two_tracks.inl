// SPDX-License-Identifier: BSD-2-Clause
// The algebraic codebook of 12 bits: a pulse on the even and one on the odd positions, every pair of which is tried.
// Compiled by both processor variants.
#pragma once

#include "amrwb/codebook_pairs.inl"
#include "amrwb/codebook_workspace.inl"

namespace ryxsc::amrwb {

namespace {

// Even and odd positions as two tracks each: index i of the even ones is index i / 2 on track 0 or 2.
constexpr int evenPosition(int i) {
    return 2 * i;
}
constexpr int oddPosition(int i) {
    return 2 * i + 1;
}

class TwoTrackSearch {
public:
    explicit TwoTrackSearch(Workspace &work) : work_(work) {}

    void run(const Arguments &in, int16_t mixingFactor) {
        work_.response.load(in.impulse, 0);
        selectSigns(work_.response, in.target, in.residual, in.sums, mixingFactor, work_.signs);
        const bool isBounded = sumOfSquares(in.impulse) <= boundedEnergy;
        prepareTerms(isBounded);
        std::optional<Pair> best;
        if (isBounded) best = bestPairInLanes();
        const auto [p, q] = best ? *best : bestPair();
        Placement &placement = work_.placements[0];
        placement.clear();
        work_.placePair(placement, p, q);
        work_.writeVectors(placement, pulseAmplitude, in.code, in.filtered);
        const auto pulse = [this](int position) {
            return position / 2 + (work_.isNegative(position) ? negativeHalfPulse : 0);
        };
        in.indices[0] = packPulses({pulse(p), pulse(q)});
    }

private:
    struct Pair {
        int p, q;
    };

    CrossTerms &crossTerms(int evenTrack, int oddTrack) { return work_.crossTerms[evenTrack + oddTrack / 2]; }

    void prepareTerms(bool isBounded) {
        energiesOf(work_.response, 0x10000, work_.energies);
        for (int t = 0; t < tracks; t++)
            work_.energies.put(t, _mm_srai_epi16(work_.energies.front(t), 1),
                               _mm_srai_epi16(work_.energies.back(t), 1));
        for (const int x : {0, 2})
            for (const int y : {1, 3})
                crossTermsOf(work_.response, isBounded, work_.signs.masks, x, y, crossTerms(x, y));
    }

    // The second pulse on one of the odd tracks. Correlations are below 2^14 and energies at most 2^14: nothing saturates.
    std::optional<Candidate> bestPairInLanes(int oddTrack) {
        const TrackWords &correlations = work_.signs.correlations, &energies = work_.energies;
        const Vector correlationsFront = correlations.front(oddTrack), correlationsBack = correlations.back(oddTrack);
        const Vector energiesFront = energies.front(oddTrack), energiesBack = energies.back(oddTrack);
        PairArgmax argmax;
        for (int x = 0; x < positions / 2; x++) {
            const int p = evenPosition(x);
            const Vector correlation = simd::words(correlations.at(p)), energy = simd::words(energies.at(p));
            const int16_t *const terms = crossTerms(p % tracks, oddTrack)[p / tracks];
            argmax.offer(x + 1, squareQ15(_mm_add_epi16(correlationsFront, correlation)),
                         squareQ15(_mm_add_epi16(correlationsBack, correlation)),
                         _mm_add_epi16(energy, _mm_add_epi16(energiesFront, simd::loadAligned(terms))),
                         _mm_add_epi16(energy, _mm_add_epi16(energiesBack, simd::loadAligned(terms + 8))));
        }
        return argmax.best();
    }

    std::optional<Pair> bestPairInLanes() {
        const std::optional<Candidate> first = bestPairInLanes(1), second = bestPairInLanes(3);
        if (!first || !second) return std::nullopt;
        const Pair onFirst = {evenPosition(first->x - 1), tracks * first->y + 1};
        const Pair onSecond = {evenPosition(second->x - 1), tracks * second->y + 3};
        if (second->criterion.isBelow(first->criterion)) return onFirst;
        if (first->criterion.isBelow(second->criterion)) return onSecond;
        const bool firstIsEarlier = onFirst.p < onSecond.p || (onFirst.p == onSecond.p && onFirst.q < onSecond.q);
        return firstIsEarlier ? onFirst : onSecond;
    }

    Pair bestPair() {
        const TrackWords &correlations = work_.signs.correlations, &energies = work_.energies;
        const auto correlationOf = [&](int x, int y) {
            return add(correlations.at(evenPosition(x)), correlations.at(oddPosition(y)));
        };
        const auto energyOf = [&](int x, int y) {
            const int p = evenPosition(x), q = oddPosition(y);
            const int16_t crossTerm = crossTerms(p % tracks, q % tracks)[p / tracks][q / tracks];
            return add(energies.at(p), add(energies.at(q), crossTerm));
        };
        const Candidate best = scan(~uint32_t{0}, positions / 2, correlationOf, energyOf);
        return {evenPosition(best.x), oddPosition(best.y)};
    }

    Workspace &work_;
};

} // namespace

} // namespace ryxsc::amrwb
