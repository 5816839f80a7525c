// SPDX-License-Identifier: BSD-2-Clause
#include "reference/vad_filter_bank.h"

#include <algorithm>
#include <cstdlib>

namespace reference {

namespace {

int sat16(int x) {
    return std::clamp(x, -32768, 32767);
}
int upperHalf(int64_t x, int shift) {
    return static_cast<int>(std::min<int64_t>(x << shift, INT32_MAX) >> 16);
}

template <class Word> int section(int x, int c, Word &memory) {
    const int u = sat16(x - (c * memory >> 15));
    const int y = sat16(memory + (c * u >> 15));
    memory = static_cast<Word>(u);
    return y;
}
// AMR-WB halves whole sums, GSM-AMR saturated ones.
enum class Sums { whole, saturated };
template <Sums sums> void split(int &a, int &b, int p, int q) {
    a = (sums == Sums::whole ? p + q : sat16(p + q)) >> 1;
    b = (sums == Sums::whole ? p - q : sat16(p - q)) >> 1;
}
template <Sums sums, class Word> void split5(int &a, int &b, Word *memory) {
    const int p = section(a, 21955, memory[0]);
    split<sums>(a, b, p, section(b, 6390, memory[1]));
}
template <Sums sums, class Word> void split3(int &a, int &b, Word &memory) {
    split<sums>(a, b, a, section(b, 13363, memory));
}

// The samples step * i + first, of which those from `late` on count in the next frame once more.
struct Band {
    int step, first, scale;
};
template <class Word> int16_t bandLevel(const int *w, int length, int late, const Band &band, Word &carried) {
    int64_t sums[2] = {};
    for (int i = band.first; i < length; i += band.step)
        sums[i >= late] += 2 * std::min(std::abs(w[i]), 32767);
    const int64_t carry = band.scale == 17 ? carried >> 1 : carried << (16 - band.scale);
    carried = static_cast<Word>(upperHalf(sums[1], band.scale));
    return static_cast<int16_t>(upperHalf(sums[0] + carry + sums[1], band.scale));
}

} // namespace

void AmrWbFilterBank::levels(const int16_t *frame, int16_t *level) {
    constexpr Band bands[12] = {{32, 0, 17}, {32, 16, 17}, {32, 24, 17}, {32, 8, 17}, {16, 12, 16}, {16, 4, 16},
                                {16, 6, 16}, {16, 14, 16}, {8, 2, 15},   {8, 3, 15},  {8, 7, 15},   {4, 1, 14}};
    int w[256];
    std::transform(frame, frame + 256, w, [](int16_t x) { return x >> 1; });
    for (int i = 0; i < 256; i += 2)
        split5<Sums::whole>(w[i], w[i + 1], fifthOrder[0]);
    for (int i = 0; i < 256; i += 4) {
        split5<Sums::whole>(w[i], w[i + 2], fifthOrder[1]);
        split5<Sums::whole>(w[i + 1], w[i + 3], fifthOrder[2]);
    }
    for (int i = 0; i < 256; i += 8) {
        split5<Sums::whole>(w[i], w[i + 4], fifthOrder[3]);
        split5<Sums::whole>(w[i + 2], w[i + 6], fifthOrder[4]);
        split3<Sums::whole>(w[i + 3], w[i + 7], thirdOrder[0]);
    }
    for (int i = 0; i < 256; i += 16) {
        split3<Sums::whole>(w[i], w[i + 8], thirdOrder[1]);
        split3<Sums::whole>(w[i + 4], w[i + 12], thirdOrder[2]);
        split3<Sums::whole>(w[i + 6], w[i + 14], thirdOrder[3]);
    }
    for (int i = 0; i < 256; i += 32) {
        split3<Sums::whole>(w[i], w[i + 16], thirdOrder[4]);
        split3<Sums::whole>(w[i + 8], w[i + 24], thirdOrder[5]);
    }
    for (int k = 0; k < 12; k++)
        level[k] = bandLevel(w, 256, 64, bands[k], carried[k]);
}

void GsmAmrFilterBank::levels(const int16_t *frame, int16_t *level) {
    constexpr Band bands[9] = {{16, 0, 16}, {16, 8, 16}, {16, 12, 16}, {16, 4, 16}, {8, 6, 16},
                               {8, 2, 16},  {8, 3, 16},  {8, 7, 16},   {4, 1, 15}};
    int w[160];
    std::transform(frame, frame + 160, w, [](int16_t x) { return x >> 2; });
    for (int i = 0; i < 160; i += 2) { // not halved
        const int p = section(w[i], 21955, fifthOrder[0][0]), q = section(w[i + 1], 6390, fifthOrder[0][1]);
        w[i] = sat16(p + q);
        w[i + 1] = sat16(p - q);
    }
    for (int i = 0; i < 160; i += 4) {
        split5<Sums::saturated>(w[i], w[i + 2], fifthOrder[1]);
        split5<Sums::saturated>(w[i + 1], w[i + 3], fifthOrder[2]);
    }
    for (int i = 0; i < 160; i += 8) {
        split3<Sums::saturated>(w[i], w[i + 4], thirdOrder[0]);
        split3<Sums::saturated>(w[i + 2], w[i + 6], thirdOrder[1]);
        split3<Sums::saturated>(w[i + 3], w[i + 7], thirdOrder[4]);
    }
    for (int i = 0; i < 160; i += 16) {
        split3<Sums::saturated>(w[i], w[i + 8], thirdOrder[2]);
        split3<Sums::saturated>(w[i + 4], w[i + 12], thirdOrder[3]);
    }
    for (int k = 0; k < 9; k++)
        level[k] = bandLevel(w, 160, 128, bands[k], carried[k]);
}

} // namespace reference
