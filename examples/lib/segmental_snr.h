// SPDX-License-Identifier: BSD-2-Clause
// How close decoded speech comes to the original.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/**
 * @brief Segmental signal-to-noise ratio: the mean over 20 ms segments of the ratio in dB.
 *
 * Each ratio is limited to -10..35 dB. Segments below -50 dB of full scale are pauses and do not count, nor does an
 * incomplete last segment.
 *
 * @param delay samples by which `decoded` lags behind `original`
 * @return the ratio in dB, NaN when no segment counts
 */
double segmentalSnr(std::span<const int16_t> original, std::span<const int16_t> decoded, int sampleRate, size_t delay);
