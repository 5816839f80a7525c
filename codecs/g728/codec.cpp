// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.728: LD-CELP at 16 kbit/s in the fixed-point arithmetic of Annex G, concealment of Annex I. A frame is an
// adaptation cycle of 2.5 ms.
#include "codec.h"

#include "g728/decoder.h"
#include "g728/encoder.h"

namespace ryxcodec {

namespace {

constexpr ryxCodecRate rates[] = {{"16", 16000}};

} // namespace

constinit const Codec g728Codec = describe<g728::Encoder, g728::Decoder>({
    .name = "g728",
    .title = "ITU-T G.728, LD-CELP",
    .sampleRate = 8000,
    .frameLength = g728::frameLength,
    .rates = rates,
    .rateCount = 1,
    .defaultRate = 16000,
    .largestFrame = g728::frameOctets,
    .delay = 0,
    .features = ryxCodecConcealment | ryxCodecPostFilter,
});

} // namespace ryxcodec
