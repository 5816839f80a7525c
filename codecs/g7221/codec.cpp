// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722.1: 7 kHz audio at 24 and 32 kbit/s, and Annex C: 14 kHz at 24, 32 and 48 kbit/s. A frame is 20 ms; its
// octets are those of RFC 5577. Its length tells the rate, which may change from frame to frame.
#include "codec.h"
#include "g7221/decoder.h"
#include "g7221/encoder.h"

namespace ryxcodec {

namespace {

using g7221::Format;

template <const Format &format> struct Encoder : g7221::Encoder {
    ryxStatus init(const ryxCodecOptions &options) { return g7221::Encoder::init(format, options); }
};
template <const Format &format> struct Decoder : g7221::Decoder {
    ryxStatus init(const ryxCodecOptions &options) { return g7221::Decoder::init(format, options); }
};

constexpr ryxCodecRate rates[] = {{"24", 24000}, {"32", 32000}, {"48", 48000}};

template <const Format &format>
constexpr Codec describeFormat(const char *name, const char *title, int rateCount, int defaultRate) {
    return describe<Encoder<format>, Decoder<format>>({
        .name = name,
        .title = title,
        .sampleRate = format.sampleRate,
        .frameLength = format.frameLength,
        .rates = rates,
        .rateCount = rateCount,
        .defaultRate = defaultRate,
        .largestFrame = format.longestFrame,
        .delay = format.frameLength,
        .features = ryxCodecConcealment | ryxCodecRateSwitching,
    });
}

} // namespace

constinit const Codec g7221Main = describeFormat<g7221::wideband>("g7221", "ITU-T G.722.1, 7 kHz audio", 2, 32000);
constinit const Codec g7221AnnexC =
    describeFormat<g7221::superwideband>("g7221c", "ITU-T G.722.1 Annex C, 14 kHz audio", 3, 48000);

} // namespace ryxcodec
