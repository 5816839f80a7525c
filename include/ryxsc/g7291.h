/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g7291.h
 * @brief ITU-T G.729.1.
 */
#ifndef RYXSC_G7291_H
#define RYXSC_G7291_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup g7291 ITU-T G.729.1
 * @brief Second-order high-pass filter with a double-precision output history.
 * @{
 */

/** State of ryxsFilterHighpass_G7291_16s_ISfs(): an opaque block of 24 bytes at any address. */
typedef struct FilterHighpassState_G7291 FilterHighpassState_G7291;

/**
 * @brief Reports the size of the high-pass filter's state block: 24 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFilterHighpassGetStateSize_G7291_16s(int *size);

/**
 * @brief Clears the filter's history and takes its coefficients.
 * @param[out] state        block of 24 bytes
 * @param[in]  coefficients six values in Q14, in the order a0, a1, a2, b0, b1, b2. The feedback is added, so a1 is
 *                          positive and a2 negative in high-pass filters; a0, 16384, is kept but not used
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFilterHighpassInit_G7291_16s(FilterHighpassState_G7291 *state, const int16_t *coefficients);

/**
 * @brief Filters speech in place with a second-order recursive filter (ITU-T G.729.1).
 *
 * y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] + a1 y[n-1] + a2 y[n-2] is a 32-bit value, 65536 times the output. Past outputs
 * are kept as a high part y >> 16 and a low part of the 15 bits below it. The products of the two low parts are added and
 * shifted right by 13; those of the inputs and the high parts are added and multiplied by 4, which wraps at 32 bits; the
 * sum of both is saturated to 32 bits. With coefficients b of unit gain loud inputs can make it wrap. Coders therefore
 * scale b by 1/16 and give `sf` 4, where nothing can.
 *
 * The output is y scaled, saturated, rounded and saturated to 16 bits. Unlike with all other functions a **positive scale
 * factor scales up** by `sf` modulo 32 bits; a negative one scales down by `-sf` modulo 32 bits, rounding down. Scaling does
 * not enter the history. Blocks of any length give the same result as one long block.
 *
 * @param[in,out] srcDst `len` samples, full 16-bit range
 * @param[in]     len    number of samples, at least 1
 * @param[in,out] state  initialised state
 * @param[in]     sf     scale factor, any value
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsFilterHighpass_G7291_16s_ISfs(int16_t *srcDst, int len, FilterHighpassState_G7291 *state, int sf);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
