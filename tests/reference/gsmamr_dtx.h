// SPDX-License-Identifier: BSD-2-Clause
// The silence descriptor of GSM-AMR as 3GPP TS 26.073 computes it, value by value.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "common/fixed_point.h"
#include "common/lsp_frequency.h"
#include "gsmamr/lsf_tables.h"

namespace reference::gsmamr {

using namespace ryxsc;
using Ten = std::array<int16_t, 10>;

inline Ten lspToLsf(const Ten &lsp) {
    Ten lsf;
    for (size_t i = 10, k = 63; i-- > 0;) {
        while (cosines[k] < lsp[i])
            k--;
        const int32_t product = L_mult(sub(lsp[i], cosines[k]), arccosineSlopes[k]);
        lsf[i] = add(round(L_shl(product, 3)), static_cast<int16_t>(256 * k));
    }
    return lsf;
}

inline Ten spreadLsp(Ten lsf) {
    int16_t least = 205;
    for (int16_t &f : lsf) {
        f = std::max(f, least);
        least = add(f, 205);
        const int inside = std::min<int>(f, 16383), k = inside >> 8; // the table ends here
        const int width = cosines[static_cast<size_t>(k) + 1] - cosines[static_cast<size_t>(k)];
        f = add(cosines[static_cast<size_t>(k)], static_cast<int16_t>((width * (inside & 255)) >> 8));
    }
    return lsf;
}

inline int16_t weight(int16_t distance) {
    return shl(distance < 1843 ? sub(3427, mult(distance, 28160)) : sub(1843, mult(sub(distance, 1843), 6242)), 3);
}

// The values from..from+count-1 of target against the first ones of each row.
template <class Book>
size_t nearest(const Book &book, const Ten &target, const Ten *weights, size_t from, size_t count) {
    size_t best = 0;
    int32_t least = max32;
    for (size_t row = 0; row < Book::size; row++) {
        int32_t error = 0;
        for (size_t i = 0; i < count; i++) {
            int16_t t = sub(target[from + i], book.pair(row, i / 2)[i % 2]);
            if (weights) t = mult((*weights)[from + i], t);
            error = L_mac(error, t, t);
        }
        if (error < least) {
            least = error;
            best = row;
        }
    }
    return best;
}

// The initial predictor's number and the three indices.
inline std::array<size_t, 4> quantise(const int16_t *lspHistory) {
    using namespace ryxsc::gsmamr;
    Ten mean{}, weights, residual;
    for (size_t i = 0; i < 10; i++) {
        int sum = 0;
        for (size_t k = 0; k < 8; k++)
            sum += lspHistory[10 * k + i];
        mean[i] = static_cast<int16_t>(sum >> 3);
    }
    const Ten lsf = lspToLsf(spreadLsp(lspToLsf(mean)));
    for (size_t i = 0; i < 10; i++)
        weights[i] = weight(i == 0 ? lsf[1] : i == 9 ? sub(16384, lsf[8]) : sub(lsf[i + 1], lsf[i - 1]));
    const size_t first = nearest(initialLsfs, lsf, nullptr, 0, 10);
    for (size_t i = 0; i < 10; i++)
        residual[i] = sub(lsf[i], initialLsfs.pair(first, i / 2)[i % 2]);
    return {first, nearest(lowLsfs, residual, &weights, 0, 3), nearest(middleLsfs, residual, &weights, 3, 3),
            nearest(highLsfs, residual, &weights, 6, 4)};
}

} // namespace reference::gsmamr
