// SPDX-License-Identifier: BSD-2-Clause
// GSM full rate: ETSI GSM 06.10 (EN 300 961) with GSM 06.11, 06.12, 06.31 and 06.32.
#include "codec.h"
#include "gsmfr/decoder.h"
#include "gsmfr/encoder.h"

namespace ryxcodec {

namespace {

constexpr ryxCodecRate rates[] = {{"13", 13000}};

} // namespace

constinit const Codec gsmfrCodec = describe<gsmfr::Encoder, gsmfr::Decoder>({
    .name = "gsm-fr",
    .title = "GSM full rate (GSM 06.10)",
    .sampleRate = 8000,
    .frameLength = gsmfr::frameLength,
    .rates = rates,
    .rateCount = 1,
    .defaultRate = 13000,
    .largestFrame = gsmfr::frameOctets,
    .delay = 0,
    .features = ryxCodecDtx | ryxCodecDownlinkDtx | ryxCodecConcealment,
});

} // namespace ryxcodec
