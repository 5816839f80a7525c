// SPDX-License-Identifier: BSD-2-Clause
// LP analysis and LSP conversion of ITU-T G.729, step by step as the recommendation writes it: the plain forms that the
// library's kernels are compared with. They share nothing with the library but one table.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace reference::g729lp {

inline constexpr int order = 10;
template <class Number> using Lsps = std::array<Number, order>;
template <class Number> using Lpcs = std::array<Number, order + 1>;

struct Filter {
    std::vector<int16_t> lpc, reflections;
    int16_t energy;
};
// Nothing for an unstable filter.
std::optional<Filter> levinson(const std::vector<int32_t> &r);

// 60 intervals and 4 bisections in the recommendation, 50 and 2 in its Annex A. No roots where fewer than ten are found.
struct Search {
    int intervals, bisections;
};
std::optional<Lsps<int16_t>> lpcToLsp(const Lpcs<int16_t> &a, Search search);
std::optional<Lsps<float>> lpcToLsp(const Lpcs<float> &a, Search search);

Lpcs<int16_t> lspToLpc(const Lsps<int16_t> &lsp);
Lsps<int16_t> lspToLsf(const Lsps<int16_t> &lsp, bool normalised);
Lsps<int16_t> lsfToLsp(const Lsps<int16_t> &lsf);

} // namespace reference::g729lp
