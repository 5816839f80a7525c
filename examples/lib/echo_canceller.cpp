// SPDX-License-Identifier: BSD-2-Clause
#include "echo_canceller.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "library_call.h"

namespace {

int asInt(size_t x) {
    return static_cast<int>(x);
}

// Adaptation control over two sets of coefficients of any kind, each `length` floats.
class Controller {
public:
    Controller(size_t block, size_t length, int sampleRate)
        : state_(ryxsFullbandControllerGetSize_EC_32f, asInt(block), asInt(length), sampleRate) {
        check(ryxsFullbandControllerInit_EC_32f(state_, asInt(block), asInt(length), sampleRate));
    }

    // Step sizes of a block, the multiplier included. `far` has `length` samples in front.
    void steps(const float *far, const float *near, std::span<float> steps) {
        check(ryxsFullbandControllerUpdate_EC_32f(far, near, steps.data(), state_));
        for (float &step : steps)
            step *= multiplier_;
    }
    float multiplier() const { return multiplier_; }

    // Saves or restores coefficients.
    void compare(const float *adaptiveResidual, const float *savedResidual, float *adaptive, float *saved) {
        check(ryxsFullbandController_EC_32f(adaptiveResidual, savedResidual, adaptive, saved, &multiplier_, state_));
    }

private:
    StateBlock<FullbandControllerState_EC_32f> state_;
    float multiplier_ = 1;
};

// Decides which saved coefficients make the output. What the controller saves has fitted the last 50 ms, and in double talk
// that may have been a vowel of the near end. So a newly saved set is on probation: it is taken over when it leaves less
// than the proven one in the samples that follow, and is replaced by that otherwise. The first set has nothing to prove.
class Probation {
public:
    Probation(size_t taps, size_t blocks) : proven_(taps), candidate_(taps), length_(blocks) {}

    const float *proven() const { return proven_.data(); }
    bool isOn() const { return left_ > 0; }

    // Behind every block, with what both sets left in it.
    void follow(std::vector<float> &saved, std::span<const float> savedResidual,
                std::span<const float> provenResidual) {
        if (saved != candidate_) return begin(saved);
        if (!isOn()) return;
        savedEnergy_ += energy(savedResidual);
        provenEnergy_ += energy(provenResidual);
        if (--left_ > 0) return;
        if (savedEnergy_ < provenEnergy_)
            proven_ = saved;
        else
            saved = candidate_ = proven_;
    }

private:
    void begin(const std::vector<float> &saved) {
        candidate_ = saved;
        left_ = isFirst_ ? 0 : length_;
        if (isFirst_) proven_ = saved;
        isFirst_ = false;
        savedEnergy_ = provenEnergy_ = 0;
    }

    static double energy(std::span<const float> samples) {
        double sum = 0;
        for (const float x : samples)
            sum += static_cast<double>(x) * x;
        return sum;
    }

    std::vector<float> proven_, candidate_;
    size_t length_, left_ = 0;
    bool isFirst_ = true;
    double savedEnergy_ = 0, provenEnergy_ = 0;
};

class FullBandCanceller : public EchoCanceller {
public:
    FullBandCanceller(int sampleRate, size_t tail)
        : block_(static_cast<size_t>(sampleRate) / 1000), taps_(tail), far_(taps_ + blocksKept * block_), now_(taps_),
          adaptive_(taps_), saved_(taps_), steps_(block_), adaptiveResidual_(block_), savedResidual_(block_),
          controller_(block_, taps_, sampleRate), probation_(taps_, probationBlocks) {}

    size_t frameLength() const override { return block_; }
    size_t delay() const override { return 0; }

    void process(const float *far, const float *near, float *output) override {
        float *const x = append(far);
        const int block = asInt(block_), taps = asInt(taps_);
        controller_.steps(x, near, steps_);
        check(ryxsNLMS_EC_32f(x, near, steps_.data(), adaptiveResidual_.data(), block, adaptive_.data(), taps,
                              &scaledError_));
        check(ryxsFIR_EC_32f(x, near, savedResidual_.data(), block, saved_.data(), taps));
        if (probation_.isOn())
            check(ryxsFIR_EC_32f(x, near, output, block, probation_.proven(), taps));
        else
            std::copy(savedResidual_.begin(), savedResidual_.end(), output);
        controller_.compare(adaptiveResidual_.data(), savedResidual_.data(), adaptive_.data(), saved_.data());
        probation_.follow(saved_, savedResidual_, {output, block_});
    }

private:
    static constexpr size_t blocksKept = 64;       // between two moves of the history to the front
    static constexpr size_t probationBlocks = 300; // of a millisecond

