// SPDX-License-Identifier: BSD-2-Clause
// Codebooks of 16-bit vectors, stored once, in the arrangement that the searches of vector_quantiser_search.h read.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ryxsc {

// Vectors by fours: [g][p] holds the values 2p and 2p + 1 of vector 4g, then those of 4g + 1, 4g + 2 and 4g + 3. The last
// pair of an odd number of values ends with a zero.
template <size_t vectors, size_t valuesOfEach> struct PairCodebook {
    static constexpr size_t size = vectors;
    static constexpr size_t values = valuesOfEach;
    static constexpr size_t pairs = (values + 1) / 2;

    alignas(16) int16_t quads[vectors / 4][pairs][8];

    const int16_t *pair(size_t vector, size_t p) const { return &quads[vector / 4][p][vector % 4 * 2]; }
};

// valueOf(vector, j), j = 0 .. values - 1.
template <size_t vectors, size_t values, class ValueOf>
constexpr PairCodebook<vectors, values> arrangePairs(ValueOf valueOf) {
    PairCodebook<vectors, values> book{};
    for (size_t i = 0; i < vectors; i++)
        for (size_t j = 0; j < values; j++)
            book.quads[i / 4][j / 2][i % 4 * 2 + j % 2] = valueOf(i, j);
    return book;
}

// The bits of a received codebook index; those above are ignored, so that no index leads out of its table.
template <int count> constexpr size_t bits(int16_t index) {
    return static_cast<size_t>(index & ((1 << count) - 1));
}

} // namespace ryxsc
