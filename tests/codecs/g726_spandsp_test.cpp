// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.726 beside libspandsp: the same codes at all rates, and the same samples but for those beyond full scale.
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <vector>

extern "C" {
#include <spandsp.h>
}

#include "harness/signals.h"
#include "ryxsc.h"

namespace {

struct Rate {
    int bitsPerSecond, number;
};

TEST(G726, GivesTheCodesAndSamplesOfLibspandsp) {
    for (const auto &[bitsPerSecond, number] :
         {Rate{16000, ryxG726Rate16k}, {24000, ryxG726Rate24k}, {32000, ryxG726Rate32k}, {40000, ryxG726Rate40k}})
        for (const auto &[name, signal] : signals::nasty(40000, 61)) {
            SCOPED_TRACE(name + " at " + std::to_string(bitsPerSecond));
            std::vector<int16_t> samples = signal; // 14 bits count, and the library takes no more
            for (int16_t &sample : samples)
                sample = static_cast<int16_t>(sample & ~3);
            const int length = static_cast<int>(samples.size());
            std::vector<uint8_t> codes(samples.size()), otherCodes(samples.size());
            std::vector<int16_t> speech(samples.size()), otherSpeech(samples.size()), narrow(samples.size());
            for (size_t i = 0; i < samples.size(); i++)
                narrow[i] = static_cast<int16_t>(samples[i] >> 2);

            std::vector<uint8_t> block(92);
            const auto encoder = reinterpret_cast<EncoderState_G726 *>(block.data());
            ASSERT_EQ(ryxsEncodeInit_G726_16s8u(encoder, number), ryxStsOk);
            ASSERT_EQ(ryxsEncode_G726_16s8u(encoder, narrow.data(), codes.data(), length), ryxStsOk);
            const auto decoder = reinterpret_cast<DecoderState_G726 *>(block.data());
            ASSERT_EQ(ryxsDecodeInit_G726_8u16s(decoder, number, ryxG726Linear), ryxStsOk);
            ASSERT_EQ(ryxsDecode_G726_8u16s(decoder, codes.data(), speech.data(), length), ryxStsOk);

            g726_state_t *other = g726_init(nullptr, bitsPerSecond, G726_ENCODING_LINEAR, G726_PACKING_NONE);
            ASSERT_EQ(g726_encode(other, otherCodes.data(), samples.data(), length), length);
            g726_init(other, bitsPerSecond, G726_ENCODING_LINEAR, G726_PACKING_NONE);
            ASSERT_EQ(g726_decode(other, otherSpeech.data(), codes.data(), length), length);
            g726_free(other);
            // Beyond 14 bits its samples wrap around, where the recommendation limits them.
            for (size_t i = 0; i < speech.size(); i++)
                otherSpeech[i] =
                    speech[i] == 8191 || speech[i] == -8192 ? speech[i] : static_cast<int16_t>(otherSpeech[i] >> 2);
            EXPECT_TRUE(codes == otherCodes);
            EXPECT_TRUE(speech == otherSpeech);
        }
}

} // namespace
