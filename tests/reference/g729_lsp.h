// SPDX-License-Identifier: BSD-2-Clause
// LSF quantisers and decoders of ITU-T G.729 and its Annex B as the recommendation writes them, operator by operator,
// and the searches of the float form in double precision. Of the library they use the numbers of the codebooks and the
// basic operators.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace reference::g729 {

using Lsf = std::array<int16_t, 10>;
using LsfHistory = std::array<int16_t, 40>;
using Indices = std::array<int16_t, 4>; // Annex B uses three

// The recommendation's 16-bit tables, one vector a row.
int16_t firstStage(int vector, int j);
int16_t secondStage(int vector, int j);

// Which predictors and codebook vectors a frame uses.
enum class Frame { speech, noise };
int16_t tap(Frame frame, int mode, int k, int j);
float realGain(Frame frame, int mode, int j);
int16_t gain(Frame frame, int mode, int j);
float realInverseGain(Frame frame, int mode, int j);
int16_t inverseGain(Frame frame, int mode, int j);

int decode(Frame frame, const Indices &indices, LsfHistory &history, Lsf &lsf);
void erase(int mode, LsfHistory &history, const Lsf &lsf);
Indices quantise(const Lsf &lsf, LsfHistory &history, Lsf &quantised);
Indices quantiseNoise(const Lsf &lsf, LsfHistory &history, Lsf &quantised);

// The float quantisers' searches. The history stays as it is.
Indices searchReal(const float *lsf, const float *history);
Indices searchRealNoise(const float *lsf, const float *history);

// The name with the smallest error, 0 .. count - 1: the first among equals, 0 when none is below the start.
template <class Error, class ErrorOf> int smallest(int count, Error start, ErrorOf errorOf) {
    int best = 0;
    for (int i = 0; i < count; i++)
        if (const Error error = errorOf(i); error < start) {
            start = error;
            best = i;
        }
    return best;
}

// Annex B: of 64 first-stage errors, named mode * 32 + index, the four smallest go into the second stage, where
// errorOf(mode, l1, l2) decides.
template <class Error, class ErrorOf>
Indices bestOfFourCandidates(std::array<Error, 64> errors, Error start, ErrorOf errorOf) {
    std::array<int, 4> names;
    for (int &name : names) {
        name = smallest(64, start, [&](int i) { return errors[static_cast<size_t>(i)]; });
        errors[static_cast<size_t>(name)] = start;
    }
    const auto nameOf = [&](int i) { return names[static_cast<size_t>(i / 16)]; };
    const int best = smallest(64, start, [&](int i) { return errorOf(nameOf(i) / 32, nameOf(i) % 32, i % 16); });
    return {static_cast<int16_t>(nameOf(best) / 32), static_cast<int16_t>(nameOf(best) % 32),
            static_cast<int16_t>(best % 16)};
}

} // namespace reference::g729
