// SPDX-License-Identifier: BSD-2-Clause
// GSM-AMR narrow band (3GPP TS 26.071): eight rates, discontinuous transmission, concealment. A frame is the octet of the
// table of contents of RFC 4867 and the octets behind it.
#include "codec.h"

#include "gsmamr/decoder.h"
#include "gsmamr/encoder.h"

namespace ryxcodec {

namespace {

constexpr ryxCodecRate rates[] = {{"4.75", 4750}, {"5.15", 5150}, {"5.90", 5900},  {"6.70", 6700},
                                  {"7.40", 7400}, {"7.95", 7950}, {"10.2", 10200}, {"12.2", 12200}};

} // namespace

constinit const Codec gsmamrCodec = describe<gsmamr::Encoder, gsmamr::Decoder>({
    .name = "gsm-amr",
    .title = "GSM-AMR (3GPP TS 26.071)",
    .sampleRate = 8000,
    .frameLength = gsmamr::frameLength,
    .rates = rates,
    .rateCount = 8,
    .defaultRate = 12200,
    .largestFrame = gsmamr::largestFrame,
    .delay = 40, // look-ahead
    .features = ryxCodecDtx | ryxCodecConcealment | ryxCodecRateSwitching | ryxCodecPostFilter,
});

} // namespace ryxcodec
