/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/common.h
 * @brief Fixed-point arithmetic for all codecs.
 */
#ifndef RYXSC_COMMON_H
#define RYXSC_COMMON_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup common Fixed-point arithmetic for all codecs
 * @brief Scaling of vectors, rounded products, weighting by powers, dot product, inverse square root, weighted sums.
 *
 * A scale factor `sf` divides by 2^sf: 2^(sf-1) is added to the exact 32-bit result (nothing for `sf` 0), the sum is
 * shifted right by `sf` and saturated to 16 bits. The addition wraps at 32 bits and the shift ends at 31, so that `sf`
 * 31 makes -32768 * -32768 to -1, and that `sf` 33 and above leave the sign of the result, 0 or -1. At `sf` 32 the
 * constant is bit 31: -1 stands for a result from 0 on, 0 for a negative one. In the formulas >> rounds towards minus
 * infinity and sat16 saturates to 16 bits.
 *
 * Each output element depends on the input elements of the same index only, apart from the scale that
 * ryxsAutoScale_16s() finds. The destination may be the same vector as a source, but must not overlap one otherwise.
 * @{
 */

/**
 * @brief Scales a vector so that its largest magnitude leaves the wanted number of bits unused.
 *
 * With n the number of left shifts that bring the largest magnitude into 16384..32767 (-32768 counts as 32767) and h
 * the headroom: elements are shifted left by n - h, or right by h - n, at most 15, without rounding. From h = n + 15 on
 * 0 and -1 are left.
 *
 * @param[in]     src   `len` elements, full 16-bit range
 * @param[out]    dst   `len` scaled elements. May be `src`
 * @param[in]     len   number of elements, at least 1
 * @param[in,out] scale on entry the headroom h in bits, at least 0. On return n - h: how many bits the elements were
 *                      shifted left, negative for right (also beyond the limit of the right shift). 16 - h when all
 *                      elements are 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsBadScale for a negative headroom
 */
ryxStatus ryxsAutoScale_16s(const int16_t *src, int16_t *dst, int len, int *scale);

/**
 * @brief Scales a vector in place so that its largest magnitude leaves the wanted number of bits unused, like
 *        ryxsAutoScale_16s().
 * @param[in,out] srcDst `len` elements, full 16-bit range
 * @param[in]     len    number of elements, at least 1
 * @param[in,out] scale  on entry the headroom h, on return n - h, or 16 - h when all elements are 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsBadScale for a negative headroom
 */
ryxStatus ryxsAutoScale_16s_I(int16_t *srcDst, int len, int *scale);

/**
 * @brief Replaces each element by the inverse of its square root (ITU-T G.729, GSM-AMR, AMR-WB: Inv_sqrt).
 *
 * The result is 2^30 / sqrt(x) from a table of 49 values with linear interpolation, rounded down: for x in Qn it stands
 * in Q(30 - n/2).
 *
 * @param[in,out] srcDst `len` elements. The result of 0 and of negative values is 0x3fffffff
 * @param[in]     len    number of elements, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsInvSqrt_32s_I(int32_t *srcDst, int len);

/**
 * @brief Multiplies two vectors element by element: sat16((src1[i] * src2[i] + 2^(sf-1)) >> sf).
 * @param[in]  src1 `len` elements, full 16-bit range
 * @param[in]  src2 `len` elements, full 16-bit range. May be `src1`
 * @param[out] dst  `len` products. May be `src1` or `src2`
 * @param[in]  len  number of elements, at least 1
 * @param[in]  sf   scale factor, at least 0; 15 for Q15 times Q15 to Q15
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsBadScale for a negative `sf`
 */
ryxStatus ryxsMul_NR_16s_Sfs(const int16_t *src1, const int16_t *src2, int16_t *dst, int len, int sf);

/**
 * @brief Multiplies a vector by another one in place: sat16((src[i] * srcDst[i] + 2^(sf-1)) >> sf).
 * @param[in]     src    `len` elements, full 16-bit range. May be `srcDst`
 * @param[in,out] srcDst `len` elements, the second factors on entry, the products on return
 * @param[in]     len    number of elements, at least 1
 * @param[in]     sf     scale factor, at least 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsBadScale for a negative `sf`
 */
ryxStatus ryxsMul_NR_16s_ISfs(const int16_t *src, int16_t *srcDst, int len, int sf);

/**
 * @brief Multiplies a vector by a constant: sat16((src[i] * factor + 2^(sf-1)) >> sf).
 * @param[in]  src    `len` elements, full 16-bit range
 * @param[in]  factor the constant, full 16-bit range, in Q(sf) when the format of the vector is to stay
 * @param[out] dst    `len` products. May be `src`
 * @param[in]  len    number of elements, at least 1
 * @param[in]  sf     scale factor, at least 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsBadScale for a negative `sf`
 */
ryxStatus ryxsMulC_NR_16s_Sfs(const int16_t *src, int16_t factor, int16_t *dst, int len, int sf);

/**
 * @brief Multiplies a vector by a constant in place: sat16((srcDst[i] * factor + 2^(sf-1)) >> sf).
 * @param[in]     factor the constant, full 16-bit range, in Q(sf) when the format of the vector is to stay
 * @param[in,out] srcDst `len` elements, full 16-bit range
 * @param[in]     len    number of elements, at least 1
 * @param[in]     sf     scale factor, at least 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsBadScale for a negative `sf`
 */
ryxStatus ryxsMulC_NR_16s_ISfs(int16_t factor, int16_t *srcDst, int len, int sf);

/**
 * @brief Weights a vector by successive powers of a constant, as bandwidth expansion weights LP coefficients.
 *
 * dst[0] = src[0]; then, from the power p = base on, dst[i] = sat16((src[i] * p + 2^(sf-1)) >> sf) and
 * p = (p * base + 2^(sf-1)) >> sf for the next element. The power is rounded at every step, so it drifts away from the
 * exact one. It keeps its low 16 bits, which only a base beyond -2^sf .. 2^sf can show. With `sf` 15 the output keeps
 * its low 16 bits too instead of saturating: -32768 times the power -32768 gives -32768.
 *
 * @param[in]  src  `len` elements, full 16-bit range
 * @param[in]  base the constant, full 16-bit range, in Q(sf)
 * @param[out] dst  `len` weighted elements. May be `src`
 * @param[in]  len  number of elements, at least 1
 * @param[in]  sf   scale factor, at least 0; 15 for a constant in Q15
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadScale for a negative `sf`, which is tested before the length;
 *         #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsMulPowerC_NR_16s_Sfs(const int16_t *src, int16_t base, int16_t *dst, int len, int sf);

/**
 * @brief Computes a dot product and shifts the vectors by as little as makes it fit 32 bits.
 *
 * For the shifts 0 and 0, 0 and 1, 1 and 1, 1 and 2, ... of the two vectors the sum of (src1[i] >> shift1) *
 * (src2[i] >> shift2) is taken, every term but the first one doubled, until it lies in the 32-bit range. That the first
 * term counts once is part of the function. A doubled term of -32768 * -32768 wraps to -2^31.
 *
 * @param[in]  src1  `len` elements, full 16-bit range
 * @param[in]  src2  `len` elements, full 16-bit range. May be `src1`
 * @param[in]  len   number of elements, at least 1. Any vectors of up to 2^30 elements can be scaled to fit; a sum that
 *                   does not fit after both were shifted by 15 is saturated
 * @param[out] dst   the dot product
 * @param[out] scale shift1 + shift2, 0..30: the product is about dst * 2^scale
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsDotProdAutoScale_16s32s_Sfs(const int16_t *src1, const int16_t *src2, int len, int32_t *dst, int *scale);

/**
 * @brief Adds two weighted vectors, truncating each product:
 *        sat16(((src1[i] * weight1) >> sf) + ((src2[i] * weight2) >> sf)).
 *
 * The addition wraps at 32 bits, which takes `sf` 0 and four factors of -32768: the result is -32768.
 *
 * @param[in]  src1    `len` elements, full 16-bit range
 * @param[in]  weight1 weight of `src1`
 * @param[in]  src2    `len` elements, full 16-bit range. May be `src1`
 * @param[in]  weight2 weight of `src2`
 * @param[out] dst     `len` weighted sums. May be `src1` or `src2`
 * @param[in]  len     number of elements, at least 1
 * @param[in]  sf      shift of each product, at least 0, limited to 31; nothing is added before it
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadScale for a negative `sf`, which is tested before the length;
 *         #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsInterpolateC_G729_16s_Sfs(const int16_t *src1, int16_t weight1, const int16_t *src2, int16_t weight2,
                                        int16_t *dst, int len, int sf);

/**
 * @brief Adds two weighted vectors and rounds once:
 *        sat16((src1[i] * weight1 + src2[i] * weight2 + 2^(sf-1)) >> sf).
 * @param[in]  src1    `len` elements, full 16-bit range
 * @param[in]  weight1 weight of `src1`
 * @param[in]  src2    `len` elements, full 16-bit range. May be `src1`
 * @param[in]  weight2 weight of `src2`
 * @param[out] dst     `len` weighted sums. May be `src1` or `src2`
 * @param[in]  len     number of elements, at least 1
 * @param[in]  sf      scale factor, at least 0; all additions wrap at 32 bits
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadScale for a negative `sf`, which is tested before the length;
 *         #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsInterpolateC_NR_G729_16s_Sfs(const int16_t *src1, int16_t weight1, const int16_t *src2, int16_t weight2,
                                           int16_t *dst, int len, int sf);

/**
 * @brief Adds two vectors whose weights have scales of their own, and rounds once.
 *
 * A product with scale s counts product * 2^(s - 16). With k the source of the smaller scale and j the other one the
 * result is sat16((((srcj[i] * weightj) << (sj - sk)) + srck[i] * weightk + 2^(15 - sk)) >> (16 - sk)); the left shift
 * and the additions wrap at 32 bits. With sk = 16 nothing is added and nothing shifted; with sk above 16 the result is
 * the sign of the sum, 0 or -1. With scales 32 and more apart the shifted product is 0.
 *
 * @param[in]  src1    `len` elements, full 16-bit range
 * @param[in]  weight1 weight of `src1`
 * @param[in]  scale1  scale of `weight1`, at least 0
 * @param[in]  src2    `len` elements, full 16-bit range. May be `src1`
 * @param[in]  weight2 weight of `src2`
 * @param[in]  scale2  scale of `weight2`, at least 0
 * @param[out] dst     `len` weighted sums. May be `src1` or `src2`
 * @param[in]  len     number of elements, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsBadScale for a negative scale
 */
ryxStatus ryxsInterpolateC_NR_16s(const int16_t *src1, int16_t weight1, int scale1, const int16_t *src2,
                                  int16_t weight2, int scale2, int16_t *dst, int len);

/**
 * @brief Adds two weighted vectors in single precision: weight1 * src1[i] + weight2 * src2[i], both products and the
 *        sum rounded.
 * @param[in]  src1    `len` elements
 * @param[in]  weight1 weight of `src1`
 * @param[in]  src2    `len` elements. May be `src1`
 * @param[in]  weight2 weight of `src2`
 * @param[out] dst     `len` weighted sums. May be `src1` or `src2`
 * @param[in]  len     number of elements, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsInterpolateC_G729_32f(const float *src1, float weight1, const float *src2, float weight2, float *dst,
                                    int len);

/** @} */

/**
 * @defgroup lp Correlations, convolutions and LP filters
 * @brief The stages that CELP coders have in common, exact also where the recommendations' running sums saturate.
 *
 * A running sum starts at 0 unless said otherwise and grows by doubled products of 16-bit words, L_mac() of the
 * recommendations: a product saturates to 32 bits, and so does the sum after every term, in the order of the index.
 * sat16 saturates to 16 bits; L_shl(x, n) is x * 2^n, saturated to 32 bits, or x >> -n for a negative n; round(x) is the
 * upper half of x + 2^15 with saturation, so to nearest and ties upwards. `NR` in a name says that a function rounds so,
 * `Low` that products and sums have 16 bits.
 *
 * LP coefficients are a[0], ..., a[order] with A(z) = a[0] + a[1] z^-1 + ... A scale factor `sf` tells their format: Q12
 * coefficients (a[0] = 4096) take `sf` 12.
 * @{
 */

/**
 * @brief Autocorrelation: dst[k] = running sum of 2 * src[n] * src[n + k], n = 0 .. len - 1 - k, for k = 0 .. order.
 * @param[in]  src   `len` samples, full 16-bit range
 * @param[in]  len   number of samples, at least 1
 * @param[in]  order largest lag, 1 .. len - 1
 * @param[out] dst   `order` + 1 values; with samples in Qn in Q(2n + 1)
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` or `order` below 1; #ryxStsOutOfRange for an `order` of `len`
 *         or more
 */
ryxStatus ryxsAutoCorr_16s32s(const int16_t *src, int len, int order, int32_t *dst);

/**
 * @brief Normalised autocorrelation as the LP analyses of ITU-T G.729 and GSM-AMR (3GPP TS 26.090) take it.
 *
 * r[0] = 1 + sum of 2 * src[n]^2. While it does not fit 32 bits, all samples are divided by 4, rounding towards minus
 * infinity, and the sum is taken again. With the shift that normalises r[0], 2^30 <= r[0] << shift, dst[k] = r[k] << shift
 * for k = 0 .. order, where r[k] = sum of 2 * src[n] * src[n + k]. Silence gives dst[0] = 2^30 and zeros.
 *
 * @param[in]  src      `len` windowed samples, full 16-bit range
 * @param[in]  len      number of samples, 1 .. 1024
 * @param[in]  order    largest lag, 1 .. len - 1
 * @param[out] dst      `order` + 1 values, for ryxsLagWindow_G729_32s_I() and ryxsLevinsonDurbin_G729_32s16s()
 * @param[out] exponent by how many bits `dst` is larger than the autocorrelation of `src`: shift, less 4 for every
 *                      division
 * @return #ryxStsOk; #ryxStsOverflow, a warning, when samples had to be divided; #ryxStsNullPtr; #ryxStsBadSize for `len`
 *         outside its range or `order` below 1; #ryxStsOutOfRange for an `order` of `len` or more
 */
ryxStatus ryxsAutoCorr_NormE_16s32s(const int16_t *src, int len, int order, int32_t *dst, int *exponent);

/**
 * @brief Lag of the largest autocorrelation in a range, searched forwards: of equal ones the shortest lag.
 *
 * c(lag) = running sum of 2 * src[n] * src[n - lag], n = 0 .. len - 1. The open-loop searches of GSM-AMR and ITU-T G.729
 * use this rule in each of their ranges.
 *
 * @param[in]  src    `len` samples behind their past, src[-maxLag] .. src[-1]
 * @param[in]  len    number of samples, at least 1
 * @param[in]  minLag shortest lag, at least 1
 * @param[in]  maxLag longest lag, `minLag` or more
 * @param[out] max    the largest c(lag)
 * @param[out] lag    its lag
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` or `minLag` below 1; #ryxStsOutOfRange for a `maxLag` below
 *         `minLag`
 */
ryxStatus ryxsAutoCorrLagMax_Fwd_16s(const int16_t *src, int len, int minLag, int maxLag, int32_t *max, int *lag);

/**
 * @brief Lag of the largest correlation of two signals in a range, searched from the longest lag down: of equal ones the
 *        longest lag.
 *
 * c(lag) = running sum of 2 * src1[n] * src2[n - lag], n = 0 .. len - 1.
 *
 * @param[in]  src1   `len` samples
 * @param[in]  src2   src2[-maxLag] .. src2[len - 1 - minLag]. May be `src1`
 * @param[in]  len    number of samples, at least 1
 * @param[in]  minLag shortest lag, at least 1
 * @param[in]  maxLag longest lag, `minLag` or more
 * @param[out] max    the largest c(lag)
 * @param[out] lag    its lag
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` or `minLag` below 1; #ryxStsOutOfRange for a `maxLag` below
 *         `minLag`
 */
ryxStatus ryxsCrossCorrLagMax_16s(const int16_t *src1, const int16_t *src2, int len, int minLag, int maxLag,
                                  int32_t *max, int *lag);

/**
 * @brief Correlation of a target with an impulse response, rounded: dst[n] = round(running sum of
 *        2 * src1[i] * src2[i - n], i = n .. len - 1), the filtering backwards of the codebook searches.
 *
 * Takes up to 11 KB of stack.
 *
 * @param[in]  src1 `len` samples, full 16-bit range
 * @param[in]  src2 `len` samples of the response
 * @param[out] dst  `len` correlations: with Qm and Qn in Q(m + n - 15). May be `src1` or `src2`
 * @param[in]  len  number of samples, 1 .. 1024
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` outside its range
 */
ryxStatus ryxsCrossCorr_NR_16s(const int16_t *src1, const int16_t *src2, int16_t *dst, int len);

/**
 * @brief The first `len` samples of a convolution, truncated: dst[n] = sat16(S >> (sf + 1)) with the running sum S of
 *        2 * src1[i] * src2[n - i], i = 0 .. n.
 *
 * `sf` 12 filters an excitation by an impulse response in Q12 as ITU-T G.729 and GSM-AMR do. Takes up to 9 KB of stack.
 *
 * @param[in]  src1 `len` samples, full 16-bit range
 * @param[in]  src2 `len` samples
 * @param[out] dst  `len` samples. May be `src1` or `src2`
 * @param[in]  len  number of samples, 1 .. 1024
 * @param[in]  sf   scale factor, at least 0; shifts of more than 31 count as 31
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for a negative `sf`, which is tested before the length; #ryxStsBadSize
 *         for `len` outside its range
 */
ryxStatus ryxsConvPartial_16s_Sfs(const int16_t *src1, const int16_t *src2, int16_t *dst, int len, int sf);

/**
 * @brief Dot product with overflow report (ITU-T G.729 Annex A): the running sum of 2 * src1[i] * src2[i].
 * @param[in]  src1 `len` elements, full 16-bit range
 * @param[in]  src2 `len` elements. May be `src1`
 * @param[in]  len  number of elements, at least 1
 * @param[out] dst  the sum: with Qm and Qn in Q(m + n + 1)
 * @return #ryxStsOk; #ryxStsOverflow, a warning, when a product or the sum after some term was saturated; #ryxStsNullPtr;
 *         #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsDotProd_G729A_16s32s(const int16_t *src1, const int16_t *src2, int len, int32_t *dst);

/**
 * @brief LP residual in 16-bit precision: dst[n] = sum over k = 0 .. order of sat16((lpc[k] * src[n - k]) >> sf), saturated
 *        to 16 bits after every term, in the order of k.
 * @param[in]  lpc   `order` + 1 coefficients
 * @param[in]  order order of the filter, 1 .. 20
 * @param[in]  src   `len` samples behind their past, src[-order] .. src[-1]
 * @param[out] dst   `len` samples. Must not overlap `src` or its past
 * @param[in]  len   number of samples, at least 1
 * @param[in]  sf    scale factor, at least 0; shifts of more than 31 count as 31
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` or `order` below 1; #ryxStsOutOfRange for an `order` above
 *         20; #ryxStsBadScale for a negative `sf`
 */
ryxStatus ryxsResidualFilter_Low_16s_Sfs(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                         int sf);

/**
 * @brief LP synthesis 1 / A(z) as ITU-T G.729, GSM-AMR and AMR-WB compute it, with overflow report.
 *
 * dst[n] = round(L_shl(S, 15 - sf)), where the running sum S starts with 2 * lpc[0] * src[n] and loses
 * 2 * lpc[k] * dst[n - k] for k = 1 .. order. dst[-order] .. dst[-1] are the history; nothing is kept between calls, so
 * that a result can be thrown away: the caller takes the next history from the end of `dst`.
 *
 * @param[in]  lpc     `order` + 1 coefficients, Q12 for `sf` 12
 * @param[in]  order   order of the filter, 1 .. 20
 * @param[in]  src     `len` samples of excitation, full 16-bit range
 * @param[out] dst     `len` samples. May be `src`; must not overlap `history`
 * @param[in]  len     number of samples, at least 1
 * @param[in]  history the `order` latest outputs, the oldest first
 * @param[in]  sf      scale factor, at least 0
 * @return #ryxStsOk; #ryxStsOverflow, a warning, when a product, a sum, the shift or the rounding was saturated;
 *         #ryxStsNullPtr; #ryxStsBadSize for `len` or `order` below 1; #ryxStsOutOfRange for an `order` above 20;
 *         #ryxStsBadScale for a negative `sf`
 */
ryxStatus ryxsSynthesisFilter_NR_16s_Sfs(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                         const int16_t *history, int sf);

/**
 * @brief LP synthesis in place, like ryxsSynthesisFilter_NR_16s_Sfs().
 * @param[in]     lpc     `order` + 1 coefficients, Q12 for `sf` 12
 * @param[in]     order   order of the filter, 1 .. 20
 * @param[in,out] srcDst  `len` samples of excitation, then of speech; must not overlap `history`
 * @param[in]     len     number of samples, at least 1
 * @param[in]     history the `order` latest outputs, the oldest first
 * @param[in]     sf      scale factor, at least 0
 * @return as ryxsSynthesisFilter_NR_16s_Sfs()
 */
ryxStatus ryxsSynthesisFilter_NR_16s_ISfs(const int16_t *lpc, int order, int16_t *srcDst, int len,
                                          const int16_t *history, int sf);

/**
 * @brief LP synthesis in place in 16-bit precision.
 *
 * y[n] starts with P(lpc[0] * x[n]) and loses P(lpc[k] * y[n - k]) for k = order down to 1, so the latest output comes
 * last, saturating to 16 bits after every term; P(p) = sat16((p + 2^(sf-1)) >> sf) as described for the scale factors of
 * the other primitives.
 *
 * @param[in]     lpc     `order` + 1 coefficients, Q12 for `sf` 12
 * @param[in]     order   order of the filter, 1 .. 20
 * @param[in,out] srcDst  `len` samples x, then y; must not overlap `history`
 * @param[in]     len     number of samples, at least 1
 * @param[in]     history the `order` latest outputs, the oldest first
 * @param[in]     sf      scale factor, at least 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` or `order` below 1; #ryxStsOutOfRange for an `order` above
 *         20; #ryxStsBadScale for a negative `sf`
 */
ryxStatus ryxsSynthesisFilterLow_NR_16s_ISfs(const int16_t *lpc, int order, int16_t *srcDst, int len,
                                             const int16_t *history, int sf);

/**
 * @brief Response of the LP synthesis filter to an input from rest: ryxsSynthesisFilter_NR_16s_Sfs() with coefficients in
 *        Q12 (`sf` 12) and a history of zeros. 4096, 0, 0, ... gives the impulse response in Q12.
 * @param[in]  lpc   `order` + 1 coefficients in Q12
 * @param[in]  order order of the filter, 1 .. 20
 * @param[in]  src   `len` samples, full 16-bit range
 * @param[out] dst   `len` samples. May be `src`
 * @param[in]  len   number of samples, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` or `order` below 1; #ryxStsOutOfRange for an `order` above
 *         20
 */
ryxStatus ryxsSynthesisFilterZeroStateResponse_NR_16s(const int16_t *lpc, int order, const int16_t *src, int16_t *dst,
                                                      int len);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
