// SPDX-License-Identifier: BSD-2-Clause
// Steps that the fixed codebook searches of ITU-T G.729 and its Annexes A and D share (clause 3.8).
//
// Positions are numbered track by track: number 8 * t + i is position 5 * i + t, so that the eight positions of a track
// are one vector.
#pragma once

#include <cstdint>

#include "common/fixed_point.h"
#include "common/simd.h"
#include "g729/adaptive_vector.h"

namespace ryxsc::g729 {

inline constexpr int tracks = 5, places = 8;                           // positions of a track
inline constexpr int16_t plusAmplitude = 8191, minusAmplitude = -8192; // Q13

constexpr int positionOf(int number) {
    return 5 * (number % places) + number / places;
}

// x[n] += x[n - lag] * 2 * sharpening for n = lag .. 39, one after the other.
void sharpen(int16_t *x, int lag, int16_t sharpening);

// The tracks whose correlations a search needs: a set of pairs (track of the row, track in the row).
using TrackPairs = uint32_t;
constexpr TrackPairs trackPair(int row, int track) {
    return TrackPairs{1} << (5 * row + track);
}
// A row with tracks from first to last.
constexpr TrackPairs tracksOfRow(int row, int first, int last) {
    return first > last ? 0 : trackPair(row, first) | tracksOfRow(row, first + 1, last);
}
inline constexpr TrackPairs focusedPairs = tracksOfRow(0, 1, 4) | tracksOfRow(1, 2, 4) | tracksOfRow(2, 3, 4);
inline constexpr TrackPairs laterOrOwnPairs =
    focusedPairs | trackPair(0, 0) | trackPair(1, 1) | trackPair(2, 2) | tracksOfRow(3, 3, 4) | trackPair(4, 4);
inline constexpr TrackPairs nextTrackPairs =
    trackPair(0, 1) | trackPair(1, 2) | trackPair(2, 3) | trackPair(3, 4) | trackPair(4, 0);
inline constexpr TrackPairs depthFirstPairs =
    tracksOfRow(0, 1, 2) | trackPair(1, 2) | tracksOfRow(2, 0, 4) | tracksOfRow(3, 0, 2) | tracksOfRow(4, 0, 2);

// phi(p, q) = hi(rounding + sum of 2 * g[n] * g[n + |p - q|], n = 0 .. 39 - max(p, q)), by numbers, for one of these sets;
// the rest of phi stays as it is. phi is aligned.
template <TrackPairs pairs> void correlateResponse(const int16_t *g, int32_t rounding, int16_t (*phi)[subframe]);
using CorrelateResponse = decltype(correlateResponse<focusedPairs>);

// What a search works on.
struct SearchInput {
    alignas(16) int16_t response[2 * subframe];  // sharpened, behind a subframe of zeros
    alignas(16) int16_t d[subframe];             // magnitudes of the backward target, by number
    alignas(16) int16_t minus[subframe];         // -1 where a pulse is negative, by number
    alignas(16) int16_t phi[subframe][subframe]; // correlations of the response, by numbers; some
    alignas(16) int16_t energies[subframe];      // their diagonal, all of it

    SearchInput(const int16_t *target, const int16_t *given, int lag, int16_t sharpening, CorrelateResponse *correlate);

    simd::Vector track(const int16_t *values, int t) const { return simd::loadAligned(values + places * t); }
    simd::Vector row(int number, int t) const { return simd::loadAligned(&phi[number][places * t]); }

    // phi of a position with those of a track, negated where the signs of the pulses differ, and less by 1 where they agree
    // and it is positive: the product with 32767 or -32768 in Q15. No phi is -32768.
    simd::Vector signedRow(int number, int t) const {
        const simd::Vector own = row(number, t), differ = _mm_xor_si128(simd::words(minus[number]), track(minus, t));
        const simd::Vector less = _mm_andnot_si128(differ, _mm_cmpgt_epi16(own, _mm_setzero_si128()));
        return _mm_add_epi16(_mm_sub_epi16(_mm_xor_si128(own, differ), differ), less);
    }

    // phi of a track with later ones, times factors in Q15 for the signs of the pulses.
    void signRows(int ownTrack, int firstTrack, int lastTrack, int16_t bothPlus, int16_t bothMinus, int16_t different);
};

// The running argmax of square / energy. Only a better quotient, not an equal one, takes over.
struct Argmax {
    int16_t square, energy;

    // Eight at a time, in order. Returns the last lane that took over, or -1.
    int offer(simd::Vector squares, simd::Vector energies) {
        int best = -1;
        unsigned open = 0xff; // lanes that are still to be looked at
        for (;;) {
            const unsigned lanes = better(squares, energies) & open;
            if (lanes == 0) [[likely]]
                return best;
            best = __builtin_ctz(lanes);
            alignas(16) int16_t square8[8], energy8[8];
            _mm_store_si128(reinterpret_cast<simd::Vector *>(square8), squares);
            _mm_store_si128(reinterpret_cast<simd::Vector *>(energy8), energies);
            square = square8[best];
            energy = energy8[best];
            open = 0xfeu << best & 0xff;
        }
    }
    bool offer(int16_t newSquare, int16_t newEnergy) {
        if (energy * newSquare - square * newEnergy <= 0) return false;
        square = newSquare;
        energy = newEnergy;
        return true;
    }

private:
    // energy * squares - square * energies > 0. The products of 16-bit words differ by less than 2^31, since no square is
    // -32768.
    unsigned better(simd::Vector squares, simd::Vector energies) const {
        const simd::Vector factors = simd::wordPairs(energy, static_cast<int16_t>(-square));
        const simd::Vector zero = _mm_setzero_si128();
        const simd::Vector low = _mm_madd_epi16(_mm_unpacklo_epi16(squares, energies), factors);
        const simd::Vector high = _mm_madd_epi16(_mm_unpackhi_epi16(squares, energies), factors);
        const simd::Vector mask = _mm_packs_epi32(_mm_cmpgt_epi32(low, zero), _mm_cmpgt_epi32(high, zero));
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(mask, zero)));
    }
};

// The code vector with pulses at these positions, and its filtered form from the response.
void placePulses(const SearchInput &in, const int *numbers, int count, int16_t *code, int16_t *filtered);

// Everything behind a search for four pulses: code vector, filtered code vector, what is sent.
inline constexpr int fourPulses = 4;
void finishFourPulses(const SearchInput &in, const int *numbers, int16_t lag, int16_t sharpening, int16_t *code,
                      int16_t *filtered, int16_t *index);

// Statuses of the searches that take a lag: any that the pitch search gives.
constexpr bool isCodebookLag(int16_t lag) {
    return lag >= shortestLag && lag <= longestLag;
}

} // namespace ryxsc::g729
