// SPDX-License-Identifier: BSD-2-Clause
// Sub-band filter bank of the echo canceller: frames of the two built-in banks at 8 kHz.
#include "frame/implementations.h"
#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

struct Sizes {
    int order, hop, windowLen;

    int bins() const { return (1 << order) / 2 + 1; }
    Workload frame(int inputLength) const {
        return {
            .inputLength = inputLength, .seconds = hop / 8000.0, .units = static_cast<double>(hop), .unit = "sample"};
    }
};

struct Bank {
    template <class GetSize, class Initialise> Bank(const Sizes &sizes, GetSize getSize, Initialise initialise) {
        int stateSize, initSize, workSize;
        require(getSize(sizes.order, sizes.windowLen, &stateSize, &initSize, &workSize));
        state_.resize(static_cast<size_t>(stateSize));
        work_.resize(static_cast<size_t>(workSize));
        require(initialise(state(), sizes.order, sizes.hop, sizes.windowLen, nullptr, nullptr));
    }

    SubbandProcessState *state() { return reinterpret_cast<SubbandProcessState *>(state_.data()); }
    void *work() { return work_.data(); }

private:
    std::vector<std::byte> state_, work_;
};

struct FloatBank : Bank {
    explicit FloatBank(const Sizes &sizes) : Bank(sizes, ryxsSubbandProcessGetSize_32f, ryxsSubbandProcessInit_32f) {}
};
struct FixedBank : Bank {
    explicit FixedBank(const Sizes &sizes) : Bank(sizes, ryxsSubbandProcessGetSize_16s, ryxsSubbandProcessInit_16s) {}
};

const std::vector<float> &floatSpeech() {
    static const std::vector<float> speech(speech8k().begin(), speech8k().end());
    return speech;
}

// The spectra of all speech, one frame's bins after the other's.
template <class Bin, class Sample, class Analyse>
std::vector<Bin> spectraOf(const Sizes &sizes, const std::vector<Sample> &speech, Analyse analyse) {
    const size_t frames = speech.size() / static_cast<size_t>(sizes.hop), bins = static_cast<size_t>(sizes.bins());
    std::vector<Bin> spectra(frames * bins);
    for (size_t frame = 0; frame < frames; frame++)
        require(analyse(&speech[frame * static_cast<size_t>(sizes.hop)], &spectra[frame * bins]));
    return spectra;
}

void analysisFloat(benchmark::State &run, Sizes sizes) {
    FloatBank bank(sizes);
    std::vector<ryx32fc> bins(static_cast<size_t>(sizes.bins()));
    measure(run, sizes.frame(sizes.hop), floatSpeech(),
            [&](const float *in) { return ryxsSubbandAnalysis_32f32fc(in, bins.data(), bank.state(), bank.work()); });
}

void analysisFixed(benchmark::State &run, Sizes sizes) {
    FixedBank bank(sizes);
    std::vector<ryx32sc> bins(static_cast<size_t>(sizes.bins()));
    measure(run, sizes.frame(sizes.hop), speech8k(), [&](const int16_t *in) {
        return ryxsSubbandAnalysis_16s32sc_Sfs(in, bins.data(), bank.state(), 0, bank.work());
    });
}

void synthesisFloat(benchmark::State &run, Sizes sizes) {
    FloatBank analysis(sizes), bank(sizes);
    const auto spectra = spectraOf<ryx32fc>(sizes, floatSpeech(), [&](const float *in, ryx32fc *out) {
        return ryxsSubbandAnalysis_32f32fc(in, out, analysis.state(), analysis.work());
    });
    std::vector<float> speech(static_cast<size_t>(sizes.hop));
    measure(run, sizes.frame(sizes.bins()), spectra, [&](const ryx32fc *in) {
        return ryxsSubbandSynthesis_32fc32f(in, speech.data(), bank.state(), bank.work());
    });
}

void synthesisFixed(benchmark::State &run, Sizes sizes, decltype(&ryxsSubbandSynthesis_32sc16s_Sfs) synthesis) {
    FixedBank analysis(sizes), bank(sizes);
    const auto spectra = spectraOf<ryx32sc>(sizes, speech8k(), [&](const int16_t *in, ryx32sc *out) {
        return ryxsSubbandAnalysis_16s32sc_Sfs(in, out, analysis.state(), 0, analysis.work());
    });
    std::vector<int16_t> speech(static_cast<size_t>(sizes.hop));
    measure(run, sizes.frame(sizes.bins()), spectra,
            [&](const ryx32sc *in) { return synthesis(in, speech.data(), bank.state(), 0, bank.work()); });
}

const Registration registration([] {
    for (const Sizes sizes : {Sizes{5, 24, 128}, Sizes{6, 44, 256}}) {
        const std::string order = "/order" + std::to_string(sizes.order);
        addCase("EC/subband_analysis_float" + order, analysisFloat, sizes);
        addCase("EC/subband_synthesis_float" + order, synthesisFloat, sizes);
        addCase("EC/subband_analysis_16bit" + order, analysisFixed, sizes);
        addCase("EC/subband_synthesis_16bit" + order + "/u8", synthesisFixed, sizes,
                ryxsSubbandSynthesis_32sc16s_Sfs_u8);
        addCase("EC/subband_synthesis_16bit" + order + "/n8", synthesisFixed, sizes,
                ryxsSubbandSynthesis_32sc16s_Sfs_n8);
    }
});

} // namespace
