// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>

#include "harness/signals.h"
#include "ryxsc.h"

namespace {

// A state and its work buffer.
struct Block {
    template <class GetSize, class Initialise, class Sample>
    Block(GetSize getSize, Initialise initialise, int order, int hop, int windowLen, const Sample *window) {
        int sizes[3];
        EXPECT_EQ(getSize(order, windowLen, &sizes[0], &sizes[1], &sizes[2]), ryxStsOk);
        bytes.resize(static_cast<size_t>(sizes[0]));
        workBytes.resize(static_cast<size_t>(sizes[2]));
        EXPECT_EQ(initialise(state(), order, hop, windowLen, window, nullptr), ryxStsOk);
    }
    SubbandProcessState *state() { return reinterpret_cast<SubbandProcessState *>(bytes.data()); }
    void *work() { return workBytes.data(); }

    std::vector<std::byte> bytes, workBytes;
};

Block floatBlock(int order, int hop, int windowLen) {
    return {ryxsSubbandProcessGetSize_32f,      ryxsSubbandProcessInit_32f, order, hop, windowLen,
            static_cast<const float *>(nullptr)};
}
Block fixedBlock(int order, int hop, int windowLen, const int16_t *window = nullptr) {
    return {ryxsSubbandProcessGetSize_16s, ryxsSubbandProcessInit_16s, order, hop, windowLen, window};
}

double power(double x) {
    return x * x;
}

TEST(FilterBank, BuiltInBanksGiveBackTheirInput) {
    const struct {
        int order, hop, windowLen;
        double ratio; // signal to error, dB
    } banks[] = {{5, 24, 128, 14.5}, {6, 44, 256, 23}};
    const std::vector<int16_t> speech = signals::speech();
    for (const auto &[order, hop, windowLen, ratio] : banks) {
        Block analysis = floatBlock(order, hop, windowLen), synthesis = analysis;
        Block analysis16 = fixedBlock(order, hop, windowLen), synthesis16 = analysis16;
        std::vector<float> input(speech.begin(), speech.end()), output(speech.size());
        std::vector<int16_t> output16(speech.size());
        for (size_t i = 0; i + static_cast<size_t>(hop) <= speech.size(); i += static_cast<size_t>(hop)) {
            ryx32fc bins[33];
            ryx32sc bins16[33];
            ryxsSubbandAnalysis_32f32fc(&input[i], bins, analysis.state(), analysis.work());
            ryxsSubbandSynthesis_32fc32f(bins, &output[i], synthesis.state(), synthesis.work());
            ryxsSubbandAnalysis_16s32sc_Sfs(&speech[i], bins16, analysis16.state(), 0, analysis16.work());
            ryxsSubbandSynthesis_32sc16s_Sfs(bins16, &output16[i], synthesis16.state(), 0, synthesis16.work());
            const Block moved = synthesis16; // to another address
            synthesis16 = moved;
        }
        const auto delay = static_cast<size_t>(windowLen - hop);
        double energy = 0, error = 0, difference = 0;
        for (size_t i = delay; i < speech.size() - delay; i++) {
            energy += power(input[i - delay]);
            error += power(output[i] - input[i - delay]);
            difference = std::max(difference, std::abs(static_cast<double>(output[i]) - output16[i]));
        }
        EXPECT_GT(10 * std::log10(energy / error), ratio) << "order " << order;
        EXPECT_LT(difference, 8) << "order " << order;
    }
}

int64_t nearest(double x) {
    return static_cast<int64_t>(std::floor(std::clamp(x, -0x1p31, 0x1p31 - 1) + 0.5 + 1e-9));
}
int16_t saturated(int64_t x) {
    return static_cast<int16_t>(std::clamp<int64_t>(x, INT16_MIN, INT16_MAX));
}

// The formulas of both directions in 16 bits, on whole lines.
struct PlainBank {
    std::vector<int16_t> window, line;
    size_t points;

