// SPDX-License-Identifier: BSD-2-Clause
#include "g7221/decoding_tables.h"

#include "g7221/code_tables.h"

namespace ryxsc::g7221 {

namespace {

struct Code {
    uint16_t word;
    uint8_t length;
};

template <size_t n> constexpr auto pairUp(const std::array<uint16_t, n> &words, const std::array<uint8_t, n> &lengths) {
    std::array<Code, n> codes{};
    for (size_t i = 0; i < n; i++)
        codes[i] = {words[i], lengths[i]};
    return codes;
}

constexpr auto envelopeCodeList = pairUp(envelopeCodeWords, envelopeCodeLengths);
constexpr auto vectorCodeList = pairUp(vectorCodeWords, vectorCodeLengths);

// Of several sets of codes, from where on each has its entries; the last element is the number of all entries.
template <size_t sets, class Codes, class FirstOf> constexpr auto placeSets(const Codes &codes, FirstOf firstOf) {
    std::array<size_t, sets + 1> places{};
    for (size_t set = 0; set < sets; set++)
        places[set + 1] = places[set] + entriesOf(codes, firstOf(set), firstOf(set + 1));
    return places;
}

template <size_t sets> constexpr auto narrowed(const std::array<size_t, sets + 1> &places) {
    std::array<uint16_t, sets> narrow{};
    for (size_t set = 0; set < sets; set++)
        narrow[set] = static_cast<uint16_t>(places[set]);
    return narrow;
}

constexpr size_t firstOfRow(size_t row) {
    return row * differences;
}
constexpr size_t firstOfCategory(size_t category) {
    return static_cast<size_t>(firstVector[category]);
}

constexpr PrefixEntry vectorEntry(size_t category, size_t code) {
    const Quantiser &quantiser = quantisers[category];
    int vector = static_cast<int>(code - firstOfCategory(category));
    uint32_t bins = 0, signs = 0;
    for (int place = 0; place < quantiser.dimension; place++) { // the last coefficient first
        const auto bin = static_cast<uint32_t>(vector % (quantiser.largestBin + 1));
        vector /= quantiser.largestBin + 1;
        bins = bins << binBits | bin;
        signs += bin != 0 ? 1 : 0;
    }
    return PrefixEntry::code(vectorCodeList[code].length + static_cast<int>(signs), bins << signCountBits | signs);
}

constexpr auto envelopePlaces = placeSets<envelopeRows>(envelopeCodeList, firstOfRow);
constexpr auto vectorPlaces = placeSets<codedCategories>(vectorCodeList, firstOfCategory);

static_assert(envelopePlaces.back() == envelopeEntryCount && vectorPlaces.back() == vectorEntryCount);

} // namespace

constinit const std::array<PrefixEntry, envelopeEntryCount> envelopeEntries = [] {
    std::array<PrefixEntry, envelopeEntryCount> entries{};
    for (size_t row = 0; row < envelopeRows; row++)
        fillEntries(
            entries, envelopePlaces[row], envelopeCodeList, firstOfRow(row), firstOfRow(row + 1), [row](size_t i) {
                return PrefixEntry::code(envelopeCodeList[i].length, static_cast<uint32_t>(i - firstOfRow(row)));
            });
    return entries;
}();
constinit const std::array<uint16_t, envelopeRows> envelopeFirst = narrowed<envelopeRows>(envelopePlaces);

constinit const std::array<PrefixEntry, vectorEntryCount> vectorEntries = [] {
    std::array<PrefixEntry, vectorEntryCount> entries{};
    for (size_t category = 0; category < codedCategories; category++)
        fillEntries(entries, vectorPlaces[category], vectorCodeList, firstOfCategory(category),
                    firstOfCategory(category + 1), [category](size_t i) { return vectorEntry(category, i); });
    return entries;
}();
constinit const std::array<uint16_t, codedCategories> vectorFirst = narrowed<codedCategories>(vectorPlaces);

} // namespace ryxsc::g7221
