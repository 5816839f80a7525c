/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g723.h
 * @brief ITU-T G.723.1.
 */
#ifndef RYXSC_G723_H
#define RYXSC_G723_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup g723 ITU-T G.723.1: common constants
 * @brief Rates, frame types and the formats that all functions share.
 *
 * A frame is 240 samples at 8 kHz in four subframes of 60. Speech inside the codec has half the scale of its input and
 * output. LP coefficients are ten words in Q13 with the sign of the predictor, A(z) = 1 - sum a[i] z^-(i+1). Frequencies
 * (LSFs) are 16-bit values of which 32768 stands for pi. The functions equal the recommendation's fixed-point program of
 * 2006 (main body and Annex A) bit for bit, for every input; where one departs, its description says so.
 *
 * Excitation, weighted speech and weighted synthesis reach back 145 samples. Functions that need this past take a pointer
 * to the subframe inside a longer buffer and read `[-145..-1]` as well.
 *
 * The pitch of a subframe is a lag of its half frame, 18..141 (comfort noise: up to 143), and an offset 0..3: it repeats
 * after lag - 1 + offset samples. Subframes 0 and 2 always have offset 1.
 * @{
 */

/** Rates. */
enum {
    ryxG723Rate63 = 0, /**< 6.3 kbit/s, multipulse code (MP-MLQ) */
    ryxG723Rate53 = 1  /**< 5.3 kbit/s, algebraic code (ACELP) */
};

/** Frame types of Annex A. */
enum {
    ryxG723FrameNothing = 0, /**< untransmitted */
    ryxG723FrameSpeech = 1,  /**< active, at either rate */
    ryxG723FrameSID = 2      /**< silence descriptor */
};

/** @} */

/**
 * @defgroup g723lp ITU-T G.723.1: LP analysis and line spectral frequencies
 * @brief From the input to quantised LP filters, and back.
 * @{
 */

/** Means of the long term of the LSFs, around which they are predicted; also the LSFs before the first frame. */
static const int16_t ryxG723MeanLsf[10] = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};

/**
 * @brief High-pass filter of the encoder; halves the scale.
 *
 * @param[in]     src    `len` samples
 * @param[out]    dst    `len` samples. May be `src`
 * @param[in]     len    at least 1
 * @param[in,out] memory 2 words: last input sample, last output in 32 bits. Zero at the start
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsHighPassFilter_G723_16s(const int16_t *src, int16_t *dst, int len, int32_t *memory);

/**
 * @brief Windowed, normalised autocorrelation of an analysis block.
 *
 * The block is scaled to a headroom of 3 bits, windowed (Hamming), correlated exactly, corrected for white noise
 * (1025/1024) and smoothed by the binomial lag window.
 *
 * @param[in]  src      180 samples, the subframe in the middle
 * @param[out] autoCorr 11 values, lags 0 to 10, the first in 2^14..2^15 - 1, or all 0 for a block of zeros
 * @param[out] shift    by how many bits they are scaled up against the block's own; 40 for a block of zeros
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsAutoCorr_NormE_G723_16s(const int16_t *src, int16_t *autoCorr, int *shift);

/**
 * @brief Joint autocorrelation of several blocks (Annex A): the sum of theirs, brought to one scale.
 *
 * @param[in]  autoCorrs `blocks` times 11 values
 * @param[in]  shifts    `blocks` scales, -64..64 each
 * @param[in]  blocks    at least 1; 4 for a frame of subframes, 3 for the frames before a silence descriptor
 * @param[out] autoCorr  11 values. May be among `autoCorrs`
 * @param[out] shift     their scale. May be among `shifts`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `blocks` below 1; #ryxStsOutOfRange for a scale outside its range
 */
ryxStatus ryxsAutoCorr_G723_16s(const int16_t *autoCorrs, const int *shifts, int blocks, int16_t *autoCorr, int *shift);

