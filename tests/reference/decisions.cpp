// SPDX-License-Identifier: BSD-2-Clause
#include "reference/decisions.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

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
    int change = 0;
    for (int i = 0; i < 12; i++) {
        const int a = std::max<int>(level[i], 184), b = std::max<int>(ave_level[i], 184);
        const int exponent = headroom(std::min(a, b));
        change += fraction(std::max(a, b) >> 1, std::min(a, b) << exponent) >> (8 - exponent);
    }
    const bool tone = (toneFlag & 0x7c00) == 0x7c00, longNoise = (vadreg & 0x7f80) == 0;
    if (tone || longNoise || change > 1000)
        stat_count = 20;
    else if (speaks() && stat_count != 0)
        stat_count = word(stat_count - 1);

    const int speed = stat_count == 20 ? 32767 : speaks() ? 3276 : 16383;
    const bool shortNoise = (vadreg & 0x7800) == 0;
    const int up = shortNoise ? 1638 : stat_count == 0 ? 491 : 0;
    const int down = shortNoise ? 2097 : stat_count == 0 ? 1867 : 1638;
    const int step = shortNoise || stat_count == 0 ? 2 : 0;
    for (int i = 0; i < 12; i++) {
        ave_level[i] = word(ave_level[i] + rounded(speed, word(level[i] - ave_level[i])));
        const int difference = word(old_level[i] - bckr_est[i]);
        if (difference < 0)
            bckr_est[i] = std::max<int16_t>(word(-2 + word(bckr_est[i] + rounded(down, difference))), 40);
        else
            bckr_est[i] = std::min<int16_t>(word(step + word(bckr_est[i] + rounded(up, difference))), 20000);
        old_level[i] = level[i];
    }
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
    int64_t own = 0;
    for (int i = 0; i < 256; i++)
        own += 2 * frame[i] * int64_t{frame[i]};
    const int power = saturated(int64_t{saturated(own, 32)} + prev_pow_sum, 32);
    prev_pow_sum = saturated(own, 32);
    if (power < 686080) toneFlag &= 0x1fff;
    std::copy_n(levels, 12, level);

    int64_t ratios = 0;
    for (int i = 0; i < 12; i++) {
        const int noise = std::max<int>(bckr_est[i], 40), exponent = headroom(noise);
        const int ratio = shifted(fraction(level[i] >> 1, noise << exponent), exponent - 6);
        ratios = saturated(ratios + 2 * int64_t{ratio} * ratio, 32);
    }
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
