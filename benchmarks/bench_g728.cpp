// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.728: the pole-zero filter on vectors of five samples and on frames, and the stages in which the coder spends its
// time: backward analysis, once in 2.5 ms, codebook search and zero-input response, four times.
#include <algorithm>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr double samplesPerSecond = 8000;

// A perceptual weighting filter of speech: 1.6 z^-1 - 0.9 z^-2 and what follows, weighted by 0.9^k and by 0.6^k.
constexpr int16_t weighting[20] = {-23593, 11944, -1194, 2687, -1935, 1306, -784, 423, -127, 57,
                                   -15729, 5308,  -354,  531,  -255,  115,  -46,  17,  -3,   1};

// Poles whose products may leave 32 bits, so that every step saturates on its own.
constexpr int16_t extreme[20] = {-23593, 11944, -1194,  2687,  -1935,  1306,  -784,  423,   -127,   57,
                                 -32768, 32767, -20000, 15000, -12000, 10000, -9000, 20000, -20000, 9000};

void filter(benchmark::State &run, const int16_t *coefficients, int len) {
    std::vector<int16_t> output(static_cast<size_t>(len));
    StateBlock<IIRState_G728> state(ryxsIIR16sGetStateSize_G728_16s);
    require(ryxsIIR16sInit_G728_16s(state));
    const Workload work{.inputLength = len, .seconds = len / samplesPerSecond, .units = double(len), .unit = "sample"};
    measure(run, work, speech8k(),
            [&](const int16_t *in) { return ryxsIIR16s_G728_16s(coefficients, in, output.data(), len, state); });
}

constexpr double cycle = 20 / samplesPerSecond, vectorTime = 5 / samplesPerSecond;

// Speech as if it were quantised: 14 bits, one exponent.
std::vector<int16_t> quantised(const int16_t *speech, int len) {
    std::vector<int16_t> samples(speech, speech + len);
    for (int16_t &x : samples)
        x = static_cast<int16_t>(x >> 2);
    return samples;
}

void hybridWindow(benchmark::State &run) {
    StateBlock<HybridWindowState_G728> state(ryxsHybridWindowGetStateSize_G728_16s);
    require(ryxsHybridWindowInit_G728_16s(state));
    const std::vector<int16_t> exponents(21, 2),
        speech = quantised(speech8k().data(), static_cast<int>(speech8k().size()));
    int16_t autoCorr[51];
    const Workload work{.inputLength = 105, .seconds = cycle, .units = 1, .unit = "cycle"};
    measure(run, work, speech, [&](const int16_t *in) {
        return ryxsHybridWindowSynthesis_G728_16s(in, exponents.data(), autoCorr, state);
    });
}

// Order 50 alone, or with two of order 10 beside it, or with one and what it is itself at order 10.
void levinson(benchmark::State &run, int count, int via) {
    StateBlock<HybridWindowState_G728> state(ryxsHybridWindowGetStateSize_G728_16s);
    require(ryxsHybridWindowInit_G728_16s(state));
    const std::vector<int16_t> exponents(21, 2);
    std::vector<int16_t> autoCorr;
    for (size_t i = 0; i + 105 < speech8k().size(); i += 105) {
        autoCorr.resize(autoCorr.size() + 51);
        require(ryxsHybridWindowSynthesis_G728_16s(quantised(&speech8k()[i], 105).data(), exponents.data(),
                                                   &autoCorr[autoCorr.size() - 51], state));
    }
    LevinsonDurbin_G728 passed, all[3] = {}, *const recursions[] = {&all[0], &all[1], &all[2]};
    const int orders[] = {50, 10, 10};
    const Workload work{.inputLength = 51, .seconds = cycle, .units = 1, .unit = "cycle"};
    measure(run, work, autoCorr, [&](const int16_t *in) {
        for (LevinsonDurbin_G728 &r : all) {
            std::copy_n(in, 51, r.autoCorr);
            r.order = 0;
        }
        return via > 0 ? ryxsLevinsonDurbinJointVia_G728_16s(recursions, orders, count, via, &passed)
                       : ryxsLevinsonDurbinJoint_G728_16s(recursions, orders, count);
    });
}

void codebookSearch(benchmark::State &run) {
    const int16_t impulse[5] = {8192, 5000, 2500, 1200, 600};
    int16_t energies[128], shape, gain;
    require(ryxsCodebookEnergy_G728_16s(impulse, energies));
    const Workload work{.inputLength = 5, .seconds = vectorTime, .units = 1, .unit = "vector"};
    measure(run, work, speech8k(),
            [&](const int16_t *in) { return ryxsCodebookSearch_G728_16s(in, 4, impulse, energies, &shape, &gain); });
}

void codebookEnergy(benchmark::State &run) {
    int16_t energies[128];
    const Workload work{.inputLength = 5, .seconds = cycle, .units = 1, .unit = "cycle"};
    measure(run, work, speech8k(), [&](const int16_t *in) { return ryxsCodebookEnergy_G728_16s(in, energies); });
}

void codebookSetFilter(benchmark::State &run) {
    StateBlock<CodebookState_G728> state(ryxsCodebookGetStateSize_G728_16s);
    const Workload work{.inputLength = 5, .seconds = cycle, .units = 1, .unit = "cycle"};
    measure(run, work, speech8k(), [&](const int16_t *in) {
        const int16_t impulse[5] = {8192, in[0], in[1], in[2], in[3]};
        return ryxsCodebookSetFilter_G728_16s(impulse, state);
    });
}

