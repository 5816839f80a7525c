// SPDX-License-Identifier: BSD-2-Clause
// Automatic level control in the sense of ITU-T G.169, in single precision.
//
// All decisions are made once per block of eight samples, each from the newest values that stand in the state.
#include <algorithm>
#include <cfloat>
#include <cmath>

#include "alc/implementations.h"
#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"

using namespace ryxsc;

namespace {

using State = ALCState_G169;

constexpr int blockLength = 8;
constexpr int16_t largestCount = 16383;

// Active blocks: from these counts on a spurt moves the gain, is no click, and has settled.
constexpr int blocksBeforeGain = 10, blocksBeforePower = 20, blocksOfSpeech = 50, blocksOfSettledSpeech = 500;

constexpr float levelScaleStart = 0.7F, levelScaleEnd = 0.89F, levelScaleGrowth = 1.000461F;

struct Block {
    __m128 front, back;
};

Block loadSamples(const int16_t *src) {
    const simd::Vector words = simd::load(src);
    return {_mm_cvtepi32_ps(simd::frontDwords(words)), _mm_cvtepi32_ps(simd::backDwords(words))};
}

// Towards zero; the ceiling keeps the products within 17 bits.
void storeAmplified(int16_t *dst, Block x, float gain) {
    const __m128 gains = _mm_set1_ps(gain);
    simd::store(dst, _mm_packs_epi32(_mm_cvttps_epi32(_mm_mul_ps(x.front, gains)),
                                     _mm_cvttps_epi32(_mm_mul_ps(x.back, gains))));
}

void measure(State &s, Block x) {
    const __m128 magnitude = _mm_castsi128_ps(simd::dwords(max32));
    const __m128 front = _mm_and_ps(x.front, magnitude), back = _mm_and_ps(x.back, magnitude);
    const __m128 sums = _mm_add_ps(front, back);
    const __m128 powers = _mm_add_ps(_mm_mul_ps(front, front), _mm_mul_ps(back, back));
    const __m128 halves = _mm_add_ps(_mm_unpacklo_ps(sums, powers), _mm_unpackhi_ps(sums, powers));
    const __m128 means = _mm_mul_ps(_mm_add_ps(halves, _mm_movehl_ps(halves, halves)), _mm_set1_ps(0.125F));
    const __m128 four = _mm_max_ps(front, back);
    const __m128 two = _mm_max_ps(four, _mm_movehl_ps(four, four));
    s.meanAbs = _mm_cvtss_f32(means);
    s.meanPower = _mm_cvtss_f32(_mm_shuffle_ps(means, means, 1));
    s.blockPeak = _mm_cvtss_f32(_mm_max_ss(two, _mm_shuffle_ps(two, two, 1)));
}

void followLevel(State &s) {
    s.smoothLevel = 0.8F * s.meanAbs + 0.2F * s.smoothLevel;
    s.peakHold = std::max(s.smoothLevel, 0.99F * s.peakHold);
}

float noiseFromLevel(const State &s) {
    if (s.noiseFloor > s.smoothLevel) return 0.9F * s.noiseFloor + 0.1F * s.smoothLevel;
    if (2 * s.noiseFloor > s.smoothLevel) return 0.99F * s.noiseFloor + 0.01F * s.smoothLevel;
    return s.noiseFloor;
}

// Once speech is known, the floor goes up to its upper limit.
float noiseFromSpeech(const State &s) {
    if (s.spurtCount < 1) return 0;
    if (s.spurtCount == 1 && (s.activeBlocks <= blocksOfSettledSpeech || s.powerRate >= 0.0025F)) return 0;
    return 1456.7665F * s.speechLevel;
}

void followNoise(State &s) {
    const float noise = std::max(noiseFromSpeech(s), std::max(s.noiseFloorMin, noiseFromLevel(s)));
    s.noiseFloor = std::min(s.noiseFloorMax, noise);
    s.threshold = 4 * s.noiseFloor;
    const float slow = s.slowLevel > s.smoothLevel ? 0.7F * s.slowLevel + 0.3F * s.smoothLevel
                                                   : 0.99F * s.slowLevel + 0.01F * s.smoothLevel;
    s.slowLevel = std::max(s.noiseFloor, slow);
}

void increment(int16_t &count) {
    if (count < largestCount) count++;
}

void beginSpurt(State &s) {
    increment(s.spurtCount);
    s.savedPowerEstimate = s.powerEstimate;
    s.savedGainTarget = s.gainTarget;
    s.savedPowerRate = s.powerRate;
    s.active = 1;
    s.levelScale = levelScaleStart;
}

// A short spurt was a click: nothing that it moved stays.
void endSpurt(State &s) {
    s.active = 0;
    if (s.activeBlocks < blocksOfSpeech) {
        s.spurtCount--;
        s.powerEstimate = s.savedPowerEstimate;
        s.gainTarget = s.savedGainTarget;
        s.powerRate = s.savedPowerRate;
    }
    s.activeBlocks = 0;
}

void followSpurts(State &s) {
    if (s.meanAbs > s.threshold) increment(s.activeBlocks);
    if (s.peakHold > s.threshold) {
        s.hangCounter = 0;
        if (!s.active) beginSpurt(s);
    } else if (!s.active) {
        s.activeBlocks = 0;
    } else {
        increment(s.hangCounter);
        if (static_cast<float>(s.hangCounter) == s.hangBlocks) endSpurt(s);
    }
}

// The first spurt moves the gain in its rising blocks only until it has settled.
float chooseStep(const State &s) {
    if (s.spurtCount != 1) return s.gainStep;
    if (s.activeBlocks < blocksBeforeGain) return 0;
    return s.activeBlocks < blocksOfSettledSpeech && 3 * s.slowLevel > s.smoothLevel ? 0 : s.gainStep;
}

float followPeak(const State &s) {
    if (!s.active) return s.spurtCount == 0 ? s.peakHold : s.speechLevel;
    if (s.peakHold > s.peakReference) return s.peakHold;
    return s.peakHold > s.threshold ? 0.999F * s.peakReference + 0.001F * s.peakHold : s.peakReference;
}

// Moves the power estimate, inside a spurt only, and returns the rate to go on with.
float followPower(State &s) {
    if (!s.active) return s.spurtCount == 0 ? 0.1F : std::max(s.powerRateActiveMin, s.powerRate);
    const bool isSettled = s.activeBlocks >= blocksOfSettledSpeech;
    float rate = s.powerRate;
    if (s.spurtCount == 1 && !isSettled && 0.1F * s.meanPower > s.powerEstimate) rate = std::max(0.05F, rate);
    if (s.threshold > s.smoothLevel) {
        if (!isSettled) s.levelScale = levelScaleStart;
    } else if (s.meanAbs >= s.threshold || s.activeBlocks >= blocksBeforePower) {
        rate -= rate * rate;
        s.powerEstimate += rate * (s.meanPower - s.powerEstimate);
    }
    return rate;
}

void followSpeech(State &s) {
    const float rate = followPower(s);
    s.speechLevel = s.levelScale * std::sqrt(s.powerEstimate);
    s.powerRate = std::max(s.powerRateMin, rate);
    if (s.activeBlocks < blocksOfSettledSpeech) s.levelScale = std::min(levelScaleEnd, s.levelScale * levelScaleGrowth);
}

// The divisors are positive: the target is, and it is not above their products with the largest gain.
void moveGainTarget(State &s) {
    float limit, basis;
    if (s.targetLevel > s.speechLevel * s.maxGain) {
        limit = s.maxGain;
        basis = s.targetLevel > s.maxGain * s.peakReference ? s.maxGain : s.targetLevel / s.peakReference;
    } else {
        limit = basis = s.targetLevel / s.speechLevel;
    }
    s.gainTarget = std::min(limit, s.gainTarget + s.stepInUse * basis);
}

// After a block that met the ceiling the gain comes back slowly.
void applyCeiling(State &s) {
    s.appliedGain = std::min(s.gainTarget, s.appliedGain + (s.gainTarget - s.appliedGain) * s.gainRate);
    if (s.blockPeak * s.appliedGain > s.peakCeiling) {
        s.appliedGain = s.peakCeiling / s.blockPeak;
        s.gainRate = 0.001F;
    } else {
        s.gainRate = std::min(1.0F, 1.1F * s.gainRate);
    }
}

void controlGain(State &s, Block x) {
    measure(s, x);
    followLevel(s);
    followNoise(s);
    followSpurts(s);
    s.stepInUse = chooseStep(s);
    s.peakReference = followPeak(s);
    followSpeech(s);
    if (s.active) moveGainTarget(s);
    applyCeiling(s);
}

double ratio(float decibels) {
    return std::pow(10.0, decibels / 20.0);
}

// Also for what is no number.
bool isNegative(float decibels) {
    return !(decibels >= 0);
}

} // namespace

