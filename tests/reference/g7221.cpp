// SPDX-License-Identifier: BSD-2-Clause
#include "reference/g7221.h"

#include <algorithm>

#include "common/fixed_point.h"
#include "g7221/tables.h"
#include "g7221/transform_tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;

namespace reference::g7221 {

namespace {

constexpr size_t coreLength = 10;

struct Pair {
    int16_t first, second;
};

// One pass over blocks: their pairs of neighbours become the front and, backwards, the back of the block.
template <class Butterfly> Words butterflies(const Words &x, size_t block, Butterfly butterfly) {
    Words y(x.size());
    for (size_t b = 0; b < x.size(); b += block)
        for (size_t j = 0; j < block / 2; j++) {
            const Pair c = butterfly(x[b + 2 * j], x[b + 2 * j + 1], j);
            y[b + j] = c.first;
            y[b + block - 1 - j] = c.second;
        }
    return y;
}

template <class Table> Words cores(const Words &x, const Table &table) {
    Words y(x.size());
    for (size_t b = 0; b < x.size(); b += coreLength)
        for (size_t k = 0; k < coreLength; k++) {
            int32_t sum = 0;
            for (size_t i = 0; i < coreLength; i++)
                sum = L_mac(sum, x[b + i], table[i * coreLength + k]);
            y[b + k] = ryxsc::round(sum);
        }
    return y;
}

// Rotates the front of each block with its back.
Words rotations(const Words &x, size_t block, const Rotation *table, int doublings) {
    Words y(x.size());
    for (size_t b = 0; b < x.size(); b += block)
        for (size_t j = 0; j < block / 2; j++) {
            const int16_t low = x[b + j], high = x[b + block / 2 + j];
            const auto [c, m] = table[j];
            const bool odd = j % 2 != 0;
            const int32_t first = L_mac(L_mult(c, low), odd ? m : negate(m), high);
            const int32_t second = L_mac(L_mult(m, low), odd ? negate(c) : c, high);
            y[b + j] = ryxsc::round(L_shl(first, doublings));
            y[b + block - 1 - j] = ryxsc::round(L_shl(second, doublings));
        }
    return y;
}

int cost(int category) {
    return quantisers[static_cast<size_t>(std::min(category, 7))].expectedBits;
}

} // namespace

Words dctAnalysis(Words x) {
    for (size_t n = 0; x.size() == 320 && n < x.size(); n++)
        x[n] = add(x[n], analysisBias320[n]);
    for (size_t block = x.size(); block >= 2 * coreLength; block /= 2)
        x = butterflies(x, block, [](int p, int q, size_t) {
            return Pair{static_cast<int16_t>((p + q) >> 1), static_cast<int16_t>((p - q) >> 1)};
        });
    x = cores(x, analysisCore);
    const Rotation *const tables[] = {analysisRotation20.data(),  analysisRotation40.data(),
                                      analysisRotation80.data(),  analysisRotation160.data(),
                                      analysisRotation320.data(), analysisRotation640.data()};
    for (size_t block = 2 * coreLength, stage = 0; block <= x.size(); block *= 2)
        x = rotations(x, block, tables[stage++], 0);
    return x;
}

Words dctSynthesis(Words x) {
    const int16_t *const dither = x.size() == 320 ? synthesisDither320.data() : synthesisDither640.data();
    x = butterflies(x, x.size(), [dither](int16_t p, int16_t q, size_t j) {
        return Pair{static_cast<int16_t>((add(p, dither[2 * j]) + q) >> 1),
                    static_cast<int16_t>((add(p, dither[2 * j + 1]) - q) >> 1)};
    });
    for (size_t block = x.size() / 2; block >= 2 * coreLength; block /= 2)
        x = butterflies(x, block, [](int16_t p, int16_t q, size_t) { return Pair{add(p, q), add(p, negate(q))}; });
    x = cores(x, synthesisCore);
    const Rotation *const tables[] = {synthesisRotation20.data(),  synthesisRotation40.data(),
                                      synthesisRotation80.data(),  synthesisRotation160.data(),
                                      synthesisRotation320.data(), synthesisRotation640.data()};
    for (size_t block = 2 * coreLength, stage = 0; block <= x.size(); block *= 2)
        x = rotations(x, block, tables[stage++], 1);
    for (size_t n = 0; x.size() == 320 && n < x.size(); n++)
        x[n] = add(x[n], synthesisBias320[n]);
    return x;
}

Categorisation categorise(const Words &powerIndex, int availableBits) {
    const int regions = static_cast<int>(powerIndex.size()), length = regions == 14 ? 320 : 640;
    const int target = availableBits <= length ? availableBits : length + ((5 * (availableBits - length)) >> 3);
    const auto at = [&](int offset, size_t r) { return std::clamp((offset - powerIndex[r]) >> 1, 0, 7); };
    const auto bitsAt = [&](int offset) {
        int bits = 0;
        for (size_t r = 0; r < powerIndex.size(); r++)
            bits += cost(at(offset, r));
        return bits;
    };
    int offset = -32;
    for (int step = 32; step > 0; step /= 2)
        if (bitsAt(offset + step) >= target - 32) offset += step;

    Words fine(powerIndex.size()), coarse(powerIndex.size());
    for (size_t r = 0; r < fine.size(); r++)
        fine[r] = coarse[r] = static_cast<int16_t>(at(offset, r));
    int fineBits = bitsAt(offset), coarseBits = fineBits;
    Words balances;
    size_t coarsenedLast = 0; // named again when there is no other
    for (int i = 0; i < (regions == 14 ? 15 : 31); i++) {
        size_t chosen = coarsenedLast;
        if (fineBits + coarseBits <= 2 * target) {
            for (int r = 0, least = 99; r < regions; r++) {
                const auto k = static_cast<size_t>(r);
                const int level = offset - powerIndex[k] - 2 * fine[k];
                if (fine[k] > 0 && level < least) least = level, chosen = k;
            }
            balances.insert(balances.begin(), static_cast<int16_t>(chosen));
            fineBits += cost(fine[chosen] - 1) - cost(fine[chosen]);
            fine[chosen]--;
        } else {
            for (int r = regions - 1, most = -99; r >= 0; r--) {
                const auto k = static_cast<size_t>(r);
                const int level = offset - powerIndex[k] - 2 * coarse[k];
                if (coarse[k] < 7 && level > most) most = level, chosen = k;
            }
            coarsenedLast = chosen;
            balances.push_back(static_cast<int16_t>(chosen));
            coarseBits += cost(coarse[chosen] + 1) - cost(coarse[chosen]);
            coarse[chosen]++;
        }
    }
    return {fine, balances};
}

QuantisedRegion quantiseRegion(const int16_t *region, int category, int scaledIndex) {
    const Quantiser &q = quantisers[static_cast<size_t>(category)];
    const int inverse = (q.stepInverse * inverseDeviations[static_cast<size_t>(scaledIndex)] + 4096) >> 13;
    QuantisedRegion result{Words(10), 0};
    for (int i = 0; i < 20; i++) {
        const int magnitude = abs_s(region[i]);
        const int fraction = wrap16((wrap16(2 * magnitude * (inverse & 3)) >> 1) + q.lowBits) >> 2;
        const int bin = std::min<int>((magnitude * (inverse >> 2) + q.deadZone + fraction) >> 13, q.largestBin);
        int16_t &vector = result.vectors[static_cast<size_t>(i / q.dimension)];
        vector = static_cast<int16_t>(vector * (q.largestBin + 1) + bin);
        result.bits += bin != 0 ? 1 : 0;
    }
    for (size_t v = 0; v < static_cast<size_t>(q.vectors()); v++)
        result.bits +=
            vectorCodes[static_cast<size_t>(firstVector[static_cast<size_t>(category)] + result.vectors[v])].length;
    return result;
}

} // namespace reference::g7221
