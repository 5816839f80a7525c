// SPDX-License-Identifier: BSD-2-Clause
// What the searches of both kinds of algebraic codebook work on, and what they leave. Compiled by both processor variants.
#pragma once

#include <cstring>

#include "amrwb/codebook_packing.h"
#include "amrwb/codebook_response.inl"
#include "amrwb/codebook_signs.inl"

namespace ryxsc::amrwb {

namespace {

struct Arguments {
    const int16_t *target, *residual, *impulse;
    int16_t *code, *filtered, *indices;
    Sums sums = Sums::plain;
    const int16_t *fallback = nullptr; // response that stands when no iteration wins; null: that of the first one
};

// Pulses placed so far.
struct Placement {
    int16_t correlation, energy;
    int count;
    uint8_t pulses[mostPulses];
    alignas(16) int16_t response[positions]; // sum of the pulses' responses

    void clear() {
        correlation = energy = 0;
        count = 0;
        std::memset(response, 0, sizeof response);
    }
};

struct Workspace {
    Response response;
    Signs signs;
    TrackWords energies; // of the response to a pulse
    CrossTerms crossTerms[tracks];
    Placement placements[mostIterations];

    bool isNegative(int position) const { return signs.masks.at(position) != 0; }
    const int16_t *pulseResponse(int position) const { return response.shifted(position, isNegative(position)); }

    void placePulse(Placement &placement, int p) const {
        const int16_t *const pulse = pulseResponse(p);
        for (int n = 0; n < positions; n += 8) {
            int16_t *const sum = placement.response + n;
            simd::store(sum, _mm_adds_epi16(simd::load(sum), simd::load(pulse + n)));
        }
        placement.pulses[placement.count++] = static_cast<uint8_t>(p);
    }

    // Both responses are added to each other first; every sum saturates.
    void placePair(Placement &placement, int p, int q) const {
        const int16_t *const first = pulseResponse(p), *const second = pulseResponse(q);
        for (int n = 0; n < positions; n += 8) {
            const Vector pair = _mm_adds_epi16(simd::load(first + n), simd::load(second + n));
            int16_t *const sum = placement.response + n;
            simd::store(sum, _mm_adds_epi16(simd::load(sum), pair));
        }
        placement.pulses[placement.count++] = static_cast<uint8_t>(p);
        placement.pulses[placement.count++] = static_cast<uint8_t>(q);
    }

    void writeVectors(const Placement &placement, int16_t amplitude, int16_t *code, int16_t *filtered) const {
        std::memset(code, 0, positions * sizeof *code);
        for (int k = 0; k < placement.count; k++) {
            const int p = placement.pulses[k];
            code[p] = static_cast<int16_t>(code[p] + (isNegative(p) ? -amplitude : amplitude));
        }
        // (x + 4) >> 3
        for (int n = 0; n < positions; n += 8) {
            const Vector quarter = _mm_srai_epi16(simd::load(placement.response + n), 2);
            simd::store(filtered + n, _mm_srai_epi16(_mm_add_epi16(quarter, simd::words(1)), 1));
        }
    }
};

inline constexpr int16_t pulseAmplitude = 512; // Q9

// High enough for every response of speech; the limit keeps sums of products inside 32 bits and cross terms inside 14.
inline constexpr int64_t boundedEnergy = int64_t{1} << 28;

} // namespace

} // namespace ryxsc::amrwb
