// SPDX-License-Identifier: BSD-2-Clause
#include "reference/g722.h"

#include <algorithm>

namespace reference::g722 {

namespace {

constexpr int decisionLevels[30] = {0,    35,   72,   110,  150,  190,  233,  276,  323,  370,
                                    422,  473,  530,  587,  650,  714,  786,  858,  940,  1023,
                                    1121, 1219, 1339, 1458, 1612, 1765, 1980, 2195, 2557, 2919};
constexpr int magnitudes4[8] = {0, 150, 323, 530, 786, 1121, 1612, 2557};
constexpr int magnitudes5[16] = {0, 35, 110, 190, 276, 370, 473, 587, 714, 858, 1023, 1219, 1458, 1765, 2195, 2919};
constexpr int magnitudes6[31] = {0,    17,   54,   91,   130,  170,  211,  254,  300, 347,  396,
                                 447,  501,  558,  618,  682,  750,  822,  899,  982, 1072, 1170,
                                 1279, 1399, 1535, 1689, 1873, 2088, 2376, 2738, 3101};
constexpr int lowLogSteps[8] = {-60, -30, 58, 172, 334, 538, 1198, 3042};
constexpr int antilogMantissas[32] = {2048, 2093, 2139, 2186, 2233, 2282, 2332, 2383, 2435, 2489, 2543,
                                      2599, 2656, 2714, 2774, 2834, 2896, 2960, 3025, 3091, 3158, 3228,
                                      3298, 3371, 3444, 3520, 3597, 3676, 3756, 3838, 3922, 4008};
constexpr int qmf[24] = {6,    -22,  -22,   106,  24,  -312, 64,   724, -420, -1610, 1902, 7752,
                         7752, 1902, -1610, -420, 724, 64,   -312, 24,  106,  -22,   -22,  6};

int sat16(int x) {
    return std::clamp(x, -32768, 32767);
}

int limit15(int x) {
    return std::clamp(x, -16384, 16383);
}

bool negative(int x) {
    return x < 0;
}

// Signed inverse quantiser outputs. The codes that an encoder never sends stand for the first negative magnitude.
int level4(int code) {
    if (code == 0) return 0;
    return code < 8 ? -magnitudes4[8 - code] : magnitudes4[15 - code];
}

int level5(int code) {
    if (code < 2 || code == 31) return -magnitudes5[1];
    return code < 16 ? -magnitudes5[17 - code] : magnitudes5[31 - code];
}

int level6(int code) {
    if (code < 4 || code == 63) return -magnitudes6[1];
    if (code == 62) return -magnitudes6[2];
    return code < 32 ? -magnitudes6[34 - code] : magnitudes6[62 - code];
}

int level2(int code) {
    const int magnitude = code % 2 ? 202 : 926;
    return code < 2 ? -magnitude : magnitude;
}

int lowLogStep(int code4) {
    return lowLogSteps[code4 == 0 ? 0 : code4 < 8 ? 8 - code4 : 15 - code4];
}

int onesMagnitude(int x) {
    return x < 0 ? -(x + 1) : x;
}

int lowCode(int difference, int det) {
    int index = 1;
    while (index < 30 && (decisionLevels[index] * det) >> 12 <= onesMagnitude(difference))
        index++;
    if (difference >= 0) return 62 - index;
    return index < 3 ? 64 - index : 34 - index;
}

int highCode(int difference, int det) {
    const bool large = onesMagnitude(difference) >= (564 * det) >> 12;
    return (difference < 0 ? 1 : 3) - large;
}

void push(int16_t *delay, int newer, int older) {
    std::copy_backward(delay, delay + 22, delay + 24);
    delay[0] = static_cast<int16_t>(newer);
    delay[1] = static_cast<int16_t>(older);
}

// Sums over the even and the odd positions.
void filter(const int16_t *delay, int sums[2]) {
    sums[0] = sums[1] = 0;
    for (int i = 0; i < 24; i++)
        sums[i % 2] += qmf[i] * delay[i];
}

} // namespace

Band::Band(int startDet, int logLimit, int offset) : det(startDet), logMax(logLimit), antilogOffset(offset) {
}

void Band::adapt(int level, int logStep) {
    const int difference = (det * level) >> 12;
    nb = std::clamp(((nb * 127) >> 7) + logStep, 0, logMax);
    det = 4 * antilog((nb >> 6) + antilogOffset);

    const int partial = sat16(difference + sz);
    const int previous = r;
    r = sat16(s + difference);
    adaptZeros(difference);
    adaptPoles(partial);
    int sum = 0;
    for (int i = 0; i < 6; i++)
        sum += (d[i] * b[i]) >> 14;
    sz = sat16(sum);
    s = sat16(sat16(((sat16(2 * r) * a[0]) >> 15) + ((sat16(2 * previous) * a[1]) >> 15)) + sz);
}

int Band::antilog(int k) const {
    return k / 32 <= 10 ? antilogMantissas[k % 32] >> (10 - k / 32) : antilogMantissas[k % 32] << 1;
}

void Band::restart(const int16_t *recon, int prediction) {
    std::fill(d, d + 6, 0);
    p[0] = recon[1] >> 1;
    p[1] = recon[0] >> 1;
    r = recon[1];
    s = prediction;
    sz = prediction >> 1;
}

void Band::halveScale() {
    nb >>= 1;
    det = 4 * antilog(nb >> 6);
}

void Band::resetScale(int startDet) {
    nb = 0;
    det = startDet;
}

void Band::adaptZeros(int difference) {
    const int step = difference == 0 ? 0 : 128;
    for (int i = 0; i < 6; i++)
        b[i] = ((b[i] * 32640) >> 15) + (negative(difference) == negative(d[i]) ? step : -step);
    std::copy_backward(d, d + 5, d + 6);
    d[0] = difference;
}

void Band::adaptPoles(int partial) {
    const bool agree1 = negative(partial) == negative(p[0]);
    const bool agree2 = negative(partial) == negative(p[1]);
    const int f = agree1 ? sat16(-sat16(4 * a[0])) : sat16(4 * a[0]);
    a[1] = std::clamp((f >> 7) + (agree2 ? 128 : -128) + ((a[1] * 127) >> 7), -12288, 12288);
    a[0] = std::clamp(((a[0] * 32640) >> 15) + (agree1 ? 192 : -192), a[1] - 15360, 15360 - a[1]);
    p[1] = p[0];
    p[0] = partial;
}

void Codec::adapt(int code6, int code2) {
    low.adapt(level4(code6 >> 2), lowLogStep(code6 >> 2));
    high.adapt(level2(code2), code2 % 2 ? -214 : 798);
}

void Codec::encode(const int16_t *bands, int16_t *codes) {
    const int code6 = lowCode(sat16(bands[0] - low.prediction()), low.scaleFactor());
    const int code2 = highCode(sat16(bands[1] - high.prediction()), high.scaleFactor());
    codes[0] = static_cast<int16_t>(code6);
    codes[1] = static_cast<int16_t>(code2);
    adapt(code6, code2);
}

void Codec::decode(const int16_t *codes, int16_t *bands, int mode) {
    const int code6 = codes[0] & 63;
    const int level = mode == 1 ? level6(code6) : mode == 2 ? level5(code6 >> 1) : level4(code6 >> 2);
    bands[0] = static_cast<int16_t>(limit15(low.prediction() + ((low.scaleFactor() * level) >> 12)));
    adapt(code6, codes[1] & 3);
    bands[1] = static_cast<int16_t>(limit15(high.reconstruction()));
}

void Codec::updateState(const int16_t *recon, int prediction, bool reset) {
    low.restart(recon, prediction);
    high.halveScale();
    if (!reset) return;
    low.resetScale(32);
    high.resetScale(8);
}

void transmitQmf(const int16_t *pair, int16_t *bands, int16_t *delay) {
    push(delay, pair[1], pair[0]);
    int sums[2];
    filter(delay, sums);
    bands[0] = static_cast<int16_t>(limit15((sums[0] + sums[1]) >> 15));
    bands[1] = static_cast<int16_t>(limit15((sums[0] - sums[1]) >> 15));
}

void receiveQmf(const int16_t *bands, int16_t *pair, int16_t *delay) {
    push(delay, bands[0] - bands[1], bands[0] + bands[1]);
    int sums[2];
    filter(delay, sums);
    pair[0] = static_cast<int16_t>(sat16(sums[0] >> 12));
    pair[1] = static_cast<int16_t>(sat16(sums[1] >> 12));
}

} // namespace reference::g722
