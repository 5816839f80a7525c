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

template <int step> TrackWords<step> byTracks(const Words &natural) {
    TrackWords<step> result = {};
    for (int n = 0; n < subframeLength; n++)
        result.words[n % step][n / step] = natural.at[n];
    return result;
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
