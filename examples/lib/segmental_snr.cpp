// SPDX-License-Identifier: BSD-2-Clause
#include "segmental_snr.h"

#include <algorithm>
#include <cmath>
#include <limits>

SegmentalSnr::SegmentalSnr(int sampleRate, size_t delay)
    : length_(static_cast<size_t>(sampleRate / 50)), delay_(delay) {
}

void SegmentalSnr::add(std::span<const int16_t> original, std::span<const int16_t> decoded) {
    const size_t early = std::min(delay_, decoded.size());
    delay_ -= early;
    waiting_.insert(waiting_.end(), original.begin(), original.end());
    const size_t count = std::min(waiting_.size(), decoded.size() - early);
    for (size_t i = 0; i < count; i++) {
        const double x = waiting_[i], difference = x - decoded[early + i];
        signal_ += x * x;
        noise_ += difference * difference;
        if (++inSegment_ == length_) endSegment();
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(count));
}

void SegmentalSnr::endSegment() {
    const double quietest = 32768.0 * 32768.0 * 1e-5 * static_cast<double>(length_); // -50 dB of full scale
    if (signal_ >= quietest) {
        sum_ += std::clamp(10 * std::log10(signal_ / std::max(noise_, 1.0)), -10.0, 35.0);
        segments_++;
    }
    inSegment_ = 0;
    signal_ = noise_ = 0;
}

double SegmentalSnr::mean() const {
    return segments_ ? sum_ / static_cast<double>(segments_) : std::numeric_limits<double>::quiet_NaN();
}

double segmentalSnr(std::span<const int16_t> original, std::span<const int16_t> decoded, int sampleRate, size_t delay) {
    SegmentalSnr snr(sampleRate, delay);
    snr.add(original, decoded);
    return snr.mean();
}
