/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g729.h
 * @brief ITU-T G.729.
 */
#ifndef RYXSC_G729_H
#define RYXSC_G729_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

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

#ifdef __cplusplus
}
#endif

#endif
