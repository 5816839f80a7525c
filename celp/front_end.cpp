// SPDX-License-Identifier: BSD-2-Clause
#include "front_end.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <numeric>

namespace celp {

namespace {

constexpr size_t subframes = 4;

using Polynomial = std::array<double, maxOrder + 1>; // zero beyond the order
using Samples = std::array<double, maxSubframe>;     // zero beyond the subframe

struct Filters {
    Polynomial lpc, numerator, denominator;
};

// History in front of a subframe, as long as the highest order.
using Line = std::array<double, maxOrder + maxSubframe>;

struct FilterMemory {
    Line error = {}, weighted = {};
};

std::vector<double> preEmphasised(const Codec &codec, std::span<const int16_t> speech) {
    std::vector<double> samples(speech.begin(), speech.end());
    for (size_t n = samples.size(); n-- > 1;)
        samples[n] -= codec.preEmphasis * samples[n - 1];
    return samples;
}

// Autocorrelation of a Hamming window from a quarter of a frame before the frame to a quarter behind it, as a white-noise
// correction and a lag window of 60 Hz leave it.
Polynomial autocorrelation(const Codec &codec, std::span<const double> speech, size_t start) {
    const size_t past = codec.subframeLength, length = (subframes + 2) * past;
    std::vector<double> windowed(length);
    for (size_t n = 0; n < length; n++) {
        const double angle = 2 * std::numbers::pi * static_cast<double>(n) / static_cast<double>(length - 1);
        if (start + n >= past && start + n - past < speech.size())
            windowed[n] = speech[start + n - past] * (0.54 - 0.46 * std::cos(angle));
    }
    Polynomial r = {};
    for (size_t lag = 0; lag <= codec.order; lag++) {
        const double angle = 2 * std::numbers::pi * 60 * static_cast<double>(lag) / codec.sampleRate;
        const double sum =
            std::inner_product(windowed.begin() + static_cast<ptrdiff_t>(lag), windowed.end(), windowed.begin(), 0.0);
        r[lag] = sum * std::exp(-angle * angle / 2);
    }
    r[0] = r[0] * 1.0001 + 1000;
    return r;
}

Polynomial levinsonDurbin(const Polynomial &r, size_t order) {
    Polynomial a = {1};
    double error = r[0];
    for (size_t i = 1; i <= order; i++) {
        double sum = 0;
        for (size_t k = 0; k < i; k++)
            sum += a[k] * r[i - k];
        const Polynomial last = a;
        for (size_t k = 1; k <= i; k++)
            a[k] = last[k] - sum / error * last[i - k];
        error -= sum * sum / error;
    }
    return a;
}

Polynomial weighted(Polynomial a, double gamma) {
    double power = 1;
    for (double &coefficient : a) {
        coefficient *= power;
        power *= gamma;
    }
    return a;
}

Filters filtersOf(const Codec &codec, const Polynomial &lpc) {
    const Polynomial deEmphasis = {1, -codec.preEmphasis};
    return {lpc, weighted(lpc, codec.gamma1), codec.gamma2 > 0 ? weighted(lpc, codec.gamma2) : deEmphasis};
}

double sumOfProducts(const Polynomial &a, const double *newest, size_t from) {
    double sum = 0;
    for (size_t k = from; k <= maxOrder; k++)
        sum += a[k] * newest[-static_cast<ptrdiff_t>(k)];
    return sum;
}

// Takes the input through 1/A(z) and W(z); the memory ends up as it is after the input.
Samples weightedSynthesis(const Filters &filters, const Samples &input, size_t length, FilterMemory &memory) {
    Samples output = {};
    for (size_t n = 0; n < length; n++) {
        double *const error = &memory.error[maxOrder + n], *const sample = &memory.weighted[maxOrder + n];
        *error = input[n];
        *error -= sumOfProducts(filters.lpc, error, 1);
        *sample = sumOfProducts(filters.numerator, error, 0) - sumOfProducts(filters.denominator, sample, 1);
        output[n] = *sample;
    }
    for (Line *line : {&memory.error, &memory.weighted})
        std::copy_n(line->begin() + static_cast<ptrdiff_t>(length), maxOrder, line->begin());
    return output;
}

double dot(const Samples &x, const Samples &y) {
    return std::inner_product(x.begin(), x.end(), y.begin(), 0.0);
}

Samples difference(Samples x, double factor, const Samples &y) {
    for (size_t n = 0; n < x.size(); n++)
        x[n] -= factor * y[n];
    return x;
}

struct Pitch {
    size_t lag;
    double gain;
    Samples vector, filtered;
};

// The lag whose filtered past excitation fits the target best. `excitation` points to the subframe, which holds the
// residual for lags shorter than it.
Pitch searchPitch(const Codec &codec, const Samples &target, const Samples &impulse, const double *excitation) {
    const size_t length = codec.subframeLength;
    Samples filtered = {};
    for (size_t n = 0; n < length; n++)
        for (size_t k = 0; k <= n; k++)
            filtered[n] +=
                excitation[static_cast<ptrdiff_t>(k) - static_cast<ptrdiff_t>(codec.shortestLag)] * impulse[n - k];
    Pitch best = {codec.shortestLag, 0, {}, filtered};
    double bestScore = -1;
    for (size_t lag = codec.shortestLag; lag <= codec.longestLag; lag++) {
        const double correlation = std::max(dot(target, filtered), 0.0), energy = dot(filtered, filtered) + 1;
        if (correlation * correlation / energy > bestScore) {
            bestScore = correlation * correlation / energy;
            best = {lag, std::min(correlation / energy, 1.2), {}, filtered};
        }
        const double next = excitation[-static_cast<ptrdiff_t>(lag) - 1];
        for (size_t n = length; n-- > 1;)
            filtered[n] = filtered[n - 1] + next * impulse[n];
        filtered[0] = next * impulse[0];
    }
    std::copy_n(excitation - best.lag, length, best.vector.begin());
    return best;
}

Samples largestQuarter(Samples samples, size_t length) {
    Samples magnitudes = samples;
    std::transform(samples.begin(), samples.end(), magnitudes.begin(), [](double x) { return std::abs(x); });
    const auto limit = magnitudes.begin() + static_cast<ptrdiff_t>(length / 4);
    std::nth_element(magnitudes.begin(), limit, magnitudes.end(), std::greater<>());
    for (double &sample : samples)
        if (std::abs(sample) <= *limit) sample = 0;
    return samples;
}

template <class From, class To> void quantise(const From &from, double one, To &to) {
    std::transform(from.begin(), from.begin() + to.size(), to.begin(), [one](double x) {
        return static_cast<int16_t>(std::lround(std::clamp(one * x, -32768.0, 32767.0)));
    });
}

// The last samples of the order in front of a line.
void quantiseMemory(const Line &line, size_t order, Memory &memory) {
    memory = {};
    for (size_t k = 0; k < order; k++)
        memory[k] = static_cast<int16_t>(std::lround(std::clamp(line[maxOrder - order + k], -32768.0, 32767.0)));
}

class FrontEnd {
public:
    FrontEnd(const Codec &codec, std::span<const int16_t> speech)
        : codec_(codec), speech_(preEmphasised(codec, speech)), excitation_(past + speech.size()) {}

