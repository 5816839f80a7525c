// SPDX-License-Identifier: BSD-2-Clause
#include "round_trip.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

void RoundTrip::add(std::span<const int16_t> original, std::span<const int16_t> decoded) {
    snr_.add(original, decoded);
    samples_ += original.size();
}

void RoundTrip::print() const {
    const double duration = static_cast<double>(samples_) / sampleRate_;
    const double snr = snr_.mean();
    const auto timesRealTime = [&](double seconds) { return duration / std::max(seconds, 1e-9); };
    std::printf("%.2f s at %s kbit/s: ", duration, kilobits_.c_str());
    if (std::isnan(snr))
        std::printf("no speech above -50 dB, ");
    else
        std::printf("segmental SNR %.1f dB, ", snr);
    std::printf("encoded at %.0f and decoded at %.0f times real time\n", timesRealTime(encodingSeconds),
                timesRealTime(decodingSeconds));
}
