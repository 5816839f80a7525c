// SPDX-License-Identifier: BSD-2-Clause
#include "plan.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace ryxecho {

namespace {

constexpr bool isFlag(int x) {
    return x == 0 || x == 1;
}

constexpr bool isWithin(float x, float low, float high) {
    return x >= low && x <= high; // false for NaN
}

ryxStatus checkOptions(const ryxEchoOptions &options) {
    if (options.method < ryxEchoTransform || options.method > ryxEchoSubband) return ryxStsBadArg;
    if (!isFlag(options.suppression) || !isFlag(options.tone)) return ryxStsBadArg;
    const int rate = options.sampleRate;
    const bool isNarrow = rate == 8000 || rate == 16000, isWide = rate == 32000 || rate == 48000;
    if (!isNarrow && !(isWide && options.method == ryxEchoTransform && options.tone == 0)) return ryxStsOutOfRange;
    if (options.tail < 8 || options.tail > 500) return ryxStsOutOfRange;
    const int block = options.blockLength;
    if (block != 0) {
        if (block < 1 || !std::has_single_bit(static_cast<unsigned>(block))) return ryxStsOutOfRange;
        if (block < rate / 250 || block > rate / 1000 * 32) return ryxStsOutOfRange;
    }
    if (options.callLength < 1 || options.callLength > rate / 1000 * 60) return ryxStsOutOfRange;
    if (!isWithin(options.noiseBound, 0, 120)) return ryxStsOutOfRange;
    if (!isWithin(options.echoBound, options.noiseBound, 120)) return ryxStsOutOfRange;
    return options.fullScale == 32768 || options.fullScale == 1 ? ryxStsOk : ryxStsOutOfRange;
}

int orderOf(int points) {
    return std::countr_zero(static_cast<unsigned>(points));
}

void planTransform(Plan &plan) {
    const int rate = plan.options.sampleRate;
    plan.block = plan.hop = plan.options.blockLength;
    if (plan.block == 0) plan.block = plan.hop = rate == 48000 ? 512 : rate / 125;
    plan.order = orderOf(2 * plan.block);
    plan.methodDelay = plan.suppresses() ? plan.block : 0;
}

// A millisecond at a time; 8 ms with suppression, whose transform covers two of these.
void planFullband(Plan &plan) {
    const int millisecond = plan.options.sampleRate / 1000;
    plan.hop = 8 * millisecond;
    plan.block = plan.suppresses() ? plan.hop : millisecond;
    plan.order = orderOf(2 * plan.hop);
    plan.methodDelay = plan.suppresses() ? plan.hop : 0;
}

// Fourfold oversampling in time: 8 ms transforms every 2 ms.
void planSubband(Plan &plan) {
    plan.block = plan.hop = plan.options.sampleRate / 500;
    plan.order = orderOf(4 * plan.hop);
    plan.methodDelay = subbandWindowPeriods * plan.points() - plan.hop;
}

ryxStatus sizeStates(Plan &plan) {
    const int rate = plan.options.sampleRate, points = plan.points();
    const int window = plan.options.method == ryxEchoSubband ? subbandWindowPeriods * points : points;
    int initBytes;
    ryxStatus status = ryxsSubbandProcessGetSize_32f(plan.order, points, &plan.bankBytes, &initBytes, &plan.workBytes);
    if (status == ryxStsOk)
        status = ryxsSubbandProcessGetSize_32f(plan.order, window, &plan.shapedBankBytes, &initBytes, &plan.workBytes);
    if (status == ryxStsOk) status = ryxsNoiseFilterGetSize_EC_32f(plan.bands(), plan.hop, rate, &plan.filterBytes);
    if (status == ryxStsOk && plan.options.tone) status = ryxsToneDetectGetStateSize_EC_32f(rate, &plan.toneBytes);
    if (status != ryxStsOk) return status;
    if (plan.options.method == ryxEchoFullband)
        return ryxsFullbandControllerGetSize_EC_32f(rate / 1000, plan.taps, rate, &plan.controllerBytes);
    return ryxsSubbandControllerGetSize_EC_32f(plan.bands(), plan.taps, plan.hop, rate, &plan.controllerBytes);
}

} // namespace

ryxStatus makePlan(const ryxEchoOptions &options, Plan &plan) {
    if (const ryxStatus status = checkOptions(options)) return status;
    plan = {};
    plan.options = options;
    const int tail = options.sampleRate / 1000 * options.tail;
    switch (options.method) {
    case ryxEchoTransform:
        planTransform(plan);
        break;
    case ryxEchoFullband:
        planFullband(plan);
        break;
    default:
        planSubband(plan);
    }
    plan.taps = options.method == ryxEchoFullband ? tail : (tail + plan.hop - 1) / plan.hop;
    plan.callDelay = plan.block - std::gcd(plan.block, options.callLength);
    plan.longestInput = (plan.block + options.callLength - 1) / options.callLength * options.callLength;
    plan.energySmoothing = std::exp(-plan.block / (0.11 * options.sampleRate));
    return sizeStates(plan);
}

} // namespace ryxecho
