// SPDX-License-Identifier: BSD-2-Clause
// The voice activity detector of AMR-WB (3GPP TS 26.194). Names in the comments are those of the recommendation.
#include <algorithm>
#include <numeric>

#include "amrwb/implementations.h"
#include "amrwb/vad_filter_bank.h"
#include "common/checks.h"
#include "common/elementwise.h"
#include "common/fixed_point.h"
#include "common/state_block.h"
#include "common/sum_of_squares.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

using Bands = int16_t[vadBands];

// The block as the caller keeps it. It lies at any address: a call copies it in and out.
struct State {
    Bands noise;    // bckr_est
    Bands average;  // ave_level
    Bands previous; // old_level
    Bands carried;  // sub_level: what the end of the frame adds to the next frame's level
    FilterBankMemory memory;
    int16_t burst;        // burst_count
    int16_t hangover;     // hang_count
    int16_t stationarity; // stat_count; no initial value: any content must do
    uint16_t decisions;   // vadreg: the newest intermediate decision in bit 14
    int16_t frames;       // sp_est_cnt: since the last estimate of the speech level
    int16_t maximum;      // sp_max
    int16_t speechFrames; // sp_max_cnt
    int16_t speechLevel;  // speech_level
    int32_t power;        // prev_pow_sum: of the frame before
    Bands level;
    int16_t padding[2];
};
static_assert(sizeof(State) == 176);

constexpr int16_t startLevel = 150;
constexpr int16_t startSpeechLevel = 2050;

constexpr uint16_t newestDecision = 0x4000;
constexpr int16_t lowestNoise = 40;
constexpr int16_t highestNoise = 20000;
constexpr int32_t tonePower = 686080; // below it, tone flags make no sense
constexpr int32_t leastPower = 30000; // below it there is no speech

bool isSpeech(const State &state) {
    return (state.decisions & newestDecision) != 0;
}

// filter_bank. Twice the sum of the magnitudes of band k, scaled by 2^scale, becomes the upper half of a long.
void measureLevels(const int16_t *frame, State &state) {
    constexpr uint8_t scales[vadBands] = {17, 17, 17, 17, 16, 16, 16, 16, 15, 15, 15, 14};
    const FrameMagnitudes magnitudes = splitFrame(frame, state.memory);
    for (int k = 0; k < vadBands; k++) {
        const int scale = scales[k];
        const int32_t late = 2 * magnitudes.late[static_cast<size_t>(k)];
        const int32_t all = late + L_shl(state.carried[k], 16 - scale) + 2 * magnitudes.early[static_cast<size_t>(k)];
        state.carried[k] = extract_h(L_shl(late, scale));
        state.level[k] = extract_h(L_shl(all, scale));
    }
}

// floor(x / y) for 0 <= x < 2^23 and 1 <= y < 2^23. In single precision, which the compiler can do for four bands at once:
// the quotient is off by less than 2^-23 * x / y, so it cannot reach the next integer, which is 1 / y away or more.
int32_t quotient(int32_t x, int32_t y) {
    return static_cast<int32_t>(static_cast<float>(x) / static_cast<float>(y));
}

// Sum of the squared ratios of level and noise. The recommendation normalises the noise by e bits, divides to 15 bits and
// shifts the quotient by e - 6 bits. That is one quotient whose last bits are 0 where the shift goes to the left.
int32_t snrSum(const State &state) {
    int64_t sum = 0;
    for (int k = 0; k < vadBands; k++) {
        const int noise = std::max(state.noise[k], lowestNoise); // as it is in every initialised state
        const int vanishing = (noise < 256 ? 1 : 0) | (noise < 128 ? 2 : 0) | (noise < 64 ? 4 : 0);
        const int32_t ratio = sat16(quotient((state.level[k] >> 1) * 512, noise) & ~vanishing);
        sum += ratio * ratio;
    }
    return sat32(2 * sum);
}

// Sum of bands 1 to 11, scaled down by 4 bits. The lowest band is left out on purpose: noise gathers there.
int16_t sumOfUpperBands(const Bands &level) {
    return static_cast<int16_t>(std::accumulate(level + 1, level + vadBands, int32_t{0}) >> 4);
}

