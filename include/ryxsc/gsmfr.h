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
 * @brief Every stage of the encoder and decoder of ETSI GSM 06.10, with the voice activity detector of GSM 06.32 and the
 *        discontinuous transmission of GSM 06.31, 06.12 and 06.11.
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
 * @brief Short-term analysis of a frame whose coefficients change inside it, in place (GSM 06.10, clause 4.2.10).
 *
 * The same as four calls of ryxsShortTermAnalysisFilter_GSMFR_16s_I() with 13, 14, 13 and 120 samples, but faster.
 *
 * @param[in]     reflections 4 times 8 coefficients, Q15, -32767..32767
 * @param[in,out] srcDst      160 samples on entry, the residual on return
 * @param[in,out] state       8 words u[0..7]
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsShortTermAnalysisFrame_GSMFR_16s_I(const int16_t *reflections, int16_t *srcDst, int16_t *state);

/**
 * @brief The decoder's filters for a frame: short-term synthesis with coefficients that change inside it, de-emphasis,
 *        upscaling and truncation (GSM 06.10, clauses 4.3.4 to 4.3.7).
 *
 * The same as four calls of ryxsShortTermSynthesisFilter_GSMFR_16s() with 13, 14, 13 and 120 samples and one of
 * ryxsDeemphasize_GSMFR_16s_I() with all of them, but faster.
 *
 * @param[in]     reflections 4 times 8 coefficients, Q15, -32767..32767
 * @param[in]     src         160 samples of the residual
 * @param[out]    dst         160 samples, multiples of 8. May be `src`
 * @param[in,out] lattice     8 words v[0..7]
 * @param[in,out] deemphasis  the last sample in front of the upscaling
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFrame_GSMFR_16s(const int16_t *reflections, const int16_t *src, int16_t *dst, int16_t *lattice,
                                       int16_t *deemphasis);

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

/**
 * @brief Autocorrelation of a block that is scaled so that the sums fit, in place (GSM 06.10, clause 4.2.4).
 *
 * With m the largest magnitude, |-32768| taken as 32767, the scale is 4 less the number of left shifts that bring
 * m * 65536 into 2^30..2^31-1. A positive scale s rounds the samples to x = (x + 2^(s-1)) >> s for the sums
 * acf[k] = 2 * sum of x[i] * x[i-k], k = 0..`order`, i = k..`len`-1, which are exact. Afterwards these coarser samples are
 * shifted back by s to the left, and it is they that the short-term filter gets. The shift drops what leaves 16 bits:
 * 32760..32767 become -32768 with a scale of 4.
 *
 * @param[in,out] srcDst `len` samples, full 16-bit range; unchanged for a scale of 0 and below
 * @param[in]     len    number of samples, 1..255 (160 in the codec)
 * @param[in]     order  largest lag, 1..8; lags from `len` on have sums of 0
 * @param[out]    acf    `order` + 1 sums
 * @param[out]    scale  -10..4; 0 for a block of zeros too
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for a length or an order outside its range
 */
ryxStatus ryxsAutoCorr_GSMFR_16s32s_I(int16_t *srcDst, int len, int order, int32_t *acf, int16_t *scale);

/**
 * @brief Reflection coefficients to log-area ratios, by three straight lines (GSM 06.10, clause 4.2.6).
 *
 * With a = |r|, |-32768| taken as 32767: a / 2 below 22118, a - 11059 below 31130, 4 * (a - 26112) from there on; the sign
 * is that of r.
 *
 * @param[in]  reflection `len` reflection coefficients, Q15
 * @param[out] lar        `len` log-area ratios, Q14, -26620..26620. May be `reflection`
 * @param[in]  len        number of coefficients, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsReflectionToLAR_GSMFR_16s(const int16_t *reflection, int16_t *lar, int len);

/**
 * @brief Log-area ratios to reflection coefficients (GSM 06.10, clause 4.2.9.2).
 *
 * With a = |l|, |-32768| taken as 32767: 2 * a below 11059, a + 11059 below 20070, a / 4 + 26112, saturated, from there on;
 * the sign is that of l.
 *
 * @param[in]  lar        `len` log-area ratios, Q14, full 16-bit range
 * @param[out] reflection `len` reflection coefficients, Q15, -32767..32767. May be `lar`
 * @param[in]  len        number of coefficients, at least 1
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsLARToReflection_GSMFR_16s(const int16_t *lar, int16_t *reflection, int len);

/**
 * @brief Quantises the eight log-area ratios of a frame (GSM 06.10, clause 4.2.7).
 * @param[in]  lar   8 log-area ratios, Q14, full 16-bit range
 * @param[out] codes 8 codes: 0..63 twice, 0..31 twice, 0..15 twice, 0..7 twice. May be `lar`
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLARQuant_GSMFR_16s(const int16_t *lar, int16_t *codes);

/**
 * @brief Decodes the eight log-area ratios of a frame (GSM 06.10, clause 4.2.8).
 * @param[in]  codes 8 codes as ryxsLARQuant_GSMFR_16s() gives them
 * @param[out] lar   8 log-area ratios, Q14. May be `codes`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for a code outside its range
 */
