// SPDX-License-Identifier: BSD-2-Clause
#include "g7221/decoder.h"

#include <algorithm>

namespace ryxcodec::g7221 {

ryxStatus Decoder::init(const Format &format, const ryxCodecOptions &) {
    format_ = format;
    std::fill_n(noiseSeeds_, 4, int16_t{1});
    return ryxStsOk;
}

bool Decoder::decodeSpectrum(const ReceivedFrame &frame, int16_t *coefficients, int &magShift) {
    const int regions = format_.regions, bits = frame.count * 8;

    int16_t powerIndex[maxRegions], deviation[maxRegions];
    int position = 0;
    ryxsEnvelopeDecode_G7221_8u16s(frame.octets, bits, regions, powerIndex, deviation, &magShift, &position);
    const int control = readBits(frame.octets, position, format_.controlBits);
    position += format_.controlBits;

    int16_t categories[maxRegions], balances[maxBalances];
    if (ryxsCategorize_G7221_16s(powerIndex, regions, bits - position, categories, balances) != ryxStsOk) return false;
    for (int i = 0; i < control; i++)
        if (categories[balances[i]] < noiseOnly) categories[balances[i]]++;

    int bitsLeft = 0, errors = 0;
    ryxsHuffmanDecode_G7221_8u16s(frame.octets, bits, deviation, regions, coefficients, categories, &position,
                                  &bitsLeft);
    ryxsNoiseFill_G7221_16s_I(coefficients, categories, deviation, regions, noiseSeeds_);
    ryxsFrameCheck_G7221_8u(frame.octets, bits, position, bitsLeft, control, powerIndex, regions, &errors);
    return errors == 0;
}

ryxStatus Decoder::decode(const ReceivedFrame &frame, int16_t *speech) {
    if (frame.usable() && !format_.hasFrameOf(frame.count)) return ryxStsBadSize;

    int16_t coefficients[maxFrameLength] = {};
    int magShift = 0;
    const bool good = frame.usable() && decodeSpectrum(frame, coefficients, magShift);
    ryxsConcealFrame_G7221_16s_I(coefficients, format_.regions, good ? 0 : 1, &magShift, previous_, &previousShift_);
    ryxsMLTInv_G7221_16s(coefficients, format_.frameLength, magShift, speech, overlap_);

    // The recommendation's decoder delivers 14 bits.
    for (int i = 0; i < format_.frameLength; i++)
        speech[i] = static_cast<int16_t>(speech[i] & ~3);
    return ryxStsOk;
}

} // namespace ryxcodec::g7221
