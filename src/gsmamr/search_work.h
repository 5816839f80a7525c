// SPDX-License-Identifier: BSD-2-Clause
// Work arrays of the algebraic codebook search, and the vectors of a subframe track by track.
#pragma once

#include <array>
#include <cstddef>

#include "common/simd.h"
#include "gsmamr/codebook.h"

namespace ryxsc::gsmamr {

// A subframe of words.
struct alignas(16) Words {
    int16_t at[subframeLength];
};
inline constexpr int subframeVectors = subframeLength / 8;

// One word for each position of a track, eight a vector; zero beyond the last one. Position n is index n / step of track
// n % step.
template <int step> struct TrackWords {
    static constexpr int positions = subframeLength / step;
    static constexpr int vectors = (positions + 7) / 8;

    simd::Vector at(int track, int vector = 0) const { return simd::loadAligned(words[track] + 8 * vector); }

    alignas(16) int16_t words[step][8 * vectors];
};

// Where pshufb finds the words of a vector of a track in a vector of a subframe; zero for what is not there.
template <int step> struct TrackShuffles {
    alignas(16) uint8_t bytes[step][TrackWords<step>::vectors][subframeVectors][16];

    constexpr TrackShuffles() : bytes() {
        for (auto &track : bytes)
            for (auto &vector : track)
                for (auto &source : vector)
                    for (uint8_t &byte : source)
                        byte = 0x80;
        for (int n = 0; n < subframeLength; n++)
            for (int half = 0; half < 2; half++)
                bytes[n % step][n / step / 8][n / 8][n / step % 8 * 2 + half] = static_cast<uint8_t>(n % 8 * 2 + half);
    }
};
template <int step> inline constexpr TrackShuffles<step> trackShuffles;

template <int step> TrackWords<step> byTracks(const Words &natural) {
    TrackWords<step> result;
    for (int track = 0; track < step; track++)
        for (int vector = 0; vector < TrackWords<step>::vectors; vector++) {
            simd::Vector words = _mm_setzero_si128();
            for (int k = 0; k < subframeVectors; k++) {
                const simd::Vector shuffle = simd::loadAligned(trackShuffles<step>.bytes[track][vector][k]);
                words = _mm_or_si128(words, _mm_shuffle_epi8(simd::loadAligned(natural.at + 8 * k), shuffle));
            }
            simd::store(result.words[track] + 8 * vector, words);
        }
    return result;
}

// pshufb patterns that put one of eight words into all lanes.
struct LanePatterns {
    alignas(16) int16_t words[8][8];

    constexpr LanePatterns() : words() {
        for (int number = 0; number < 8; number++)
            for (int16_t &word : words[number])
                word = static_cast<int16_t>(number * 0x0202 + 0x0100);
    }
};
inline constexpr LanePatterns lanePatterns;

inline simd::Vector inAllLanes(simd::Vector x, int number) {
    return _mm_shuffle_epi8(x, simd::loadAligned(lanePatterns.words[number]));
}

// The matrix of h' as the searches read it: row i has the entries beside position i of every track. What a pair of
// positions must not hold, because no search reads it, may be missing.
template <int step> struct Matrix {
    TrackWords<step> rows[subframeLength];
    TrackWords<step> diagonal;
    bool isSaturated; // an entry reached the limit of its accumulator, so no inequality between entries holds

    simd::Vector row(int position, int track, int vector = 0) const { return rows[position].at(track, vector); }
    int entry(int i, int j) const { return rows[i].words[j % step][j / step]; }
    int energy(int i) const { return diagonal.words[i % step][i / step]; }
};

// Correlations d, and a word 1 or -1 for the sign of every position.
struct Signed {
    Words correlation, sign;
};

template <int step> struct Work {
    Signed natural;
    TrackWords<step> correlation, sign;
    Matrix<step> matrix;

    int d(int position) const { return natural.correlation.at[position]; }
};

inline constexpr int workBytes = 16384;
static_assert(sizeof(Work<4>) <= workBytes - 15 && sizeof(Work<5>) <= workBytes - 15);

} // namespace ryxsc::gsmamr
