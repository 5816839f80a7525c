// SPDX-License-Identifier: BSD-2-Clause
// The fixed codebooks of ITU-T G.729 Annex E (11.8 kbit/s): ten pulses in forward mode, twelve in backward mode, on five
// tracks.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/inv_sqrt.h"
#include "common/product_sums.h"
#include "g729/fixed_codebook.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

constexpr int mostPulses = 12, mostWords = 5, starts = 3;
constexpr int16_t amplitude = 4096; // Q12

constexpr int next(int track, int by) {
    return (track + by) % tracks;
}

// A choice of pulses, in the order in which the search sets them.
struct Choice {
    int numbers[mostPulses];
    int16_t sum, energy;
};

class Search {
public:
    Search(const int16_t *target, const int16_t *residual, const int16_t *response) {
        backwardFilter(target, response);
        chooseSigns(residual);
        scaleResponse(response);
        correlateNeighbours();
    }

    // Three starts on the pairs of tracks with the largest peaks; the best one wins.
    Choice run(int pulses) const {
        int32_t weights[tracks];
        for (int t = 0; t < tracks; t++)
            weights[t] = L_add(peak_[t], peak_[next(t, 1)]);
        Choice best{};
        Argmax argmax{-1, 1};
        for (int start = 0; start < starts; start++) {
            const auto track = static_cast<int>(std::max_element(weights, weights + tracks) - weights);
            weights[track] = -1;
            const Choice choice = runFrom(track, pulses);
            if (start == 0) best = choice;
            if (argmax.offer(mult(choice.sum, choice.sum), choice.energy)) best = choice;
        }
        return best;
    }

    bool isNegative(int number) const { return minus_[number] != 0; }

private:
    void backwardFilter(const int16_t *target, const int16_t *h) {
        int16_t padded[2 * subframe] = {};
        std::copy_n(target, subframe, padded);
        int32_t sums[subframe];
        correlateBackwards(padded, h, sums);
        int32_t total = 5;
        for (int t = 0; t < tracks; t++) {
            int32_t largest = 0;
            for (int i = 0; i < places; i++)
                largest = std::max(largest, L_abs(sums[5 * i + t]));
            total = L_add(total, largest >> 1);
        }
        const int up = norm_l(total) - 2;
        for (int number = 0; number < subframe; number++)
            d_[number] = round(L_shl(sums[positionOf(number)], up));
    }

    // The sign of a pulse is that of a mixture of the backward target and the residual; the target may then disagree.
    void chooseSigns(const int16_t *residual) {
        const auto weight = [](const int16_t *x) {
            return extract_h(L_shl(inverseSqrt(std::max(macEnergy(x, subframe).value, 512)), 5));
        };
        const int16_t residualWeight = mult(weight(residual), max16), targetWeight = weight(d_);
        for (int t = 0; t < tracks; t++) {
            peak_[t] = -1;
            for (int number = places * t; number < places * (t + 1); number++) {
                const int32_t mixed =
                    L_mac(L_mult(residualWeight, residual[positionOf(number)]), targetWeight, d_[number]);
                minus_[number] = static_cast<int16_t>(mixed < 0 ? -1 : 0);
                if (mixed < 0) d_[number] = negate(d_[number]);
                if (L_abs(mixed) > peak_[t]) {
                    peak_[t] = L_abs(mixed);
                    peakAt_[t] = number;
                }
            }
        }
    }

    // The response at unit energy.
    void scaleResponse(const int16_t *h) {
        const int32_t energy = macEnergy(h, subframe).value;
        const int up = norm_l(energy) >> 1;
        const int16_t factor = extract_h(L_shl(inverseSqrt(L_shl(energy, 2 * up) >> 12), 8));
        std::fill_n(response_, subframe, int16_t{0});
        for (int n = 0; n < subframe; n++)
            response_[subframe + n] = mult(shl(h[n], up), factor);
    }

    // Energies of all positions, and correlations of those of a track with those of the next one.
    void correlateNeighbours() {
        const int16_t *const g = response_ + subframe;
        int32_t energy = 65536; // of the positions, the last one first
        for (int p = subframe - 1; p >= 0; p--) {
            energy = L_mac(energy, g[subframe - 1 - p], g[subframe - 1 - p]);
            energies_[places * (p % 5) + p / 5] = static_cast<int16_t>(extract_h(energy) >> 1);
        }
        alignas(16) int16_t phi[subframe][subframe];
        correlateResponse<nextTrackPairs>(g, 32768, phi);
        for (int number = 0; number < subframe; number++) {
            const int nextTrack = next(number / places, 1);
            for (int i = 0; i < places; i++) {
                const int other = places * nextTrack + i;
                neighbour_[number][i] = mult(phi[number][other], minus_[number] == minus_[other] ? max16 : min16);
            }
        }
    }