ryxStatus ryxsLARDecode_GSMFR_16s(const int16_t *codes, int16_t *lar);

/**
 * @brief Log-area ratios of the four segments of a frame, between those of the previous frame and its own (GSM 06.10,
 *        clause 4.2.9.1).
 *
 * The segments have 13, 14, 13 and 120 samples. With p the previous and c the current ratio: (p >> 2) + (c >> 2) + (p >> 1);
 * (p >> 1) + (c >> 1); (p >> 2) + (c >> 2) + (c >> 1); c. Sums saturate.
 *
 * @param[in]  previous 8 decoded log-area ratios of the previous frame, zeros for the first one
 * @param[in]  current  8 decoded log-area ratios of this frame
 * @param[out] dst      4 times 8 log-area ratios; distinct from the inputs
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLARInterpolate_GSMFR_16s(const int16_t *previous, const int16_t *current, int16_t *dst);

/**
 * @brief Searches lag and gain of the long-term predictor for a sub-segment of 40 samples (GSM 06.10, clause 4.2.11).
 *
 * The samples are shifted right so that their largest magnitude is at most 512, for the correlation with the history at
 * the lags 40..120. The largest positive correlation wins, the smallest lag among equal ones; none gives lag 40 and gain
 * code 0. The gain is quantised by comparing the correlation with the power of the history at that lag.
 *
 * @param[in]  src      40 samples of the short-term residual, full 16-bit range
 * @param[in]  history  end of the reconstructed short-term residual: the 120 samples in front of it are read
 * @param[out] lag      40..120
 * @param[out] gainCode 0..3 for the gains 0.10, 0.35, 0.65 and 1.00
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLTPSearch_GSMFR_16s(const int16_t *src, const int16_t *history, int16_t *lag, int16_t *gainCode);

/**
 * @brief Long-term analysis: what the long-term predictor leaves of a sub-segment (GSM 06.10, clause 4.2.12).
 *
 * dst[k] = src[k] - mult_r(gain, history[k - lag]), k = 0..39.
 *
 * @param[in]  src      40 samples of the short-term residual
 * @param[in]  history  end of the reconstructed short-term residual; the 40 samples from `history - lag` on are read
 * @param[in]  lag      40..120
 * @param[in]  gainCode 0..3
 * @param[out] dst      40 samples of the long-term residual. May be `src`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag, #ryxStsBadIndex for a gain code outside its range
 */
ryxStatus ryxsLongTermAnalysisFilter_GSMFR_16s(const int16_t *src, const int16_t *history, int16_t lag,
                                               int16_t gainCode, int16_t *dst);

/**
 * @brief Long-term synthesis: adds the prediction to a sub-segment in its place behind its history (GSM 06.10, clauses
 *        4.2.18 and 4.3.2).
 *
 * srcDst[k] += mult_r(gain, srcDst[k - lag]), k = 0..39. Encoder and decoder both use it. A decoder that receives a lag
 * outside the range repeats the lag of the sub-segment before, 40 at the start.
 *
 * @param[in,out] srcDst   40 samples of the long-term residual on entry, of the reconstructed short-term residual on
 *                         return; the `lag` reconstructed samples in front of it are read
 * @param[in]     lag      40..120
 * @param[in]     gainCode 0..3
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag, #ryxStsBadIndex for a gain code outside its range
 */
ryxStatus ryxsLongTermSynthesisFilter_GSMFR_16s_I(int16_t *srcDst, int16_t lag, int16_t gainCode);

