// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <span>
#include <string>

#include "harness/vector_file.h"

namespace ryxtest {

// The first number that differs, as "[index]: wanted x, got y", empty when there is none. Bits must match unless there
// is a tolerance. The index counts elements.
std::string firstDifference(const ElementType &type, std::span<const std::byte> wanted, std::span<const std::byte> got,
                            const Tolerance *tolerance);

} // namespace ryxtest
