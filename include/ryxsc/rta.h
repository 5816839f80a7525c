/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/rta.h
 * @brief RTA codec.
 */
#ifndef RYXSC_RTA_H
#define RYXSC_RTA_H

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup rta RTA codec
 * @brief Levinson-Durbin recursion, two-band QMF, high-pass and band-shaping filters of the RTA codec, in single precision.
 *
 * No function contracts products and sums. The order of the additions inside the QMF is the library's own; everything else
 * runs from left to right as it is written, and the sums of the recursion from the newest coefficient to the oldest.
 * @{
 */

/**
 * @brief Computes LP and reflection coefficients from an autocorrelation (RTA codec).
 *
 * The predictor is A(z) = 1 + a[1] z^-1 + ... + a[order] z^-order. Energies of the prediction error are raised to 1.0. The
 * recursion stops with a warning for silence or an ill-conditioned autocorrelation; the outputs then hold what was
 * reached, everything else keeps its value, and the caller should go on with its previous predictor:
 * - autoCorr[0] of at most 1.0: nothing is written;
 * - a first reflection coefficient of magnitude 1 or more: only this one is written;
 * - a later error of the magnitude of the energy or more: the error itself, not a ratio, is written in place of the
 *   reflection coefficient, and the LP coefficients are those of the step before, one less than this place.
 *
 * A NaN stops the recursion in the same places.
 *
 * @param[in]  autoCorr   autocorrelation, order + 1 values
 * @param[out] lpc        LP coefficients a[1] to a[order], without the leading 1
 * @param[out] reflection reflection coefficients, `order` values
 * @param[in]  order      1..16
 * @return #ryxStsOk; #ryxStsOverflow when the recursion stopped early; #ryxStsNullPtr; #ryxStsOutOfRange for any other
 *         order
 */
ryxStatus ryxsLevinsonDurbin_RTA_32f(const float *autoCorr, float *lpc, float *reflection, int order);

/** State of one direction of the RTA codec's QMF: an opaque block of 208 bytes at any address. */
typedef struct QMFState_RTA QMFState_RTA;

/**
 * @brief Reports the size of a QMF state block: 208 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsQMFGetStateSize_RTA_32f(int *size);

/**
 * @brief Chooses the filter of a QMF and clears its history. Analysis and synthesis need a state each.
 * @param[out] state block of 208 bytes
 * @param[in]  taps  length of the prototype filter, 24 or 48
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other length
 */
ryxStatus ryxsQMFInit_RTA_32f(QMFState_RTA *state, int taps);

/**
 * @brief Splits a signal into two bands at half its rate (RTA codec).
 *
 * With the prototype h and the signal x behind its last `taps` samples, low[i] and high[i] are the sum and the difference
 * of two sums of h[k] x[2i + k], one over even and one over odd k. Analysis and synthesis together delay by `taps` samples.
 * Blocks of any even length give the same bands.
 *
 * @param[in]     src   `len` samples
 * @param[in]     len   number of samples, even, 2..640
 * @param[out]    low   `len / 2` samples of the low band
 * @param[out]    high  `len / 2` samples of the high band, its frequencies mirrored
 * @param[in,out] state state of the analysis
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a `len` below 1, above 640 or odd
 */
ryxStatus ryxsQMFEncode_RTA_32f(const float *src, int len, float *low, float *high, QMFState_RTA *state);

/**
 * @brief Joins two bands to a signal at twice their rate (RTA codec).
 * @param[in]     low   `len` samples of the low band
 * @param[in]     high  `len` samples of the high band
 * @param[in]     len   number of samples per band, 1..320
 * @param[out]    dst   2 * `len` samples
 * @param[in,out] state state of the synthesis
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a `len` below 1 or above 320
 */
ryxStatus ryxsQMFDecode_RTA_32f(const float *low, const float *high, int len, float *dst, QMFState_RTA *state);

/**
 * @brief Removes offset and hum with a recursive high-pass filter (RTA codec).
 *
 * Order 4 is a third-order direct form with its corner at 20 to 26 Hz, order 5 a lattice-ladder of four stages with its
 * corner at 80 Hz. Both add 1e-6 to every input, so that the output of silence is not zero but the recursion stays clear of
 * denormal numbers. For 8000 Hz there is no filter of order 4: the call then does nothing at all, and returns 1.
 *
 * @param[in]     src    `len` samples
 * @param[out]    dst    `len` samples. May be `src`
 * @param[in]     len    number of samples, at least 1
 * @param[in]     order  4 or 5
 * @param[in]     rate   8000, 16000, 22050 or 32000 Hz
 * @param[in,out] memory filter memory, 6 floats for order 4 (three inputs, three outputs, the newest first), 5 floats for
 *                       order 5; zero it before the first block. That of order 5 reaches 10^7 for ordinary speech
 * @return #ryxStsOk; 1 for order 4 at 8000 Hz (nothing was written); #ryxStsNullPtr; #ryxStsBadSize for `len` below 1;
 *         #ryxStsOutOfRange for any other rate, then for any other order
 */
ryxStatus ryxsHighPassFilter_RTA_32f(const float *src, float *dst, int len, int order, int rate, float *memory);

/**
 * @brief Shapes the spectrum of a block in place and brings its level back (RTA codec).
 *
 * y1[n] = 0.8 x[n] - 0.2 x[n-1], y2[n] = 4/3 y1[n] + 1/3 y1[n-1]. With R the ratio of the mean magnitudes of x and y2 in
 * this block (0 where y2 is silent) the gain follows g = 0.99 g + 0.011 R from sample to sample, towards 1.1 R, and the
 * output is y2 times g. R depends on the block, so other block lengths give another output.
 *
 * @param[in,out] srcDst `len` samples
 * @param[in]     len    number of samples, 1..640
 * @param[in,out] memory 3 floats: last input, last y1, gain; zero them before the first block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or above 640
 */
ryxStatus ryxsBandPassFilter_RTA_32f_I(float *srcDst, int len, float *memory);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
