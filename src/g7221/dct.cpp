// SPDX-License-Identifier: BSD-2-Clause
#include "g7221/dct.h"

#include <algorithm>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "frame/implementations.h"
#include "g7221/transform_tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

namespace {

constexpr int core = 10;

template <class Rotate>
void rotations(const int16_t *x, int16_t *y, int len, int block, const Rotation *table, Rotate rotate) {
    for (int b = 0; b < len; b += block)
        for (int j = 0; j < block / 2; j++) {
            const auto [first, second] = rotate(x[b + j], x[b + block / 2 + j], table[j], (j & 1) != 0);
            y[b + j] = first;
            y[b + block - 1 - j] = second;
        }
}

template <class Table> void cores(const int16_t *x, int16_t *y, int len, const Table &table) {
    for (int b = 0; b < len; b += core)
        for (int k = 0; k < core; k++) {
            int32_t acc = 0;
            for (int i = 0; i < core; i++)
                acc = L_mac(acc, x[b + i], table[static_cast<size_t>(i * core + k)]);
            y[b + k] = ryxsc::round(acc);
        }
}

struct Couple {
    int16_t first, second;
};

Couple rotateAnalysis(int16_t lo, int16_t hi, Rotation r, bool odd) {
    const int16_t signedHi = odd ? hi : negate(hi);
    (void)signedHi;
    int32_t a = L_mult(r.cosine, lo);
    int32_t b = L_mult(r.minusSine, lo);
    a = odd ? L_mac(a, r.minusSine, hi) : L_msu(a, r.minusSine, hi);
    b = odd ? L_msu(b, r.cosine, hi) : L_mac(b, r.cosine, hi);
    return {ryxsc::round(a), ryxsc::round(b)};
}

Couple rotateSynthesis(int16_t lo, int16_t hi, Rotation r, bool odd) {
    int32_t a = L_mult(r.cosine, lo);
    int32_t b = L_mult(r.minusSine, lo);
    a = odd ? L_mac(a, r.minusSine, hi) : L_mac(a, negate(r.minusSine), hi);
    b = odd ? L_mac(b, negate(r.cosine), hi) : L_mac(b, r.cosine, hi);
    return {ryxsc::round(L_shl(a, 1)), ryxsc::round(L_shl(b, 1))};
}

const Rotation *analysisTable(int block) {
    switch (block) {
    case 20:
        return analysisRotation20.data();
    case 40:
        return analysisRotation40.data();
    case 80:
        return analysisRotation80.data();
    case 160:
        return analysisRotation160.data();
    case 320:
        return analysisRotation320.data();
    default:
        return analysisRotation640.data();
    }
}
const Rotation *synthesisTable(int block) {
    switch (block) {
    case 20:
        return synthesisRotation20.data();
    case 40:
        return synthesisRotation40.data();
    case 80:
        return synthesisRotation80.data();
    case 160:
        return synthesisRotation160.data();
    case 320:
        return synthesisRotation320.data();
    default:
        return synthesisRotation640.data();
    }
}

} // namespace

void ryxsc::g7221::dctAnalysis(const int16_t *src, int16_t *dst, int len) {
    int16_t x[longFrame], y[longFrame];
    for (int n = 0; n < len; n++)
        x[n] = len == shortFrame ? add(src[n], analysisBias320[static_cast<size_t>(n)]) : src[n];
    for (int block = len; block >= 2 * core; block /= 2) {
        for (int b = 0; b < len; b += block)
            for (int j = 0; j < block / 2; j++) {
                const int p = x[b + 2 * j], q = x[b + 2 * j + 1];
                y[b + j] = static_cast<int16_t>((p + q) >> 1);
                y[b + block - 1 - j] = static_cast<int16_t>((p - q) >> 1);
            }
        std::copy_n(y, len, x);
    }
    cores(x, y, len, analysisCore);
    for (int block = 2 * core; block <= len; block *= 2) {
        rotations(y, x, len, block, analysisTable(block), rotateAnalysis);
        std::copy_n(x, len, y);
    }
    std::copy_n(y, len, dst);
}

void ryxsc::g7221::dctSynthesis(const int16_t *src, int16_t *dst, int len) {
    int16_t x[longFrame], y[longFrame];
    std::copy_n(src, len, x);
    const int16_t *dither = len == shortFrame ? synthesisDither320.data() : synthesisDither640.data();
    for (int block = len; block >= 2 * core; block /= 2) {
        for (int b = 0; b < len; b += block)
            for (int j = 0; j < block / 2; j++) {
                const int16_t p = x[b + 2 * j], q = x[b + 2 * j + 1];
                if (block == len) {
                    y[j] = static_cast<int16_t>((add(p, dither[2 * j]) + q) >> 1);
                    y[len - 1 - j] = static_cast<int16_t>((add(p, dither[2 * j + 1]) - q) >> 1);
                } else {
                    y[b + j] = add(p, q);
                    y[b + block - 1 - j] = add(p, negate(q));
                }
            }
        std::copy_n(y, len, x);
    }
    cores(x, y, len, synthesisCore);
    for (int block = 2 * core; block <= len; block *= 2) {
        rotations(y, x, len, block, synthesisTable(block), rotateSynthesis);
        std::copy_n(x, len, y);
    }
    for (int n = 0; n < len; n++)
        dst[n] = len == shortFrame ? add(y[n], synthesisBias320[static_cast<size_t>(n)]) : y[n];
}

ryxStatus ryxsDCTFwd_G7221_16s_u8(const int16_t *src, int16_t *dst, int len) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (!isFrameLength(len)) return ryxStsBadSize;
    dctAnalysis(src, dst, len);
    return ryxStsOk;
}

ryxStatus ryxsDCTInv_G7221_16s_u8(const int16_t *src, int16_t *dst, int len) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (!isFrameLength(len)) return ryxStsBadSize;
    dctSynthesis(src, dst, len);
    return ryxStsOk;
}
