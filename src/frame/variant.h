// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>

#pragma GCC visibility push(hidden)
extern "C" {
// The slot of the entry table that this process uses: 0 is u8, 1 is n8. Written once by the initialiser.
extern int32_t ryxscVariant;

int32_t ryxscChooseVariant();
int ryxscInitialise();
}
#pragma GCC visibility pop
