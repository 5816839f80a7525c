// SPDX-License-Identifier: BSD-2-Clause
#include "reference/decisions.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

namespace reference {

namespace {

int saturated(int64_t x, int bits) {
    const int64_t most = (int64_t{1} << (bits - 1)) - 1;
    return static_cast<int>(std::clamp(x, -most - 1, most));
}
int16_t word(int x) {
    return static_cast<int16_t>(saturated(x, 16));
}
// Bits by which a positive word can be shifted to the left.
int headroom(int x) {
    int shift = 0;
    while (x << (shift + 1) < 32768)
        shift++;
    return shift;
}
int rounded(int factor, int x) {
    return saturated((factor * x + 0x4000) >> 15, 16);
}
// The recommendation's division: x / y as 15 bits, of x no larger than y.
int fraction(int x, int y) {
    return x == y ? 32767 : (x << 15) / y;
}
int shifted(int x, int left) {
    return left >= 0 ? saturated(int64_t{x} << left, 16) : x >> -left;
}

// Falls by about 1024 for every doubling of the word; the mantissa squared five times.
int fallingLogarithm(int value) {
    value = std::max(value, 1);
    const int exponent = headroom(value);
    int mantissa = value << exponent;
    for (int i = 0; i < 4; i++)
        mantissa = rounded(mantissa, mantissa);
    int64_t power = std::min<int64_t>(int64_t{2} * mantissa * mantissa, INT32_MAX);
    int powerExponent = 0;
    for (; power < 1 << 30; powerExponent++)
        power *= 2;
    const int sum = word(1024 * (exponent + 16) + 32 * powerExponent - ((static_cast<int>(power >> 24) + 128) >> 1));
    return std::min(sum + 127, 32767);
}

float floatEnergy(const float *x, int len) {
    float sum = 0; // of whole numbers: exact in any order
    for (int i = 0; i < len; i++)
        sum += x[i] * x[i];
    return sum;
}

int64_t doubledPower(const int16_t *x, int length) {
    int64_t sum = 0;
    for (int i = 0; i < length; i++)
        sum += 2 * x[i] * int64_t{x[i]};
    return saturated(sum, 32);
}

// What both voice activity detectors have in common. The sum of the squared ratios of levels and noise, in the given format:
template <int bands> int64_t squaredRatios(const int16_t (&level)[bands], const int16_t (&noise)[bands], int format) {
    int64_t sum = 0;
    for (int i = 0; i < bands; i++) {
        const int floor = std::max<int>(noise[i], 40), exponent = headroom(floor);
        const int ratio = shifted(fraction(level[i] >> 1, floor << exponent), exponent - format);
        sum = saturated(sum + 2 * int64_t{ratio} * ratio, 32);
    }
    return sum;
}

template <int bands> int changeOf(const int16_t (&level)[bands], const int16_t (&average)[bands]) {
    int change = 0;
    for (int i = 0; i < bands; i++) {
        const int a = std::max<int>(level[i], 184), b = std::max<int>(average[i], 184);
        const int exponent = headroom(std::min(a, b));
        change += fraction(std::max(a, b) >> 1, std::min(a, b) << exponent) >> (8 - exponent);
    }
    return change;
}

// The count that falls while the levels stay where they are, and their averages.
template <int bands> void followStationarity(bool restart, uint16_t vadreg, const int16_t (&level)[bands],
                                             int16_t (&average)[bands], int16_t &count) {
    const bool speech = (vadreg & 0x4000) != 0;
    if (restart || (vadreg & 0x7f80) == 0 || changeOf(level, average) > 1000)
        count = 20;
    else if (speech && count != 0)
        count = word(count - 1);
    const int speed = count == 20 ? 32767 : speech ? 3276 : 16383;
    for (int i = 0; i < bands; i++)
        average[i] = word(average[i] + rounded(speed, word(level[i] - average[i])));
}

struct NoiseSpeeds {
    int up, down, step;
};
constexpr NoiseSpeeds shortNoise = {1638, 2097, 2}, stationary = {491, 1867, 2}, otherwise = {0, 1638, 0};

template <int bands> void followLevels(const NoiseSpeeds &speeds, int16_t most, const int16_t (&level)[bands],
                                       int16_t (&old)[bands], int16_t (&noise)[bands]) {
    for (int i = 0; i < bands; i++) {
        const int difference = word(old[i] - noise[i]);
        if (difference < 0)
            noise[i] = std::max<int16_t>(word(-2 + word(noise[i] + rounded(speeds.down, difference))), 40);
        else
            noise[i] = std::min<int16_t>(word(speeds.step + word(noise[i] + rounded(speeds.up, difference))), most);
        old[i] = level[i];
    }
}

} // namespace

int AmrWbVad::threshold() {
    int noise = 0;
    for (int i = 1; i < 12; i++)
        noise += bckr_est[i];
    noise = (noise >> 4) & ~7;
    if (speech_level < noise) speech_level = word(noise);
    const int ofNoise = ((fallingLogarithm(noise) - 31744) * 1509 >> 15) + 768;
    int ofSpeech = (-1339 * (fallingLogarithm(speech_level - noise) - 22527)) >> 15;
    if (ofSpeech < 0) ofSpeech = 0;
    return std::max(ofNoise + std::min(ofSpeech - 96, 96), 204);
}

void AmrWbVad::followNoise(int16_t toneFlag) {
    const bool tone = (toneFlag & 0x7c00) == 0x7c00;
    followStationarity(tone, vadreg, level, ave_level, stat_count);
    const NoiseSpeeds speeds = (vadreg & 0x7800) == 0 ? shortNoise : stat_count == 0 ? stationary : otherwise;
    followLevels(speeds, 20000, level, old_level, bckr_est);
}

void AmrWbVad::estimateSpeech() {
    int sum = 0;
    for (int i = 1; i < 12; i++)
        sum += level[i];
    sum >>= 4;
    if (sp_est_cnt - sp_max_cnt > 80 - 25) sp_est_cnt = sp_max = sp_max_cnt = 0;
    sp_est_cnt = word(sp_est_cnt + 1);
    if ((!speaks() && sum <= speech_level) || sum <= 129) return;
    sp_max = std::max(sp_max, word(sum));
    sp_max_cnt = word(sp_max_cnt + 1);
    if (sp_max_cnt < 25) return;
    if (const int half = sp_max >> 1; half > 410)
        speech_level = word(speech_level + rounded(4915, word(half - speech_level)));
    sp_est_cnt = sp_max = sp_max_cnt = 0;
}

int AmrWbVad::decide(const int16_t *frame, const int16_t *levels, int16_t &toneFlag) {
    const int64_t own = doubledPower(frame, 256);
    const int power = saturated(own + prev_pow_sum, 32);
    prev_pow_sum = static_cast<int32_t>(own);
    if (power < 686080) toneFlag &= 0x1fff;
    std::copy_n(levels, 12, level);

    const int64_t ratios = squaredRatios(level, bckr_est, 6);
    const int limit = threshold();
    vadreg = static_cast<uint16_t>(vadreg >> 1 | (ratios > limit * 12 * 1024 ? 0x4000 : 0));
    followNoise(toneFlag);
    int vad = 0;
    if (power < 30000) {
        burst_count = hang_count = 0;
    } else if (speaks()) {
        burst_count = word(burst_count + 1);
        if (burst_count >= (((limit - 768) * 297) >> 15) + 8)
            hang_count = word(std::max((((limit - 217) * -1110) >> 15) + 12, 2));
        vad = 1;
    } else {
        burst_count = 0;
        if (hang_count > 0) {
            hang_count--;
            vad = 1;
        }
    }
    estimateSpeech();
    return vad;
}

GsmAmrVad::GsmAmrVad() {
    for (int i = 0; i < 9; i++)
        bckr_est[i] = old_level[i] = ave_level[i] = 150;
}

void GsmAmrVad::followCorrelation(bool low) {
    const bool high = corr_hp_fast >= 19660;
    const int alpha = !high ? 2621 : best_corr_hp < corr_hp_fast ? 6553 : 655;
    const int64_t mean = int64_t{65536 - 2 * alpha} * corr_hp_fast + int64_t{2 * alpha} * best_corr_hp;
    corr_hp_fast = low ? int16_t{13106} : std::max<int16_t>(word(static_cast<int>((mean + 0x8000) >> 16)), 13106);
    complex_high = static_cast<uint16_t>(complex_high >> 1 | (!low && corr_hp_fast > 19660 ? 0x4000 : 0));
    complex_low = static_cast<uint16_t>(complex_low >> 1 | (!low && corr_hp_fast > 16383 ? 0x4000 : 0));
    complex_hang_timer = corr_hp_fast > 22936 ? word(complex_hang_timer + 1) : int16_t{0};
    complex_warning = (complex_high & 0x7f80) == 0x7f80 || (complex_low & 0x7fff) == 0x7fff;
}

void GsmAmrVad::followNoise(const int16_t (&level)[9]) {
    if (complex_warning != 0) stat_count = std::max<int16_t>(stat_count, 5);
    followStationarity((pitch & 0x6000) == 0x6000 || (tone & 0x7c00) == 0x7c00, vadreg, level, ave_level, stat_count);
    const bool quiet = (vadreg & 0x7800) == 0 && (pitch & 0x7800) == 0;
    const NoiseSpeeds free = quiet ? shortNoise : stat_count == 0 ? stationary : otherwise;
    followLevels(complex_hang_count == 0 ? free : otherwise, 16000, level, old_level, bckr_est);
}

int GsmAmrVad::addHangover(int noiseLevel, bool low) {
    if (low) {
        burst_count = hang_count = complex_hang_count = complex_hang_timer = 0;
        return 0;
    }
    if (complex_hang_timer > 100) complex_hang_count = std::max<int16_t>(complex_hang_count, 250);
    if (complex_hang_count != 0) {
        burst_count = 4;
        complex_hang_count = word(complex_hang_count - 1);
        return 1;
    }
    if ((vadreg & 0x3ff0) == 0 && corr_hp_fast > 21298) return 1;
    if (speaks()) {
        burst_count = word(burst_count + 1);
        if (burst_count >= (noiseLevel > 100 ? 4 : 5)) hang_count = noiseLevel > 100 ? 7 : 4;
        return 1;
    }
    burst_count = 0;
    if (hang_count <= 0) return 0;
    hang_count--;
    return 1;
}

int GsmAmrVad::noise() const {
    return std::min(std::accumulate(bckr_est, bckr_est + 9, 0) >> 3, 32767);
}
int GsmAmrVad::excess(const int16_t (&level)[9]) const {
    const int ratio = (saturated(squaredRatios(level, bckr_est, 5) << 6, 32) >> 16) * 3641 >> 15;
    return ratio - std::max(1260 + (-2808 * noise() >> 15), 720);
}
int GsmAmrVad::change(const int16_t (&level)[9]) const {
    return changeOf(level, ave_level);
}

int GsmAmrVad::decide(const int16_t *frame) {
    const int64_t power = doubledPower(frame - 40, 160);
    const bool low = power < 15000;
    if (power < 343040) pitch &= 0x3fff;
    if (low) complex_low &= 0x3fff;
    int16_t level[9];
    filters.levels(frame, level);
    const int noiseLevel = noise();
    vadreg = static_cast<uint16_t>(vadreg >> 1 | (excess(level) > 0 ? 0x4000 : 0));
    followCorrelation(low);
    followNoise(level);
    return addHangover(noiseLevel, low);
}

void GsmAmrVad::takeTones(const int32_t *correlations, const int32_t *energies, bool oneLag) {
    tone >>= 1;
    if (oneLag) tone = static_cast<uint16_t>(tone >> 1 | 0x2000);
    for (int i = 0; i < 3; i++) {
        const int energy = saturated((int64_t{energies[i]} + 0x8000) >> 16, 16);
        if (energy > 0 && correlations[i] - 2 * int64_t{energy} * 21298 > 0) tone |= 0x4000;
    }
}

void GsmAmrVad::takeLags(const int16_t *lags, int16_t highPass) {
    int count = 0;
    for (int i = 0; i < 2; i++) {
        count += std::abs(oldlag - lags[i]) < 4;
        oldlag = lags[i];
    }
    pitch >>= 1;
    if (oldlag_count + count >= 4) pitch |= 0x4000;
    oldlag_count = word(count);
    best_corr_hp = highPass;
}

template <> bool FloatToneDetector::take(float x) {
    const bool wide = sampleRate == 16000;
    const float c0 = wide ? 0.019259274F : 0.037804753F;
    const float c2 = wide ? -1.3317118F : 0.15110244F, c3 = wide ? 0.96148145F : 0.92439049F;
    const float y = c0 * x + -c0 * x2 - c2 * y1 - c3 * y2;
    x2 = x1, x1 = x, y2 = y1, y1 = y;
    inputPower = smoothing * inputPower + (1 - smoothing) * (x * x);
    outputPower = smoothing * outputPower + (1 - smoothing) * (y * y);
    const bool tone = outputPower > 0.8F * inputPower && 10000 * inputPower > outputPower;
    const bool dip = !tone && outputPower > 0.0008F * inputPower && inputPower > outputPower;
    if (!dip) {
        toneCount = tone ? toneCount + 1 : 0;
        gapCount = 0;
        return false;
    }
    bool found = false;
    if (0.48F * inputPower > outputPower && toneCount > minCount && toneCount < maxCount) {
        found = ++count >= 2;
        toneCount = 0;
    }
    if (++gapCount > gapLimit) toneCount = gapCount = count = 0;
    return found;
}

template <> bool FixedToneDetector::take(int16_t x) {
    const bool wide = sampleRate == 16000;
    const int c0 = wide ? 79 : 155, c2 = wide ? -5455 : 619, c3 = wide ? 3938 : 3786;
    const int16_t y = word((c0 * x - c0 * x2 - c2 * y1 - c3 * y2 + 2048) >> 12);
    x2 = x1, x1 = x, y2 = y1, y1 = y;
    const auto smoothed = [this](int32_t power, int64_t square) {
        return static_cast<int32_t>((square * (16384 - smoothing) + int64_t{power} * smoothing) >> 14);
    };
    inputPower = smoothed(inputPower, x * x);
    outputPower = smoothed(outputPower, y * y);
    if (outputPower > (int64_t{13107} * inputPower) >> 14) {
        toneCount++;
        gapCount = 0;
        return false;
    }
    bool found = false;
    if (outputPower < (int64_t{7864} * inputPower) >> 14 && toneCount > minCount && toneCount < maxCount) {
        found = ++count >= 2;
        toneCount = 0;
    }
    if (++gapCount > gapLimit) toneCount = gapCount = count = 0;
    return found;
}

void FullbandController::decide(const float *e1, const float *e2, float *adaptive, float *saved) {
    const auto smooth = [](float alpha, float old, float value) { return alpha * old + (1 - alpha) * value; };
    adaptiveResidual = smooth(alpha50, adaptiveResidual, floatEnergy(e1, blockLength));
    savedResidual = smooth(alpha50, savedResidual, floatEnergy(e2, blockLength));
    const float energy = floatEnergy(adaptive, filterLength), change = std::fabs(coefficients - energy);
    coefficients = smooth(alpha50, coefficients, energy);
    const bool better = adaptiveResidual < 0.1F * savedResidual, settled = change < 0.2F * energy;
    if (better && settled) {
        std::copy_n(adaptive, filterLength, saved);
        savedResidual = adaptiveResidual;
        divergence = divergence * alpha20;
    } else if (1.3F * savedResidual < adaptiveResidual) {
        std::copy_n(saved, filterLength, adaptive);
        adaptiveResidual = savedResidual;
        divergence = divergence * alpha20 + 1 - alpha20;
    }
    const bool rests = divergence < 0.5F && savedResidual < 0.2F * reference;
    multiplier = smooth(alpha10, multiplier, rests ? 0.0F : 1.0F);
}

void controlLevel(ALCState_G169 &s, const int16_t *x) {
    int magnitudes = 0, peak = 0;
    float squares[4]; // the sum of loud ones is rounded: its order counts
    for (int i = 0; i < 8; i++) {
        magnitudes += std::abs(x[i]);
        peak = std::max(peak, std::abs(x[i]));
    }
    for (int i = 0; i < 4; i++)
        squares[i] = static_cast<float>(x[i]) * x[i] + static_cast<float>(x[i + 4]) * x[i + 4];
    s.meanAbs = static_cast<float>(magnitudes) / 8;
    s.meanPower = ((squares[0] + squares[2]) + (squares[1] + squares[3])) / 8;
    s.blockPeak = static_cast<float>(peak);
    s.smoothLevel = 0.8F * s.meanAbs + 0.2F * s.smoothLevel;
    s.peakHold = std::max(s.smoothLevel, 0.99F * s.peakHold);

    float noise = s.noiseFloor;
    if (s.smoothLevel < s.noiseFloor)
        noise = 0.9F * s.noiseFloor + 0.1F * s.smoothLevel;
    else if (s.smoothLevel < 2 * s.noiseFloor)
        noise = 0.99F * s.noiseFloor + 0.01F * s.smoothLevel;
    const bool known = s.spurtCount > 1 || (s.spurtCount == 1 && s.activeBlocks > 500 && s.powerRate < 0.0025F);
    noise = std::max({known ? 1456.7665F * s.speechLevel : 0.0F, s.noiseFloorMin, noise});
    s.noiseFloor = std::min(noise, s.noiseFloorMax);
    s.threshold = 4 * s.noiseFloor;
    const bool falls = s.smoothLevel < s.slowLevel;
    s.slowLevel = falls ? 0.7F * s.slowLevel + 0.3F * s.smoothLevel : 0.99F * s.slowLevel + 0.01F * s.smoothLevel;
    s.slowLevel = std::max(s.noiseFloor, s.slowLevel);

    const auto count = [](int16_t &counter) { counter = static_cast<int16_t>(std::min(counter + 1, 16383)); };
    if (s.threshold < s.meanAbs) count(s.activeBlocks);
    if (s.threshold < s.peakHold) {
        s.hangCounter = 0;
        if (s.active == 0) {
            count(s.spurtCount);
            s.savedPowerEstimate = s.powerEstimate, s.savedGainTarget = s.gainTarget, s.savedPowerRate = s.powerRate;
            s.active = 1;
            s.levelScale = 0.7F;
        }
    } else if (s.active == 0) {
        s.activeBlocks = 0;
    } else {
        count(s.hangCounter);
        if (s.hangBlocks == static_cast<float>(s.hangCounter)) {
            if (s.activeBlocks < 50) {
                s.spurtCount--;
                s.powerEstimate = s.savedPowerEstimate, s.gainTarget = s.savedGainTarget,
                s.powerRate = s.savedPowerRate;
            }
            s.active = s.activeBlocks = 0;
        }
    }

    s.stepInUse = s.gainStep;
    if (s.spurtCount == 1 && (s.activeBlocks < 10 || (s.activeBlocks < 500 && 3 * s.slowLevel > s.smoothLevel)))
        s.stepInUse = 0;
    if (s.active == 0)
        s.peakReference = s.spurtCount == 0 ? s.peakHold : s.speechLevel;
    else if (s.peakReference < s.peakHold)
        s.peakReference = s.peakHold;
    else if (s.threshold < s.peakHold)
        s.peakReference = 0.999F * s.peakReference + 0.001F * s.peakHold;

    float rate = s.powerRate;
    if (s.active == 0) {
        rate = s.spurtCount == 0 ? 0.1F : std::max(rate, s.powerRateActiveMin);
    } else {
        const bool fresh = s.activeBlocks < 500;
        if (fresh && s.spurtCount == 1 && s.powerEstimate < 0.1F * s.meanPower) rate = std::max(rate, 0.05F);
        if (s.smoothLevel < s.threshold) {
            if (fresh) s.levelScale = 0.7F;
        } else if (s.threshold <= s.meanAbs || s.activeBlocks >= 20) {
            rate -= rate * rate;
            s.powerEstimate += rate * (s.meanPower - s.powerEstimate);
        }
    }
    s.speechLevel = s.levelScale * std::sqrt(s.powerEstimate);
    s.powerRate = std::max(rate, s.powerRateMin);
    if (s.activeBlocks < 500) s.levelScale = std::min(s.levelScale * 1.000461F, 0.89F);

    if (s.active != 0) {
        const bool free = s.speechLevel * s.maxGain < s.targetLevel;
        const float limit = free ? s.maxGain : s.targetLevel / s.speechLevel;
        const float basis =
            !free || s.maxGain * s.peakReference < s.targetLevel ? limit : s.targetLevel / s.peakReference;
        s.gainTarget = std::min(limit, s.gainTarget + s.stepInUse * basis);
    }
    s.appliedGain = std::min(s.gainTarget, s.appliedGain + (s.gainTarget - s.appliedGain) * s.gainRate);
    if (s.blockPeak * s.appliedGain > s.peakCeiling) {
        s.appliedGain = s.peakCeiling / s.blockPeak;
        s.gainRate = 0.001F;
    } else {
        s.gainRate = std::min(1.1F * s.gainRate, 1.0F);
    }
}

} // namespace reference