    Choice runFrom(int track, int pulses) const {
        Choice choice;
        int *const at = choice.numbers;
        at[0] = peakAt_[track];
        at[1] = peakAt_[next(track, 1)];
        choice.sum = ryxsc::add(d_[at[0]], d_[at[1]]);
        choice.energy = ryxsc::add(ryxsc::add(energies_[at[0]], energies_[at[1]]), neighbour_[at[0]][at[1] % places]);
        alignas(16) int16_t v[2 * subframe] = {}; // what the pulses so far make of the response
        for (int j = 2; j < pulses; j += 2) {
            addPulses(at[j - 2], at[j - 1], v);
            choosePair(next(track, j), v, choice, at + j);
        }
        return choice;
    }

    void addPulses(int x, int y, int16_t *v) const {
        const auto signedResponse = [&](int number, int i) {
            const Vector g = simd::load(response_ + subframe - positionOf(number) + 8 * i);
            return simd::negateSaturatedWhere(simd::words(minus_[number]), g);
        };
        for (int i = 0; i < subframe / 8; i++)
            simd::store(v + 8 * i, _mm_adds_epi16(simd::load(v + 8 * i),
                                                  _mm_adds_epi16(signedResponse(x, i), signedResponse(y, i))));
    }

    // Energies that pulses on a track bring along.
    void crossEnergies(int track, const int32_t *sums, int16_t *energies) const {
        for (int i = 0; i < places; i++) {
            const int number = places * track + i;
            const int16_t cross = round(sums[positionOf(number)]);
            energies[i] = ryxsc::add(mult(cross, minus_[number] != 0 ? min16 : max16), energies_[number]);
        }
    }

    void choosePair(int track, const int16_t *v, Choice &choice, int *numbers) const {
        const int other = next(track, 1);
        alignas(16) int16_t first[places], second[places];
        int32_t products[subframe];
        correlateBackwards(v, response_ + subframe, products);
        crossEnergies(track, products, first);
        crossEnergies(other, products, second);
        Argmax argmax{-1, 1};
        numbers[0] = places * track;
        numbers[1] = places * other;
        for (int i = 0; i < places; i++) {
            const int number = places * track + i;
            const Vector sums =
                _mm_adds_epi16(simd::words(ryxsc::add(choice.sum, d_[number])), simd::loadAligned(d_ + places * other));
            const Vector energies =
                _mm_adds_epi16(simd::words(ryxsc::add(choice.energy, first[i])),
                               _mm_adds_epi16(simd::loadAligned(second), simd::loadAligned(neighbour_[number])));
            if (const int lane = argmax.offer(simd::mulShiftSaturated<15>(sums, sums), energies); lane >= 0) {
                numbers[0] = number;
                numbers[1] = places * other + lane;
            }
        }
        choice.sum = ryxsc::add(choice.sum, ryxsc::add(d_[numbers[0]], d_[numbers[1]]));
        choice.energy = argmax.energy;
    }

    alignas(16) int16_t d_[subframe];     // backward target by number, with the signs of the pulses
    alignas(16) int16_t minus_[subframe]; // -1 where a pulse is negative
    int32_t peak_[tracks];
    int peakAt_[tracks];
    alignas(16) int16_t response_[2 * subframe]; // behind a subframe of zeros
    int16_t energies_[subframe];
    alignas(16) int16_t neighbour_[subframe][places]; // with the positions of the next track, signed
};

// Code vector and filtered code vector.
void build(const Search &search, const Choice &choice, int pulses, const int16_t *response, int16_t *code,
           int16_t *filtered) {
    int16_t halved[2 * subframe] = {};
    for (int n = 0; n < subframe; n++)
        halved[subframe + n] = static_cast<int16_t>(response[n] >> 1);
    std::fill_n(code, subframe, int16_t{0});
    std::fill_n(filtered, subframe, int16_t{0});
    for (int k = 0; k < pulses; k++) {
        const int number = choice.numbers[pulses == mostPulses ? (k + 2) % pulses : k], p = positionOf(number);
        const bool negative = search.isNegative(number);
        code[p] = ryxsc::add(code[p], negative ? negate(amplitude) : amplitude);
        for (int n = 0; n < subframe; n++) {
            const int16_t h = halved[subframe + n - p];
            filtered[n] = negative ? sub(filtered[n], h) : ryxsc::add(filtered[n], h);
        }
    }
}

