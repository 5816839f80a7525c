// SPDX-License-Identifier: BSD-2-Clause
// What the decoders do alike when frames are lost or not sent.
#pragma once

#include "g729/common.h"

namespace ryxcodec::g729 {

// The recommendation's random numbers, modulo 2^16.
inline int16_t nextRandom(int16_t &seed) {
    return seed = static_cast<int16_t>(static_cast<uint32_t>(seed) * 31821u + 13849u);
}

// A lost frame goes on with speech or with the pause, whichever there was.
constexpr FrameType concealedType(FrameType past) {
    return past == FrameType::silence ? FrameType::untransmitted : past;
}

} // namespace ryxcodec::g729