// The falling logarithm ilog2: about 1024 less for every doubling. The 32nd power of the mantissa brings five bits of the
// logarithm into the exponent, and its own mantissa the rest.
int fallingLog2(int16_t value) {
    value = std::max<int16_t>(value, 1);
    const int exponent = norm_s(value);
    int16_t mantissa = shl(value, exponent);
    for (int i = 0; i < 4; i++)
        mantissa = mult_r(mantissa, mantissa);
    const int32_t power = L_mult(mantissa, mantissa);
    const int powerExponent = norm_l(power);
    const int32_t upper = L_shl(power, powerExponent) >> 24; // 64..127
    return std::min(sat16(1024 * (exponent + 16) + 32 * powerExponent - ((upper + 128) >> 1)) + 127, int{max16});
}

// The same in the recommendation's own steps: one truncated squaring less.
int fallingLog2Exact(int16_t value) {
    value = std::max<int16_t>(value, 1);
    const int exponent = norm_s(value);
    int16_t mantissa = shl(value, exponent);
    for (int i = 0; i < 3; i++)
        mantissa = mult(mantissa, mantissa);
    const int32_t power = L_mult(mantissa, mantissa);
    const int powerExponent = norm_l(power);
    const int32_t upper = L_shl(power, powerExponent) >> 24;
    return sat16(sat16(sat16(1024 * (exponent + 16)) + 64 * powerExponent + 127) - upper);
}

// How the logarithms of the threshold are taken.
enum class Logarithm { rounded, exact };

// The threshold of the SNR sum grows with the noise level and falls with the speech level above it. The recommendation
// takes the logarithm of the noise with its last three bits.
int adaptThreshold(State &state, Logarithm logarithm) {
    const auto log = logarithm == Logarithm::exact ? fallingLog2Exact : fallingLog2;
    const int16_t sum = sumOfUpperBands(state.noise);
    const auto noise = static_cast<int16_t>(sum & ~7);
    state.speechLevel = std::max(state.speechLevel, noise);
    const int ofNoise = (((log(logarithm == Logarithm::exact ? sum : noise) - 31744) * 1509) >> 15) + 768;
    const int ofSpeech = ((log(sub(state.speechLevel, noise)) - 22527) * -1339) >> 15;
    return std::max(ofNoise + std::min(std::max(ofSpeech, 0) - 96, 96), 204);
}

// Sum over the bands of the ratio of the larger to the smaller of level and average, in 1/64. Normalisation and shifts of
// the recommendation come down to one quotient here too.
int nonStationarity(const State &state) {
    constexpr int16_t least = 184;
    int sum = 0;
    for (int k = 0; k < vadBands; k++) {
        const int level = std::max(state.level[k], least), average = std::max(state.average[k], least);
        sum += quotient((std::max(level, average) >> 1) * 128, std::min(level, average));
    }
    return sum;
}

// The first part of update_cntrl.
void updateStationarity(State &state, uint16_t toneFlags) {
    constexpr int16_t start = 20;
    const bool tone = (toneFlags & 0x7c00) == 0x7c00;
    const bool eightFramesOfNoise = (state.decisions & 0x7f80) == 0;
    if (tone || eightFramesOfNoise || nonStationarity(state) > 1000)
        state.stationarity = start;
    else if (isSpeech(state) && state.stationarity != 0)
        state.stationarity = sub(state.stationarity, 1);

    const int16_t speed = state.stationarity == start ? max16 : isSpeech(state) ? int16_t{3276} : int16_t{16383};
    const auto approach = [speed](simd::Vector level, simd::Vector average) {
        return _mm_adds_epi16(average, simd::roundedProductQ15(simd::words(speed), _mm_subs_epi16(level, average)));
    };
    mapWords(state.average, vadBands, approach, state.level, state.average);
}

struct NoiseSpeed {
    int16_t up, down, step;
};

NoiseSpeed noiseSpeed(const State &state) {
    const bool fourFramesOfNoise = (state.decisions & 0x7800) == 0;
    if (fourFramesOfNoise) return {1638, 2097, 2};
    if (state.stationarity == 0) return {491, 1867, 2};
    return {0, 1638, 0};
}

