// SPDX-License-Identifier: BSD-2-Clause
// The real core library, and the primitives on top of it.
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "probe.h"
#include "ryxcore.h"

namespace {

uint64_t processorFeatures() {
    return __builtin_cpu_supports("ssse3") ? uint64_t{ryxCpuSsse3} : 0;
}

TEST(Core, DetectsWhatTheProcessorHas) {
    uint64_t features = ~uint64_t{0};
    uint32_t cpuid[4] = {};
    EXPECT_EQ(ryxGetCpuFeatures(&features, cpuid), 0);
    EXPECT_EQ(features, processorFeatures());
    EXPECT_EQ((cpuid[2] >> 9 & 1) != 0, features != 0) << "SSSE3 is bit 9 of ECX";
    EXPECT_EQ(ryxGetCpuFeatures(nullptr, nullptr), 0);
}

TEST(Core, EnvironmentVariableReplacesTheMaskUnlessItIsNoNumber) {
    char detected[32];
    std::snprintf(detected, sizeof detected, "u8 %#jx ", uintmax_t{processorFeatures()});
    EXPECT_EQ(probe("-u RYX_CPU_FEATURES"), detected);
    const struct {
        const char *text, *line;
    } cases[] = {{"0", "u8 0 "},
                 {"16", "u8 0x10 "},
                 {"0x10", "u8 0x10 "},
                 {"48", "n8 0x30 "},
                 {"060", "n8 0x30 "},
                 {"0x8000000000000030", "n8 0x8000000000000030 "},
                 {"0x30", "n8 0x30 "},
                 {"", detected},
                 {"rubbish", detected},
                 {"0x30 or so", detected},
                 {"0x10000000000000030", detected}};
    for (const auto &[text, line] : cases)
        EXPECT_EQ(probe("RYX_CPU_FEATURES='" + std::string(text) + "'"), line) << text;
}

TEST(Core, MemoryIsAlignedTo64Bytes) {
    for (const int length : {1, 63, 64, 65, 4096, 100003}) {
        auto *memory = static_cast<char *>(ryxMalloc(length));
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % 64, 0u) << length;
        memory[0] = memory[length - 1] = 1;
        ryxFree(memory);
    }
    ryxFree(nullptr);
}

TEST(Core, MemoryThatCannotBeHadIsNull) {
    for (const int length : {0, -1, INT_MIN})
        EXPECT_EQ(ryxMalloc(length), nullptr) << length;
    if (RYXSC_SANITIZED) GTEST_SKIP() << "sanitizers need the address space that is taken away below";
    const auto underLimit = [] {
        const rlimit gigabyte = {1u << 30, 1u << 30};
        setrlimit(RLIMIT_AS, &gigabyte);
        std::_Exit(ryxMalloc(INT_MAX) == nullptr && ryxMalloc(1) != nullptr ? 0 : 1);
    };
    EXPECT_EXIT(underLimit(), testing::ExitedWithCode(0), "");
}

} // namespace
