// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.729: the main body with Annexes B, D and E, joined as Annex I, and Annex A with Annex B. A frame is 10 ms; its
// octets are those of RFC 3551 and tell its kind by their number: 15, 10 or 8 at 11.8, 8 and 6.4 kbit/s, 2 for a silence
// descriptor, none for what is not sent.
#include "codec.h"
#include "g729/decoder.h"
#include "g729/decoder_a.h"
#include "g729/encoder.h"
#include "g729/encoder_a.h"

namespace ryxcodec {

namespace {
constexpr ryxCodecRate rates[] = {{"6.4", 6400}, {"8", 8000}, {"11.8", 11800}};
constexpr ryxCodecRate annexARates[] = {{"8", 8000}};
} // namespace

constinit const Codec g729Codec = describe<g729::Encoder, g729::Decoder>({
    .name = "g729",
    .title = "ITU-T G.729 with Annexes B, D, E and I",
    .sampleRate = 8000,
    .frameLength = g729::frameLength,
    .rates = rates,
    .rateCount = 3,
    .defaultRate = 8000,
    .largestFrame = 15,
    .delay = 40,
    .features = ryxCodecDtx | ryxCodecConcealment | ryxCodecRateSwitching | ryxCodecPostFilter,
});

constinit const Codec g729aCodec = describe<g729::AnnexAEncoder, g729::AnnexADecoder>({
    .name = "g729a",
    .title = "ITU-T G.729 Annexes A and B",
    .sampleRate = 8000,
    .frameLength = g729::frameLength,
    .rates = annexARates,
    .rateCount = 1,
    .defaultRate = 8000,
    .largestFrame = 10,
    .delay = 40,
    .features = ryxCodecDtx | ryxCodecConcealment | ryxCodecPostFilter,
});

} // namespace ryxcodec
