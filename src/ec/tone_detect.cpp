// SPDX-License-Identifier: BSD-2-Clause
// Detector of the 2100 Hz tone with phase reversals that disables echo cancellers (ITU-T G.164, G.165): a resonator takes
// the tone out of the signal, and the ratio of the powers behind and in front of it tells whether there is nothing else. At a
// reversal the ratio dips for a moment.
#include <algorithm>
#include <cmath>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/state_block.h"
#include "ec/implementations.h"

using namespace ryxsc;

namespace {

template <class Sample> struct Resonator {
    Sample c0, c1, c2, c3; // of x[n], x[n-2], -y[n-1], -y[n-2]
};

constexpr Resonator<float> floatResonator8k = {0.037804753F, -0.037804753F, 0.15110244F, 0.92439049F};
constexpr Resonator<float> floatResonator16k = {0.019259274F, -0.019259274F, -1.3317118F, 0.96148145F};
constexpr Resonator<int16_t> resonator8k = {155, -155, 619, 3786}; // Q12
constexpr Resonator<int16_t> resonator16k = {79, -79, -5455, 3938};

// The higher rate has the faster smoothing; that is deliberate.
constexpr float floatSmoothing8k = 0.96F, floatSmoothing16k = 0.92F;
constexpr int16_t smoothing8k = 15728, smoothing16k = 15073; // Q14

enum class Sound { tone, dip, deepDip, other };

// Times in samples.
struct Reversals {
    int32_t toneCount; // of continuous tone since the last reversal
    int32_t minCount, maxCount;
    int32_t gapCount, gapLimit;
    int32_t count;

    void restart(int sampleRate) {
        *this = {};
        minCount = sampleRate * 413 / 1000; // no smaller for 0.413 in double precision, nor are the others
        maxCount = sampleRate * 466 / 1000;
        gapLimit = sampleRate * 2 / 100;
    }

    // Takes the next sample in. Returns whether it was the second reversal, or a later one.
    bool follow(Sound sound) {
        if (sound == Sound::dip || sound == Sound::deepDip) return dip(sound == Sound::deepDip);
        toneCount = sound == Sound::tone ? toneCount + (toneCount < max32) : 0;
        gapCount = 0;
        return false;
    }

private:
    // A sample without tone that may belong to a reversal.
    bool dip(bool deep) {
        bool found = false;
        if (deep && minCount < toneCount && toneCount < maxCount) {
            count += count < max32;
            found = count >= 2;
            toneCount = 0;
        }
        gapCount++;
        if (gapCount > gapLimit) toneCount = gapCount = count = 0;
        return found;
    }
};

template <class Sample, class Power> struct alignas(8) State {
    int32_t sampleRate;
    int32_t unused;
    Power outputPower, inputPower;
    Sample x1, x2, y1, y2;
    Sample smoothing;
    Reversals reversals;
};
using FloatState = State<float, float>;
using FixedState = State<int16_t, int32_t>;
static_assert(sizeof(FloatState) == 64 && sizeof(FixedState) == 56);

bool isRate(int sampleRate) {
    return sampleRate == 8000 || sampleRate == 16000;
}

template <class State> ryxStatus reportSize(int sampleRate, int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    if (!isRate(sampleRate)) return ryxStsOutOfRange;
    *size = alignedBlockBytes<State>;
    return ryxStsOk;
}

template <class State, class Smoothing>
ryxStatus initialise(void *block, int sampleRate, Smoothing narrowband, Smoothing wideband) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (!isRate(sampleRate)) return ryxStsOutOfRange;
    State &state = alignedBlock<State>(block);
    state = {};
    state.sampleRate = sampleRate;
    state.smoothing = sampleRate == 16000 ? wideband : narrowband;
    state.reversals.restart(sampleRate);
    return ryxStsOk;
}

float resonate(const Resonator<float> &resonator, const FloatState &state, float x) {
    return resonator.c0 * x + resonator.c1 * state.x2 - resonator.c2 * state.y1 - resonator.c3 * state.y2;
}
// The term of the newest output comes last, since everything waits for it.
int16_t resonate(const Resonator<int16_t> &resonator, const FixedState &state, int16_t x) {
    const int32_t known = resonator.c0 * x + resonator.c1 * state.x2 - resonator.c3 * state.y2 + 2048;
    return sat16((known - resonator.c2 * state.y1) >> 12);
}

float smoothPower(float smoothing, float power, float x) {
    return smoothing * power + (1 - smoothing) * (x * x);
}
// The products need 64 bits: in 32 they would wrap from an amplitude of 360 on.
int32_t smoothPower(int16_t smoothing, int32_t power, int16_t x) {
    const int64_t sum = int64_t{x * x} * (16384 - smoothing) + int64_t{power} * smoothing;
    return static_cast<int32_t>(sum >> 14);
}

