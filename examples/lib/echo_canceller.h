// SPDX-License-Identifier: BSD-2-Clause
// Echo cancellers put together from the library's functions.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <vector>

/** Removes the far end's echo from the near end. Samples are in the 16-bit scale, full scale 32768. */
class EchoCanceller {
public:
    virtual ~EchoCanceller() = default;

    /** Samples that a call of process() takes and gives. */
    virtual size_t frameLength() const = 0;
    /** Samples by which the output is late. */
    virtual size_t delay() const = 0;
    /** @param far what the loudspeaker plays; @param near what the microphone picks up; @param output near without echo */
    virtual void process(const float *far, const float *near, float *output) = 0;
};

enum class EchoMethod {
    fullBand, /**< adapts sample by sample; no delay */
    subBand   /**< adapts spectra of 5.5 ms at 8 kHz; less work for long echo paths */
};

/**
 * @brief Makes a canceller that has learnt nothing yet.
 *
 * Both methods keep two sets of coefficients. One adapts all the time; the other one, which makes the output, holds the
 * best that were found, so that speech at the near end costs little.
 *
 * @param sampleRate 8000 or 16000 Hz
 * @param tail length of the echo path in samples, at least 1; rounded up to whole frames, 255 of them with subBand
 */
std::unique_ptr<EchoCanceller> makeEchoCanceller(EchoMethod method, int sampleRate, size_t tail);

/**
 * @brief Cancels the echo in a whole recording. The canceller's delay is taken out.
 * @param far as long as `near`
 * @param progress told how many samples are done
 */
std::vector<float> cancelEcho(EchoCanceller &canceller, std::span<const float> far, std::span<const float> near,
                              const std::function<void(size_t)> &progress = {});

/**
 * @brief By how many decibels the power falls, window by window.
 *
 * What is at most as strong as one step of 16 bits counts as silence: NaN stands where `before` is silent, and `after`
 * does not count for less.
 */
std::vector<double> echoReduction(std::span<const float> before, std::span<const float> after, size_t window);
