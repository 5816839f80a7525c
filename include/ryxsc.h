/**
 * @file ryxsc.h
 * @brief Public interface of ryxSC, a library of speech-coding primitives for x86-64 Linux.
 *
 * ryxSC offers the building blocks from which speech codecs are assembled, one exported function per block. The
 * fixed-point results equal those of the ITU-T, ETSI or 3GPP recommendation bit for bit, on every processor.
 *
 * **Memory.** The caller owns every buffer and every state block. Nothing is allocated, kept or freed behind the
 * caller's back. Input and output vectors are ordinary arrays and need no alignment beyond that of their elements;
 * state blocks may lie at any address. Source and destination must not overlap unless a function says so.
 *
 * **States.** Ask for the size, allocate that many bytes, initialise, work block by block, free:
 * @code
 * int size;
 * ryxsSBADPCMEncodeStateSize_G722_16s(&size);
 * SBADPCMState_G722 *state = malloc((size_t)size);
 * ryxsSBADPCMEncodeInit_G722_16s(state);
 * while (read_subbands(subbands, 160))
 *     ryxsSBADPCMEncode_G722_16s(subbands, codes, 160, state);
 * free(state);
 * @endcode
 * A block holds plain values only. It may be copied, but some kinds are used from the next 16-byte boundary inside the
 * caller's memory, so a copy must lie at the same distance from such a boundary.
 *
 * **Errors.** Every function returns a ::ryxStatus. Zero is success. A negative status is an error: the function has
 * written nothing, neither to an output nor to a state. A positive status is a warning: all outputs are valid. Where a
 * function departs from either, its description says so. Checks stop at the first failure, null pointers first.
 *
 * **Threads.** The library has no mutable state of its own. Calls may run on any number of threads at once as long as
 * no two of them share a state block or an output buffer.
 *
 * **Names.** `ryxs` + operation + `_` + codec + `_` + element types (`16s` is a signed 16-bit integer, `8u` an unsigned
 * octet, two types are input and output). The suffix `_I` marks a function that rewrites its first vector in place.
 */
