// SPDX-License-Identifier: BSD-2-Clause
#include "reference/g729_lsp.h"

#include <algorithm>
#include <utility>

#include "common/fixed_point.h"
#include "g729/lsp_codebooks.h"

using namespace ryxsc;
namespace numbers = ryxsc::g729;

namespace reference::g729 {

namespace {

constexpr int order = 10;

template <class Index> size_t at(Index i) {
    return static_cast<size_t>(i);
}

int16_t scaled(int tenThousandths, int one) {
    return static_cast<int16_t>(tenThousandths * one / 10000);
}

int first(Frame frame, int l1) {
    return frame == Frame::noise ? numbers::noiseFirstStage[l1] : l1;
}

int second(Frame frame, const Indices &indices, int j) {
    return frame == Frame::noise ? numbers::noiseSecondStage[j / 5][indices[2]] : indices[at(2 + j / 5)];
}

void spread(Lsf &x, int16_t gap) {
    for (size_t j = 1; j < order; j++) {
        const auto move = static_cast<int16_t>(add(sub(x[j - 1], x[j]), gap) >> 1);
        if (move <= 0) continue;
        x[j - 1] = sub(x[j - 1], move);
        x[j] = add(x[j], move);
    }
}

Lsf residualOf(Frame frame, const Indices &indices) {
    Lsf residual;
    for (int j = 0; j < order; j++)
        residual[at(j)] = add(firstStage(first(frame, indices[1]), j), secondStage(second(frame, indices, j), j));
    spread(residual, 10);
    if (frame == Frame::speech) spread(residual, 5);
    return residual;
}

Lsf removePrediction(Frame frame, int mode, const LsfHistory &history, const Lsf &lsf) {
    Lsf residual;
    for (int j = 0; j < order; j++) {
        int32_t acc = L_deposit_h(lsf[at(j)]);
        for (int k = 0; k < 4; k++)
            acc = L_msu(acc, history[at(10 * k + j)], tap(frame, mode, k, j));
        residual[at(j)] = extract_h(L_shl(L_mult(extract_h(acc), inverseGain(frame, mode, j)), 3));
    }
    return residual;
}

void push(LsfHistory &history, const Lsf &residual) {
    std::copy_backward(history.begin(), history.begin() + 30, history.end());
    std::copy(residual.begin(), residual.end(), history.begin());
}

int stabilise(Lsf &lsf) {
    for (size_t j = 0; j < 9; j++)
        if (lsf[j + 1] < lsf[j]) std::swap(lsf[j], lsf[j + 1]);
    const bool low = lsf[0] < 40;
    if (low) lsf[0] = 40;
    for (size_t j = 0; j < 9; j++)
        if (L_sub(lsf[j + 1], lsf[j]) < 321) lsf[j + 1] = add(lsf[j], 321);
    const bool high = lsf[9] > 25681;
    if (high) lsf[9] = 25681;
    return low ? (high ? 15 : 13) : (high ? 14 : 0);
}

Lsf weightsOf(const Lsf &lsf) {
    Lsf weights;
    for (size_t j = 0; j < order; j++) {
        int16_t distance;
        if (j == 0)
            distance = sub(lsf[1], 9221);
        else if (j == 9)
            distance = sub(15485, lsf[8]);
        else
            distance = sub(sub(lsf[j + 1], lsf[j - 1]), 8192);
        weights[j] = 2048;
        if (distance > 0) continue;
        const int16_t squared = extract_h(L_shl(L_mult(distance, distance), 2));
        weights[j] = add(extract_h(L_shl(L_mult(squared, 20480), 2)), 2048);
    }
    for (const size_t j : {4U, 5U})
        weights[j] = extract_h(L_shl(L_mult(weights[j], 19661), 1));
    const int16_t count = norm_s(*std::max_element(weights.begin(), weights.end()));
    for (int16_t &weight : weights)
        weight = shl(weight, count);
    return weights;
}

int32_t modeDistortion(int mode, const Lsf &residual, const Lsf &target, const Lsf &weights) {
    int32_t sum = 0;
    for (size_t j = 0; j < order; j++) {
        const int16_t x = mult(sub(residual[j], target[j]), gain(Frame::speech, mode, static_cast<int>(j)));
        sum = L_mac(sum, extract_h(L_shl(L_mult(weights[j], x), 4)), x);
    }
    return sum;
}

int32_t firstDistortion(Frame frame, int l1, const Lsf &target) {
    int32_t sum = 0;
    for (int j = 0; j < order; j++) {
        const int16_t t = sub(target[at(j)], firstStage(first(frame, l1), j));
        sum = L_mac(sum, t, t);
    }
    return sum;
}

Indices searchMode(int mode, const Lsf &target, const Lsf &weights) {
    Indices indices = {static_cast<int16_t>(mode)};
    indices[1] =
        static_cast<int16_t>(smallest(128, max32, [&](int i) { return firstDistortion(Frame::speech, i, target); }));
    for (int half = 0; half < 2; half++)
        indices[at(2 + half)] = static_cast<int16_t>(smallest(32, max32, [&](int i) {
            int32_t sum = 0;
            for (int j = 5 * half; j < 5 * half + 5; j++) {
                const int16_t rest = sub(target[at(j)], firstStage(indices[1], j));
                const int16_t t = sub(rest, secondStage(i, j));
                sum = L_mac(sum, mult(weights[at(j)], t), t);
            }
            return sum;
        }));
    return indices;
}

Lsf spaced(Lsf x) {
    x[0] = std::max<int16_t>(x[0], 40);
    for (size_t j = 0; j < 9; j++)
        if (sub(x[j + 1], x[j]) < 642) x[j + 1] = add(x[j], 642);
    x[9] = std::min<int16_t>(x[9], 25681);
    if (x[9] < x[8]) x[8] = sub(x[9], 321);
    return x;
}

int16_t noiseDistortion(int mode, int l1, int l2, const Lsf &target, const Lsf &weights) {
    int32_t sum = 0;
    for (int j = 0; j < order; j++) {
        const int16_t s = gain(Frame::noise, mode, j);
        const int16_t q = mult(extract_h(L_shl(L_mult(s, s), 2)), weights[at(j)]);
        const int16_t rest = sub(target[at(j)], firstStage(first(Frame::noise, l1), j));
        const int16_t t = sub(rest, secondStage(numbers::noiseSecondStage[j / 5][l2], j));
        sum = L_mac(sum, extract_h(L_shl(L_mult(q, t), 3)), t);
    }
    return extract_h(sum);
}

} // namespace

int16_t firstStage(int vector, int j) {
    return scaled(numbers::firstStageVectors[vector][j], 8192);
}

int16_t secondStage(int vector, int j) {
    return scaled(numbers::secondStageVectors[vector][j], 8192);
}

int16_t tap(Frame frame, int mode, int k, int j) {
    const int16_t one = scaled(numbers::predictorTaps[mode][k][j], 32768);
    if (frame == Frame::speech || mode == 0) return one;
    return extract_h(L_mac(L_mult(tap(Frame::speech, 0, k, j), 19660), one, 13107));
}

float realGain(Frame frame, int mode, int j) {
    if (frame == Frame::noise) return numbers::noiseGains[mode][j];
    float rest = 1;
    for (int k = 0; k < 4; k++)
        rest -= static_cast<float>(numbers::predictorTaps[mode][k][j] / 10000.0);
    return rest;
}

float realInverseGain(Frame frame, int mode, int j) {
    return frame == Frame::noise ? numbers::noiseInverseGains[mode][j] : 1 / realGain(frame, mode, j);
}

int16_t gain(Frame frame, int mode, int j) {
    return static_cast<int16_t>(32768 * realGain(frame, mode, j));
}

int16_t inverseGain(Frame frame, int mode, int j) {
    return static_cast<int16_t>(4096 * realInverseGain(frame, mode, j));
}

int decode(Frame frame, const Indices &indices, LsfHistory &history, Lsf &lsf) {
    const Lsf residual = residualOf(frame, indices);
    for (int j = 0; j < order; j++) {
        int32_t acc = L_mult(residual[at(j)], gain(frame, indices[0], j));
        for (int k = 0; k < 4; k++)
            acc = L_mac(acc, history[at(10 * k + j)], tap(frame, indices[0], k, j));
        lsf[at(j)] = extract_h(acc);
    }
    push(history, residual);
    return stabilise(lsf);
}

void erase(int mode, LsfHistory &history, const Lsf &lsf) {
    push(history, removePrediction(Frame::speech, mode, history, lsf));
}

Indices quantise(const Lsf &lsf, LsfHistory &history, Lsf &quantised) {
    const Lsf weights = weightsOf(lsf);
    Indices found[2];
    int32_t distortion[2];
    for (int mode = 0; mode < 2; mode++) {
        const Lsf target = removePrediction(Frame::speech, mode, history, lsf);
        found[mode] = searchMode(mode, target, weights);
        distortion[mode] = modeDistortion(mode, residualOf(Frame::speech, found[mode]), target, weights);
    }
    const Indices &best = found[distortion[1] < distortion[0]];
    decode(Frame::speech, best, history, quantised);
    return best;
}

Indices quantiseNoise(const Lsf &lsf, LsfHistory &history, Lsf &quantised) {
    const Lsf unquantised = spaced(lsf);
    const Lsf weights = weightsOf(unquantised);
    Lsf targets[2];
    std::array<int16_t, 64> errors;
    for (int i = 0; i < 64; i++) {
        const int mode = i / 32;
        targets[mode] = removePrediction(Frame::noise, mode, history, unquantised);
        const int16_t distortion = extract_h(firstDistortion(Frame::noise, i % 32, targets[mode]));
        errors[at(i)] = mult(distortion, numbers::noiseModeWeights[mode]);
    }
    const Indices best = bestOfFourCandidates(
        errors, max16, [&](int mode, int l1, int l2) { return noiseDistortion(mode, l1, l2, targets[mode], weights); });
    decode(Frame::noise, best, history, quantised);
    return best;
}

} // namespace reference::g729
