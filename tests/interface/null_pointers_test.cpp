// SPDX-License-Identifier: BSD-2-Clause
// Pointers are checked before anything else: with one of them null every function answers the same and writes nothing,
// whatever its other arguments are.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "ryxsc.h"

namespace {

// The filter bank's sizes come before its pointers.
const std::set<std::string> sizesFirst = {"ryxsSubbandProcessGetSize_32f", "ryxsSubbandProcessGetSize_16s",
                                          "ryxsSubbandProcessInit_32f", "ryxsSubbandProcessInit_16s"};

class Arguments {
public:
    // The pointer of this number is null, all others lead to zeros; numbers are zero.
    template <class Parameter> Parameter give(size_t number, size_t null) {
        if constexpr (std::is_pointer_v<Parameter>) {
            using Pointee = std::remove_pointer_t<Parameter>;
            if (number == null) return nullptr;
            if constexpr (std::is_pointer_v<Pointee>)
                return reinterpret_cast<Parameter>(rows_.data());
            else
                return reinterpret_cast<Parameter>(memory_.data());
        } else {
            return Parameter{};
        }
    }
    bool areUntouched() const {
        return std::ranges::all_of(memory_, [](std::byte b) { return b == std::byte{0}; });
    }

private:
    std::vector<std::byte> memory_ = std::vector<std::byte>(1 << 16);
    std::vector<void *> rows_ = std::vector<void *>(64, memory_.data());
};

template <class... Parameters, size_t... i>
void expectNullIsRefused(const char *name, ryxStatus (*function)(Parameters...), std::index_sequence<i...>) {
    constexpr bool isPointer[] = {std::is_pointer_v<Parameters>...};
    for (size_t null = 0; null < sizeof...(i); null++) {
        const std::string which = std::string(name) + ", argument " + std::to_string(null);
        if (!isPointer[null] || sizesFirst.contains(name)) continue;
        Arguments arguments;
        EXPECT_EQ(function(arguments.give<Parameters>(i, null)...), ryxStsNullPtr) << which;
        EXPECT_TRUE(arguments.areUntouched()) << which;
    }
}

template <class... Parameters> void expectNullIsRefused(const char *name, ryxStatus (*function)(Parameters...)) {
    expectNullIsRefused(name, function, std::index_sequence_for<Parameters...>());
}
void expectNullIsRefused(const char *, const ryxLibraryVersion *(*)()) {
}

TEST(NullPointers, AreRefusedFirstByEveryFunction) {
#define ONE(name) expectNullIsRefused(#name, name);
#define TWO(name) ONE(name)
#include "frame/exports.def"
#undef ONE
#undef TWO
}

} // namespace
