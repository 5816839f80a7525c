// SPDX-License-Identifier: BSD-2-Clause
// Scratch memory of the transform-based primitives, from the core library. It lives for one call.
#pragma once

#include <cstdint>
#include <limits>

#include "ryxcore.h"

namespace ryxsc {

// Null for a count of 0 or below, without asking the allocator.
inline void *allocateBytes(int count) {
    return count > 0 ? ryxMalloc(count) : nullptr;
}

// Four bytes per element, under the same rule. A size beyond the allocator's range is memory that cannot be had.
inline void *allocateWords(int count) {
    constexpr int most = std::numeric_limits<int>::max() / 4;
    return count > 0 && count <= most ? ryxMalloc(4 * count) : nullptr;
}

// Owns scratch memory and releases it on every path out of the primitive.
template <class T> class Scratch {
public:
    explicit Scratch(void *memory) : memory_(static_cast<T *>(memory)) {}
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    ~Scratch() {
        if (memory_) ryxFree(memory_);
    }

    T *get() const { return memory_; }

private:
    T *memory_;
};

} // namespace ryxsc
