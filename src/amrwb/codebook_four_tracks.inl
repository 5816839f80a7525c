// SPDX-License-Identifier: BSD-2-Clause
// The algebraic codebooks of 20 bits and more: pulses on four tracks, placed pair by pair. Compiled by both processor
// variants.
#pragma once

#include <cstdlib>

#include "amrwb/codebook_pairs.inl"
#include "amrwb/codebook_workspace.inl"

namespace ryxsc::amrwb {

namespace {

constexpr int nextTrack(int track) {
    return (track + 1) % tracks;
}

class FourTrackSearch {
public:
    FourTrackSearch(const Codebook &codebook, Workspace &work) : codebook_(codebook), work_(work) {}

    void run(const Arguments &in) {
        work_.response.load(in.impulse, 0);
        selectSigns(work_.response, in.target, in.residual, in.sums, codebook_.mixingFactor, work_.signs);
        const bool isHalved = prepareResponse(in.impulse);
        prepareTerms();
        const Placement &best = iterate(in.fallback);
        work_.writeVectors(best, pulseAmplitude >> int{isHalved}, in.code, in.filtered);
        pack(best, in.indices);
    }

private:
    // Halves a strong response when there are many pulses, which keeps the correlations in range. Returns whether.
    bool prepareResponse(const int16_t *impulse) {
        const int64_t energy = sumOfSquares(impulse);
        const bool isHalved = codebook_.pulses >= 12 && sat32(2 * energy) >> 16 > 1024;
        if (isHalved) work_.response.load(impulse, 1);
        energy_ = isHalved ? sumOfSquares(work_.response.samples()) : energy;
        // A sum of products of the response with that of n pulses is at most n times the energy (Cauchy-Schwarz), and the
        // recommendation doubles it. At most two pulses less than all are placed before a pair.
        isBounded_ = energy_ <= boundedEnergy && energy_ * (codebook_.pulses - 2) < 1 << 30;
        return isHalved;
    }

    void prepareTerms() {
        energiesOf(work_.response, 0x8000, work_.energies);
        for (int t = 0; t < tracks; t++) {
            crossTermsOf(work_.response, isBounded_, work_.signs.masks, t, nextTrack(t), work_.crossTerms[t]);
            largestCorrelation_[t] =
                largestMagnitude(work_.signs.correlations.front(t), work_.signs.correlations.back(t));
        }
    }

    // The iterations do not depend on one another. They advance pair by pair in turn, so that one computes while the
    // other waits for the positions of its last pair.
    const Placement &iterate(const int16_t *fallback) {
        for (int k = 0; k < codebook_.iterations; k++)
            placeFirstStage(k, work_.placements[k]);
        const int pairs = (codebook_.pulses - codebook_.firstStage) / 2;
        for (int pair = 0; pair < pairs; pair++)
            for (int k = 0; k < codebook_.iterations; k++)
                placePair(k, codebook_.tried[static_cast<size_t>(pair)], work_.placements[k]);
        const int best = bestIteration();
        if (best == none && fallback != nullptr) placeFallback(fallback, work_.placements[0]);
        return work_.placements[std::max(best, 0)];
    }

    // The recommendation leaves what it holds before any iteration: pulses on the first positions, and in place of their
    // response a vector of the caller's.
    void placeFallback(const int16_t *response, Placement &placement) const {
        placement.clear();
        for (int p = 0; p < codebook_.pulses; p++)
            placement.pulses[placement.count++] = static_cast<uint8_t>(p);
        std::copy_n(response, positions, placement.response);
    }

    static constexpr int none = -1;

    // The earliest one among equals, and none when energies that saturated leave none.
    int bestIteration() const {
        Criterion best;
        int chosen = none;
        for (int k = 0; k < codebook_.iterations; k++) {
            const Placement &placement = work_.placements[k];
            const Criterion next = {mult(placement.correlation, placement.correlation), placement.energy};
            if (!best.isBelow(next)) continue;
            best = next;
            chosen = k;
        }
        return chosen;
    }

    // The two tracks of a pair are always neighbours.
    int trackOf(int iteration, int pulse) const {
        const bool isExtraPair = codebook_.pulses % tracks != 0 && pulse >= codebook_.pulses - 2;
        if (isExtraPair) return pulse - (codebook_.pulses - 2);
        return trackOrder[static_cast<size_t>(tracks * iteration + pulse)];
    }

