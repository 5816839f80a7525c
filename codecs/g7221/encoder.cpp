// SPDX-License-Identifier: BSD-2-Clause
#include "g7221/encoder.h"

#include <numeric>

namespace ryxcodec::g7221 {

ryxStatus Encoder::init(const Format &format, const ryxCodecOptions &options) {
    format_ = format;
    setRate(options.rate);
    return ryxStsOk;
}

ryxStatus Encoder::encode(const int16_t *speech, uint8_t *frame, int &octets) {
    const int regions = format_.regions;
    octets = frameBits_ / 8;
    FrameWriter writer(frame, octets);

    int16_t coefficients[maxFrameLength];
    int magShift = 0;
    ryxsMLTFwd_G7221_16s(speech, format_.frameLength, coefficients, &magShift, history_);

    int16_t powerIndex[maxRegions];
    uint32_t envelopeCodes[maxRegions];
    uint8_t envelopeBits[maxRegions];
    ryxsRegionPower_G7221_16s(coefficients, regions, magShift, powerIndex);
    ryxsEnvelopeEncode_G7221_16s32u(powerIndex, regions, powerIndex, envelopeCodes, envelopeBits);
    writer.put(envelopeCodes, envelopeBits, regions);

    const int available = frameBits_ - std::accumulate(envelopeBits, envelopeBits + regions, 0) - format_.controlBits;
    int16_t categories[maxRegions], balances[maxBalances];
    ryxsCategorize_G7221_16s(powerIndex, regions, available, categories, balances);

    int16_t scaledIndex[maxRegions], vectors[maxVectors];
    int control = 0;
    ryxsScaleRegions_G7221_16s_I(coefficients, powerIndex, regions, magShift, scaledIndex);
    ryxsRateControl_G7221_16s(coefficients, scaledIndex, balances, regions, available, categories, vectors, &control);
    writer.put(static_cast<uint32_t>(control), format_.controlBits);

    uint32_t vectorCodes[maxVectors];
    uint8_t vectorBits[maxVectors];
    int count = 0;
    ryxsHuffmanEncode_G7221_16s32u(coefficients, vectors, categories, regions, vectorCodes, vectorBits, &count);
    writer.put(vectorCodes, vectorBits, count);
    writer.fillWithOnes();
    return ryxStsOk;
}

} // namespace ryxcodec::g7221
