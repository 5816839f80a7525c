// SPDX-License-Identifier: BSD-2-Clause
#include <cpuid.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "ryxcore.h"

namespace {

struct Cpuid {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
};

Cpuid readCpuid() {
    Cpuid leaf;
    __get_cpuid(1, &leaf.eax, &leaf.ebx, &leaf.ecx, &leaf.edx);
    return leaf;
}

// Every x86-64 system saves the SSE registers, so SSSE3 is usable wherever it is present. No processor identifies
// itself as one of the Wren family yet: that bit comes from the environment only.
uint64_t featuresOf(const Cpuid &leaf) {
    return (leaf.ecx & bit_SSSE3) ? uint64_t{ryxCpuSsse3} : 0;
}

bool maskFromEnvironment(uint64_t &mask) {
    const char *text = secure_getenv("RYX_CPU_FEATURES");
    if (!text || *text < '0' || *text > '9') return false;
    char *end;
    errno = 0;
    const unsigned long long value = std::strtoull(text, &end, 0);
    if (*end != '\0' || errno != 0) return false;
    mask = value;
    return true;
}

uint64_t detectEnabledFeatures() {
    uint64_t mask;
    return maskFromEnvironment(mask) ? mask : featuresOf(readCpuid());
}

// Threads that meet here for the first time find the same values, so it does not matter which of them stores last.
std::atomic<uint64_t> enabledFeatures;
std::atomic<bool> detected;

} // namespace

int32_t ryxGetCpuFeatures(uint64_t *features, uint32_t cpuidInfo[4]) {
    const Cpuid leaf = readCpuid();
    if (features) *features = featuresOf(leaf);
    if (cpuidInfo) {
        cpuidInfo[0] = leaf.eax;
        cpuidInfo[1] = leaf.ebx;
        cpuidInfo[2] = leaf.ecx;
        cpuidInfo[3] = leaf.edx;
    }
    ryxGetEnabledCpuFeatures();
    return 0;
}

uint64_t ryxGetEnabledCpuFeatures() {
    if (!detected.load(std::memory_order_acquire)) {
        enabledFeatures.store(detectEnabledFeatures(), std::memory_order_relaxed);
        detected.store(true, std::memory_order_release);
    }
    return enabledFeatures.load(std::memory_order_relaxed);
}
