// SPDX-License-Identifier: BSD-2-Clause
#include <cmath>
#include <numbers>

#include "g729/lsp_codebooks.h"
#include "reference/g729_lsp.h"

namespace numbers = ryxsc::g729;

namespace reference::g729 {

namespace {

constexpr double unit = 1e-4;
constexpr double startError = 1e38;
using Ten = std::array<double, 10>;

double first(int i, size_t j) {
    return unit * numbers::firstStageVectors[i][j];
}

double second(int i, size_t j) {
    return unit * numbers::secondStageVectors[i][j];
}

double tap(Frame frame, int mode, size_t k, size_t j) {
    const double one = unit * numbers::predictorTaps[mode][k][j];
    return frame == Frame::noise && mode == 1 ? 0.6 * unit * numbers::predictorTaps[0][k][j] + 0.4 * one : one;
}

Ten target(Frame frame, int mode, const Ten &lsf, const float *history) {
    Ten x = lsf;
    for (size_t j = 0; j < 10; j++) {
        for (size_t k = 0; k < 4; k++)
            x[j] -= history[10 * k + j] * tap(frame, mode, k, j);
        x[j] *= realInverseGain(frame, mode, static_cast<int>(j));
    }
    return x;
}

Ten weightsOf(const Ten &f) {
    using std::numbers::pi;
    Ten weights;
    for (size_t j = 0; j < 10; j++) {
        const double d = (j < 9 ? f[j + 1] : 0.92 * pi) - (j > 0 ? f[j - 1] : 0.04 * pi) - 1;
        weights[j] = (d > 0 ? 1 : 10 * d * d + 1) * (j == 4 || j == 5 ? 1.2 : 1);
    }
    return weights;
}

void spread(Ten &x, double gap) {
    for (size_t j = 1; j < 10; j++)
        if (const double move = (x[j - 1] - x[j] + gap) / 2; move > 0) {
            x[j - 1] -= move;
            x[j] += move;
        }
}

template <class Difference> double squares(size_t from, size_t to, Difference difference) {
    double sum = 0;
    for (size_t j = from; j < to; j++)
        sum += difference(j) * difference(j);
    return sum;
}

double searchMode(int mode, const Ten &r, const Ten &weights, Indices &indices) {
    const int l1 =
        smallest(128, startError, [&](int i) { return squares(0, 10, [&](size_t j) { return r[j] - first(i, j); }); });
    indices = {static_cast<int16_t>(mode), static_cast<int16_t>(l1)};
    Ten b;
    for (size_t from : {0U, 5U}) {
        const int l = smallest(32, startError, [&](int i) {
            return squares(from, from + 5,
                           [&](size_t j) { return std::sqrt(weights[j]) * (r[j] - first(l1, j) - second(i, j)); });
        });
        indices[2 + from / 5] = static_cast<int16_t>(l);
        for (size_t j = from; j < from + 5; j++)
            b[j] = first(l1, j) + second(l, j);
    }
    spread(b, 0.0012);
    spread(b, 0.0006);
    return squares(0, 10, [&](size_t j) {
        return std::sqrt(weights[j]) * (b[j] - r[j]) * realGain(Frame::speech, mode, static_cast<int>(j));
    });
}

} // namespace

Indices searchReal(const float *lsf, const float *history) {
    Ten f;
    std::copy(lsf, lsf + 10, f.begin());
    Indices found[2];
    double error[2];
    for (int mode = 0; mode < 2; mode++)
        error[mode] = searchMode(mode, target(Frame::speech, mode, f, history), weightsOf(f), found[mode]);
    return found[error[1] < error[0]];
}

Indices searchRealNoise(const float *lsf, const float *history) {
    Ten f;
    std::copy(lsf, lsf + 10, f.begin());
    f[0] = std::max(f[0], 0.005);
    for (size_t j = 0; j < 9; j++)
        f[j + 1] = f[j + 1] - f[j] < 0.0784 ? f[j] + 0.0784 : f[j + 1];
    f[9] = std::min(f[9], 3.135);
    if (f[9] < f[8]) f[8] = f[9] - 0.0392;

    const Ten weights = weightsOf(f);
    const Ten r[2] = {target(Frame::noise, 0, f, history), target(Frame::noise, 1, f, history)};
    std::array<double, 64> errors;
    for (int i = 0; i < 64; i++)
        errors[static_cast<size_t>(i)] = numbers::noiseModeWeightsFloat[i / 32] * squares(0, 10, [&](size_t j) {
                                             return r[i / 32][j] - first(numbers::noiseFirstStage[i % 32], j);
                                         });
    return bestOfFourCandidates(errors, startError, [&](int mode, int l1, int l2) {
        return squares(0, 10, [&](size_t j) {
            const double rest = r[mode][j] - first(numbers::noiseFirstStage[l1], j);
            const double t = rest - second(numbers::noiseSecondStage[j / 5][l2], j);
            return std::sqrt(weights[j]) * realGain(Frame::noise, mode, static_cast<int>(j)) * t;
        });
    });
}

} // namespace reference::g729