/**
 * @brief Levinson-Durbin recursion in 16 bits.
 *
 * Where a reflection coefficient would reach 1 the recursion ends: the coefficients found so far stand, the others are 0
 * and `secondReflection` is 32767.
 *
 * @param[in]  autoCorr         11 values, lags 0 to 10
 * @param[out] lpc              10 LP coefficients, Q13
 * @param[out] secondReflection second reflection coefficient, Q15, for ryxsSineDetect_G723_16s()
 * @param[out] residualEnergy   what the filter leaves, in the scale of `autoCorr`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLevinsonDurbin_G723_16s(const int16_t *autoCorr, int16_t *lpc, int16_t *secondReflection,
                                      int16_t *residualEnergy);

/**
 * @brief Detects sine waves: 14 of the last 15 subframes with a second reflection coefficient above 0.95.
 *
 * Digital silence counts as a sine.
 *
 * @param[in]     secondReflections 4 coefficients, Q15, of the subframes of a frame
 * @param[in,out] history           one bit per subframe, the sign bit for the decision; 0 at the start
 * @param[out]    sine              1 when there is a sine wave, otherwise 0
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSineDetect_G723_16s(const int16_t *secondReflections, int16_t *history, int *sine);

/**
 * @brief Converts LP coefficients to LSFs, after a bandwidth expansion by 0.994.
 *
 * The sum and the difference polynomial are evaluated in turn at 256 points; each change of sign is a frequency, by
 * linear interpolation. Where fewer than ten are found the previous LSFs are returned.
 *
 * @param[in]  lpc      10 LP coefficients, Q13
 * @param[in]  previous 10 LSFs
 * @param[out] lsf      10 LSFs. May be `previous`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLPCToLSF_G723_16s(const int16_t *lpc, const int16_t *previous, int16_t *lsf);

/**
 * @brief Quantises the LSFs of a frame in 24 bits.
 *
 * The deviation from a prediction is matched in three bands with weights that grow where frequencies are close.
 *
 * @param[in]  lsf      10 LSFs
 * @param[in]  previous 10 quantised LSFs of the previous frame
 * @param[out] index    codebook indices of LSFs 1 to 3 (bits 16 to 23), 4 to 6 (8 to 15) and 7 to 10 (0 to 7)
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSFQuant_G723_16s32s(const int16_t *lsf, const int16_t *previous, int32_t *index);

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

/**
 * @brief Interpolates the LSFs of the four subframes, the last of which has those of the frame.
 *
 * @param[in]  previous 10 LSFs of the previous frame
 * @param[in]  current  10 LSFs of this frame
 * @param[out] lsf      4 times 10 LSFs
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsInterpolate_G723_16s(const int16_t *previous, const int16_t *current, int16_t *lsf);

/**
 * @brief Converts LSFs to LP coefficients.
 *
 * A frequency below 0, which decoding can leave after certain indices, meets the periodic continuation of the cosine
 * table; the recommendation does not define it.
 *
 * @param[in]  lsf 10 LSFs
 * @param[out] lpc 10 LP coefficients, Q13. May be `lsf`
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSFToLPC_G723_16s(const int16_t *lsf, int16_t *lpc);

/**
 * @brief Converts LSFs to LP coefficients in place, as ryxsLSFToLPC_G723_16s().
 *
 * @param[in,out] lsfLpc 10 LSFs; become 10 LP coefficients, Q13
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsLSFToLPC_G723_16s_I(int16_t *lsfLpc);

/** @} */

/**
 * @defgroup g723weighting ITU-T G.723.1: weighting, open-loop pitch and the combined filter
 * @brief What makes the target of the closed-loop searches.
 *
 * Filter memories are the last words of a line, the oldest first. Harmonic lags are those that
 * ryxsHarmonicSearch_G723_16s() gives, 15..145.
 * @{
 */

