/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g728.h
 * @brief ITU-T G.728.
 */
#ifndef RYXSC_G728_H
#define RYXSC_G728_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup g728 ITU-T G.728
 * @brief Tenth-order pole-zero filter of the 16 kbit/s low-delay codec, in 16-bit fixed point.
 * @{
 */

/** Memory of ryxsIIR16s_G728_16s(): an opaque block of 64 bytes at any address. */
typedef struct IIRState_G728 IIRState_G728;

/**
 * @brief Reports the size of the filter's memory block: 64 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsIIR16sGetStateSize_G728_16s(int *size);

/**
 * @brief Clears the filter's memory block.
 *
 * The block holds 32 words: past inputs in words 0 to 9 and past outputs in words 16 to 25, both newest first. The other
 * words are cleared here and left alone by the filter.
 *
 * @param[out] state block of 64 bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsIIR16sInit_G728_16s(IIRState_G728 *state);

/**
 * @brief Filters with ten zeros and ten poles (ITU-T G.728, Annex G, perceptual weighting filter).
 *
 * With past inputs x and past outputs y, y[n] = sat16((x[n] * 2^14 + sum c[k] x[n-1-k] - sum c[10+k] y[n-1-k]) >> 14),
 * k = 0..9. The sum over the inputs wraps at 32 bits; the products with the outputs are subtracted from it one by one,
 * k rising, each time saturating to 32 bits. Coefficients may change from call to call, and blocks of any length give the
 * same result as one long block.
 *
 * @param[in]     coefficients 20 coefficients in Q14: c[0..9] for x[n-1..n-10], c[10..19] for y[n-1..n-10]
 * @param[in]     src          `len` input samples, full 16-bit range
 * @param[out]    dst          `len` output samples
 * @param[in]     len          number of samples, at least 1; 5 in the codec
 * @param[in,out] state        initialised memory block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsIIR16s_G728_16s(const int16_t *coefficients, const int16_t *src, int16_t *dst, int len,
                              IIRState_G728 *state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
