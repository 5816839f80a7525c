// SPDX-License-Identifier: BSD-2-Clause
// ISP conversions and ISF quantisers of AMR-WB in frames of 20 ms, over the LP filters of recorded speech.
#include <algorithm>
#include <array>

#include "frame/implementations.h"
#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int order = 16;

// What a function takes per frame.
constexpr Workload frameOf(int elements) {
    return {.inputLength = elements, .seconds = 0.020, .unit = "frame"};
}

const std::vector<int16_t> &coefficients() {
    static const std::vector<int16_t> all = [] {
        std::vector<int16_t> joined;
        for (const celp::Coefficients &filter : celp::analyseFilters(celp::amrWb, speech12k8()))
            joined.insert(joined.end(), filter.begin(), filter.end());
        return joined;
    }();
    return all;
}

// Results of call(from, to) for each frame of an input, end to end.
template <class Call>
std::vector<int16_t> derive(const std::vector<int16_t> &input, size_t inputLength, size_t length, Call call) {
    std::vector<int16_t> all(input.size() / inputLength * length);
    for (size_t i = 0; i < all.size() / length; i++)
        require(call(&input[i * inputLength], &all[i * length]));
    return all;
}

const std::vector<int16_t> &isps() {
    static const std::vector<int16_t> all =
        derive(coefficients(), order + 1, order, [last = std::array<int16_t, order>{}](auto *lpc, auto *isp) mutable {
            const ryxStatus status = ryxsLPCToISP_AMRWB_16s(lpc, isp, last.data());
            std::copy_n(isp, order, last.begin());
            return status;
        });
    return all;
}

const std::vector<int16_t> &isfs() {
    static const std::vector<int16_t> all =
        derive(isps(), order, order, [](auto *isp, auto *isf) { return ryxsISPToISF_Norm_AMRWB_16s(isp, isf, order); });
    return all;
}

void lpcToIsp(benchmark::State &run, decltype(ryxsLPCToISP_AMRWB_16s) *convert) {
    int16_t isp[order] = {};
    measure(run, frameOf(order + 1), coefficients(), [&](const int16_t *in) { return convert(in, isp, isp); });
}

// The AMR-WB+ form at order 8, on the even coefficients: a filter of half the bandwidth.
void lpcToIspOfOrder8(benchmark::State &run) {
    const std::vector<int16_t> filters = derive(coefficients(), order + 1, 9, [](auto *lpc, auto *half) {
        for (int i = 0; i <= 8; i++)
            half[i] = lpc[2 * i];
        return ryxStatus{ryxStsOk};
    });
    int16_t isp[8] = {};
    measure(run, frameOf(9), filters, [&](const int16_t *in) { return ryxsLPCToISP_AMRWBE_16s(in, isp, isp, 8); });
}

void convertVector(benchmark::State &run, const std::vector<int16_t> &(*input)(),
                   ryxStatus (*convert)(const int16_t *, int16_t *, int)) {
    int16_t output[order + 1];
    measure(run, frameOf(order), input(), [&](const int16_t *in) { return convert(in, output, order); });
}

void quantise(benchmark::State &run, int mode) {
    int16_t residual[order] = {}, quantised[order], indices[7];
    measure(run, frameOf(order), isfs(),
            [&](const int16_t *in) { return ryxsISFQuant_AMRWB_16s(in, residual, quantised, indices, mode); });
}

void decode(benchmark::State &run, int mode, int bfi) {
    int16_t residual[order] = {}, quantised[order], previous[order] = {}, history[3 * order] = {};
    const auto indices = derive(isfs(), order, 7, [&](auto *isf, auto *found) {
        return ryxsISFQuant_AMRWB_16s(isf, residual, quantised, found, mode);
    });
    measure(run, frameOf(7), indices, [&](const int16_t *in) {
        return ryxsISFQuantDecode_AMRWB_16s(in, quantised, residual, previous, history, bfi, mode);
    });
}

void quantiseNoise(benchmark::State &run) {
    int16_t quantised[order], indices[5];
    measure(run, frameOf(order), isfs(),
            [&](const int16_t *in) { return ryxsISFQuantDTX_AMRWB_16s(in, quantised, indices); });
}

void decodeNoise(benchmark::State &run) {
    int16_t quantised[order];
    const auto indices = derive(
        isfs(), order, 5, [&](auto *isf, auto *found) { return ryxsISFQuantDTX_AMRWB_16s(isf, quantised, found); });
    measure(run, frameOf(5), indices,
            [&](const int16_t *in) { return ryxsISFQuantDecodeDTX_AMRWB_16s(in, quantised); });
}

const Registration registration([] {
    addVariants("AMRWB/lpc_to_isp", lpcToIsp, ryxsLPCToISP_AMRWB_16s_u8, ryxsLPCToISP_AMRWB_16s_n8);
    addCase("AMRWBE/lpc_to_isp/order_8", lpcToIspOfOrder8);
    addCase("AMRWB/isp_to_lpc", convertVector, isps, ryxsISPToLPC_AMRWB_16s);
    addCase("AMRWB/isp_to_isf", convertVector, isps, ryxsISPToISF_Norm_AMRWB_16s);
    addCase("AMRWB/isf_to_isp", convertVector, isfs, ryxsISFToISP_AMRWB_16s);
    addCase("AMRWB/isf_quant/46_bits", quantise, 13);
    addCase("AMRWB/isf_quant/36_bits", quantise, 5);
    addCase("AMRWB/isf_decode/good", decode, 13, 0);
    addCase("AMRWB/isf_decode/lost", decode, 13, 1);
    addCase("AMRWB/isf_quant/comfort_noise", quantiseNoise);
    addCase("AMRWB/isf_decode/comfort_noise", decodeNoise);
});

} // namespace
