// SPDX-License-Identifier: BSD-2-Clause
// What the sub-band controller and the noise filter share.
#pragma once

namespace ryxsc::ec {

// Their constants are times, so they serve any rate; these are the rates of speech.
constexpr bool isBlockRate(int sampleRate) {
    return sampleRate == 8000 || sampleRate == 16000 || sampleRate == 32000 || sampleRate == 48000;
}

} // namespace ryxsc::ec