/**
 * @brief Coefficients of the formant perceptual weighting, (1 - A(z/0.9)) and (1 - A(z/0.5)).
 *
 * @param[in]  lpc     10 LP coefficients, Q13
 * @param[out] weights 10 coefficients of the zeros, then 10 of the poles, Q13
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsWeightingCoefs_G723_16s(const int16_t *lpc, int16_t *weights);

/**
 * @brief Formant perceptual weighting of a subframe.
 *
 * @param[in]     src     60 samples
 * @param[in]     weights 20 coefficients of ryxsWeightingCoefs_G723_16s()
 * @param[out]    dst     60 samples. May be `src`
 * @param[in,out] memory  10 inputs, then 10 outputs; zero at the start
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsWeightingFilter_G723_16s(const int16_t *src, const int16_t *weights, int16_t *dst, int16_t *memory);

/**
 * @brief Open-loop pitch lag of half a frame.
 *
 * @param[in]  src weighted speech, normalised to a headroom of 3 bits (ryxsAutoScale_16s()): 120 samples, and
 *                 `src[-142..-1]`
 * @param[out] lag 18..142
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopPitchSearch_G723_16s(const int16_t *src, int16_t *lag);

/**
 * @brief Lag and gain of the harmonic noise shaping of a subframe.
 *
 * @param[in]  src         weighted speech, normalised to a headroom of 3 bits: 60 samples, and `src[-145..-1]`
 * @param[in]  openLoopLag 18..142
 * @param[out] lag         `openLoopLag` - 3 .. `openLoopLag` + 3
 * @param[out] gain        0..10240, Q15; 0 where the speech is not periodic enough
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other lag
 */
ryxStatus ryxsHarmonicSearch_G723_16s(const int16_t *src, int openLoopLag, int16_t *lag, int16_t *gain);

/**
 * @brief Harmonic noise shaping of a subframe: each sample less `gain` times that of a lag ago.
 *
 * @param[in]  src  60 samples of weighted speech, and `src[-lag..-1]`
 * @param[in]  lag  15..145
 * @param[in]  gain Q15
 * @param[out] dst  60 samples; must not overlap what is read
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other lag
 */
ryxStatus ryxsHarmonicFilter_G723_16s(const int16_t *src, int lag, int16_t gain, int16_t *dst);

/**
 * @brief Impulse response of the combined filter: synthesis, formant weighting and harmonic noise shaping.
 *
 * @param[in]  lpc     10 quantised LP coefficients, Q13
 * @param[in]  weights 20 coefficients of ryxsWeightingCoefs_G723_16s()
 * @param[in]  lag     15..145
 * @param[in]  gain    of the harmonic noise shaping, Q15
 * @param[out] impulse 60 samples, Q13
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other lag
 */
ryxStatus ryxsImpulseResponse_G723_16s(const int16_t *lpc, const int16_t *weights, int lag, int16_t gain,
                                       int16_t *impulse);

/**
 * @brief Takes out of the weighted speech what the combined filter rings with from the subframes before.
 *
 * @param[in,out] srcDst  60 samples of harmonically weighted speech; become the target of the pitch predictor
 * @param[in]     lpc     10 quantised LP coefficients, Q13
 * @param[in]     weights 20 coefficients of ryxsWeightingCoefs_G723_16s()
 * @param[in]     lag     15..145
 * @param[in]     gain    of the harmonic noise shaping, Q15
 * @param[in]     memory  20 words of ryxsWeightedSynthesisFilter_G723_16s()
 * @param[in]     history the 145 last outputs of that function, the oldest first
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other lag
 */
ryxStatus ryxsTarget_G723_16s_I(int16_t *srcDst, const int16_t *lpc, const int16_t *weights, int lag, int16_t gain,
                                const int16_t *memory, const int16_t *history);

