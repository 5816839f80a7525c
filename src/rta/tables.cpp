// SPDX-License-Identifier: BSD-2-Clause
#include "rta/tables.h"

namespace ryxsc::rta {

namespace {

// Single precision.
constexpr std::array<float, 12> firstHalf24 = {0.00038331F,   -0.001392911F, -0.001373861F, 0.006485879F,
                                               0.001446461F,  -0.01901993F,  0.003891522F,  0.044239759F,
                                               -0.025615331F, -0.098297827F, 0.116035499F,  0.473128915F};

constexpr std::array<float, 24> firstHalf48 = {-1.4619e-05F,  -9.2055e-05F,  -5.6158e-05F,  0.000301173F, 0.000242252F,
                                               -0.000852939F, -0.000520557F, 0.002034017F,  0.000783339F, -0.004215386F,
                                               -0.00075615F,  0.007840294F,  -6.117e-05F,   -0.01344162F, 0.002462682F,
                                               0.021736089F,  -0.007801671F, -0.034090221F, 0.01880949F,  0.054326009F,
                                               -0.043596379F, -0.099384367F, 0.132079095F,  0.464241594F};

template <size_t half> constexpr Prototype<2 * half> mirror(const std::array<float, half> &first) {
    Prototype<2 * half> prototype{};
    for (size_t i = 0; i < half; i++)
        prototype.h[i] = prototype.h[2 * half - 1 - i] = first[i];
    for (size_t i = 0; i < half; i++) {
        prototype.even[i].fill(prototype.h[2 * i]);
        prototype.odd[i].fill(prototype.h[2 * i + 1]);
    }
    return prototype;
}

} // namespace

constexpr Prototype<24> prototype24 = mirror(firstHalf24);
constexpr Prototype<48> prototype48 = mirror(firstHalf48);

constexpr std::array<HighPass, 4> highPassFilters = {{
    {8000,
     {},
     {{-0.999202967F, 0.998822749F, -0.995246053F, 0.848555982F},
      {5.69046779e-06F, 5.19817149e-05F, -0.0109742247F, -0.151232332F, 0.92117101F}}},

    {16000,
     {0.992697299F, -2.97808051F, 2.97808051F, -0.992697299F, -2.98532963F, 2.97077799F, -0.985448003F},
     {{-0.999795496F, 0.999710858F, -0.998809516F, 0.921181917F},
      {3.8569172e-07F, 3.47085279e-06F, -0.00304638385F, -0.0787905753F, 0.959782243F}}},

    {22050,
     {0.994166791F, -2.98249316F, 2.98249316F, -0.994166791F, -2.98829222F, 2.97666001F, -0.988367617F},
     {{-0.999892354F, 0.99984777F, -0.999372959F, 0.942168951F},
      {1.08343571e-07F, 9.81466087e-07F, -0.00164961547F, -0.0578204468F, 0.970653892F}}},

    {32000,
     {0.996783197F, -2.99034595F, 2.99034595F, -0.996783197F, -2.99355245F, 2.98712921F, -0.993576705F},
     {{-0.999948919F, 0.9999277F, -0.999702215F, 0.959783673F},
      {2.46800678e-08F, 2.248822e-07F, -0.000801350106F, -0.0402128398F, 0.979685485F}}},
}};

} // namespace ryxsc::rta
