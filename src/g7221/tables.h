// SPDX-License-Identifier: BSD-2-Clause
// What encoder and decoder of ITU-T G.722.1 read of its quantisers and codes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ryxsc::g7221 {

inline constexpr int regionLength = 20;
inline constexpr int maxRegions = 28;
inline constexpr int vectorsPerRegion = 10; // room; a region has 10, 5 or 4
inline constexpr int maxBalances = 31;

// Regions of a frame: 14 at 16 kHz, 28 at 32 kHz. There are 16 or 32 categorisations, and one fewer balances.
constexpr bool isRegionCount(int regions) {
    return regions == 14 || regions == 28;
}
constexpr int balanceCount(int regions) {
    return regions == 14 ? 15 : 31;
}
// Bits of a frame at 24, 32 and 48 kbit/s.
constexpr bool isFrameSize(int bits) {
    return bits == 480 || bits == 640 || bits == 960;
}

// Coded power indices, and how far the index of a table by power index lies above them.
inline constexpr int minPowerIndex = -15;
inline constexpr int maxPowerIndex = 24;
inline constexpr int powerTableOffset = 24;

inline constexpr int categoryCount = 8; // 7: no vectors, noise only
inline constexpr int codedCategories = 7;

struct Quantiser {
    int16_t stepInverse;  // Q13 together with the inverse standard deviation in Q15
    int16_t dimension;    // coefficients of a vector
    int16_t largestBin;   // largest quantised magnitude
    int16_t deadZone;     // rounding offset, Q13
    int16_t lowBits;      // rounding offset below it, Q13 times 4
    int16_t expectedBits; // bits of a region, on average
    int16_t noiseFactor;  // standard deviation of the noise in place of zeros, Q15; 0: no noise

    constexpr int vectors() const { return regionLength / dimension; }
};

inline constexpr std::array<Quantiser, categoryCount> quantisers = {{
    {23167, 2, 13, 2457, 2, 52, 0},
    {16384, 2, 9, 2703, 1, 47, 0},
    {11585, 2, 6, 2949, 0, 43, 0},
    {8192, 4, 4, 3195, 0, 37, 0},
    {5793, 4, 3, 3440, 3, 29, 0},
    {4096, 5, 2, 3686, 2, 22, 5793},
    {2896, 5, 1, 4096, 0, 16, 8192},
    {2896, 1, 1, 4096, 0, 0, 23170},
}};

// Vectors of a category: (largest bin + 1) to the power of the dimension. The tables by vector hold all categories one
// after the other.
inline constexpr std::array<int, codedCategories + 1> firstVector = {0, 196, 296, 345, 970, 1226, 1469, 1501};

// Standard deviation by power index + 24: 2^(index / 2), Q0. 0 for indices whose region is not coded.
extern const std::array<int16_t, 64> deviations;
// Its inverse by scaled power index, Q15.
extern const std::array<int16_t, 64> inverseDeviations;

// Reconstructed magnitude of a bin relative to the standard deviation, Q12. Up to 14 bins.
inline constexpr int binBits = 4;
extern const std::array<std::array<int16_t, 1 << binBits>, codedCategories> centroids;

// Code of a vector.
struct VectorCode {
    uint16_t word;
    uint8_t length;
    uint8_t nonZero; // which bins are not zero and so followed by a sign: the first coefficient in bit 0
};
extern const std::array<VectorCode, firstVector.back()> vectorCodes;

// Length of code and signs of a vector.
extern const std::array<uint8_t, firstVector.back()> vectorBits;

// Differences of neighbouring power indices: column difference + 12, a row for each of regions 1 to 13; the later ones
// use the last row.
inline constexpr int smallestDifference = -12;
inline constexpr int differences = 24;
inline constexpr int envelopeRows = 13;
constexpr int envelopeRow(int region) {
    return (region < envelopeRows ? region : envelopeRows) - 1;
}
struct EnvelopeCode {
    uint16_t word;
    uint8_t length;
};
extern const std::array<std::array<EnvelopeCode, differences>, envelopeRows> envelopeCodes;

} // namespace ryxsc::g7221
