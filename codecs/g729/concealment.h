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

// A set of kinds of frames.
using FrameTypes = unsigned;
constexpr FrameTypes only(FrameType type) {
    return 1u << static_cast<int>(type);
}

// What a decoder of Annex D, and one of Annex E, was made for.
inline constexpr FrameTypes annexDTypes = only(FrameType::speech8k) | only(FrameType::speech6k4);
inline constexpr FrameTypes annexETypes = only(FrameType::speech8k) | only(FrameType::speech11k8);

// Whether one of these annexes alone has such frames.
constexpr bool isOfOneAnnex(FrameTypes types) {
    return (types & ~annexDTypes) == 0 || (types & ~annexETypes) == 0;
}

// Whether the two rates of such an annex alternate.
constexpr bool alternates(FrameTypes types) {
    return types == annexDTypes || types == annexETypes;
}

} // namespace ryxcodec::g729
