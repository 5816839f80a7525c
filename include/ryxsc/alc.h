/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/alc.h
 * @brief Automatic level control (ITU-T G.169).
 */
#ifndef RYXSC_ALC_H
#define RYXSC_ALC_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup alc Automatic level control (ITU-T G.169)
 * @brief Brings telephone speech to a target level, within a largest gain and below an output ceiling.
 *
 * The control follows noise floor, talk spurts and speech level of 8 kHz speech and applies one gain to each block of
 * eight samples. From the start the gain is 1/32; it rises during the first spurt. Spurts of less than 50 active blocks
 * (50 ms) do not count once their hangover is over, so clicks do not move the gain.
 *
 * The arithmetic is in single precision. The order of the sum of squares is the library's own, so that outputs of
 * another implementation of the same rules may differ by 1.
 * @{
 */

/**
 * State of the level control: 124 bytes at any address. The first nine fields are settings; the others follow the signal
 * and are of interest to meters. Levels are linear, 32768 is full scale.
 */
typedef struct ALCState_G169 {
    float targetLevel;        /**< target of the speech level; 1623.49 (26.1 dB below 32768) at first */
    float peakCeiling;        /**< largest magnitude of the output; 32767 at first */
    float noiseFloorMin;      /**< lower limit of the noise floor, 4.125246 */
    float noiseFloorMax;      /**< upper limit of the noise floor, 65.38 */
    float maxGain;            /**< largest gain target; 3.80189 (11.6 dB) at first */
    float powerRateActiveMin; /**< lower limit of the power rate between spurts, 0.02 */
    float powerRateMin;       /**< lower limit of the power rate, 0.0033333 */
    float hangBlocks;         /**< blocks of hangover that end a spurt, 200 */
    float gainStep;           /**< step of the gain target, 0.01 */
    int16_t hangCounter;      /**< blocks since the level fell below the threshold */
    int16_t spurtCount;       /**< talk spurts so far, up to 16383 */
    int16_t activeBlocks;     /**< blocks above the threshold in this spurt, up to 16383 */
    int16_t active;           /**< 1 inside a spurt, else 0 */
    float meanAbs;            /**< mean magnitude of the last block */
    float smoothLevel;        /**< smoothed mean magnitude */
    float peakHold;           /**< decaying maximum of `smoothLevel` */
    float peakReference;      /**< peak that limits the rise of the gain */
    float noiseFloor;         /**< estimate of the noise */
    float threshold;          /**< of activity, 4 * `noiseFloor` */
    float slowLevel;          /**< slowly rising level, which tells rises of the speech */
    float meanPower;          /**< mean square of the last block */
    float powerEstimate;      /**< mean square of the speech */
    float powerRate;          /**< rate at which `powerEstimate` moves */
    float speechLevel;        /**< `levelScale` times the root of `powerEstimate` */
    float levelScale;         /**< 0.7 at the start of a spurt, up to 0.89 */
    float gainTarget;         /**< what the applied gain follows, 0.03125 at first */
    float stepInUse;          /**< step of the gain target in the last block */
    float appliedGain;        /**< gain of the last block */
    float gainRate;           /**< how fast the applied gain follows; 0.001 after a block at the ceiling, up to 1 */
    float blockPeak;          /**< largest magnitude of the last block */
    float savedPowerEstimate; /**< `powerEstimate` before the spurt */
    float savedGainTarget;    /**< `gainTarget` before the spurt */
    float savedPowerRate;     /**< `powerRate` before the spurt */
} ALCState_G169;

/**
 * @brief Reports the size of the level control's state block: 124 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsALCGetStateSize_G169_16s(int *size);

/**
 * @brief Initialises a level control: target 26.1 dB below 32768, largest gain 11.6 dB, ceiling 32767.
 * @param[out] state block of 124 bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsALCInit_G169_16s(ALCState_G169 *state);

/**
 * @brief Sets the largest gain to 10^(gain/20). Allowed at any time between blocks.
 * @param[in,out] state initialised state
 * @param[in]     gain  largest gain in dB, at least 0; beyond the float range the largest float stands for it
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a negative gain or a NaN
 */
ryxStatus ryxsALCSetGain_G169_16s(ALCState_G169 *state, float gain);

/**
 * @brief Sets target level and ceiling to 32768 / 10^(target/20) and 32768 / 10^(ceiling/20). Allowed at any time
 *        between blocks.
 * @param[in,out] state   initialised state
 * @param[in]     target  attenuation of the speech level below 32768 in dB, at least 0; where the level would be below
 *                        the smallest normal float, that stands for it
 * @param[in]     ceiling attenuation of the largest output magnitude below 32768 in dB, at least 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange when one of the two is negative or a NaN
 */
ryxStatus ryxsALCSetLevel_G169_16s(ALCState_G169 *state, float target, float ceiling);

/**
 * @brief Brings speech towards the target level (ITU-T G.169).
 *
 * Outputs are rounded towards zero and limited to 16 bits.
 *
 * @param[in]     src   `len` samples at 8 kHz, full 16-bit range
 * @param[out]    dst   `len` samples, none above the ceiling. May be `src`
 * @param[in]     len   number of samples, at least 8, a multiple of 8
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a `len` below 8 or no multiple of 8
 */
ryxStatus ryxsALC_G169_16s(const int16_t *src, int16_t *dst, int len, ALCState_G169 *state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
