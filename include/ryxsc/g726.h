/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g726.h
 * @brief ITU-T G.726.
 */
#ifndef RYXSC_G726_H
#define RYXSC_G726_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup g726 ITU-T G.726
 * @brief ADPCM codec for telephone speech at 16, 24, 32 and 40 kbit/s.
 *
 * Linear samples are 14-bit values, -8192..8191, in 16-bit elements. A code stands in one octet, right-aligned, 2 to 5
 * bits wide.
 * @{
 */

/** State of a G.726 encoder: an opaque block of 88 bytes at any address. */
typedef struct EncoderState_G726 EncoderState_G726;

/** State of a G.726 decoder: an opaque block of 92 bytes at any address. */
typedef struct DecoderState_G726 DecoderState_G726;

/** Bit rates of ITU-T G.726 in the library's enumeration of speech bit rates. */
enum {
    ryxG726Rate16k = 17, /**< 16 kbit/s, 2-bit codes */
    ryxG726Rate24k = 22, /**< 24 kbit/s, 3-bit codes */
    ryxG726Rate32k = 23, /**< 32 kbit/s, 4-bit codes */
    ryxG726Rate40k = 24  /**< 40 kbit/s, 5-bit codes */
};

/** Output laws of the G.726 decoder. */
enum {
    ryxG726MuLaw = 0, /**< ITU-T G.711 mu-law octets */
    ryxG726ALaw = 1,  /**< ITU-T G.711 A-law octets, even bits inverted as on the line */
    ryxG726Linear = 2 /**< 14-bit linear samples */
};

/**
 * @brief Reports the size of the encoder's state block: 88 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncodeGetStateSize_G726_16s8u(int *size);

/**
 * @brief Initialises an encoder state to the reset values of ITU-T G.726.
 * @param[out] state block of 88 bytes at any address
 * @param[in]  rate  17, 22, 23 or 24 for 16, 24, 32 or 40 kbit/s
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsEncodeInit_G726_16s8u(EncoderState_G726 *state, int rate);

/**
 * @brief Encodes linear samples to G.726 codes (ITU-T G.726, clause 3).
 *
 * Blocks of any length give the same codes as one long block.
 *
 * @param[in,out] state initialised encoder state
 * @param[in]     src   linear samples, 14 bits, -8192..8191; larger values are used as they are
 * @param[out]    dst   `len` codes, one per octet, upper bits zero
 * @param[in]     len   number of samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` 0. A negative `len` is accepted and does nothing
 */
ryxStatus ryxsEncode_G726_16s8u(EncoderState_G726 *state, const int16_t *src, uint8_t *dst, int len);

/**
 * @brief Reports the size of the decoder's state block: 92 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDecodeGetStateSize_G726_8u16s(int *size);

/**
 * @brief Initialises a decoder state to the reset values of ITU-T G.726.
 * @param[out] state block of 92 bytes at any address
 * @param[in]  rate  17, 22, 23 or 24 for 16, 24, 32 or 40 kbit/s
 * @param[in]  law   0: mu-law octets, 1: A-law octets, 2: linear samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate or, with a valid rate, any other law
 */
ryxStatus ryxsDecodeInit_G726_8u16s(DecoderState_G726 *state, int rate, int law);

/**
 * @brief Decodes G.726 codes to linear samples or to G.711 octets (ITU-T G.726, clause 4).
 *
 * With a companded law the synchronous coding adjustment is applied, so that tandem coding does not accumulate
 * distortion.
 *
 * @param[in,out] state initialised decoder state
 * @param[in]     src   `len` codes, one per octet; bits above the code's width are ignored
 * @param[out]    dst   `len` values: linear samples -8192..8191, or octets 0..255 of the chosen law
 * @param[in]     len   number of samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` 0. A negative `len` is accepted and does nothing
 */
ryxStatus ryxsDecode_G726_8u16s(DecoderState_G726 *state, const uint8_t *src, int16_t *dst, int len);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
