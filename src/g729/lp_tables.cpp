// SPDX-License-Identifier: BSD-2-Clause
// Constants of the LP analysis and LSP conversion of ITU-T G.729.
#include "g729/lp_tables.h"

#include <cstddef>

#include "common/fixed_point.h"

namespace ryxsc::g729::lp {

namespace {

// High and low parts of the lag window, lags 1 to 12.
constexpr int16_t lagWindowParts[maxLag][2] = {{32728, 11904}, {32619, 17280}, {32438, 30720}, {32187, 25856},
                                               {31867, 24192}, {31480, 28992}, {31029, 24384}, {30517, 7360},
                                               {29946, 19520}, {29321, 14784}, {28645, 22092}, {27923, 12924}};

constexpr auto composeLagWindow() {
    std::array<int32_t, maxLag> window{};
    for (size_t k = 0; k < window.size(); k++)
        window[k] = L_Comp(lagWindowParts[k][0], lagWindowParts[k][1]);
    return window;
}

// The first half of each grid; the second half mirrors it. Q15, cos(pi * i / 60) and cos(pi * i / 50) truncated, but the
// ends inside the unit circle.
constexpr int16_t halfGrid[31] = {32760, 32723, 32588, 32364, 32051, 31651, 31164, 30591, 29935, 29196, 28377,
                                  27481, 26509, 25465, 24351, 23170, 21926, 20621, 19260, 17846, 16384, 14876,
                                  13327, 11743, 10125, 8480,  6812,  5126,  3425,  1714,  0};
constexpr int16_t halfGridAnnexA[26] = {32760, 32703, 32509, 32187, 31738, 31164, 30466, 29649, 28714,
                                        27666, 26509, 25248, 23886, 22431, 20887, 19260, 17557, 15786,
                                        13951, 12062, 10125, 8149,  6140,  4106,  2057,  0};

// The same in single precision, with the seven decimals of Annex C.
constexpr float halfFloatGrid[31] = {0.9997559f, 0.9986295f, 0.9945219f, 0.9876884f, 0.9781476f, 0.9659258f, 0.9510565f,
                                     0.9335804f, 0.9135454f, 0.8910065f, 0.8660254f, 0.8386706f, 0.809017f,  0.777146f,
                                     0.7431448f, 0.7071068f, 0.6691306f, 0.6293204f, 0.5877852f, 0.5446391f, 0.5f,
                                     0.4539905f, 0.4067366f, 0.3583679f, 0.309017f,  0.258819f,  0.2079117f, 0.1564345f,
                                     0.1045285f, 0.052336f,  0.0f};
constexpr float halfFloatGridAnnexA[26] = {
    0.9997559f, 0.9980267f, 0.9921147f, 0.9822872f, 0.9685832f, 0.9510565f, 0.9297765f, 0.9048271f, 0.8763067f,
    0.8443279f, 0.809017f,  0.7705132f, 0.7289686f, 0.6845471f, 0.637424f,  0.5877852f, 0.5358268f, 0.4817537f,
    0.4257793f, 0.3681245f, 0.309017f,  0.2486899f, 0.1873813f, 0.1253332f, 0.0627905f, 0.0f};

template <class Number, size_t half> constexpr Grid<Number> mirror(const Number (&first)[half], int bisections) {
    constexpr size_t points = 2 * half - 1;
    Grid<Number> whole{points, bisections, {}};
    for (size_t i = 0; i < half; i++) {
        whole.cosines[points - 1 - i] = static_cast<Number>(-first[i]);
        whole.cosines[i] = first[i];
    }
    return whole;
}

// The slope of the cosine over interval k, Q19: (cos(pi * (k + 1) / 64) - cos(pi * k / 64)) * 2^19 rounded. The first half;
// the second half mirrors it.
constexpr int16_t halfSlopes[32] = {-632,   -1893,  -3150,  -4399,  -5638,  -6863,  -8072,  -9261,
                                    -10428, -11570, -12684, -13767, -14817, -15832, -16808, -17744,
                                    -18637, -19486, -20287, -21039, -21741, -22390, -22986, -23526,
                                    -24009, -24435, -24801, -25108, -25354, -25540, -25664, -25726};

constexpr auto makeCosineSlopes() {
    std::array<int16_t, cosineIntervals> slopes{};
    for (size_t k = 0; k < slopes.size(); k++)
        slopes[k] = halfSlopes[k < 32 ? k : cosineIntervals - 1 - k];
    return slopes;
}

} // namespace

constexpr std::array<int32_t, maxLag> lagWindow = composeLagWindow();
constexpr Grid<int16_t> mainGrid = mirror(halfGrid, 4);
constexpr Grid<int16_t> annexAGrid = mirror(halfGridAnnexA, 2);
constexpr Grid<float> mainFloatGrid = mirror(halfFloatGrid, 4);
constexpr Grid<float> annexAFloatGrid = mirror(halfFloatGridAnnexA, 2);
constexpr std::array<int16_t, cosineIntervals> cosineSlopes = makeCosineSlopes();

} // namespace ryxsc::g729::lp
