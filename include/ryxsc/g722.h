/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g722.h
 * @brief ITU-T G.722.
 */
#ifndef RYXSC_G722_H
#define RYXSC_G722_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup g722 ITU-T G.722
 * @brief Sub-band ADPCM codec for 7 kHz speech at 64, 56 and 48 kbit/s: QMFs, encoder, decoder, concealment helpers.
 *
 * Sub-band and code arrays are interleaved: element 2j belongs to the low band and element 2j+1 to the high band of
 * pair j. A length `len` counts 16-bit elements, two per pair, which is also the number of 16 kHz samples.
 *
 * An encoder is ryxsQMFEncode_G722_16s() followed by ryxsSBADPCMEncode_G722_16s(); a decoder is
 * ryxsSBADPCMDecode_G722_16s() followed by ryxsQMFDecode_G722_16s(). The G.722 octet is
 * `(high code << 6) | low code`; packing it is left to the caller.
 * @{
 */

/** State of a G.722 ADPCM encoder or decoder: an opaque block of the size that the size getters report. */
typedef struct SBADPCMState_G722 SBADPCMState_G722;

/** State of ryxsFilterHighband_G722_16s_I(); zero both values before the first block. */
typedef struct HighbandFilterState_G722 {
    int16_t scaledInput; /**< previous input after the input gain */
    int16_t output;      /**< previous output */
} HighbandFilterState_G722;

/** Decoder modes of ITU-T G.722, the `mode` of ryxsSBADPCMDecode_G722_16s(). */
enum {
    ryxG722Mode64k = 1, /**< 64 kbit/s: all six bits of the low-band code */
    ryxG722Mode56k = 2, /**< 56 kbit/s: the upper five bits */
    ryxG722Mode48k = 3  /**< 48 kbit/s: the upper four bits */
};

/**
 * @brief Reports the size of the encoder's state block: 144 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMEncodeStateSize_G722_16s(int *size);

/**
 * @brief Initialises an encoder state to the reset values of ITU-T G.722.
 *
 * The state is kept from the next 16-byte boundary inside the block, so every call must get the same pointer.
 *
 * @param[out] state block of 144 bytes at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMEncodeInit_G722_16s(SBADPCMState_G722 *state);

/**
 * @brief Encodes sub-band samples to G.722 codes (ITU-T G.722, clauses 3 and 6.2.1).
 *
 * The low band is always quantised with six bits; a lower rate is made by dropping the last one or two bits of its code.
 * Blocks of any even length give the same codes as one long block.
 *
 * @param[in]     src   interleaved sub-band samples of ryxsQMFEncode_G722_16s(), -16384..16383; larger values are
 *                      legal, the differences saturate
 * @param[out]    dst   interleaved codes, `len` elements: low band 0..63, high band 0..3. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in,out] state initialised encoder state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsSBADPCMEncode_G722_16s(const int16_t *src, int16_t *dst, int len, SBADPCMState_G722 *state);

/**
 * @brief Reports the size of the decoder's state block: 144 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMDecodeStateSize_G722_16s(int *size);

/**
 * @brief Initialises a decoder state to the reset values of ITU-T G.722.
 *
 * The state is kept from the next 16-byte boundary inside the block, so every call must get the same pointer.
 *
 * @param[out] state block of 144 bytes at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMDecodeInit_G722_16s(SBADPCMState_G722 *state);

/**
 * @brief Decodes G.722 codes to sub-band samples (ITU-T G.722, clauses 4 and 6.2.2).
 *
 * The mode concerns the low-band output only. The state does not depend on it, so it may change from call to call.
 *
 * @param[in]     src   interleaved codes; the low six bits of even and the low two bits of odd elements count, bits
 *                      above are ignored. At 56 and 48 kbit/s the code bits stay in their places (the unused low bits
 *                      carry whatever the channel put there)
 * @param[out]    dst   interleaved sub-band samples, `len` elements, -16384..16383. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in]     mode  1: 64 kbit/s, 2: 56 kbit/s, every other value: 48 kbit/s
 * @param[in,out] state initialised decoder state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsSBADPCMDecode_G722_16s(const int16_t *src, int16_t *dst, int len, int16_t mode, SBADPCMState_G722 *state);

/**
 * @brief Re-seeds the low-band predictor after frames were concealed, and lowers or resets the scale factors.
 *
 * The low-band delay lines restart from the concealed signal, the predictor coefficients stay. The log scale factor of
 * the high band is halved; with `reset` the scale factors of both bands return to their start values instead.
 *
 * @param[in]     recon the last two low-band output samples, the older first
 * @param[in]     sl    low-band prediction for the next sample
 * @param[in]     reset non-zero: reset the scale factors
 * @param[in,out] state initialised decoder state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex when the block holds a high-band log scale factor out of range,
 *         which no sequence of calls produces (the factor is halved, nothing else changes)
 */
ryxStatus ryxsSBADPCMDecodeStateUpdate_G722_16s(const int16_t *recon, int16_t sl, int reset, SBADPCMState_G722 *state);

/**
 * @brief Splits 16 kHz speech into two bands with the 24-tap transmit QMF (ITU-T G.722, clauses 3.1 and 5.2.1).
 *
 * @param[in]     src   speech at 16 kHz, full 16-bit range
 * @param[out]    dst   interleaved sub-band samples, `len` elements, limited to -16384..16383. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in,out] delay delay line of 24 samples, the newest first; zero it before the first block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsQMFEncode_G722_16s(const int16_t *src, int16_t *dst, int len, int16_t *delay);

/**
 * @brief Joins two bands to 16 kHz speech with the 24-tap receive QMF (ITU-T G.722, clauses 4.4 and 5.2.2).
 *
 * @param[in]     src   interleaved sub-band samples, -16384..16383 for a regular signal; sums and differences of larger
 *                      values wrap to 16 bits
 * @param[out]    dst   speech at 16 kHz, `len` elements, saturated to 16 bits. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in,out] delay delay line of 24 values, differences at even and sums at odd positions, the newest pair first;
 *                      zero it before the first block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsQMFDecode_G722_16s(const int16_t *src, int16_t *dst, int len, int16_t *delay);

/**
 * @brief Removes the offset of the decoded high band with a first-order high-pass filter, in place (ITU-T G.722,
 *        packet loss concealment).
 *
 * @param[in,out] srcDst interleaved sub-band samples; elements 1, 3, 5, ... are filtered, the others stay
 * @param[in]     len    number of elements, at least 1. `(len + 1) / 2` high-band samples are filtered: with an odd
 *                       `len` the element at index `len` as well, so the array must hold `len + 1` elements
 * @param[in,out] state  filter memory
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsFilterHighband_G722_16s_I(int16_t *srcDst, int len, HighbandFilterState_G722 *state);

/**
 * @brief Low-pass filters with nine taps and keeps every fourth sample (ITU-T G.722, packet loss concealment).
 *
 * The filter's gain is slightly above 1 and its 32-bit accumulator wraps, so a constant input near full scale changes
 * its sign.
 *
 * @param[in]  src input; `src[-5]` to `src[-1]` are read as the samples before the block
 * @param[in]  len number of input samples, at least 1; a remainder of `len` modulo 4 is not used
 * @param[out] dst `len / 4` output samples; none for `len` 1 to 3
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsDownsampleFilter_G722_16s(const int16_t *src, int len, int16_t *dst);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
