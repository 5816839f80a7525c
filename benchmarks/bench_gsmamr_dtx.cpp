// SPDX-License-Identifier: BSD-2-Clause
// Discontinuous transmission of GSM-AMR: what an encoder calls once per frame of 20 ms, and the silence descriptor.
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int frameLength = 160;
constexpr double frameSeconds = 0.020;
constexpr Workload frame{.inputLength = frameLength, .seconds = frameSeconds};

void handler(benchmark::State &run) {
    int16_t hangover = 7, elapsed = 0, mode = 12, flag = 0;
    measure(run, frame, speech8k(), [&](const int16_t *in) {
        return ryxsEncDTXHandler_GSMAMR_16s(&hangover, &elapsed, &mode, &flag, std::abs(in[0]) > 100);
    });
}

template <class Function> void buffer(benchmark::State &run, Function *function) {
    constexpr int16_t lsp[10] = {30000, 26000, 21000, 15000, 8000, 0, -8000, -15000, -21000, -26000};
    int16_t newest = 0, lsps[80] = {}, logEnergies[8] = {};
    measure(run, frame, speech8k(), [&](const int16_t *in) { return function(in, lsp, &newest, lsps, logEnergies); });
}

// Histories of LSPs around the frequencies of a flat spectrum, which speech moves by up to 150 Hz.
std::vector<int16_t> lspHistories() {
    std::vector<int16_t> lsps;
    const std::vector<int16_t> &speech = speech8k();
    for (size_t i = 0; i + 10 <= speech.size(); i += 10)
        for (size_t k = 0; k < 10; k++) {
            const double hertz = 4000.0 * static_cast<double>(k + 1) / 11 + 150 * speech[i + k] / 32768.0;
            lsps.push_back(static_cast<int16_t>(32767 * std::cos(std::numbers::pi * hertz / 4000)));
        }
    return lsps;
}

void silenceDescriptor(benchmark::State &run) {
    int16_t logEnergy, initial, indices[3], past[4], past122[4];
    measure(run, {.inputLength = 80, .seconds = 8 * frameSeconds}, lspHistories(), [&](const int16_t *in) {
        return ryxsEncDTXSID_GSMAMR_16s(in, in, &logEnergy, &initial, indices, past, past122, 1);
    });
}

const Registration registration([] {
    addCase("GSMAMR/dtx_handler", handler);
    addCase("GSMAMR/dtx_buffer/encoder", buffer<decltype(ryxsEncDTXBuffer_GSMAMR_16s)>, ryxsEncDTXBuffer_GSMAMR_16s);
    addCase("GSMAMR/dtx_buffer/decoder", buffer<decltype(ryxsDecDTXBuffer_GSMAMR_16s)>, ryxsDecDTXBuffer_GSMAMR_16s);
    addCase("GSMAMR/dtx_sid", silenceDescriptor);
});

} // namespace
