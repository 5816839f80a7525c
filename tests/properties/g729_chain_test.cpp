// SPDX-License-Identifier: BSD-2-Clause
// Recorded speech through the whole LSP path of ITU-T G.729, with erased frames in the decoder, against recorded results:
// tests/data/g729_chain.txt has a line a frame (erased, four indices, ten decoded LSFs, eleven LP coefficients of the first
// subframe). To record anew after a deliberate change, run this test with RYXSC_RECORD set to a file name.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <numbers>
#include <sstream>

#include "common/fixed_point.h"
#include "harness/signals.h"
#include "reference/narrowband_speech.h"
#include "ryxsc.h"

namespace {

constexpr size_t frameLength = 80, windowLength = 240, order = 10;

// Half a Hamming window and a quarter of a cosine, Q15.
std::array<int16_t, windowLength> analysisWindow() {
    std::array<int16_t, windowLength> window;
    for (size_t n = 0; n < windowLength; n++) {
        const double hamming = 0.54 - 0.46 * std::cos(2 * std::numbers::pi * static_cast<double>(n) / 399);
        const double cosine = std::cos(2 * std::numbers::pi * (static_cast<double>(n) - 200) / 159);
        window[n] = static_cast<int16_t>(std::lround(32767 * (n < 200 ? hamming : cosine)));
    }
    return window;
}

// Normalised so that the first value has its highest bit in place 30.
std::array<int32_t, order + 1> autocorrelation(const int16_t *speech) {
    static const auto window = analysisWindow();
    std::array<int64_t, order + 1> sums = {};
    for (size_t k = 0; k <= order; k++)
        for (size_t n = k; n < windowLength; n++)
            sums[k] += 2 * ryxsc::mult_r(speech[n], window[n]) * ryxsc::mult_r(speech[n - k], window[n - k]);
    sums[0]++; // silence
    int shift = 0;
    while ((sums[0] << shift) < (int64_t{1} << 30))
        shift++;
    while (shift <= 0 && (sums[0] >> -shift) > ryxsc::max32)
        shift--;
    std::array<int32_t, order + 1> result;
    for (size_t k = 0; k <= order; k++)
        result[k] = static_cast<int32_t>(shift >= 0 ? sums[k] << shift : sums[k] >> -shift);
    return result;
}

template <class Values> void append(std::ostream &line, const Values &values) {
    for (const int16_t value : values)
        line << ' ' << value;
}

class Chain {
public:
    Chain() {
        for (size_t k = 0; k < 4; k++)
            for (auto *history : {&encoderHistory_, &decoderHistory_})
                std::copy_n(startResiduals, order, history->begin() + static_cast<std::ptrdiff_t>(k * order));
        ryxsLSFToLSP_G729_16s(startResiduals, lsp_.data());
        std::copy_n(startResiduals, order, decodedLsf_.begin());
        decodedLsp_ = lsp_;
    }

    std::string frame(const int16_t *speech, bool erased) {
        analyse(speech);
        std::array<int16_t, order> lsf, quantised;
        EXPECT_EQ(ryxsLSPToLSF_G729_16s(lsp_.data(), lsf.data()), ryxStsOk);
        EXPECT_EQ(ryxsLSFQuant_G729_16s(lsf.data(), encoderHistory_.data(), quantised.data(), indices_), ryxStsOk);
        const std::array<int16_t, order + 1> lpc = decode(erased);
        if (!diverged_) {
            EXPECT_EQ(decodedLsf_, quantised);
        }
        std::ostringstream line;
        line << erased;
        append(line, indices_);
        append(line, decodedLsf_);
        append(line, lpc);
        return line.str();
    }

private:
    static constexpr int16_t startResiduals[order] = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};

    void analyse(const int16_t *speech) {
        auto r = autocorrelation(speech);
        EXPECT_EQ(ryxsLagWindow_G729_32s_I(&r[1], order), ryxStsOk);
        int16_t reflection[order], energy;
        const ryxStatus status = ryxsLevinsonDurbin_G729_32s16s(r.data(), order, lpc_, reflection, &energy);
        EXPECT_TRUE(status == ryxStsOk || status == ryxStsOverflow); // the warning leaves the previous filter
        const auto previous = lsp_;
        EXPECT_EQ(ryxsLPCToLSP_G729_16s(lpc_, previous.data(), lsp_.data()), ryxStsOk);
    }

    std::array<int16_t, order + 1> decode(bool erased) {
        if (erased) {
            EXPECT_EQ(ryxsLSFDecodeErased_G729_16s(mode_, decoderHistory_.data(), decodedLsf_.data()), ryxStsOk);
            diverged_ = true;
        } else {
            EXPECT_GE(ryxsLSFDecode_G729_16s(indices_, decoderHistory_.data(), decodedLsf_.data()), ryxStsOk);
            mode_ = indices_[0];
        }
        std::array<int16_t, order> lsp, middle;
        std::array<int16_t, order + 1> lpc;
        EXPECT_EQ(ryxsLSFToLSP_G729_16s(decodedLsf_.data(), lsp.data()), ryxStsOk);
        EXPECT_EQ(ryxsInterpolate_G729_16s(decodedLsp_.data(), lsp.data(), middle.data(), order), ryxStsOk);
        EXPECT_EQ(ryxsLSPToLPC_G729_16s(middle.data(), lpc.data()), ryxStsOk);
        decodedLsp_ = lsp;
        return lpc;
    }

    std::array<int16_t, 40> encoderHistory_, decoderHistory_;
    std::array<int16_t, order> lsp_, decodedLsf_, decodedLsp_;
    int16_t lpc_[order + 1] = {4096}, indices_[4] = {}, mode_ = 0;
    bool diverged_ = false; // the first erased frame is behind
};

TEST(G729Chain, SpeechWithErasedFramesGivesTheRecordedResults) {
    const std::vector<int16_t> speech = narrowbandSpeech();
    const char *recording = std::getenv("RYXSC_RECORD");
    std::ofstream record(recording ? recording : "/dev/null");
    std::ifstream recorded(RYXSC_TEST_DATA "/g729_chain.txt");
    std::mt19937 random(729);
    Chain chain;
    size_t frames = 0;
    for (size_t start = 0; start + windowLength <= speech.size() && frames < 400; start += frameLength, frames++) {
        const std::string line = chain.frame(&speech[start], random() % 100 < 3);
        record << line << '\n';
        std::string expected;
        ASSERT_TRUE(recording || std::getline(recorded, expected)) << "frame " << frames;
        if (!recording) {
            ASSERT_EQ(line, expected) << "frame " << frames;
        }
    }
    EXPECT_EQ(frames, 400u);
}

} // namespace
