// SPDX-License-Identifier: BSD-2-Clause
// Short-time spectra of speech.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/** Levels over time and frequency, in dB relative to a full-scale sine. */
struct Spectrogram {
    size_t columns = 0;
    size_t bins = 0;
    double secondsPerColumn = 0;
    double hertzPerBin = 0;
    std::vector<float> levels; /**< `columns` values of the lowest bin first */
};

/** Length of the Hann window of the spectrogram in seconds. */
constexpr double spectrogramWindow = 0.032;

/** @param samples speech, full scale 1; columns are centred at 0, 1, 2, ... times the step from its first sample */
Spectrogram makeSpectrogram(std::span<const float> samples, int sampleRate);

/**
 * @brief Mean power density in dB relative to a full-scale sine, per Hz, averaged over Hann windows of 32 ms.
 * @param samples at least one
 * @return one value per bin, bins equally spaced from 0 to half the sampling rate
 */
std::vector<double> meanSpectrum(std::span<const float> samples, int sampleRate);

/**
 * @brief Root mean square difference in dB of the log spectra of two LP filters, from 0 to half the sampling rate.
 * @param first, second LP coefficients from a[0] on, both in the same format
 */
double spectralDistortion(std::span<const int16_t> first, std::span<const int16_t> second);
