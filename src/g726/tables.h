// SPDX-License-Identifier: BSD-2-Clause
// Constants of ITU-T G.726, one set per rate, known by the width of its codes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ryxsc::g726 {

// What a code stands for, with the names of the recommendation.
struct Code {
    int16_t logMagnitude;    // DQLN, Q7
    int16_t rateFunction;    // F(I) times 512
    int32_t scaleMultiplier; // W(I) times 32
};

// The second half of a rate's table, for the codes with the sign bit, is the first one backwards.
template <size_t half> constexpr std::array<Code, 2 * half> mirrored(const Code (&first)[half]) {
    std::array<Code, 2 * half> codes{};
    for (size_t i = 0; i < half; i++)
        codes[i] = codes[2 * half - 1 - i] = first[i];
    return codes;
}

// levels: decision levels of the quantiser, Q7, descending. The leading level 2048 of the recommendation is left out, as no
// difference reaches it.
// decisions: the code for 0, 1, 2 ... levels above the log difference; first row for a non-negative, second row for a
// negative difference.
// zeroLeak: shift of the zero-predictor coefficients' leakage.
template <int bits> struct Tables;

// 16 kbit/s
template <> struct Tables<2> {
    static constexpr std::array<int16_t, 1> levels = {261};
    static constexpr uint8_t decisions[2][2] = {
        {1, 0},
        {2, 3},
    };
    static constexpr std::array<Code, 4> codes = mirrored({
        {116, 0, -704},
        {365, 3584, 14048},
    });
    static constexpr int zeroLeak = 8;
};

// 24 kbit/s
template <> struct Tables<3> {
    static constexpr std::array<int16_t, 3> levels = {331, 218, 8};
    static constexpr uint8_t decisions[2][4] = {
        {3, 2, 1, 7},
        {4, 5, 6, 7},
    };
    static constexpr std::array<Code, 8> codes = mirrored({
        {-2048, 0, -128},
        {135, 512, 960},
        {273, 1024, 4384},
        {373, 3584, 18624},
    });
    static constexpr int zeroLeak = 8;
};

// 32 kbit/s
template <> struct Tables<4> {
    static constexpr std::array<int16_t, 7> levels = {400, 349, 300, 246, 178, 80, -124};
    static constexpr uint8_t decisions[2][8] = {
        {7, 6, 5, 4, 3, 2, 1, 15},
        {8, 9, 10, 11, 12, 13, 14, 15},
    };
    static constexpr std::array<Code, 16> codes = mirrored({
        {-2048, 0, -384},
        {4, 0, 576},
        {135, 0, 1312},
        {213, 512, 2048},
        {273, 512, 3584},
        {323, 512, 6336},
        {373, 1536, 11360},
        {425, 3584, 35904},
    });
    static constexpr int zeroLeak = 8;
};

// 40 kbit/s
template <> struct Tables<5> {
    static constexpr std::array<int16_t, 16> levels = {553, 528, 502, 475, 445, 413, 378, 339,
                                                       298, 250, 198, 139, 68,  0,   -16, -122};
    static constexpr uint8_t decisions[2][17] = {
        {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 2, 1, 31},
        {16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 29, 30, 31},
    };
    static constexpr std::array<Code, 32> codes = mirrored({
        {-2048, 0, 448},
        {-66, 0, 448},
        {28, 0, 768},
        {104, 0, 1248},
        {169, 0, 1280},
        {224, 512, 1312},
        {274, 512, 1856},
        {318, 512, 3200},
        {358, 512, 4512},
        {395, 512, 5728},
        {429, 1024, 7008},
        {459, 1536, 8960},
        {488, 2048, 11456},
        {514, 2560, 14080},
        {539, 3072, 16928},
        {566, 3072, 22272},
    });
    static constexpr int zeroLeak = 9;
};

} // namespace ryxsc::g726
