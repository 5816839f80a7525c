// SPDX-License-Identifier: BSD-2-Clause
#include "g7221/tables.h"

#include <bit>

#include "g7221/code_tables.h"

namespace ryxsc::g7221 {

constinit const std::array<int16_t, 64> deviations = {
    0,  0,  0,   0,   0,   0,   0,   0,   0,    0,    0,    0,    0,    0,    0,    0,     0,     0,
    0,  0,  0,   0,   1,   1,   1,   1,   2,    3,    4,    6,    8,    11,   16,   23,    32,    45,
    64, 91, 128, 181, 256, 362, 512, 724, 1024, 1448, 2048, 2896, 4096, 5793, 8192, 11585, 16384, 23170};

constinit const std::array<int16_t, 64> inverseDeviations = {
    32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767,
    32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 32767, 23170, 16384, 11585, 8192,  5793,
    4096,  2896,  2048,  1448,  1024,  724,   512,   362,   256,   181,   128,   91,    64,    45,    32,
    23,    16,    11,    8,     6,     4,     3,     2,     1,     1,     1,     1};

constinit const std::array<std::array<int16_t, 1 << binBits>, codedCategories> centroids = {{
    {0, 1606, 3119, 4586, 6049, 7502, 8941, 10406, 11851, 13292, 14736, 16146, 17566, 19351},
    {0, 2229, 4341, 6401, 8471, 10531, 12583, 14588, 16673, 18924},
    {0, 3055, 5998, 8929, 11806, 14680, 17680},
    {0, 4121, 8192, 12259, 16322},
    {0, 5413, 11071, 16315},
    {0, 6785, 14300},
    {0, 8044},
}};

namespace {

constexpr uint8_t nonZeroBins(const Quantiser &quantiser, int vector) {
    unsigned mask = 0;
    for (int place = quantiser.dimension - 1; place >= 0; place--, vector /= quantiser.largestBin + 1)
        if (vector % (quantiser.largestBin + 1) != 0) mask |= 1u << place;
    return static_cast<uint8_t>(mask);
}

constexpr auto makeVectorCodes() {
    std::array<VectorCode, firstVector.back()> codes{};
    for (size_t category = 0; category < codedCategories; category++)
        for (int i = firstVector[category]; i < firstVector[category + 1]; i++) {
            const auto at = static_cast<size_t>(i);
            codes[at] = {vectorCodeWords[at], vectorCodeLengths[at],
                         nonZeroBins(quantisers[category], i - firstVector[category])};
        }
    return codes;
}

} // namespace

constinit const std::array<VectorCode, firstVector.back()> vectorCodes = makeVectorCodes();

constinit const std::array<uint8_t, firstVector.back()> vectorBits = [] {
    constexpr auto codes = makeVectorCodes();
    std::array<uint8_t, firstVector.back()> bits{};
    for (size_t i = 0; i < bits.size(); i++)
        bits[i] = static_cast<uint8_t>(codes[i].length + std::popcount(codes[i].nonZero));
    return bits;
}();

constinit const std::array<std::array<EnvelopeCode, differences>, envelopeRows> envelopeCodes = [] {
    std::array<std::array<EnvelopeCode, differences>, envelopeRows> codes{};
    for (size_t row = 0; row < envelopeRows; row++)
        for (size_t i = 0; i < differences; i++)
            codes[row][i] = {envelopeCodeWords[row * differences + i], envelopeCodeLengths[row * differences + i]};
    return codes;
}();

} // namespace ryxsc::g7221