void codebookSearchFiltered(benchmark::State &run) {
    const int16_t impulse[5] = {8192, 5000, 2500, 1200, 600};
    int16_t shape, gain;
    StateBlock<CodebookState_G728> state(ryxsCodebookGetStateSize_G728_16s);
    require(ryxsCodebookSetFilter_G728_16s(impulse, state));
    const Workload work{.inputLength = 5, .seconds = vectorTime, .units = 1, .unit = "vector"};
    measure(run, work, speech8k(),
            [&](const int16_t *in) { return ryxsCodebookSearchFiltered_G728_16s(in, 4, state, &shape, &gain); });
}

// The response to the memory, to which each vector adds an excitation, with coefficients as they come or arranged.
void zeroInput(benchmark::State &run, bool arranged) {
    StateBlock<SynthesisFilterState_G728> state(ryxsSynthesisFilterGetStateSize_G728_16s);
    StateBlock<SynthesisTaps_G728> taps(ryxsSynthesisTapsGetStateSize_G728_16s);
    require(ryxsSynthesisFilterInit_G728_16s(state));
    int16_t a[50] = {-23593, 11944, -1194, 2687, -1935, 1306, -784, 423, -127, 57};
    require(ryxsSynthesisTapsInit_G728_16s(a, taps));
    int16_t response[5], exponent, excitation[5], speech[5], speechExponent;
    const Workload work{.inputLength = 5, .seconds = vectorTime, .units = 1, .unit = "vector"};
    measure(run, work, speech8k(), [&](const int16_t *in) {
        const ryxStatus status = arranged ? ryxsSynthesisFilterZeroInputTaps_G728_16s(taps, response, &exponent, state)
                                          : ryxsSynthesisFilterZeroInput_G728_16s(a, response, &exponent, state);
        if (status != ryxStsOk) return status;
        std::copy_n(in, 5, excitation);
        exponent = 4;
        return ryxsSynthesisFilter_G728_16s(a, excitation, &exponent, INT16_MAX, response, speech, &speechExponent,
                                            state);
    });
}

// The decoder's post-filter with gain control, a cycle at once or vector by vector.
void postFilter(benchmark::State &run, bool wholeCycle) {
    StateBlock<PostFilterState_G728> state(ryxsPostFilterGetStateSize_G728_16s);
    require(ryxsPostFilterInit_G728_16s(state));
    const int16_t lags[] = {60, 61}, gains[] = {14500, 15000}, pitchGains[] = {7500, 6000};
    const int16_t zeros[10] = {-15335, 5046, -328, 480, -224, 97, -38, 13, -3, 1};
    const int16_t poles[10] = {-17695, 6718, -504, 850, -459, 230, -103, 42, -10, 3};
    const std::vector<int16_t> speech = quantised(speech8k().data(), static_cast<int>(speech8k().size()));
    int16_t scale = 16384, filtered[20], pcm[20];
    const Workload work{.inputLength = 160, .seconds = cycle, .units = 1, .unit = "cycle"};
    measure(run, work, speech, [&](const int16_t *past) {
        const int16_t *const in = past + 140;
        if (wholeCycle)
            return ryxsPostProcess_G728_16s(in, in, lags, gains, pitchGains, zeros, poles, -3000, pcm, &scale, state);
        ryxStatus status = ryxStsOk;
        for (int n = 0; n < 20 && status == ryxStsOk; n += 5) {
            const int h = n / 10;
            status = ryxsPostFilter_G728_16s(in + n, in + n, lags[h], gains[h], pitchGains[h], zeros, poles, -3000,
                                             filtered + n, state);
            if (status == ryxStsOk) status = ryxsGainControl_G728_16s(in + n, filtered + n, pcm + n, &scale);
        }
        return status;
    });
}

// Residual of a cycle, its decimation, pitch lag and tap.
void pitch(benchmark::State &run) {
    const int16_t inverse[10] = {-9830, 4096, 300, 200, -100, 50, -20, 10, -5, 2};
    int16_t residual[260] = {}, decimated[60] = {}, memory[3] = {}, lag = 50, tap, gain, pitchGain;
    const std::vector<int16_t> speech = quantised(speech8k().data(), static_cast<int>(speech8k().size()));
    const Workload work{.inputLength = 260, .seconds = cycle, .units = 1, .unit = "cycle"};
    measure(run, work, speech, [&](const int16_t *in) {
        std::copy(residual + 20, residual + 240, residual);
        std::copy(decimated + 5, decimated + 60, decimated);
        ryxStatus status = ryxsResidualFilterCycle_G728_16s(inverse, in + 240, residual + 220);
        if (status == ryxStsOk) status = ryxsDecimationFilter_G728_16s(residual + 220, decimated + 55, memory);
        if (status == ryxStsOk) status = ryxsPitchSearch_G728_16s(residual, decimated, lag, &lag);
        return status == ryxStsOk ? ryxsPitchTap_G728_16s(in + 20, lag, &tap, &gain, &pitchGain) : status;
    });
}

const Registration registration([] {
    addCase("G728/iir/5", filter, weighting, 5);
    addCase("G728/iir/160", filter, weighting, 160);
    addCase("G728/iir_saturating/160", filter, extreme, 160);
    addCase("G728/hybrid_window", hybridWindow);
    addCase("G728/levinson/50", levinson, 1, 0);
    addCase("G728/levinson/50_10_10", levinson, 3, 0);
    addCase("G728/levinson/50_10_via_10", levinson, 2, 10);
    addCase("G728/codebook_search", codebookSearch);
    addCase("G728/codebook_energy", codebookEnergy);
    addCase("G728/codebook_search_filtered", codebookSearchFiltered);
    addCase("G728/codebook_set_filter", codebookSetFilter);
    addCase("G728/synthesis/plain", zeroInput, false);
    addCase("G728/synthesis/arranged", zeroInput, true);
    addCase("G728/post_filter/vectors", postFilter, false);
    addCase("G728/post_filter/cycle", postFilter, true);
    addCase("G728/pitch", pitch);
});

} // namespace