/**
 * @brief Runs synthesis and formant weighting over the excitation of a subframe.
 *
 * @param[in]     src     60 samples of excitation
 * @param[in]     lpc     10 quantised LP coefficients, Q13
 * @param[in]     weights 20 coefficients of ryxsWeightingCoefs_G723_16s()
 * @param[out]    dst     60 samples of weighted synthesis. May be `src`
 * @param[in,out] memory  10 outputs of the synthesis, then 10 of the weighting; zero at the start
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsWeightedSynthesisFilter_G723_16s(const int16_t *src, const int16_t *lpc, const int16_t *weights,
                                               int16_t *dst, int16_t *memory);

/** @} */

/**
 * @defgroup g723pitch ITU-T G.723.1: pitch predictor
 * @brief Fifth-order pitch predictor with a codebook of gain vectors.
 *
 * There are 85 vectors at 6.3 kbit/s with lags below 58, and 170 otherwise.
 *
 * **Taming.** Five words in 32 bits follow how an error of transmission could have grown in five zones of the past
 * excitation; 4 each at the start. Where one is large the search is kept from vectors that would let it grow further.
 * @{
 */

/**
 * @brief Closed-loop search of lag and gains.
 *
 * @param[in]     target     60 samples, from ryxsTarget_G723_16s_I()
 * @param[in]     impulse    60 samples, from ryxsImpulseResponse_G723_16s()
 * @param[in]     excitation where the subframe begins; `excitation[-145..-1]` are read
 * @param[in]     errors     5 words, see above
 * @param[in]     sine       not 0: the input is a sine wave, only the tamest vectors are allowed
 * @param[in]     subframe   0..3
 * @param[in]     rate       #ryxG723Rate63 or #ryxG723Rate53
 * @param[in,out] lag        even subframes: open-loop lag, 18..142, becomes that of the half frame; odd ones: the latter,
 *                           18..141, which stays
 * @param[out]    offset     1 in even subframes, 0..3 in odd ones
 * @param[out]    gainIndex  0..84 or 0..169
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a subframe, rate or lag outside its range
 */
ryxStatus ryxsAdaptiveCodebookSearch_G723_16s(const int16_t *target, const int16_t *impulse, const int16_t *excitation,
                                              const int32_t *errors, int sine, int subframe, int rate, int16_t *lag,
                                              int16_t *offset, int16_t *gainIndex);

/**
 * @brief Output of the pitch predictor.
 *
 * @param[in]  excitation where the subframe begins; `excitation[-145..-1]` are read
 * @param[in]  lag        of the half frame, 18..143
 * @param[in]  offset     0..3; `lag` - 1 + `offset` at most 143
 * @param[in]  gainIndex  0..84 or 0..169
 * @param[in]  rate       #ryxG723Rate63 or #ryxG723Rate53
 * @param[out] vector     60 samples. May be `excitation`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate; #ryxStsBadIndex for a lag, offset or index
 *         outside its range
 */
ryxStatus ryxsDecodeAdaptiveVector_G723_16s(const int16_t *excitation, int lag, int offset, int gainIndex, int rate,
                                            int16_t *vector);

/**
 * @brief Takes the contribution of the pitch predictor out of the target.
 *
 * @param[in,out] srcDst   60 samples: target of the pitch predictor; becomes that of the fixed codebook
 * @param[in]     adaptive 60 samples, from ryxsDecodeAdaptiveVector_G723_16s()
 * @param[in]     impulse  60 samples, from ryxsImpulseResponse_G723_16s()
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFixedCodebookTarget_G723_16s_I(int16_t *srcDst, const int16_t *adaptive, const int16_t *impulse);

/**
 * @brief Excitation of a subframe: twice the code vector and the output of the pitch predictor, saturated.
 *
 * @param[in]  code       60 samples
 * @param[in]  adaptive   60 samples
 * @param[out] excitation 60 samples. May be either of them
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsExcitation_G723_16s(const int16_t *code, const int16_t *adaptive, int16_t *excitation);

/**
 * @brief Follows the growth of errors over a subframe, speech or comfort noise.
 *
 * @param[in,out] errors    5 words, see above
 * @param[in]     lag       of the half frame, 18..143
 * @param[in]     offset    0..3; `lag` - 1 + `offset` at most 143
 * @param[in]     gainIndex 0..84 or 0..169
 * @param[in]     rate      #ryxG723Rate63 or #ryxG723Rate53
 * @return as ryxsDecodeAdaptiveVector_G723_16s()
 */
