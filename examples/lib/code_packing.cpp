// SPDX-License-Identifier: BSD-2-Clause
#include "code_packing.h"

#include <cstddef>

// Packing and unpacking are the same operation: the bits of groups of one width are regrouped to another width.
namespace {

std::vector<uint8_t> regroup(std::span<const uint8_t> source, int from, int to, BitOrder order, bool keepRest) {
    std::vector<uint8_t> result;
    result.reserve((source.size() * static_cast<size_t>(from) + static_cast<size_t>(to) - 1) / static_cast<size_t>(to));
    const bool lowFirst = order == BitOrder::leastSignificantFirst;
    const unsigned mask = (1u << to) - 1;
    unsigned pool = 0; // never more than 15 bits: fewer than `to` stay, `from` are added
    int filled = 0;
    for (const unsigned group : source) {
        pool = lowFirst ? pool | group << filled : (pool << from | group) & 0xFFFF;
        for (filled += from; filled >= to; filled -= to) {
            result.push_back(static_cast<uint8_t>((lowFirst ? pool : pool >> (filled - to)) & mask));
            if (lowFirst) pool >>= to;
        }
    }
    if (keepRest && filled > 0)
        result.push_back(static_cast<uint8_t>((lowFirst ? pool : pool << (to - filled)) & mask));
    return result;
}

} // namespace

std::vector<uint8_t> packCodes(std::span<const uint8_t> codes, int bitsPerCode, BitOrder order) {
    return regroup(codes, bitsPerCode, 8, order, true);
}

std::vector<uint8_t> unpackCodes(std::span<const uint8_t> octets, int bitsPerCode, BitOrder order) {
    return regroup(octets, 8, bitsPerCode, order, false);
}
