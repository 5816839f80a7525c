// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722: 64, 56 and 48 kbit/s. A frame is 10 ms; an octet holds the codes of two samples, that of the high band in
// its upper two bits. At 56 and 48 kbit/s the lowest one or two bits belong to other data: zero when sent, ignored when
// received.
#include <cstring>

#include <ryxsc.h>

#include "codec.h"

namespace ryxcodec {

namespace {

constexpr int frameLength = 160;
constexpr int frameOctets = frameLength / 2;
constexpr ryxCodecRate rates[] = {{"48", 48000}, {"56", 56000}, {"64", 64000}};

class Encoder {
public:
    ryxStatus init(const ryxCodecOptions &options) {
        setRate(options.rate);
        const ryxStatus status = adpcm_.fits(ryxsSBADPCMEncodeStateSize_G722_16s);
        return status != ryxStsOk ? status : ryxsSBADPCMEncodeInit_G722_16s(adpcm_);
    }

    void setRate(int bitsPerSecond) {
        speechBits_ = bitsPerSecond == 64000 ? 0xff : bitsPerSecond == 56000 ? 0xfe : 0xfc;
    }

    ryxStatus encode(const int16_t *speech, uint8_t *frame, int &octets) {
        int16_t bands[frameLength], codes[frameLength];
        ryxsQMFEncode_G722_16s(speech, bands, frameLength, delayLine_);
        ryxsSBADPCMEncode_G722_16s(bands, codes, frameLength, adpcm_);
        for (int i = 0; i < frameOctets; i++)
            frame[i] = static_cast<uint8_t>((codes[2 * i + 1] << 6 | codes[2 * i]) & speechBits_);
        octets = frameOctets;
        return ryxStsOk;
    }

private:
    Block<SBADPCMState_G722, 256> adpcm_;
    int16_t delayLine_[24];
    uint8_t speechBits_;
};

class Decoder {
public:
    ryxStatus init(const ryxCodecOptions &options) {
        mode_ = options.rate == 64000 ? ryxG722Mode64k : options.rate == 56000 ? ryxG722Mode56k : ryxG722Mode48k;
        const ryxStatus status = adpcm_.fits(ryxsSBADPCMDecodeStateSize_G722_16s);
        return status != ryxStsOk ? status : ryxsSBADPCMDecodeInit_G722_16s(adpcm_);
    }

    ryxStatus decode(const ReceivedFrame &frame, int16_t *speech) {
        if (!frame.usable()) {
            std::memset(speech, 0, frameLength * sizeof *speech);
            return ryxStsOk;
        }
        if (frame.count != frameOctets) return ryxStsBadSize;
        int16_t codes[frameLength], bands[frameLength];
        for (int i = 0; i < frameOctets; i++) {
            codes[2 * i] = frame.octets[i] & 0x3f;
            codes[2 * i + 1] = static_cast<int16_t>(frame.octets[i] >> 6);
        }
        ryxsSBADPCMDecode_G722_16s(codes, bands, frameLength, mode_, adpcm_);
        ryxsQMFDecode_G722_16s(bands, speech, frameLength, delayLine_);
        return ryxStsOk;
    }

private:
    Block<SBADPCMState_G722, 256> adpcm_;
    int16_t delayLine_[24];
    int16_t mode_;
};

} // namespace

constinit const Codec g722 = describe<Encoder, Decoder>({
    .name = "g722",
    .title = "ITU-T G.722, 7 kHz speech",
    .sampleRate = 16000,
    .frameLength = frameLength,
    .rates = rates,
    .rateCount = 3,
    .defaultRate = 64000,
    .largestFrame = frameOctets,
    .delay = 22, // of both filter banks, 23 samples, less the one by which a pair of outputs is ahead
    .features = ryxCodecRateSwitching | ryxCodecAnyLength,
});

} // namespace ryxcodec
