// SPDX-License-Identifier: BSD-2-Clause
// Calls on many threads at once, each with its own states and buffers.
#include <gtest/gtest.h>
#include <random>
#include <thread>
#include <vector>

#include "frame/variant.h"
#include "ryxcore.h"
#include "ryxsc.h"

namespace {

using Samples = std::vector<int16_t>;

template <class State> State *at(std::vector<std::byte> &memory) {
    return reinterpret_cast<State *>(memory.data());
}

Samples throughG722(Samples x) {
    std::vector<std::byte> encoder(144), decoder(144);
    int16_t transmit[24] = {}, receive[24] = {};
    ryxsSBADPCMEncodeInit_G722_16s(at<SBADPCMState_G722>(encoder));
    ryxsSBADPCMDecodeInit_G722_16s(at<SBADPCMState_G722>(decoder));
    for (size_t i = 0; i < x.size(); i += 160) {
        int16_t *const block = &x[i];
        ryxsQMFEncode_G722_16s(block, block, 160, transmit);
        ryxsSBADPCMEncode_G722_16s(block, block, 160, at<SBADPCMState_G722>(encoder));
        ryxsSBADPCMDecode_G722_16s(block, block, 160, ryxG722Mode64k, at<SBADPCMState_G722>(decoder));
        ryxsQMFDecode_G722_16s(block, block, 160, receive);
    }
    return x;
}

Samples throughG726(Samples x) {
    std::vector<std::byte> encoder(88), decoder(92);
    ryxsEncodeInit_G726_16s8u(at<EncoderState_G726>(encoder), ryxG726Rate32k);
    ryxsDecodeInit_G726_8u16s(at<DecoderState_G726>(decoder), ryxG726Rate32k, ryxG726ALaw);
    std::vector<uint8_t> codes(x.size());
    const int len = static_cast<int>(x.size());
    ryxsEncode_G726_16s8u(at<EncoderState_G726>(encoder), x.data(), codes.data(), len);
    ryxsDecode_G726_8u16s(at<DecoderState_G726>(decoder), codes.data(), x.data(), len);
    return x;
}

constexpr unsigned threadCount = 8;

// Whichever thread comes first detects what the processor has; memory is handed out to all of them.
TEST(Threads, FindTheSameProcessorAndMemoryOfTheirOwn) {
    std::vector<uint64_t> features(threadCount);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < threadCount; ++i)
        threads.emplace_back([&, i] {
            features[i] = ryxGetEnabledCpuFeatures();
            for (int length = 1; length < 100; ++length) {
                auto *const memory = static_cast<char *>(ryxMalloc(length));
                memory[0] = memory[length - 1] = static_cast<char>(i);
                ryxFree(memory);
            }
        });
    for (auto &thread : threads)
        thread.join();
    for (const uint64_t found : features)
        EXPECT_EQ(found, ryxGetEnabledCpuFeatures());
}

TEST(Threads, OnTheirOwnStatesGiveWhatOneThreadGives) {
    ryxscInitialise(); // what the loader does for the shared object
    std::vector<Samples> inputs(threadCount), outputs(threadCount);
    for (unsigned i = 0; i < threadCount; ++i) {
        std::mt19937 random(i);
        for (int n = 0; n < 160 * 100; ++n)
            inputs[i].push_back(static_cast<int16_t>(random()));
    }
    const auto codec = [](unsigned i) { return i % 2 ? throughG722 : throughG726; };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < threadCount; ++i)
        threads.emplace_back([&, i] { outputs[i] = codec(i)(inputs[i]); });
    for (auto &thread : threads)
        thread.join();
    for (unsigned i = 0; i < threadCount; ++i)
        EXPECT_TRUE(outputs[i] == codec(i)(inputs[i])) << i;
}

} // namespace
