// SPDX-License-Identifier: BSD-2-Clause
// Targets of the fuzzer: each takes any octets and must neither crash, hang nor answer anything undocumented.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "ryxsc.h"

extern "C" int32_t ryxscVariant; // of the library, which is linked in whole: 0 is u8, 1 is n8

namespace ryxfuzz {

// Takes numbers from the fuzzer's octets; behind their end there are zeros.
class Input {
public:
    explicit Input(std::span<const uint8_t> octets) : octets_(octets) {}

    bool isEmpty() const { return octets_.empty(); }
    template <class T> T take() {
        T value{};
        const size_t count = std::min(sizeof value, octets_.size());
        std::memcpy(&value, octets_.data(), count);
        octets_ = octets_.subspan(count);
        return value;
    }
    std::span<const uint8_t> takeOctets(size_t most) {
        const auto taken = octets_.first(std::min(most, octets_.size()));
        octets_ = octets_.subspan(taken.size());
        return taken;
    }

private:
    std::span<const uint8_t> octets_;
};

// Ends the process, so that the fuzzer keeps the input.
[[noreturn]] inline void fail(const std::string &what) {
    std::fprintf(stderr, "fault: %s\n", what.c_str());
    std::abort();
}
inline void demand(bool holds, const std::string &what) {
    if (!holds) fail(what);
}
inline void demandStatus(ryxStatus status, const std::string &what) {
    if (std::strcmp(ryxscStatusText(status), "unknown status") == 0) fail(what + ": status " + std::to_string(status));
}

// Content of a vector of such elements: as it was, zeros, small values, any values, the largest and smallest.
void fill(std::span<uint8_t> octets, size_t elementSize, bool isFloating, Input &input);

struct Target {
    std::string name;
    void (*run)(std::span<const uint8_t> octets, int which);
    int which; // of the kind: codec or format
};

// All targets. The first one is the calls of any function; the others follow the lists of codecs and formats.
std::vector<Target> targets();

void anyCalls(std::span<const uint8_t> octets, int);
void decoder(std::span<const uint8_t> octets, int codec);
void encoder(std::span<const uint8_t> octets, int codec);
void reader(std::span<const uint8_t> octets, int format);
void packer(std::span<const uint8_t> octets, int format);
void echoCanceller(std::span<const uint8_t> octets, int);

} // namespace ryxfuzz
