// SPDX-License-Identifier: BSD-2-Clause
#include "common/tables.h"

#include <cstddef>

namespace ryxsc {

namespace {

// ITU-T G.729, table of the inverse square root: 1/sqrt(1 + k/16) in Q15 for k = 0..48, the first entry limited.
constexpr int16_t inverseSquareRoots[inverseSqrtIntervals + 1] = {
    32767, 31790, 30894, 30070, 29309, 28602, 27945, 27330, 26755, 26214, //
    25705, 25225, 24770, 24339, 23930, 23541, 23170, 22817, 22479, 22155, //
    21845, 21548, 21263, 20988, 20724, 20470, 20225, 19988, 19760, 19539, //
    19326, 19119, 18919, 18725, 18536, 18354, 18176, 18004, 17837, 17674, //
    17515, 17361, 17211, 17064, 16921, 16782, 16646, 16514, 16384};

constexpr auto makeIntervals() {
    std::array<InverseSqrtInterval, inverseSqrtIntervals> intervals{};
    for (size_t k = 0; k < intervals.size(); k++)
        intervals[k] = {inverseSquareRoots[k] * 65536, 2 * (inverseSquareRoots[k] - inverseSquareRoots[k + 1])};
    return intervals;
}

} // namespace

constexpr std::array<InverseSqrtInterval, inverseSqrtIntervals> inverseSqrtTable = makeIntervals();

constexpr std::array<int16_t, log2Intervals + 1> log2Table = {
    0,     1455,  2866,  4236,  5568,  6863,  8124,  9352,  10549, 11716, 12855,
    13967, 15054, 16117, 17156, 18172, 19167, 20142, 21097, 22033, 22951, 23852,
    24735, 25603, 26455, 27291, 28113, 28922, 29716, 30497, 31266, 32023, 32767};

} // namespace ryxsc