// noise_estimate_update. The noise follows the levels of the frame before: a burst of speech is known by then.
void updateNoise(State &state, uint16_t toneFlags) {
    updateStationarity(state, toneFlags);
    const NoiseSpeed speed = noiseSpeed(state);
    const auto follow = [speed](simd::Vector previous, simd::Vector noise) {
        const simd::Vector difference = _mm_subs_epi16(previous, noise);
        const auto moved = [&](int16_t factor, int16_t step) {
            const simd::Vector product = simd::roundedProductQ15(simd::words(factor), difference);
            return _mm_adds_epi16(simd::words(step), _mm_adds_epi16(noise, product));
        };
        const simd::Vector down = _mm_max_epi16(moved(speed.down, -2), simd::words(lowestNoise));
        const simd::Vector up = _mm_min_epi16(moved(speed.up, speed.step), simd::words(highestNoise));
        return simd::select(simd::signMask(difference), down, up);
    };
    mapWords(state.noise, vadBands, follow, state.previous, state.noise);
    std::copy_n(state.level, vadBands, state.previous);
}

// hangover_addition
bool decide(State &state, int32_t power, int threshold) {
    if (power < leastPower) {
        state.burst = state.hangover = 0;
        return false;
    }
    if (isSpeech(state)) {
        state.burst = add(state.burst, 1);
        const int burstLength = (((threshold - 768) * 297) >> 15) + 8;
        const int hangoverLength = std::max((((threshold - 217) * -1110) >> 15) + 12, 2);
        if (state.burst >= burstLength) state.hangover = static_cast<int16_t>(hangoverLength);
        return true;
    }
    state.burst = 0;
    if (state.hangover <= 0) return false;
    state.hangover--;
    return true;
}

void restartSpeechEstimate(State &state) {
    state.frames = state.maximum = state.speechFrames = 0;
}

// Estimate_Speech
void estimateSpeech(State &state) {
    constexpr int16_t leastLevel = 129, leastEstimate = 410, speed = 4915;
    constexpr int framesOfRun = 55, speechFramesOfRun = 25;
    const int16_t level = sumOfUpperBands(state.level);
    if (state.frames - state.speechFrames > framesOfRun) restartSpeechEstimate(state);
    state.frames = add(state.frames, 1);
    if (!(isSpeech(state) || level > state.speechLevel) || level <= leastLevel) return;
    state.maximum = std::max(state.maximum, level);
    state.speechFrames = add(state.speechFrames, 1);
    if (state.speechFrames < speechFramesOfRun) return;
    const auto estimate = static_cast<int16_t>(state.maximum >> 1);
    if (estimate > leastEstimate)
        state.speechLevel = add(state.speechLevel, mult_r(speed, sub(estimate, state.speechLevel)));
    restartSpeechEstimate(state);
}

ryxStatus detect(const int16_t *src, VADState_AMRWB *block, int16_t *toneFlag, int16_t *vad, Logarithm logarithm) {
    if (anyNull(src, block, toneFlag, vad)) return ryxStsNullPtr;
    State state = loadBlock<State>(block);
    const int32_t ownPower = accumulatedEnergy<vadFrameLength>(src);
    const int32_t power = L_add(ownPower, state.power);
    state.power = ownPower;
    if (power < tonePower) *toneFlag &= 0x1fff;

    measureLevels(src, state);
    const int32_t snr = snrSum(state);
    const int threshold = adaptThreshold(state, logarithm);
    state.decisions >>= 1;
    if (snr > threshold * 1024 * vadBands) state.decisions |= newestDecision;
    updateNoise(state, static_cast<uint16_t>(*toneFlag));
    *vad = decide(state, power, threshold);
    estimateSpeech(state);
    saveBlock(block, state);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsVADGetSize_AMRWB_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsVADInit_AMRWB_16s_u8(VADState_AMRWB *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    const int16_t stationarity = loadBlock<State>(block).stationarity;
    State state = {};
    std::ranges::fill(state.noise, startLevel);
    std::ranges::fill(state.average, startLevel);
    std::ranges::fill(state.previous, startLevel);
    state.stationarity = stationarity;
    state.speechLevel = startSpeechLevel;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsVAD_AMRWB_16s_u8(const int16_t *src, VADState_AMRWB *block, int16_t *toneFlag, int16_t *vad) {
    return detect(src, block, toneFlag, vad, Logarithm::rounded);
}

ryxStatus ryxsVADExact_AMRWB_16s_u8(const int16_t *src, VADState_AMRWB *block, int16_t *toneFlag, int16_t *vad) {
    return detect(src, block, toneFlag, vad, Logarithm::exact);
}

ryxStatus ryxsVADGetEnergyLevel_AMRWB_16s_u8(const VADState_AMRWB *block, int16_t *level) {
    if (anyNull(block, level)) return ryxStsNullPtr;
    std::copy_n(loadBlock<State>(block).level, vadBands, level);
    return ryxStsOk;
}
