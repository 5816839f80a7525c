// SPDX-License-Identifier: BSD-2-Clause
#include "reference/amrwb_isf.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "amrwb/isf_first_stage.h"
#include "amrwb/isf_noise_vectors.h"
#include "amrwb/isf_second_stage.h"
#include "amrwb/isf_tables.h"
#include "common/fixed_point.h"

namespace reference::amrwb {

namespace {

using namespace ryxsc;
using namespace ryxsc::amrwb;

int32_t mixedProduct(int32_t x, int16_t n) {
    return L_mac(L_mult(extract_h(x), n), mult(static_cast<int16_t>((x >> 1) & 0x7fff), n), 1);
}

int16_t evaluate(const Words &f, int16_t x) {
    const size_t q = f.size() - 1;
    const auto low = [](int32_t b) { return static_cast<int16_t>((b >> 1) & 0x7fff); };
    int32_t b2 = L_mult(f[0], 4096), b1 = L_mac(L_shl(mixedProduct(b2, x), 1), f[1], 4096);
    for (size_t i = 2; i < q; i++) {
        const int32_t t = L_mac(L_mac(mixedProduct(b1, x), extract_h(b2), -16384), f[i], 2048);
        const int32_t b0 = L_msu(L_shl(t, 1), low(b2), 1);
        b2 = b1;
        b1 = b0;
    }
    const int32_t t = L_msu(L_mac(mixedProduct(b1, x), extract_h(b2), -32768), low(b2), 1);
    const int16_t c = extract_h(L_shl(L_mac(t, f[q], 2048), 6));
    return c == min16 ? static_cast<int16_t>(-max16) : c;
}

int16_t interpolate(int16_t xh, int16_t yh, int16_t xl, int16_t yl) {
    const int16_t dx = sub(xh, xl), dy = sub(yh, yl), y = abs_s(dy), e = norm_s(y);
    if (dy == 0) return xl;
    const int16_t slope = extract_l(L_mult(dx, div_s(16383, shl(y, e))) >> (20 - e));
    return sub(xl, extract_l(L_mult(yl, dy < 0 ? negate(slope) : slope) >> 11));
}

using Found = std::pair<int32_t, int16_t>; // distance, index

template <size_t values> int32_t distance(const int16_t (&row)[values], const int16_t *r) {
    int32_t d = 0;
    for (size_t j = 0; j < values; j++)
        d = L_mac(d, sub(r[j], row[j]), sub(r[j], row[j]));
    return d;
}

template <size_t rows, size_t values>
int32_t search(const int16_t (&book)[rows][values], const int16_t *&r, int16_t *&index) {
    Found best = {max32, 0};
    for (size_t i = 0; i < rows; i++)
        best = std::min(best, Found(distance(book[i], r), static_cast<int16_t>(i)));
    r += values;
    *index++ = best.second;
    return best.first;
}

template <size_t values, class... Books> void quantiseHalf(const int16_t *r, int16_t *firstIndex, int16_t *indices,
                                                           const int16_t (&first)[256][values],
                                                           const Books &...second) {
    std::vector<Found> survivors = {{max32, 0}, {max32, 1}, {max32, 2}, {max32, 3}};
    for (size_t i = 0; i < 256; i++) {
        const int32_t d = distance(first[i], r);
        const auto worse = [d](const Found &kept) { return d < kept.first; };
        survivors.emplace(std::find_if(survivors.begin(), survivors.end(), worse), d, static_cast<int16_t>(i));
        survivors.pop_back();
    }
    int32_t best = max32;
    for (const Found &survivor : survivors) {
        int16_t rest[values], found[3];
        for (size_t j = 0; j < values; j++)
            rest[j] = sub(r[j], first[static_cast<size_t>(survivor.second)][j]);
        const int16_t *target = rest;
        int16_t *index = found;
        int32_t total = 0;
        ((total = L_add(total, search(second, target, index))), ...);
        if (total >= best) continue;
        best = total;
        *firstIndex = survivor.second;
        std::copy_n(found, sizeof...(second), indices);
    }
}

} // namespace

std::optional<Words> lpcToIsp(const Words &a) {
    const size_t m = a.size() - 1, n = m / 2;
    Words f[2] = {Words(n + 1), Words(n)}, isp;
    for (size_t i = 0; i < n; i++) {
        f[0][i] = sat16((a[i] + a[m - i] + 1) >> 1);
        f[1][i] = sat16((a[i] - a[m - i] + 1) >> 1);
        if (i >= 2) f[1][i] = add(f[1][i], f[1][i - 2]);
    }
    f[0][n] = a[n];
    const auto &grid = ispGrid.cosines;
    int16_t xl = grid[0], yl = evaluate(f[0], xl);
    for (size_t j = 1; j <= 100 && isp.size() < m - 1; j++) {
        int16_t xh = xl, yh = yl;
        const auto value = [&](int16_t x) { return evaluate(f[isp.size() % 2], x); };
        yl = value(xl = grid[j]);
        if (yl * yh > 0) continue;
        for (int i = 0; i < 2; i++) {
            const auto xm = static_cast<int16_t>((xl >> 1) + (xh >> 1));
            const int16_t ym = value(xm);
            (yl * ym <= 0 ? xh : xl) = xm;
            (yl * ym <= 0 ? yh : yl) = ym;
        }
        isp.push_back(xl = interpolate(xh, yh, xl, yl));
        yl = value(xl);
    }
    if (isp.size() < m - 1) return {};
    isp.push_back(sat16(8 * a[m]));
    return isp;
}

Words ispToIsf(const Words &isp) {
    Words isf(isp.size());
    size_t k = 127;
    for (size_t i = isp.size(); i-- > 0;) {
        if (i + 2 == isp.size()) k = 127;
        while (cosines[k] < isp[i])
            k--;
        isf[i] = sat16((((isp[i] - cosines[k]) * inverseSlopes[k] + 1024) >> 11) + 128 * static_cast<int>(k));
    }
    isf.back() = static_cast<int16_t>(isf.back() >> 1);
    return isf;
}

std::array<int16_t, 7> quantise(const Isf &isf, const Isf &past, bool is36Bits) {
    Isf r;
    for (size_t i = 0; i < r.size(); i++)
        r[i] = sub(sub(isf[i], isfMean[i]), mult(10923, past[i]));
    std::array<int16_t, 7> index = {};
    if (is36Bits) {
        quantiseHalf(&r[0], &index[0], &index[2], firstStageLowVectors, secondStage36Vectors1, secondStage36Vectors2);
        quantiseHalf(&r[9], &index[1], &index[4], firstStageHighVectors, secondStage36Vectors3);
    } else {
        quantiseHalf(&r[0], &index[0], &index[2], firstStageLowVectors, secondStage46Vectors1, secondStage46Vectors2,
                     secondStage46Vectors3);
        quantiseHalf(&r[9], &index[1], &index[5], firstStageHighVectors, secondStage46Vectors4, secondStage46Vectors5);
    }
    return index;
}

std::array<int16_t, 5> quantiseNoise(const Isf &isf) {
    Isf r;
    for (size_t i = 0; i < r.size(); i++)
        r[i] = sub(isf[i], noiseMean[i]);
    std::array<int16_t, 5> indices;
    const int16_t *target = r.data();
    int16_t *index = indices.data();
    search(noiseVectors1, target, index);
    search(noiseVectors2, target, index);
    search(noiseVectors3, target, index);
    search(noiseVectors4, target, index);
    search(noiseVectors5, target, index);
    return indices;
}

} // namespace reference::amrwb
