// SPDX-License-Identifier: BSD-2-Clause
#include <cstddef>
#include <cstdlib>

#include "ryxcore.h"

void *ryxMalloc(int length) {
    constexpr size_t alignment = 64; // a cache line, and enough for every vector register
    if (length <= 0) return nullptr;
    const size_t rounded = (static_cast<size_t>(length) + alignment - 1) / alignment * alignment;
    return std::aligned_alloc(alignment, rounded);
}

void ryxFree(void *memory) {
    std::free(memory);
}