#ifndef RYXSC_H
#define RYXSC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup status Status values
 * @brief What every function returns.
 * @{
 */

/** Result of every function: 0 success, negative error (nothing was written), positive warning (outputs are valid). */
typedef int32_t ryxStatus;

/** Values of ::ryxStatus. */
enum {
    ryxStsOk = 0,             /**< success */
    ryxStsOverflow = 12,      /**< warning: a result was saturated, or an LP analysis found an unstable filter */
    ryxStsLsfLowClamped = 13, /**< warning: the lowest decoded LSF was raised to its floor (G.723.1: no full spacing) */
    ryxStsLsfHighClamped = 14, /**< warning: the highest decoded LSF was lowered to its ceiling */
    ryxStsLsfClamped = 15,     /**< warning: both ends of the decoded LSF vector were clamped */
    ryxStsErr = -2,            /**< an internal set-up step failed */
    ryxStsBadArg = -5,         /**< a length or configuration argument is invalid */
    ryxStsBadSize = -6,        /**< a length, order or lag is below 1 or outside the accepted sizes */
    ryxStsOutOfRange = -7,     /**< an argument lies outside its permitted range or set */
    ryxStsNullPtr = -8,        /**< a required pointer is null */
    ryxStsNoMem = -9,          /**< scratch memory could not be obtained */
    ryxStsBadIndex = -11,      /**< a received index, flag or decoded delay lies outside its range */
    ryxStsBadScale = -13,      /**< a scale factor is negative */
    ryxStsBadOrder = -15,      /**< the order of an internal transform is above 30 */
    ryxStsBadFlag = -16,       /**< the normalisation flag of an internal transform is not 1, 2, 4 or 8 */
    ryxStsBadContext = -17,    /**< a specification or state block does not carry the identifier of its kind */
    ryxStsBadShift = -32,      /**< a shift count is negative */
    ryxStsBadBandCount = -119  /**< the band count of a sub-band adaptive filter lies outside 1..4097 */
};

/** @} */

/**
 * @defgroup types Complex numbers
 * @brief Elements of the complex vectors, real part first.
 * @{
 */

/** Complex number of two 32-bit integers, suffix `32sc`. */
typedef struct ryx32sc {
    int32_t re; /**< real part */
    int32_t im; /**< imaginary part */
} ryx32sc;

/** Complex number in single precision, suffix `32fc`. */
typedef struct ryx32fc {
    float re; /**< real part */
    float im; /**< imaginary part */
} ryx32fc;

/** @} */

/**
 * @defgroup version Version
 * @brief Which library, and which of its processor variants, is in use.
 * @{
 */

/** Version record of a processor variant. Constant; never to be changed or freed by the caller. */
typedef struct ryxLibraryVersion {
    int32_t majorVersion;  /**< major version */
    int32_t minorVersion;  /**< minor version */
    int32_t majorBuild;    /**< update number */
    int32_t build;         /**< revision number */
    char targetCpu[4];     /**< processor code, "u8" or "n8", padded with zero bytes */
    const char *name;      /**< library name and variant, zero-terminated */
    const char *version;   /**< version text, zero-terminated */
    const char *buildDate; /**< build date, zero-terminated */
} ryxLibraryVersion;

/**
 * @brief Returns the version record of the variant that this process uses.
 *
 * The variant is chosen once, when the library is loaded: "n8" on processors of the low-power Wren family, "u8"
 * everywhere else. Both give the same results; this record is the only difference that can be seen.
 *
 * @return pointer to a constant record, never null, the same on every call
 */
const ryxLibraryVersion *ryxscGetLibVersion(void);

/** @} */

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
 * @defgroup g729lp ITU-T G.729: LP analysis and LSP conversion
 * @brief Lag window, Levinson-Durbin recursion, conversions between LP coefficients, line spectral pairs and line
 *        spectral frequencies.
 *
 * LP coefficients `a[0..10]` stand for A(z) = a[0] + a[1] z^-1 + ... + a[10] z^-10 with a[0] = 1, in Q12 (4096) or in
 * single precision. Line spectral pairs (LSPs) are the cosines of ten rising frequencies, so they fall with the index:
 * Q15 or -1..1. Line spectral frequencies (LSFs) are those frequencies in radians, Q13, or normalised to 0..0.5, Q15.
 *
 * The fixed-point functions are bit-exact with ITU-T G.729, those with `G729A` in their names with its Annex A. The
 * floating-point functions compute in single precision, in the order of Annex C, without contraction.
 * @{
 */

/**
 * @brief Applies the lag window to an autocorrelation, in place (ITU-T G.729, clause 3.2.1).
 *
 * The window is a Gaussian of 60 Hz with the white-noise correction 1.0001. Each value is split into a high part
 * `r >> 16` and a low part `(r >> 1) & 0x7fff` of 15 bits, as the window is; the product leaves out the product of the
 * low parts. All results are even.
 *
 * @param[in,out] srcDst autocorrelation from lag 1 on, `order` values, full 32-bit range
 * @param[in]     order  number of lags, 1..12; lags 11 and 12 are those of Annex B
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `order` below 1; #ryxStsOutOfRange for `order` above 12
 */
ryxStatus ryxsLagWindow_G729_32s_I(int32_t *srcDst, int order);

/**
 * @brief Computes LP coefficients from an autocorrelation by the Levinson-Durbin recursion in double-precision fixed
 *        point (ITU-T G.729, clause 3.2.2).
 *
 * On a warning nothing is written: the caller goes on with the previous coefficients, as the recommendation does.
 *
 * @param[in]  autoCorr   autocorrelation, `order + 1` values, normalised: `autoCorr[0]` from 2^30 on. Bit 0 of the
 *                        values does not count
 * @param[in]  order      1..30
 * @param[out] lpc        LP coefficients, `order + 1` values in Q12, saturated; `lpc[0]` is 4096
 * @param[out] reflection reflection coefficients, `order` values in Q15, -32750..32750
 * @param[out] energy     upper half of the prediction error's normalised mantissa, 16384..32767; its exponent is not
 *                        reported
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for `order` below 1 or above 30; the warning #ryxStsOverflow
 *         when `autoCorr[0]` lies in -65535..65535 or the magnitude of a reflection coefficient exceeds 32750 (an
 *         unstable filter)
 */
ryxStatus ryxsLevinsonDurbin_G729_32s16s(const int32_t *autoCorr, int order, int16_t *lpc, int16_t *reflection,
                                         int16_t *energy);

/**
 * @brief Computes LP coefficients from an autocorrelation by the Levinson-Durbin recursion in single precision.
 *
 * There is no test of stability. An `autoCorr[0]` of 0 gives infinities or NaN.
 *
 * @param[in]  autoCorr   autocorrelation, `order + 1` values
 * @param[in]  order      at least 1
 * @param[out] lpc        LP coefficients, `order + 1` values; `lpc[0]` is 1
 * @param[out] reflection reflection coefficients, `order` values
 * @param[out] energy     prediction error; 0.001 takes the place of an error that is not positive
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `order` below 1
 */
ryxStatus ryxsLevinsonDurbin_G729_32f(const float *autoCorr, int order, float *lpc, float *reflection, float *energy);

/**
 * @brief Converts LP coefficients to LSPs (ITU-T G.729, clause 3.2.3).
 *
 * The roots are searched on a grid of 60 intervals, with four bisections and a linear interpolation. Where fewer than
 * ten are found, the previous LSPs are the result, without a warning.
 *
 * @param[in]  lpc     11 LP coefficients in Q12; the first one is not read. Coefficients whose sum and difference
 *                     polynomials leave the range of Q11 are worked on in Q10
 * @param[in]  prevLsp 10 previous LSPs
 * @param[out] lsp     10 LSPs in Q15. May be `prevLsp`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPCToLSP_G729_16s(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp);

/**
 * @brief Converts LP coefficients to LSPs on the coarser grid of ITU-T G.729 Annex A: 50 intervals and two bisections.
 *
 * @param[in]  lpc     11 LP coefficients in Q12, as for ryxsLPCToLSP_G729_16s()
 * @param[in]  prevLsp 10 previous LSPs, the result where fewer than ten roots are found
 * @param[out] lsp     10 LSPs in Q15. May be `prevLsp`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPCToLSP_G729A_16s(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp);

/**
 * @brief Converts LP coefficients to LSPs in single precision: 60 intervals and four bisections.
 *
 * Unlike in fixed point, the search goes on within the interval in which a root was found, so that it finds two roots
 * (one of each polynomial) between two grid points.
 *
 * @param[in]  lpc     11 LP coefficients; the first one counts as 1 and is not read
 * @param[in]  prevLsp 10 previous LSPs, the result where fewer than ten roots are found
 * @param[out] lsp     10 LSPs. May be `prevLsp`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPCToLSP_G729_32f(const float *lpc, const float *prevLsp, float *lsp);

/**
 * @brief Converts LP coefficients to LSPs in single precision on the grid of Annex A: 50 intervals and two bisections.
 *
 * @param[in]  lpc     11 LP coefficients; the first one counts as 1 and is not read
 * @param[in]  prevLsp 10 previous LSPs, the result where fewer than ten roots are found
 * @param[out] lsp     10 LSPs. May be `prevLsp`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPCToLSP_G729A_32f(const float *lpc, const float *prevLsp, float *lsp);

/**
 * @brief Converts LSPs to LP coefficients (ITU-T G.729, clause 3.2.6).
 *
 * @param[in]  lsp 10 LSPs in Q15
 * @param[out] lpc 11 LP coefficients in Q12, rounded; `lpc[0]` is 4096. A coefficient beyond -8..8, which falling
 *                 LSPs of speech do not give, keeps its low 16 bits
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSPToLPC_G729_16s(const int16_t *lsp, int16_t *lpc);

/**
 * @brief Converts LSPs to LP coefficients in single precision.
 *
 * @param[in]  lsp 10 LSPs, -1..1
 * @param[out] lpc 11 LP coefficients; `lpc[0]` is 1
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSPToLPC_G729_32f(const float *lsp, float *lpc);

/**
 * @brief Converts LSPs to LSFs in radians (ITU-T G.729, clause 3.2.4).
 *
 * @param[in]  lsp 10 LSPs in Q15, falling; an LSP above its predecessor is extrapolated from its successor's interval,
 *                 and its LSF saturated
 * @param[out] lsf 10 LSFs in radians, Q13, 0..25735 for falling LSPs. May be `lsp`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSPToLSF_G729_16s(const int16_t *lsp, int16_t *lsf);

/**
 * @brief Converts LSPs to normalised LSFs (ITU-T G.729, Annexes).
 *
 * Rounds where ryxsLSPToLSF_G729_16s() truncates.
 *
 * @param[in]  lsp 10 LSPs in Q15, falling; an LSP above its predecessor is extrapolated from its successor's interval,
 *                 and its LSF saturated
 * @param[out] lsf 10 LSFs as fractions of the sampling frequency, Q15, 0..16384 for falling LSPs. May be `lsp`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSPToLSF_Norm_G729_16s(const int16_t *lsp, int16_t *lsf);

/**
 * @brief Converts LSFs in radians to LSPs (ITU-T G.729, clause 3.2.4).
 *
 * @param[in]  lsf 10 LSFs in radians, Q13, 0..25735. Values outside have results too: the first or the last interval of
 *                 the cosine serves them
 * @param[out] lsp 10 LSPs in Q15, saturated. May be `lsf`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSFToLSP_G729_16s(const int16_t *lsf, int16_t *lsp);

/**
 * @brief Averages two LSP vectors, as the LSPs of the first subframe are (ITU-T G.729, clause 3.2.5).
 *
 * `dst[i] = (src1[i] >> 1) + (src2[i] >> 1)`: both are halved, and rounded down, before the addition.
 *
 * @param[in]  src1 first vector, full 16-bit range
 * @param[in]  src2 second vector, full 16-bit range
 * @param[out] dst  `len` means, -32768..32766. May be `src1` or `src2`
 * @param[in]  len  number of elements, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsInterpolate_G729_16s(const int16_t *src1, const int16_t *src2, int16_t *dst, int len);

/** @} */

/**
 * @defgroup g729lsp ITU-T G.729: LSP quantisation
 * @brief Quantisers and decoders of line spectral frequencies: speech frames, Annex B comfort noise, Annex E, erased
 *        frames; in 16 bits and in floating point.
 *
 * A fourth-order moving-average predictor with two sets of coefficients (modes) predicts the ten line spectral
 * frequencies (LSFs) from the quantised residuals of the last four frames; the residual is coded by codebooks of two
 * stages. LSFs are radians: Q13, or floats.
 *
 * **History.** The caller keeps the four residuals between frames: 40 values, those of the newest frame first, in the
 * format of the LSFs. Before the first frame each of the four is pi * (j + 1) / 11, j = 0..9: 2339, 4679, 7018, 9358,
 * 11698, 14037, 16377, 18717, 21056, 23396, or 0.285599, 0.571199, 0.856798, 1.142397, 1.427997, 1.713596, 1.999195,
 * 2.284795, 2.570394, 2.855993. An encoder and a decoder have a history each; speech and comfort-noise frames of a
 * channel share it.
 *
 * **Indices.** L0 is the mode, L1 the vector of the first stage, L2 and L3 those of the second stage for the lower and
 * the upper five values. A comfort-noise frame has three: L0, L1 and one second-stage index for both halves.
 *
 * **Decoded LSFs** are exchanged where neighbours are out of order, spaced by 321 (0.0392) and limited to 40..25681
 * (0.005..3.135). The limit at the top comes last and concerns the last LSF alone, so the last two may end closer or
 * crossed.
 *
 * The 16-bit functions are bit-exact with ITU-T G.729 and its Annexes B and E. The floating-point functions follow
 * Annexes C and C+ in single precision.
 * @{
 */

/**
 * @brief Quantises LSPs (ITU-T G.729, clause 3.2.4): ryxsLSPToLSF_G729_16s(), ryxsLSFQuant_G729_16s(),
 *        ryxsLSFToLSP_G729_16s().
 *
 * @param[in]     lsp       10 LSPs in Q15, falling
 * @param[in,out] history   residuals of the last four frames, 40 values in Q13
 * @param[out]    quantised 10 quantised LSPs in Q15. May be `lsp`
 * @param[out]    packed    two words of the bit stream: `(L0 << 7) | L1`, 8 bits, and `(L2 << 5) | L3`, 10 bits
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSPQuant_G729_16s(const int16_t *lsp, int16_t *history, int16_t *quantised, int16_t *packed);

/**
 * @brief Quantises LSFs (ITU-T G.729, clause 3.2.4).
 *
 * Both modes are searched: the whole first stage by plain distance, then each half of the second stage by weighted
 * distance. The mode with the smaller weighted error wins, mode 0 when they are equal. Quantised LSFs and history are
 * those that ryxsLSFDecode_G729_16s() makes of the indices.
 *
 * @param[in]     lsf       10 LSFs in radians, Q13, rising; other values have results too, with saturating arithmetic
 * @param[in,out] history   residuals of the last four frames, 40 values in Q13
 * @param[out]    quantised 10 quantised LSFs in radians, Q13. May be `lsf`
 * @param[out]    indices   L0 0..1, L1 0..127, L2 0..31, L3 0..31
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSFQuant_G729_16s(const int16_t *lsf, int16_t *history, int16_t *quantised, int16_t *indices);

/**
 * @brief Decodes LSFs (ITU-T G.729, clauses 3.2.4 and 4.1.1).
 *
 * @param[in]     indices L0 0..1; of L1, L2 and L3 the low 7, 5 and 5 bits count
 * @param[in,out] history residuals of the last four frames, 40 values in Q13
 * @param[out]    lsf     10 LSFs in radians, Q13
 * @return #ryxStsOk; #ryxStsLsfLowClamped, #ryxStsLsfHighClamped or #ryxStsLsfClamped when the first, the last or both
 *         LSFs were limited; #ryxStsNullPtr; #ryxStsBadIndex for L0 other than 0 or 1
 */
ryxStatus ryxsLSFDecode_G729_16s(const int16_t *indices, int16_t *history, int16_t *lsf);

/**
 * @brief Updates the history for an erased frame, whose LSFs are those of the last good frame (ITU-T G.729,
 *        clause 4.4.1).
 *
 * The newest residual becomes the one that would have given these LSFs. In a run of erased frames the call is repeated
 * with the same LSFs and mode.
 *
 * @param[in]     mode    L0 of the last good frame, 0..1; 0 before the first
 * @param[in,out] history residuals of the last four frames, 40 values in Q13
 * @param[in]     lsf     10 LSFs of the last good frame in radians, Q13
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for any other mode
 */
ryxStatus ryxsLSFDecodeErased_G729_16s(int16_t mode, int16_t *history, const int16_t *lsf);

/**
 * @brief Updates the history for an erased frame in floating point; see ryxsLSFDecodeErased_G729_16s().
 *
 * @param[in]     mode    L0 of the last good frame, 0..1; 0 before the first
 * @param[in,out] history residuals of the last four frames, 40 values in radians
 * @param[in]     lsf     10 LSFs of the last good frame in radians
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for any other mode
 */
ryxStatus ryxsLSFDecodeErased_G729_32f(int16_t mode, float *history, const float *lsf);

/**
 * @brief Decodes LSFs in floating point (ITU-T G.729, Annex C).
 *
 * @param[in]     indices L0 0..1; of L1, L2 and L3 the low 7, 5 and 5 bits count
 * @param[in,out] history residuals of the last four frames, 40 values in radians
 * @param[out]    lsf     10 LSFs in radians
 * @return as ryxsLSFDecode_G729_16s()
 */
ryxStatus ryxsLSFDecode_G729_32f(const int16_t *indices, float *history, float *lsf);

/**
 * @brief Decodes the LSFs of a comfort-noise frame in floating point (ITU-T G.729, Annexes B and C+).
 *
 * @param[in]     indices three words: L0 0..1; of the first-stage and the second-stage index the low 5 and 4 bits count
 * @param[in,out] history residuals of the last four frames, 40 values in radians
 * @param[out]    lsf     10 LSFs in radians
 * @return as ryxsLSFDecode_G729_16s()
 */
ryxStatus ryxsLSFDecode_G729B_32f(const int16_t *indices, float *history, float *lsf);

/**
 * @brief Quantises the LSFs of a comfort-noise frame in floating point (ITU-T G.729, Annexes B and C+).
 *
 * @param[in]     lsf       10 LSFs in radians, rising
 * @param[in,out] history   residuals of the last four frames, 40 values in radians
 * @param[out]    quantised 10 quantised LSFs in radians. May be `lsf`
 * @param[out]    indices   three words: L0 0..1, first stage 0..31, second stage 0..15
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSFQuant_G729B_32f(const float *lsf, float *history, float *quantised, int16_t *indices);

/**
 * @brief Decodes the LSFs of a comfort-noise frame (ITU-T G.729, Annex B).
 *
 * @param[in]     indices three words: L0 0..1; of the first-stage and the second-stage index the low 5 and 4 bits count
 * @param[in,out] history residuals of the last four frames, 40 values in Q13
 * @param[out]    lsf     10 LSFs in radians, Q13
 * @return as ryxsLSFDecode_G729_16s()
 */
ryxStatus ryxsLSFDecode_G729B_16s(const int16_t *indices, int16_t *history, int16_t *lsf);

/**
 * @brief Quantises the LSFs of a comfort-noise frame (ITU-T G.729, Annex B).
 *
 * The LSFs are first spaced by 642 and limited. The four best of 64 pairs of mode and first-stage vector go into the
 * second stage. Quantised LSFs and history are those that ryxsLSFDecode_G729B_16s() makes of the indices.
 *
 * @param[in]     lsf       10 LSFs in radians, Q13, rising; other values have results too, with saturating arithmetic
 * @param[in,out] history   residuals of the last four frames, 40 values in Q13
 * @param[out]    quantised 10 quantised LSFs in radians, Q13. May be `lsf`
 * @param[out]    indices   three words: L0 0..1, first stage 0..31, second stage 0..15
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSFQuant_G729B_16s(const int16_t *lsf, int16_t *history, int16_t *quantised, int16_t *indices);

/**
 * @brief Quantises LSPs of forward-adaptive frames of Annex E, with the result of ryxsLSPQuant_G729_16s().
 *
 * The coder of Annex E moves the history in forward frames only: when the frame is then coded in backward mode, put the
 * 40 values from before the call back.
 *
 * @param[in]     lsp       10 LSPs in Q15, falling
 * @param[in,out] history   residuals of the last four frames, 40 values in Q13
 * @param[out]    quantised 10 quantised LSPs in Q15. May be `lsp`
 * @param[out]    packed    two words, `(L0 << 7) | L1` and `(L2 << 5) | L3`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSPQuant_G729E_16s(const int16_t *lsp, int16_t *history, int16_t *quantised, int16_t *packed);

/**
 * @brief Quantises LSPs of forward-adaptive frames of Annex E in floating point (ITU-T G.729, Annex C+).
 *
 * About the history see ryxsLSPQuant_G729E_16s(). The conversions use the arc cosine and the cosine of the C library, so
 * the last bits depend on it.
 *
 * @param[in]     lsp       10 LSPs, cosines, -1..1, falling
 * @param[in,out] history   residuals of the last four frames, 40 values in radians
 * @param[out]    quantised 10 quantised LSPs. May be `lsp`
 * @param[out]    packed    two words, `(L0 << 7) | L1` and `(L2 << 5) | L3`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSPQuant_G729E_32f(const float *lsp, float *history, float *quantised, int16_t *packed);

/** @} */

/**
 * @defgroup g723 ITU-T G.723.1
 * @brief Decoding of the line spectral frequencies.
 *
 * Frequencies are 16-bit values of which 32768 stands for pi.
 * @{
 */

/**
 * @brief Decodes the line spectral frequencies (LSFs) of a frame (ITU-T G.723.1).
 *
 * Three codebook vectors are added to the prediction from the previous frame. Then up to ten passes limit the first LSF
 * to at least 384 and the last to at most 32256 and move neighbours apart that are closer than 256, or 512 in an erased
 * frame; spacings of 4 less are accepted. The limits come first in a pass, so the ends may leave them again. Where the
 * recommendation falls back to the previous vector, because ten passes were not enough, the vector of the last pass is
 * returned with a warning.
 *
 * @param[in]  indices  codebook indices of LSFs 1 to 3, 4 to 6 and 7 to 10; their low 8 bits count. Not read for an
 *                      erased frame, but never null
 * @param[in]  previous 10 LSFs of the previous frame, full 16-bit range
 * @param[in]  erased   0: good frame, any other value: erased frame, which is predicted from the previous one alone
 * @param[out] lsf      10 decoded LSFs
 * @return #ryxStsOk; #ryxStsLsfLowClamped when the spacing was not reached; #ryxStsNullPtr
 */
ryxStatus ryxsLSFDecode_G723_16s(const uint16_t *indices, const int16_t *previous, int erased, int16_t *lsf);

/** @} */

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

/**
 * @defgroup gsmamr 3GPP GSM-AMR: algebraic codebook
 * @brief Algebraic codebook: target and impulse response, search, decoding.
 *
 * The fixed codebook of the narrow-band AMR codec, bit-exact with 3GPP TS 26.073. One call works on one subframe of 40
 * samples (5 ms at 8 kHz). A code vector holds a few pulses; each track of every fifth position (10.2 kbit/s: every
 * fourth) may hold certain of them.
 *
 * | rate (kbit/s) | pulses | tracks | bits | words | amplitudes of the code vector |
 * | --- | --- | --- | --- | --- | --- |
 * | 4.75, 5.15 | 2 | 5, two pairs of tracks a subframe | 9 | 2 | 8191, -8192 |
 * | 5.90 | 2 | 5 | 11 | 2 | 8191, -8192 |
 * | 6.70 | 3 | 5 | 14 | 2 | 8191, -8192 |
 * | 7.40, 7.95 | 4 | 5 | 17 | 2 | 8191, -8192 |
 * | 10.2 | 8 | 4 | 31 | 7 | 8191, -8191 |
 * | 12.2, silence descriptor | 10 | 5 | 35 | 10 | 4096, -4096 |
 *
 * The amplitude 8192 stands for 1; at 12.2 kbit/s it is 4096. Pulses that meet on a position add up.
 *
 * The words of a codeword, bit 0 being the lowest. i0, i1, ... are position indices: a pulse on track t lies at 5 * i + t.
 * - Up to four pulses: the positions are in the first word, the signs in the second, 1 for positive.
 *   - 9 bits: i0 in bits 0..2, i1 in bits 3..5; bit 6 chooses the pair of tracks.
 *   - 11 bits: bit 0 puts the first pulse on track 3 instead of 1, i0 in bits 1..3; bits 4..5 choose the second pulse's
 *     track of 0, 1, 2, 4, i1 in bits 6..8.
 *   - 14 bits: i0 in bits 0..2; bit 3 chooses track 3 instead of 1, i1 in bits 4..6; bit 7 chooses track 4 instead of 2,
 *     i2 in bits 8..10.
 *   - 17 bits: Gray codes of i0, i1, i2 in bits 0..2, 3..5, 6..8; bit 9 chooses track 4 instead of 3, Gray code of i3 in
 *     bits 10..12.
 * - 31 bits: words 0 to 3 are 1 for a negative first pulse of tracks 0 to 3; words 4 (10 bits), 5 (10 bits) and 6 (7
 *   bits) code positions 4 * i + t in base 5 of their halves, as the recommendation packs them.
 * - 35 bits: word t has the Gray code of the first pulse of track t in bits 0..2 and in bit 3 a 1 for negative; word t + 5
 *   has the Gray code of the second pulse.
 * - With two pulses a track, the second has the sign of the first where it does not lie in front of it, else the opposite.
 * @{
 */

/** Bit rates of GSM-AMR in the library's enumeration of speech bit rates. */
enum {
    ryxGSMAMRRate4750 = 0,   /**< 4.75 kbit/s */
    ryxGSMAMRRate5150 = 1,   /**< 5.15 kbit/s */
    ryxGSMAMRRate5900 = 3,   /**< 5.90 kbit/s */
    ryxGSMAMRRate6700 = 6,   /**< 6.70 kbit/s */
    ryxGSMAMRRate7400 = 7,   /**< 7.40 kbit/s */
    ryxGSMAMRRate7950 = 8,   /**< 7.95 kbit/s */
    ryxGSMAMRRate10200 = 11, /**< 10.2 kbit/s */
    ryxGSMAMRRate12200 = 12, /**< 12.2 kbit/s */
    ryxGSMAMRRateSID = 25    /**< silence-descriptor frames; their codebook is that of 12.2 kbit/s */
};

/**
 * @brief Prepares a subframe for its codebook searches: impulse response of the weighted synthesis filter, LP residual and
 *        target (3GPP TS 26.090, clauses 5.4 and 5.5).
 *
 * With A(z/g1) and A(z/g2) of the weighting filter and the quantised A^(z): the impulse response is that of
 * A(z/g1) / (A^(z) A(z/g2)). The residual is the speech through A^(z). The target is the residual through 1/A^(z),
 * A(z/g1) and 1/A(z/g2) with the memories given. Every filter rounds its samples, (sum + 2048) >> 12, and saturates them
 * to 16 bits.
 *
 * @param[in]  speech          the 40 samples of the subframe and the 10 before it: 50 samples, oldest first
 * @param[in]  weightedLpc1    11 coefficients of A(z/g1), Q12
 * @param[in]  weightedLpc2    11 coefficients of A(z/g2), Q12
 * @param[in]  quantisedLpc    11 coefficients of A^(z), Q12
 * @param[in]  synthesisMemory last 10 samples of the error signal before the subframe, oldest first
 * @param[in]  weightingMemory last 10 samples of the weighted error before the subframe, oldest first
 * @param[out] impulse         40 samples of the impulse response, Q12
 * @param[out] residual        40 samples of the LP residual
 * @param[out] target          40 samples of the target
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsImpulseResponseTarget_GSMAMR_16s(const int16_t *speech, const int16_t *weightedLpc1,
                                               const int16_t *weightedLpc2, const int16_t *quantisedLpc,
                                               const int16_t *synthesisMemory, const int16_t *weightingMemory,
                                               int16_t *impulse, int16_t *residual, int16_t *target);

/**
 * @brief Searches the algebraic codebook (3GPP TS 26.090, clause 5.7).
 *
 * For a lag below 40 the impulse response is sharpened first: h[n] += (s * h[n - pitchLag]) >> 15 for n = `pitchLag`..39
 * in this order, with s = sat16(2 * pitchGain); after the search the code vector in the same way. The sums wrap at 16
 * bits where the recommendation saturates. The filtered code vector is the code vector before its sharpening, through the
 * sharpened impulse response: without its own sharpening, it already has the pitch in it.
 *
 * The work arrays take 8 KB of stack; ryxsAlgebraicCodebookSearchEX_GSMAMR_16s() has them elsewhere.
 *
 * @param[in]     pitchLag  pitch lag, 17..144
 * @param[in]     pitchGain pitch gain, Q14, full range; from 16384 on as 32767 / 32768
 * @param[in]     target    40 samples of the target without the adaptive codebook's part
 * @param[in]     residual  40 samples of the LP residual without the adaptive codebook's part. Read at 10.2 and 12.2
 *                          kbit/s only, whose signs depend on it, but never null
 * @param[in,out] impulse   40 samples of the impulse response, Q12; sharpened on return
 * @param[out]    code      40 samples of the sharpened code vector
 * @param[out]    filtered  40 samples of the filtered code vector, in the format of `impulse`; half of that at 12.2 kbit/s
 * @param[out]    codeword  2, 7 or 10 words
 * @param[in]     subframe  number of the subframe, 0..3
 * @param[in]     rate      one of the ryxGSMAMRRate values
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a subframe number or a lag outside its range, or another rate
 */
ryxStatus ryxsAlgebraicCodebookSearch_GSMAMR_16s(int16_t pitchLag, int16_t pitchGain, const int16_t *target,
                                                 const int16_t *residual, int16_t *impulse, int16_t *code,
                                                 int16_t *filtered, int16_t *codeword, int16_t subframe, int rate);

/**
 * @brief Searches the algebraic codebook like ryxsAlgebraicCodebookSearch_GSMAMR_16s(), in work arrays of the caller.
 * @param[in]     pitchLag  pitch lag, 17..144
 * @param[in]     pitchGain pitch gain, Q14
 * @param[in]     target    40 samples of the target without the adaptive codebook's part
 * @param[in]     residual  40 samples of the LP residual without the adaptive codebook's part
 * @param[in,out] impulse   40 samples of the impulse response, Q12; sharpened on return
 * @param[out]    code      40 samples of the sharpened code vector
 * @param[out]    filtered  40 samples of the filtered code vector
 * @param[out]    codeword  2, 7 or 10 words
 * @param[in]     subframe  number of the subframe, 0..3
 * @param[in]     rate      one of the ryxGSMAMRRate values
 * @param[out]    buffer    scratch memory of the size that ryxsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s() reports,
 *                          at any address; its content means nothing before and after the call
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a subframe number or a lag outside its range, or another rate
 */
ryxStatus ryxsAlgebraicCodebookSearchEX_GSMAMR_16s(int16_t pitchLag, int16_t pitchGain, const int16_t *target,
                                                   const int16_t *residual, int16_t *impulse, int16_t *code,
                                                   int16_t *filtered, int16_t *codeword, int16_t subframe, int rate,
                                                   uint8_t *buffer);

/**
 * @brief Size of the scratch memory of ryxsAlgebraicCodebookSearchEX_GSMAMR_16s().
 * @param[out] size 16384 bytes
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s(int *size);

/**
 * @brief Decodes a codeword of the algebraic codebook (3GPP TS 26.090, clause 6.1).
 *
 * Every codeword gives a code vector. Bits beyond a codeword's fields do not count, but for the words of 10 bits at 10.2
 * kbit/s, read as unsigned 16-bit words: their upper part is limited to 124.
 *
 * @param[in]  codeword 2, 7 or 10 words
 * @param[out] code     40 samples of the code vector, without sharpening
 * @param[in]  subframe number of the subframe, 0..3
 * @param[in]  rate     one of the ryxGSMAMRRate values
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a subframe number outside 0..3 or another rate
 */
ryxStatus ryxsFixedCodebookDecode_GSMAMR_16s(const int16_t *codeword, int16_t *code, int16_t subframe, int rate);

/** @} */

/**
 * @defgroup gsmamrdtx 3GPP GSM-AMR: discontinuous transmission
 * @brief Hangover of the encoder, histories of LSPs and frame energies, parameters of silence descriptors (3GPP TS 26.092,
 *        TS 26.093).
 *
 * Frames have 160 samples of 16 bits at 8 kHz. An encoder calls ryxsEncDTXHandler_GSMAMR_16s() with the decision of its
 * voice activity detector, after the LP analysis ryxsEncDTXBuffer_GSMAMR_16s(), and with the handler's flag
 * ryxsEncDTXSID_GSMAMR_16s(). All state is in words of the caller, who initialises them.
 * @{
 */

/**
 * @brief Decides after the hangover of seven frames whether a frame is sent as silence (3GPP TS 26.093).
 *
 * A frame of speech restarts the hangover, a frame without speech counts it down. After its end every such frame asks for
 * new parameters; before it the mode becomes #ryxGSMAMRRateSID already when hangover + elapsed, both after counting, are
 * below 30.
 * Counters are not checked: a negative hangover counter counts down too and stays at -32768.
 *
 * @param[in,out] hangover frames of hangover still to run, 0..7
 * @param[in,out] elapsed  frames since the last parameters were computed, up to 32767
 * @param[in,out] mode     the frame's rate on entry; #ryxGSMAMRRateSID (25) when it is silence
 * @param[out]    newSid   1: new silence descriptor parameters have to be computed, 0 otherwise
 * @param[in]     vad      decision of the voice activity detector; its low 16 bits are 0 for silence
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXHandler_GSMAMR_16s(int16_t *hangover, int16_t *elapsed, int16_t *mode, int16_t *newSid, int vad);

/**
 * @brief Enters a frame into the encoder's histories of eight frames: its LSPs and half the logarithm of its energy.
 *
 * The pointer is advanced by one, to 0 from 7 on. A negative pointer, which no coder has, is advanced too; as long as it
 * stays negative it names no entry, and nothing but the pointer is written.
 *
 * @param[in]     speech           frame of 160 samples, full 16-bit range
 * @param[in]     lsp              10 LSPs of the frame, Q15
 * @param[in,out] newest           index of the newest entry, 0..7
 * @param[in,out] lspHistory       8 entries of 10 LSPs
 * @param[in,out] logEnergyHistory 8 entries: half the base-2 logarithm of the mean square, Q10, -4261..11611
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXBuffer_GSMAMR_16s(const int16_t *speech, const int16_t *lsp, int16_t *newest, int16_t *lspHistory,
                                      int16_t *logEnergyHistory);

/**
 * @brief Enters a frame into the decoder's histories, like ryxsEncDTXBuffer_GSMAMR_16s() but with the whole logarithm.
 * @param[in]     speech           synthesised frame of 160 samples, full 16-bit range
 * @param[in]     lsp              10 LSPs of the frame, Q15
 * @param[in,out] newest           index of the newest entry, 0..7
 * @param[in,out] lspHistory       8 entries of 10 LSPs
 * @param[in,out] logEnergyHistory 8 entries: base-2 logarithm of the mean square, Q10, -8521..23222
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXBuffer_GSMAMR_16s(const int16_t *speech, const int16_t *lsp, int16_t *newest, int16_t *lspHistory,
                                      int16_t *logEnergyHistory);

/**
 * @brief Computes the parameters of a silence descriptor from the encoder's histories (3GPP TS 26.092).
 *
 * The mean LSPs become line spectral frequencies at least 205 apart (16384 for half the sampling frequency). The nearest
 * of eight initial predictions is taken from them; three split codebooks of 256, 512 and 512 vectors quantise the rest.
 * Disordered LSPs can lead to frequencies of 16384 and more, which count as 16383.
 *
 * @param[in]  lspHistory       8 entries of 10 LSPs, Q15
 * @param[in]  logEnergyHistory 8 entries of halved log energies, Q10
 * @param[out] logEnergy        index of the mean log energy, 0..63
 * @param[out] initial          index of the initial prediction, 0..7
 * @param[out] indices          3 codebook indices: 0..255, 0..511, 0..511
 * @param[out] pastEnergies     4 quantised energies for the gain predictor: min(256 * logEnergy - 11560, 0), Q10
 * @param[out] pastEnergies122  4 quantised energies for the gain predictor at 12.2 kbit/s: 5443/32768 of it
 * @param[in]  newSid           0: nothing is computed and written
 * @return #ryxStsOk; #ryxStsNullPtr, also with `newSid` 0
 */
ryxStatus ryxsEncDTXSID_GSMAMR_16s(const int16_t *lspHistory, const int16_t *logEnergyHistory, int16_t *logEnergy,
                                   int16_t *initial, int16_t *indices, int16_t *pastEnergies, int16_t *pastEnergies122,
                                   int16_t newSid);

/** @} */

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

/**
 * @defgroup amrwbisf 3GPP AMR-WB: ISP conversion and ISF quantisation
 * @brief Conversions between LP coefficients, immittance spectral pairs and immittance spectral frequencies; quantisers
 *        and decoders of the frequencies for speech and comfort noise, with concealment of lost frames.
 *
 * LP coefficients `a[0..m]` of an even order m stand for A(z) = a[0] + a[1] z^-1 + ... with a[0] = 1, Q12 (4096).
 * Immittance spectral pairs (ISPs), Q15: the first m - 1 are cosines of rising frequencies, so they fall with the index;
 * the last one is a[m]. Immittance spectral frequencies (ISFs) are those frequencies in the scale of the recommendation:
 * 16384 stands for half the sampling rate, 6400 Hz in AMR-WB, and 128 is a step of its cosine table. The last ISF, which
 * stands for a[m] in the same way, is kept at half of that scale.
 *
 * **Residual.** The quantiser of speech frames predicts a third of the quantised residual of the frame before. The caller
 * keeps that residual: 16 values, zero before the first frame, one vector for an encoder and one for a decoder.
 *
 * **Modes.** 5 (6.60 kbit/s) and 25 code a frame in 36 bits; 9, 13, 15, 16, 18, 19, 20 and 21 (8.85 to 23.85 kbit/s) in 46.
 *
 * | indices | first stage | second stage |
 * | --- | --- | --- |
 * | 46 bits | 8, 8 bits: ISFs 1 to 9, 10 to 16 | 6, 7, 7, 5, 5 bits: ISFs 1 to 3, 4 to 6, 7 to 9, 10 to 12, 13 to 16 |
 * | 36 bits | 8, 8 bits: ISFs 1 to 9, 10 to 16 | 7, 7, 6 bits: ISFs 1 to 5, 6 to 9, 10 to 16 |
 * | comfort noise, 28 bits | 6, 6, 6, 5, 5 bits: ISFs 1 and 2, 3 to 5, 6 to 8, 9 to 12, 13 to 16 | |
 *
 * The functions are bit-exact with 3GPP TS 26.173, the fixed-point form of 3GPP TS 26.190 and ITU-T G.722.2, except for the
 * concealment of lost frames; see ryxsISFQuantDecode_AMRWB_16s().
 * @{
 */

/**
 * @brief Converts LP coefficients of order 16 to ISPs.
 *
 * The sum and the difference polynomial are evaluated as Chebyshev series at 101 points; two bisections and an
 * interpolation follow where the sign changes. An interval of these points holds at most one root. Where fewer than 15
 * roots are found the previous ISPs are returned.
 *
 * @param[in]  lpc     17 LP coefficients, Q12
 * @param[out] isp     16 ISPs, Q15; the last is 8 * `lpc[16]`, saturated
 * @param[in]  prevIsp 16 ISPs of the frame before. May be `isp`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPCToISP_AMRWB_16s(const int16_t *lpc, int16_t *isp, const int16_t *prevIsp);

/**
 * @brief Converts LP coefficients of any even order from 6 on to ISPs, as ryxsLPCToISP_AMRWB_16s(); AMR-WB+ uses 16 and 8.
 *
 * The vectors come in another order than there. An order above 100 has more roots than the grid has intervals, so the
 * previous ISPs are returned; so they are for odd orders and those below 6, which have no such polynomials.
 *
 * @param[in]  lpc     `order + 1` LP coefficients, Q12
 * @param[in]  prevIsp `order` ISPs of the frame before. May be `isp`
 * @param[out] isp     `order` ISPs, Q15; the last is 8 * `lpc[order]`, saturated
 * @param[in]  order   at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `order` below 1
 */
ryxStatus ryxsLPCToISP_AMRWBE_16s(const int16_t *lpc, const int16_t *prevIsp, int16_t *isp, int order);

/**
 * @brief Converts ISPs to LP coefficients.
 *
 * The 32-bit arithmetic saturates; a coefficient beyond Q12 keeps its low 16 bits, which the ISPs of a filter that fits
 * never need. The rescaling that the recommendation's decoder can switch on is not part of this function.
 *
 * @param[in]  isp   `order` ISPs, Q15
 * @param[out] lpc   `order + 1` LP coefficients, Q12; `lpc[0]` is 4096
 * @param[in]  order 1..20. Even orders have a meaning; odd ones give coefficients of no use
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for any other `order`
 */
ryxStatus ryxsISPToLPC_AMRWB_16s(const int16_t *isp, int16_t *lpc, int order);

/**
 * @brief Converts ISFs to ISPs by linear interpolation in a table of cosines.
 *
 * @param[in]  isf 0..16384, the last one 0..8192; other values count as the nearest end of that range
 * @param[out] isp `len` ISPs, Q15. May be `isf`
 * @param[in]  len at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsISFToISP_AMRWB_16s(const int16_t *isf, int16_t *isp, int len);

/**
 * @brief Converts ISPs to ISFs by linear interpolation in a table of cosines.
 *
 * The search for the table's interval goes from the last ISP but one to the first and never back to lower cosines, so an
 * ISP above the one in front of it is extrapolated and may saturate. The last ISP is looked up on its own.
 *
 * @param[in]  isp full 16-bit range; falling but for the last one
 * @param[out] isf `len` ISFs, the last one at half scale. May be `isp`
 * @param[in]  len at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsISPToISF_Norm_AMRWB_16s(const int16_t *isp, int16_t *isf, int len);

/**
 * @brief Quantises the ISFs of a speech frame.
 *
 * For each half of the residual the four best vectors of the first stage go through the second one; the smallest remaining
 * error wins. Quantised ISFs and residual are those that ryxsISFQuantDecode_AMRWB_16s() makes of the indices. Errors
 * saturate in the comparison: a residual that is far from all vectors of its codebooks gets index 0.
 *
 * @param[in]     isf       16 ISFs
 * @param[in,out] residual  quantised residual of the frame before, 16 values; becomes that of this frame
 * @param[out]    quantised 16 quantised ISFs. May be `isf`
 * @param[out]    indices   7 indices in 46 bits, or 5 in 36
 * @param[in]     mode      5, 9, 13, 15, 16, 18, 19, 20, 21 or 25
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for any other mode
 */
ryxStatus ryxsISFQuant_AMRWB_16s(const int16_t *isf, int16_t *residual, int16_t *quantised, int16_t *indices, int mode);

/**
 * @brief Decodes the ISFs of a speech frame, or conceals those of a lost one.
 *
 * In a good frame the vectors of the indices make the residual; a third of the last residual and the mean are added. In a
 * lost frame nine tenths of the previous ISFs and a tenth of the mean of the long term and of three good frames make the
 * new ones, in one sum that is rounded once; the residual becomes half the distance from its own prediction. There the
 * recommendation truncates two products. At last ISFs are raised to 128 and to 128 above the one in front, the last one
 * excepted.
 *
 * @param[in]     indices       7 or 5 indices, of which the low bits count. Not read in a lost frame, but never null
 * @param[out]    quantised     16 ISFs
 * @param[in,out] residual      quantised residual of the frame before, 16 values; becomes that of this frame
 * @param[in,out] prevQuantised 16 ISFs of the frame before; become those of this frame. May be `quantised`
 * @param[in,out] history       ISFs of the last three good frames, not raised, 3 * 16 values, the newest first; before the
 *                              first frame usually three times the mean of the long term
 * @param[in]     bfi           0: good frame, any other value: lost frame
 * @param[in]     mode          5, 9, 13, 15, 16, 18, 19, 20, 21 or 25
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for any other mode
 */
ryxStatus ryxsISFQuantDecode_AMRWB_16s(const int16_t *indices, int16_t *quantised, int16_t *residual,
                                       int16_t *prevQuantised, int16_t *history, int bfi, int mode);

/**
 * @brief Quantises the ISFs of comfort noise in 28 bits, without prediction.
 *
 * @param[in]  isf       16 ISFs
 * @param[out] quantised 16 quantised ISFs, those that ryxsISFQuantDecodeDTX_AMRWB_16s() makes of the indices. May be `isf`
 * @param[out] indices   5 indices
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsISFQuantDTX_AMRWB_16s(const int16_t *isf, int16_t *quantised, int16_t *indices);

/**
 * @brief Decodes the ISFs of comfort noise and spaces them as ryxsISFQuantDecode_AMRWB_16s() does.
 *
 * @param[in]  indices   5 indices, of which the low bits count
 * @param[out] quantised 16 ISFs
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsISFQuantDecodeDTX_AMRWB_16s(const int16_t *indices, int16_t *quantised);

/** @} */

/**
 * @defgroup amrwbcodebook 3GPP AMR-WB: algebraic codebook
 * @brief Search and decoding of the fixed codebooks of AMR-WB (3GPP TS 26.190, TS 26.173) and AMR-WB+ (TS 26.290).
 *
 * A call handles a subframe of 64 samples. The argument `mode` is a bit-rate code:
 *
 * | `mode` | coder, kbit/s or bits | bits | pulses | pulses on the tracks 0 to 3 | index words |
 * | --- | --- | --- | --- | --- | --- |
 * | 5, 25 | AMR-WB 6.60; AMR-WB+ 12 bits | 12 | 2 | one on the even, one on the odd positions | 1 |
 * | 9, 26 | AMR-WB 8.85; AMR-WB+ 20 bits | 20 | 4 | 1, 1, 1, 1 | 4 |
 * | 27 | AMR-WB+ 28 bits | 28 | 6 | 2, 2, 1, 1 | 4 |
 * | 13, 28 | AMR-WB 12.65; AMR-WB+ 36 bits | 36 | 8 | 2, 2, 2, 2 | 4 |
 * | 15, 29 | AMR-WB 14.25; AMR-WB+ 44 bits | 44 | 10 | 3, 3, 2, 2 | 4 |
 * | 16, 30 | AMR-WB 15.85; AMR-WB+ 52 bits | 52 | 12 | 3, 3, 3, 3 | 4 |
 * | 18, 31 | AMR-WB 18.25; AMR-WB+ 64 bits | 64 | 16 | 4, 4, 4, 4 | 8 |
 * | 19, 32 | AMR-WB 19.85; AMR-WB+ 72 bits | 72 | 18 | 5, 5, 4, 4 | 8 |
 * | 20, 22 | AMR-WB 23.05 | 88 | 24 | 6, 6, 6, 6 | 8 |
 * | 21 | AMR-WB 23.85: a single iteration | 88 | 24 | 6, 6, 6, 6 | 8 |
 *
 * Track t has the positions t, t + 4, ..., t + 60. Word t holds the pulses of track t as TS 26.190 packs them (clause
 * 5.8.2); with four pulses and more it holds the upper bits, and word t + 4 the lower 14, 10 or 11 bits for four, five or
 * six pulses. The one word for 12 bits has the even pulse in its upper six bits and the odd one in the lower six: a sign,
 * then five bits of position.
 *
 * A pulse is +512 or -512, 1.0 in Q9; pulses on one position add up. From 12 pulses on the search halves an impulse
 * response whose energy, the sum of h[n]^2, is 1025 * 2^15 or more. Its own code vector then has pulses of 256, and the
 * decoder's is twice that.
 * @{
 */

/**
 * @brief Searches the algebraic codebook (3GPP TS 26.173: ACELP_2t64_fx, ACELP_4t64_fx).
 *
 * Differs from TS 26.173 in that a target of zeros filters backwards to zeros. All operations saturate as there, for
 * every input; the sums of the backward filtering alone wrap, beyond any signal that a coder meets. The first iteration
 * stands when saturated energies let none win. Needs about 5 KB of stack.
 *
 * @param[in]  target   64 samples: target of the fixed codebook
 * @param[in]  residual 64 samples: residual after the long-term prediction
 * @param[in]  impulse  64 samples: impulse response h of the weighted synthesis filter, Q12. Not changed
 * @param[out] code     64 samples: code vector, Q9
 * @param[out] filtered 64 samples: code vector filtered by h, Q9
 * @param[in]  mode     bit-rate code, see above
 * @param[out] indices  1, 4 or 8 index words
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a code that is not in the table
 */
ryxStatus ryxsAlgebraicCodebookSearch_AMRWB_16s(const int16_t *target, const int16_t *residual, int16_t *impulse,
                                                int16_t *code, int16_t *filtered, int mode, int16_t *indices);

/**
 * @brief Searches the algebraic codebook in memory of the caller, like ryxsAlgebraicCodebookSearch_AMRWB_16s().
 *
 * @param[in]  target   64 samples: target of the fixed codebook
 * @param[in]  residual 64 samples: residual after the long-term prediction
 * @param[in]  impulse  64 samples: impulse response h of the weighted synthesis filter, Q12. Not changed
 * @param[out] code     64 samples: code vector, Q9
 * @param[out] filtered 64 samples: code vector filtered by h, Q9
 * @param[in]  mode     bit-rate code, see above
 * @param[out] indices  1, 4 or 8 index words
 * @param      buffer   8192 bytes at any address, of any content; nothing in it is kept between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a code that is not in the table
 */
ryxStatus ryxsAlgebraicCodebookSearchEX_AMRWB_16s(const int16_t *target, const int16_t *residual, int16_t *impulse,
                                                  int16_t *code, int16_t *filtered, int mode, int16_t *indices,
                                                  uint8_t *buffer);

/**
 * @brief Reports the size of the buffer of ryxsAlgebraicCodebookSearchEX_AMRWB_16s(): 8192 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsAlgebraicCodebookSearchGetBufferSize_AMRWB_16s(int *size);

/**
 * @brief Decodes index words to a code vector (3GPP TS 26.173: DEC_ACELP_2t64_fx, DEC_ACELP_4t64_fx).
 *
 * Every bit pattern decodes; bits that no search sets are ignored, or select positions like any others where two words
 * make up an index.
 *
 * @param[in]  indices 1, 4 or 8 index words
 * @param[out] code    64 samples: code vector, Q9
 * @param[in]  mode    bit-rate code, see above
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a code that is not in the table
 */
ryxStatus ryxsAlgebraicCodebookDecode_AMRWB_16s(const int16_t *indices, int16_t *code, int mode);

/** @} */

/**
 * @defgroup amrwbvad 3GPP AMR-WB: voice activity detection
 * @brief Speech or noise in every frame of 20 ms, 256 samples at 12.8 kHz (3GPP TS 26.194).
 *
 * A filter bank measures the levels of twelve bands. Their ratios to an estimate of the background noise decide, with
 * memory of how long speech has lasted. Frames of one signal go through one state, without a gap.
 * @{
 */

/** State of the AMR-WB voice activity detector: an opaque block of 176 bytes at any address. */
typedef struct VADState_AMRWB VADState_AMRWB;

/**
 * @brief Reports the size of the detector's state block: 176 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADGetSize_AMRWB_16s(int *size);

/**
 * @brief Initialises a detector state: noise of a low level, no speech so far.
 *
 * One counter, that of the stationarity, keeps whatever the memory holds, as in the recommendation. The first frame sets
 * it, unless that frame is already found to be steady speech; set the block to zero once before the first call for
 * results that never depend on it.
 *
 * @param[out] state block of 176 bytes at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADInit_AMRWB_16s(VADState_AMRWB *state);

/**
 * @brief Decides whether a frame holds speech, and follows noise and speech levels (3GPP TS 26.194).
 *
 * @param[in]     src      256 samples at 12.8 kHz, full 16-bit range
 * @param[in,out] state    initialised detector state
 * @param[in,out] toneFlag the caller's register of tone indications. Before each call the caller shifts it right by one
 *                         and, when the open-loop pitch search found a tone, sets bit 14; 0 when nothing looks for tones.
 *                         With bits 10 to 14 set, music and tones are kept out of the noise estimate. In frames of little
 *                         power, together with the one before, bits 13 to 15 are cleared
 * @param[out]    vad      1: speech, or a pause too short to count; 0: noise
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVAD_AMRWB_16s(const int16_t *src, VADState_AMRWB *state, int16_t *toneFlag, int16_t *vad);

/**
 * @brief Copies the levels of the twelve bands in the last frame.
 *
 * The bands end at 200, 400, 600, 800, 1200, 1600, 2000, 2400, 3200, 4000, 4800 and 6400 Hz. A level is 28 times the mean
 * magnitude of what the signal has in the band, the last three quarters of the frame before counted once more: half of the
 * signal's amplitude reaches the bands, and sum, not mean, is taken. The scale is the same for all bands.
 *
 * @param[in]  state initialised detector state
 * @param[out] level 12 levels, 0..32767, the lowest band first; all 0 before the first frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADGetEnergyLevel_AMRWB_16s(const VADState_AMRWB *state, int16_t *level);

/** @} */

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

/**
 * @defgroup ec Echo cancellation
 * @brief Sub-band filter bank of an echo canceller.
 *
 * Lengths and orders out of range give #ryxStsBadArg in this group, not #ryxStsBadSize.
 *
 * **Filter bank.** An oversampled windowed-DFT bank: `hop` new samples become N/2 + 1 complex bins of a transform of
 * N = 2^order points, and back. A window of L taps, whole periods of N, goes in front of the analysis and behind the
 * synthesis. Two are built in, for order 5, hop 24, 128 taps and for order 6, hop 44, 256 taps: least-squares
 * low-passes with which analysis and synthesis together give back the input L - hop samples late, with a gain of 0.96 to
 * 1.00 and errors about 16 dB (order 5) and 24 dB (order 6) below the signal.
 *
 * Ask for the sizes, allocate, initialise one state for each direction of each signal. All blocks are used from the
 * next 16-byte boundary. Orders 1 to 26 can be had; up to order 9 the working functions get by with the caller's memory
 * and the stack, above that they take scratch memory from the core library for the length of the call.
 * @{
 */

/** State of one direction of a filter bank; its size is reported by ryxsSubbandProcessGetSize_32f() and
 *  ryxsSubbandProcessGetSize_16s(). A state that ryxsSubbandProcessInit_32f() made serves the float functions, one that
 *  ryxsSubbandProcessInit_16s() made those of 16 bits. */
typedef struct SubbandProcessState SubbandProcessState;

/**
 * @brief Reports the memory that a filter bank in single precision needs.
 * @param[in]  order       the transform has N = 2^order points, order at least 1
 * @param[in]  windowLen   taps of the window, a multiple of N
 * @param[out] stateSize   bytes of a state, at any address
 * @param[out] initBufSize bytes of the buffer for ryxsSubbandProcessInit_32f(): 0, none is needed
 * @param[out] workBufSize bytes of the buffer for analysis and synthesis, at any address
 * @return #ryxStsOk; #ryxStsBadArg for `order` or `windowLen` below 1; #ryxStsNullPtr; #ryxStsBadArg for `windowLen` that
 *         is no multiple of N, or for a state whose size exceeds 32 bits
 */
ryxStatus ryxsSubbandProcessGetSize_32f(int order, int windowLen, int *stateSize, int *initBufSize, int *workBufSize);

/**
 * @brief Reports the memory that a filter bank in 16 bits needs, like ryxsSubbandProcessGetSize_32f().
 * @param[in]  order       the transform has N = 2^order points, order at least 1
 * @param[in]  windowLen   taps of the window, a multiple of N
 * @param[out] stateSize   bytes of a state, at any address
 * @param[out] initBufSize bytes of the buffer for ryxsSubbandProcessInit_16s(): 0, none is needed
 * @param[out] workBufSize bytes of the buffer for analysis and synthesis, at any address
 * @return #ryxStsOk; #ryxStsBadArg for `order` or `windowLen` below 1; #ryxStsNullPtr; #ryxStsBadArg for `windowLen` that
 *         is no multiple of N, or for a state whose size exceeds 32 bits
 */
ryxStatus ryxsSubbandProcessGetSize_16s(int order, int windowLen, int *stateSize, int *initBufSize, int *workBufSize);

/**
 * @brief Initialises a state for analysis or synthesis in single precision: transform, window, and a silent past.
 * @param[out] state     block of the reported size
 * @param[in]  order     the transform has N = 2^order points, order at least 1
 * @param[in]  hop       samples per frame, 1..N
 * @param[in]  windowLen taps of the window, a multiple of N
 * @param[in]  window    `windowLen` taps, tap 0 first; copied. Null for a built-in window
 * @param      initBuf   not used; may be null
 * @return #ryxStsOk; #ryxStsBadArg for `order`, `hop` or `windowLen` below 1 or `hop` above N; #ryxStsNullPtr, which is
 *         tested after these sizes; #ryxStsBadArg for `windowLen` that is no multiple of N, or for no window with sizes
 *         other than the two built-in ones; #ryxStsErr for other sizes that ryxsSubbandProcessGetSize_32f() refuses
 */
ryxStatus ryxsSubbandProcessInit_32f(SubbandProcessState *state, int order, int hop, int windowLen, const float *window,
                                     void *initBuf);

/**
 * @brief Initialises a state for analysis or synthesis in 16 bits, like ryxsSubbandProcessInit_32f().
 * @param[out] state     block of the reported size
 * @param[in]  order     the transform has N = 2^order points, order at least 1
 * @param[in]  hop       samples per frame, 1..N
 * @param[in]  windowLen taps of the window, a multiple of N
 * @param[in]  window    `windowLen` taps in Q13, tap 0 first; copied. Null for a built-in window
 * @param      initBuf   not used; may be null
 * @return #ryxStsOk; #ryxStsBadArg for `order`, `hop` or `windowLen` below 1 or `hop` above N; #ryxStsNullPtr, which is
 *         tested after these sizes; #ryxStsBadArg for `windowLen` that is no multiple of N, or for no window with sizes
 *         other than the two built-in ones; #ryxStsErr for other sizes that ryxsSubbandProcessGetSize_16s() refuses
 */
ryxStatus ryxsSubbandProcessInit_16s(SubbandProcessState *state, int order, int hop, int windowLen,
                                     const int16_t *window, void *initBuf);

/**
 * @brief Analyses one frame: `hop` samples in, the spectrum of the windowed past out.
 *
 * With d[0..L-1] the last L samples, oldest first, and z[n] = d[n] w[n] + d[n+N] w[n+N] + ... the bins are
 * X[k] = sum over n of z[n] exp(-2 pi i k n / N).
 *
 * @param[in]     src     `hop` samples
 * @param[out]    dst     N/2 + 1 bins, k = 0 .. N/2; the imaginary parts of the first and the last are 0
 * @param[in,out] state   initialised state that only analyses
 * @param         workBuf buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsErr for a state that ryxsSubbandProcessInit_32f() did not make; #ryxStsNoMem
 */
ryxStatus ryxsSubbandAnalysis_32f32fc(const float *src, ryx32fc *dst, SubbandProcessState *state, void *workBuf);

/**
 * @brief Analyses one frame of 16-bit samples, like ryxsSubbandAnalysis_32f32fc().
 *
 * The sums z[n] have 32 bits (they wrap, which takes a window whose magnitudes in some phase of N add up to more than 8)
 * and are shifted right by 13. The bins are computed in double precision, divided by 2^sf, rounded to nearest, ties
 * upwards, and saturated; what lies less than 2^(order - 28 - sf) below a tie may count as a tie.
 *
 * @param[in]     src         `hop` samples, full 16-bit range
 * @param[out]    dst         N/2 + 1 bins, full 32-bit range
 * @param[in,out] state       initialised state that only analyses
 * @param[in]     scaleFactor sf, at least 0, limited to 31
 * @param         workBuf     buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadScale for a negative scale factor; #ryxStsErr for a state that
 *         ryxsSubbandProcessInit_16s() did not make; #ryxStsNoMem
 */
ryxStatus ryxsSubbandAnalysis_16s32sc_Sfs(const int16_t *src, ryx32sc *dst, SubbandProcessState *state, int scaleFactor,
                                          void *workBuf);

/**
 * @brief Synthesises one frame: a spectrum in, `hop` samples out.
 *
 * With y the inverse transform of the bins, divided by N, and a[0..L-1] the accumulator, shifted by `hop` with zeros
 * behind: a[k] += y[k mod N] w[L-1-k]. The output is a[0..hop-1].
 *
 * @param[in]     src     N/2 + 1 bins; the imaginary parts of the first and the last are ignored
 * @param[out]    dst     `hop` samples
 * @param[in,out] state   initialised state that only synthesises
 * @param         workBuf buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsErr for a state that ryxsSubbandProcessInit_32f() did not make; #ryxStsNoMem
 */
ryxStatus ryxsSubbandSynthesis_32fc32f(const ryx32fc *src, float *dst, SubbandProcessState *state, void *workBuf);

/**
 * @brief Synthesises one frame of 16-bit samples, like ryxsSubbandSynthesis_32fc32f().
 *
 * y is computed in double precision, divided by 2^sf, rounded to nearest, ties upwards, and saturated to 32 bits; what
 * lies less than 2^(-15 - sf) below a tie may count as a tie. Then
 * a[k] = sat16(a[k] + ((y[k mod N] w[L-1-k] + 4096) >> 13)), the product in 64 bits. Analysis and synthesis are at unit
 * level with scale factors of 0.
 *
 * @param[in]     src         N/2 + 1 bins, full 32-bit range; the imaginary parts of the first and the last are ignored
 * @param[out]    dst         `hop` samples
 * @param[in,out] state       initialised state that only synthesises
 * @param[in]     scaleFactor sf, at least 0, limited to 31
 * @param         workBuf     buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadScale for a negative scale factor; #ryxStsErr for a state that
 *         ryxsSubbandProcessInit_16s() did not make; #ryxStsNoMem
 */
ryxStatus ryxsSubbandSynthesis_32sc16s_Sfs(const ryx32sc *src, int16_t *dst, SubbandProcessState *state,
                                           int scaleFactor, void *workBuf);

/** @} */

/**
 * @defgroup ecfilter Echo cancellation: adaptive filters
 * @brief The echo path in a full-band and in a sub-band echo canceller, and its adaptation.
 *
 * The canceller itself is the caller's: the page on echo cancellation shows how it is put together. Signals are in the
 * 16-bit scale, full scale 32768, in the float functions too where an energy floor matters.
 *
 * Lengths that are out of range give #ryxStsBadArg in the full-band functions, not #ryxStsBadSize.
 *
 * Finite input keeps everything finite as long as single precision holds the results: an estimate or a tap that grows
 * beyond 3.4e38, which takes a step far above the stable ones, becomes infinite and then NaN. NaN in the input makes
 * the outputs NaN that it reaches. In an adaptive filter it reaches the coefficients, which then stay NaN until the
 * caller clears them, together with the carried error.
 * @{
 */

/**
 * @brief Subtracts the echo estimate of fixed taps from the near-end signal, in single precision.
 *
 * e[n] = s[n] - y, y = h[0] * x[n] + h[1] * x[n-1] + ..., summed in this order.
 *
 * @param[in]  x       far end, `len` samples; `x[-(tapsLen - 1)]` to `x[-1]` are read as the samples before the block
 * @param[in]  s       near end (microphone), `len` samples
 * @param[out] e       error, `len` samples. May be `s`
 * @param[in]  len     number of samples, at least 1
 * @param[in]  h       taps; `h[k]` weights `x[n-k]`
 * @param[in]  tapsLen number of taps, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `len` or `tapsLen` below 1
 */
ryxStatus ryxsFIR_EC_32f(const float *x, const float *s, float *e, int len, const float *h, int tapsLen);

/**
 * @brief Subtracts the echo estimate of fixed taps from the near-end signal, in 16-bit arithmetic.
 *
 * Every product is rounded by itself, (x * h + 16384) >> 15, and their running sum y saturates to 32 bits;
 * e[n] = sat16(s[n] - y).
 *
 * @param[in]  x       far end, `len` samples; `x[-(tapsLen - 1)]` to `x[-1]` are read as the samples before the block
 * @param[in]  s       near end (microphone), `len` samples
 * @param[out] e       error, `len` samples. May be `s`
 * @param[in]  len     number of samples, at least 1
 * @param[in]  h       taps in Q15; `h[k]` weights `x[n-k]`
 * @param[in]  tapsLen number of taps, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `len` or `tapsLen` below 1
 */
ryxStatus ryxsFIR_EC_16s(const int16_t *x, const int16_t *s, int16_t *e, int len, const int16_t *h, int tapsLen);

/**
 * @brief Runs the adaptive filter sample by sample (NLMS, the update one sample delayed), in single precision.
 *
 * For every n all taps are updated with the scaled error g of the sample before, h[k] += g * x[n-1-k]. The updated taps
 * then give the estimate y, the sum of h[k] * x[n-k] in an order that depends on `tapsLen` only, e[n] = s[n] - y and
 * g = mu[n] * e[n]. Blocks of any length give the same as one long block.
 *
 * @param[in]     x       far end, `len` samples; `x[-tapsLen]` to `x[-1]` are read as the samples before the block
 * @param[in]     s       near end (microphone), `len` samples
 * @param[in]     mu      step for every sample, divided by the far end's energy; stable below 2 / energy
 * @param[out]    e       error, `len` samples. May be `s`
 * @param[in]     len     number of samples, at least 1
 * @param[in,out] h       taps; `h[k]` weights `x[n-k]`. All zero before the first block
 * @param[in]     tapsLen number of taps, at least 1
 * @param[in,out] errPrev scaled error of the last sample, carried to the next block. Zero before the first one
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `len` or `tapsLen` below 1
 */
ryxStatus ryxsNLMS_EC_32f(const float *x, const float *s, const float *mu, float *e, int len, float *h, int tapsLen,
                          float *errPrev);

/**
 * @brief Runs the adaptive filter sample by sample (NLMS, the update one sample delayed), in 16-bit arithmetic.
 *
 * For every n all taps are updated with the scaled error g of the sample before,
 * h[k] = sat16(h[k] + ((x[n-1-k] * g + 4096) >> 13)). The updated taps then give the estimate as in ryxsFIR_EC_16s(),
 * e[n] = sat16(s[n] - y) and g = (e[n] * mu[n] + 1024) >> 11. Both products wrap to 32 bits. Inside a call g may exceed
 * 16 bits; only the value that is carried to the next call is saturated, so blocks are the same as one long block as
 * long as g fits.
 *
 * @param[in]     x       far end, `len` samples; `x[-tapsLen]` to `x[-1]` are read as the samples before the block
 * @param[in]     s       near end (microphone), `len` samples
 * @param[in]     mu      step for every sample, divided by the far end's energy, times 2^39; at most 65536 keeps the
 *                        product with any error inside 32 bits
 * @param[out]    e       error, `len` samples. May be `s`
 * @param[in]     len     number of samples, at least 1
 * @param[in,out] h       taps in Q15; `h[k]` weights `x[n-k]`. All zero before the first block
 * @param[in]     tapsLen number of taps, at least 1
 * @param[in,out] errPrev scaled error of the last sample, carried to the next block. Zero before the first one
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `len` or `tapsLen` below 1
 */
ryxStatus ryxsNLMS_EC_16s(const int16_t *x, const int16_t *s, const int32_t *mu, int16_t *e, int len, int16_t *h,
                          int tapsLen, int16_t *errPrev);

/**
 * @brief Filters the far-end spectra: the echo estimate in every band, in single precision.
 *
 * dst[k] is the sum of history[t][k] * coefs[t][k] over t = 0, 1, ... in this order, complex products without
 * conjugation.
 *
 * @param[in]  history `taps` pointers to far-end spectra of `numBands` values, the newest frame first. The pointers in
 *                     this and in the other arrays of rows are not tested for null
 * @param[in]  coefs   `taps` pointers to spectra of coefficients, the one of the newest frame first
 * @param[out] dst     echo estimate, `numBands` values
 * @param[in]  taps     number of frames, 1..255
 * @param[in]  numBands number of bands, 1..4097
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps`
 */
ryxStatus ryxsFIRSubband_EC_32fc(const ryx32fc *const *history, const ryx32fc *const *coefs, ryx32fc *dst, int taps,
                                 int numBands);

/**
 * @brief Filters the far-end spectra: the echo estimate in every band, in 32-bit integers.
 *
 * The sum over all taps is exact. It is multiplied by 2^-scaleFactor, rounded to nearest, ties upwards, and saturated to
 * 32 bits.
 *
 * @param[in]  history     `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]  coefs       `taps` pointers to spectra of coefficients, the one of the newest frame first, in Q(scaleFactor)
 * @param[out] dst         echo estimate, `numBands` values
 * @param[in]  taps        number of frames, 1..255
 * @param[in]  numBands    number of bands, 1..4097
 * @param[in]  scaleFactor -31..31; a negative one shifts to the left
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps` or `scaleFactor`
 */
ryxStatus ryxsFIRSubband_EC_32sc_Sfs(const ryx32sc *const *history, const ryx32sc *const *coefs, ryx32sc *dst, int taps,
                                     int numBands, int scaleFactor);

/**
 * @brief Filters some of the bands like ryxsFIRSubband_EC_32sc_Sfs().
 *
 * @param[in]  history     `taps` pointers to far-end spectra, the newest frame first
 * @param[in]  coefs       `taps` pointers to spectra of coefficients, the one of the newest frame first, in Q(scaleFactor)
 * @param[in]  taps        number of frames, 1..255
 * @param[out] dst         echo estimate, indexed by the band: only `dst[startBand]` to `dst[numBands - 1]` are written
 * @param[in]  startBand   first band, 0..`numBands`; nothing is done when it is `numBands`
 * @param[in]  numBands    the band behind the last one, 1..4097
 * @param[in]  scaleFactor 0..31
 * @return #ryxStsOk; #ryxStsNullPtr; then in this order #ryxStsOutOfRange for `taps` or `startBand`, #ryxStsBadBandCount
 *         for `numBands`, #ryxStsOutOfRange for `scaleFactor`
 */
ryxStatus ryxsFIRSubbandLow_EC_32sc_Sfs(const ryx32sc *const *history, const ryx32sc *const *coefs, int taps,
                                        ryx32sc *dst, int startBand, int numBands, int scaleFactor);

/**
 * @brief Adapts the coefficients of ryxsFIRSubband_EC_32fc() in place (NLMS in every band).
 *
 * coefs[t][k] += step[k] * error[k] * conj(history[t][k]): step times error first, all in double precision, the product
 * rounded to single precision before it is added.
 *
 * @param[in]     step     step of every band, at least 0 (-0.0 and NaN pass), divided by the far end's energy in it
 * @param[in]     history  `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     error    near-end spectrum less the echo estimate, `numBands` values
 * @param[in,out] coefs    `taps` pointers to spectra of coefficients, all zero at the start
 * @param[in]     taps     number of frames, 1..255
 * @param[in]     numBands number of bands, 1..4097
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps`; #ryxStsBadSize for
 *         a negative step
 */
ryxStatus ryxsFIRSubbandCoeffUpdate_EC_32fc_I(const double *step, const ryx32fc *const *history, const ryx32fc *error,
                                              ryx32fc *const *coefs, int taps, int numBands);

/**
 * @brief Adapts the coefficients of ryxsFIRSubband_EC_32sc_Sfs() in place (NLMS in every band).
 *
 * The product step[k] * error[k] * conj(history[t][k]) is exact. It is multiplied by 2^-scaleFactor, rounded to nearest,
 * ties upwards, saturated to 32 bits and added with saturation. With coefficients in Qn a step of mu is
 * mu * 2^(n + scaleFactor).
 *
 * @param[in]     step        step of every band, at least 0
 * @param[in]     history     `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     error       near-end spectrum less the echo estimate, `numBands` values
 * @param[in,out] coefs       `taps` pointers to spectra of coefficients, all zero at the start
 * @param[in]     taps        number of frames, 1..255
 * @param[in]     numBands    number of bands, 1..4097
 * @param[in]     scaleFactor 0..31
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps` or `scaleFactor`;
 *         #ryxStsBadSize for a negative step
 */
ryxStatus ryxsFIRSubbandCoeffUpdate_EC_32sc_I(const int32_t *step, const ryx32sc *const *history, const ryx32sc *error,
                                              ryx32sc *const *coefs, int taps, int numBands, int scaleFactor);

/**
 * @brief Adapts some of the bands like ryxsFIRSubbandCoeffUpdate_EC_32sc_I(), with steps of a wider range.
 *
 * A step is step[k] * 2^-stepExponent[k]: the product is multiplied by 2^-(scaleFactor + stepExponent[k]). A normalised
 * step is one over an energy, and one scale factor for all bands could not hold the range of the energies.
 *
 * @param[in]     history      `taps` pointers to far-end spectra, the newest frame first
 * @param[in]     error        near-end spectrum less the echo estimate, indexed by the band
 * @param[in,out] coefs        `taps` pointers to spectra of coefficients; only the bands from `startBand` on change
 * @param[in]     taps         number of frames, 1..255
 * @param[in]     step         step of every band, indexed by the band; the signs are not tested
 * @param[in]     stepExponent exponent of every step; may be negative, so that the product is shifted to the left
 * @param[in]     startBand    first band, 0..`numBands`; nothing is done when it is `numBands`
 * @param[in]     numBands     the band behind the last one, 1..4097
 * @param[in]     scaleFactor  0..31
 * @return #ryxStsOk; #ryxStsNullPtr; then in this order #ryxStsOutOfRange for `taps` or `startBand`, #ryxStsBadBandCount
 *         for `numBands`, #ryxStsOutOfRange for `scaleFactor`
 */
ryxStatus ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I(const ryx32sc *const *history, const ryx32sc *error,
                                                 ryx32sc *const *coefs, int taps, const int32_t *step,
                                                 const int32_t *stepExponent, int startBand, int numBands,
                                                 int scaleFactor);

/**
 * @brief Adapts the coefficients of ryxsFIRSubband_EC_32fc() in place by affine projection.
 *
 * In every band, with the regressors x_p[t] = history[t+p][k] and P = `order`: R[p][q] is the sum of
 * x_p[t] * conj(x_q[t]) over t, plus step[1][k] on the diagonal; R g = error is solved by Cholesky decomposition;
 * coefs[t][k] grows by step[0][k] times the sum of g[p] * conj(x_p[t]) over p. All in double precision; the growth is
 * rounded to single precision before it is added. `order` 1 is the NLMS with the step divided by energy plus
 * regularisation. A band with a pivot that is not positive, as silence without regularisation has, is left as it is.
 * Nearly dependent regressors without regularisation give a large, inaccurate growth.
 *
 * From order 9 on the function takes scratch memory.
 *
 * @param[in]     step     two rows of `numBands` values: the step, 0..1, and the regularisation, at least 0
 * @param[in]     history  `taps + order - 1` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     error    `order` pointers to spectra: p frames ago, the near-end spectrum less the echo estimate of
 *                         regressor p with the present coefficients
 * @param[in,out] coefs    `taps` pointers to spectra of coefficients, all zero at the start
 * @param[in]     taps     number of frames, 1..255
 * @param[in]     numBands number of bands, 1..4097
 * @param[in]     order    number of regressors, at least 1; above `taps` only with regularisation
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps` or `order`;
 *         #ryxStsNoMem
 */
ryxStatus ryxsFIRSubbandAPCoeffUpdate_EC_32fc_I(const double *const *step, const ryx32fc *const *history,
                                                const ryx32fc *const *error, ryx32fc *const *coefs, int taps,
                                                int numBands, int order);

/** @} */

/**
 * @defgroup eccontrol Echo cancellation: adaptation control and tone detection
 * @brief What steers a full-band echo canceller, and what tells it to stand aside.
 *
 * **Adaptation.** The canceller runs two filters on the same far end: an adaptive set of coefficients, which learns in
 * every block, and a saved set, which holds the last good ones. The controller gives the step size of every sample,
 * copies the adaptive set to the saved one or back, and scales the steps of the next block. Per block:
 * ryxsFullbandControllerUpdate_EC_32f(), then the two filters with its steps times the multiplier, then
 * ryxsFullbandController_EC_32f().
 *
 * **Tone.** Modems and fax machines disable echo cancellers with a tone of 2100 Hz whose phase is reversed every 450 ms
 * (ITU-T G.164, G.165). The detectors find it after its second reversal, in floating point or in 16 bits.
 *
 * Signals are in the 16-bit scale, full scale 32768, in the float functions too. Lengths that are out of range give
 * #ryxStsBadArg in this group, not #ryxStsBadSize.
 * @{
 */

/** State of a full-band adaptation controller: an opaque block of 72 bytes, used from the next 16-byte boundary. */
typedef struct FullbandControllerState_EC_32f FullbandControllerState_EC_32f;

/** State of a tone detector in floating point: an opaque block of 80 bytes, used from the next 16-byte boundary. */
typedef struct ToneDetectState_EC_32f ToneDetectState_EC_32f;

/** State of a tone detector in 16 bits: an opaque block of 72 bytes, used from the next 16-byte boundary. */
typedef struct ToneDetectState_EC_16s ToneDetectState_EC_16s;

/**
 * @brief Reports the size of a controller's state block: 72 bytes.
 * @param[in]  blockLen   samples per block, at least 1
 * @param[in]  filterLen  taps of the filters, at least 1
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @param[out] size       number of bytes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `blockLen` or `filterLen` below 1; #ryxStsOutOfRange for any other
 *         rate
 */
ryxStatus ryxsFullbandControllerGetSize_EC_32f(int blockLen, int filterLen, int sampleRate, int *size);

/**
 * @brief Initialises a controller.
 *
 * Energies are smoothed over 50 ms, the multiplier over 10 ms, the memory of divergence over 20 ms. The smoothing factors
 * are 1 - t + t*t/2 for blocks of t time constants, which is meant for t up to 1: choose blocks shorter than 10 ms. With
 * blocks of 20 ms the multiplier never moves, and longer ones make it run away.
 *
 * @param[out] state      block of 72 bytes at any address
 * @param[in]  blockLen   samples per block, at least 1
 * @param[in]  filterLen  taps of the filters, at least 1
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `blockLen` or `filterLen` below 1; #ryxStsOutOfRange for any other
 *         rate
 */
ryxStatus ryxsFullbandControllerInit_EC_32f(FullbandControllerState_EC_32f *state, int blockLen, int filterLen,
                                            int sampleRate);

/**
 * @brief Forgets the energies of the residuals and of the coefficients, for instance when both sets were cleared. All
 *        else stays.
 * @param[in,out] state initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFullbandControllerReset_EC_32f(FullbandControllerState_EC_32f *state);

/**
 * @brief Computes the step size of every sample of a block from the energy of the far end.
 *
 * step[n] = 0.5 / E while the energy E over the length of the filter is above a floor of 1500000 per tap, otherwise
 * 1 / floor. E begins as the sum of the squares of x[-1] to x[-filterLen]; for every further sample x[n-1] enters and
 * x[n-filterLen] leaves, so x[-filterLen] stays. A sample that is not a number, and one whose square exceeds single
 * precision, leaves steps of 0 or 1 / floor to the end of the block; no step is ever infinite or NaN.
 *
 * @param[in]     x     far end, `blockLen` samples; `x[-filterLen]` to `x[-1]` are read as the samples before the block
 * @param[in]     s     near end (microphone), `blockLen` samples: what the residuals are compared with
 * @param[out]    steps `blockLen` step sizes for an NLMS filter, not yet scaled by the multiplier
 * @param[in,out] state initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFullbandControllerUpdate_EC_32f(const float *x, const float *s, float *steps,
                                              FullbandControllerState_EC_32f *state);

/**
 * @brief Compares both filters behind a block, saves or restores coefficients, and scales the steps of the next block.
 *
 * With the smoothed energies of the residuals: when that of the adaptive filter is more than 10 dB below that of the saved
 * one and the energy of the adaptive coefficients is within a fifth of its mean, the adaptive set is saved. Otherwise, when
 * it is more than 1.3 times the other, the saved set is restored. While saving prevails and the residual of the saved
 * filter is below a fifth of the near end's energy, the multiplier goes to 0, otherwise to 1.
 *
 * An energy beyond single precision, or that of a vector with a NaN in it, counts as the largest number. So an adaptive
 * filter that has run away is restored, and the controller itself is back to normal within some seconds.
 *
 * @param[in]     e1    residual of the adaptive filter, `blockLen` samples
 * @param[in]     e2    residual of the saved filter, `blockLen` samples
 * @param[in,out] a     adaptive coefficients, `filterLen` values; overwritten when they are restored
 * @param[in,out] b     saved coefficients, `filterLen` values; overwritten when the others are saved
 * @param[out]    mu    multiplier for the steps of the next block, 0..1 for blocks shorter than 20 ms
 * @param[in,out] state initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFullbandController_EC_32f(const float *e1, const float *e2, float *a, float *b, float *mu,
                                        FullbandControllerState_EC_32f *state);

/**
 * @brief Reports the size of a tone detector's state block in floating point: 80 bytes.
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @param[out] size       number of bytes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsToneDetectGetStateSize_EC_32f(int sampleRate, int *size);

/**
 * @brief Reports the size of a tone detector's state block in 16 bits: 72 bytes.
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @param[out] size       number of bytes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsToneDetectGetStateSize_EC_16s(int sampleRate, int *size);

/**
 * @brief Initialises a tone detector in floating point.
 * @param[out] state      block of 80 bytes at any address
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsToneDetectInit_EC_32f(ToneDetectState_EC_32f *state, int sampleRate);

/**
 * @brief Initialises a tone detector in 16 bits.
 * @param[out] state      block of 72 bytes at any address
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsToneDetectInit_EC_16s(ToneDetectState_EC_16s *state, int sampleRate);

/**
 * @brief Looks for the 2100 Hz tone with phase reversals (ITU-T G.164, G.165), in floating point.
 *
 * A reversal counts when the tone has stood for 413 to 466 ms without one before; spacings of 430 to 470 ms are found. An
 * uncounted reversal does not start the time anew: after 466 ms of tone the detector waits for something else than the tone
 * and its dips, or for a dip longer than 20 ms, which also clears the count. At 8000 Hz digital silence right behind a tone
 * counts as its continuation, since nothing else is heard: another tone is found only after some other sound.
 *
 * The flag concerns this call alone: it is set when a reversal was counted in it that is the second one or later. Blocks
 * of any length find the same reversals. A sample that is not finite, or whose square is not, blinds the detector until
 * the end of the call; the next one starts from an empty filter.
 *
 * @param[in]     src      samples at the rate of the state
 * @param[in]     len      number of samples, at least 1
 * @param[out]    detected 1 when the second or a later reversal was found in this call, otherwise 0
 * @param[in,out] state    initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `len` below 1
 */
ryxStatus ryxsToneDetect_EC_32f(const float *src, int len, int *detected, ToneDetectState_EC_32f *state);

/**
 * @brief Looks for the 2100 Hz tone with phase reversals (ITU-T G.164, G.165), in 16-bit arithmetic.
 *
 * As ryxsToneDetect_EC_32f(), but everything that is not the tone counts as a dip, whose length ends the tone after 20 ms.
 * Powers are 32-bit integers, and their products are exact at every level. Digital silence right behind a tone counts as
 * its continuation at both rates: rounding keeps the resonator ringing. Only at 8000 Hz it fades away now and then.
 *
 * @param[in]     src      samples at the rate of the state, full 16-bit range
 * @param[in]     len      number of samples, at least 1
 * @param[out]    detected 1 when the second or a later reversal was found in this call, otherwise 0
 * @param[in,out] state    initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `len` below 1
 */
ryxStatus ryxsToneDetect_EC_16s(const int16_t *src, int len, int *detected, ToneDetectState_EC_16s *state);

/** @} */

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