    int bestPosition(int track) const { return tracks * std::countr_zero(candidates(track, 1)) + track; }

    // The best positions of a track as bits.
    uint32_t candidates(int track, int count) const {
        const Vector limit = simd::words(static_cast<int16_t>(count));
        const Vector front = _mm_cmpgt_epi16(limit, work_.signs.ranks.front(track));
        const Vector back = _mm_cmpgt_epi16(limit, work_.signs.ranks.back(track));
        return static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(front, back)));
    }

    // Each pulse on the best position of its track.
    void placeFirstStage(int iteration, Placement &placement) const {
        placement.clear();
        for (int k = 0; k < codebook_.firstStage; k++) {
            const int p = bestPosition(trackOf(iteration, k));
            placement.correlation = add(placement.correlation, work_.signs.correlations.at(p));
            work_.placePulse(placement, p);
        }
        if (codebook_.firstStage == 2) placement.energy = energyOfPair(placement.pulses[0], placement.pulses[1]);
        if (codebook_.firstStage == 4) placement.energy = round(sat32(2 * sumOfSquares(placement.response)) >> 3);
    }

    int16_t energyOfPair(int p, int q) const {
        const int32_t own = L_mac(L_mult(work_.energies.at(p), 4096), work_.energies.at(q), 4096);
        return round(L_mac(own, work_.crossTerms[p % tracks][p / tracks][q / tracks], 8192));
    }

    void placePair(int iteration, int tried, Placement &placement) {
        const int x = trackOf(iteration, placement.count), y = nextTrack(x);
        const TrackWords &correlations = work_.signs.correlations;
        const Candidate best = bestPair(x, y, candidates(x, tried), placement);
        const int16_t correlation = add(correlations.words[x][best.x], correlations.words[y][best.y]);
        placement.correlation = add(placement.correlation, correlation);
        placement.energy = static_cast<int16_t>(best.criterion.a);
        work_.placePair(placement, tracks * best.x + x, tracks * best.y + y);
    }

    // What a pulse on each position of two tracks adds to the energy of the pulses placed, but for the rounding and the
    // part that two new pulses have together.
    struct Increments {
        alignas(16) int16_t x[trackLength], y[trackLength];
    };

    Increments incrementsOf(int x, int y, const Placement &placement) const {
        Increments increments;
        if (placement.count == 0) {
            std::memcpy(increments.x, work_.energies.words[x], sizeof increments.x);
            std::memcpy(increments.y, work_.energies.words[y], sizeof increments.y);
            return increments;
        }
        if (!isBounded_) {
            for (int i = 0; i < trackLength; i++) {
                increments.x[i] = saturatingIncrement(tracks * i + x, placement);
                increments.y[i] = saturatingIncrement(tracks * i + y, placement);
            }
            return increments;
        }
        const BothSums sums = correlate(work_.response, placement.response, x, y, simd::dwords(0x2000));
        const TrackWords &masks = work_.signs.masks, &energies = work_.energies;
        const auto put = [](int16_t *to, Vector correlation, Vector mask, Vector energy) {
            simd::store(to, _mm_adds_epi16(timesSigns(correlation, mask), energy));
        };
        put(increments.x, sums.x.front<14>(), masks.front(x), energies.front(x));
        put(increments.x + 8, sums.x.back<14>(), masks.back(x), energies.back(x));
        put(increments.y, sums.y.front<14>(), masks.front(y), energies.front(y));
        put(increments.y + 8, sums.y.back<14>(), masks.back(y), energies.back(y));
        return increments;
    }

    int16_t saturatingIncrement(int position, const Placement &placement) const {
        const int32_t sum = correlateSaturating(work_.response, placement.response, position);
        return add(timesSign(round(L_shl(sum, 1)), work_.signs.masks.at(position)), work_.energies.at(position));
    }