    std::vector<ryx32sc> spectrum(double scale) const {
        std::vector<ryx32sc> bins(points / 2 + 1);
        for (size_t k = 0; k < bins.size(); k++) {
            std::complex<double> bin = 0;
            for (size_t n = 0; n < points; n++) {
                uint32_t sum = 0;
                for (size_t i = n; i < line.size(); i += points)
                    sum += static_cast<uint32_t>(line[i] * window[i]);
                bin += static_cast<double>(static_cast<int32_t>(sum) >> 13) * root(-k * n);
            }
            bins[k] = {static_cast<int32_t>(nearest(bin.real() * scale)),
                       static_cast<int32_t>(nearest(bin.imag() * scale))};
        }
        return bins;
    }
    void accumulate(const std::vector<ryx32sc> &bins, double scale) {
        std::vector<int64_t> y(points);
        for (size_t n = 0; n < points; n++) {
            double sum = bins[0].re + (n % 2 ? -1.0 : 1.0) * bins[points / 2].re;
            for (size_t k = 1; k < points / 2; k++)
                sum += 2 * (std::complex<double>(bins[k].re, bins[k].im) * root(k * n)).real();
            y[n] = nearest(sum * scale / static_cast<double>(points));
        }
        for (size_t k = 0; k < line.size(); k++)
            line[k] = saturated(line[k] + ((y[k % points] * window[line.size() - 1 - k] + 4096) >> 13));
    }
    std::complex<double> root(size_t k) const {
        return std::polar(1.0, 2 * M_PI * static_cast<double>(k % points) / static_cast<double>(points));
    }
};

// Windows and spectra reach the limits of their types, so that sums wrap, samples saturate, and terms need 64 bits.
TEST(FilterBank, SixteenBitsEqualTheFormulas) {
    std::mt19937 random(132);
    for (int trial = 0; trial < 240; trial++) {
        const int order = 1 + trial % 7, points = 1 << order,
                  hop = 1 + static_cast<int>(random() % static_cast<unsigned>(points));
        const int windowLen = points * static_cast<int>(1 + random() % 5), bits = 12 + static_cast<int>(random() % 21);
        std::vector<int16_t> window(static_cast<size_t>(windowLen));
        for (auto &tap : window)
            tap = trial % 5 == 0 ? INT16_MIN : static_cast<int16_t>(random());
        Block analysis = fixedBlock(order, hop, windowLen, window.data()), synthesis = analysis;
        PlainBank past{window, std::vector<int16_t>(window.size()), static_cast<size_t>(points)}, future = past;
        const auto shift = [&](PlainBank &bank) {
            std::rotate(bank.line.begin(), bank.line.begin() + hop, bank.line.end());
            return bank.line.end() - hop;
        };
        for (int frame = 0; frame < 8; frame++) {
            const int sf = static_cast<int>(random() % 4);
            std::vector<int16_t> in(static_cast<size_t>(hop)), out(in.size());
            std::generate(in.begin(), in.end(), [&] { return saturated(static_cast<int16_t>(random()) * 2); });
            std::vector<ryx32sc> bins(static_cast<size_t>(points / 2 + 1));
            ASSERT_EQ(ryxsSubbandAnalysis_16s32sc_Sfs(in.data(), bins.data(), analysis.state(), sf, analysis.work()),
                      0);
            std::copy(in.begin(), in.end(), shift(past));
            const std::vector<ryx32sc> wanted = past.spectrum(std::exp2(-sf));
            ASSERT_EQ(std::memcmp(bins.data(), wanted.data(), bins.size() * sizeof bins[0]), 0) << "trial " << trial;

            for (auto &bin : bins)
                bin = {static_cast<int32_t>(random()) >> (32 - bits), static_cast<int32_t>(random()) >> (32 - bits)};
            ASSERT_EQ(
                ryxsSubbandSynthesis_32sc16s_Sfs(bins.data(), out.data(), synthesis.state(), sf, synthesis.work()), 0);
            std::fill(shift(future), future.line.end(), int16_t{0});
            future.accumulate(bins, std::exp2(-sf));
            ASSERT_TRUE(std::equal(out.begin(), out.end(), future.line.begin())) << "trial " << trial;
        }
    }
}

// The caller's fault, but a size that was overwritten must not become a write elsewhere.
TEST(FilterBank, RefusesSizesThatWereOverwritten) {
    EXPECT_EQ(ryxsSubbandProcessGetSize_32f(1, 1, nullptr, nullptr, nullptr), ryxStsNullPtr); // looked at first
    EXPECT_EQ(ryxsSubbandProcessGetSize_16s(1, 1, nullptr, nullptr, nullptr), ryxStsNullPtr);
    constexpr size_t transformOrder =
        9; // the word behind the transform's identifier; sizes and offsets are words 0 to 4
    const auto refuses = [](Block intact, size_t word, int32_t value, auto... calls) {
        const size_t boundary = -reinterpret_cast<uintptr_t>(intact.bytes.data()) & 15;
        std::byte *const at = intact.bytes.data() + boundary + 4 * word;
        if (!std::memcmp(at, &value, sizeof value)) return;
        std::memcpy(at, &value, sizeof value);
        const std::vector<std::byte> before = intact.bytes;
        const auto expect = [&](auto call) {
            EXPECT_EQ(call(intact), ryxStsBadContext) << "word " << word << ", value " << value;
        };
        (expect(calls), ...);
        EXPECT_TRUE(intact.bytes == before);
    };
    std::vector<float> samples(64);
    std::vector<int16_t> samples16(64);
    ryx32fc bins[33] = {};
    ryx32sc bins16[33] = {};
    for (const size_t word : {size_t{0}, size_t{1}, size_t{2}, size_t{3}, size_t{4}, transformOrder})
        for (const int32_t value : {INT32_MIN, -64, -1, 0, 1, 3, 7, 31, 60, 65, 1 << 20, INT32_MAX}) {
            if (word == 2 && value > 0 && value <= 32) continue; // a hop like any other
            refuses(
                floatBlock(5, 24, 128), word, value,
                [&](Block &b) { return ryxsSubbandAnalysis_32f32fc(samples.data(), bins, b.state(), b.work()); },
                [&](Block &b) { return ryxsSubbandSynthesis_32fc32f(bins, samples.data(), b.state(), b.work()); });
            refuses(
                fixedBlock(5, 24, 128), word, value,
                [&](Block &b) {
                    return ryxsSubbandAnalysis_16s32sc_Sfs(samples16.data(), bins16, b.state(), 0, b.work());
                },
                [&](Block &b) {
                    return ryxsSubbandSynthesis_32sc16s_Sfs(bins16, samples16.data(), b.state(), 0, b.work());
                });
        }
}

} // namespace
