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

#ifdef __cplusplus
}
#endif

#endif
