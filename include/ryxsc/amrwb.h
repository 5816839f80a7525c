/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/amrwb.h
 * @brief 3GPP AMR-WB.
 */
#ifndef RYXSC_AMRWB_H
#define RYXSC_AMRWB_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

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

#ifdef __cplusplus
}
#endif

#endif
