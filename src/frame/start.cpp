// SPDX-License-Identifier: BSD-2-Clause
// The variant selector, and when it is written. A call that arrives earlier finds 0 and runs u8, which is always valid.
#include "frame/variant.h"

int32_t ryxscVariant;

// DT_INIT of the shared object: the core library is loaded and initialised by then; an indirect function's resolver
// would run before that. In a static library, a constructor of the program, ahead of those that name no priority.
#ifdef RYXSC_STATIC
__attribute__((constructor(101)))
#endif
int ryxscInitialise() {
    ryxscVariant = ryxscChooseVariant();
    return 1;
}
