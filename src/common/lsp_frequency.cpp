// SPDX-License-Identifier: BSD-2-Clause
#include "common/lsp_frequency.h"

namespace ryxsc {

namespace {

// Q15, rounded, but the first entry limited to 16 bits.
constexpr int16_t cosineTable[cosineIntervals + 1] = {
    32767,  32729,  32610,  32413,  32138,  31786,  31357,  30853,  30274,  29622,  28899,  28106,  27246,
    26320,  25330,  24279,  23170,  22006,  20788,  19520,  18205,  16846,  15447,  14010,  12540,  11039,
    9512,   7962,   6393,   4808,   3212,   1608,   0,      -1608,  -3212,  -4808,  -6393,  -7962,  -9512,
    -11039, -12540, -14010, -15447, -16846, -18205, -19520, -20788, -22006, -23170, -24279, -25330, -26320,
    -27246, -28106, -28899, -29622, -30274, -30853, -31357, -31786, -32138, -32413, -32610, -32729, -32768};

constexpr auto takeEveryEighth() {
    std::array<int16_t, cosineIntervals / 8> taken{};
    for (size_t i = 0; i < taken.size(); i++)
        taken[i] = cosineTable[8 * i];
    return taken;
}

// -2^20 / (width of the interval in cosines), rounded. The cosines of the outer ends count as 32768 and -32768.
constexpr auto makeArccosineSlopes() {
    std::array<int16_t, cosineIntervals> slopes{};
    for (size_t k = 0; k < slopes.size(); k++) {
        const int width = (k == 0 ? 32768 : cosineTable[k]) - cosineTable[k + 1];
        slopes[k] = static_cast<int16_t>(-((1 << 20) + width / 2) / width);
    }
    return slopes;
}

} // namespace

constexpr std::array<int16_t, cosineIntervals + 1> cosines = std::to_array(cosineTable);
constexpr std::array<int16_t, cosineIntervals / 8> everyEighthCosine = takeEveryEighth();
constexpr std::array<int16_t, cosineIntervals> arccosineSlopes = makeArccosineSlopes();

} // namespace ryxsc
