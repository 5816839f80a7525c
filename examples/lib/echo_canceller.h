// SPDX-License-Identifier: BSD-2-Clause
// Echo cancellers over whole recordings. Samples are in the 16-bit scale, full scale 32768.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

#include <ryxecho.h>

/** The choices of `ryxechoDefaults()` with another rate, tail in milliseconds, method and suppression. */
ryxEchoOptions echoOptions(int sampleRate, int tail, int method = ryxEchoTransform, bool suppression = true);

/**
 * @brief Cancels the echo in a whole recording. The canceller's delay is taken out, so that the output fits `near`.
 * @param far what the loudspeaker plays, as long as `near`
 * @param near what the microphone picks up
 * @param progress told how many samples are done
 */
std::vector<float> cancelEcho(const ryxEchoOptions &options, std::span<const float> far, std::span<const float> near,
                              const std::function<void(size_t)> &progress = {});

/** Whether this program was built with speexdsp, whose canceller is the usual free one. */
bool hasSpeexCanceller();

/** The same by speexdsp, in frames of 20 ms; its preprocessor removes residual echo where `suppression` is chosen. */
std::vector<float> cancelEchoBySpeex(const ryxEchoOptions &options, std::span<const float> far,
                                     std::span<const float> near);

/**
 * @brief By how many decibels the power falls, window by window.
 *
 * What is at most as strong as one step of 16 bits counts as silence: NaN stands where `before` is silent, and `after`
 * does not count for less.
 */
std::vector<double> echoReduction(std::span<const float> before, std::span<const float> after, size_t window);
