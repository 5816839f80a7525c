// SPDX-License-Identifier: BSD-2-Clause
// What a call through the exported entry costs more than a direct one.
#include "frame/implementations.h"
#include "measuring.h"

using namespace ryxsc::bench;

namespace {

void callGetter(benchmark::State &run, decltype(ryxscGetLibVersion) *getter) {
    for (auto _ : run)
        benchmark::DoNotOptimize(getter());
    report(run, {});
}

const Registration registration([] {
    addCase("frame/exported_call", callGetter, ryxscGetLibVersion);
    addVariants("frame/direct_call", callGetter, ryxscGetLibVersion_u8, ryxscGetLibVersion_n8);
});

} // namespace
