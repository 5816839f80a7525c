// SPDX-License-Identifier: BSD-2-Clause
// Pointers are checked before anything else: with one of them null every function answers the same and writes nothing,
// whatever its other arguments are.
#include <algorithm>
#include <gtest/gtest.h>
#include <set>

#include "harness/vector_functions.h"

using namespace ryxtest;

namespace {

// The filter bank's sizes come before its pointers.
const std::set<std::string> sizesFirst = {"ryxsSubbandProcessGetSize_32f", "ryxsSubbandProcessGetSize_16s",
                                          "ryxsSubbandProcessInit_32f", "ryxsSubbandProcessInit_16s"};

// Pointers that may be null.
const std::set<std::pair<std::string, size_t>> optional = {
    {"ryxsSubbandController_EC_32f", 3},       {"ryxsSubbandController_EC_16s", 3},
    {"ryxsSubbandControllerUpdate_EC_32f", 5}, {"ryxsSubbandAPControllerUpdate_EC_32f", 4},
    {"ryxsNoiseFilter_EC_32fc_I", 0},          {"ryxsNoiseFilter_EC_32fc_I", 1},
    {"ryxsNoiseFilter_EC_32fc_I", 2},          {"ryxsNoiseFilter_EC_32fc_I", 3},
    {"ryxsPostProcess_G729A_16s", 2}};

// The pointer of this number is null, all others lead to zeros; numbers are zero.
void expectNullIsRefused(const Function &function, size_t null) {
    std::vector<std::byte> memory(1 << 16);
    std::vector<void *> rows(64, memory.data()), addresses;
    for (const Parameter &parameter : function.parameters())
        addresses.push_back(parameter.kind == Parameter::Kind::rows ? static_cast<void *>(rows.data()) : memory.data());
    addresses[null] = nullptr;
    EXPECT_EQ(function.call(addresses), ryxStsNullPtr);
    EXPECT_TRUE(std::ranges::all_of(memory, [](std::byte b) { return b == std::byte{0}; }));
}

TEST(NullPointers, AreRefusedFirstByEveryFunction) {
    for (const auto &[name, function] : libraryFunctions()) {
        if (sizesFirst.contains(name)) continue;
        for (size_t i = 0; i < function.parameters().size(); i++) {
            if (function.parameters()[i].kind == Parameter::Kind::value || optional.contains({name, i})) continue;
            SCOPED_TRACE(name + ", argument " + std::to_string(i));
            expectNullIsRefused(function, i);
        }
    }
}

} // namespace
