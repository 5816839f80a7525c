// State blocks that lie at any address: a call copies the block in, works on the copy, and copies it out.
#pragma once

#include <cstring>

namespace ryxsc {

template <class T> T loadBlock(const void *block) {
    T state;
    std::memcpy(&state, block, sizeof state);
    return state;
}

template <class T> void saveBlock(void *block, const T &state) {
    std::memcpy(block, &state, sizeof state);
}

} // namespace ryxsc
