// SPDX-License-Identifier: BSD-2-Clause
// Decoding of prefix codes by look-up. The next eight bits choose an entry: that of a code that is no longer, or one that
// leads to a second table for the bits behind them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ryxsc::g7221 {

inline constexpr int prefixBits = 8;
inline constexpr size_t prefixes = size_t{1} << prefixBits;

// An entry: the bits that a code takes from the stream, with what follows it, in bits 0 to 5, where a shift by them needs no
// mask, and its value above; or 0, number of bits that the second table takes in bits 28 to 31, and its place between them.
class PrefixEntry {
public:
    constexpr PrefixEntry() = default;
    static constexpr PrefixEntry code(int taken, uint32_t value) {
        return PrefixEntry(static_cast<uint32_t>(taken) | value << takenBits);
    }
    static constexpr PrefixEntry link(int bits, size_t place) {
        return PrefixEntry(static_cast<uint32_t>(bits) << 28 | static_cast<uint32_t>(place) << takenBits);
    }

    constexpr int taken() const { return static_cast<int>(word_ & ((1 << takenBits) - 1)); }
    constexpr uint32_t value() const { return word_ >> takenBits; }
    constexpr int linkBits() const { return static_cast<int>(word_ >> 28); }
    constexpr size_t linkPlace() const { return (word_ & 0xfffffff) >> takenBits; }

private:
    static constexpr int takenBits = 6;

    constexpr explicit PrefixEntry(uint32_t word) : word_(word) {}

    uint32_t word_ = 0;
};

// The entry of the code at the top of the word. `table` is where the places count from, `first` the code's own entries.
// Complete codes only: every word starts with a code.
inline PrefixEntry lookUp(const PrefixEntry *table, size_t first, uint64_t word) {
    PrefixEntry entry = table[first + (word >> (64 - prefixBits))];
    if (entry.taken() == 0) [[unlikely]]
        entry = table[entry.linkPlace() + ((word << prefixBits) >> (64 - entry.linkBits()))];
    return entry;
}

// How many bits of a code go to the second table behind each prefix, 0 where there is none.
template <class Codes> constexpr std::array<int, prefixes> secondTableBits(const Codes &codes, size_t from, size_t to) {
    std::array<int, prefixes> bits{};
    for (size_t i = from; i < to; i++) {
        const int beyond = codes[i].length - prefixBits;
        if (beyond <= 0) continue;
        int &most = bits[static_cast<size_t>(codes[i].word >> beyond)];
        if (beyond > most) most = beyond;
    }
    return bits;
}

// Entries of the codes from..to-1, both tables together.
template <class Codes> constexpr size_t entriesOf(const Codes &codes, size_t from, size_t to) {
    size_t count = prefixes;
    for (const int bits : secondTableBits(codes, from, to))
        if (bits > 0) count += size_t{1} << bits;
    return count;
}

// Writes the entries of the codes from..to-1 from place `first` on; entryOf(i) is that of code i. Of equal codes the first
// one counts.
template <class Table, class Codes, class EntryOf>
constexpr void fillEntries(Table &table, size_t first, const Codes &codes, size_t from, size_t to, EntryOf entryOf) {
    const auto second = secondTableBits(codes, from, to);
    std::array<size_t, prefixes> places{};
    size_t next = first + prefixes;
    for (size_t prefix = 0; prefix < prefixes; prefix++) {
        if (second[prefix] == 0) continue;
        places[prefix] = next;
        table[first + prefix] = PrefixEntry::link(second[prefix], next);
        next += size_t{1} << second[prefix];
    }
    for (size_t i = to; i-- > from;) {
        const int length = codes[i].length;
        const size_t word = codes[i].word;
        const PrefixEntry entry = entryOf(i);
        size_t at = 0;
        int free = 0; // bits of the table's index that do not belong to the code
        if (length <= prefixBits) {
            free = prefixBits - length;
            at = first + (word << free);
        } else {
            const size_t prefix = word >> (length - prefixBits);
            free = second[prefix] - (length - prefixBits);
            at = places[prefix] + ((word << free) & ((size_t{1} << second[prefix]) - 1));
        }
        for (size_t k = 0; k < size_t{1} << free; k++)
            table[at + k] = entry;
    }
}

} // namespace ryxsc::g7221
