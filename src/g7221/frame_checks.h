// SPDX-License-Identifier: BSD-2-Clause
// Checks of the arguments that the stages of a decoder share.
#pragma once

#include <algorithm>
#include <cstdint>

#include "g7221/tables.h"

namespace ryxsc::g7221 {

inline bool areCategories(const int16_t *values, int regions) {
    return std::all_of(values, values + regions,
                       [](int category) { return category >= 0 && category < categoryCount; });
}

inline bool areDeviations(const int16_t *values, int regions) {
    return std::all_of(values, values + regions, [](int deviation) { return deviation >= 0; });
}

} // namespace ryxsc::g7221