/**
 * @brief Selects the RPE grid: of four sub-sequences of a weighted sub-segment, the one with the most energy (GSM 06.10,
 *        clause 4.2.14).
 *
 * Sub-sequence m holds the samples m + 3 * i, i = 0..12. Energies are those of samples shifted right by 2; the smallest m
 * wins among equal ones.
 *
 * @param[in]  src    40 weighted samples, full 16-bit range
 * @param[out] pulses the 13 samples of the selected sub-sequence
 * @param[out] grid   its number, 0..3
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsRPEGridSelect_GSMFR_16s(const int16_t *src, int16_t *pulses, int16_t *grid);

/**
 * @brief APCM quantisation of 13 RPE pulses: code of the block maximum, and each pulse in 3 bits relative to that (GSM
 *        06.10, clause 4.2.15).
 *
 * @param[in]  pulses    13 pulses, full 16-bit range
 * @param[out] codes     13 pulse codes 0..7. May be `pulses`
 * @param[out] maximum   the largest magnitude, |-32768| taken as 32767; discontinuous transmission averages it
 * @param[out] scaleCode code of the block maximum, 0..63
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsRPEQuant_GSMFR_16s(const int16_t *pulses, int16_t *codes, int16_t *maximum, int16_t *scaleCode);

/**
 * @brief Decodes the code of a block maximum into what ryxsRPEQuantDecode_GSMFR_16s() needs (GSM 06.10, clauses 4.2.15 and
 *        4.2.16, table 4.6).
 * @param[in]  scaleCode  0..63
 * @param[out] multiplier factor of the mantissa, Q15: 18431, 20479, ..., 32767
 * @param[out] shift      6 minus the exponent, 0..10
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for a code outside its range
 */
ryxStatus ryxsRPEScaleDecode_GSMFR_16s(int16_t scaleCode, int16_t *multiplier, int16_t *shift);

/**
 * @brief Puts 13 pulses on their grid: dst[grid + 3 * i] = pulses[i], zeros elsewhere (GSM 06.10, clause 4.2.17).
 * @param[in]  pulses 13 pulses
 * @param[in]  grid   0..3
 * @param[out] dst    40 samples; distinct from `pulses`
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex for a grid outside its range
 */
ryxStatus ryxsRPEGridPosition_GSMFR_16s(const int16_t *pulses, int16_t grid, int16_t *dst);

/** @} */

/**
 * @defgroup gsmfrdtx GSM full rate: discontinuous transmission
 * @brief Voice activity detector (GSM 06.32), silence descriptors of the transmitter (GSM 06.31, 06.12), comfort noise,
 *        substitution and muting of the receiver (GSM 06.31, 06.12, 06.11).
 *
 * The parameters of a frame are 76 words in the order of GSM 06.10, table 1.1: eight codes of log-area ratios, then for
 * each of four sub-segments lag, gain code, grid, code of the block maximum, and 13 pulse codes.
 * @{
 */

/** State of the voice activity detector: an opaque block of 300 bytes at any address. */
typedef struct VADState_GSMFR VADState_GSMFR;

/**
 * @brief Reports the size of the voice activity detector's state block.
 * @param[out] size 300 bytes
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsVADGetSize_GSMFR_16s(int *size);

/**
 * @brief Brings a voice activity detector into its initial state.
 * @param[out] state state block
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsVADInit_GSMFR_16s(VADState_GSMFR *state);

/**
 * @brief Decides whether a frame holds speech (GSM 06.32, clause 3), from what the encoder computed for it.
 *
 * The frame's energy behind an adaptive inverse filter is compared with an adaptive threshold; both adapt while the
 * spectrum is stationary and neither pitch nor tone is found. A hangover bridges short pauses.
 *
 * @param[in]     acf   9 sums from ryxsAutoCorr_GSMFR_16s32s_I(), the first one not negative and none of larger magnitude
 * @param[in]     scale the scale that goes with them, -10..4
 * @param[in]     lags  the frame's 4 lags of the long-term predictor
 * @param[in]     tone  result of ryxsToneDetect_GSMFR_16s() for the previous frame; 0 in a handset's detector (uplink)
 * @param[out]    vad   1: speech, 0: no speech
 * @param[in,out] state state block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a negative energy, a scale outside its range or a flag other than
 *         0 and 1
 */
ryxStatus ryxsVAD_GSMFR_16s(const int32_t *acf, int16_t scale, const int16_t *lags, int16_t tone, int16_t *vad,
                            VADState_GSMFR *state);

/**
 * @brief Finds information tones, for the detector of the network's side (downlink; GSM 06.32, clause 3.10).
 * @param[in]  src  160 samples from ryxsHighPassFilter_GSMFR_16s()
 * @param[out] tone 1: the prediction gain of order 4 is that of a tone and its frequency above 385 Hz, 0 otherwise
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsToneDetect_GSMFR_16s(const int16_t *src, int16_t *tone);

/** What ryxsEncDTXHandler_GSMFR_16s() lets the encoder send. */
enum {
    ryxGSMFRSendSpeech = 0,  /**< the frame itself, SP = 1 */
    ryxGSMFRSendNewSID = 1,  /**< a new silence descriptor, SP = 0 */
    ryxGSMFRSendLastSID = 2, /**< the last silence descriptor again, SP = 0 */
};