ryxStatus ryxsTaming_G723_32s_I(int32_t *errors, int lag, int offset, int gainIndex, int rate);

/** @} */

/**
 * @defgroup g723codebook ITU-T G.723.1: fixed codebooks
 * @brief Multipulse code of 6.3 kbit/s and algebraic code of 5.3 kbit/s.
 *
 * The gain has 24 levels, index 0..23. `grid` 1 puts all pulses on odd samples.
 *
 * **Multipulse code.** Six pulses (subframes 0 and 2) or five (1 and 3) of one magnitude on 30 positions. `positions` is
 * the number of their combination; `signs` has a bit for each, 1 for negative, the first pulse in the highest. With
 * `train` 1 the vector repeats with the period of the half frame's lag, which only occurs for lags below 58.
 *
 * **Algebraic code.** Four pulses; pulse k stands at 8 p + 2 k + `grid`, p being the bits 3k .. 3k + 2 of `positions`, and
 * is left out from 60 on. Bit k of `signs` is 1 for a positive pulse. A recursive part with lag and gain of the pitch
 * predictor's vector follows.
 * @{
 */

/**
 * @brief Searches the multipulse code (MP-MLQ).
 *
 * @param[in]  target    60 samples, from ryxsFixedCodebookTarget_G723_16s_I()
 * @param[in]  impulse   60 samples, from ryxsImpulseResponse_G723_16s()
 * @param[in]  lag       of the half frame, 18..143
 * @param[in]  subframe  0..3
 * @param[out] vector    60 samples, with the pulse train where there is one
 * @param[out] positions number of the combination
 * @param[out] signs     5 or 6 bits
 * @param[out] gainIndex 0..23
 * @param[out] grid      0 or 1
 * @param[out] train     0 or 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag or subframe outside its range
 */
ryxStatus ryxsMPMLQFixedCodebookSearch_G723(const int16_t *target, const int16_t *impulse, int lag, int subframe,
                                            int16_t *vector, int32_t *positions, int16_t *signs, int16_t *gainIndex,
                                            int16_t *grid, int16_t *train);

/**
 * @brief Decodes the multipulse code.
 *
 * @param[in]  positions at least 0; from 593775 (six pulses) or 142506 (five) on the vector is zero
 * @param[in]  signs     the low 6 or 5 bits count
 * @param[in]  gainIndex 0..23
 * @param[in]  grid      0 or 1
 * @param[in]  train     0 or 1
 * @param[in]  lag       of the half frame, 18..143
 * @param[in]  subframe  0..3
 * @param[out] vector    60 samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another subframe; #ryxStsBadIndex for any other argument
 *         outside its range
 */
ryxStatus ryxsMPMLQFixedCodebookDecode_G723_16s(int32_t positions, int signs, int gainIndex, int grid, int train,
                                                int lag, int subframe, int16_t *vector);

/**
 * @brief Searches the algebraic code (ACELP).
 *
 * @param[in]     target         60 samples, from ryxsFixedCodebookTarget_G723_16s_I()
 * @param[in]     impulse        60 samples, from ryxsImpulseResponse_G723_16s()
 * @param[in]     lag            of the subframe, lag - 1 + offset, 17..143
 * @param[in]     pitchGainIndex 0..169
 * @param[in,out] budget         searches of the last track beyond the 120 of a subframe; 120 at the start of a frame,
 *                               then what the subframe before left
 * @param[out]    vector         60 samples
 * @param[out]    positions      12 bits
 * @param[out]    signs          4 bits
 * @param[out]    gainIndex      0..23
 * @param[out]    grid           0 or 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag or index outside its range, or a budget outside
 *         0..100000
 */
