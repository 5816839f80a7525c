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

/** Bit rates of AMR-WB in the library's enumeration of speech bit rates: the argument `mode`. */
enum {
    ryxAMRWBRate6600 = 5,   /**< 6.60 kbit/s */
    ryxAMRWBRate8850 = 9,   /**< 8.85 kbit/s */
    ryxAMRWBRate12650 = 13, /**< 12.65 kbit/s */
    ryxAMRWBRate14250 = 15, /**< 14.25 kbit/s */
    ryxAMRWBRate15850 = 16, /**< 15.85 kbit/s */
    ryxAMRWBRate18250 = 18, /**< 18.25 kbit/s */
    ryxAMRWBRate19850 = 19, /**< 19.85 kbit/s */
    ryxAMRWBRate23050 = 20, /**< 23.05 kbit/s */
    ryxAMRWBRate23850 = 21  /**< 23.85 kbit/s */
};

/** ISPs before the first frame, Q15: evenly spaced. */
static const int16_t ryxAMRWBStartIsp[16] = {32138, 30274,  27246,  23170,  18205,  12540,  6393,   0,
                                             -6393, -12540, -18205, -23170, -27246, -30274, -32138, 1475};

/** ISFs before the first frame; those of #ryxAMRWBStartIsp but for the last one. */
static const int16_t ryxAMRWBStartIsf[16] = {1024, 2048,  3072,  4096,  5120,  6144,  7168,  8192,
                                             9216, 10240, 11264, 12288, 13312, 14336, 15360, 3840};

/** Means of the long term of the ISFs of speech, around which the quantiser predicts. */
static const int16_t ryxAMRWBMeanIsf[16] = {738,  1326, 2336,  3578,  4596,  5662,  6711,  7730,
                                            8750, 9753, 10705, 11728, 12833, 13971, 15043, 4037};

/** Means of the long term of the ISFs of comfort noise. */
static const int16_t ryxAMRWBNoiseMeanIsf[16] = {478,  1100, 2213,  3267,  4219,  5222,  6198,  7240,
                                                 8229, 9153, 10098, 11108, 12144, 13184, 14165, 3803};

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
 * never need. The rescaling that the recommendation's decoder can switch on is that of ryxsISPToLPCScaled_AMRWB_16s().
 *
 * @param[in]  isp   `order` ISPs, Q15
 * @param[out] lpc   `order + 1` LP coefficients, Q12; `lpc[0]` is 4096
 * @param[in]  order 1..20. Even orders have a meaning; odd ones give coefficients of no use
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for any other `order`
 */
ryxStatus ryxsISPToLPC_AMRWB_16s(const int16_t *isp, int16_t *lpc, int order);

/**
 * @brief Converts ISPs to LP coefficients of order 16, all of them scaled down where one would not fit 16 bits.
 *
 * As ryxsISPToLPC_AMRWB_16s() with the rescaling that the recommendation's decoder uses in comfort noise. `lpc[0]` tells
 * the scale: 4096, 2048, ...; the synthesis filters take it into account.
 *
 * @param[in]  isp 16 ISPs, Q15
 * @param[out] lpc 17 LP coefficients, Q12 or less
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsISPToLPCScaled_AMRWB_16s(const int16_t *isp, int16_t *lpc);

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
 * recommendation truncates two products, as ryxsISFConceal_AMRWB_16s() does. At last ISFs are raised to 128 and to 128
 * above the one in front, the last one excepted.
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
 * @brief Conceals the ISFs of a lost frame exactly as the recommendation does.
 *
 * ryxsISFQuantDecode_AMRWB_16s() rounds one sum where this function, like TS 26.173, rounds the mean of the four vectors
 * and truncates both products; and its residual is the distance from a prediction around the mean of the long term, where
 * the recommendation takes that mean of four. A codec uses this one.
 *
 * @param[in]     history       ISFs of the last three good frames, not raised, 3 * 16 values
 * @param[out]    quantised     16 ISFs
 * @param[in,out] residual      quantised residual of the frame before, 16 values; becomes that of this frame
 * @param[in,out] prevQuantised 16 ISFs of the frame before; become those of this frame. May be `quantised`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsISFConceal_AMRWB_16s(const int16_t *history, int16_t *quantised, int16_t *residual,
                                   int16_t *prevQuantised);

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
 * stands when saturated energies let none win. ryxsAlgebraicCodebookSearchExact_AMRWB_16s() departs in neither. Needs about
 * 5 KB of stack.
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
 * @brief Searches the algebraic codebook exactly as the recommendation does.
 *
 * Differs from ryxsAlgebraicCodebookSearch_AMRWB_16s() in two cases. The sums of the backward filtering start at 1, are
 * doubled and saturate after every term, so that a target of zeros or of a few units still orders the positions. And when
 * saturated energies let no iteration win, the pulses stand on the first positions and the filtered low-passed adaptive
 * vector takes the place of their response. A codec uses this one. Needs about 5 KB of stack.
 *
 * @param[in]  target    64 samples: target of the fixed codebook
 * @param[in]  residual  64 samples: residual after the long-term prediction
 * @param[in]  impulse   64 samples: impulse response h of the weighted synthesis filter, Q12
 * @param[in]  lowPassed 64 samples: the low-passed adaptive vector filtered by h, from
 *                       ryxsAdaptiveCodebookSelect_AMRWB_16s()
 * @param[out] code      64 samples: code vector, Q9
 * @param[out] filtered  64 samples: code vector filtered by h, Q9
 * @param[in]  mode      bit-rate code, see above
 * @param[out] indices   1, 4 or 8 index words
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a code that is not in the table
 */
