// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstring>

#include "harness/signals.h"
#include "reference/g722.h"
#include "ryxsc.h"

namespace {

using Samples = std::vector<int16_t>;
constexpr size_t length = 8000;
constexpr size_t blockBytes = 144;

// A state block at a chosen distance from a 16-byte boundary.
struct Block {
    alignas(16) unsigned char bytes[blockBytes + 16];
    size_t offset;

    explicit Block(size_t distance) : offset(distance % 16) { ryxsSBADPCMEncodeInit_G722_16s(get()); }
    SBADPCMState_G722 *get() { return reinterpret_cast<SBADPCMState_G722 *>(bytes + offset); }
    const unsigned char *aligned() const { return bytes + (offset ? 16 : 0); }
};

// Runs work(from, length of the block) over random blocks.
template <class Work> void inBlocks(unsigned seed, Work work) {
    std::mt19937 random(seed);
    size_t done = 0;
    for (const size_t block : signals::randomBlocks(length, 2, 1400, random)) {
        ASSERT_EQ(work(done, static_cast<int>(block)), ryxStsOk);
        done += block;
    }
}

TEST(G722, QmfsEqualThePlainFormInAnyBlocks) {
    for (unsigned seed = 1; const auto &[name, input] : signals::nasty(length, 11)) {
        SCOPED_TRACE(name);
        int16_t delays[4][24] = {};
        Samples bands(length), speech(length), plainBands(length), plainSpeech(length);
        inBlocks(++seed, [&](size_t i, int n) { return ryxsQMFEncode_G722_16s(&input[i], &bands[i], n, delays[0]); });
        inBlocks(++seed, [&](size_t i, int n) { return ryxsQMFDecode_G722_16s(&input[i], &speech[i], n, delays[1]); });
        for (size_t i = 0; i < length; i += 2) {
            reference::g722::transmitQmf(&input[i], &plainBands[i], delays[2]);
            reference::g722::receiveQmf(&input[i], &plainSpeech[i], delays[3]);
        }
        ASSERT_EQ(bands, plainBands);
        ASSERT_EQ(speech, plainSpeech);
        ASSERT_TRUE(std::equal(delays[0], delays[0] + 48, delays[2]));
    }
}

TEST(G722, CodecEqualsThePlainFormInAnyBlocksAndModes) {
    for (unsigned seed = 1; const auto &[name, input] : signals::nasty(length, 12)) {
        SCOPED_TRACE(name);
        Block encoder(seed), decoder(seed + 7);
        reference::g722::Codec plainEncoder, plainDecoder;
        Samples codes(length), output(length), plainCodes(length), plainOutput(length);
        inBlocks(++seed,
                 [&](size_t i, int n) { return ryxsSBADPCMEncode_G722_16s(&input[i], &codes[i], n, encoder.get()); });
        // The mode changes from block to block; whatever the mode, the state follows the encoder's.
        inBlocks(++seed, [&](size_t i, int n) {
            const auto mode = static_cast<int16_t>(i % 5);
            for (size_t k = i; k < i + static_cast<size_t>(n); k += 2) {
                plainEncoder.encode(&input[k], &plainCodes[k]);
                plainDecoder.decode(&codes[k], &plainOutput[k], mode);
            }
            return ryxsSBADPCMDecode_G722_16s(&codes[i], &output[i], n, mode, decoder.get());
        });
        ASSERT_EQ(codes, plainCodes);
        ASSERT_EQ(output, plainOutput);
        ASSERT_EQ(std::memcmp(encoder.aligned(), decoder.aligned(), 128), 0);
    }
}

// Runs of one code drive the predictors to their limits; concealed frames put any signal into their history.
TEST(G722, ArbitraryCodesAndConcealmentDecodeAsInThePlainForm) {
    std::mt19937 random(13);
    for (unsigned trial = 0; trial < 40; trial++) {
        Block decoder(trial);
        reference::g722::Codec plain;
        Samples codes, output(length), plainOutput(length);
        while (codes.size() < length) {
            const auto run = 1 + random() % (trial < 20 ? 200 : 3);
            const auto low = static_cast<int16_t>(random()), high = static_cast<int16_t>(random());
            for (unsigned i = 0; i < run; i++)
                codes.insert(codes.end(), {low, high});
        }
        const auto mode = static_cast<int16_t>(1 + trial % 3);
        inBlocks(trial, [&](size_t i, int n) {
            for (size_t k = i; k < i + static_cast<size_t>(n); k += 2)
                plain.decode(&codes[k], &plainOutput[k], mode);
            const ryxStatus status = ryxsSBADPCMDecode_G722_16s(&codes[i], &output[i], n, mode, decoder.get());
            if (trial % 2 == 0 || status != ryxStsOk) return status;
            const int16_t recon[2] = {static_cast<int16_t>(random()), static_cast<int16_t>(random())};
            const auto prediction = static_cast<int16_t>(random());
            const int reset = random() % 3 == 0 ? -1 : 0;
            plain.updateState(recon, prediction, reset);
            return ryxsSBADPCMDecodeStateUpdate_G722_16s(recon, prediction, reset, decoder.get());
        });
        ASSERT_EQ(output, plainOutput) << "trial " << trial;
    }
}

TEST(G722, InPlaceEqualsOutOfPlaceAndStatesMayMove) {
    const Samples input = signals::speech();
    const int n = static_cast<int>(length);
    int16_t delays[4][24] = {};
    Block states[4] = {Block(1), Block(5), Block(9), Block(13)};
    Samples bands(length), codes(length), decoded(length), speech(length);
    ryxsQMFEncode_G722_16s(input.data(), bands.data(), n, delays[0]);
    ryxsSBADPCMEncode_G722_16s(bands.data(), codes.data(), n, states[0].get());
    ryxsSBADPCMDecode_G722_16s(codes.data(), decoded.data(), n, 1, states[1].get());
    ryxsQMFDecode_G722_16s(decoded.data(), speech.data(), n, delays[1]);

    Samples work(input.begin(), input.begin() + n);
    ryxsQMFEncode_G722_16s(work.data(), work.data(), n, delays[2]);
    ryxsSBADPCMEncode_G722_16s(work.data(), work.data(), n, states[2].get());
    for (int done = 0; done < n; done += n / 4) {
        ryxsSBADPCMDecode_G722_16s(&work[static_cast<size_t>(done)], &work[static_cast<size_t>(done)], n / 4, 1,
                                   states[3].get());
        const Block moved = states[3]; // to another address at the same distance from a boundary
        states[3] = Block(0);
        states[3] = moved;
    }
    ryxsQMFDecode_G722_16s(work.data(), work.data(), n, delays[3]);
    EXPECT_EQ(work, speech);
}

// No sequence of calls leads there, so the log scale factor is put into the block by hand.
TEST(G722, StateUpdateRefusesABrokenScaleFactorAndOnlyHalvesIt) {
    Block decoder(3);
    const int16_t broken = -6, recon[2] = {100, 200};
    constexpr size_t nbh = 38; // behind the boundary
    std::memcpy(decoder.bytes + 16 + nbh, &broken, sizeof broken);
    Block expected = decoder;
    const int16_t halved = -3;
    std::memcpy(expected.bytes + 16 + nbh, &halved, sizeof halved);
    EXPECT_EQ(ryxsSBADPCMDecodeStateUpdate_G722_16s(recon, 5, 1, decoder.get()), ryxStsBadIndex);
    EXPECT_EQ(std::memcmp(decoder.bytes, expected.bytes, sizeof decoder.bytes), 0);
}

} // namespace
