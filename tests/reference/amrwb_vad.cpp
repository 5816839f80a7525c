// SPDX-License-Identifier: BSD-2-Clause
#include "reference/amrwb_vad.h"

#include <algorithm>
#include <cstdlib>

namespace reference::amrwb {

namespace {

int sat16(int x) {
    return std::clamp(x, -32768, 32767);
}
int upperHalf(int64_t x, int shift) {
    return static_cast<int>(std::min<int64_t>(x << shift, INT32_MAX) >> 16);
}

int section(int x, int c, int &memory) {
    const int u = sat16(x - (c * memory >> 15));
    const int y = sat16(memory + (c * u >> 15));
    memory = u;
    return y;
}
void split(int &a, int &b, int p, int q) {
    a = (p + q) >> 1;
    b = (p - q) >> 1;
}
void split5(int &a, int &b, int *memory) {
    const int p = section(a, 21955, memory[0]);
    split(a, b, p, section(b, 6390, memory[1]));
}
void split3(int &a, int &b, int &memory) {
    split(a, b, a, section(b, 13363, memory));
}

// The samples step * i + first, of which the first quarter does not count in the next frame.
const struct {
    int step, first, scale;
} bands[12] = {{32, 0, 17}, {32, 16, 17}, {32, 24, 17}, {32, 8, 17}, {16, 12, 16}, {16, 4, 16},
               {16, 6, 16}, {16, 14, 16}, {8, 2, 15},   {8, 3, 15},  {8, 7, 15},   {4, 1, 14}};

} // namespace

void VadFilterBank::levels(const int16_t *frame, int16_t *level) {
    int w[256];
    std::transform(frame, frame + 256, w, [](int16_t x) { return x >> 1; });
    for (int i = 0; i < 256; i += 2)
        split5(w[i], w[i + 1], fifthOrder[0]);
    for (int i = 0; i < 256; i += 4) {
        split5(w[i], w[i + 2], fifthOrder[1]);
        split5(w[i + 1], w[i + 3], fifthOrder[2]);
    }
    for (int i = 0; i < 256; i += 8) {
        split5(w[i], w[i + 4], fifthOrder[3]);
        split5(w[i + 2], w[i + 6], fifthOrder[4]);
        split3(w[i + 3], w[i + 7], thirdOrder[0]);
    }
    for (int i = 0; i < 256; i += 16) {
        split3(w[i], w[i + 8], thirdOrder[1]);
        split3(w[i + 4], w[i + 12], thirdOrder[2]);
        split3(w[i + 6], w[i + 14], thirdOrder[3]);
    }
    for (int i = 0; i < 256; i += 32) {
        split3(w[i], w[i + 16], thirdOrder[4]);
        split3(w[i + 8], w[i + 24], thirdOrder[5]);
    }
    for (int k = 0; k < 12; k++) {
        int64_t sums[4] = {};
        const auto [step, first, scale] = bands[k];
        for (int i = first; i < 256; i += step)
            sums[i / 64] += 2 * std::min(std::abs(w[i]), 32767);
        const int64_t late = sums[1] + sums[2] + sums[3];
        const int64_t carry = scale == 17 ? carried[k] >> 1 : carried[k] << (16 - scale);
        carried[k] = upperHalf(late, scale);
        level[k] = static_cast<int16_t>(upperHalf(late + carry + sums[0], scale));
    }
}

} // namespace reference::amrwb
