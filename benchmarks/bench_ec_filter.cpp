// SPDX-License-Identifier: BSD-2-Clause
// Adaptive filters of the echo canceller: 64 ms of echo path at 8 kHz.
#include <algorithm>
#include <cstdint>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int taps = 512;
constexpr int nearEndLead = 700; // the near end is later speech

// Blocks of far-end speech with the history of the filter in front of the first one.
template <class Sample> std::vector<Sample> farEnd() {
    std::vector<Sample> samples(taps);
    samples.insert(samples.end(), speech8k().begin(), speech8k().end() - nearEndLead);
    samples.resize(samples.size() / taps * taps);
    return samples;
}

Workload fullBand(int length, double productsPerTap, Limit limit) {
    return {.inputLength = length,
            .seconds = length / 8000.0,
            .units = static_cast<double>(length),
            .unit = "sample",
            .products = productsPerTap * taps * length,
            .limit = limit};
}

// Small taps of both signs.
template <class Sample> std::vector<Sample> someTaps(double largest) {
    std::vector<Sample> h(taps);
    std::transform(speech8k().begin() + 8000, speech8k().begin() + 8000 + taps, h.begin(),
                   [=](int16_t x) { return static_cast<Sample>(largest * x / 32768); });
    return h;
}

// The last block's history and near end reach beyond the blocks, so both stand in the vector as well.
template <class Sample, class Call> void measureFullBand(benchmark::State &run, Workload work, Call call) {
    const std::vector<Sample> far = farEnd<Sample>();
    std::vector<Sample> blocks(far.begin() + taps, far.end() - nearEndLead);
    const Sample *const first = blocks.data();
    measure(run, work, blocks, [&](const Sample *block) {
        const Sample *const x = far.data() + taps + (block - first);
        return call(x, x + nearEndLead);
    });
}

void fir16(benchmark::State &run, int length) {
    const std::vector<int16_t> h = someTaps<int16_t>(8000);
    std::vector<int16_t> e(static_cast<size_t>(length));
    measureFullBand<int16_t>(run, fullBand(length, 1, Limit::roundedProducts), [&](const int16_t *x, const int16_t *s) {
        return ryxsFIR_EC_16s(x, s, e.data(), length, h.data(), taps);
    });
}

void firFloat(benchmark::State &run, int length) {
    const std::vector<float> h = someTaps<float>(0.25);
    std::vector<float> e(static_cast<size_t>(length));
    measureFullBand<float>(run, fullBand(length, 1, Limit::floatMultiplyAdds), [&](const float *x, const float *s) {
        return ryxsFIR_EC_32f(x, s, e.data(), length, h.data(), taps);
    });
}

// A tenth of the stable step at the level of the speech.
constexpr float step = 5e-11F;

void nlms16(benchmark::State &run, int length) {
    std::vector<int16_t> h(taps), e(static_cast<size_t>(length));
    const std::vector<int32_t> mu(e.size(), static_cast<int32_t>(step * 5.49755813888e11F)); // times 2^39
    int16_t errPrev = 0;
    measureFullBand<int16_t>(run, fullBand(length, 2, Limit::roundedProducts), [&](const int16_t *x, const int16_t *s) {
        return ryxsNLMS_EC_16s(x, s, mu.data(), e.data(), length, h.data(), taps, &errPrev);
    });
}

void nlmsFloat(benchmark::State &run, int length) {
    std::vector<float> h(taps), e(static_cast<size_t>(length));
    const std::vector<float> mu(e.size(), step);
    float errPrev = 0;
    measureFullBand<float>(run, fullBand(length, 2, Limit::floatMultiplyAdds), [&](const float *x, const float *s) {
        return ryxsNLMS_EC_32f(x, s, mu.data(), e.data(), length, h.data(), taps, &errPrev);
    });
}

// A filter bank and a filter length that cover the same echo path.
struct Bank {
    int bands, hop, frames;
};

Workload subBand(const Bank &bank) {
    const double values = static_cast<double>(bank.bands) * bank.frames;
    return {.inputLength = bank.bands,
            .seconds = bank.hop / 8000.0,
            .units = values,
            .unit = "value",
            .products = 4 * values,
            .limit = Limit::floatMultiplyAdds};
}

// Spectra of random-looking values: neighbouring samples of speech.
template <class Bin> std::vector<Bin> spectra(double scale) {
    std::vector<Bin> bins;
    using Part = decltype(Bin::re);
    for (size_t i = 0; i + 1 < speech16k().size(); i += 2)
        bins.push_back({static_cast<Part>(scale * speech16k()[i]), static_cast<Part>(scale * speech16k()[i + 1])});
    return bins;
}