// What the powers tell of the newest sample. The forms differ on purpose: the 16-bit one has no third case.
Sound classify(const FloatState &state) {
    const float out = state.outputPower, in = state.inputPower;
    if (out > 0.8F * in && 10000 * in > out) return Sound::tone;
    if (out > 0.0008F * in && in > out) return 0.48F * in > out ? Sound::deepDip : Sound::dip;
    return Sound::other;
}
Sound classify(const FixedState &state) {
    const int64_t out = state.outputPower, in = state.inputPower;
    if (out > (13107 * in) >> 14) return Sound::tone;
    return out < (7864 * in) >> 14 ? Sound::deepDip : Sound::dip;
}

template <class Sample, class Power>
bool detect(const Sample *src, int len, const Resonator<Sample> &resonator, State<Sample, Power> &block) {
    State<Sample, Power> state = block;
    bool detected = false;
    for (int n = 0; n < len; n++) {
        const Sample x = src[n], y = resonate(resonator, state, x);
        state.x2 = state.x1;
        state.x1 = x;
        state.y2 = state.y1;
        state.y1 = y;
        state.inputPower = smoothPower(state.smoothing, state.inputPower, x);
        state.outputPower = smoothPower(state.smoothing, state.outputPower, y);
        detected |= state.reversals.follow(classify(state));
    }
    block = state;
    return detected;
}

// Silence leaves denormal numbers behind, which take a processor a hundred times as long. An output whose square is 0 has no
// effect any more; the powers come to a stand a few steps above 0, where rounding takes back what smoothing has taken away.
bool isAtRest(FloatState &state) {
    constexpr float vanishing = 1e-30F;
    const bool quiet = std::fabs(state.y1) < vanishing && std::fabs(state.y2) < vanishing;
    if (!quiet || state.x1 != 0 || state.x2 != 0) return false;
    state.y1 = state.y2 = 0;
    const auto stands = [&](float power) { return smoothPower(state.smoothing, power, 0) == power; };
    return stands(state.inputPower) && stands(state.outputPower);
}

// In a filter at rest every sample of silence is what the first one is.
bool detectWithRests(const float *src, int len, const Resonator<float> &resonator, FloatState &state) {
    constexpr int stretch = 64;
    bool detected = false;
    for (int done = 0; done < len;) {
        if (isAtRest(state))
            for (const Sound sound = classify(state); done < len && src[done] == 0; done++)
                detected |= state.reversals.follow(sound);
        const int length = std::min(stretch, len - done);
        detected |= detect(src + done, length, resonator, state);
        done += length;
    }
    return detected;
}

// After samples that are not finite, or so large that their power is not, the filter starts again from silence.
void forgetInfinity(FloatState &state) {
    if (std::isfinite(state.inputPower) && std::isfinite(state.outputPower)) return;
    state.inputPower = state.outputPower = state.x1 = state.x2 = state.y1 = state.y2 = 0;
}

} // namespace

ryxStatus ryxsToneDetectGetStateSize_EC_32f_u8(int sampleRate, int *size) {
    return reportSize<FloatState>(sampleRate, size);
}

ryxStatus ryxsToneDetectGetStateSize_EC_16s_u8(int sampleRate, int *size) {
    return reportSize<FixedState>(sampleRate, size);
}

ryxStatus ryxsToneDetectInit_EC_32f_u8(ToneDetectState_EC_32f *state, int sampleRate) {
    return initialise<FloatState>(state, sampleRate, floatSmoothing8k, floatSmoothing16k);
}

ryxStatus ryxsToneDetectInit_EC_16s_u8(ToneDetectState_EC_16s *state, int sampleRate) {
    return initialise<FixedState>(state, sampleRate, smoothing8k, smoothing16k);
}

ryxStatus ryxsToneDetect_EC_32f_u8(const float *src, int len, int *detected, ToneDetectState_EC_32f *block) {
    if (anyNull(src, detected, block)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadArg;
    FloatState &state = alignedBlock<FloatState>(block);
    *detected = detectWithRests(src, len, state.sampleRate == 16000 ? floatResonator16k : floatResonator8k, state);
    forgetInfinity(state);
    return ryxStsOk;
}

ryxStatus ryxsToneDetect_EC_16s_u8(const int16_t *src, int len, int *detected, ToneDetectState_EC_16s *block) {
    if (anyNull(src, detected, block)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadArg;
    FixedState &state = alignedBlock<FixedState>(block);
    *detected = detect(src, len, state.sampleRate == 16000 ? resonator16k : resonator8k, state);
    return ryxStsOk;
}
