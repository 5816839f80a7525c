// SPDX-License-Identifier: BSD-2-Clause
#include "round_trip.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "segmental_snr.h"

void printSummary(const RoundTrip &trip, const Audio &original, const Audio &decoded) {
    const double duration = static_cast<double>(original.samples.size()) / original.sampleRate;
    const double snr = segmentalSnr(original.samples, decoded.samples, original.sampleRate, trip.delay);
    const auto timesRealTime = [&](double seconds) { return duration / std::max(seconds, 1e-9); };
    std::printf("%.2f s at %s kbit/s: ", duration, trip.kilobits.c_str());
    if (std::isnan(snr))
        std::printf("no speech above -50 dB, ");
    else
        std::printf("segmental SNR %.1f dB, ", snr);
    std::printf("encoded at %.0f and decoded at %.0f times real time\n", timesRealTime(trip.encodingSeconds),
                timesRealTime(trip.decodingSeconds));
}