// Far-end spectra, in frames that rotate, and coefficients.
template <class Bin> class SubBandFilter {
public:
    static constexpr int mostOrder = 4;

    explicit SubBandFilter(const Bank &bank, double scale)
        : bank_(bank), all_(spectra<Bin>(scale)),
          frames_(all_.begin(), all_.end() - (bank.frames + mostOrder) * bank.bands),
          coefs_(static_cast<size_t>(bank.bands * bank.frames)) {
        for (int t = 0; t < bank.frames; t++)
            coefRows_.push_back(&coefs_[static_cast<size_t>(t * bank.bands)]);
        history_.resize(static_cast<size_t>(bank.frames + mostOrder));
    }

    const std::vector<Bin> &frames() const { return frames_; }
    Bin *const *coefs() { return coefRows_.data(); }
    const Bin *const *history(const Bin *frame) {
        const Bin *newest = all_.data() + (frame - frames_.data()) + (bank_.frames + mostOrder - 1) * bank_.bands;
        for (const Bin *&row : history_) {
            row = newest;
            newest -= bank_.bands;
        }
        return history_.data();
    }

private:
    Bank bank_;
    std::vector<Bin> all_, frames_, coefs_;
    std::vector<Bin *> coefRows_;
    std::vector<const Bin *> history_;
};

void filterFloat(benchmark::State &run, Bank bank) {
    SubBandFilter<ryx32fc> filter(bank, 1);
    std::vector<ryx32fc> echo(static_cast<size_t>(bank.bands));
    measure(run, subBand(bank), filter.frames(), [&](const ryx32fc *frame) {
        return ryxsFIRSubband_EC_32fc(filter.history(frame), filter.coefs(), echo.data(), bank.frames, bank.bands);
    });
}

void updateFloat(benchmark::State &run, Bank bank) {
    SubBandFilter<ryx32fc> filter(bank, 1);
    const std::vector<double> steps(static_cast<size_t>(bank.bands), 1e-10);
    measure(run, subBand(bank), filter.frames(), [&](const ryx32fc *frame) {
        return ryxsFIRSubbandCoeffUpdate_EC_32fc_I(steps.data(), filter.history(frame), frame, filter.coefs(),
                                                   bank.frames, bank.bands);
    });
}

void project(benchmark::State &run, Bank bank, int order) {
    SubBandFilter<ryx32fc> filter(bank, 1);
    const auto bands = static_cast<size_t>(bank.bands);
    const std::vector<double> steps(bands, 0.01), regularisation(bands, 1e6);
    const double *const rows[] = {steps.data(), regularisation.data()};
    Workload work = subBand(bank);
    work.products = 0;
    measure(run, work, filter.frames(), [&](const ryx32fc *frame) {
        const ryx32fc *const *history = filter.history(frame);
        return ryxsFIRSubbandAPCoeffUpdate_EC_32fc_I(rows, history, history, filter.coefs(), bank.frames, bank.bands,
                                                     order);
    });
}

constexpr double bankGain = 40; // of the 16-bit bank's spectra over its samples
constexpr int formatOfCoefs = 28;

void filterInteger(benchmark::State &run, Bank bank, bool low) {
    SubBandFilter<ryx32sc> filter(bank, bankGain);
    std::vector<ryx32sc> echo(static_cast<size_t>(bank.bands));
    Workload work = subBand(bank);
    work.products = 0;
    measure(run, work, filter.frames(), [&](const ryx32sc *frame) {
        const ryx32sc *const *history = filter.history(frame);
        return low ? ryxsFIRSubbandLow_EC_32sc_Sfs(history, filter.coefs(), bank.frames, echo.data(), 0, bank.bands,
                                                   formatOfCoefs)
                   : ryxsFIRSubband_EC_32sc_Sfs(history, filter.coefs(), echo.data(), bank.frames, bank.bands,
                                                formatOfCoefs);
    });
}

void updateInteger(benchmark::State &run, Bank bank, bool low) {
    SubBandFilter<ryx32sc> filter(bank, bankGain);
    const auto bands = static_cast<size_t>(bank.bands);
    const std::vector<int32_t> steps(bands, 10000), exponents(bands, 5);
    Workload work = subBand(bank);
    work.products = 0;
    measure(run, work, filter.frames(), [&](const ryx32sc *frame) {
        const ryx32sc *const *history = filter.history(frame);
        return low ? ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I(history, frame, filter.coefs(), bank.frames, steps.data(),
                                                            exponents.data(), 0, bank.bands, 31)
                   : ryxsFIRSubbandCoeffUpdate_EC_32sc_I(steps.data(), history, frame, filter.coefs(), bank.frames,
                                                         bank.bands, 31);
    });
}

const Registration registration([] {
    for (const int length : {160, 8}) {
        const std::string name = std::to_string(length);
        addCase("EC/fir_16s/" + name, fir16, length);
        addCase("EC/fir_32f/" + name, firFloat, length);
        addCase("EC/nlms_16s/" + name, nlms16, length);
        addCase("EC/nlms_32f/" + name, nlmsFloat, length);
    }
    for (const Bank &bank : {Bank{17, 24, 22}, Bank{33, 44, 12}}) {
        const std::string name = std::to_string(bank.bands) + "x" + std::to_string(bank.frames);
        addCase("EC/fir_subband_32fc/" + name, filterFloat, bank);
        addCase("EC/update_32fc/" + name, updateFloat, bank);
        for (const int order : {1, 2, 3})
            addCase("EC/projection_" + std::to_string(order) + "/" + name, project, bank, order);
        addCase("EC/fir_subband_32sc/" + name, filterInteger, bank, false);
        addCase("EC/fir_subband_low/" + name, filterInteger, bank, true);
        addCase("EC/update_32sc/" + name, updateInteger, bank, false);
        addCase("EC/update_low/" + name, updateInteger, bank, true);
    }
});

} // namespace