// Place and sign of a pulse: 4 bits.
int pulseCode(const Search &search, int number) {
    return number % places + (search.isNegative(number) ? 8 : 0);
}

// The order of two pulses tells whether their signs differ.
int packTwo(int u, int w) {
    if (((u ^ w) & 8) == 0) return ((std::min(u, w) << 4) + std::max(u, w)) & 0x7f;
    return ((u & 7) <= (w & 7) ? (w << 4) + u : (u << 4) + w) & 0x7f;
}

int packThree(int a, int b, int c) {
    const auto order = [](int &x, int &y) {
        if ((x & 7) > (y & 7)) std::swap(x, y);
    };
    order(a, b);
    order(a, c);
    order(b, c);
    const auto pack = [](int first, int second, int third) { return ((first & 7) << 7) + ((second & 7) << 4) + third; };
    switch ((a & 8) >> 1 | (b & 8) >> 2 | (c & 8) >> 3) {
    case 0:
    case 7:
        return pack(a, b, c);
    case 1:
    case 6:
        return pack(c, a, b);
    case 2:
    case 5:
        return pack(b, a, c);
    default:
        return pack(b, c, a);
    }
}

void writeWords(const Search &search, const Choice &choice, int pulses, int16_t *words) {
    const int start = choice.numbers[0] / places;
    const auto at = [&](int k) { return pulseCode(search, choice.numbers[k]); };
    const bool backward = pulses == mostPulses;
    for (int m = 0; m < tracks; m++) { // the track of pulse m
        const int track = next(start, m);
        const bool three = backward && m < 2;
        const int word = three ? packThree(at(m), at(m + 5), at(m + 10)) : packTwo(at(m), at(m + 5));
        words[backward ? m : track] = static_cast<int16_t>(word);
    }
    if (backward) words[0] = static_cast<int16_t>(words[0] + (start << 10));
}

// The pulses of a word on a track.
void unpack(int word, int track, int count, int16_t *code) {
    int16_t sign = (word & 8) != 0 ? negate(amplitude) : amplitude;
    int position = 5 * (word & 7) + track;
    code[position] = sign;
    for (int k = 1; k < count; k++) {
        const int following = 5 * (word >> (3 * k + 1) & 7) + track;
        if (following > position) sign = negate(sign);
        code[following] = ryxsc::add(code[following], sign);
        position = following;
    }
}

} // namespace

ryxStatus ryxsFixedCodebookSearch_G729E_16s_u8(const int16_t *target, const int16_t *residual, const int16_t *response,
                                               int16_t lag, int16_t sharpening, int backward, int16_t *code,
                                               int16_t *filtered, int16_t *words) {
    if (anyNull(target, residual, response, code, filtered, words)) return ryxStsNullPtr;
    if (!isCodebookLag(lag)) return ryxStsOutOfRange;
    const int pulses = backward != 0 ? mostPulses : mostPulses - 2;
    int16_t sharpened[subframe];
    std::copy_n(response, subframe, sharpened);
    sharpen(sharpened, lag, sharpening);
    const Search search(target, residual, sharpened);
    const Choice choice = search.run(pulses);
    build(search, choice, pulses, sharpened, code, filtered);
    writeWords(search, choice, pulses, words);
    sharpen(code, lag, sharpening);
    return ryxStsOk;
}

ryxStatus ryxsFixedCodebookDecode_G729E_16s_u8(const int16_t *words, int16_t lag, int16_t sharpening, int backward,
                                               int16_t *code) {
    if (anyNull(words, code)) return ryxStsNullPtr;
    if (!isCodebookLag(lag)) return ryxStsOutOfRange;
    const int16_t given[mostWords] = {words[0], words[1], words[2], words[3], words[4]};
    std::fill_n(code, subframe, int16_t{0});
    if (backward != 0) {
        const int start = std::min(given[0] >> 10 & 7, tracks - 1);
        for (int m = 0; m < tracks; m++)
            unpack(given[m], next(start, m), m < 2 ? 3 : 2, code);
    } else {
        for (int track = 0; track < tracks; track++)
            unpack(given[track], track, 2, code);
    }
    sharpen(code, lag, sharpening);
    return ryxStsOk;
}
