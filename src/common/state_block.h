// SPDX-License-Identifier: BSD-2-Clause
// State blocks in the caller's memory, which lie at any address.
#pragma once

#include <cstdint>
#include <cstring>

namespace ryxsc {

// The first kind: a call copies the block in, works on the copy, and copies it out.
template <class T> T loadBlock(const void *block) {
    T state;
    std::memcpy(&state, block, sizeof state);
    return state;
}

template <class T> void saveBlock(void *block, const T &state) {
    std::memcpy(block, &state, sizeof state);
}

// The second kind is used in its place, from the next 16-byte boundary; its size includes the room for that.
template <class T> inline constexpr int alignedBlockBytes = static_cast<int>(sizeof(T)) + 16;

template <class T, uintptr_t alignment = 16> T &alignedBlock(void *block) {
    return *reinterpret_cast<T *>((reinterpret_cast<uintptr_t>(block) + alignment - 1) & ~(alignment - 1));
}

} // namespace ryxsc
