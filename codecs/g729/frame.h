// SPDX-License-Identifier: BSD-2-Clause
// The parameters of a G.729 frame and their order in its octets, the most significant bit of each first.
#pragma once

#include <cstdint>

namespace ryxcodec::g729 {

inline constexpr int frameLength = 80, subframeLength = 40, subframes = 2;
inline constexpr int order = 10, longOrder = 30;

// The kind of a frame follows from its length.
enum class FrameType : uint8_t { untransmitted, silence, speech6k4, speech8k, speech11k8 };
constexpr bool isSpeech(FrameType type) {
    return type >= FrameType::speech6k4;
}
int octetsOf(FrameType type);
// Returns false where no frame has this length.
bool typeOf(int octets, FrameType &type);

struct Parameters {
    int16_t mode[2];          // 11.8 kbit/s: 1 backward LP, twice
    int16_t lsp[2];           // not in backward mode
    int16_t parity;           // not at 6.4 kbit/s
    int16_t delay[subframes]; // index
    int16_t code[subframes][5];
    int16_t gain[subframes];
    int16_t silence[4]; // of a silence descriptor: L0, L1, L2, gain
};

// The bit that protects the first delay.
int16_t parityOf(FrameType type, int16_t delay);

void pack(FrameType type, Parameters parameters, uint8_t *octets);
Parameters unpack(FrameType type, const uint8_t *octets);

} // namespace ryxcodec::g729