ryxStatus ryxsACELPFixedCodebookSearch_G723_16s(const int16_t *target, const int16_t *impulse, int lag,
                                                int pitchGainIndex, int *budget, int16_t *vector, int16_t *positions,
                                                int16_t *signs, int16_t *gainIndex, int16_t *grid);

/**
 * @brief Decodes the algebraic code.
 *
 * @param[in]  positions      the low 12 bits count
 * @param[in]  signs          the low 4 bits count
 * @param[in]  gainIndex      0..23
 * @param[in]  grid           0 or 1
 * @param[in]  lag            of the subframe, lag - 1 + offset, 17..143
 * @param[in]  pitchGainIndex 0..169
 * @param[out] vector         60 samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for an argument outside its range
 */
ryxStatus ryxsACELPFixedCodebookDecode_G723_16s(int positions, int signs, int gainIndex, int grid, int lag,
                                                int pitchGainIndex, int16_t *vector);

/** @} */

/**
 * @defgroup g723dtx ITU-T G.723.1 Annex A: voice activity, silence descriptors and comfort noise
 * @brief Discontinuous transmission.
 *
 * An encoder calls ryxsVAD_G723_16s() and ryxsEncDTXBuffer_G723_16s() in every frame, then ryxsEncDTXHandler_G723_16s(),
 * which says what the frame becomes. A silence descriptor is made by ryxsEncDTXSID_G723_16s(), the noise of every frame
 * without speech by ryxsComfortNoiseExcitation_G723_16s(), alike in encoder and decoder.
 * @{
 */

/** State of the voice activity detector. */
typedef struct VADState_G723 VADState_G723;

/** State of the encoder's discontinuous transmission. */
typedef struct EncDTXState_G723 EncDTXState_G723;

/**
 * @brief Size of the state of the voice activity detector.
 * @param[out] size octets; the block may lie at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADGetStateSize_G723_16s(int *size);

/**
 * @brief Brings the voice activity detector into its initial state.
 * @param[out] state as many octets as ryxsVADGetStateSize_G723_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADInit_G723_16s(VADState_G723 *state);

/**
 * @brief Voice activity of a frame.
 *
 * @param[in]     src          240 samples of high-passed input
 * @param[in]     openLoopLags both lags of the frame before; 60 before the first one
 * @param[in]     sine         of ryxsSineDetect_G723_16s() for this frame
 * @param[in,out] state        of the detector
 * @param[out]    vad          1: speech, 0: noise
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVAD_G723_16s(const int16_t *src, const int16_t *openLoopLags, int sine, VADState_G723 *state, int *vad);

/**
 * @brief Gives the voice activity detector the filter of the noise; it takes it unless the input is voiced.
 *
 * @param[in]     lpc   10 LP coefficients, Q13: `pastLpc` of ryxsEncDTXSID_G723_16s()
 * @param[in,out] state of the detector
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsVADNoiseUpdate_G723_16s(const int16_t *lpc, VADState_G723 *state);

/**
 * @brief Size of the state of the encoder's discontinuous transmission.
 * @param[out] size octets; the block may lie at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXGetStateSize_G723_16s(int *size);

/**
 * @brief Brings the encoder's discontinuous transmission into its initial state.
 * @param[out] state as many octets as ryxsEncDTXGetStateSize_G723_16s() says
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXInit_G723_16s(EncDTXState_G723 *state);

/**
 * @brief Takes the autocorrelations of a frame, whatever it becomes.
 *
 * @param[in]     autoCorrs 4 times 11 values, of ryxsAutoCorr_NormE_G723_16s()
 * @param[in]     shifts    4 scales, -64..64
 * @param[in,out] state     of the transmission
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a scale outside its range
 */
