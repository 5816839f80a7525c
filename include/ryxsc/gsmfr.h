/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/gsmfr.h
 * @brief GSM full rate (GSM 06.10).
 */
#ifndef RYXSC_GSMFR_H
#define RYXSC_GSMFR_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup gsmfr GSM full rate
 * @brief Preprocessing, short-term prediction, weighting filter, RPE decoding and de-emphasis of ETSI GSM 06.10.
 *
 * Samples are 16-bit words at 8 kHz, reflection coefficients Q15. Products of two words are rounded to Q15,
 * mult_r(a, b) = (a * b + 16384) >> 15, and additions saturate to 16 bits, unless a function says otherwise. All states
 * are caller-owned arrays; zeros start a signal. Blocks of any length give the same output as one long block.
 * @{
 */

/**
 * @brief Offset compensation: drops the three low bits of the samples, halves them and removes their DC component
 *        (GSM 06.10, clauses 4.2.1 and 4.2.2).
 *
 * With s = (x >> 3) << 2 the recursive part becomes L_z2 = ((s - z1) << 15) + 32735/32768 * L_z2, the output is
 * (L_z2 + 16384) >> 15. Nothing saturates: additions wrap at 32 bits, the recursion takes L_z2 without its bit 31, and
 * the output keeps its low 16 bits. With the states that the filter itself leaves nothing wraps.
 *
 * @param[in]     src   `len` samples, full 16-bit range
 * @param[out]    dst   `len` samples, -32764..32764. May be `src`
 * @param[in]     len   number of samples, at least 1
 * @param[in,out] state two words: L_z2, Q15 relative to the output, and z1, the last s
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsHighPassFilter_GSMFR_16s(const int16_t *src, int16_t *dst, int len, int32_t *state);

/**
 * @brief Pre-emphasis: x[n] - 0.86 x[n-1] with the factor -28180 in Q15 (GSM 06.10, clause 4.2.3).
 * @param[in]     src   `len` samples, full 16-bit range
 * @param[out]    dst   `len` samples
 * @param[in]     len   number of samples, at least 1
 * @param[in,out] state the last sample of `src` of the previous call
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsPreemphasize_GSMFR_16s(const int16_t *src, int16_t *dst, int len, int16_t *state);

/**
 * @brief De-emphasis of the decoder with upscaling and truncation, in place (GSM 06.10, clauses 4.3.5 to 4.3.7).
 *
 * m[n] = x[n] + 0.86 m[n-1] with the factor 28180 in Q15; the output is 2 m[n], saturated, with its three low bits
 * cleared: a multiple of 8 in -32768..32760, rounded towards minus infinity.
 *
 * @param[in,out] srcDst `len` samples, full 16-bit range
 * @param[in]     len    number of samples, at least 1
 * @param[in,out] state  the last m, before doubling
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsDeemphasize_GSMFR_16s_I(int16_t *srcDst, int len, int16_t *state);

/**
 * @brief Schur recursion: reflection coefficients from an autocorrelation (GSM 06.10, clause 4.2.5).
 *
 * The autocorrelation is normalised by acf[0] and reduced to 16 bits. Coefficients of a smaller order are the first ones
 * of a larger order. From the first one on that would be larger than 1, all are 0.
 *
 * @param[in]  acf        autocorrelation of lags 0..`order`, with acf[0] not negative and none of larger magnitude.
 *                        acf[0] = 0 gives coefficients of 0, and so does a negative one
 * @param[out] reflection `order` coefficients, Q15, -32767..32767; positive for a negative acf[1]
 * @param[in]  order      1..8. A negative order is not an error; nothing is written
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for order 0 and orders above 8
 */
ryxStatus ryxsSchur_GSMFR_32s16s(const int32_t *acf, int16_t *reflection, int order);

/**
 * @brief Short-term analysis: lattice filter of order 8 from samples to the short-term residual, in place (GSM 06.10,
 *        clause 4.2.10).
 *
 * For the stages i = 0..7, with d = sav = x: sav' = u[i] + mult_r(r[i], d), d' = d + mult_r(r[i], u[i]), u[i] = sav.
 * The output is the last d.
 *
 * @param[in]     reflection 8 coefficients, Q15, -32767..32767; -32768, which no codec makes, is multiplied wrongly
 * @param[in,out] srcDst     `len` samples on entry, the residual on return
 * @param[in]     len        number of samples, at least 1
 * @param[in,out] state      8 words u[0..7]
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsShortTermAnalysisFilter_GSMFR_16s_I(const int16_t *reflection, int16_t *srcDst, int len, int16_t *state);

/**
 * @brief Short-term synthesis: the inverse lattice, from the short-term residual to samples (GSM 06.10, clause 4.3.4).
 *
 * For the stages i = 7..0, with s = x: s = s - mult_r(r[i], v[i]), v[i+1] = v[i] + mult_r(r[i], s). At the end v[0] = s,
 * which is the output.
 *
 * @param[in]     reflection 8 coefficients, Q15, -32767..32767; -32768, which no codec makes, is multiplied wrongly
 * @param[in]     src        `len` samples of the residual
 * @param[out]    dst        `len` samples. May be `src`
 * @param[in]     len        number of samples, at least 1
 * @param[in,out] state      8 words v[0..7]
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsShortTermSynthesisFilter_GSMFR_16s(const int16_t *reflection, const int16_t *src, int16_t *dst, int len,
                                                 int16_t *state);

/**
 * @brief Weighting filter of the RPE section: 11 symmetric taps, Q13, rounded and saturated (GSM 06.10, clause 4.2.13).
 *
 * The recommendation filters sub-blocks of 40 samples with zeros on either side; a caller that wants the same puts five
 * zeros in front of the sub-block and behind it.
 *
 * @param[in]  src the first of `len` samples; five samples in front of it and five behind the last one are read too
 * @param[out] dst `len` samples
 * @param[in]  len number of samples, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsWeightingFilter_GSMFR_16s(const int16_t *src, int16_t *dst, int len);

/**
 * @brief Inverse APCM quantisation of a block's 13 RPE pulses (GSM 06.10, clause 4.2.16).
 *
 * Pulse = (mult_r(multiplier, (2 * code - 7) << 12) + r) >> shift with r = 2^(shift-1), or 0 for `shift` 0. The caller
 * takes the multiplier from the recommendation's table 4.6 (18431, 20479, ..., 32767 for the decoded mantissas 0..7).
 *
 * @param[in]  codes      13 pulse codes 0..7; their low three bits count
 * @param[in]  multiplier factor of the block's mantissa, Q15
 * @param[in]  shift      6 minus the block's exponent: 0..10 in the codec, at least 0. From 16 on all pulses are 0
 * @param[out] dst        13 pulses. May be `codes`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadScale for a negative `shift`
 */
ryxStatus ryxsRPEQuantDecode_GSMFR_16s(const int16_t *codes, int16_t multiplier, int16_t shift, int16_t *dst);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
