// SPDX-License-Identifier: BSD-2-Clause
#include "spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <fftw3.h>
#include <memory>
#include <numbers>

namespace {

// Power spectrum of a windowed piece of speech. A sine at full scale gives 1 in the bin at its frequency.
class PowerSpectrum {
public:
    PowerSpectrum(size_t windowLength, size_t transformLength)
        : window_(windowLength), length_(transformLength), input_(fftw_alloc_real(length_), fftw_free),
          output_(fftw_alloc_complex(bins()), fftw_free),
          plan_(fftw_plan_dft_r2c_1d(static_cast<int>(length_), input_.get(), output_.get(), FFTW_ESTIMATE),
                fftw_destroy_plan) {
        for (size_t i = 0; i < windowLength; i++) {
            const double phase = (static_cast<double>(i) + 0.5) / static_cast<double>(windowLength);
            window_[i] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * phase);
            sum_ += window_[i];
            sumOfSquares_ += window_[i] * window_[i];
        }
    }

    size_t bins() const { return length_ / 2 + 1; }

    /** Width in bins of an ideal filter that lets as much noise through as the window does. */
    double noiseBandwidth() const { return sumOfSquares_ / (sum_ * sum_) * static_cast<double>(length_); }

    /** Analyses the window that begins at `start`; beyond both ends of the speech there is silence. */
    void analyse(std::span<const float> samples, std::ptrdiff_t start) {
        std::fill_n(input_.get(), length_, 0.0);
        const auto end = static_cast<std::ptrdiff_t>(samples.size());
        for (size_t i = 0; i < window_.size(); i++) {
            const std::ptrdiff_t position = start + static_cast<std::ptrdiff_t>(i);
            if (position >= 0 && position < end) input_[i] = window_[i] * samples[static_cast<size_t>(position)];
        }
        fftw_execute(plan_.get());
    }

    double power(size_t bin) const {
        const double real = output_[bin][0], imaginary = output_[bin][1];
        return 4 * (real * real + imaginary * imaginary) / (sum_ * sum_);
    }

private:
    std::vector<double> window_;
    size_t length_;
    std::unique_ptr<double[], decltype(&fftw_free)> input_;
    std::unique_ptr<fftw_complex[], decltype(&fftw_free)> output_;
    std::unique_ptr<std::remove_pointer_t<fftw_plan>, decltype(&fftw_destroy_plan)> plan_;
    double sum_ = 0;
    double sumOfSquares_ = 0;
};

double decibels(double power) {
    return 10 * std::log10(std::max(power, 1e-18));
}

// Of the polynomial with these coefficients at a point of the unit circle.
double powerAt(std::span<const int16_t> coefficients, std::complex<double> point) {
    std::complex<double> sum = 0;
    for (size_t i = coefficients.size(); i-- > 0;)
        sum = sum * point + static_cast<double>(coefficients[i]);
    return std::norm(sum);
}

} // namespace

Spectrogram makeSpectrogram(std::span<const float> samples, int sampleRate) {
    const auto windowLength = static_cast<size_t>(spectrogramWindow * sampleRate);
    const auto step = static_cast<size_t>(sampleRate / 500); // 2 ms
    PowerSpectrum spectrum(windowLength, 2 * windowLength);  // interpolated twofold, for smooth harmonics
    Spectrogram result;
    result.columns = samples.size() / step + 1;
    result.bins = spectrum.bins();
    result.secondsPerColumn = static_cast<double>(step) / sampleRate;
    result.hertzPerBin = sampleRate / 2.0 / static_cast<double>(result.bins - 1);
    result.levels.resize(result.columns * result.bins);
    for (size_t column = 0; column < result.columns; column++) {
        spectrum.analyse(samples,
                         static_cast<std::ptrdiff_t>(column * step) - static_cast<std::ptrdiff_t>(windowLength / 2));
        for (size_t bin = 0; bin < result.bins; bin++)
            result.levels[bin * result.columns + column] = static_cast<float>(decibels(spectrum.power(bin)));
    }
    return result;
}

std::vector<double> meanSpectrum(std::span<const float> samples, int sampleRate) {
    const auto windowLength = static_cast<size_t>(0.032 * sampleRate);
    PowerSpectrum spectrum(windowLength, windowLength);
    std::vector<double> mean(spectrum.bins());
    size_t windows = 0;
    for (size_t start = 0; start < samples.size(); start += windowLength / 2, windows++) {
        spectrum.analyse(samples, static_cast<std::ptrdiff_t>(start));
        for (size_t bin = 0; bin < mean.size(); bin++)
            mean[bin] += spectrum.power(bin);
    }
    const double hertz = spectrum.noiseBandwidth() * sampleRate / static_cast<double>(windowLength);
    for (double &value : mean)
        value = decibels(value / static_cast<double>(windows) / hertz);
    return mean;
}

double spectralDistortion(std::span<const int16_t> first, std::span<const int16_t> second) {
    constexpr int bins = 256;
    double sum = 0;
    for (int bin = 0; bin < bins; bin++) {
        const std::complex<double> point = std::polar(1.0, -std::numbers::pi * (bin + 0.5) / bins);
        const double difference = decibels(powerAt(first, point) / powerAt(second, point));
        sum += difference * difference;
    }
    return std::sqrt(sum / bins);
}
