// SPDX-License-Identifier: BSD-2-Clause
// Signals, echo paths and level meter of ITU-T G.168, at 8 kHz in the 16-bit scale: 0 dBm0 is an rms of 16123.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace g168 {

inline constexpr int rate = 8000;

/** What `tests/data/g168` holds. */
struct Tables {
    explicit Tables(const std::string &folder);

    std::vector<double> cssFar,
        cssNear; /**< a period each of the composite source signals, active parts with rms 1000 */
    std::vector<std::vector<double>> paths; /**< D.2 to D.9 for an echo return loss of 0 dB */
    std::vector<double> levelFilter;
    std::vector<std::pair<double, double>> tones; /**< Hz; 0 for no second one */
};

/** Gives sample after sample. Copies go on with the same signal. */
using Source = std::function<double()>;

Source silence();
/** A composite source signal at this level in dBm0, from the start of its period. */
Source composite(const std::vector<double> &period, double level);
/** Noise that resembles Hoth's spectrum. */
Source hothNoise(double level);
Source tones(double frequency, double level, double secondFrequency, double secondLevel);

/** Through a coder of ITU-T G.711, A-law, and back. */
int16_t coded(double sample);

/** Reads levels as G.168 does: band-pass, square, mean over 35 ms. */
class Meter {
public:
    explicit Meter(const std::vector<double> &filter);

    void add(const int16_t *samples, size_t count);
    double level() const; /**< dBm0, now */
    double peak() const;  /**< since restart() */
    void restart() { highest_ = 0; }

private:
    const std::vector<double> &filter_;
    std::vector<double> line_;
    double power_ = 0, highest_ = 0;
};

} // namespace g168
