// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.726: ADPCM at 16, 24, 32 and 40 kbit/s. A frame is 20 ms; the codes follow each other without gaps, the first
// one in the least significant bits (RFC 3551) or in the most significant ones (ITU-T I.366.2).
#include <cstring>

#include <ryxsc.h>

#include "codec.h"

namespace ryxcodec {

namespace {

constexpr int frameLength = 160;
constexpr ryxCodecRate rates[] = {{"16", 16000}, {"24", 24000}, {"32", 32000}, {"40", 40000}};

// Rate and order of the bits.
struct Format {
    int bitsPerCode;
    bool lowFirst;

    explicit Format(const ryxCodecOptions &options)
        : bitsPerCode(options.rate / 8000), lowFirst(options.packing == 0) {}
    Format() = default;

    int octets() const { return frameLength * bitsPerCode / 8; }
    int rate() const {
        constexpr int numbers[] = {ryxG726Rate16k, ryxG726Rate24k, ryxG726Rate32k, ryxG726Rate40k};
        return numbers[bitsPerCode - 2];
    }
};

// Regroups bits in groups of one width to groups of another width; the bits are as many on both sides.
void regroup(const uint8_t *source, int count, int from, uint8_t *target, int to, bool lowFirst) {
    const unsigned mask = (1u << to) - 1;
    unsigned pool = 0; // never more than 15 bits: fewer than `to` stay, `from` are added
    int filled = 0;
    for (int i = 0; i < count; i++) {
        const unsigned group = source[i];
        pool = lowFirst ? pool | group << filled : (pool << from | group) & 0xffff;
        for (filled += from; filled >= to; filled -= to) {
            *target++ = static_cast<uint8_t>((lowFirst ? pool : pool >> (filled - to)) & mask);
            if (lowFirst) pool >>= to;
        }
    }
}

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options) {
        format_ = Format(options);
        const ryxStatus status = adpcm_.fits(ryxsEncodeGetStateSize_G726_16s8u);
        return status != ryxStsOk ? status : ryxsEncodeInit_G726_16s8u(adpcm_, format_.rate());
    }

    // The coder works on 14 bits.
    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets) {
        int16_t samples[frameLength];
        uint8_t codes[frameLength];
        for (int i = 0; i < frameLength; i++)
            samples[i] = static_cast<int16_t>(speech[i] >> 2);
        ryxsEncode_G726_16s8u(adpcm_, samples, codes, frameLength);
        regroup(codes, frameLength, format_.bitsPerCode, frame, 8, format_.lowFirst);
        octets = format_.octets();
        return ryxStsOk;
    }

private:
    Block<EncoderState_G726, 128> adpcm_;
    Format format_;
};

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options) {
        format_ = Format(options);
        linear_ = options.law == 0;
        const int law = linear_ ? ryxG726Linear : options.law == 1 ? ryxG726ALaw : ryxG726MuLaw;
        const ryxStatus status = adpcm_.fits(ryxsDecodeGetStateSize_G726_8u16s);
        return status != ryxStsOk ? status : ryxsDecodeInit_G726_8u16s(adpcm_, format_.rate(), law);
    }

    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech) {
        if (!frame.usable()) {
            std::memset(speech, 0, frameLength * sizeof *speech);
            return ryxStsOk;
        }
        if (frame.count != format_.octets()) return ryxStsBadSize;
        uint8_t codes[frameLength];
        regroup(frame.octets, frame.count, 8, codes, format_.bitsPerCode, format_.lowFirst);
        ryxsDecode_G726_8u16s(adpcm_, codes, speech, frameLength);
        if (linear_)
            for (int i = 0; i < frameLength; i++)
                speech[i] = static_cast<int16_t>(speech[i] * 4);
        return ryxStsOk;
    }

private:
    Block<DecoderState_G726, 128> adpcm_;
    Format format_;
    bool linear_;
};

} // namespace

constinit const Codec g726 = describe<Encoder, Decoder>({
    .name = "g726",
    .title = "ITU-T G.726, ADPCM",
    .sampleRate = 8000,
    .frameLength = frameLength,
    .rates = rates,
    .rateCount = 4,
    .defaultRate = 32000,
    .largestFrame = frameLength * 5 / 8,
    .delay = 0,
    .features = ryxCodecAnyLength,
});

} // namespace ryxcodec
