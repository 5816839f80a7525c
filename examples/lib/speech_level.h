// SPDX-License-Identifier: BSD-2-Clause
// How loud speech is.
#pragma once

#include <cstdint>
#include <span>

/**
 * @brief Active speech level of ITU-T P.56, method B: the power of the speech without its pauses.
 * @return dB relative to a root mean square of 32768, NaN when there is no speech
 */
double activeSpeechLevel(std::span<const int16_t> samples, int sampleRate);

/** Largest magnitude in dB relative to 32768; minus infinity for silence. */
double peakLevel(std::span<const int16_t> samples);