    Candidate bestPair(int x, int y, uint32_t candidatesOfX, const Placement &placement) const {
        const Increments increments = incrementsOf(x, y, placement);
        if (fitsWords(x, y, increments, placement)) {
            const std::optional<Candidate> best = bestPairInLanes(x, y, candidatesOfX, increments, placement);
            if (best) return *best;
        }
        const int16_t *const correlationsX = work_.signs.correlations.words[x];
        const int16_t *const correlationsY = work_.signs.correlations.words[y];
        const auto correlationOf = [&](int i, int j) {
            return add(add(placement.correlation, correlationsX[i]), correlationsY[j]);
        };
        const auto energyOf = [&](int i, int j) {
            int32_t energy = L_mac(placement.energy * 65536 + 0x8000, increments.x[i], 4096);
            energy = L_mac(energy, increments.y[j], 4096);
            return extract_h(L_mac(energy, work_.crossTerms[x][i][j], 8192));
        };
        return scan(candidatesOfX, trackLength, correlationOf, energyOf);
    }

    // Whether no sum of bestPairInLanes() leaves 16 bits. Energies then stay below 2^14 + 2^12.
    bool fitsWords(int x, int y, const Increments &increments, const Placement &placement) const {
        const int largestCrossTerm = static_cast<int>((energy_ + 0x4000) >> 15);
        const int room = max16 - 4 - 2 * largestCrossTerm;
        const int largestX = largestMagnitude(simd::loadAligned(increments.x), simd::loadAligned(increments.x + 8));
        const int largestY = largestMagnitude(simd::loadAligned(increments.y), simd::loadAligned(increments.y + 8));
        return isBounded_ && largestX + largestY <= room && std::abs(placement.energy) < 1 << 14 &&
               std::abs(placement.correlation) + largestCorrelation_[x] + largestCorrelation_[y] <= max16;
    }

    // With e the energy of the pulses placed, a and b the increments and c the cross term, the recommendation's sum
    // (65536e + 32768 + 8192a + 8192b + 16384c) >> 16 is e + ((a + b + 2c + 4) >> 3).
    std::optional<Candidate> bestPairInLanes(int x, int y, uint32_t candidatesOfX, const Increments &increments,
                                             const Placement &placement) const {
        const TrackWords &correlations = work_.signs.correlations;
        const Vector correlation = simd::words(placement.correlation), energy = simd::words(placement.energy);
        const Vector correlationsFront = _mm_add_epi16(correlations.front(y), correlation);
        const Vector correlationsBack = _mm_add_epi16(correlations.back(y), correlation);
        const Vector incrementsFront = _mm_add_epi16(simd::loadAligned(increments.y), simd::words(4));
        const Vector incrementsBack = _mm_add_epi16(simd::loadAligned(increments.y + 8), simd::words(4));
        const auto energies = [energy](Vector increment, Vector crossTerm) {
            const Vector sum = _mm_add_epi16(increment, _mm_add_epi16(crossTerm, crossTerm));
            return _mm_add_epi16(energy, _mm_srai_epi16(sum, 3));
        };
        PairArgmax argmax;
        int places[trackLength];
        int turn = 0;
        for (; candidatesOfX != 0; candidatesOfX &= candidatesOfX - 1) {
            const int i = std::countr_zero(candidatesOfX);
            places[turn++] = i;
            const int16_t *const crossTerms = work_.crossTerms[x][i];
            const Vector own = simd::words(correlations.words[x][i]), increment = simd::words(increments.x[i]);
            argmax.offer(turn, squareQ15(_mm_add_epi16(correlationsFront, own)),
                         squareQ15(_mm_add_epi16(correlationsBack, own)),
                         energies(_mm_add_epi16(incrementsFront, increment), simd::loadAligned(crossTerms)),
                         energies(_mm_add_epi16(incrementsBack, increment), simd::loadAligned(crossTerms + 8)));
        }
        std::optional<Candidate> best = argmax.best();
        if (best) best->x = places[best->x - 1];
        return best;
    }

    void pack(const Placement &placement, int16_t *indices) const {
        TrackPulses pulses = {};
        int counts[tracks] = {};
        for (int k = 0; k < placement.count; k++) {
            const int p = placement.pulses[k], t = p % tracks;
            const int value = p / tracks + (work_.isNegative(p) ? negativePulse : 0);
            pulses.values[t][counts[t]++] = static_cast<uint8_t>(value);
        }
        packPulses(codebook_, pulses, indices);
    }

    const Codebook &codebook_;
    Workspace &work_;
    int64_t energy_ = 0; // sum of the squares of the response
    bool isBounded_ = false;
    int largestCorrelation_[tracks] = {}; // magnitude on each track
};

} // namespace

} // namespace ryxsc::amrwb