ryxStatus ryxsAlgebraicCodebookSearchExact_AMRWB_16s(const int16_t *target, const int16_t *residual,
                                                     const int16_t *impulse, const int16_t *lowPassed, int16_t *code,
                                                     int16_t *filtered, int mode, int16_t *indices);

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
 * The logarithms of the threshold are more precise than the recommendation's; ryxsVADExact_AMRWB_16s() takes those.
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
 * @brief Decides like ryxsVAD_AMRWB_16s() with the logarithms exactly as the recommendation takes them.
 *
 * They have one squaring less, truncated instead of rounded, and that of the noise comes before its last three bits are
 * cleared. The threshold differs by a few units, in speech about one decision in 345 with it. A codec uses this one; both
 * work on the same state.
 *
 * @param[in]     src      256 samples at 12.8 kHz, full 16-bit range
 * @param[in,out] state    initialised detector state
 * @param[in,out] toneFlag as in ryxsVAD_AMRWB_16s(); ryxsOpenLoopPitchSearch_AMRWB_16s() moves it on
 * @param[out]    vad      1: speech, or a pause too short to count; 0: noise
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADExact_AMRWB_16s(const int16_t *src, VADState_AMRWB *state, int16_t *toneFlag, int16_t *vad);

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
 * @defgroup amrwbcodec 3GPP AMR-WB: stages of the encoder and the decoder
 * @brief From the samples to the excitation and back (3GPP TS 26.190, fixed point TS 26.173; ITU-T G.722.2).
 *
 * A frame of 20 ms has 320 samples at 16 kHz, 256 at 12.8 kHz, and four subframes of 80 or 64. All functions are bit-exact
 * with TS 26.173, saturation included. `mode` is the bit-rate code of the algebraic codebook: 5 (6.60 kbit/s), 9 (8.85),
 * 13, 15, 16, 18, 19, 20, 21 (23.85); 5 and 9 are the low rates. Any other value is #ryxStsBadSize where a function
 * says so. Scalar inputs in words have the range of 16 bits; higher bits are ignored.
 *
 * **Memories** are words of the caller. They are zero before the first frame unless a function says otherwise.
 *
 * **Scale of the frame.** Signals of the encoder are scaled by powers of two that change from frame to frame. Where a
 * scale changes, ryxsScale_AMRWB_16s_I() brings the memories along.
 * @{
 */

/**
 * @brief Decimates a frame from 16 to 12.8 kHz.
 * @param[in]     src     320 samples at 16 kHz
 * @param[out]    dst     268 samples at 12.8 kHz: the frame, and 12 more for the LP analysis as if zeros followed
 * @param[in,out] history 30 samples at 16 kHz in front of `src`; become the last ones
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDownsampleFilter_AMRWB_16s(const int16_t *src, int16_t *dst, int16_t *history);

/**
 * @brief Interpolates a subframe from 12.8 to 16 kHz.
 * @param[in]     src     64 samples at 12.8 kHz
 * @param[out]    dst     80 samples at 16 kHz
 * @param[in,out] history 24 samples in front of `src`; become the last ones
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsUpsampleFilter_AMRWB_16s(const int16_t *src, int16_t *dst, int16_t *history);

/**
 * @brief High-pass of second order with 50 Hz, at 12.8 kHz.
 * @param[in,out] srcDst samples
 * @param[in]     len    number of samples, at least 1
 * @param[in,out] memory 6 words: the last two outputs as high and low parts, the newest first, then the last two inputs
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsHighPassFilter50_AMRWB_16s_I(int16_t *srcDst, int len, int16_t *memory);

/**
 * @brief High-pass of second order with 400 Hz, at 12.8 kHz. The output is a sixteenth of the signal.
 * @param[in]     src    samples
 * @param[out]    dst    filtered samples. May be `src`
 * @param[in]     len    number of samples, at least 1
 * @param[in,out] memory 6 words, as in ryxsHighPassFilter50_AMRWB_16s_I()
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsHighPassFilter400_AMRWB_16s(const int16_t *src, int16_t *dst, int len, int16_t *memory);

/**
 * @brief Pre-emphasises a frame by 1 - 0.68 / z and scales it up as far as this and the last two frames allow.
 * @param[in]     src     268 samples: the frame and 12 more
 * @param[out]    dst     268 samples, 2^(scale - 1) times the filtered ones. May be `src`
 * @param[in,out] memory  the last sample in front of `src`; becomes the last one of the frame
 * @param[in,out] scaling 3 words: the scale of the frame before, 0..8, becomes that of this frame; the scales that the
 *                        last two frames allowed, the newest first. Before the first frame 15 each
 * @param[out]    change  new scale less the old one: what the memories of the encoder have to be scaled by
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPreemphasizeAutoScale_AMRWB_16s(const int16_t *src, int16_t *dst, int16_t *memory, int16_t *scaling,
                                              int16_t *change);

/**
 * @brief De-emphasises weighted speech: y[n] = x[n] / 2 + 0.68 y[n-1].
 * @param[in,out] srcDst samples
 * @param[in]     len    number of samples, at least 1
 * @param[in,out] memory the output in front of the first one; becomes the last one
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsDeemphasizeHalf_AMRWB_16s_I(int16_t *srcDst, int len, int16_t *memory);

/**
 * @brief De-emphasises synthesised speech: y[n] = 16 x[n] + 0.68 y[n-1].
 * @param[in]     src    outputs of ryxsSynthesisFilter_AMRWB_16s32s_I(); bits 0 to 3 are ignored
 * @param[out]    dst    speech
 * @param[in]     len    number of samples, at least 1
 * @param[in,out] memory the output in front of the first one; becomes the last one
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsDeemphasize_AMRWB_32s16s(const int32_t *src, int16_t *dst, int len, int16_t *memory);

/**
 * @brief De-emphasises a subframe of synthesised speech and filters it by both high-passes.
 *
 * The same as ryxsDeemphasize_AMRWB_32s16s(), ryxsHighPassFilter50_AMRWB_16s_I() and ryxsHighPassFilter400_AMRWB_16s() one
 * after the other, in half of their time: the three recursions run side by side.
 *
 * @param[in]     src       64 outputs of ryxsSynthesisFilter_AMRWB_16s32s_I(); bits 0 to 3 are ignored
 * @param[out]    dst       64 samples: speech behind the high-pass of 50 Hz. Must not overlap `src`
 * @param[out]    upper     64 samples: `dst` behind that of 400 Hz, a sixteenth of the signal. Must not overlap `src`
 *                          or `dst`
 * @param[in,out] memory    as in ryxsDeemphasize_AMRWB_32s16s()
 * @param[in,out] memory50  as in ryxsHighPassFilter50_AMRWB_16s_I()
 * @param[in,out] memory400 as in ryxsHighPassFilter400_AMRWB_16s()
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDeemphasizeHighPass_AMRWB_32s16s(const int32_t *src, int16_t *dst, int16_t *upper, int16_t *memory,
                                               int16_t *memory50, int16_t *memory400);

/**
 * @brief Multiplies by a power of two: saturated to the left, rounded to the right with ties upwards.
 * @param[in,out] srcDst   words
 * @param[in]     len      number of words, at least 1
 * @param[in]     exponent of two; beyond 16 and -16 nothing changes any more
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsScale_AMRWB_16s_I(int16_t *srcDst, int len, int exponent);

/**
 * @brief Windows 384 samples and computes their autocorrelation.
 * @param[in]  src          384 samples
 * @param[out] correlations 17 values for lags 0 to 16, scaled so that the first is 2^30 or more; bit 0 is 0
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsAutoCorr_AMRWB_16s32s(const int16_t *src, int32_t *correlations);

/**
 * @brief Applies the lag window of 60 Hz with the correction for white noise.
 * @param[in,out] srcDst 17 values of ryxsAutoCorr_AMRWB_16s32s()
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLagWindow_AMRWB_32s_I(int32_t *srcDst);

/**
 * @brief Levinson-Durbin recursion of order 16. An unstable filter is replaced by the last stable one.
 * @param[in]     correlations 17 values, the first 2^30 or more; bit 0 is ignored
 * @param[out]    lpc          17 LP coefficients, Q12
 * @param[in,out] stable       coefficients 1 to 16 of the last stable filter; become those of this one
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange when the first value is below 2^30
 */
ryxStatus ryxsLevinsonDurbin_AMRWB_32s16s(const int32_t *correlations, int16_t *lpc, int16_t *stable);

/**
 * @brief Interpolates ISPs over the four subframes and converts them to LP coefficients.
 *
 * The new ISPs weigh 0.45, 0.8, 0.96 and 1.
 *
 * @param[in]  prevIsp 16 ISPs of the frame before, Q15
 * @param[in]  isp     16 ISPs of this frame, Q15
 * @param[out] lpc     4 * 17 LP coefficients, Q12
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsInterpolate_AMRWB_16s(const int16_t *prevIsp, const int16_t *isp, int16_t *lpc);

/**
 * @brief Measures how much the ISFs stay from frame to frame.
 * @param[in]  isf       16 quantised ISFs
 * @param[in]  prevIsf   16 quantised ISFs of the frame before
 * @param[out] stability 0: far apart, to 32767: the same, Q15
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsStability_AMRWB_16s(const int16_t *isf, const int16_t *prevIsf, int16_t *stability);

/**
 * @brief Enters the smallest distance of ISFs into the memory of the gain clipping.
 * @param[in]     isf    16 unquantised ISFs
 * @param[in]     mode   bit-rate code; others than 5 and 9 count as high rates
 * @param[in,out] memory 2 words: mean distance, 307 before the first frame, and mean pitch gain, 9830
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainClipUpdateISF_AMRWB_16s(const int16_t *isf, int mode, int16_t *memory);

/**
 * @brief Tells whether the pitch gain must be limited, because resonances and gains have been high for long.
 * @param[in]  memory 2 words as in ryxsGainClipUpdateISF_AMRWB_16s()
 * @param[in]  mode   bit-rate code; others than 5 and 9 count as high rates
 * @param[out] clip   1: limit the gain to 0.95, 0: do not
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainClipTest_AMRWB_16s(const int16_t *memory, int mode, int16_t *clip);

/**
 * @brief Enters a quantised pitch gain into the memory of the gain clipping.
 * @param[in]     pitchGain Q14
 * @param[in]     mode      bit-rate code; others than 5 and 9 count as high rates
 * @param[in,out] memory    2 words as in ryxsGainClipUpdateISF_AMRWB_16s()
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsGainClipUpdateGain_AMRWB_16s(int16_t pitchGain, int mode, int16_t *memory);

/**
 * @brief LP residual at twice the amplitude: y[n] = 2 (x[n] + a[1] x[n-1] + ... + a[16] x[n-16]).
 * @param[in]  lpc 17 LP coefficients, Q12
 * @param[in]  src samples; 16 more are read in front of them
 * @param[out] dst residual. Must not overlap `src`
 * @param[in]  len number of samples, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsResidualFilter_AMRWB_16s(const int16_t *lpc, const int16_t *src, int16_t *dst, int len);

/**
 * @brief LP synthesis in 16 bits, the inverse of ryxsResidualFilter_AMRWB_16s().
 * @param[in]     lpc    LP coefficients, Q12, or less where `lpc[0]` says so
 * @param[in]     order  16 or 20
 * @param[in]     src    excitation
 * @param[out]    dst    samples. May be `src`
 * @param[in]     len    number of samples, 20..256
 * @param[in,out] memory the `order` samples in front of `dst`; become the last ones
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len`, #ryxStsOutOfRange for `order` outside its range
 */
ryxStatus ryxsSynthesisFilter_AMRWB_16s(const int16_t *lpc, int order, const int16_t *src, int16_t *dst, int len,
                                        int16_t *memory);

/**
 * @brief LP synthesis of order 16 with outputs and memory in 28 bits.
 *
 * Speech is a sixteenth of the usual amplitude, so that its high 16 bits do not saturate; 12 bits more stand in bits 4 to
 * 15 of an output, and bits 0 to 3 are zero.
 *
 * @param[in]     lpc    17 LP coefficients, Q12, or less where `lpc[0]` says so
 * @param[in]     src    excitation, 2^q times its usual amplitude
 * @param[in,out] srcDst 16 past outputs in front of the pointer; the outputs from it on
 * @param[in]     len    number of samples, at least 1
 * @param[in]     q      scale of the excitation, 0..11
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsOutOfRange for another `q`
 */
ryxStatus ryxsSynthesisFilter_AMRWB_16s32s_I(const int16_t *lpc, const int16_t *src, int32_t *srcDst, int len, int q);

/**
 * @brief Decimates weighted speech by two and scales it down for the searches.
 * @param[in]     src             256 samples of weighted speech
 * @param[out]    dst             128 samples at 6.4 kHz
 * @param[in,out] memory          the 3 samples in front of `src`; become the last ones
 * @param[in,out] scaling         2 words: largest magnitude of the frame before, becomes that of this frame; the scale of
 *                                the frame before, becomes that of this one, -3..0. It holds for all targets of the frame
 * @param[in]     change          what ryxsPreemphasizeAutoScale_AMRWB_16s() gave
 * @param[out]    historyExponent by which ryxsOpenLoopPitchSearch_AMRWB_16s() scales its histories
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopDownsample_AMRWB_16s(const int16_t *src, int16_t *dst, int16_t *memory, int16_t *scaling,
                                           int change, int16_t *historyExponent);

/** State of the open-loop pitch search: an opaque block at any address. */
typedef struct OpenLoopPitchState_AMRWB OpenLoopPitchState_AMRWB;

/**
 * @brief Reports the size of the state of the open-loop pitch search.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopPitchSearchGetStateSize_AMRWB_16s(int *size);

/**
 * @brief Initialises a state of the open-loop pitch search.
 * @param[out] state block of the reported size at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopPitchSearchInit_AMRWB_16s(OpenLoopPitchState_AMRWB *state);

/**
 * @brief Searches the open-loop lag, 36 to 230 samples in even numbers, once or twice in a frame.
 * @param[in]     src             128 samples of weighted speech at 6.4 kHz
 * @param[in]     searches        1 (6.60 kbit/s) or 2
 * @param[in]     historyExponent of two, by which the histories are scaled first
 * @param[out]    lags            one lag for each search, in samples at 12.8 kHz
 * @param[in,out] toneFlag        register of the voice activity detector: shifted and set for every search
 * @param[in,out] state           initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another number of searches
 */
ryxStatus ryxsOpenLoopPitchSearch_AMRWB_16s(const int16_t *src, int searches, int historyExponent, int16_t *lags,
                                            int16_t *toneFlag, OpenLoopPitchState_AMRWB *state);

/**
 * @brief Computes the target of the adaptive codebook and that of the residual domain.
 * @param[in]  speech         64 samples of pre-emphasised speech; 16 more are read in front of them
 * @param[in]  residual       64 samples: LP residual of the subframe
 * @param[in]  synthesis      the last 16 samples of synthesised speech
 * @param[in]  lpc            17 quantised LP coefficients, Q12
 * @param[in]  weighted       17 unquantised ones, weighted by powers of 0.92
 * @param[in]  memory         memory of the weighting filter
 * @param[out] target         64 samples
 * @param[out] residualTarget 64 samples: what the excitation of the subframe has to be like
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsTarget_AMRWB_16s(const int16_t *speech, const int16_t *residual, const int16_t *synthesis,
                               const int16_t *lpc, const int16_t *weighted, int16_t memory, int16_t *target,
                               int16_t *residualTarget);

/**
 * @brief Computes the impulse response of the weighted synthesis filter.
 * @param[in]  lpc              17 quantised LP coefficients, Q12
 * @param[in]  weighted         17 unquantised ones, weighted by powers of 0.92
 * @param[in]  shift            scale of the targets, -15..15
 * @param[out] response         64 samples for the adaptive codebook, Q(15 + shift)
 * @param[out] codebookResponse 64 samples for the fixed codebook, Q12
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another `shift`
 */
ryxStatus ryxsImpulseResponse_AMRWB_16s(const int16_t *lpc, const int16_t *weighted, int shift, int16_t *response,
                                        int16_t *codebookResponse);

/**
 * @brief Searches the lag of the adaptive codebook and codes it.
 *
 * Lags go from 34 to 231 samples. High rates code quarters of a sample up to 127 3/4 and halves up to 159 1/2, in 9 bits
 * alone and 6 bits relative to the subframe before; low rates code halves up to 91 1/2, in 8 and 5 bits. Lags stand alone
 * in subframe 0 and, but for 6.60 kbit/s, in subframe 2.
 *
 * @param[in]     target      64 samples
 * @param[in]     response    64 samples of the impulse response, in the scale of the target
 * @param[in]     excitation  64 samples that begin with the LP residual; 248 samples of past excitation are read in front
 * @param[in]     openLoopLag 34..231; counts in the subframes whose lag stands alone
 * @param[in]     subframe    0..3
 * @param[in]     mode        bit-rate code
 * @param[in,out] range       2 words: first and last whole lag of the range of relative lags; written in the subframes
 *                            whose lag stands alone
 * @param[out]    lag         whole samples
 * @param[out]    fraction    quarters of a sample, 0..3
 * @param[out]    index       code of the lag
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another mode; #ryxStsOutOfRange for another subframe, lag or range
 */
ryxStatus ryxsAdaptiveCodebookSearch_AMRWB_16s(const int16_t *target, const int16_t *response,
                                               const int16_t *excitation, int openLoopLag, int subframe, int mode,
                                               int16_t *range, int16_t *lag, int16_t *fraction, int16_t *index);

/**
 * @brief Interpolates the past excitation at a lag of quarters of a sample.
 * @param[in]     lag      34..231 samples
 * @param[in]     fraction quarters of a sample more, 0..3
 * @param[in,out] srcDst   248 samples of past excitation in front of the pointer; 65 samples of the adaptive vector from
 *                         it on
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for a lag or fraction outside its range
 */
ryxStatus ryxsDecodeAdaptiveVector_AMRWB_16s_I(int lag, int fraction, int16_t *srcDst);

/**
 * @brief Low-pass of the adaptive vector: 0.18, 0.64, 0.18.
 * @param[in]  src 64 samples; one more is read in front of them and one behind
 * @param[out] dst 64 samples. Must not overlap `src`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsAdaptiveLowPass_AMRWB_16s(const int16_t *src, int16_t *dst);

/**
 * @brief Chooses between the adaptive vector and its low-passed form, and takes its contribution out of the targets.
 * @param[in]     target         64 samples
 * @param[in]     response       64 samples of the impulse response, in the scale of the target
 * @param[in]     clip           other than 0: limit the gain to 0.95
 * @param[in]     mode           bit-rate code; the low rates always take the low-passed form
 * @param[in]     shift          scale of the targets, -15..15
 * @param[in,out] srcDstVector   the vector; one sample more is read in front of it and one behind. Becomes the chosen one
 * @param[in,out] residual       64 samples: residual target, becomes that of the fixed codebook, scaled by `shift`
 * @param[out]    codebookTarget 64 samples: target of the fixed codebook
 * @param[out]    filtered       64 samples: the chosen vector filtered by the response
 * @param[out]    lowPassed      64 samples: the low-passed vector filtered by the response
 * @param[out]    correlations   4 words for the gain quantiser: energy of `filtered` and its exponent, correlation with the
 *                               target and its exponent
 * @param[out]    gain           unquantised pitch gain, Q14, 0..19661
 * @param[out]    select         1: the vector as it was; 0: the low-passed one
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another mode; #ryxStsOutOfRange for another `shift`
 */
ryxStatus ryxsAdaptiveCodebookSelect_AMRWB_16s(const int16_t *target, const int16_t *response, int clip, int mode,
                                               int shift, int16_t *srcDstVector, int16_t *residual,
                                               int16_t *codebookTarget, int16_t *filtered, int16_t *lowPassed,
                                               int16_t *correlations, int16_t *gain, int16_t *select);

/**
 * @brief Pre-emphasises a code vector or an impulse response by the tilt and sharpens it at the lag by 0.85.
 * @param[in,out] srcDst 64 samples
 * @param[in]     tilt   Q15, -32767..32767
 * @param[in]     lag    at least 1; from 64 on nothing is sharpened
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another tilt or lag
 */
ryxStatus ryxsPitchSharpen_AMRWB_16s_I(int16_t *srcDst, int tilt, int lag);

/**
 * @brief Quantises both gains, in 6 bits at the low rates and 7 bits above.
 * @param[in]     target        64 samples: target of the adaptive codebook
 * @param[in]     filtered      64 samples: filtered adaptive vector
 * @param[in]     correlations  4 words of ryxsAdaptiveCodebookSelect_AMRWB_16s()
 * @param[in]     code          64 samples: sharpened code vector, Q9
 * @param[in]     filteredCode  64 samples: filtered code vector, Q9
 * @param[in]     q             scale of the target
 * @param[in]     pitchGain     unquantised pitch gain, Q14
 * @param[in]     clip          other than 0: the highest pitch gains are left out
 * @param[in]     mode          bit-rate code
 * @param[in,out] predictor     4 words: errors of the energy prediction, Q10, the newest first; -14336 each before the
 *                              first frame
 * @param[out]    quantisedGain pitch gain, Q14
 * @param[out]    codeGain      Q16
 * @param[out]    index         0..63 or 0..127
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another mode
 */
ryxStatus ryxsGainQuant_AMRWB_16s(const int16_t *target, const int16_t *filtered, const int16_t *correlations,
                                  const int16_t *code, const int16_t *filteredCode, int q, int pitchGain, int clip,
                                  int mode, int16_t *predictor, int16_t *quantisedGain, int32_t *codeGain,
                                  int16_t *index);

/**
 * @brief Decodes both gains, or conceals them (TS 26.191).
 * @param[in]     index       0..63 at the low rates, 0..127 above; not read in a bad frame
 * @param[in]     code        64 samples: sharpened code vector, Q9
 * @param[in]     mode        bit-rate code
 * @param[in]     bfi         other than 0: the frame is bad or lost
 * @param[in]     lost        of a bad frame: other than 0 when nothing of it arrived
 * @param[in]     prevBfi     other than 0: the frame before was bad
 * @param[in]     badFrames   state of the bad-frame counter, 0..6
 * @param[in]     noiseFrames frames in a row without voice
 * @param[in,out] memory      22 words: 4 errors of the energy prediction, -14336 each before the first frame; the last
 *                            pitch gain, the last code gain and the last good one; then, five each with the newest last,
 *                            pitch gains, code gains and pitch gains of good frames
 * @param[out]    pitchGain   Q14
 * @param[out]    codeGain    Q16
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another mode; #ryxStsOutOfRange for another `badFrames`;
 *         #ryxStsBadIndex for another index
 */
ryxStatus ryxsGainDecode_AMRWB_16s(int index, const int16_t *code, int mode, int bfi, int lost, int prevBfi,
                                   int badFrames, int noiseFrames, int16_t *memory, int16_t *pitchGain,
                                   int32_t *codeGain);

/**
 * @brief Decodes the lag of the adaptive codebook; see ryxsAdaptiveCodebookSearch_AMRWB_16s() for the codes.
 * @param[in]     index    9, 8, 6 or 5 bits
 * @param[in]     subframe 0..3
 * @param[in]     mode     bit-rate code
 * @param[in,out] range    2 words: first and last whole lag of the range of relative lags; written in the subframes whose
 *                         lag stands alone
 * @param[out]    lag      whole samples, 34..231
 * @param[out]    fraction quarters of a sample, 0..3
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another mode; #ryxStsOutOfRange for another subframe or range;
 *         #ryxStsBadIndex for another index
 */
ryxStatus ryxsDecodeLag_AMRWB_16s(int index, int subframe, int mode, int16_t *range, int16_t *lag, int16_t *fraction);

/**
 * @brief Replaces the lag of a lost frame, and that of a bad one unless it fits the lags before it (TS 26.191).
 * @param[in]     lagHistory  5 whole lags of good subframes, the newest first; 64 each before the first frame
 * @param[in]     gainHistory 5 pitch gains of good subframes, Q14, the newest last
 * @param[in]     lastLag     whole lag of the last good subframe
 * @param[in]     lost        1: lost; 0: bad
 * @param[in,out] lag         decoded lag, which counts in a bad frame; becomes the lag to use, without a fraction
 * @param[in,out] seed        of the random generator, 21845 before the first frame
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another `lost`
 */
ryxStatus ryxsLagConceal_AMRWB_16s(const int16_t *lagHistory, const int16_t *gainHistory, int lastLag, int lost,
                                   int16_t *lag, int16_t *seed);

/**
 * @brief Fills a code vector of a lost frame with noise.
 * @param[out]    code 64 samples, Q9
 * @param[in,out] seed of the random generator, 21845 before the first frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsCodeConceal_AMRWB_16s(int16_t *code, int16_t *seed);

/**
 * @brief Compares the energies of both contributions to the excitation.
 * @param[in]  vector    64 samples: adaptive vector
 * @param[in]  q         scale of the vector, -15..15
 * @param[in]  pitchGain Q14
 * @param[in]  code      64 samples: code vector, Q9
 * @param[in]  codeGain  Q0
 * @param[out] voicing   -32767: noise, to 32767: periodic, Q15
 * @param[out] tilt      of the next subframe's code, Q15
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVoicingFactor_AMRWB_16s(const int16_t *vector, int q, int pitchGain, const int16_t *code, int codeGain,
                                      int16_t *voicing, int16_t *tilt);

/**
 * @brief Adds both contributions to the excitation.
 * @param[in]  vector    64 samples: adaptive vector
 * @param[in]  pitchGain Q14
 * @param[in]  code      64 samples: code vector, Q9
 * @param[in]  codeGain  in the scale of the vector
 * @param[out] dst       64 samples. May be `vector` or `code`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsExcitation_AMRWB_16s(const int16_t *vector, int pitchGain, const int16_t *code, int codeGain,
                                   int16_t *dst);

/**
 * @brief Computes the memory of the weighting filter from the last sample of the error.
 * @param[in]  target       64 samples: target of the adaptive codebook
 * @param[in]  filtered     64 samples: filtered adaptive vector
 * @param[in]  pitchGain    Q14
 * @param[in]  filteredCode 64 samples: filtered code vector, Q9
 * @param[in]  codeGain     in the scale of the frame
 * @param[in]  shift        scale of the targets
 * @param[out] memory       one word, in the scale of the frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsWeightingMemory_AMRWB_16s(const int16_t *target, const int16_t *filtered, int pitchGain,
                                        const int16_t *filteredCode, int codeGain, int shift, int16_t *memory);

/**
 * @brief Rounds a gain of the encoder to the scale of its frame.
 * @param[in]  codeGain Q16
 * @param[in]  q        scale of the frame, -31..31
 * @param[out] gain     Q0 in that scale
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsScaleGain_AMRWB_32s16s(int32_t codeGain, int q, int16_t *gain);

/**
 * @brief Chooses the scale of the decoder's excitation in a subframe.
 * @param[in]  candidates 4 words: scales that the last subframes allow, 8 each before the first one
 * @param[in]  codeGain   Q16
 * @param[out] q          0..8
 * @param[out] scaledGain code gain in that scale
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsExcitationScale_AMRWB_16s(const int16_t *candidates, int32_t codeGain, int16_t *q, int16_t *scaledGain);

/**
 * @brief Enters the scale that a subframe's excitation allows.
 * @param[in]     excitation 64 samples
 * @param[in]     q          its scale
 * @param[in,out] candidates 4 words, the newest first
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsExcitationScaleUpdate_AMRWB_16s(const int16_t *excitation, int q, int16_t *candidates);

/**
 * @brief Phase dispersion of the code vector at the low rates. The memory moves at all rates.
 * @param[in,out] srcDst    64 samples: code vector, Q9
 * @param[in]     pitchGain Q14
 * @param[in]     codeGain  Q16
 * @param[in]     mode      bit-rate code
 * @param[in,out] memory    8 words
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another mode
 */
ryxStatus ryxsPhaseDispersion_AMRWB_16s_I(int16_t *srcDst, int pitchGain, int32_t codeGain, int mode, int16_t *memory);

/**
 * @brief Noise enhancer: smooths the code gain where the voice is absent and the spectrum stays.
 * @param[in]     codeGain  Q16
 * @param[in]     voicing   of ryxsVoicingFactor_AMRWB_16s()
 * @param[in]     stability of ryxsStability_AMRWB_16s()
 * @param[in]     q         scale of the result
 * @param[in,out] threshold one 32-bit memory
 * @param[out]    enhanced  Q0, times 2^q
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsNoiseEnhancer_AMRWB_32s16s(int32_t codeGain, int voicing, int stability, int q, int32_t *threshold,
                                         int16_t *enhanced);

/**
 * @brief Pitch enhancer: a high-pass of the code vector that grows with the voicing.
 * @param[in]  code    64 samples, Q9
 * @param[in]  voicing of ryxsVoicingFactor_AMRWB_16s()
 * @param[out] dst     64 samples. Must not overlap `code`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPitchEnhancer_AMRWB_16s(const int16_t *code, int voicing, int16_t *dst);

/**
 * @brief Low rates: adds more of the adaptive vector when the pitch gain is above 0.5, at the same energy.
 * @param[in,out] srcDst    64 samples: excitation
 * @param[in]     vector    64 samples: adaptive vector
 * @param[in]     pitchGain Q14
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPitchEmphasis_AMRWB_16s_I(int16_t *srcDst, const int16_t *vector, int pitchGain);

/**
 * @brief Makes white noise for the band above 6.4 kHz with the energy of the excitation.
 * @param[in]     excitation 64 samples
 * @param[in]     q          scale of the excitation
 * @param[out]    dst        80 samples at 16 kHz
 * @param[in,out] seed       of the random generator, 21845 before the first frame
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHighBandNoise_AMRWB_16s(const int16_t *excitation, int q, int16_t *dst, int16_t *seed);

/**
 * @brief Estimates the gain of the high band from the tilt of the low one.
 * @param[in]  synthesis   64 samples of ryxsHighPassFilter400_AMRWB_16s()
 * @param[in]  noiseFrames frames in a row without voice
 * @param[out] gain        Q15, at least 3277
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHighBandGainEstimate_AMRWB_16s(const int16_t *synthesis, int noiseFrames, int16_t *gain);

/**
 * @brief Quantises the gain of the high band in 4 bits (23.85 kbit/s).
 * @param[in]     noise    80 samples: synthesised high band with gain 1, band-passed
 * @param[in]     original 80 samples: the input, band-passed
 * @param[in]     estimate of ryxsHighBandGainEstimate_AMRWB_16s()
 * @param[in]     hangover of ryxsEncDTXHandler_AMRWB_16s(), 7 without it
 * @param[in,out] weight   of the measured gain beside the estimated one, Q15; 32767 before the first frame
 * @param[out]    index    0..15
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a hangover outside 0..7
 */
ryxStatus ryxsHighBandGainQuant_AMRWB_16s(const int16_t *noise, const int16_t *original, int estimate, int hangover,
                                          int16_t *weight, int16_t *index);

/**
 * @brief Multiplies the noise of the high band by its gain.
 * @param[in,out] srcDst   80 samples
 * @param[in]     estimate gain to use without an index, Q15
 * @param[in]     index    0..15; -1 for the estimate
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for another index
 */
ryxStatus ryxsHighBandGain_AMRWB_16s_I(int16_t *srcDst, int estimate, int index);

/**
 * @brief Extrapolates ISFs to 8 kHz and converts them to the filter of the high band at 6.60 kbit/s.
 * @param[in]  prevIsf  16 ISFs of the frame before
 * @param[in]  isf      16 ISFs of this frame
 * @param[in]  subframe 0..3
 * @param[out] lpc      21 LP coefficients, Q12
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another subframe
 */
ryxStatus ryxsHighBandLPC_AMRWB_16s(const int16_t *prevIsf, const int16_t *isf, int subframe, int16_t *lpc);

/**
 * @brief Band-pass of 6 to 7 kHz at 16 kHz, 31 taps.
 * @param[in,out] srcDst 80 samples
 * @param[in,out] memory 30 samples in front of them, a quarter in amplitude
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsBandPassFilter_AMRWB_16s_I(int16_t *srcDst, int16_t *memory);

/**
 * @brief Low-pass of 7 kHz at 16 kHz, 31 taps.
 * @param[in,out] srcDst 80 samples
 * @param[in,out] memory 30 samples in front of them
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLowPassFilter_AMRWB_16s_I(int16_t *srcDst, int16_t *memory);

/**
 * @brief Adds the high band to the interpolated low one; the two lowest bits of the sum are cleared.
 * @param[in]  low  80 samples
 * @param[in]  high 80 samples
 * @param[out] dst  80 samples of 14 bits. May be `low` or `high`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHighBandAdd_AMRWB_16s(const int16_t *low, const int16_t *high, int16_t *dst);

/** @} */

/**
 * @defgroup amrwbdtx 3GPP AMR-WB: discontinuous transmission
 * @brief Silence descriptors in the encoder, comfort noise in the decoder (3GPP TS 26.192, TS 26.193).
 *
 * Both sides keep the ISFs and logarithmic energies of eight frames. State blocks are opaque and may lie at any address.
 * The seven parameters of a descriptor are the five indices of ryxsISFQuantDTX_AMRWB_16s(), the energy (6 bits) and the
 * dithering flag (1 bit).
 * @{
 */

/** State of the encoder's discontinuous transmission. */
typedef struct EncDTXState_AMRWB EncDTXState_AMRWB;
/** State of the decoder's discontinuous transmission. */
typedef struct DecDTXState_AMRWB DecDTXState_AMRWB;

/**
 * @brief Reports the size of the encoder's state block.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXGetStateSize_AMRWB_16s(int *size);

/**
 * @brief Initialises the encoder's state block.
 * @param[out] state block of the reported size
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXInit_AMRWB_16s(EncDTXState_AMRWB *state);

/**
 * @brief Decides after the hangover of seven frames whether a frame is silence.
 * @param[in]     vad      decision of the voice activity detector; 0 for silence
 * @param[out]    silence  1: the frame becomes comfort noise; 0: it is coded as speech
 * @param[out]    hangover frames of hangover still to run, 0..7
 * @param[in,out] state    initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXHandler_AMRWB_16s(int vad, int16_t *silence, int16_t *hangover, EncDTXState_AMRWB *state);

/**
 * @brief Enters a frame of noise into the encoder's histories: its ISFs and the logarithm of its residual energy.
 * @param[in]     residual 256 samples of LP residual
 * @param[in]     q        scale of the residual
 * @param[in]     isf      16 ISFs of the frame
 * @param[in]     mode     bit-rate code of the speech frames, on which the energy depends a little
 * @param[in,out] state    initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another mode
 */
ryxStatus ryxsEncDTXBuffer_AMRWB_16s(const int16_t *residual, int q, const int16_t *isf, int mode,
                                     EncDTXState_AMRWB *state);

/**
 * @brief Computes the parameters of a silence descriptor from the histories, and the noise that they stand for.
 *
 * Up to two vectors of ISFs that lie far from the others count as the one nearest to all. The noise is dithered when ISFs
 * or energies vary.
 *
 * @param[out]    indices    7 parameters
 * @param[out]    isf        16 quantised ISFs
 * @param[out]    excitation 256 samples of noise
 * @param[in,out] state      initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXSID_AMRWB_16s(int16_t *indices, int16_t *isf, int16_t *excitation, EncDTXState_AMRWB *state);

/**
 * @brief Reports the size of the decoder's state block.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXGetStateSize_AMRWB_16s(int *size);

/**
 * @brief Initialises the decoder's state block.
 * @param[out] state block of the reported size
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXInit_AMRWB_16s(DecDTXState_AMRWB *state);

/**
 * @brief Decides from the type of a frame what the decoder does with it. Once a frame, first of all.
 * @param[in]     type        0 good speech, 1 degraded speech, 2 lost speech, 3 bad speech, 4 first silence descriptor,
 *                            5 silence descriptor, 6 bad silence descriptor, 7 no data
 * @param[in]     noiseFrames frames in a row without voice, bad ones included
 * @param[out]    reception   0: speech; 1: comfort noise; 2: comfort noise that fades away
 * @param[in,out] state       initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for another type
 */
ryxStatus ryxsDecDTXHandler_AMRWB_16s(int type, int noiseFrames, int16_t *reception, DecDTXState_AMRWB *state);

/**
 * @brief Enters a frame of speech into the decoder's histories: its ISFs and the logarithm of its excitation energy.
 * @param[in]     excitation 256 samples
 * @param[in]     q          scale of the excitation
 * @param[in]     isf        16 ISFs of the frame
 * @param[in,out] state      initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXBuffer_AMRWB_16s(const int16_t *excitation, int q, const int16_t *isf, DecDTXState_AMRWB *state);

/**
 * @brief Makes the ISFs and the excitation of a frame of comfort noise.
 * @param[in]     indices    7 parameters; they count in a silence descriptor (type 5), and its energy must be below 64 and
 *                           its flag below 2 in any frame
 * @param[out]    isf        16 ISFs
 * @param[out]    excitation 256 samples
 * @param[in,out] state      initialised state, after ryxsDecDTXHandler_AMRWB_16s() asked for comfort noise
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for an energy or flag outside its range
 */
ryxStatus ryxsDecDTXNoise_AMRWB_16s(const int16_t *indices, int16_t *isf, int16_t *excitation,
                                    DecDTXState_AMRWB *state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
