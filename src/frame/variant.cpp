// SPDX-License-Identifier: BSD-2-Clause
// Chooses the processor variant once, when the library is loaded.
#include "frame/variant.h"

#include "ryxcore.h"

int32_t ryxscVariant;

// DT_INIT of the shared object. The core library is loaded and initialised by then; an indirect function's resolver
// would run before that. A call that arrives earlier finds the selector at 0 and runs u8, which is always valid.
int ryxscInitialise() {
    ryxGetCpuFeatures(nullptr, nullptr);
    const uint64_t features = ryxGetEnabledCpuFeatures();
    const uint64_t wantedByN8 = ryxCpuWren | ryxCpuSsse3;
    ryxscVariant = (features & wantedByN8) == wantedByN8 ? 1 : 0;
    return 1;
}
