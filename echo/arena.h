// SPDX-License-Identifier: BSD-2-Clause
// Cuts the caller's memory into pieces. Every call cuts it again in the same order, so that no pointer is kept.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ryxecho {

class Arena {
public:
    // From a 16-byte boundary on; from 0 to measure.
    explicit Arena(uintptr_t start) : start_(start), next_(start) {}

    template <class T> T *take(int count) {
        const uintptr_t place = next_;
        const size_t octets = static_cast<size_t>(count) * sizeof(T);
        next_ += (octets + 15) & ~size_t{15};
        return reinterpret_cast<T *>(place);
    }
    // A state block of a primitive.
    template <class State> State *takeState(int octets) { return reinterpret_cast<State *>(take<std::byte>(octets)); }

    uintptr_t next() const { return next_; }
    size_t used() const { return next_ - start_; }

private:
    uintptr_t start_, next_;
};

} // namespace ryxecho