ryxStatus ryxsEncDTXBuffer_G723_16s(const int16_t *autoCorrs, const int *shifts, EncDTXState_G723 *state);

/**
 * @brief What a frame becomes.
 *
 * @param[in]     vad       0: noise, any other value: speech
 * @param[in,out] state     of the transmission
 * @param[out]    frameType #ryxG723FrameSpeech; without speech #ryxG723FrameSID in the first frame and where spectrum or
 *                          level have changed, else #ryxG723FrameNothing
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXHandler_G723_16s(int vad, EncDTXState_G723 *state, int *frameType);

/**
 * @brief Contents of a silence descriptor, where ryxsEncDTXHandler_G723_16s() asked for one.
 *
 * @param[in]     previousLsf 10 quantised LSFs of the previous frame
 * @param[in,out] state       of the transmission
 * @param[out]    pastLpc     10 LP coefficients, Q13, of the three frames before
 * @param[out]    index       LSFs, as of ryxsLSFQuant_G723_16s32s()
 * @param[out]    gainIndex   0..63
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXSID_G723_16s(const int16_t *previousLsf, EncDTXState_G723 *state, int16_t *pastLpc, int32_t *index,
                                 int *gainIndex);

/**
 * @brief Decodes the gain of a silence descriptor.
 *
 * @param[in]  index 0..63
 * @param[out] gain  0..11008
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for any other index
 */
ryxStatus ryxsSIDGainDecode_G723_16s(int index, int16_t *gain);

/**
 * @brief The gain of a silence descriptor that was lost, from the last speech frame.
 *
 * @param[in]  energy of ryxsConcealmentUpdate_G723_16s()
 * @param[in]  scale  of that call's excitation, -16..16: by how many bits ryxsAutoScale_16s() scaled it up
 * @param[out] gain   as of ryxsSIDGainDecode_G723_16s()
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other scale
 */
ryxStatus ryxsSIDGainEstimate_G723_16s(int16_t energy, int scale, int16_t *gain);

/**
 * @brief Gain of the comfort noise of a frame: that of the descriptor after speech, then a slow approach to it.
 *
 * @param[in]     sidGain     of ryxsSIDGainDecode_G723_16s() or ryxsSIDGainEstimate_G723_16s()
 * @param[in]     afterSpeech not 0: the frame before was speech
 * @param[in,out] gain        of the frame before; becomes that of this one
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsComfortNoiseGain_G723_16s_I(int16_t sidGain, int afterSpeech, int16_t *gain);

/**
 * @brief Excitation of a frame of comfort noise.
 *
 * @param[in]     gain        of ryxsComfortNoiseGain_G723_16s_I()
 * @param[in,out] seed        of the random numbers; 12345 after speech
 * @param[in,out] excitation  240 samples; `excitation[-145..-1]` are read
 * @param[out]    lags        2 lags, 123..143
 * @param[out]    offsets     4 offsets
 * @param[out]    gainIndices 4 indices of the 170 gain vectors
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsComfortNoiseExcitation_G723_16s(int16_t gain, int16_t *seed, int16_t *excitation, int16_t *lags,
                                              int16_t *offsets, int16_t *gainIndices);

/** @} */

/**
 * @defgroup g723decoder ITU-T G.723.1: synthesis, post-filters and concealment
 * @brief From the excitation to the output.
 * @{
 */