    // Where the block stands, its history in front.
    float *append(const float *far) {
        if (now_ + block_ > far_.size()) {
            std::copy(far_.begin() + static_cast<std::ptrdiff_t>(now_ - taps_),
                      far_.begin() + static_cast<std::ptrdiff_t>(now_), far_.begin());
            now_ = taps_;
        }
        float *const place = far_.data() + now_;
        std::copy_n(far, block_, place);
        now_ += block_;
        return place;
    }

    size_t block_, taps_;
    std::vector<float> far_;
    size_t now_;
    std::vector<float> adaptive_, saved_, steps_, adaptiveResidual_, savedResidual_;
    float scaledError_ = 0;
    Controller controller_;
    Probation probation_;
};

constexpr int transformOrder = 6;
constexpr int hop = 44;
constexpr int windowLength = 256;
constexpr int bands = (1 << transformOrder) / 2 + 1;

using Spectrum = std::array<ryx32fc, bands>;

// One direction of the filter bank for one signal.
class Bank {
public:
    Bank() : state_(stateSize) {
        int size = 0, initSize = 0, workSize = 0;
        check(ryxsSubbandProcessGetSize_32f(transformOrder, windowLength, &size, &initSize, &workSize));
        std::vector<std::byte> initBuffer(static_cast<size_t>(initSize) + 1);
        work_.resize(static_cast<size_t>(workSize) + 1);
        check(ryxsSubbandProcessInit_32f(state_, transformOrder, hop, windowLength, nullptr, initBuffer.data()));
    }

    void analyse(const float *samples, Spectrum &spectrum) {
        check(ryxsSubbandAnalysis_32f32fc(samples, spectrum.data(), state_, work_.data()));
    }
    void synthesise(const Spectrum &spectrum, float *samples) {
        check(ryxsSubbandSynthesis_32fc32f(spectrum.data(), samples, state_, work_.data()));
    }

private:
    static ryxStatus stateSize(int *size) {
        int initSize = 0, workSize = 0;
        return ryxsSubbandProcessGetSize_32f(transformOrder, windowLength, size, &initSize, &workSize);
    }

    StateBlock<SubbandProcessState> state_;
    std::vector<std::byte> work_;
};

// Coefficients of all bands and frames, and the residual that they leave.
struct CoefficientSet {
    explicit CoefficientSet(size_t taps) : coefs(taps), rows(taps) {
        std::transform(coefs.begin(), coefs.end(), rows.begin(), [](Spectrum &row) { return row.data(); });
    }

    float *asFloats() { return &coefs.front().front().re; }

    void filter(const std::vector<const ryx32fc *> &history, const Spectrum &near) {
        Spectrum echo;
        check(ryxsFIRSubband_EC_32fc(history.data(), rows.data(), echo.data(), asInt(rows.size()), bands));
        for (size_t k = 0; k < bands; k++)
            residual[k] = {near[k].re - echo[k].re, near[k].im - echo[k].im};
    }

    std::vector<Spectrum> coefs;
    std::vector<ryx32fc *> rows;
    Spectrum residual;
};

class SubBandCanceller : public EchoCanceller {
public:
    SubBandCanceller(int sampleRate, size_t tail)
        : taps_(std::min<size_t>((tail + hop - 1) / hop, 255)), far_(taps_), powers_(taps_), history_(taps_),
          adaptive_(taps_), saved_(taps_), silence_(coefficientFloats() + hop),
          controller_(hop, coefficientFloats(), sampleRate) {
        std::transform(far_.begin(), far_.end(), history_.begin(), [](const Spectrum &row) { return row.data(); });
    }

    size_t frameLength() const override { return hop; }
    size_t delay() const override { return windowLength - hop; }

    void process(const float *far, const float *near, float *output) override {
        Spectrum nearSpectrum;
        appendFar(far);
        nearBank_.analyse(near, nearSpectrum);
        adaptive_.filter(history_, nearSpectrum);
        saved_.filter(history_, nearSpectrum);

        std::array<float, hop> adaptiveResidual, nearAgain, unused;
        adaptiveBank_.synthesise(adaptive_.residual, adaptiveResidual.data());
        savedBank_.synthesise(saved_.residual, output);
        referenceBank_.synthesise(nearSpectrum, nearAgain.data());

        controller_.steps(silence_.data() + coefficientFloats(), nearAgain.data(), unused);
        adapt();
        controller_.compare(adaptiveResidual.data(), output, adaptive_.asFloats(), saved_.asFloats());
    }

private:
    size_t coefficientFloats() const { return 2 * taps_ * bands; }

