// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.723.1 with Annex A: 6.3 and 5.3 kbit/s, frames of 30 ms. Frames are octets as in RFC 3551: 24 or 20, a silence
// descriptor 4. A frame that is not transmitted is the one octet 3 in a stream; to a decoder also no octets at all.
#include "codec.h"
#include "g723/decoder.h"
#include "g723/encoder.h"

namespace ryxcodec {

namespace {

constexpr ryxCodecRate rates[] = {{"5.3", 5300}, {"6.3", 6300}};

} // namespace

constinit const Codec g723Codec = describe<g723::Encoder, g723::Decoder>({
    .name = "g723",
    .title = "ITU-T G.723.1 with Annex A",
    .sampleRate = 8000,
    .frameLength = g723::frameLength,
    .rates = rates,
    .rateCount = 2,
    .defaultRate = 6300,
    .largestFrame = g723::largestFrame,
    .delay = g723::subframeLength,
    .features = ryxCodecDtx | ryxCodecConcealment | ryxCodecRateSwitching | ryxCodecPostFilter,
});

} // namespace ryxcodec
