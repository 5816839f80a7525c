// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>

#include "harness/vector_file.h"
#include "harness/vector_functions.h"
#include "harness/vector_memory.h"

namespace ryxtest {

// Replays a file with one layout of memory and returns the first difference with file, line and rotation, empty when
// there is none. The replay stops there.
std::string replay(const VectorFile &file, const Functions &functions, int rotation);

} // namespace ryxtest
