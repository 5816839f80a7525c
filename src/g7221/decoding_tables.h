// SPDX-License-Identifier: BSD-2-Clause
// Look-up tables of the decoder of ITU-T G.722.1, derived from the codes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "g7221/prefix_table.h"
#include "g7221/tables.h"

namespace ryxsc::g7221 {

// Codes of the power indices; the value is the column of the difference. A row's entries start at envelopeFirst[row].
inline constexpr size_t envelopeEntryCount = 4696;
extern const std::array<PrefixEntry, envelopeEntryCount> envelopeEntries;
extern const std::array<uint16_t, envelopeRows> envelopeFirst;

// Codes of the vectors with the signs behind them; a category's entries start at vectorFirst[category].
inline constexpr size_t vectorEntryCount = 6746;
extern const std::array<PrefixEntry, vectorEntryCount> vectorEntries;
extern const std::array<uint16_t, codedCategories> vectorFirst;

// Value of a vector's code: how many bins are not zero, above it the bins in four bits each, the first one lowest.
inline constexpr int signCountBits = 3;

constexpr int signCount(uint32_t value) {
    return static_cast<int>(value & ((1 << signCountBits) - 1));
}

} // namespace ryxsc::g7221
