/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/gsmamr.h
 * @brief 3GPP GSM-AMR.
 */
#ifndef RYXSC_GSMAMR_H
#define RYXSC_GSMAMR_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

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

/** LSPs before the first frame, Q15. */
static const int16_t ryxGSMAMRStartLsp[10] = {30000, 26000, 21000, 15000, 8000, 0, -8000, -15000, -21000, -26000};

/** Means of the LSFs in the quantiser of 12.2 kbit/s, 16384 for half the sampling rate; decoders start from them. */
static const int16_t ryxGSMAMRMeanLsf[10] = {1384, 2077, 3420, 5108, 6742, 8122, 9863, 11092, 12714, 13701};

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
 * @brief The impulse responses of all subframes of a frame (3GPP TS 26.090, clause 5.4):
 *        ryxsImpulseResponseTarget_GSMAMR_16s() without its residual and target.
 * @param[in]  weightedLpc1 11 coefficients of A(z/g1) for each of four subframes, Q12
 * @param[in]  weightedLpc2 11 coefficients of A(z/g2) for each of four subframes, Q12
 * @param[in]  quantisedLpc 11 coefficients of A^(z) for each of four subframes, Q12
 * @param[out] impulses     40 samples of the impulse response for each of four subframes, Q12; apart from the inputs
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsImpulseResponses_GSMAMR_16s(const int16_t *weightedLpc1, const int16_t *weightedLpc2,
                                          const int16_t *quantisedLpc, int16_t *impulses);

/**
 * @brief LP residual and target of a subframe (3GPP TS 26.090, clause 5.5): ryxsImpulseResponseTarget_GSMAMR_16s()
 *        without its impulse response.
 * @param[in]  speech          the 40 samples of the subframe and the 10 before it: 50 samples, oldest first
 * @param[in]  weightedLpc1    11 coefficients of A(z/g1), Q12
 * @param[in]  weightedLpc2    11 coefficients of A(z/g2), Q12
 * @param[in]  quantisedLpc    11 coefficients of A^(z), Q12
 * @param[in]  synthesisMemory last 10 samples of the error signal before the subframe, oldest first
 * @param[in]  weightingMemory last 10 samples of the weighted error before the subframe, oldest first
 * @param[out] residual        40 samples of the LP residual
 * @param[out] target          40 samples of the target
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsTarget_GSMAMR_16s(const int16_t *speech, const int16_t *weightedLpc1, const int16_t *weightedLpc2,
                                const int16_t *quantisedLpc, const int16_t *synthesisMemory,
                                const int16_t *weightingMemory, int16_t *residual, int16_t *target);

/**
 * @brief Searches the algebraic codebook (3GPP TS 26.090, clause 5.7).
 *
 * For a lag below 40 the impulse response is sharpened first: h[n] += (s * h[n - pitchLag]) >> 15 for n =
 * `pitchLag`..39 in this order, with s = sat16(2 * pitchGain); after the search the code vector in the same way. The
 * sums wrap at 16 bits where the recommendation saturates (ryxsFixedCodebookSearch_GSMAMR_16s() does as the
 * recommendation). The filtered code vector is the code vector before its sharpening, through the sharpened impulse
 * response: without its own sharpening, it already has the pitch in it.
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
 * @brief Searches the algebraic codebook exactly as 3GPP TS 26.073 does, for an encoder.
 *
 * As ryxsAlgebraicCodebookSearch_GSMAMR_16s(), but for two things. The sharpening saturates. And at 5.90 kbit/s, where both
 * pulses may lie on one position, they do not add there: the second one stays. Words and filtered vector are the same.
 *
 * @param[in]     pitchLag  pitch lag, 17..144
 * @param[in]     pitchGain gain of the sharpening, Q14
 * @param[in]     target    40 samples of the target without the adaptive codebook's part
 * @param[in]     residual  40 samples of the LP residual without the adaptive codebook's part
 * @param[in,out] impulse   40 samples of the impulse response, Q12; sharpened on return
 * @param[out]    code      40 samples of the sharpened code vector
 * @param[out]    filtered  40 samples of the filtered code vector
 * @param[out]    codeword  2, 7 or 10 words
 * @param[in]     subframe  number of the subframe, 0..3
 * @param[in]     rate      one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a subframe number, lag or rate outside its range
 */
ryxStatus ryxsFixedCodebookSearch_GSMAMR_16s(int16_t pitchLag, int16_t pitchGain, const int16_t *target,
                                             const int16_t *residual, int16_t *impulse, int16_t *code,
                                             int16_t *filtered, int16_t *codeword, int subframe, int rate);

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

/**
 * @brief Decodes a codeword and sharpens the code vector exactly as 3GPP TS 26.073 does, for a decoder.
 *
 * As ryxsFixedCodebookDecode_GSMAMR_16s(), but at 5.90 kbit/s two pulses on one position do not add: the second one stays.
 * Then code[n] += sharpening * code[n - pitchLag] for n = `pitchLag`..39, saturating, as ryxsFixedCodebookSearch_GSMAMR_16s()
 * does.
 *
 * @param[in]  codeword   2, 7 or 10 words
 * @param[in]  pitchLag   pitch lag, 17..144
 * @param[in]  sharpening gain of the sharpening, Q14; from 16384 on as 32767 / 32768
 * @param[out] code       40 samples of the code vector
 * @param[in]  subframe   number of the subframe, 0..3
 * @param[in]  rate       one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a subframe number, lag or rate outside its range
 */