    // The oldest row takes the newest spectrum.
    void appendFar(const float *far) {
        newest_ = (newest_ + taps_ - 1) % taps_;
        Spectrum &spectrum = far_[newest_];
        farBank_.analyse(far, spectrum);
        for (size_t k = 0; k < bands; k++)
            powers_[newest_][k] = spectrum[k].re * spectrum[k].re + spectrum[k].im * spectrum[k].im;
        for (size_t t = 0; t < taps_; t++)
            history_[t] = far_[(newest_ + t) % taps_].data();
    }

    // NLMS with half the full step. The regularisation keeps the steps small where the far end is silent.
    void adapt() {
        constexpr float regularisation = 1e6F;
        std::array<float, bands> energy;
        energy.fill(static_cast<float>(taps_) * regularisation);
        for (const auto &row : powers_)
            for (size_t k = 0; k < bands; k++)
                energy[k] += row[k];
        std::array<double, bands> step;
        for (size_t k = 0; k < bands; k++)
            step[k] = 0.5 * controller_.multiplier() / energy[k];
        check(ryxsFIRSubbandCoeffUpdate_EC_32fc_I(step.data(), history_.data(), adaptive_.residual.data(),
                                                  adaptive_.rows.data(), asInt(taps_), bands));
    }

    size_t taps_;
    std::vector<Spectrum> far_;
    std::vector<std::array<float, bands>> powers_; // of the rows of far_
    size_t newest_ = 0;
    std::vector<const ryx32fc *> history_;
    CoefficientSet adaptive_, saved_;
    std::vector<float> silence_; // the controller's own steps are for another kind of filter
    Controller controller_;
    Bank farBank_, nearBank_, adaptiveBank_, savedBank_, referenceBank_;
};

} // namespace

std::unique_ptr<EchoCanceller> makeEchoCanceller(EchoMethod method, int sampleRate, size_t tail) {
    if (method == EchoMethod::subBand) return std::make_unique<SubBandCanceller>(sampleRate, tail);
    return std::make_unique<FullBandCanceller>(sampleRate, tail);
}

std::vector<float> cancelEcho(EchoCanceller &canceller, std::span<const float> far, std::span<const float> near,
                              const std::function<void(size_t)> &progress) {
    const size_t frame = canceller.frameLength(), total = near.size() + canceller.delay();
    std::vector<float> output, farFrame(frame), nearFrame(frame);
    // Behind the end of the recording there is silence.
    const auto fill = [](std::span<const float> from, size_t start, std::vector<float> &to) {
        const size_t count = std::min(from.size() - std::min(start, from.size()), to.size());
        std::fill(
            std::copy_n(from.begin() + static_cast<std::ptrdiff_t>(std::min(start, from.size())), count, to.begin()),
            to.end(), 0.0F);
    };
    while (output.size() < total) {
        const size_t start = output.size();
        fill(far, start, farFrame);
        fill(near, start, nearFrame);
        output.resize(start + frame);
        canceller.process(farFrame.data(), nearFrame.data(), &output[start]);
        if (progress) progress(std::min(start + frame, near.size()));
    }
    output.erase(output.begin(), output.begin() + static_cast<std::ptrdiff_t>(canceller.delay()));
    output.resize(near.size());
    return output;
}

std::vector<double> echoReduction(std::span<const float> before, std::span<const float> after, size_t window) {
    const auto power = [window](std::span<const float> samples, size_t start) {
        double sum = 0;
        for (size_t i = start; i < start + window; i++)
            sum += static_cast<double>(samples[i]) * samples[i];
        return sum / static_cast<double>(window);
    };
    std::vector<double> reductions;
    for (size_t start = 0; start + window <= std::min(before.size(), after.size()); start += window) {
        const double ratio = power(before, start) / std::max(power(after, start), 1.0);
        reductions.push_back(power(before, start) > 1 ? 10 * std::log10(ratio)
                                                      : std::numeric_limits<double>::quiet_NaN());
    }
    return reductions;
}
