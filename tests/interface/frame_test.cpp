// SPDX-License-Identifier: BSD-2-Clause
// Version records, choice of the variant, scratch memory.
#include <climits>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>

#include "frame/implementations.h"
#include "frame/scratch.h"
#include "harness/test_core.h"
#include "probe.h"

using namespace ryxsc;

namespace {

TEST(Version, RecordsOfBothVariantsDifferInCodeAndNameOnly) {
    const auto &u8 = *ryxscGetLibVersion_u8(), &n8 = *ryxscGetLibVersion_n8();
    for (const auto *record : {&u8, &n8}) {
        EXPECT_EQ(record->majorVersion, 8);
        EXPECT_EQ(record->minorVersion, 2);
        EXPECT_EQ(record->majorBuild, 2);
        EXPECT_EQ(record->build, 46212);
        EXPECT_STREQ(record->version, "8.2.2 (r46212)");
        EXPECT_STREQ(record->buildDate, "Apr  1 2015");
    }
    EXPECT_EQ(std::memcmp(u8.targetCpu, "u8\0\0", 4), 0);
    EXPECT_EQ(std::memcmp(n8.targetCpu, "n8\0\0", 4), 0);
    EXPECT_STREQ(u8.name, "ryxSC SSSE3 (u8)");
    EXPECT_STREQ(n8.name, "ryxSC Wren (n8)");
    EXPECT_EQ(u8.version, n8.version) << "the same characters, not copies";
    EXPECT_EQ(u8.buildDate, n8.buildDate) << "the same characters, not copies";
}

TEST(Version, GetterReturnsTheSameRecordEveryTime) {
    const ryxLibraryVersion *record = ryxscGetLibVersion();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record, ryxscGetLibVersion());
    EXPECT_STREQ(record->name, "ryxSC SSSE3 (u8)");
}

// The order matters: asking what is enabled relies on the detection that the first call sets off.
TEST(Variant, IsWrenOnlyWhenBothFeatureBitsAreSet) {
    const struct {
        const char *mask, *variant;
    } cases[] = {{"0", "u8"},
                 {"0x10", "u8"},
                 {"0x20", "u8"},
                 {"0x30", "n8"},
                 {"0x8000000000000030", "n8"},
                 {"0x8000000000000010", "u8"}};
    for (const auto &[mask, variant] : cases)
        EXPECT_EQ(probe("RYXTEST_CPU_FEATURES=" + std::string(mask)),
                  std::string(variant) + " " + mask + " detect(null,null) enabled ");
}

TEST(TestCore, IsTheOnlyCoreLibraryInThisProcess) {
    std::ifstream maps("/proc/self/maps");
    int mappings = 0;
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/libryxcore.so") == line.npos) continue;
        EXPECT_NE(line.find(RYXSC_TEST_CORE_FOLDER "/libryxcore.so"), line.npos) << line;
        ++mappings;
    }
    EXPECT_GT(mappings, 0);
}

class ScratchMemory : public testing::Test {
protected:
    ~ScratchMemory() override {
        testCoreFailAllocationsAfter(-1);
        EXPECT_EQ(testCoreLiveAllocations(), 0);
    }
};

TEST_F(ScratchMemory, AsksTheAllocatorForPositiveSizesThatItCanExpressOnly) {
    const int calls = testCoreAllocationCalls();
    // 4 * -INT_MAX is 4 in 32 bits.
    for (const int count : {0, -1, INT_MIN / 4, -INT_MAX, INT_MIN}) {
        EXPECT_EQ(allocateBytes(count), nullptr) << count;
        EXPECT_EQ(allocateWords(count), nullptr) << count;
    }
    // And so is 4 * 0x40000001.
    for (const int count : {INT_MAX / 4 + 1, 0x40000001, INT_MAX})
        EXPECT_EQ(allocateWords(count), nullptr) << count;
    EXPECT_EQ(testCoreAllocationCalls(), calls);

    for (const int count : {1, 7, 1000}) {
        const Scratch<char> bytes(allocateBytes(count));
        EXPECT_EQ(testCoreLastLength(), count);
        const Scratch<float> words(allocateWords(count));
        EXPECT_EQ(testCoreLastLength(), 4 * count);
        EXPECT_EQ(testCoreLiveAllocations(), 2);
    }
}

TEST_F(ScratchMemory, IsReleasedWhenALaterAllocationFails) {
    testCoreFailAllocationsAfter(1);
    const auto primitive = [] {
        const Scratch<float> first(allocateWords(16));
        if (!first.get()) return ryxStsNoMem;
        const Scratch<float> second(allocateWords(16));
        return second.get() ? ryxStsOk : ryxStsNoMem;
    };
    EXPECT_EQ(primitive(), ryxStsNoMem);
    EXPECT_EQ(testCoreLiveAllocations(), 0);
    EXPECT_EQ(primitive(), ryxStsNoMem) << "not even the first";
    testCoreFailAllocationsAfter(-1);
    EXPECT_EQ(primitive(), ryxStsOk);
}

TEST_F(ScratchMemory, IsNeededByAffineProjectionOfHighOrdersOnly) {
    std::vector<ryx32fc> bins(20, {1, 2});
    ryx32fc coef = {3, 4}, *coefs = &coef;
    std::vector<const ryx32fc *> rows;
    for (const ryx32fc &bin : bins)
        rows.push_back(&bin);
    const double mu = 1, *step[] = {&mu, &mu};
    const auto update = [&](int order) {
        return ryxsFIRSubbandAPCoeffUpdate_EC_32fc_I(step, rows.data(), rows.data(), &coefs, 1, 1, order);
    };
    testCoreFailAllocationsAfter(0);
    for (const int order : {9, 46341, INT_MAX})
        EXPECT_EQ(update(order), ryxStsNoMem) << order;
    EXPECT_TRUE(coef.re == 3 && coef.im == 4);
    EXPECT_EQ(update(8), ryxStsOk);
    testCoreFailAllocationsAfter(-1);
    EXPECT_EQ(update(9), ryxStsOk);
    EXPECT_FALSE(coef.re == 3);
    EXPECT_EQ(update(46341), ryxStsNoMem) << "more than the allocator can be asked for";
}

} // namespace
