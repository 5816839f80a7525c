// SPDX-License-Identifier: BSD-2-Clause
// Argument checks. Every primitive starts with one block of them, one line each, in the documented order and before the
// first read or write of any vector:
//
//     if (anyNull(src, dst, state)) return ryxStsNullPtr;
//     if (len < 1 || isOdd(len)) return ryxStsBadSize;
#pragma once

#include "ryxsc/status.h"

namespace ryxsc {

template <class... Pointers> constexpr bool anyNull(const Pointers *...pointers) {
    return (... || (pointers == nullptr));
}

constexpr bool isOdd(int n) {
    return (n & 1) != 0;
}

} // namespace ryxsc
