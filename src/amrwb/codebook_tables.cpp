// SPDX-License-Identifier: BSD-2-Clause
#include "amrwb/codebook_tables.h"

namespace ryxsc::amrwb {

namespace {

// Bits per subframe, the names of the codebooks.
enum Bits { bits12, bits20, bits28, bits36, bits44, bits52, bits64, bits72, bits88, bits88OneIteration };

constexpr Codebook codebooks[] = {
    {2, {}, 8192, 0, 0, {}},
    {4, {1, 1, 1, 1}, 8192, 4, 0, {4, 8}},
    {6, {2, 2, 1, 1}, 6144, 4, 0, {4, 8, 8}},
    {8, {2, 2, 2, 2}, 4096, 4, 2, {4, 8, 8}},
    {10, {3, 3, 2, 2}, 4096, 4, 2, {4, 6, 8, 8}},
    {12, {3, 3, 3, 3}, 4096, 4, 4, {4, 6, 8, 8}},
    {16, {4, 4, 4, 4}, 3277, 3, 4, {4, 4, 6, 6, 8, 8}},
    {18, {5, 5, 4, 4}, 3072, 3, 4, {2, 3, 4, 5, 6, 7, 8}},
    {24, {6, 6, 6, 6}, 2048, 2, 4, {2, 2, 3, 4, 5, 6, 7, 8, 8, 8}},
    {24, {6, 6, 6, 6}, 2048, 1, 4, {2, 2, 3, 4, 5, 6, 7, 8, 8, 8}},
};

constexpr int none = -1;

constexpr int bitsOf(int mode) {
    switch (mode) {
    case 5:
    case 25:
        return bits12;
    case 9:
    case 26:
        return bits20;
    case 27:
        return bits28;
    case 13:
    case 28:
        return bits36;
    case 15:
    case 29:
        return bits44;
    case 16:
    case 30:
        return bits52;
    case 18:
    case 31:
        return bits64;
    case 19:
    case 32:
        return bits72;
    case 20:
    case 22:
        return bits88;
    case 21:
        return bits88OneIteration;
    default:
        return none;
    }
}

} // namespace

const Codebook *codebookOf(int mode) {
    const int bits = bitsOf(mode);
    return bits == none ? nullptr : &codebooks[bits];
}

const std::array<uint8_t, 36> trackOrder = {
    0, 1, 2, 3, 1, 2, 3, 0, 2, 3, 0, 1, 3, 0, 1, 2, 0, 1, 2, 3, 1, 2, 3, 0, 2, 3, 0, 1, 3, 0, 1, 2, 0, 1, 2, 3,
};

} // namespace ryxsc::amrwb
