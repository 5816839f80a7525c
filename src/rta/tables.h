// SPDX-License-Identifier: BSD-2-Clause
// Constants of the RTA codec's filters.
#pragma once

#include <array>
#include <cstddef>

namespace ryxsc::rta {

// Coefficients in all lanes of a vector.
template <size_t count> using Lanes = std::array<std::array<float, 4>, count>;

// Symmetric low-pass prototypes of the two-band QMF: h[k] = h[taps - 1 - k]; and, for the kernels, those at even and at odd
// places.
template <size_t taps> struct Prototype {
    std::array<float, taps> h;
    alignas(16) Lanes<taps / 2> even, odd;
};
extern const Prototype<24> prototype24;
extern const Prototype<48> prototype48;

// b0 + b1 z^-1 + ... over 1 + a1 z^-1 + ...
struct DirectForm {
    float b0, b1, b2, b3, a1, a2, a3;
};

// Reflection coefficients and ladder taps.
struct LatticeLadder {
    std::array<float, 4> k;
    std::array<float, 5> v;
};

struct HighPass {
    int rate;          // Hz
    DirectForm order4; // not offered at 8 kHz
    LatticeLadder order5;
};
extern const std::array<HighPass, 4> highPassFilters;

} // namespace ryxsc::rta
