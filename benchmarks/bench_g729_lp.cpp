// SPDX-License-Identifier: BSD-2-Clause
// LP analysis and LSP conversion of ITU-T G.729, one call per frame of 10 ms.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int order = 10;
constexpr int lags = order + 1;
constexpr double frameSeconds = 0.010;

// What a function takes per frame.
constexpr Workload frameOf(int elements) {
    return {.inputLength = elements, .seconds = frameSeconds};
}

// Autocorrelations of windowed speech, 30 ms every 10 ms, with a white-noise correction; normalised to 2^30..2^31.
const std::vector<double> &autocorrelations() {
    static const std::vector<double> all = [] {
        constexpr size_t window = 240, hop = 80;
        std::vector<double> values;
        for (size_t start = 0; start + window <= speech8k().size(); start += hop) {
            double samples[window], r[lags] = {};
            for (size_t i = 0; i < window; i++)
                samples[i] =
                    speech8k()[start + i] * std::sin(std::numbers::pi * (static_cast<double>(i) + 0.5) / window);
            for (size_t lag = 0; lag < lags; lag++)
                for (size_t i = lag; i < window; i++)
                    r[lag] += samples[i] * samples[i - lag];
            const double energy = 1.0001 * std::max(r[0], 1.0);
            const double scale = std::ldexp(0.5 / std::exp2(std::floor(std::log2(energy))), 31);
            values.push_back(energy * scale);
            std::transform(r + 1, r + lags, std::back_inserter(values), [=](double x) { return x * scale; });
        }
        return values;
    }();
    return all;
}

template <class Number> const std::vector<Number> &autocorrelationsAs() {
    static const std::vector<Number> all = [] {
        std::vector<Number> converted;
        for (const double r : autocorrelations())
            converted.push_back(static_cast<Number>(r));
        return converted;
    }();
    return all;
}

// Results of call(from, to) for each frame of an input, end to end; where there are none, those of the frame before.
template <class Number, int length, class Input, class Call>
std::vector<Number> derive(const std::vector<Input> &input, size_t inputLength, Call call) {
    std::vector<Number> all;
    Number result[length] = {};
    for (size_t i = 0; i < input.size(); i += inputLength) {
        require(call(&input[i], result));
        all.insert(all.end(), result, result + length);
    }
    return all;
}

const std::vector<int16_t> &coefficients() {
    static const auto all = derive<int16_t, lags>(autocorrelationsAs<int32_t>(), lags, [](auto *r, auto *lpc) {
        int16_t reflections[order], energy;
        return ryxsLevinsonDurbin_G729_32s16s(r, order, lpc, reflections, &energy);
    });
    return all;
}

const std::vector<float> &floatCoefficients() {
    static const auto all = derive<float, lags>(autocorrelationsAs<float>(), lags, [](auto *r, auto *lpc) {
        float reflections[order], energy;
        return ryxsLevinsonDurbin_G729_32f(r, order, lpc, reflections, &energy);
    });
    return all;
}

const std::vector<int16_t> &lsps() {
    static const auto all = derive<int16_t, order>(
        coefficients(), lags, [](auto *lpc, auto *lsp) { return ryxsLPCToLSP_G729_16s(lpc, lsp, lsp); });
    return all;
}

const std::vector<float> &floatLsps() {
    static const auto all = derive<float, order>(
        floatCoefficients(), lags, [](auto *lpc, auto *lsp) { return ryxsLPCToLSP_G729_32f(lpc, lsp, lsp); });
    return all;
}

const std::vector<int16_t> &lsfs() {
    static const auto all = derive<int16_t, order>(lsps(), order, ryxsLSPToLSF_G729_16s);
    return all;
}

// Includes a copy of the lags, since the function works in place.
void lagWindow(benchmark::State &run) {
    int32_t r[order];
    measure(run, frameOf(lags), autocorrelationsAs<int32_t>(), [&](const int32_t *in) {
        std::copy_n(in + 1, order, r);
        return ryxsLagWindow_G729_32s_I(r, order);
    });
}

void levinson(benchmark::State &run) {
    int16_t lpc[lags], reflections[order], energy;
    measure(run, frameOf(lags), autocorrelationsAs<int32_t>(),
            [&](const int32_t *in) { return ryxsLevinsonDurbin_G729_32s16s(in, order, lpc, reflections, &energy); });
}

void floatLevinson(benchmark::State &run) {
    float lpc[lags], reflections[order], energy;
    measure(run, frameOf(lags), autocorrelationsAs<float>(),
            [&](const float *in) { return ryxsLevinsonDurbin_G729_32f(in, order, lpc, reflections, &energy); });
}

template <class Number> void lpcToLsp(benchmark::State &run, const std::vector<Number> &(*input)(),
                                      ryxStatus (*convert)(const Number *, const Number *, Number *)) {
    Number lsp[order] = {};
    measure(run, frameOf(lags), input(), [&](const Number *in) { return convert(in, lsp, lsp); });
}

template <class Number> void convertVector(benchmark::State &run, const std::vector<Number> &(*input)(),
                                           ryxStatus (*convert)(const Number *, Number *)) {
    Number output[lags];
    measure(run, frameOf(order), input(), [&](const Number *in) { return convert(in, output); });
}

void interpolate(benchmark::State &run) {
    int16_t mean[order];
    measure(run, frameOf(2 * order), lsps(),
            [&](const int16_t *in) { return ryxsInterpolate_G729_16s(in, in + order, mean, order); });
}

const Registration registration([] {
    addCase("G729/lag_window", lagWindow);
    addCase("G729/levinson", levinson);
    addCase("G729/levinson_float", floatLevinson);
    addCase("G729/lpc_to_lsp", lpcToLsp<int16_t>, coefficients, ryxsLPCToLSP_G729_16s);
    addCase("G729/lpc_to_lsp/annex_a", lpcToLsp<int16_t>, coefficients, ryxsLPCToLSP_G729A_16s);
    addCase("G729/lpc_to_lsp_float", lpcToLsp<float>, floatCoefficients, ryxsLPCToLSP_G729_32f);
    addCase("G729/lpc_to_lsp_float/annex_a", lpcToLsp<float>, floatCoefficients, ryxsLPCToLSP_G729A_32f);
    addCase("G729/lsp_to_lpc", convertVector<int16_t>, lsps, ryxsLSPToLPC_G729_16s);
    addCase("G729/lsp_to_lpc_float", convertVector<float>, floatLsps, ryxsLSPToLPC_G729_32f);
    addCase("G729/lsp_to_lsf", convertVector<int16_t>, lsps, ryxsLSPToLSF_G729_16s);
    addCase("G729/lsp_to_lsf/normalised", convertVector<int16_t>, lsps, ryxsLSPToLSF_Norm_G729_16s);
    addCase("G729/lsf_to_lsp", convertVector<int16_t>, lsfs, ryxsLSFToLSP_G729_16s);
    addCase("G729/interpolate", interpolate);
});

} // namespace
