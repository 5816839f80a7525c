// SPDX-License-Identifier: BSD-2-Clause
// AMR-WB (3GPP TS 26.190, ITU-T G.722.2): nine rates, discontinuous transmission, concealment. A frame is the octet of the
// table of contents of RFC 4867 and the octets behind it.
#include "codec.h"

#include "decoder.h"
#include "encoder.h"

namespace ryxcodec {

namespace {

constexpr ryxCodecRate rates[] = {{"6.60", 6600},   {"8.85", 8850},   {"12.65", 12650},
                                  {"14.25", 14250}, {"15.85", 15850}, {"18.25", 18250},
                                  {"19.85", 19850}, {"23.05", 23050}, {"23.85", 23850}};

} // namespace

constinit const Codec amrwbCodec = describe<amrwb::Encoder, amrwb::Decoder>({
    .name = "amr-wb",
    .title = "AMR-WB (3GPP TS 26.190, ITU-T G.722.2)",
    .sampleRate = 16000,
    .frameLength = amrwb::frameLength,
    .rates = rates,
    .rateCount = 9,
    .defaultRate = 12650,
    .largestFrame = amrwb::largestFrame,
    .delay = 95, // 5.9375 ms of look-ahead and filters
    .features = ryxCodecDtx | ryxCodecConcealment | ryxCodecRateSwitching,
});

} // namespace ryxcodec
