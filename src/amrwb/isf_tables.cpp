// SPDX-License-Identifier: BSD-2-Clause
// Constants of the AMR-WB ISP and ISF functions, arranged from the recommendation's numbers; what follows from another table
// is derived.
#include "amrwb/isf_tables.h"

#include "amrwb/isf_first_stage.h"
#include "amrwb/isf_noise_vectors.h"
#include "amrwb/isf_second_stage.h"

namespace ryxsc::amrwb {

namespace {

// clang-format off

// Rounded and limited to 16 bits.
constexpr int16_t cosineTable[intervals + 1] = {
     32767,  32758,  32729,  32679,  32610,  32522,  32413,  32286,  32138,  31972,  31786,  31581,  31357,
     31114,  30853,  30572,  30274,  29957,  29622,  29269,  28899,  28511,  28106,  27684,  27246,  26791,
     26320,  25833,  25330,  24812,  24279,  23732,  23170,  22595,  22006,  21403,  20788,  20160,  19520,
     18868,  18205,  17531,  16846,  16151,  15447,  14733,  14010,  13279,  12540,  11793,  11039,  10279,
      9512,   8740,   7962,   7180,   6393,   5602,   4808,   4011,   3212,   2411,   1608,    804,      0,
      -804,  -1608,  -2411,  -3212,  -4011,  -4808,  -5602,  -6393,  -7180,  -7962,  -8740,  -9512, -10279,
    -11039, -11793, -12540, -13279, -14010, -14733, -15447, -16151, -16846, -17531, -18205, -18868, -19520,
    -20160, -20788, -21403, -22006, -22595, -23170, -23732, -24279, -24812, -25330, -25833, -26320, -26791,
    -27246, -27684, -28106, -28511, -28899, -29269, -29622, -29957, -30274, -30572, -30853, -31114, -31357,
    -31581, -31786, -31972, -32138, -32286, -32413, -32522, -32610, -32679, -32729, -32758, -32768};

// The first half of the grid, Q15, truncated; the second half mirrors it, but for its end at -32760.
constexpr int16_t halfGrid[51] = {
    32767, 32751, 32703, 32622, 32509, 32364, 32187, 31978, 31738, 31466, 31164, 30830, 30466,
    30072, 29649, 29196, 28714, 28204, 27666, 27101, 26509, 25891, 25248, 24579, 23886, 23170,
    22431, 21669, 20887, 20083, 19260, 18418, 17557, 16680, 15786, 14876, 13951, 13013, 12062,
    11099, 10125,  9141,  8149,  7148,  6140,  5126,  4106,  3083,  2057,  1029,     0};

// clang-format on

constexpr auto takeEveryEighth() {
    std::array<int16_t, intervals / 8> taken{};
    for (size_t i = 0; i < taken.size(); i++)
        taken[i] = cosineTable[8 * i];
    return taken;
}

// Rounded. The cosine of the upper end counts as 32768.
constexpr auto makeInverseSlopes() {
    std::array<int16_t, intervals> slopes{};
    for (size_t k = 0; k < slopes.size(); k++) {
        const int width = (k == 0 ? 32768 : cosineTable[k]) - cosineTable[k + 1];
        slopes[k] = static_cast<int16_t>(-((128 << 11) + width / 2) / width);
    }
    return slopes;
}

constexpr IspGrid mirrorGrid() {
    IspGrid grid{101, 2, {}};
    for (size_t i = 0; i <= 50; i++) {
        grid.cosines[100 - i] = static_cast<int16_t>(-halfGrid[i]);
        grid.cosines[i] = halfGrid[i];
    }
    grid.cosines[100] = -32760;
    return grid;
}

template <size_t vectors, size_t values>
constexpr PairCodebook<vectors, values> arrange(const int16_t (&rows)[vectors][values]) {
    return arrangePairs<vectors, values>([&](size_t i, size_t j) { return rows[i][j]; });
}

} // namespace

constexpr std::array<int16_t, intervals + 1> cosines = std::to_array(cosineTable);
constexpr std::array<int16_t, intervals / 8> everyEighthCosine = takeEveryEighth();
constexpr std::array<int16_t, intervals> inverseSlopes = makeInverseSlopes();
constexpr IspGrid ispGrid = mirrorGrid();

constexpr std::array<int16_t, isfOrder> isfMean = {738,  1326, 2336,  3578,  4596,  5662,  6711,  7730,
                                                   8750, 9753, 10705, 11728, 12833, 13971, 15043, 4037};
constexpr std::array<int16_t, isfOrder> noiseMean = {478,  1100, 2213,  3267,  4219,  5222,  6198,  7240,
                                                     8229, 9153, 10098, 11108, 12144, 13184, 14165, 3803};

constexpr PairCodebook<256, 9> firstStageLow = arrange(firstStageLowVectors);
constexpr PairCodebook<256, 7> firstStageHigh = arrange(firstStageHighVectors);

constexpr PairCodebook<64, 3> secondStage46Low1 = arrange(secondStage46Vectors1);
constexpr PairCodebook<128, 3> secondStage46Low2 = arrange(secondStage46Vectors2);
constexpr PairCodebook<128, 3> secondStage46Low3 = arrange(secondStage46Vectors3);
constexpr PairCodebook<32, 3> secondStage46High1 = arrange(secondStage46Vectors4);
constexpr PairCodebook<32, 4> secondStage46High2 = arrange(secondStage46Vectors5);

constexpr PairCodebook<128, 5> secondStage36Low1 = arrange(secondStage36Vectors1);
constexpr PairCodebook<128, 4> secondStage36Low2 = arrange(secondStage36Vectors2);
constexpr PairCodebook<64, 7> secondStage36High = arrange(secondStage36Vectors3);

constexpr PairCodebook<64, 2> noise1 = arrange(noiseVectors1);
constexpr PairCodebook<64, 3> noise2 = arrange(noiseVectors2);
constexpr PairCodebook<64, 3> noise3 = arrange(noiseVectors3);
constexpr PairCodebook<32, 4> noise4 = arrange(noiseVectors4);
constexpr PairCodebook<32, 4> noise5 = arrange(noiseVectors5);

} // namespace ryxsc::amrwb