    std::vector<Subframe> run() {
        const size_t frameLength = subframes * codec_.subframeLength;
        std::vector<Subframe> all;
        for (size_t start = 0; start + frameLength <= speech_.size(); start += codec_.subframeLength) {
            const size_t number = all.size() % subframes;
            if (number == 0)
                filters_ = filtersOf(codec_, levinsonDurbin(autocorrelation(codec_, speech_, start), codec_.order));
            all.push_back(analyseSubframe(start));
            all.back().number = static_cast<int16_t>(number);
        }
        return all;
    }

private:
    static constexpr size_t past = 256; // more than the longest lag

    double sample(size_t start, size_t back) const { return start >= back ? speech_[start - back] : 0; }

    Samples residualOf(size_t start) const {
        Samples residual = {};
        for (size_t n = 0; n < codec_.subframeLength; n++)
            for (size_t k = 0; k <= codec_.order; k++)
                residual[n] += filters_.lpc[k] * sample(start + n, k);
        return residual;
    }

    Subframe analyseSubframe(size_t start) {
        const size_t length = codec_.subframeLength;
        Subframe subframe = {};
        describe(start, subframe);

        FilterMemory atRest, beforeSubframe = memory_;
        const Samples impulse = weightedSynthesis(filters_, {1}, length, atRest);
        const Samples residual = residualOf(start);
        const Samples target = weightedSynthesis(filters_, residual, length, beforeSubframe);
        double *const excitation = &excitation_[past + start];
        std::copy_n(residual.begin(), length, excitation);
        const Pitch pitch = searchPitch(codec_, target, impulse, excitation);
        const Samples rest = difference(residual, pitch.gain, pitch.vector);
        subframe.pitchLag = static_cast<int16_t>(pitch.lag);
        subframe.pitchGain = static_cast<int16_t>(std::lround(pitch.gain * 16384));
        quantise(difference(target, pitch.gain, pitch.filtered), 1, subframe.target);
        quantise(rest, 1, subframe.residual);
        quantise(impulse, codec_.one, subframe.impulse);

        const Samples lost = difference(rest, 1, largestQuarter(rest, length));
        std::copy_n(difference(residual, 1, lost).begin(), length, excitation);
        weightedSynthesis(filters_, lost, length, memory_);
        return subframe;
    }

    void describe(size_t start, Subframe &subframe) const {
        Line samples = {};
        for (size_t n = 0; n < codec_.order + codec_.subframeLength; n++)
            samples[n] = sample(start + n, codec_.order);
        quantise(samples, 1, subframe.speech);
        quantise(filters_.lpc, 4096, subframe.lpc);
        quantise(filters_.numerator, 4096, subframe.numerator);
        quantise(filters_.denominator, 4096, subframe.denominator);
        quantiseMemory(memory_.error, codec_.order, subframe.synthesisMemory);
        quantiseMemory(memory_.weighted, codec_.order, subframe.weightingMemory);
    }

    Codec codec_;
    std::vector<double> speech_;
    std::vector<double> excitation_; // `past` zeros in front
    Filters filters_ = {};
    FilterMemory memory_;
};

} // namespace

std::vector<Subframe> analyse(const Codec &codec, std::span<const int16_t> speech) {
    return FrontEnd(codec, speech).run();
}

std::vector<Coefficients> analyseFilters(const Codec &codec, std::span<const int16_t> speech) {
    const std::vector<double> samples = preEmphasised(codec, speech);
    const size_t frameLength = subframes * codec.subframeLength;
    std::vector<Coefficients> filters(samples.size() / frameLength);
    for (size_t frame = 0; frame < filters.size(); frame++)
        quantise(levinsonDurbin(autocorrelation(codec, samples, frame * frameLength), codec.order), 4096,
                 filters[frame]);
    return filters;
}

} // namespace celp