/**
 * @brief Decides after the hangover of four frames what is sent for a frame (GSM 06.31, clause 5.1.1).
 *
 * In a pause that begins less than 24 frames after the last silence descriptor was computed, that one takes the place of
 * the hangover.
 *
 * @param[in]     vad    decision of the voice activity detector, 0 or 1
 * @param[out]    action #ryxGSMFRSendSpeech, #ryxGSMFRSendNewSID or #ryxGSMFRSendLastSID
 * @param[in,out] state  3 words, 0, 24 and 0 at the start: frames since speech ended, frames since a silence descriptor was
 *                       computed, and whether the last one serves in this pause; counts stop at 32767
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a flag other than 0 and 1
 */
ryxStatus ryxsEncDTXHandler_GSMFR_16s(int16_t vad, int16_t *action, int16_t *state);

/**
 * @brief Computes a silence descriptor from the last four frames without speech (GSM 06.12, clause 5).
 *
 * Log-area ratios and block maxima are averaged, rounded to nearest, ties upwards, and quantised as
 * ryxsLARQuant_GSMFR_16s() and ryxsRPEQuant_GSMFR_16s() do it. All other parameters of the frame are 0.
 *
 * @param[in]  lars      4 times 8 log-area ratios before quantisation, the frames in any order
 * @param[in]  maxima    4 times 4 block maxima from ryxsRPEQuant_GSMFR_16s(), 0..32767
 * @param[out] larCodes  8 codes
 * @param[out] scaleCode code of the block maximum, the same for the four sub-segments
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsEncDTXSID_GSMFR_16s(const int16_t *lars, const int16_t *maxima, int16_t *larCodes, int16_t *scaleCode);

/**
 * @brief Tells silence descriptors from speech frames by the 95 bits that are 0 in a descriptor (GSM 06.31, clause 6.1.1).
 * @param[in]  parameters 76 parameters of a frame
 * @param[out] sid        2: fewer than 2 of the bits are 1, 1: fewer than 16, 0: speech
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsSIDDetect_GSMFR_16s(const int16_t *parameters, int16_t *sid);

/** State of the receive handler: an opaque block of 188 bytes at any address. */
typedef struct DecDTXState_GSMFR DecDTXState_GSMFR;

/** What the receiver knows of a frame. */
enum {
    ryxGSMFRFrameGood = 0,   /**< usable */
    ryxGSMFRFrameBad = 1,    /**< its bits are there, but the channel decoder says that they are wrong */
    ryxGSMFRFrameAbsent = 2, /**< there are no bits */
};

/**
 * @brief Reports the size of the receive handler's state block.
 * @param[out] size 188 bytes
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXHandlerGetSize_GSMFR_16s(int *size);

/**
 * @brief Brings a receive handler into its initial state.
 * @param[out] state state block
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXHandlerInit_GSMFR_16s(DecDTXState_GSMFR *state);

/**
 * @brief Receive handler: the frame that a decoder is to decode in place of the one that was received, or not (GSM 06.31,
 *        clause 6.1.2; GSM 06.12, clause 6.1; GSM 06.11).
 *
 * Speech passes unchanged. Silence descriptors and the gaps behind them become comfort noise. The first lost speech frame is
 * replaced by the one before it, further ones by the same with random grids and block maxima that fall by four steps a
 * frame, at last by silence. When a descriptor is due but lost, the last one stays in use; from the second one on comfort
 * noise is lowered in the same way.
 *
 * The recommendation leaves the random numbers open. Here they are bits of the shift register with x^31 + x^3 + 1 that
 * the later GSM codecs use, 0x70816958 at the start: for each sub-segment the grid in 2 bits, then 13 pulse codes in 3 bits
 * each, drawn again until they lie in 1..6.
 *
 * @param[in]     parameters  76 parameters of the frame; may be null for an absent frame
 * @param[in]     quality     #ryxGSMFRFrameGood, #ryxGSMFRFrameBad or #ryxGSMFRFrameAbsent
 * @param[in]     timeAligned 1 at the places where a silence descriptor is due (TAF), else 0
 * @param[out]    dst         76 parameters for the decoder. May be `parameters`
 * @param[in,out] state       state block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another quality or a flag other than 0 and 1
 */
ryxStatus ryxsDecDTXHandler_GSMFR_16s(const int16_t *parameters, int16_t quality, int16_t timeAligned, int16_t *dst,
                                      DecDTXState_GSMFR *state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
