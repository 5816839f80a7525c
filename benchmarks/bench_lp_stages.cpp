// SPDX-License-Identifier: BSD-2-Clause
// Correlations, convolutions and LP filters at the lengths of the codecs. Correlations and convolutions are measured
// against the multiply-adds with loads that the machine can do; a synthesis filter is a chain from sample to sample.
#include <algorithm>
#include <string>

#include "frame/implementations.h"
#include "measuring.h"
#include "recording.h"

using namespace ryxsc::bench;

namespace {

constexpr int past = 160;
constexpr int16_t lpc[] = {4096, -4200, 1500, 300, -400, 200, -100, 100, -50, 50, -20, 10, -10, 5, 5, 5, 5};
constexpr int16_t history[16] = {};

// In front of every block there is room for its past.
Workload work(int len, double products) {
    Workload workload{.inputLength = len + past, .units = 1, .unit = "call"};
    workload.products = products;
    return workload;
}

void autocorrelation(benchmark::State &run, int len, int order) {
    int32_t r[40];
    int exponent = 0;
    measure(run, work(len, len * (order + 1.0)), speech8k(),
            [&](const int16_t *in) { return ryxsAutoCorr_NormE_16s32s(in, len, order, r, &exponent); });
}

void lagSearch(benchmark::State &run, int len, int low, int high) {
    int32_t max = 0;
    int lag = 0;
    measure(run, work(len, len * (high - low + 1.0)), speech8k(),
            [&](const int16_t *in) { return ryxsAutoCorrLagMax_Fwd_16s(in + past, len, low, high, &max, &lag); });
}

void convolution(benchmark::State &run, int len) {
    int16_t dst[80];
    measure(run, work(len, len * (len + 1.0) / 2), speech8k(),
            [&](const int16_t *in) { return ryxsConvPartial_16s_Sfs(in, in + past - len, dst, len, 12); });
}

void backwardFilter(benchmark::State &run, int len) {
    int16_t dst[80];
    measure(run, work(len, len * (len + 1.0) / 2), speech8k(),
            [&](const int16_t *in) { return ryxsCrossCorr_NR_16s(in, in + past - len, dst, len); });
}

void dotProduct(benchmark::State &run, int len) {
    int32_t sum = 0;
    measure(run, work(len, len), speech8k(),
            [&](const int16_t *in) { return ryxsDotProd_G729A_16s32s(in, in + past - len, len, &sum); });
}

Workload samples(int len) {
    return {.inputLength = len + past, .units = static_cast<double>(len), .unit = "sample"};
}

void residualLow(benchmark::State &run, int len, int order) {
    int16_t dst[80];
    measure(run, samples(len), speech8k(),
            [&](const int16_t *in) { return ryxsResidualFilter_Low_16s_Sfs(lpc, order, in + past, dst, len, 12); });
}

void synthesis(benchmark::State &run, decltype(ryxsSynthesisFilter_NR_16s_Sfs) *function, int len, int order) {
    int16_t dst[16 + 80] = {}; // every block follows the one before: a chain over all of them
    measure(run, samples(len), speech8k(), [&](const int16_t *in) {
        const ryxStatus status = function(lpc, order, in, dst + 16, len, dst + 16 - order, 12);
        std::copy_n(dst + len, 16, dst);
        return status;
    });
}

void synthesisLow(benchmark::State &run, decltype(ryxsSynthesisFilterLow_NR_16s_ISfs) *function, int len, int order) {
    int16_t data[80];
    measure(run, samples(len), speech8k(), [&](const int16_t *in) {
        std::copy_n(in, len, data);
        return function(lpc, order, data, len, history, 12);
    });
}

const Registration registration([] {
    addCase("lp/auto_corr_norm/240_order10", autocorrelation, 240, 10);
    addCase("lp/auto_corr_norm/384_order16", autocorrelation, 384, 16);
    addCase("lp/lag_max/80_lags20to143", lagSearch, 80, 20, 143);
    addCase("lp/lag_max/40_lags40to120", lagSearch, 40, 40, 120);
    for (const int len : {40, 64}) {
        addCase("lp/conv/" + std::to_string(len), convolution, len);
        addCase("lp/cross_corr/" + std::to_string(len), backwardFilter, len);
        addCase("lp/dot_prod/" + std::to_string(len), dotProduct, len);
    }
    addCase("lp/residual_low/40_order10", residualLow, 40, 10);
    const auto addSynthesis = [](const std::string &name, int len, int order) {
        addCase("lp/synthesis/" + name + "/u8", synthesis, ryxsSynthesisFilter_NR_16s_Sfs_u8, len, order);
        addCase("lp/synthesis/" + name + "/n8", synthesis, ryxsSynthesisFilter_NR_16s_Sfs_n8, len, order);
        addCase("lp/synthesis_low/" + name + "/u8", synthesisLow, ryxsSynthesisFilterLow_NR_16s_ISfs_u8, len, order);
        addCase("lp/synthesis_low/" + name + "/n8", synthesisLow, ryxsSynthesisFilterLow_NR_16s_ISfs_n8, len, order);
    };
    addSynthesis("40_order10", 40, 10);
    addSynthesis("64_order16", 64, 16);
});

} // namespace
