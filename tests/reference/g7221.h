// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722.1, value by value as the recommendation writes it: the plain forms that the library's kernels are compared
// with. The tables are the library's.
#pragma once

#include <cstdint>
#include <vector>

namespace reference::g7221 {

using Words = std::vector<int16_t>;

Words dctAnalysis(Words x);
Words dctSynthesis(Words x);

struct Categorisation {
    Words categories, balances;
};
Categorisation categorise(const Words &powerIndex, int availableBits);

struct QuantisedRegion {
    Words vectors; // ten, zeros behind the last one
    int bits;
};
QuantisedRegion quantiseRegion(const int16_t *region, int category, int scaledIndex);

} // namespace reference::g7221
