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
 * @brief Converts the LSPs of several subframes, as ryxsLSPToLPC_G729_16s() does with those of one, but two at a time.
 *
 * @param[in]  lsp   `count` times 10 LSPs in Q15
 * @param[in]  count vectors, at least 1
 * @param[out] lpc   `count` times 11 LP coefficients in Q12; does not overlap `lsp`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize when `count` is below 1
 */
ryxStatus ryxsLSPToLPCBlock_G729_16s(const int16_t *lsp, int count, int16_t *lpc);

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

/** LSPs before the first frame, Q15. */
static const int16_t ryxG729StartLsp[10] = {30000, 26000, 21000, 15000, 8000, 0, -8000, -15000, -21000, -26000};

/** LSFs before the first frame, Q13 (25736 for pi): evenly spaced. Four times these make the quantiser's history. */
static const int16_t ryxG729StartLsf[10] = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};

/** LSPs before the first silence descriptor, Q15: evenly spaced. */
static const int16_t ryxG729StartNoiseLsp[10] = {31441, 27566,  21458,  13612,  4663,
                                                 -4663, -13612, -21458, -27566, -31441};

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
 * @defgroup g729filter ITU-T G.729: speech in and out, LP filters
 * @brief Pre- and post-processing, window and autocorrelation, weighting factors, residual and synthesis filters.
 *
 * LP filters have coefficients in Q12, `lpc[0]` first, and 16-bit signals. Sums saturate after every term as the
 * recommendation's do. Histories are the samples before the first one, the oldest first; where a parameter says
 * "with history", they stand in front of it in the same array.
 * @{
 */

/** State of a high-pass filter. */
typedef struct HighPassFilterState_G729 HighPassFilterState_G729;

/**
 * @brief Size of the state of ryxsHighPassFilter_G729_16s_I().
 * @param[out] size octets: 24
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHighPassFilterGetStateSize_G729_16s(int *size);

/**
 * @brief Clears the state of a high-pass filter and chooses its section.
 * @param[out] state   as many octets as ryxsHighPassFilterGetStateSize_G729_16s() says
 * @param[in]  section 0 the encoder's pre-processing (140 Hz, halves the signal), 1 the decoder's post-processing
 *                     (100 Hz, doubles it)
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other section
 */
ryxStatus ryxsHighPassFilterInit_G729_16s(HighPassFilterState_G729 *state, int section);

/**
 * @brief Second-order high-pass filter in front of the encoder or behind the decoder (ITU-T G.729, clauses 3.1 and
 *        4.2.5), in place.
 * @param[in,out] srcDst `len` samples
 * @param[in]     len    at least 1
 * @param[in,out] state  initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsHighPassFilter_G729_16s_I(int16_t *srcDst, int len, HighPassFilterState_G729 *state);

/**
 * @brief Windows speech and computes its normalised autocorrelation (ITU-T G.729, clause 3.2.1).
 *
 * The windowed samples are divided by 4 until their energy fits; then `autoCorr[0]`, one more than the energy, is
 * normalised to 2^30..2^31-1 and the others are shifted alike.
 *
 * @param[in]  speech   240 samples: 120 past ones, 80 of the frame, 40 of look-ahead
 * @param[in]  order    highest lag, 1..12; 10, or 12 with Annex B
 * @param[out] autoCorr `order + 1` values, for ryxsLagWindow_G729_32s_I() from the second on
 * @param[out] exponent the true values are `autoCorr` * 2^(exponent - 1); Annex B wants it
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `order` below 1; #ryxStsOutOfRange for `order` above 12
 */
ryxStatus ryxsAutoCorr_G729_16s32s(const int16_t *speech, int order, int32_t *autoCorr, int16_t *exponent);

/**
 * @brief Levinson-Durbin recursion of Annexes B and E (ITU-T G.729, clauses B.4 and E.3.2.3).
 *
 * As ryxsLevinsonDurbin_G729_32s16s(), but any first reflection coefficient is accepted, the numerators are limited to
 * the denominators, and the error is not normalised. With the lag window of the main body both give the same
 * coefficients. On a warning nothing is written.
 *
 * @param[in]  autoCorr   autocorrelation, `order + 1` values, normalised: `autoCorr[0]` from 2^30 on. Bit 0 of the
 *                        values does not count
 * @param[in]  order      1..30
 * @param[out] lpc        LP coefficients, `order + 1` values in Q12, saturated; `lpc[0]` is 4096
 * @param[out] reflection reflection coefficients, `order` values in Q15
 * @param[out] energy     upper half of the prediction error in the format of `autoCorr`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for `order` below 1 or above 30; the warning #ryxStsOverflow
 *         when `autoCorr[0]` lies in -65535..65535 or the magnitude of a later reflection coefficient exceeds 32750
 */
ryxStatus ryxsLevinsonDurbin_G729E_32s16s(const int32_t *autoCorr, int order, int16_t *lpc, int16_t *reflection,
                                          int16_t *energy);

/**
 * @brief Adapts the factors of the perceptual weighting filter to the spectrum (ITU-T G.729, clause 3.3).
 * @param[in]     reflection      the first two reflection coefficients, Q15
 * @param[in]     lsfInterpolated 10 normalised LSFs of the first subframe, from the interpolated unquantised LSPs, Q15
 * @param[in]     lsf             10 normalised LSFs of the second subframe, from the unquantised LSPs, Q15
 * @param[out]    gamma1          factor of the numerator, one for each of two subframes, Q15
 * @param[out]    gamma2          factor of the denominator, one for each of two subframes, Q15
 * @param[in,out] memory          three values: 1 when the spectrum was flat, the two log area ratios of the last frame
 *                                (Q11). Before the first frame 1, 0, 0
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsWeightingFactors_G729_16s(const int16_t *reflection, const int16_t *lsfInterpolated, const int16_t *lsf,
                                        int16_t *gamma1, int16_t *gamma2, int16_t *memory);

/**
 * @brief LP residual of order 10: A(z) (ITU-T G.729, equation 36).
 * @param[in]  lpc 11 coefficients in Q12
 * @param[in]  src `len` samples, with a history of 10
 * @param[out] dst `len` samples of the residual
 * @param[in]  len at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsResidualFilter_G729_16s(const int16_t *lpc, const int16_t *src, int16_t *dst, int len);

/**
 * @brief LP residual of any order up to 30 (ITU-T G.729 Annex E); order 10 is ryxsResidualFilter_G729_16s().
 * @param[in]  lpc   `order + 1` coefficients in Q12
 * @param[in]  order 1..30
 * @param[in]  src   `len` samples, with a history of `order`
 * @param[out] dst   `len` samples of the residual
 * @param[in]  len   at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `order` or `len` below 1; #ryxStsOutOfRange for `order` above 30
 */
ryxStatus ryxsResidualFilter_G729E_16s(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len);

/**
 * @brief LP synthesis of order 10: 1 / A(z) (ITU-T G.729, clause 4.1.6).
 * @param[in]  lpc     11 coefficients in Q12
 * @param[in]  src     `len` samples
 * @param[out] dst     `len` samples of synthesis. May be `src`
 * @param[in]  len     at least 1
 * @param[in]  history 10 outputs before the first one; not changed. May be the samples in front of `dst`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; the warning #ryxStsOverflow when anything was
 *         saturated, which makes the recommendation's decoder scale its excitation down and filter again
 */
ryxStatus ryxsSynthesisFilter_G729_16s(const int16_t *lpc, const int16_t *src, int16_t *dst, int len,
                                       const int16_t *history);

/**
 * @brief LP synthesis of any order up to 30 (ITU-T G.729 Annex E); order 10 is ryxsSynthesisFilter_G729_16s().
 * @param[in]  lpc     `order + 1` coefficients in Q12
 * @param[in]  order   1..30
 * @param[in]  src     `len` samples
 * @param[out] dst     `len` samples of synthesis. May be `src`
 * @param[in]  len     at least 1
 * @param[in]  history `order` outputs before the first one; not changed. May be the samples in front of `dst`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `order` or `len` below 1; #ryxStsOutOfRange for `order` above
 *         30; the warning #ryxStsOverflow when anything was saturated
 */
ryxStatus ryxsSynthesisFilter_G729E_16s(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                        const int16_t *history);

/**
 * @brief LP synthesis of any order up to 30 in place, as ryxsSynthesisFilter_G729E_16s().
 * @param[in]     lpc     `order + 1` coefficients in Q12
 * @param[in]     order   1..30
 * @param[in,out] srcDst  `len` samples, replaced by the synthesis
 * @param[in]     len     at least 1
 * @param[in]     history `order` outputs before the first one; not changed. May be the samples in front of `srcDst`
 * @return as ryxsSynthesisFilter_G729E_16s()
 */
ryxStatus ryxsSynthesisFilter_G729E_16s_I(const int16_t *lpc, int order, int16_t *srcDst, int len,
                                          const int16_t *history);

/**
 * @brief LP synthesis of order 10 in single precision (ITU-T G.729 Annex C).
 *
 * y[n] = lpc[0] x[n] - lpc[1] y[n-1] - ... - lpc[10] y[n-10], the terms subtracted one by one in this order.
 *
 * @param[in]     lpc     11 coefficients
 * @param[in]     src     `len` samples
 * @param[out]    dst     `len` samples of synthesis. May be `src`
 * @param[in]     len     at least 1
 * @param[in,out] history 10 outputs before the first one, the oldest first; on return the last 10 outputs
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsSynthesisFilter_G729_32f(const float *lpc, const float *src, float *dst, int len, float *history);

/**
 * @brief Weighted speech of Annex A from the LP residual (ITU-T G.729, clause A.3.3): 1 / (A(z/0.75) (1 - 0.7 z^-1)), the
 *        product cut off at order 10.
 * @param[in]  weightedLpc 11 coefficients of A(z/0.75) in Q12
 * @param[in]  residual    `len` samples of the LP residual
 * @param[out] dst         `len` samples of weighted speech. May be `residual`
 * @param[in]  len         at least 1
 * @param[in]  history     10 outputs before the first one; not changed. May be the samples in front of `dst`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsWeightingFilter_G729A_16s(const int16_t *weightedLpc, const int16_t *residual, int16_t *dst, int len,
                                        const int16_t *history);

/**
 * @brief Impulse responses of the weighted synthesis filters 1 / A(z/0.75) of both subframes of a frame (ITU-T G.729,
 *        clause A.3.5), as ryxsSynthesisFilter_G729_16s() gives them for 4096, 0, 0, ... from rest.
 * @param[in]  weightedLpc 11 coefficients in Q12 of the first, then of the second subframe
 * @param[out] responses   40 values in Q12 of the first, then of the second subframe; does not overlap `weightedLpc`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsImpulseResponses_G729A_16s(const int16_t *weightedLpc, int16_t *responses);

/**
 * @brief Filters a vector by an impulse response (ITU-T G.729, equation 44), truncating.
 * @param[in]  src      40 samples
 * @param[in]  response 40 samples of the impulse response, Q12
 * @param[out] dst      40 samples
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsConvolve_G729_16s(const int16_t *src, const int16_t *response, int16_t *dst);

/** @} */

/**
 * @defgroup g729pitch ITU-T G.729: adaptive codebook
 * @brief Open-loop and closed-loop pitch searches, delays and their indices, adaptive vector and its gain, taming.
 *
 * A delay is two words, a lag and a fraction of -1..1 thirds of a sample; it stands for lag + fraction / 3. Subframes
 * have 40 samples; a subframe flag is 0 for the first and 1 for the second one of a frame. An excitation array holds
 * 154 past samples in front of the subframe.
 * @{
 */

/**
 * @brief Open-loop pitch search (ITU-T G.729, clause 3.4).
 * @param[in]  weighted 80 samples of weighted speech, with a history of 143
 * @param[out] lag      20..143
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopPitchSearch_G729_16s(const int16_t *weighted, int16_t *lag);

/**
 * @brief Open-loop pitch search of Annex A, on every second sample (ITU-T G.729, clause A.3.4).
 * @param[in]  weighted 80 samples of weighted speech, with a history of 143
 * @param[out] lag      20..143
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopPitchSearch_G729A_16s(const int16_t *weighted, int16_t *lag);

/**
 * @brief Closed-loop pitch search (ITU-T G.729, clause 3.7), and the adaptive vector.
 * @param[in]     openLoopLag  first subframe: the open-loop lag; second subframe: the lag of the first one. 18..145
 * @param[in]     target       40 samples of the target
 * @param[in]     response     40 samples of the weighted synthesis filter's impulse response, Q12
 * @param[in,out] excitation   40 samples, with a history of 154: on entry the LP residual, which serves lags below 40;
 *                             on return the adaptive vector
 * @param[out]    delay        lag 19..144 and fraction
 * @param[in]     subframeFlag 0 or 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag or a flag out of range
 */
ryxStatus ryxsAdaptiveCodebookSearch_G729_16s(int16_t openLoopLag, const int16_t *target, const int16_t *response,
                                              int16_t *excitation, int16_t *delay, int16_t subframeFlag);

/**
 * @brief Closed-loop pitch search of Annex A (ITU-T G.729, clause A.3.7): a correlation with the backward-filtered
 *        target.
 * @param[in]     openLoopLag  first subframe: the open-loop lag; second subframe: the lag of the first one. 18..145
 * @param[in]     target       40 samples of the target
 * @param[in]     response     40 samples of the weighted synthesis filter's impulse response, Q12
 * @param[in,out] excitation   40 samples, with a history of 154: on entry the LP residual, on return the adaptive vector
 * @param[out]    delay        lag 20..143 and fraction
 * @param[in]     subframeFlag 0 or 1
 * @return as ryxsAdaptiveCodebookSearch_G729_16s()
 */
ryxStatus ryxsAdaptiveCodebookSearch_G729A_16s(int16_t openLoopLag, const int16_t *target, const int16_t *response,
                                               int16_t *excitation, int16_t *delay, int16_t subframeFlag);

/**
 * @brief Closed-loop pitch search of Annex D (6.4 kbit/s): in the second subframe only four lags have fractions.
 * @param[in]     openLoopLag  first subframe: the open-loop lag; second subframe: the lag of the first one. 18..145
 * @param[in]     target       40 samples of the target
 * @param[in]     response     40 samples of the weighted synthesis filter's impulse response, Q12
 * @param[in,out] excitation   40 samples, with a history of 154: on entry the LP residual, on return the adaptive vector
 * @param[out]    delay        lag 19..144 and fraction
 * @param[in]     subframeFlag 0 or 1
 * @return as ryxsAdaptiveCodebookSearch_G729_16s()
 */
ryxStatus ryxsAdaptiveCodebookSearch_G729D_16s(int16_t openLoopLag, const int16_t *target, const int16_t *response,
                                               int16_t *excitation, int16_t *delay, int16_t subframeFlag);

/**
 * @brief Codes a delay (ITU-T G.729, clause 3.7.2).
 * @param[in]  delay        lag and fraction from the search
 * @param[in]  firstLag     lag of the first subframe; has no meaning in the first subframe
 * @param[out] index        8 bits in the first subframe, 5 bits in the second
 * @param[in]  subframeFlag 0 or 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other flag
 */
ryxStatus ryxsDelayEncode_G729_16s(const int16_t *delay, int16_t firstLag, int16_t *index, int16_t subframeFlag);

/**
 * @brief Codes a delay as Annex D does: 4 bits in the second subframe.
 * @param[in]  delay        lag and fraction from ryxsAdaptiveCodebookSearch_G729D_16s()
 * @param[in]  firstLag     lag of the first subframe; has no meaning in the first subframe
 * @param[out] index        8 bits in the first subframe, 4 bits in the second
 * @param[in]  subframeFlag 0 or 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other flag
 */
ryxStatus ryxsDelayEncode_G729D_16s(const int16_t *delay, int16_t firstLag, int16_t *index, int16_t subframeFlag);

/**
 * @brief Decodes a delay (ITU-T G.729, clause 4.1.3).
 * @param[in]  index        0..255 in the first subframe, 0..31 in the second
 * @param[in]  firstLag     lag of the first subframe; has no meaning in the first subframe
 * @param[out] delay        lag 19..144 and fraction
 * @param[in]  subframeFlag 0 or 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other flag; #ryxStsBadIndex for an index out of range
 */
ryxStatus ryxsDelayDecode_G729_16s(int16_t index, int16_t firstLag, int16_t *delay, int16_t subframeFlag);

/**
 * @brief Decodes a delay of Annex D.
 * @param[in]  index        0..255 in the first subframe, 0..15 in the second
 * @param[in]  firstLag     lag of the first subframe; has no meaning in the first subframe
 * @param[out] delay        lag 19..144 and fraction
 * @param[in]  subframeFlag 0 or 1
 * @return as ryxsDelayDecode_G729_16s()
 */
ryxStatus ryxsDelayDecode_G729D_16s(int16_t index, int16_t firstLag, int16_t *delay, int16_t subframeFlag);

/**
 * @brief Computes the adaptive codebook vector (ITU-T G.729, clause 3.7.1).
 *
 * The past excitation interpolated at the delay; where the lag is short, the later samples come from the earlier new
 * ones. A fraction of 0 runs the interpolation filter too.
 *
 * @param[in]  delay lag 18..144 and fraction -1..1
 * @param[in]  past  the end of the past excitation: the 154 samples in front of this pointer are read
 * @param[out] dst   40 samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for a lag or a fraction out of range
 */
ryxStatus ryxsDecodeAdaptiveVector_G729_16s(const int16_t *delay, const int16_t *past, int16_t *dst);

/**
 * @brief Computes the adaptive codebook vector in place, behind the past excitation.
 * @param[in]     delay  lag 18..144 and fraction -1..1
 * @param[in,out] srcDst 40 samples, with a history of 154; the samples themselves are not read
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for a lag or a fraction out of range
 */
ryxStatus ryxsDecodeAdaptiveVector_G729_16s_I(const int16_t *delay, int16_t *srcDst);

/**
 * @brief Computes the adaptive codebook vector in place in single precision (ITU-T G.729 Annex C), with the
 *        coefficients of the 16-bit form.
 * @param[in]     delay  lag 18..144 and fraction -1..1
 * @param[in,out] srcDst 40 samples, with a history of 154; the samples themselves are not read
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for a lag or a fraction out of range
 */
ryxStatus ryxsDecodeAdaptiveVector_G729_32f_I(const int16_t *delay, float *srcDst);

/**
 * @brief Gain of the adaptive vector (ITU-T G.729, equation 43).
 * @param[in]  target       40 samples of the target x
 * @param[in]  filtered     40 samples of the filtered adaptive vector y
 * @param[out] gain         0..19661 (1.2), Q14
 * @param[out] correlations two mantissas for the gain quantiser: <y, y> and -<x, y>
 * @param[out] exponents    and their exponents
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsAdaptiveCodebookGain_G729_16s(const int16_t *target, const int16_t *filtered, int16_t *gain,
                                            int16_t *correlations, int16_t *exponents);

/**
 * @brief Takes a contribution off a target (ITU-T G.729, equation 50): dst = target - gain * filtered.
 *
 * Annex E takes the adaptive vector off the residual with it.
 *
 * @param[in]  target   40 samples
 * @param[in]  filtered 40 samples
 * @param[in]  gain     Q14
 * @param[out] dst      40 samples. May be `target`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFixedCodebookTarget_G729_16s(const int16_t *target, const int16_t *filtered, int16_t gain, int16_t *dst);

/**
 * @brief The weighted error that the quantised excitation leaves, the memory of the target's filter (ITU-T G.729,
 *        clause 3.10).
 * @param[in]  target           `len` samples of the target
 * @param[in]  filteredAdaptive `len` samples of the filtered adaptive vector
 * @param[in]  filteredFixed    `len` samples of the filtered fixed codebook vector, Q12
 * @param[in]  gains            pitch gain Q14, code gain Q1
 * @param[out] dst              `len` samples
 * @param[in]  len              at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsWeightedError_G729_16s(const int16_t *target, const int16_t *filteredAdaptive,
                                     const int16_t *filteredFixed, const int16_t *gains, int16_t *dst, int len);

/**
 * @brief Tells whether errors in a decoder's excitation could grow too much at a delay.
 * @param[in]  delay  lag 18..144 and fraction
 * @param[in]  errors worst-case errors in four zones of 40 lags, Q14; 16384 each before the first frame
 * @param[out] tamed  1 when the pitch gain must be limited to 15564 (0.95), else 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag or fraction out of range
 */
ryxStatus ryxsTamingTest_G729_16s(const int16_t *delay, const int32_t *errors, int *tamed);

/**
 * @brief Updates the worst-case errors with a subframe's quantised pitch gain.
 * @param[in]     gain   Q14
 * @param[in]     lag    18..144
 * @param[in,out] errors four values, Q14
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsTamingUpdate_G729_16s(int16_t gain, int16_t lag, int32_t *errors);

/** @} */

/**
 * @defgroup g729code ITU-T G.729: fixed codebook and gains
 * @brief Algebraic codebooks of the main body and Annexes A, D and E, quantisation of the gains, concealment.
 *
 * Pulses are repeated at the pitch lag where that is below 40, with the gain `sharpening` (Q14); searches do so in the
 * response as well as in the code vector. Code vectors are in Q13, filtered ones in Q12.
 * @{
 */

/**
 * @brief Focused search of four pulses, 17 bits (ITU-T G.729, clause 3.8).
 * @param[in]     target       40 samples of the target without the adaptive contribution
 * @param[in]     response     40 samples of the impulse response, Q12, not sharpened
 * @param[in]     lag          of the adaptive vector, 18..144
 * @param[in]     sharpening   gain of the repetition, Q14
 * @param[out]    code         40 samples of the code vector
 * @param[out]    filtered     40 samples of the filtered code vector
 * @param[out]    index        positions (13 bits) and signs (4 bits)
 * @param[in,out] extraTime    iterations that the frame has left: written in the first subframe, read in the second
 * @param[in]     subframeFlag 0 or 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag or a flag out of range
 */
ryxStatus ryxsFixedCodebookSearch_G729_16s(const int16_t *target, const int16_t *response, int16_t lag,
                                           int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index,
                                           int16_t *extraTime, int16_t subframeFlag);

/**
 * @brief Depth-first search of four pulses of Annex A (ITU-T G.729, clause A.3.8).
 * @param[in]  target     40 samples of the target without the adaptive contribution
 * @param[in]  response   40 samples of the impulse response, Q12, not sharpened
 * @param[in]  lag        of the adaptive vector, 18..144
 * @param[in]  sharpening gain of the repetition, Q14
 * @param[out] code       40 samples of the code vector
 * @param[out] filtered   40 samples of the filtered code vector
 * @param[out] index      positions (13 bits) and signs (4 bits)
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsFixedCodebookSearch_G729A_16s(const int16_t *target, const int16_t *response, int16_t lag,
                                            int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index);

/**
 * @brief Search of two pulses of Annex D, 11 bits.
 * @param[in]  target     40 samples of the target without the adaptive contribution
 * @param[in]  response   40 samples of the impulse response, Q12, not sharpened
 * @param[in]  lag        of the adaptive vector, 18..144
 * @param[in]  sharpening gain of the repetition, Q14
 * @param[out] code       40 samples of the code vector
 * @param[out] filtered   40 samples of the filtered code vector
 * @param[out] index      positions (9 bits) and signs (2 bits)
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsFixedCodebookSearch_G729D_16s(const int16_t *target, const int16_t *response, int16_t lag,
                                            int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index);

/**
 * @brief Search of ten pulses (35 bits) or twelve pulses (44 bits) of Annex E.
 * @param[in]  target     40 samples of the target without the adaptive contribution
 * @param[in]  residual   40 samples of the LP residual without the adaptive contribution
 * @param[in]  response   40 samples of the impulse response, Q12, not sharpened
 * @param[in]  lag        of the adaptive vector, 18..144
 * @param[in]  sharpening gain of the repetition, Q14
 * @param[in]  backward   0 for ten pulses (forward mode), else twelve
 * @param[out] code       40 samples of the code vector
 * @param[out] filtered   40 samples of the filtered code vector
 * @param[out] words      five words: 7 bits each; in backward mode 13, 10, 7, 7 and 7
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsFixedCodebookSearch_G729E_16s(const int16_t *target, const int16_t *residual, const int16_t *response,
                                            int16_t lag, int16_t sharpening, int backward, int16_t *code,
                                            int16_t *filtered, int16_t *words);

/**
 * @brief Code vector of four pulses (ITU-T G.729, clause 4.1.4).
 * @param[in]  index      positions (the low 13 bits count) and signs (4 bits)
 * @param[in]  lag        of the adaptive vector, 18..144
 * @param[in]  sharpening gain of the repetition, Q14
 * @param[out] code       40 samples of the code vector
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsFixedCodebookDecode_G729_16s(const int16_t *index, int16_t lag, int16_t sharpening, int16_t *code);

/**
 * @brief Code vector of two pulses of Annex D.
 * @param[in]  index      positions (the low 9 bits count) and signs (2 bits)
 * @param[in]  lag        of the adaptive vector, 18..144
 * @param[in]  sharpening gain of the repetition, Q14
 * @param[out] code       40 samples of the code vector
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsFixedCodebookDecode_G729D_16s(const int16_t *index, int16_t lag, int16_t sharpening, int16_t *code);

/**
 * @brief Code vector of ten or twelve pulses of Annex E.
 * @param[in]  words      five words; the low bits count
 * @param[in]  lag        of the adaptive vector, 18..144
 * @param[in]  sharpening gain of the repetition, Q14
 * @param[in]  backward   0 for ten pulses (forward mode), else twelve
 * @param[out] code       40 samples of the code vector
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsFixedCodebookDecode_G729E_16s(const int16_t *words, int16_t lag, int16_t sharpening, int backward,
                                            int16_t *code);

/**
 * @brief Quantises both gains, 7 bits (ITU-T G.729, clause 3.9).
 * @param[in]     target           40 samples of the target, with the adaptive contribution
 * @param[in]     filteredAdaptive 40 samples of the filtered adaptive vector
 * @param[in]     filteredFixed    40 samples of the filtered code vector, Q12
 * @param[in]     code             40 samples of the code vector
 * @param[in]     correlations     two mantissas from ryxsAdaptiveCodebookGain_G729_16s()
 * @param[in]     exponents        and their exponents
 * @param[in]     tamed            not 0: only pitch gains below 1
 * @param[out]    index            7 bits
 * @param[out]    gains            pitch gain Q14, code gain Q1
 * @param[in,out] energies         prediction errors of the last four subframes, dB in Q10, the newest first; -14336 each
 *                                 before the first frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainQuant_G729_16s(const int16_t *target, const int16_t *filteredAdaptive, const int16_t *filteredFixed,
                                 const int16_t *code, const int16_t *correlations, const int16_t *exponents, int tamed,
                                 int16_t *index, int16_t *gains, int16_t *energies);

/**
 * @brief Quantises both gains as Annex D does, 6 bits.
 * @param[in]     target           40 samples of the target, with the adaptive contribution
 * @param[in]     filteredAdaptive 40 samples of the filtered adaptive vector
 * @param[in]     filteredFixed    40 samples of the filtered code vector, Q12
 * @param[in]     code             40 samples of the code vector
 * @param[in]     correlations     two mantissas from ryxsAdaptiveCodebookGain_G729_16s()
 * @param[in]     exponents        and their exponents
 * @param[in]     tamed            not 0: only pitch gains below 1
 * @param[out]    index            6 bits
 * @param[out]    gains            pitch gain Q14, code gain Q1
 * @param[in,out] energies         the same as of ryxsGainQuant_G729_16s()
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainQuant_G729D_16s(const int16_t *target, const int16_t *filteredAdaptive, const int16_t *filteredFixed,
                                  const int16_t *code, const int16_t *correlations, const int16_t *exponents, int tamed,
                                  int16_t *index, int16_t *gains, int16_t *energies);

/**
 * @brief Decodes both gains (ITU-T G.729, clause 4.1.5).
 * @param[in]     index    0..127
 * @param[in]     code     40 samples of the code vector
 * @param[out]    gains    pitch gain Q14, code gain Q1
 * @param[in,out] energies prediction errors of the last four subframes, dB in Q10, the newest first
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for an index out of range
 */
ryxStatus ryxsGainDecode_G729_16s(int16_t index, const int16_t *code, int16_t *gains, int16_t *energies);

/**
 * @brief Decodes both gains of Annex D.
 * @param[in]     index    0..63
 * @param[in]     code     40 samples of the code vector
 * @param[out]    gains    pitch gain Q14, code gain Q1
 * @param[in,out] energies prediction errors of the last four subframes, dB in Q10, the newest first
 * @return as ryxsGainDecode_G729_16s()
 */
ryxStatus ryxsGainDecode_G729D_16s(int16_t index, const int16_t *code, int16_t *gains, int16_t *energies);

/**
 * @brief Gains of a lost subframe (ITU-T G.729, clauses 4.4.2 and 4.4.3).
 * @param[in,out] gains    those of the last subframe: pitch gain Q14, code gain Q1; attenuated
 * @param[in,out] energies prediction errors of the last four subframes, dB in Q10, the newest first
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainDecodeErased_G729_16s(int16_t *gains, int16_t *energies);

/**
 * @brief Gains of a lost subframe of Annex E, muted slowly.
 * @param[in]     stationary   not 0 after 30 subframes in backward mode
 * @param[in]     badSubframes lost subframes in a row before this one, from 0 on
 * @param[in,out] gains        those of the last subframe: pitch gain Q14, code gain Q1
 * @param[in,out] muting       factor, Q15; 32767 in good frames
 * @param[in,out] energies     prediction errors of the last four subframes, dB in Q10, the newest first
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for negative `badSubframes`
 */
ryxStatus ryxsGainDecodeErased_G729E_16s(int stationary, int badSubframes, int16_t *gains, int16_t *muting,
                                         int16_t *energies);

/** @} */

/**
 * @defgroup g729post ITU-T G.729: post-filters
 * @brief Long-term and short-term post-filter, tilt compensation, gain control, phase dispersion of Annex D.
 * @{
 */

/**
 * @brief Long-term post-filter (ITU-T G.729, clause 4.2.1), also of Annex E.
 * @param[in]  lag      integer delay of the first subframe, 18..144
 * @param[in]  residual 40 samples of the synthesis filtered by A(z/0.55), with a history of 152
 * @param[in]  weight   of the delayed residual, Q15; 16384 in the main body, down to 0 in Annex E
 * @param[out] dst      40 samples
 * @param[out] delay    integer part of the delay that was found, 0 where nothing was added
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range or a negative weight
 */
ryxStatus ryxsLongTermPostFilter_G729_16s(int16_t lag, const int16_t *residual, int16_t weight, int16_t *dst,
                                          int16_t *delay);

/**
 * @brief Long-term post-filter of Annex A, with an integer delay (ITU-T G.729, clause A.4.2.1).
 * @param[in]  lag      integer delay of the subframe, 18..145
 * @param[in]  residual 40 samples of the synthesis filtered by A(z/0.55), with a history of 143
 * @param[out] dst      40 samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsLongTermPostFilter_G729A_16s(int16_t lag, const int16_t *residual, int16_t *dst);

/**
 * @brief Short-term post-filter and tilt compensation (ITU-T G.729, clauses 4.2.2 and 4.2.3), also of Annex E.
 * @param[in]     numerator      `order + 1` weighted coefficients in Q12, of which only the impulse response is made
 * @param[in]     denominator    `order + 1` weighted coefficients in Q12
 * @param[in]     order          10 or 30
 * @param[in]     responseLength values of the impulse response that count, 2..32: 20, or 32 at 11.8 kbit/s
 * @param[in]     src            40 samples from the long-term post-filter
 * @param[out]    dst            40 samples. May be `src`
 * @param[in,out] memory         30 outputs of 1 / denominator, the oldest first; 0 before the first frame
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `responseLength` below 2; #ryxStsOutOfRange for one above 32 or
 *         any other order
 */
ryxStatus ryxsShortTermPostFilter_G729_16s(const int16_t *numerator, const int16_t *denominator, int order,
                                           int responseLength, const int16_t *src, int16_t *dst, int16_t *memory);

/**
 * @brief Tilt compensation and short-term post-filter of Annex A, in this order (ITU-T G.729, clause A.4.2).
 * @param[in]     numerator   11 weighted coefficients in Q12, of which only the impulse response is made
 * @param[in]     denominator 11 weighted coefficients in Q12
 * @param[in]     src         40 samples from the long-term post-filter
 * @param[out]    dst         40 samples. May be `src`
 * @param[in,out] memory      10 outputs, the oldest first, and the last input; 0 before the first frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsShortTermPostFilter_G729A_16s(const int16_t *numerator, const int16_t *denominator, const int16_t *src,
                                            int16_t *dst, int16_t *memory);

/**
 * @brief Gain control (ITU-T G.729, clause 4.2.4), in place.
 * @param[in]     reference 40 samples of the synthesis
 * @param[in,out] srcDst    40 samples of the post-filtered signal, brought to the reference's level
 * @param[in,out] gain      of the last sample, Q14; 16384 before the first frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainControl_G729_16s_I(const int16_t *reference, int16_t *srcDst, int16_t *gain);

/**
 * @brief Gain control of Annex A (ITU-T G.729, clause A.4.2.4), in place.
 * @param[in]     reference 40 samples of the synthesis
 * @param[in,out] srcDst    40 samples of the post-filtered signal, brought to the reference's level
 * @param[in,out] gain      of the last sample, Q12; 4096 before the first frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainControl_G729A_16s_I(const int16_t *reference, int16_t *srcDst, int16_t *gain);

/** State of Annex A's post-filter. */
typedef struct PostFilterState_G729A PostFilterState_G729A;

/**
 * @brief Size of the state of ryxsPostFilter_G729A_16s().
 * @param[out] size octets
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPostFilterGetStateSize_G729A_16s(int *size);

/**
 * @brief Clears the state of Annex A's post-filter.
 * @param[out] state as many octets as ryxsPostFilterGetStateSize_G729A_16s() says; it is used from the next 16-byte
 *                   boundary on
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPostFilterInit_G729A_16s(PostFilterState_G729A *state);

/**
 * @brief Annex A's post-filter for a frame (ITU-T G.729, clause A.4.2): what ryxsMulPowerC_NR_16s_Sfs(),
 *        ryxsResidualFilter_G729_16s(), ryxsLongTermPostFilter_G729A_16s(), ryxsShortTermPostFilter_G729A_16s() and
 *        ryxsGainControl_G729A_16s_I() do for its two subframes, in one call.
 * @param[in]     lpc       11 LP coefficients in Q12 of the first, then of the second subframe
 * @param[in]     lags      integer delays of both, 18..145; 0 in pauses, which have no long-term post-filter
 * @param[in]     synthesis 80 samples, with a history of 10
 * @param[out]    dst       80 samples; does not overlap `synthesis`
 * @param[in,out] state     initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range
 */
ryxStatus ryxsPostFilter_G729A_16s(const int16_t *lpc, const int16_t *lags, const int16_t *synthesis, int16_t *dst,
                                   PostFilterState_G729A *state);

/** State of Annex A's post-processing. */
typedef struct PostProcessState_G729A PostProcessState_G729A;

/**
 * @brief Size of the state of ryxsPostProcess_G729A_16s().
 * @param[out] size octets
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPostProcessGetStateSize_G729A_16s(int *size);

/**
 * @brief Clears the state of Annex A's post-processing.
 * @param[out] state as many octets as ryxsPostProcessGetStateSize_G729A_16s() says; it is used from the next 16-byte
 *                   boundary on
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPostProcessInit_G729A_16s(PostProcessState_G729A *state);

/**
 * @brief The end of Annex A's decoder for a frame (ITU-T G.729, clauses 4.1.6 and A.4.2): the synthesis of the second
 *        subframe, and what ryxsPostFilter_G729A_16s() and ryxsHighPassFilter_G729_16s_I() with the section behind the
 *        decoder do for both. In one call their recursions run side by side, which takes about half as long.
 * @param[in]     lpc        11 LP coefficients in Q12 of the first, then of the second subframe
 * @param[in]     lags       integer delays of both, 18..145; 0 in pauses, which have no long-term post-filter
 * @param[in]     excitation 40 samples of the second subframe; a null pointer where its synthesis is there as well
 * @param[in,out] synthesis  80 samples, with a history of 10: the first subframe's, and behind it room for what
 *                           ryxsSynthesisFilter_G729_16s() makes of the excitation
 * @param[out]    dst        80 samples of speech; does not overlap any other vector
 * @param[in,out] state      initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag out of range; the warning #ryxStsOverflow when anything
 *         in the synthesis was saturated: then only `synthesis` is written. The decoder divides the excitation, filters it
 *         again and calls this function with a null pointer
 */
ryxStatus ryxsPostProcess_G729A_16s(const int16_t *lpc, const int16_t *lags, const int16_t *excitation,
                                    int16_t *synthesis, int16_t *dst, PostProcessState_G729A *state);

/** State of the phase dispersion. */
typedef struct PhaseDispersionState_G729D PhaseDispersionState_G729D;

/**
 * @brief Size of the state of ryxsPhaseDispersion_G729D_16s().
 * @param[out] size octets: 20
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPhaseDispersionGetStateSize_G729D_16s(int *size);

/**
 * @brief Clears the state of the phase dispersion.
 * @param[out] state as many octets as ryxsPhaseDispersionGetStateSize_G729D_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPhaseDispersionInit_G729D_16s(PhaseDispersionState_G729D *state);

/**
 * @brief Phase dispersion of the code vector in a subframe at 6.4 kbit/s (ITU-T G.729 Annex D).
 * @param[in]     excitation 40 samples
 * @param[in]     code       40 samples of the code vector that is part of it
 * @param[in]     gains      pitch gain Q14, code gain Q1
 * @param[out]    dst        40 samples, the input of the synthesis filter
 * @param[in,out] state      initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPhaseDispersion_G729D_16s(const int16_t *excitation, const int16_t *code, const int16_t *gains,
                                        int16_t *dst, PhaseDispersionState_G729D *state);

/**
 * @brief What the phase dispersion remembers of a subframe that passes without it.
 * @param[in]     pitchGain Q14
 * @param[in]     codeGain  Q1
 * @param[in,out] state     initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPhaseDispersionUpdate_G729D_16s(int16_t pitchGain, int16_t codeGain, PhaseDispersionState_G729D *state);

/** @} */

/**
 * @defgroup g729dtx ITU-T G.729: discontinuous transmission
 * @brief Voice activity detection, silence descriptors and comfort noise of Annex B; music detector of Annex I.
 * @{
 */

/** State of the voice activity detector. */
typedef struct VADState_G729B VADState_G729B;

/**
 * @brief Size of the state of ryxsVAD_G729B_16s().
 * @param[out] size octets
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADGetSize_G729B_16s(int *size);

/**
 * @brief Brings the state of the voice activity detector to its start.
 * @param[out] state as many octets as ryxsVADGetSize_G729B_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADInit_G729B_16s(VADState_G729B *state);

/**
 * @brief Voice activity detector (ITU-T G.729, clause B.3), once a frame.
 * @param[in]     speech     240 samples as for ryxsAutoCorr_G729_16s32s()
 * @param[in]     lsf        10 normalised LSFs of the unquantised LSPs, Q15
 * @param[in]     autoCorr   13 values after the lag window
 * @param[in]     exponent   from ryxsAutoCorr_G729_16s32s()
 * @param[in]     reflection second reflection coefficient, Q15
 * @param[in]     pastVad    decision on the last frame (as used, after any other detector); 1 before the first frame
 * @param[in]     ppastVad   decision on the frame before it; 1 at the start
 * @param[out]    vad        1 for voice, 0 for noise
 * @param[out]    energy     of the frame, 204.8 per dB
 * @param[in,out] state      initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVAD_G729B_16s(const int16_t *speech, const int16_t *lsf, const int32_t *autoCorr, int16_t exponent,
                            int16_t reflection, int pastVad, int ppastVad, int *vad, int16_t *energy,
                            VADState_G729B *state);

/** Bit rates of ITU-T G.729 and its Annexes D and E. */
enum {
    ryxG729Rate6k4 = 0, /**< 6.4 kbit/s, Annex D */
    ryxG729Rate8k = 1,  /**< 8 kbit/s */
    ryxG729Rate11k8 = 2 /**< 11.8 kbit/s, Annex E */
};

/** State of the music detector. */
typedef struct MusicDetectState_G729I MusicDetectState_G729I;

/**
 * @brief Size of the state of ryxsMusicDetect_G729I_16s().
 * @param[out] size octets
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsMusicDetectGetSize_G729I_16s(int *size);

/**
 * @brief Brings the state of the music detector to its start.
 * @param[out] state as many octets as ryxsMusicDetectGetSize_G729I_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsMusicDetectInit_G729I_16s(MusicDetectState_G729I *state);

/**
 * @brief Music detector (ITU-T G.729 Annex I), once a frame behind the voice activity detector.
 *
 * Keeps its state at every rate; only at 11.8 kbit/s it changes decisions, from noise to voice.
 *
 * @param[in]     rate         #ryxG729Rate6k4, #ryxG729Rate8k or #ryxG729Rate11k8
 * @param[in]     autoCorr0    autocorrelation at lag 0, normalised
 * @param[in]     exponent     from ryxsAutoCorr_G729_16s32s()
 * @param[in]     reflection   10 reflection coefficients, Q15
 * @param[in]     lags         open-loop lags of the last five speech frames, multiples reduced, the oldest first
 * @param[in]     gains        pitch gains of the last five subframes, Q14, the oldest first
 * @param[in]     backwardMode 1 when the last frame was coded in backward mode
 * @param[in]     pastVad      decision on the last frame; 1 before the first frame
 * @param[in]     energy       from ryxsVAD_G729B_16s()
 * @param[in,out] vad          decision of ryxsVAD_G729B_16s()
 * @param[in,out] state        initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsMusicDetect_G729I_16s(int rate, int32_t autoCorr0, int16_t exponent, const int16_t *reflection,
                                    const int16_t *lags, const int16_t *gains, int backwardMode, int pastVad,
                                    int16_t energy, int *vad, MusicDetectState_G729I *state);

/** State of the encoder's discontinuous transmission. */
typedef struct EncDTXState_G729B EncDTXState_G729B;

/**
 * @brief Size of the state of ryxsEncDTXUpdate_G729B_16s() and ryxsEncDTXSID_G729B_16s().
 * @param[out] size octets
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXGetSize_G729B_16s(int *size);

/**
 * @brief Brings the state of the encoder's discontinuous transmission to its start.
 * @param[out] state as many octets as ryxsEncDTXGetSize_G729B_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXInit_G729B_16s(EncDTXState_G729B *state);

/**
 * @brief Updates the averages of the autocorrelation, in every frame (ITU-T G.729, clause B.4.1.1).
 * @param[in]     autoCorr upper halves of the first 11 values of ryxsAutoCorr_G729_16s32s(), before the lag window
 * @param[in]     exponent from the same function
 * @param[in]     vad      decision on the frame
 * @param[in,out] state    initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXUpdate_G729B_16s(const int16_t *autoCorr, int16_t exponent, int vad, EncDTXState_G729B *state);

/**
 * @brief Decides in a noise frame whether a silence descriptor (SID) is sent and quantises it (ITU-T G.729,
 *        clauses B.4.1.2 to B.4.2).
 * @param[in]     pastVad          decision on the last frame
 * @param[in]     annexA           not 0: with the LSP search of Annex A
 * @param[in]     oldLsp           10 quantised LSPs of the last frame, Q15
 * @param[in,out] history          of the LSF quantiser, 40 values, Q13; changes with a descriptor
 * @param[in,out] stableLpc        11 coefficients of the last stable filter, in Q12, which the LP analysis of speech
 *                                 falls back on as well
 * @param[in,out] stableReflection its first two reflection coefficients, Q15
 * @param[out]    frameType        2 when a descriptor is to be sent, else 0
 * @param[out]    indices          four values of the descriptor: L0, L1, L2, gain; written with a descriptor only
 * @param[out]    gain             of the comfort noise in this frame, Q3
 * @param[out]    sidLsp           10 LSPs of the last descriptor, Q15
 * @param[in,out] state            initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXSID_G729B_16s(int pastVad, int annexA, const int16_t *oldLsp, int16_t *history, int16_t *stableLpc,
                                  int16_t *stableReflection, int *frameType, int16_t *indices, int16_t *gain,
                                  int16_t *sidLsp, EncDTXState_G729B *state);

/**
 * @brief Energy of a frame's excitation, from which a decoder makes a gain when the first descriptor of a pause is lost
 *        (ITU-T G.729, clause B.4.4).
 * @param[in]  excitation 80 samples
 * @param[out] energy     mantissa
 * @param[out] shift      its exponent: the energy, doubled, is about energy * 2^shift
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXEnergy_G729B_16s(const int16_t *excitation, int16_t *energy, int16_t *shift);

/**
 * @brief Gain of the comfort noise in a decoder (ITU-T G.729, clause B.4.4).
 * @param[in]     index       gain of a silence descriptor, 0..31; -1 for a frame that was not sent
 * @param[in]     energy      from ryxsDecDTXEnergy_G729B_16s()
 * @param[in]     shift       from ryxsDecDTXEnergy_G729B_16s()
 * @param[in]     afterSpeech not 0 in the first frame of a pause
 * @param[in,out] gains       of the last descriptor, and of this frame (smoothed), Q3. Before the first frame 2, 0
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for an index out of range
 */
ryxStatus ryxsDecDTXGain_G729B_16s(int16_t index, int16_t energy, int16_t shift, int afterSpeech, int16_t *gains);

/**
 * @brief Excitation of a comfort noise frame, the same in encoder and decoder (ITU-T G.729, clause B.4.4), in place.
 * @param[in]     gain       Q3; 0 gives silence and draws no random numbers
 * @param[in,out] excitation 80 samples, with a history of 154; the samples themselves are not read
 * @param[out]    lags       of the two subframes, 40..103, for the taming
 * @param[out]    gains      of the two subframes: pitch gain Q14 and magnitude of the pulses' gain, four values
 * @param[in,out] seed       of the random numbers; 11111 in speech frames
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsComfortNoise_G729B_16s_I(int16_t gain, int16_t *excitation, int16_t *lags, int16_t *gains, int16_t *seed);

/** @} */

/**
 * @defgroup g729backward ITU-T G.729: backward LP analysis
 * @brief Filters of order 30 from the past synthesis and the choice between them and transmitted ones, Annex E.
 * @{
 */

/** State of the hybrid window. */
typedef struct HybridWindowState_G729E HybridWindowState_G729E;

/**
 * @brief Size of the state of ryxsHybridWindow_G729E_16s32s().
 * @param[out] size octets: 124
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHybridWindowGetStateSize_G729E_16s(int *size);

/**
 * @brief Clears the state of the hybrid window.
 * @param[out] state as many octets as ryxsHybridWindowGetStateSize_G729E_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHybridWindowInit_G729E_16s(HybridWindowState_G729E *state);

/**
 * @brief Autocorrelation of past synthesis under a hybrid window (ITU-T G.729 Annex E).
 * @param[in]     synthesis 145 samples, the oldest first
 * @param[out]    autoCorr  31 values
 * @param[in,out] state     initialised state: the part that fades
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHybridWindow_G729E_16s32s(const int16_t *synthesis, int32_t *autoCorr, HybridWindowState_G729E *state);

/**
 * @brief Lag window of the backward analysis, and normalisation, in place.
 * @param[in,out] srcDst 31 values from lag 0 on; normalised for ryxsLevinsonDurbin_G729E_32s16s() on return
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLagWindow_G729E_32s_I(int32_t *srcDst);

/** State of the choice of the LP mode, in an encoder or a decoder. */
typedef struct LPModeState_G729E LPModeState_G729E;

/**
 * @brief Size of the state of the functions for the LP mode.
 * @param[out] size octets
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPModeGetStateSize_G729E_16s(int *size);

/**
 * @brief Brings the state of the LP mode to its start.
 * @param[out] state as many octets as ryxsLPModeGetStateSize_G729E_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPModeInit_G729E_16s(LPModeState_G729E *state);

/**
 * @brief Chooses the LP mode of a frame at 11.8 kbit/s and interpolates the backward filters (encoder).
 * @param[in]     speech   80 samples of the frame, with a history of 30
 * @param[in]     forward  two quantised filters of 11 coefficients, Q12
 * @param[in]     oldLsp   10 unquantised LSPs of the last frame, Q15
 * @param[in]     lsp      10 unquantised LSPs, Q15
 * @param[in,out] backward two filters of 31 coefficients, Q12: on entry the weighted backward filter in the second
 *                         place, on return those of the two subframes
 * @param[out]    mode     0 forward, 1 backward
 * @param[out]    dominant 1 when backward mode prevails for long
 * @param[in,out] state    initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPModeDecision_G729E_16s(const int16_t *speech, const int16_t *forward, const int16_t *oldLsp,
                                       const int16_t *lsp, int16_t *backward, int *mode, int *dominant,
                                       LPModeState_G729E *state);

/**
 * @brief What a frame at another rate or a pause does to the choice of the LP mode (encoder).
 * @param[in,out] state initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPModeReset_G729E_16s(LPModeState_G729E *state);

/**
 * @brief Keeps the frame's mode and its last filter for the next interpolation.
 * @param[in]     mode   0 forward, 1 backward
 * @param[in]     filter `order + 1` coefficients of the second subframe, Q12
 * @param[in]     order  1..30
 * @param[in,out] state  initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `order` below 1; #ryxStsOutOfRange for `order` above 30 or any
 *         other mode
 */
ryxStatus ryxsLPModeUpdate_G729E_16s(int mode, const int16_t *filter, int order, LPModeState_G729E *state);

/**
 * @brief Interpolates the backward filters of a frame (decoder).
 * @param[in,out] backward two filters of 31 coefficients, Q12, as in ryxsLPModeDecision_G729E_16s()
 * @param[in,out] state    initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPModeInterpolate_G729E_16s(int16_t *backward, LPModeState_G729E *state);

/**
 * @brief Counts the mode of a frame that is not faint (decoder).
 * @param[in]     synthesis 80 samples
 * @param[in]     mode      0 forward, 1 backward
 * @param[out]    dominant  1 when backward mode prevails for long
 * @param[in,out] state     initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other mode
 */
ryxStatus ryxsLPModeDominance_G729E_16s(const int16_t *synthesis, int mode, int *dominant, LPModeState_G729E *state);

/**
 * @brief Follows the delay so that a lost frame does not repeat a multiple of it (decoder, once a subframe).
 * @param[in,out] delay  lag and fraction; replaced by the one kept where it is a multiple or part of the tracked one
 * @param[in,out] memory four values: last lag, steadiness 0..7, kept lag and fraction. Before the first frame 30, 0, 0, 0
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPitchTracking_G729E_16s(int16_t *delay, int16_t *memory);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