ryxStatus ryxsDecodeFixedVector_GSMAMR_16s(const int16_t *codeword, int16_t pitchLag, int16_t sharpening, int16_t *code,
                                           int subframe, int rate);

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
 * @defgroup gsmamrlp 3GPP GSM-AMR: LP analysis, LSPs and filters
 * @brief High-pass filters, LP analysis, line spectral pairs and frequencies, LP filters (3GPP TS 26.090, clauses 5.1 to
 *        5.3, 6.1 and 6.2.2).
 *
 * Frames have 160 samples at 8 kHz and four subframes of 40. LP coefficients are 11 values in Q12, the first one 4096;
 * line spectral pairs (LSPs) are ten falling cosines in Q15, line spectral frequencies (LSFs) ten rising values with 16384
 * for half the sampling frequency. All functions give the results of 3GPP TS 26.073 bit for bit. Between them an encoder
 * and a decoder call ryxsLagWindow_G729_32s_I() and ryxsLevinsonDurbin_G729_32s16s() of order 10,
 * ryxsLSPToLSF_Norm_G729_16s(), ryxsLSPToLPC_G729_16s() and ryxsMulPowerC_NR_16s_Sfs() with scale factor 15.
 * @{
 */

/** State of a high-pass filter, in a block of the size that ryxsHighPassFilterGetStateSize_GSMAMR_16s() reports. */
typedef struct HighPassFilterState_GSMAMR HighPassFilterState_GSMAMR;

/** The two high-pass filters. */
enum {
    ryxGSMAMRPreProcessing = 0, /**< of the encoder: 80 Hz, and the signal is halved */
    ryxGSMAMRPostProcessing = 1 /**< of the decoder: 60 Hz, and the signal is doubled */
};

/**
 * @brief Size of the state of a high-pass filter.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsHighPassFilterGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Clears the state of a high-pass filter.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsHighPassFilterInit_GSMAMR_16s(HighPassFilterState_GSMAMR *state);

/**
 * @brief Filters a signal with a second-order high pass, in place (3GPP TS 26.090, clauses 5.1 and 6.2.2).
 * @param[in,out] srcDst     `len` samples
 * @param[in]     len        at least 1
 * @param[in]     filterType #ryxGSMAMRPreProcessing or #ryxGSMAMRPostProcessing
 * @param[in,out] state      of this filter
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1; #ryxStsOutOfRange for another filter
 */
ryxStatus ryxsHighPassFilter_GSMAMR_16s_I(int16_t *srcDst, int len, int filterType, HighPassFilterState_GSMAMR *state);

/** Windows of the LP analysis. */
enum {
    ryxGSMAMRWindow = 0,          /**< of the rates up to 10.2 kbit/s */
    ryxGSMAMRWindow122Middle = 1, /**< first analysis at 12.2 kbit/s */
    ryxGSMAMRWindow122End = 2     /**< second analysis at 12.2 kbit/s */
};

/**
 * @brief Windows 240 samples and computes their normalised autocorrelation (3GPP TS 26.090, clause 5.2.1).
 * @param[in]  src    240 samples
 * @param[out] dst    autocorrelation at lags 0 to 10, 11 values, shifted so that the first one lies in 2^30..2^31-1; bit 0
 *                    is always 0
 * @param[in]  window #ryxGSMAMRWindow or one of its kin
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another window
 */
ryxStatus ryxsAutoCorr_GSMAMR_16s32s(const int16_t *src, int32_t *dst, int window);

/**
 * @brief Converts LP coefficients to LSPs (3GPP TS 26.090, clause 5.2.3).
 *
 * The search of ryxsLPCToLSP_G729_16s(), on polynomials that are always in Q10.
 *
 * @param[in]  lpc     11 LP coefficients in Q12; the first one is not read
 * @param[in]  prevLsp 10 previous LSPs, the result where fewer than ten roots are found
 * @param[out] lsp     10 LSPs in Q15. May be `prevLsp`
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLPCToLSP_GSMAMR_16s(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp);

/**
 * @brief Converts LSFs to LSPs (3GPP TS 26.090, clause 5.2.5).
 * @param[in]  lsf 10 LSFs; values below 0 count as 0, from 16384 on as 16383
 * @param[out] lsp 10 LSPs in Q15. May be `lsf`
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLSFToLSP_GSMAMR_16s(const int16_t *lsf, int16_t *lsp);

/**
 * @brief Raises LSFs, in place, so that each is at least 205 (50 Hz) above the one before it and the first above 0
 *        (3GPP TS 26.090, clause 5.2.5).
 * @param[in,out] srcDst 10 LSFs; saturated at 32767, there is no upper limit
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLSFReorder_GSMAMR_16s_I(int16_t *srcDst);

/**
 * @brief Computes the weights of the LSF quantisation error (3GPP TS 26.090, clause 5.2.5).
 * @param[in]  lsf     10 LSFs, rising
 * @param[out] weights 10 weights, Q14. May be `lsf`
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLSFWeights_GSMAMR_16s(const int16_t *lsf, int16_t *weights);

/**
 * @brief Quantises the LSPs of a frame (3GPP TS 26.090, clause 5.2.5).
 *
 * The residual of a prediction from the last frame is quantised in three parts, at 12.2 kbit/s that of two LSP vectors
 * together in five.
 *
 * @param[in]     lsp          10 LSPs; at 12.2 kbit/s 20, those in the middle of the frame and those at its end
 * @param[in,out] pastResidual 10 quantised residuals of the frame before, 0 at the start; those of this one
 * @param[out]    quantised    10 or 20 quantised LSPs. May be `lsp`
 * @param[out]    indices      3 or 5 indices
 * @param[in]     rate         one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsLSPQuant_GSMAMR_16s(const int16_t *lsp, int16_t *pastResidual, int16_t *quantised, int16_t *indices,
                                  int rate);

/**
 * @brief Decodes the LSPs of a frame, or conceals their loss (3GPP TS 26.090, clause 6.1; TS 26.091).
 *
 * The LSPs of a bad frame are those of the last one, drawn towards the mean.
 *
 * @param[in]     indices      3 indices, at 12.2 kbit/s 5; not read for a bad frame
 * @param[in,out] pastResidual 10 quantised residuals of the frame before, 0 at the start; those of this one
 * @param[in,out] pastLsf      10 LSFs of the frame before; those of this one
 * @param[out]    lsp          10 LSPs; at 12.2 kbit/s 20
 * @param[in]     badFrame     0 for a good frame
 * @param[in]     rate         one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate; #ryxStsBadIndex for an index outside its codebook
 */
ryxStatus ryxsLSFDecode_GSMAMR_16s(const int16_t *indices, int16_t *pastResidual, int16_t *pastLsf, int16_t *lsp,
                                   int badFrame, int rate);

/**
 * @brief Interpolates LSPs or LSFs for the four subframes of a frame (3GPP TS 26.090, clause 5.2.6).
 * @param[in]  prevLsp 10 LSPs at the end of the frame before
 * @param[in]  lsp     10 LSPs of this frame; at 12.2 kbit/s 20, those in its middle and those at its end
 * @param[out] dst     40 LSPs, those of the first subframe first; apart from the inputs
 * @param[in]  rate    one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsInterpolate_GSMAMR_16s(const int16_t *prevLsp, const int16_t *lsp, int16_t *dst, int rate);

/**
 * @brief Interpolates LSPs for the four subframes of a frame and converts them to LP coefficients (3GPP TS 26.090, clauses
 *        5.2.6 and 5.2.4): ryxsInterpolate_GSMAMR_16s() and ryxsLSPToLPC_G729_16s() in one.
 * @param[in]  prevLsp 10 LSPs at the end of the frame before, Q15
 * @param[in]  lsp     10 LSPs of this frame; at 12.2 kbit/s 20, those in its middle and those at its end
 * @param[out] lpc     11 LP coefficients for each of four subframes, Q12; apart from the inputs
 * @param[in]  rate    one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsInterpolatedLPC_GSMAMR_16s(const int16_t *prevLsp, const int16_t *lsp, int16_t *lpc, int rate);

/**
 * @brief Filters with A(z): the LP residual.
 * @param[in]  lpc 11 coefficients, Q12
 * @param[in]  src `len` samples; the 10 samples in front of them are read too
 * @param[out] dst `len` samples, rounded and saturated. Not `src`
 * @param[in]  len a multiple of 8, at most 160
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another length
 */
ryxStatus ryxsResidualFilter_GSMAMR_16s(const int16_t *lpc, const int16_t *src, int16_t *dst, int len);

/**
 * @brief Filters with 1/A(z): synthesis.
 * @param[in]  lpc    11 coefficients, Q12
 * @param[in]  src    `len` samples
 * @param[out] dst    `len` samples, rounded and saturated. May be `src`
 * @param[in]  len    a multiple of 8, at most 160
 * @param[in]  memory the last 10 output samples before these, oldest first; it may be `dst - 10`, and is not written
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another length; the warning #ryxStsOverflow when a sum, its shift
 *         or its rounding was saturated
 */
ryxStatus ryxsSynthesisFilter_GSMAMR_16s(const int16_t *lpc, const int16_t *src, int16_t *dst, int len,
                                         const int16_t *memory);

/**
 * @brief Computes the weighted speech of a subframe: A(z/g1) / A(z/g2) (3GPP TS 26.090, clause 5.3).
 * @param[in]  src          40 samples; the 10 samples in front of them are read too
 * @param[in]  weightedLpc1 11 coefficients of A(z/g1), Q12
 * @param[in]  weightedLpc2 11 coefficients of A(z/g2), Q12
 * @param[in,out] dst       40 samples; the 10 samples in front of them are the filter's memory
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsWeightingFilter_GSMAMR_16s(const int16_t *src, const int16_t *weightedLpc1, const int16_t *weightedLpc2,
                                         int16_t *dst);

/** @} */

/**
 * @defgroup gsmamrpitch 3GPP GSM-AMR: pitch
 * @brief Open- and closed-loop pitch search, the adaptive codebook and its gain (3GPP TS 26.090, clauses 5.3, 5.6, 6.1).
 *
 * Lags lie in 20..143, at 12.2 kbit/s in 18..143. Closed-loop lags have fractions: thirds of a sample, -1..1, at 12.2
 * kbit/s sixths, -3..3.
 * @{
 */

/** State of the open-loop search, in a block of the size that ryxsOpenLoopPitchGetStateSize_GSMAMR_16s() reports. */
typedef struct OpenLoopPitchState_GSMAMR OpenLoopPitchState_GSMAMR;

/**
 * @brief Size of the state of the open-loop search.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopPitchGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Brings the state of the open-loop search into its initial state.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsOpenLoopPitchInit_GSMAMR_16s(OpenLoopPitchState_GSMAMR *state);

/**
 * @brief Finds the open-loop lag of half a frame, at 4.75 and 5.15 kbit/s of a frame (3GPP TS 26.090, clause 5.3).
 * @param[in]     weighted     80 samples of weighted speech, at 4.75 and 5.15 kbit/s 160; the 143 samples in front of them
 *                             are read too
 * @param[in]     half         0 or 1
 * @param[in]     rate         one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @param[out]    lag          the lag
 * @param[out]    correlations 3 correlations for ryxsVADToneDetection_GSMAMR_16s()
 * @param[out]    energies     3 energies that go with them
 * @param[out]    highPass     how the correlation's peak stands out, for ryxsVADPitchDetection_GSMAMR_16s()
 * @param[in,out] state        what 10.2 kbit/s keeps of earlier lags; the other rates clear two flags in it
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another half or rate
 */
ryxStatus ryxsOpenLoopPitchSearch_GSMAMR_16s(const int16_t *weighted, int half, int rate, int16_t *lag,
                                             int32_t *correlations, int32_t *energies, int16_t *highPass,
                                             OpenLoopPitchState_GSMAMR *state);

/**
 * @brief Enters a closed-loop lag into the lags of the open-loop search at 10.2 kbit/s (3GPP TS 26.073).
 *
 * Only after the first and the last subframe of a frame, and where the half's open-loop lag was voiced, does it do anything.
 *
 * @param[in]     lag      integer lag
 * @param[in]     subframe 0..3
 * @param[in,out] state    of the open-loop search
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another subframe
 */
ryxStatus ryxsOpenLoopPitchUpdate_GSMAMR_16s(int16_t lag, int subframe, OpenLoopPitchState_GSMAMR *state);

/**
 * @brief Finds the closed-loop lag of a subframe and its index (3GPP TS 26.090, clause 5.6.1).
 * @param[in]     excitation  40 samples of the LP residual; the 154 samples of past excitation in front of them are read too
 * @param[in]     target      40 samples of the target
 * @param[in]     impulse     40 samples of the impulse response, Q12
 * @param[in]     openLoopLag open-loop lag of this half of the frame, 0..144; read where the lag is coded absolutely
 * @param[in,out] prevLag     lag of the subframe before, 0..144, 0 at the start; the integer lag found
 * @param[out]    fraction    its fraction
 * @param[out]    index       index of the lag in the bit stream
 * @param[in]     subframe    0..3
 * @param[in]     rate        one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag, subframe or rate outside its range
 */
ryxStatus ryxsAdaptiveCodebookSearch_GSMAMR_16s(const int16_t *excitation, const int16_t *target,
                                                const int16_t *impulse, int16_t openLoopLag, int16_t *prevLag,
                                                int16_t *fraction, int16_t *index, int subframe, int rate);

/**
 * @brief Decodes the lag of a subframe, or conceals its loss (3GPP TS 26.090, clause 6.1; TS 26.091).
 * @param[in]  index    received index
 * @param[in]  badFrame 0 for a good frame. Else the lag goes on from the one before; at 12.2 kbit/s also for an index that
 *                      stands for no lag
 * @param[in]  useIndex not 0: in a bad frame of 4.75 to 5.90 kbit/s the integer lag of the index serves, as in noise
 * @param[in]  prevLag  integer lag of the subframe before, 17..144
 * @param[out] lag      integer lag, 17..144
 * @param[out] fraction its fraction
 * @param[in]  subframe 0..3
 * @param[in]  rate     one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a previous lag, subframe or rate outside its range;
 *         #ryxStsBadIndex for an index of more bits than it has
 */
ryxStatus ryxsPitchLagDecode_GSMAMR_16s(int16_t index, int badFrame, int useIndex, int16_t prevLag, int16_t *lag,
                                        int16_t *fraction, int subframe, int rate);

/**
 * @brief Makes the adaptive codebook's vector: the past excitation at a fractional lag (3GPP TS 26.090, clause 5.6.1).
 * @param[in,out] excitation 40 samples; the 154 in front of them are the past excitation. With a lag below 40 samples made
 *                           here are read again
 * @param[in]     lag        integer lag, 17..144
 * @param[in]     fraction   -1..1, at 12.2 kbit/s -3..3
 * @param[in]     rate       one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a lag, fraction or rate outside its range
 */
ryxStatus ryxsDecodeAdaptiveVector_GSMAMR_16s_I(int16_t *excitation, int16_t lag, int16_t fraction, int rate);

/**
 * @brief Convolves a vector with an impulse response, rounding down: the filtered adaptive vector (3GPP TS 26.090, clause
 *        5.6.1).
 * @param[in]  src     40 samples
 * @param[in]  impulse 40 samples, Q12
 * @param[out] dst     40 samples, saturated. Apart from the inputs
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsConvolve_GSMAMR_16s(const int16_t *src, const int16_t *impulse, int16_t *dst);

/**
 * @brief Computes the gain of the adaptive codebook (3GPP TS 26.090, clause 5.6.1).
 * @param[in]  target   40 samples of the target
 * @param[in]  filtered 40 samples of the filtered adaptive vector
 * @param[out] gain     Q14, 0..19661
 * @param[out] energies 4 values for the gain quantisers: mantissa and exponent of the filtered vector's energy, and of its
 *                      product with the target
 * @param[in]  rate     one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID; at 12.2 kbit/s two bits of the gain are cleared
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsAdaptiveCodebookGain_GSMAMR_16s(const int16_t *target, const int16_t *filtered, int16_t *gain,
                                              int16_t *energies, int rate);

/**
 * @brief Detects a resonance of the LP filter that has lasted for twelve frames (3GPP TS 26.090, clause 5.6.1).
 * @param[in]     lsp       10 unquantised LSPs, Q15
 * @param[in,out] count     frames with a resonance in a row, up to 12; 0 at the start
 * @param[out]    resonance 1 from the twelfth on, else 0
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLSPResonance_GSMAMR_16s(const int16_t *lsp, int16_t *count, int16_t *resonance);

/**
 * @brief Limits the pitch gain where a resonance and a long time of high gains might make errors grow (3GPP TS 26.090,
 *        clause 5.6.1).
 * @param[in]     resonance of ryxsLSPResonance_GSMAMR_16s()
 * @param[in]     pastGains the last 7 pitch gains divided by 8, in any order
 * @param[in,out] gain      Q14
 * @param[out]    limit     the largest gain that the quantiser may choose: 15565, or 32767 for no limit
 * @param[in]     rate      one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsPitchGainLimit_GSMAMR_16s(int resonance, const int16_t *pastGains, int16_t *gain, int16_t *limit,
                                        int rate);

/**
 * @brief Quantises the pitch gain at 12.2 kbit/s (3GPP TS 26.090, clause 5.6.1).
 * @param[in,out] gain  Q14; the quantised one
 * @param[in]     limit the largest gain that may be chosen
 * @param[out]    index 0..15
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsPitchGainQuant_GSMAMR_16s(int16_t *gain, int16_t limit, int16_t *index);

/**
 * @brief Subtracts the adaptive codebook's part: dst = src - gain * vector, for the target with the filtered vector, and for
 *        the residual with the vector itself.
 * @param[in]  src    40 samples
 * @param[in]  vector 40 samples
 * @param[in]  gain   Q14
 * @param[out] dst    40 samples, saturated; the product is rounded down. May be `src` or `vector`
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsSubtractAdaptiveVector_GSMAMR_16s(const int16_t *src, const int16_t *vector, int16_t gain, int16_t *dst);

/** @} */

/**
 * @defgroup gsmamrgain 3GPP GSM-AMR: gains and excitation
 * @brief Gain quantisers and decoders, the excitation, filter memories (3GPP TS 26.090, clauses 5.8, 5.9, 6.1).
 *
 * Pitch gains are Q14, code gains Q1. The code gain is predicted from the energies of four subframes before: the caller
 * keeps them in two arrays of four, the newest first, at the start -14336 in `pastEnergies` and -2381 in `pastEnergies122`;
 * all quantisers and decoders of a coder share them, as does ryxsEncDTXSID_GSMAMR_16s().
 * @{
 */

/**
 * @brief Quantises both gains together, 5.15, 5.90, 6.70, 7.40 and 10.2 kbit/s (3GPP TS 26.090, clause 5.8.2).
 * @param[in]     target          40 samples of the target
 * @param[in]     adaptive        40 samples of the filtered adaptive vector
 * @param[in]     filtered        40 samples of the filtered code vector
 * @param[in]     code            40 samples of the code vector
 * @param[in]     pitchEnergies   4 values of ryxsAdaptiveCodebookGain_GSMAMR_16s()
 * @param[in]     limit           the largest pitch gain that may be chosen
 * @param[in,out] pastEnergies    4 energies, Q10
 * @param[in,out] pastEnergies122 4 energies of 12.2 kbit/s, Q10
 * @param[out]    pitchGain       quantised pitch gain
 * @param[out]    codeGain        quantised code gain
 * @param[out]    index           0..63 at 5.15 and 5.90 kbit/s, else 0..127
 * @param[in]     rate            one of the ryxGSMAMRRate values of these rates
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsGainQuant_GSMAMR_16s(const int16_t *target, const int16_t *adaptive, const int16_t *filtered,
                                   const int16_t *code, const int16_t *pitchEnergies, int16_t limit,
                                   int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *pitchGain,
                                   int16_t *codeGain, int16_t *index, int rate);

/**
 * @brief Quantises the code gain at 12.2 kbit/s (3GPP TS 26.090, clause 5.8.1).
 * @param[in]     target2         40 samples of the target without the adaptive codebook's part
 * @param[in]     filtered        40 samples of the filtered code vector
 * @param[in]     code            40 samples of the code vector
 * @param[in,out] pastEnergies    4 energies, Q10
 * @param[in,out] pastEnergies122 4 energies of 12.2 kbit/s, Q10
 * @param[out]    codeGain        quantised code gain
 * @param[out]    index           0..31
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsCodeGainQuant_GSMAMR_16s(const int16_t *target2, const int16_t *filtered, const int16_t *code,
                                       int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *codeGain,
                                       int16_t *index);

/** State of the gain quantiser of 7.95 kbit/s, in a block of the size that its GetStateSize function reports. */
typedef struct GainAdaptState_GSMAMR GainAdaptState_GSMAMR;

/**
 * @brief Size of the state of the gain quantiser of 7.95 kbit/s.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainQuantAdaptGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Clears the state of the gain quantiser of 7.95 kbit/s.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainQuantAdaptInit_GSMAMR_16s(GainAdaptState_GSMAMR *state);

/**
 * @brief Quantises both gains at 7.95 kbit/s (3GPP TS 26.090, clause 5.8.1).
 *
 * Three neighbouring pitch gains and all code gains are tried. Where the long-term prediction gains little, the code gain is
 * chosen again, so that the excitation keeps the energy of the residual.
 *
 * @param[in]     target          40 samples of the target
 * @param[in]     target2         40 samples of the target without the adaptive codebook's part
 * @param[in]     adaptive        40 samples of the filtered adaptive vector
 * @param[in]     filtered        40 samples of the filtered code vector
 * @param[in]     residual        40 samples of the LP residual
 * @param[in]     excitation      40 samples of the adaptive vector
 * @param[in]     code            40 samples of the code vector
 * @param[in]     pitchEnergies   4 values of ryxsAdaptiveCodebookGain_GSMAMR_16s()
 * @param[in]     limit           the largest pitch gain that may be chosen, at least 2949
 * @param[in,out] pastEnergies    4 energies, Q10
 * @param[in,out] pastEnergies122 4 energies of 12.2 kbit/s, Q10
 * @param[in,out] pitchGain       unquantised pitch gain; the quantised one
 * @param[out]    codeGain        quantised code gain
 * @param[out]    indices         index of the pitch gain, 0..15, and of the code gain, 0..31
 * @param[in,out] state           what is remembered of earlier subframes
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainQuantAdapt_GSMAMR_16s(const int16_t *target, const int16_t *target2, const int16_t *adaptive,
                                        const int16_t *filtered, const int16_t *residual, const int16_t *excitation,
                                        const int16_t *code, const int16_t *pitchEnergies, int16_t limit,
                                        int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *pitchGain,
                                        int16_t *codeGain, int16_t *indices, GainAdaptState_GSMAMR *state);

/** What a first subframe of 4.75 kbit/s leaves for the second, in a block of the size that its GetStateSize function
 *  reports. */
typedef struct JointGainState_GSMAMR JointGainState_GSMAMR;

/**
 * @brief Size of what a first subframe of 4.75 kbit/s leaves.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainQuantJointGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief First of two subframes whose gains are quantised together at 4.75 kbit/s (3GPP TS 26.090, clause 5.8.2).
 * @param[in]  target          40 samples of the target
 * @param[in]  target2         40 samples of the target without the adaptive codebook's part
 * @param[in]  adaptive        40 samples of the filtered adaptive vector
 * @param[in]  filtered        40 samples of the filtered code vector
 * @param[in]  code            40 samples of the code vector
 * @param[in]  pitchEnergies   4 values of ryxsAdaptiveCodebookGain_GSMAMR_16s()
 * @param[in]  pastEnergies    4 energies, Q10
 * @param[in]  pastEnergies122 4 energies of 12.2 kbit/s, Q10
 * @param[out] codeGain        unquantised code gain, with which the coder goes on for the time being
 * @param[out] state           for the second subframe; need not be initialised
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainQuantJointFirst_GSMAMR_16s(const int16_t *target, const int16_t *target2, const int16_t *adaptive,
                                             const int16_t *filtered, const int16_t *code, const int16_t *pitchEnergies,
                                             const int16_t *pastEnergies, const int16_t *pastEnergies122,
                                             int16_t *codeGain, JointGainState_GSMAMR *state);

/**
 * @brief Second of two subframes whose gains are quantised together at 4.75 kbit/s (3GPP TS 26.090, clause 5.8.2).
 * @param[in]     target          40 samples of the target
 * @param[in]     adaptive        40 samples of the filtered adaptive vector
 * @param[in]     filtered        40 samples of the filtered code vector
 * @param[in]     code            40 samples of the code vector
 * @param[in]     pitchEnergies   4 values of ryxsAdaptiveCodebookGain_GSMAMR_16s()
 * @param[in]     limit           the largest pitch gain that may be chosen for either subframe
 * @param[in,out] pastEnergies    4 energies, Q10
 * @param[in,out] pastEnergies122 4 energies of 12.2 kbit/s, Q10
 * @param[out]    gains           pitch and code gain of the first subframe, then those of the second
 * @param[out]    index           0..255
 * @param[in]     state           of ryxsGainQuantJointFirst_GSMAMR_16s()
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainQuantJointSecond_GSMAMR_16s(const int16_t *target, const int16_t *adaptive, const int16_t *filtered,
                                              const int16_t *code, const int16_t *pitchEnergies, int16_t limit,
                                              int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *gains,
                                              int16_t *index, const JointGainState_GSMAMR *state);

/** Received gains, for their concealment, in a block of the size that ryxsGainConcealGetStateSize_GSMAMR_16s() reports. */
typedef struct GainConcealState_GSMAMR GainConcealState_GSMAMR;

/**
 * @brief Size of the received gains.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainConcealGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Brings the received gains into their initial state.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainConcealInit_GSMAMR_16s(GainConcealState_GSMAMR *state);

/**
 * @brief Decodes the pitch gain, or conceals its loss (3GPP TS 26.090, clause 6.1; TS 26.091).
 * @param[in]     index        index of the pitch gain, where both are quantised together of both; not read in a bad frame
 * @param[in]     badFrame     0 for a good frame
 * @param[in]     prevBadFrame 0 where the frame before was good
 * @param[in]     lossState    0..6, the more the longer frames have been lost
 * @param[out]    gain         Q14
 * @param[in]     subframe     0..3; at 4.75 kbit/s it tells which half of the pair is meant
 * @param[in]     rate         one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @param[in,out] state        received gains
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a state, subframe or rate outside its range; #ryxStsBadIndex for
 *         an index outside its table
 */
ryxStatus ryxsPitchGainDecode_GSMAMR_16s(int16_t index, int badFrame, int prevBadFrame, int lossState, int16_t *gain,
                                         int subframe, int rate, GainConcealState_GSMAMR *state);

/**
 * @brief Decodes the code gain, or conceals its loss (3GPP TS 26.090, clause 6.1; TS 26.091).
 * @param[in]     index           index of the code gain, where both are quantised together of both; not read in a bad frame
 * @param[in]     code            40 samples of the code vector with its sharpening
 * @param[in]     badFrame        0 for a good frame
 * @param[in]     prevBadFrame    0 where the frame before was good
 * @param[in]     lossState       0..6
 * @param[in,out] pastEnergies    4 energies, Q10
 * @param[in,out] pastEnergies122 4 energies of 12.2 kbit/s, Q10
 * @param[out]    gain            Q1
 * @param[in]     subframe        0..3
 * @param[in]     rate            one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @param[in,out] state           received gains
 * @return as ryxsPitchGainDecode_GSMAMR_16s()
 */
ryxStatus ryxsCodeGainDecode_GSMAMR_16s(int16_t index, const int16_t *code, int badFrame, int prevBadFrame,
                                        int lossState, int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *gain,
                                        int subframe, int rate, GainConcealState_GSMAMR *state);

/**
 * @brief Adds up the excitation of a subframe from both codebooks, in place (3GPP TS 26.090, clause 5.9).
 * @param[in,out] excitation 40 samples: the adaptive vector, then the excitation, rounded and saturated
 * @param[in]     code       40 samples of the code vector
 * @param[in]     pitchGain  Q14
 * @param[in]     codeGain   Q1
 * @param[in]     rate       one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID; the code vector of 12.2 kbit/s has another
 *                           format
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsTotalExcitation_GSMAMR_16s_I(int16_t *excitation, const int16_t *code, int16_t pitchGain,
                                           int16_t codeGain, int rate);

/**
 * @brief Updates the encoder's memories of the error behind a subframe (3GPP TS 26.090, clause 5.9).
 * @param[in]  speech          40 samples of the subframe
 * @param[in]  synthesis       40 samples of its synthesis
 * @param[in]  target          40 samples of the target
 * @param[in]  adaptive        40 samples of the filtered adaptive vector
 * @param[in]  filtered        40 samples of the filtered code vector
 * @param[in]  pitchGain       Q14
 * @param[in]  codeGain        Q1
 * @param[out] synthesisMemory last 10 samples of the error
 * @param[out] weightingMemory last 10 samples of the weighted error
 * @param[in]  rate            one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsUpdateErrorMemories_GSMAMR_16s(const int16_t *speech, const int16_t *synthesis, const int16_t *target,
                                             const int16_t *adaptive, const int16_t *filtered, int16_t pitchGain,
                                             int16_t codeGain, int16_t *synthesisMemory, int16_t *weightingMemory,
                                             int rate);

/** @} */

/**
 * @defgroup gsmamrvad 3GPP GSM-AMR: voice activity detection
 * @brief Option 1 of 3GPP TS 26.094.
 *
 * For each frame ryxsVAD_GSMAMR_16s() comes first. What the open-loop search finds in the frame serves the next one:
 * ryxsVADToneDetection_GSMAMR_16s() takes it after each call, ryxsVADPitchDetection_GSMAMR_16s() after both lags.
 * @{
 */

/** State of the detector, in a block of the size that ryxsVADGetSize_GSMAMR_16s() reports. */
typedef struct VADState_GSMAMR VADState_GSMAMR;

/**
 * @brief Size of the state of the detector.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsVADGetSize_GSMAMR_16s(int *size);

/**
 * @brief Brings the detector into its initial state.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsVADInit_GSMAMR_16s(VADState_GSMAMR *state);

/**
 * @brief Decides whether a frame has speech.
 * @param[in]     speech the 160 newest samples behind the high-pass filter; the 40 samples in front of them are read too
 * @param[in,out] state  of the detector
 * @param[out]    vad    1 for speech, 0 for silence
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsVAD_GSMAMR_16s(const int16_t *speech, VADState_GSMAMR *state, int16_t *vad);

/**
 * @brief Looks for tones in the results of an open-loop search.
 * @param[in]     correlations 3 correlations of ryxsOpenLoopPitchSearch_GSMAMR_16s()
 * @param[in]     energies     3 energies that go with them
 * @param[in]     oneLag       not 0 where the frame has one lag, as at 4.75 and 5.15 kbit/s
 * @param[in,out] state        of the detector
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsVADToneDetection_GSMAMR_16s(const int32_t *correlations, const int32_t *energies, int oneLag,
                                          VADState_GSMAMR *state);

/**
 * @brief Looks for steady pitch in the lags of a frame.
 * @param[in]     lags     2 open-loop lags
 * @param[in]     highPass of the frame's last open-loop search
 * @param[in,out] state    of the detector
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsVADPitchDetection_GSMAMR_16s(const int16_t *lags, int16_t highPass, VADState_GSMAMR *state);

/** @} */

/**
 * @defgroup gsmamrdec 3GPP GSM-AMR: decoder
 * @brief Discontinuous reception, comfort noise, concealment, enhancement and post-filter (3GPP TS 26.090, clause 6, TS
 *        26.091 to 26.093).
 * @{
 */

/** What the receiver got for a frame (3GPP TS 26.093). */
enum {
    ryxGSMAMRSpeechGood = 0,     /**< speech */
    ryxGSMAMRSpeechDegraded = 1, /**< speech, in doubt */
    ryxGSMAMROnset = 2,          /**< the beginning of speech after a pause, without its parameters */
    ryxGSMAMRSpeechBad = 3,      /**< speech with errors */
    ryxGSMAMRSidFirst = 4,       /**< the first descriptor of a pause, without parameters */
    ryxGSMAMRSidUpdate = 5,      /**< a descriptor */
    ryxGSMAMRSidBad = 6,         /**< a descriptor with errors */
    ryxGSMAMRNoData = 7          /**< nothing */
};

/** What the decoder makes of a frame. */
enum {
    ryxGSMAMRSpeech = 0,       /**< decoded or concealed speech */
    ryxGSMAMRComfortNoise = 1, /**< comfort noise */
    ryxGSMAMRMute = 2          /**< comfort noise that fades */
};

/** Marks of a speech frame and of the one before it, to be added. */
enum {
    ryxGSMAMRBadFrame = 1,         /**< this frame is concealed */
    ryxGSMAMRPrevBadFrame = 2,     /**< the frame before was */
    ryxGSMAMRDegradedFrame = 4,    /**< this frame is in doubt */
    ryxGSMAMRPrevDegradedFrame = 8 /**< the frame before was */
};

/** State of discontinuous reception, in a block of the size that ryxsDecDTXGetStateSize_GSMAMR_16s() reports. */
typedef struct DecDTXState_GSMAMR DecDTXState_GSMAMR;

/**
 * @brief Size of the state of discontinuous reception.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Brings discontinuous reception into its initial state.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsDecDTXInit_GSMAMR_16s(DecDTXState_GSMAMR *state);

/**
 * @brief Decides between speech, comfort noise and muting (3GPP TS 26.093, clause 6).
 * @param[in]     frameType    #ryxGSMAMRSpeechGood or one of its kin
 * @param[out]    dtxState     #ryxGSMAMRSpeech or one of its kin, for this frame
 * @param[out]    prevDtxState that of the frame before; #ryxGSMAMRComfortNoise at the start
 * @param[in,out] state        of discontinuous reception
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another type
 */
ryxStatus ryxsDecDTXHandler_GSMAMR_16s(int frameType, int16_t *dtxState, int16_t *prevDtxState,
                                       DecDTXState_GSMAMR *state);

/**
 * @brief Makes a frame of comfort noise (3GPP TS 26.092, clause 6), for which ryxsDecDTXHandler_GSMAMR_16s() has decided.
 * @param[in]     parameters       5 received parameters: index of the initial prediction, 3 LSF indices, log energy; read
 *                                 for #ryxGSMAMRSidUpdate only
 * @param[in,out] lsfHistory       8 entries of 10 LSFs of ryxsDecDTXBuffer_GSMAMR_16s(), positive; the one behind the newest
 *                                 may be written
 * @param[in,out] logEnergyHistory 8 log energies that go with them
 * @param[in]     newest           index of the newest entry, 0..7
 * @param[in,out] pastResidual     10 residuals of the LSF decoder; cleared with new parameters
 * @param[in,out] pastLsf          10 LSFs; those of this frame
 * @param[out]    pastEnergies     4 energies of the gain predictor; written when there is a descriptor
 * @param[out]    pastEnergies122  4 energies of 12.2 kbit/s; likewise
 * @param[in,out] memory           last 10 samples of the synthesis
 * @param[out]    speech           160 samples
 * @param[out]    lpc              11 LP coefficients for the post-filter
 * @param[in]     rate             rate of the speech around the noise, one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @param[in,out] state            of discontinuous reception
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a rate or entry outside its range; #ryxStsBadIndex for a
 *         parameter outside its codebook
 */
ryxStatus ryxsDecDTXComfortNoise_GSMAMR_16s(const int16_t *parameters, int16_t *lsfHistory, int16_t *logEnergyHistory,
                                            int16_t newest, int16_t *pastResidual, int16_t *pastLsf,
                                            int16_t *pastEnergies, int16_t *pastEnergies122, int16_t *memory,
                                            int16_t *speech, int16_t *lpc, int rate, DecDTXState_GSMAMR *state);

/**
 * @brief Fills in parameters for a frame of which nothing was received (3GPP TS 26.073), the same in every decoder.
 * @param[in,out] seed       21845 at the start
 * @param[in]     widths     bits of the parameters, 0..15
 * @param[out]    parameters `count` parameters, not negative
 * @param[in]     count      1..112
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another count
 */
ryxStatus ryxsRandomParameters_GSMAMR_16s(int16_t *seed, const uint8_t *widths, int16_t *parameters, int count);

/** State of the code gain's smoothing, in a block of the size that its GetStateSize function reports. */
typedef struct CodeGainAverageState_GSMAMR CodeGainAverageState_GSMAMR;

/**
 * @brief Size of the state of the code gain's smoothing.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsCodeGainAverageGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Brings the code gain's smoothing into its initial state.
 * @param[in]  afterNoise not 0 after a frame of comfort noise
 * @param[out] state      block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsCodeGainAverageInit_GSMAMR_16s(int afterNoise, CodeGainAverageState_GSMAMR *state);

/**
 * @brief Smooths the code gain where the spectrum is steady (3GPP TS 26.090, clause 6.1).
 *
 * At 7.40, 7.95 and 12.2 kbit/s the gain stays as it is, but enters the state.
 *
 * @param[in]     gain           decoded code gain, Q1
 * @param[in]     lsf            10 LSFs of the subframe
 * @param[in]     averageLsf     10 LSFs of the frames before, on the average; positive
 * @param[in]     quality        sum of #ryxGSMAMRBadFrame and its kin
 * @param[in]     background     not 0 in background noise
 * @param[in]     voicedHangover of ryxsBackgroundDetect_GSMAMR_16s()
 * @param[out]    mixedGain      Q1
 * @param[in]     rate           one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @param[in,out] state          of the smoothing
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate or an average that is not positive
 */
ryxStatus ryxsCodeGainAverage_GSMAMR_16s(int16_t gain, const int16_t *lsf, const int16_t *averageLsf, int quality,
                                         int background, int voicedHangover, int16_t *mixedGain, int rate,
                                         CodeGainAverageState_GSMAMR *state);

/**
 * @brief Updates the average LSFs with those of a frame (3GPP TS 26.073).
 * @param[in]     lsf        10 LSFs of the frame
 * @param[in,out] averageLsf 10 LSFs; 84 % of them and 16 % of the new ones
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLSFAverage_GSMAMR_16s_I(const int16_t *lsf, int16_t *averageLsf);

/** State of the phase dispersion, in a block of the size that its GetStateSize function reports. */
typedef struct PhaseDispersionState_GSMAMR PhaseDispersionState_GSMAMR;

/**
 * @brief Size of the state of the phase dispersion.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsPhaseDispersionGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Clears the state of the phase dispersion.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsPhaseDispersionInit_GSMAMR_16s(PhaseDispersionState_GSMAMR *state);

/**
 * @brief Disperses the phase of a code vector where the pitch gain is low (3GPP TS 26.090, clause 6.1).
 *
 * Only 4.75 to 6.70 and 7.95 kbit/s do so; at the other rates the vector is copied, and the state follows all the same.
 *
 * @param[in]     code      40 samples of the code vector
 * @param[in]     pitchGain Q14
 * @param[in]     codeGain  Q1
 * @param[in]     lock      not 0 for the strongest dispersion
 * @param[out]    dst       40 samples. Not `code`
 * @param[in]     rate      one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @param[in,out] state     of the dispersion
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsPhaseDispersion_GSMAMR_16s(const int16_t *code, int16_t pitchGain, int16_t codeGain, int lock,
                                         int16_t *dst, int rate, PhaseDispersionState_GSMAMR *state);

/** State of the detection of background noise, in a block of the size that its GetStateSize function reports. */
typedef struct BackgroundState_GSMAMR BackgroundState_GSMAMR;

/**
 * @brief Size of the state of the detection of background noise.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsBackgroundDetectGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Clears the state of the detection of background noise.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsBackgroundDetectInit_GSMAMR_16s(BackgroundState_GSMAMR *state);

/**
 * @brief Detects background noise in decoded speech (3GPP TS 26.073).
 * @param[in]     speech         160 samples of the synthesis
 * @param[in]     pitchGains     the last 9 pitch gains, Q14, oldest first
 * @param[in,out] voicedHangover frames since the last voiced one, up to 10; 0 at the start
 * @param[out]    background     1 in background noise, else 0
 * @param[in,out] state          of the detection
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsBackgroundDetect_GSMAMR_16s(const int16_t *speech, const int16_t *pitchGains, int16_t *voicedHangover,
                                          int16_t *background, BackgroundState_GSMAMR *state);

/**
 * @brief Draws the excitation of lost or doubtful frames in background noise towards the level of those before, in place
 *        (3GPP TS 26.073).
 * @param[in,out] excitation     40 samples
 * @param[in]     quality        sum of #ryxGSMAMRBadFrame and its kin
 * @param[in]     background     not 0 in background noise
 * @param[in]     voicedHangover of ryxsBackgroundDetect_GSMAMR_16s()
 * @param[in]     lossState      0..6
 * @param[in,out] energies       levels of the last 9 subframes, oldest first, 0 at the start
 * @param[in]     rate           one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID; only 4.75 to 5.90 kbit/s change
 *                               the excitation
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsExcitationControl_GSMAMR_16s_I(int16_t *excitation, int quality, int background, int voicedHangover,
                                             int lossState, int16_t *energies, int rate);

/**
 * @brief Emphasises the adaptive codebook's part of an excitation and brings it back to its level (3GPP TS 26.090, clause
 *        6.1).
 * @param[in]  excitation 40 samples
 * @param[in]  adaptive   40 samples of the adaptive vector
 * @param[in]  pitchGain  Q14
 * @param[in]  sharpening Q15
 * @param[out] dst        40 samples. May be `excitation`
 * @param[in]  rate       one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsPitchEmphasis_GSMAMR_16s(const int16_t *excitation, const int16_t *adaptive, int16_t pitchGain,
                                       int16_t sharpening, int16_t *dst, int rate);

/** State of the post-filter, in a block of the size that ryxsPostFilterGetStateSize_GSMAMR_16s() reports. */
typedef struct PostFilterState_GSMAMR PostFilterState_GSMAMR;

/**
 * @brief Size of the state of the post-filter.
 * @param[out] size octets
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsPostFilterGetStateSize_GSMAMR_16s(int *size);

/**
 * @brief Brings the post-filter into its initial state.
 * @param[out] state block at any address
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsPostFilterInit_GSMAMR_16s(PostFilterState_GSMAMR *state);

/**
 * @brief Filters a frame with the adaptive post-filter, in place: formants, tilt compensation, gain control (3GPP TS 26.090,
 *        clause 6.2.1).
 * @param[in,out] srcDst 160 samples
 * @param[in]     lpc    4 times 11 LP coefficients, Q12
 * @param[in]     rate   one of the ryxGSMAMRRate values but #ryxGSMAMRRateSID
 * @param[in,out] state  of the post-filter
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another rate
 */
ryxStatus ryxsPostFilter_GSMAMR_16s_I(int16_t *srcDst, const int16_t *lpc, int rate, PostFilterState_GSMAMR *state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
