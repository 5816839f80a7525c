// SPDX-License-Identifier: BSD-2-Clause
#include "reference/g726.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "g726/companding.h"
#include "g726/tables.h"

namespace reference::g726 {

namespace {

int wrap16(int x) {
    return static_cast<int16_t>(x);
}

int significantBits(int magnitude) {
    return static_cast<int>(std::bit_width(static_cast<unsigned>(magnitude)));
}

int floatingWord(int magnitude) {
    if (magnitude == 0) return 32;
    const int exponent = significantBits(magnitude);
    return (exponent << 6) + ((magnitude << 6) >> exponent);
}

// FMULT
int product(int coefficient, int word, bool wordNegative) {
    const int magnitude = std::abs(coefficient >> 2) & 8191;
    const int exponent = significantBits(magnitude);
    const int mantissa = magnitude == 0 ? 32 : (magnitude << 6) >> exponent;
    const int e = exponent + ((word >> 6) & 15);
    const int m = (mantissa * (word & 63) + 48) >> 4;
    const int v = e <= 26 ? (m << 7) >> (26 - e) : ((m << 7) << (e - 26)) & 32767;
    return (coefficient < 0) != wordNegative ? -v : v;
}

} // namespace

using ryxsc::g726::ALaw, ryxsc::g726::Code, ryxsc::g726::MuLaw, ryxsc::g726::Tables;

template <int bits> Codec<bits>::Codec() {
    std::fill(std::begin(dqWord), std::end(dqWord), 32);
    std::fill(std::begin(srWord), std::end(srWord), 32);
}

template <int bits> void Codec<bits>::estimate() {
    int zeros = 0;
    for (int i = 0; i < 6; i++)
        zeros += product(b[i], dqWord[i], dqNegative[i]);
    int all = zeros;
    for (int i = 0; i < 2; i++)
        all += product(a[i], srWord[i], srNegative[i]);
    sez = wrap16(zeros) >> 1;
    se = wrap16(all) >> 1;

    const int slow = yl >> 6;
    const int al = ap >= 256 ? 64 : ap >> 2;
    const int difference = yu - slow;
    const int mixed = (std::abs(difference) * al) >> 6;
    y = slow + (difference < 0 ? -mixed : mixed);
}

template <int bits> int Codec<bits>::quantise(int x) const {
    const int d = wrap16(x - se);
    const int m = std::min(std::abs(d), 32767);
    int log = -128;
    if (m > 0) {
        const int e = significantBits(m) - 1;
        log = (e << 7) + (((m << 7) >> e) & 127);
    }
    size_t passed = 0;
    while (passed < Tables<bits>::levels.size() && log - (y >> 2) < Tables<bits>::levels[passed])
        passed++;
    return Tables<bits>::decisions[d < 0][passed];
}

template <int bits> void Codec<bits>::reconstruct(int code) {
    const Code &row = Tables<bits>::codes[static_cast<size_t>(code)];
    const int dql = (y >> 2) + row.logMagnitude;
    dqm = dql < 0 ? 0 : (((dql & 127) + 128) << 7) >> (14 - ((dql >> 7) & 15));
    negative = (code >> (bits - 1)) != 0;
    const int dq = negative ? -dqm : dqm;
    sr = wrap16(se + dq);
    p = wrap16(sez + dq);
}

template <int bits> void Codec<bits>::adapt(int code) {
    const Code &row = Tables<bits>::codes[static_cast<size_t>(code)];
    const int e = yl >> 15;
    const int x = e > 9 ? 31744 : (((yl >> 10) & 31) + 32) << e;
    const bool transition = td && dqm > (x + (x >> 1)) >> 1;

    yu = std::clamp(y + ((row.scaleMultiplier - y) >> 5), 544, 5120);
    yl += wrap16(yu + ((-yl) >> 6));
    dms += (row.rateFunction - dms) >> 5;
    dml += (4 * row.rateFunction - dml) >> 7;

    const bool s0 = p < 0;
    int a2 = a[1] - (a[1] >> 7);
    int a1 = a[0] - (a[0] >> 8);
    if (p != 0) {
        const int f = std::clamp(4 * a[0], -32764, 32764);
        a2 += ((s0 == pk[0] ? -f : f) + (s0 == pk[1] ? 16384 : -16384)) >> 7;
        a1 += s0 == pk[0] ? 192 : -192;
    }
    a2 = std::clamp(a2, -12288, 12288);
    a1 = std::clamp(a1, -(15360 - a2), 15360 - a2);
    for (int i = 0; i < 6; i++) {
        const int step = dqm == 0 ? 0 : negative == dqNegative[i] ? 128 : -128;
        b[i] = wrap16(b[i] - (b[i] >> (bits == 5 ? 9 : 8)) + step);
    }
    a[0] = a1;
    a[1] = a2;

    const bool tone = a2 < -11776;
    const bool fast = y < 1536 || tone || std::abs(4 * dms - dml) >= dml >> 3;
    ap += ((fast ? 512 : 0) - ap) >> 4;
    td = tone;
    if (transition) {
        std::fill(std::begin(a), std::end(a), 0);
        std::fill(std::begin(b), std::end(b), 0);
        td = 0;
        ap = 256;
    }

    std::copy_backward(dqWord, dqWord + 5, dqWord + 6);
    std::copy_backward(dqNegative, dqNegative + 5, dqNegative + 6);
    dqWord[0] = floatingWord(dqm);
    dqNegative[0] = negative;
    srWord[1] = srWord[0];
    srNegative[1] = srNegative[0];
    srWord[0] = sr == -32768 ? 32 : floatingWord(std::abs(sr));
    srNegative[0] = sr < 0;
    pk[1] = pk[0];
    pk[0] = s0;
}

template <int bits> int Codec<bits>::encode(int x) {
    estimate();
    const int code = quantise(x);
    reconstruct(code);
    adapt(code);
    return code;
}

template <int bits> int Codec<bits>::decode(int octet, Law law) {
    const int code = octet & ((1 << bits) - 1);
    estimate();
    reconstruct(code);
    int out = std::clamp(sr, -8192, 8191);
    if (law != Law::linear) {
        out = law == Law::a ? ALaw::compress(sr) : MuLaw::compress(sr);
        const int again = quantise(law == Law::a ? ALaw::expand(out) : MuLaw::expand(out));
        constexpr int signBit = 1 << (bits - 1);
        const int move = ((again ^ signBit) < (code ^ signBit)) - ((again ^ signBit) > (code ^ signBit));
        out = law == Law::a ? ALaw::stepped(out, move) : MuLaw::stepped(out, move);
    }
    adapt(code);
    return out;
}

template class Codec<2>;
template class Codec<3>;
template class Codec<4>;
template class Codec<5>;

} // namespace reference::g726
