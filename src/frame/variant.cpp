// SPDX-License-Identifier: BSD-2-Clause
// Chooses the processor variant from what the core library reports.
#include "frame/variant.h"

#include "ryxcore.h"

int32_t ryxscChooseVariant() {
    ryxGetCpuFeatures(nullptr, nullptr);
    const uint64_t features = ryxGetEnabledCpuFeatures();
    const uint64_t wantedByN8 = ryxCpuWren | ryxCpuSsse3;
    return (features & wantedByN8) == wantedByN8 ? 1 : 0;
}
