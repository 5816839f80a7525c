// SPDX-License-Identifier: BSD-2-Clause
// How close decoded speech comes to the original.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/**
 * @brief Segmental signal-to-noise ratio: the mean over 20 ms segments of the ratio in dB.
 *
 * Each ratio is limited to -10..35 dB. Segments below -50 dB of full scale are pauses and do not count, nor does an
 * incomplete last segment.
 */
class SegmentalSnr {
public:
    /** @param delay samples by which the decoded speech lags behind the original */
    SegmentalSnr(int sampleRate, size_t delay);

    /** The next stretches of both. */
    void add(std::span<const int16_t> original, std::span<const int16_t> decoded);

    /** The ratio so far in dB, NaN when no segment counts. */
    double mean() const;

private:
    void endSegment();

    size_t length_, delay_;
    std::vector<int16_t> waiting_; // originals whose decoded samples are still to come
    size_t inSegment_ = 0, segments_ = 0;
    double signal_ = 0, noise_ = 0, sum_ = 0;
};

/** The same of speech at hand, by which `decoded` lags `delay` samples. */
double segmentalSnr(std::span<const int16_t> original, std::span<const int16_t> decoded, int sampleRate, size_t delay);