ryxStatus ryxsALCGetStateSize_G169_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsALCInit_G169_16s_u8(ALCState_G169 *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    State s = {};
    s.targetLevel = 1623.4912F; // 26.1 dB below 32768
    s.peakCeiling = 32767;
    s.noiseFloorMin = 4.125246F;
    s.noiseFloorMax = s.noiseFloor = s.threshold = 65.38F;
    s.maxGain = 3.80189F; // 11.6 dB
    s.powerRateActiveMin = 0.02F;
    s.powerRateMin = 0.0033333F;
    s.hangBlocks = 200;
    s.gainStep = 0.01F;
    s.hangCounter = 200;
    s.slowLevel = 32767;
    s.powerRate = s.savedPowerRate = 0.1F;
    s.levelScale = levelScaleStart;
    s.gainTarget = s.savedGainTarget = 0.03125F;
    s.gainRate = 1;
    saveBlock(state, s);
    return ryxStsOk;
}

// The limits of the float range keep zeros and infinities out of the recursions.
ryxStatus ryxsALCSetGain_G169_16s_u8(ALCState_G169 *state, float gain) {
    if (anyNull(state)) return ryxStsNullPtr;
    if (isNegative(gain)) return ryxStsOutOfRange;
    auto s = loadBlock<State>(state);
    s.maxGain = static_cast<float>(std::min<double>(ratio(gain), FLT_MAX));
    saveBlock(state, s);
    return ryxStsOk;
}

ryxStatus ryxsALCSetLevel_G169_16s_u8(ALCState_G169 *state, float target, float ceiling) {
    if (anyNull(state)) return ryxStsNullPtr;
    if (isNegative(target) || isNegative(ceiling)) return ryxStsOutOfRange;
    auto s = loadBlock<State>(state);
    s.targetLevel = static_cast<float>(std::max<double>(32768 / ratio(target), FLT_MIN));
    s.peakCeiling = static_cast<float>(32768 / ratio(ceiling));
    saveBlock(state, s);
    return ryxStsOk;
}

ryxStatus ryxsALC_G169_16s_u8(const int16_t *src, int16_t *dst, int len, ALCState_G169 *state) {
    if (anyNull(src, dst, state)) return ryxStsNullPtr;
    if (len < blockLength || len % blockLength != 0) return ryxStsOutOfRange;
    auto s = loadBlock<State>(state);
    for (int i = 0; i < len; i += blockLength) {
        const Block x = loadSamples(src + i);
        controlGain(s, x);
        storeAmplified(dst + i, x, s.appliedGain);
    }
    saveBlock(state, s);
    return ryxStsOk;
}