/**
 * @brief LP synthesis of a subframe.
 *
 * @param[in]     src    60 samples of excitation
 * @param[in]     lpc    10 LP coefficients, Q13
 * @param[out]    dst    60 samples. May be `src`
 * @param[in,out] memory the last 10 outputs, the oldest first; zero at the start
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFilter_G723_16s(const int16_t *src, const int16_t *lpc, int16_t *dst, int16_t *memory);

/**
 * @brief LP synthesis of a subframe with the filter's full sums as output.
 *
 * The recursion itself goes on with the rounded samples, as that of ryxsSynthesisFilter_G723_16s().
 *
 * @param[in]     src    60 samples of excitation
 * @param[in]     lpc    10 LP coefficients, Q13
 * @param[out]    dst    60 sums: the samples times 2^14, before rounding and saturation to 16 bits
 * @param[in,out] memory the last 10 samples, the oldest first; zero at the start
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFilter_G723_16s32s(const int16_t *src, const int16_t *lpc, int32_t *dst, int16_t *memory);

/**
 * @brief Pitch post-filter of a subframe, in the excitation's domain.
 *
 * @param[in]  src        where the subframe begins in the frame's excitation; `src[-145..-1]` and the rest of the frame are
 *                        read
 * @param[in]  normalised the same, scaled to a headroom of 3 bits (ryxsAutoScale_16s() over 145 + 240 samples)
 * @param[in]  lag        of the half frame, 18..142
 * @param[in]  subframe   0..3
 * @param[in]  rate       #ryxG723Rate63 or #ryxG723Rate53
 * @param[out] dst        60 samples; must not overlap what is read
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag, subframe or rate outside its range
 */
ryxStatus ryxsLongTermPostFilter_G723_16s(const int16_t *src, const int16_t *normalised, int lag, int subframe,
                                          int rate, int16_t *dst);

/**
 * @brief Formant post-filter of a subframe with compensation of its tilt.
 *
 * @param[in]     src    60 samples of synthesis
 * @param[in]     lpc    10 LP coefficients, Q13
 * @param[out]    dst    60 samples. May be `src`
 * @param[out]    energy of `src`, for ryxsGainControl_G723_16s_I()
 * @param[in,out] memory 21 words: the last 10 inputs and the last 10 outputs before the tilt, the oldest first, and the
 *                       smoothed reflection coefficient; zero at the start
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsShortTermPostFilter_G723_16s(const int16_t *src, const int16_t *lpc, int16_t *dst, int32_t *energy,
                                           int16_t *memory);

/**
 * @brief Gives the post-filtered subframe the level that it had; doubles the scale to that of the output.
 *
 * @param[in,out] srcDst 60 samples
 * @param[in]     energy of ryxsShortTermPostFilter_G723_16s(), at least 0
 * @param[in,out] gain   Q12, follows sample by sample; 4096 at the start
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a negative energy
 */
ryxStatus ryxsGainControl_G723_16s_I(int16_t *srcDst, int32_t energy, int16_t *gain);

/**
 * @brief Prepares for an erasure after a good frame: whether it ends voiced, its period, and the level of its code.
 *
 * @param[in]  src         the frame's excitation with the 145 samples before it, `src[-145..239]`, scaled to a headroom of
 *                         3 bits (ryxsAutoScale_16s())
 * @param[in]  lag         of the second half frame, 18..143
 * @param[in]  gainIndices of the fixed codebook in subframes 2 and 3
 * @param[out] period      15..144 for a voiced frame, else 0
 * @param[out] energy      of the second half frame, in the scale of `src`
 * @param[out] gain        of random excitation
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other lag; #ryxStsBadIndex for an index outside 0..23
 */
ryxStatus ryxsConcealmentUpdate_G723_16s(const int16_t *src, int lag, const int16_t *gainIndices, int16_t *period,
                                         int16_t *energy, int16_t *gain);

/**
 * @brief Excitation of an erased frame: the last period again and weaker, or noise.
 *
 * @param[in]     period     of ryxsConcealmentUpdate_G723_16s(): 0, or 15..145
 * @param[in,out] gain       of noise; three quarters of it remain
 * @param[in,out] seed       of the noise; 0 at the start
 * @param[out]    excitation 240 samples
 * @param[in,out] history    the 145 samples before; become those before the next frame, zero after noise
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other period
 */
ryxStatus ryxsConcealExcitation_G723_16s(int period, int16_t *gain, int16_t *seed, int16_t *excitation,
                                         int16_t *history);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
