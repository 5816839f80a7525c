// SPDX-License-Identifier: BSD-2-Clause
// ISP conversion and ISF quantisation of AMR-WB, step by step as 3GPP TS 26.173 writes it: the plain forms that the
// library's kernels are compared with. They share nothing with the library but the basic operators and the tables.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace reference::amrwb {

using Words = std::vector<int16_t>;
using Isf = std::array<int16_t, 16>;

// No ISPs where too few roots are found.
std::optional<Words> lpcToIsp(const Words &a);
Words ispToIsf(const Words &isp);

// The indices.
std::array<int16_t, 7> quantise(const Isf &isf, const Isf &past, bool is36Bits);
std::array<int16_t, 5> quantiseNoise(const Isf &isf);

} // namespace reference::amrwb
