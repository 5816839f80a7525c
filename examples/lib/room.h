// SPDX-License-Identifier: BSD-2-Clause
// A made-up room with a loudspeaker and a microphone.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

/**
 * @brief Response of an echo path: 4 ms of nothing, the direct sound, and reflections that decay by 60 dB in 120 ms.
 * @param length samples, at least 8 ms; what would come later is left out
 * @return the same response whenever it is called
 */
std::vector<float> roomResponse(int sampleRate, size_t length);

/**
 * @brief What the microphone picks up: the echo, 6 dB below the far end, the near end, and noise of one step of 16 bits.
 * @param near as long as `far`
 */
std::vector<float> pickUp(std::span<const float> far, std::span<const float> near, std::span<const float> response);
