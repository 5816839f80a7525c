// SPDX-License-Identifier: BSD-2-Clause
#include "harness/test_core.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "ryxcore.h"

namespace {

char featureCalls[1024];
std::atomic<int> remaining{-1}, live, allocationCalls, lastLength;

void noteFeatureCall(const char *what) {
    std::strncat(featureCalls, what, sizeof featureCalls - std::strlen(featureCalls) - 1);
}

uint64_t featureMask() {
    const char *text = std::getenv("RYXTEST_CPU_FEATURES");
    return text ? std::strtoull(text, nullptr, 0) : uint64_t{ryxCpuSsse3};
}

} // namespace

int32_t ryxGetCpuFeatures(uint64_t *features, uint32_t cpuidInfo[4]) {
    noteFeatureCall(features || cpuidInfo ? "detect " : "detect(null,null) ");
    if (features) *features = featureMask();
    if (cpuidInfo) std::memset(cpuidInfo, 0, 4 * sizeof *cpuidInfo);
    return 0;
}

uint64_t ryxGetEnabledCpuFeatures() {
    noteFeatureCall("enabled ");
    return featureMask();
}

void *ryxMalloc(int length) {
    ++allocationCalls;
    lastLength = length;
    if (length <= 0 || remaining == 0) return nullptr;
    if (remaining > 0) --remaining;
    const size_t bytes = (static_cast<size_t>(length) + 63) / 64 * 64;
    void *memory = std::aligned_alloc(64, bytes);
    if (!memory) return nullptr;
    std::memset(memory, 0xA5, bytes); // nobody may count on zeros
    ++live;
    return memory;
}

void ryxFree(void *memory) {
    if (memory) --live;
    std::free(memory);
}

const char *testCoreCalls() {
    return featureCalls;
}
void testCoreFailAllocationsAfter(int count) {
    remaining = count;
}
int testCoreLiveAllocations() {
    return live;
}
int testCoreAllocationCalls() {
    return allocationCalls;
}
int testCoreLastLength() {
    return lastLength;
}
