// SPDX-License-Identifier: BSD-2-Clause
// LSP quantisation of ITU-T G.729 in frames of 10 ms, and LSF decoding of ITU-T G.723.1 in frames of 30 ms, over the
// LSFs of recorded speech.
#include <algorithm>
#include <array>
#include <cmath>
#include <type_traits>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int order = 10;
constexpr int frameLength = 80;
constexpr double frameSeconds = 0.010;
constexpr Workload lsfFrame{.inputLength = order, .seconds = frameSeconds, .unit = "frame"};

template <class Value> struct History {
    std::array<Value, 40> values;

    History() {
        for (size_t i = 0; i < values.size(); i++)
            values[i] = static_cast<Value>(static_cast<double>(i % order + 1) * 0.2855993 * one);
    }
    operator Value *() { return values.data(); }

    static constexpr double one = std::is_same_v<Value, float> ? 1 : 8192;
};

std::array<float, order + 1> autocorrelation(const int16_t *speech, int length) {
    std::array<float, order + 1> r;
    for (int lag = 0; lag <= order; lag++) {
        double sum = lag == 0 ? 1e4 : 0; // white noise for silence
        for (int n = lag; n < length; n++)
            sum += static_cast<double>(speech[n]) * speech[n - lag];
        r[static_cast<size_t>(lag)] = static_cast<float>(sum * std::exp(-lag * lag * 0.0011));
    }
    return r;
}

// LSPs of the frames of the speech, as cosines.
const std::vector<float> &speechLsps() {
    static const std::vector<float> lsps = [] {
        constexpr int window = 240;
        std::vector<float> all;
        std::array<float, order> lsp = {0.96F, 0.84F, 0.65F, 0.41F, 0.14F, -0.14F, -0.41F, -0.65F, -0.84F, -0.96F};
        const std::vector<int16_t> &speech = speech8k();
        for (size_t start = 0; start + window <= speech.size(); start += frameLength) {
            const auto r = autocorrelation(&speech[start], window);
            float lpc[order + 1], reflection[order], energy;
            require(ryxsLevinsonDurbin_G729_32f(r.data(), order, lpc, reflection, &energy));
            const std::array<float, order> previous = lsp;
            require(ryxsLPCToLSP_G729_32f(lpc, previous.data(), lsp.data()));
            all.insert(all.end(), lsp.begin(), lsp.end());
        }
        return all;
    }();
    return lsps;
}

std::vector<float> speechLsfs() {
    std::vector<float> lsfs = speechLsps();
    for (float &value : lsfs)
        value = std::acos(value);
    return lsfs;
}

std::vector<int16_t> scaled(const std::vector<float> &values, float one) {
    std::vector<int16_t> words(values.size());
    std::transform(values.begin(), values.end(), words.begin(),
                   [one](float x) { return static_cast<int16_t>(std::clamp(one * x, -32768.0F, 32767.0F)); });
    return words;
}

// Runs quantise(in, history, out, indices) over the speech.
template <class Value, class Quantise>
void measureQuantiser(benchmark::State &run, const std::vector<Value> &input, Quantise quantise) {
    History<Value> history;
    Value quantised[order];
    int16_t indices[4];
    measure(run, lsfFrame, input, [&](const Value *in) { return quantise(in, history, quantised, indices); });
}

// The indices of the speech, four words a frame.
template <class Quantise> std::vector<int16_t> speechIndices(Quantise quantise) {
    const std::vector<int16_t> lsfs = scaled(speechLsfs(), 8192);
    History<int16_t> history;
    int16_t quantised[order];
    std::vector<int16_t> all(lsfs.size() / order * 4);
    for (size_t i = 0; i < all.size() / 4; i++)
        require(quantise(&lsfs[order * i], history, quantised, &all[4 * i]));
    return all;
}

template <class Value, class Decode, class Quantise>
void measureDecoder(benchmark::State &run, Decode decode, Quantise quantise) {
    constexpr Workload work{.inputLength = 4, .seconds = frameSeconds, .unit = "frame"};
    History<Value> history;
    Value lsf[order];
    measure(run, work, speechIndices(quantise), [&](const int16_t *in) { return decode(in, history, lsf); });
}

template <class Value, class Erased>
void measureErased(benchmark::State &run, const std::vector<Value> &lsfs, Erased erased) {
    History<Value> history;
    measure(run, lsfFrame, lsfs, [&](const Value *in) { return erased(int16_t{0}, history, in); });
}

void decodeG723(benchmark::State &run, int erased) {
    constexpr Workload work{.inputLength = 3, .seconds = 0.030, .unit = "frame"};
    std::vector<uint16_t> indices;
    for (const int16_t sample : speech8k())
        indices.push_back(static_cast<uint16_t>(sample & 255));
    int16_t vectors[2][order] = {{3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718}};
    int current = 0;
    measure(run, work, indices, [&](const uint16_t *in) {
        current ^= 1;
        return ryxsLSFDecode_G723_16s(in, vectors[current ^ 1], erased, vectors[current]);
    });
}

const Registration registration([] {
    using benchmark::State;
    addCase("G729/lsp_quant/16s",
            [](State &run) { measureQuantiser<int16_t>(run, scaled(speechLsps(), 32768), ryxsLSPQuant_G729_16s); });
    addCase("G729/lsf_quant/16s",
            [](State &run) { measureQuantiser<int16_t>(run, scaled(speechLsfs(), 8192), ryxsLSFQuant_G729_16s); });
    addCase("G729B/lsf_quant/16s",
            [](State &run) { measureQuantiser<int16_t>(run, scaled(speechLsfs(), 8192), ryxsLSFQuant_G729B_16s); });
    addCase("G729B/lsf_quant/32f",
            [](State &run) { measureQuantiser<float>(run, speechLsfs(), ryxsLSFQuant_G729B_32f); });
    addCase("G729E/lsp_quant/16s",
            [](State &run) { measureQuantiser<int16_t>(run, scaled(speechLsps(), 32768), ryxsLSPQuant_G729E_16s); });
    addCase("G729E/lsp_quant/32f",
            [](State &run) { measureQuantiser<float>(run, speechLsps(), ryxsLSPQuant_G729E_32f); });
    addCase("G729/lsf_decode/16s",
            [](State &run) { measureDecoder<int16_t>(run, ryxsLSFDecode_G729_16s, ryxsLSFQuant_G729_16s); });
    addCase("G729/lsf_decode/32f",
            [](State &run) { measureDecoder<float>(run, ryxsLSFDecode_G729_32f, ryxsLSFQuant_G729_16s); });
    addCase("G729B/lsf_decode/16s",
            [](State &run) { measureDecoder<int16_t>(run, ryxsLSFDecode_G729B_16s, ryxsLSFQuant_G729B_16s); });
    addCase("G729B/lsf_decode/32f",
            [](State &run) { measureDecoder<float>(run, ryxsLSFDecode_G729B_32f, ryxsLSFQuant_G729B_16s); });
    addCase("G729/lsf_decode_erased/16s",
            [](State &run) { measureErased<int16_t>(run, scaled(speechLsfs(), 8192), ryxsLSFDecodeErased_G729_16s); });
    addCase("G729/lsf_decode_erased/32f",
            [](State &run) { measureErased<float>(run, speechLsfs(), ryxsLSFDecodeErased_G729_32f); });
    addCase("G723/lsf_decode/good", decodeG723, 0);
    addCase("G723/lsf_decode/erased", decodeG723, 1);
});

} // namespace
