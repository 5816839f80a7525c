/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g728.h
 * @brief ITU-T G.728.
 */
#ifndef RYXSC_G728_H
#define RYXSC_G728_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup g728 ITU-T G.728
 * @brief The 16 kbit/s low-delay codec in the fixed-point arithmetic of Annex G, with the concealment of Annex I.
 *
 * Speech is coded in vectors of five samples. Four vectors make an adaptation cycle, in which all predictors are computed
 * anew from what was decoded; docs/g728.md has the order of the calls.
 *
 * **Block floating point.** Some vectors come with an exponent: samples d and exponent q stand for d * 2^-q. A gain is a
 * mantissa with such an exponent. Exponents may have any value; where the recommendation's coder would not produce them,
 * shifts beyond the width of a number leave its sign, and results are limited.
 *
 * **Order.** Signals and histories stand in time order, the oldest sample first, except in the memory of
 * ryxsIIR16s_G728_16s().
 *
 * **In place.** Inputs and outputs may not overlap unless a function says so.
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

/** Memory of the synthesis filter: an opaque block of 144 bytes at any address. */
typedef struct SynthesisFilterState_G728 SynthesisFilterState_G728;

/**
 * @brief Reports the size of the synthesis filter's memory: 144 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFilterGetStateSize_G728_16s(int *size);

/**
 * @brief Sets the synthesis filter's memory to silence: ten zero vectors with exponent 16.
 * @param[out] state block of 144 bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFilterInit_G728_16s(SynthesisFilterState_G728 *state);

/**
 * @brief Zero-input response of the synthesis filter (G.728 Annex G, block 9).
 *
 * What the ten vectors in the memory, each in its own block floating point, make of the next vector. The result is
 * normalised to 15 bits and enters the memory as its newest vector, to which ryxsSynthesisFilter_G728_16s() then adds.
 *
 * @param[in]     coefficients 50 predictor coefficients a[1..50] in Q14
 * @param[out]    dst          the response, 5 samples
 * @param[out]    exponent     its exponent
 * @param[in,out] state        initialised memory
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFilterZeroInput_G728_16s(const int16_t *coefficients, int16_t *dst, int16_t *exponent,
                                                SynthesisFilterState_G728 *state);

/** Predictor coefficients as ryxsSynthesisFilterZeroInputTaps_G728_16s() wants them: an opaque block of 744 bytes at any
 * address. */
typedef struct SynthesisTaps_G728 SynthesisTaps_G728;

/**
 * @brief Reports the size of the block of coefficients: 744 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisTapsGetStateSize_G728_16s(int *size);

/**
 * @brief Arranges the coefficients of the synthesis filter (G.728 Annex G) for the vectors that follow.
 * @param[in]  coefficients 50 predictor coefficients a[1..50] in Q14
 * @param[out] taps         block of 744 bytes, which needs no other initialisation
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisTapsInit_G728_16s(const int16_t *coefficients, SynthesisTaps_G728 *taps);

/**
 * @brief ryxsSynthesisFilterZeroInput_G728_16s() with coefficients that have been arranged, in half the time.
 * @param[in]     taps     block after ryxsSynthesisTapsInit_G728_16s()
 * @param[out]    dst      the response, 5 samples
 * @param[out]    exponent its exponent
 * @param[in,out] state    initialised memory
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFilterZeroInputTaps_G728_16s(const SynthesisTaps_G728 *taps, int16_t *dst, int16_t *exponent,
                                                    SynthesisFilterState_G728 *state);

/**
 * @brief Zero-state response of the synthesis filter to an excitation, and the quantised speech (G.728 Annex G).
 *
 * Where the response would leave 15 bits, the excitation is halved as often as needed and its exponent falls with it. The
 * response is then added to the newest vector of the memory, which holds the zero-input response; the sum, limited to 4095
 * in Q0 and normalised to 14 bits, takes its place.
 *
 * @param[in]     coefficients    50 predictor coefficients in Q14, of which the first four count
 * @param[in,out] excitation      5 samples
 * @param[in,out] exponent        exponent of the excitation and of the response
 * @param[in]     largestExponent a larger exponent of the quantised speech is replaced by this one, the samples stay: 16
 *                                in erased vectors (Annex I), 32767 else
 * @param[out]    response        zero-state response, 5 samples
 * @param[out]    speech          quantised speech, 5 samples
 * @param[out]    speechExponent  its exponent
 * @param[in,out] state           initialised memory
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsSynthesisFilter_G728_16s(const int16_t *coefficients, int16_t *excitation, int16_t *exponent,
                                       int16_t largestExponent, int16_t *response, int16_t *speech,
                                       int16_t *speechExponent, SynthesisFilterState_G728 *state);

/**
 * @brief Zero-input response of synthesis filter and weighting filter (G.728 Annex G, block 10).
 *
 * Runs the weighting filter over the newest vector of the synthesis filter's memory, after the filter's past inputs have
 * been set to the ten samples before that vector. All in Q2.
 *
 * @param[in]     coefficients 20 coefficients of the weighting filter in Q14, see ryxsIIR16s_G728_16s()
 * @param[in]     synthesis    memory of the synthesis filter after ryxsSynthesisFilterZeroInput_G728_16s()
 * @param[out]    dst          the response, 5 samples in Q2
 * @param[in,out] weighting    memory of a weighting filter that does nothing else
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsWeightedZeroInput_G728_16s(const int16_t *coefficients, const SynthesisFilterState_G728 *synthesis,
                                         int16_t *dst, IIRState_G728 *weighting);

/**
 * @brief Adds the weighted zero-state response to the weighting filter's memory (G.728 Annex G).
 *
 * @param[in]     coefficients 20 coefficients of the weighting filter in Q14
 * @param[in]     response     zero-state response of the synthesis filter, 5 samples
 * @param[in]     exponent     its exponent
 * @param[in,out] weighting    memory of ryxsWeightedZeroInput_G728_16s(), whose five newest outputs change
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsWeightedZeroState_G728_16s(const int16_t *coefficients, const int16_t *response, int16_t exponent,
                                         IIRState_G728 *weighting);

/**
 * @brief Predicts the excitation's log-gain and gives the gain (G.728 Annex G, blocks 46 to 48).
 *
 * @param[in]  coefficients 10 coefficients of the log-gain predictor in Q14
 * @param[in]  logGains     the 10 last log-gains in Q9, oldest first; 32 dB stand for 0
 * @param[in]  limit        the prediction is at most this, but never below -16384; 32767 for no limit. After erasures
 *                          (Annex I) 1024 above the previous one
 * @param[out] prediction   predicted log-gain in Q9, -16384..14336
 * @param[out] gain         mantissa of the gain, 16384..32767
 * @param[out] gainExponent its exponent
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsLogGainPredict_G728_16s(const int16_t *coefficients, const int16_t *logGains, int16_t limit,
                                      int16_t *prediction, int16_t *gain, int16_t *gainExponent);

/**
 * @brief Log-gain of the vector that was sent (G.728 Annex G).
 * @param[in]  prediction from ryxsLogGainPredict_G728_16s()
 * @param[in]  shape      index of the shape, 0..127
 * @param[in]  gainIndex  index of the gain, 0..7
 * @param[out] logGain    in Q9, at least -16384
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex
 */
ryxStatus ryxsLogGainUpdate_G728_16s(int16_t prediction, int16_t shape, int16_t gainIndex, int16_t *logGain);

/**
 * @brief Target of the codebook search: weighted speech less the zero-input response, divided by the gain (G.728 Annex G,
 *        blocks 11 and 16).
 * @param[in]  weightedSpeech    5 samples in Q2
 * @param[in]  weightedZeroInput from ryxsWeightedZeroInput_G728_16s()
 * @param[in]  gain              mantissa of the gain, above 0
 * @param[in]  gainExponent      its exponent
 * @param[out] target            5 samples, normalised to 16 bits
 * @param[out] exponent          their exponent
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for a gain below 1
 */
ryxStatus ryxsTarget_G728_16s(const int16_t *weightedSpeech, const int16_t *weightedZeroInput, int16_t gain,
                              int16_t gainExponent, int16_t *target, int16_t *exponent);

/**
 * @brief Impulse response of synthesis filter and weighting filter in a row (G.728 Annex G, block 12).
 * @param[in]  synthesis 50 predictor coefficients in Q14, of which the first four count
 * @param[in]  weighting 20 coefficients of the weighting filter in Q14
 * @param[out] response  5 samples in Q13
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsImpulseResponse_G728_16s(const int16_t *synthesis, const int16_t *weighting, int16_t *response);

/**
 * @brief Energies of the filtered shapes (G.728 Annex G, blocks 14 and 15).
 * @param[in]  impulse  impulse response, 5 samples in Q13
 * @param[out] energies 128 energies in Q5. Filtered samples (Q10) and energies are limited to 16 bits. The coder
 *                      exceeds them now and then at a loud onset, see ryxsCodebookSearchFiltered_G728_16s()
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsCodebookEnergy_G728_16s(const int16_t *impulse, int16_t *energies);

/**
 * @brief Searches shape and gain (G.728 Annex G, blocks 13, 17 and 18).
 *
 * The target is correlated with the impulse response; each shape's gain follows from the correlation and the boundaries of
 * the gain codebook, and the shape of the smallest distortion wins, the first of equal ones.
 *
 * @param[in]  target    from ryxsTarget_G728_16s()
 * @param[in]  exponent  its exponent
 * @param[in]  impulse   impulse response, 5 samples in Q13
 * @param[in]  energies  from ryxsCodebookEnergy_G728_16s()
 * @param[out] shape     0..127
 * @param[out] gainIndex 0..7: magnitude, plus 4 for a negative gain
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsCodebookSearch_G728_16s(const int16_t *target, int16_t exponent, const int16_t *impulse,
                                      const int16_t *energies, int16_t *shape, int16_t *gainIndex);

/** What searches of the codebook with one impulse response share: an opaque block of 272 bytes at any address. */
typedef struct CodebookState_G728 CodebookState_G728;

/**
 * @brief Reports the size of the codebook's block: 272 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsCodebookGetStateSize_G728_16s(int *size);

/**
 * @brief Filters the shapes (G.728 Annex G, blocks 14 and 15), for ryxsCodebookSearchFiltered_G728_16s().
 * @param[in]  impulse impulse response, 5 samples in Q13, from ryxsImpulseResponse_G728_16s()
 * @param[out] state   block of 272 bytes, which needs no other initialisation
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsCodebookSetFilter_G728_16s(const int16_t *impulse, CodebookState_G728 *state);

/**
 * @brief The search of ryxsCodebookSearch_G728_16s(), in about four fifths of the time for targets such as the coder has.
 *
 * It finds the same shape and gain, as if called with the impulse response of the block and the energies that
 * ryxsCodebookEnergy_G728_16s() gives for it. Where that function limits energies, this one takes them as they are.
 *
 * @param[in]  target    from ryxsTarget_G728_16s()
 * @param[in]  exponent  its exponent
 * @param[in]  state     block after ryxsCodebookSetFilter_G728_16s()
 * @param[out] shape     0..127
 * @param[out] gainIndex 0..7: magnitude, plus 4 for a negative gain
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsCodebookSearchFiltered_G728_16s(const int16_t *target, int16_t exponent, const CodebookState_G728 *state,
                                              int16_t *shape, int16_t *gainIndex);

/**
 * @brief Excitation of a shape and a gain (G.728 Annex G, blocks 19 to 21).
 * @param[in]  shape        0..127
 * @param[in]  gainIndex    0..7
 * @param[in]  gain         mantissa of the predicted gain
 * @param[in]  gainExponent its exponent
 * @param[out] excitation   5 samples
 * @param[out] exponent     their exponent
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex
 */
ryxStatus ryxsCodebookDecode_G728_16s(int16_t shape, int16_t gainIndex, int16_t gain, int16_t gainExponent,
                                      int16_t *excitation, int16_t *exponent);

/** Memory of a hybrid window: an opaque block of 104 bytes at any address. */
typedef struct HybridWindowState_G728 HybridWindowState_G728;

/**
 * @brief Reports the size of a hybrid window's memory: 104 bytes for each of the three.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHybridWindowGetStateSize_G728_16s(int *size);

/**
 * @brief Clears a hybrid window's memory.
 * @param[out] state block of 104 bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsHybridWindowInit_G728_16s(HybridWindowState_G728 *state);

/**
 * @brief Hybrid window of the synthesis filter (G.728 Annex G, block 49): autocorrelation of quantised speech.
 *
 * The coder's vectors are normalised to 14 bits. With larger samples sums may leave 32 bits; they wrap around.
 *
 * @param[in]     src       the last 105 samples of quantised speech
 * @param[in]     exponents exponents of their 21 vectors
 * @param[out]    dst       51 autocorrelations, lag 0 first, with a common scale that makes lag 0 16384..32767
 * @param[in,out] state     initialised memory
 * @return #ryxStsOk; #ryxStsIllConditioned when the last autocorrelation is 0 before rounding, the recommendation's sign
 *         that no predictor is to be computed; #ryxStsNullPtr
 */
ryxStatus ryxsHybridWindowSynthesis_G728_16s(const int16_t *src, const int16_t *exponents, int16_t *dst,
                                             HybridWindowState_G728 *state);

/**
 * @brief Hybrid window of the weighting filter (G.728 Annex G, block 36): autocorrelation of the input.
 * @param[in]     src   the last 60 samples of input in Q2
 * @param[out]    dst   11 autocorrelations, see ryxsHybridWindowSynthesis_G728_16s()
 * @param[in,out] state initialised memory
 * @return as ryxsHybridWindowSynthesis_G728_16s()
 */
ryxStatus ryxsHybridWindowWeighting_G728_16s(const int16_t *src, int16_t *dst, HybridWindowState_G728 *state);

/**
 * @brief Hybrid window of the log-gain predictor (G.728 Annex G, block 43): autocorrelation of log-gains.
 * @param[in]     src   the last 34 log-gains in Q9
 * @param[out]    dst   11 autocorrelations, see ryxsHybridWindowSynthesis_G728_16s()
 * @param[in,out] state initialised memory
 * @return as ryxsHybridWindowSynthesis_G728_16s()
 */
ryxStatus ryxsHybridWindowLogGain_G728_16s(const int16_t *src, int16_t *dst, HybridWindowState_G728 *state);

/**
 * @brief Levinson-Durbin recursion that can stop and go on (G.728 Annex G, blocks 37, 44 and 50).
 *
 * From order 0 it starts anew; else it continues where an earlier call on the same autocorrelation stopped, with the
 * coefficients, energy and format that this call left. All coefficients have a common format, Q15, Q14 or Q13, which
 * changes on the way when one would not fit.
 *
 * @param[in]     autoCorr     to + 1 autocorrelations, lag 0 first
 * @param[in]     from         order that is there already, 0..49
 * @param[in]     to           order to reach, from + 1..50
 * @param[in,out] coefficients `from` predictor coefficients a[1..from]; a[1..to] afterwards
 * @param[in,out] energy       residual energy in the scale of autoCorr[0]; output only from order 0
 * @param[in,out] fraction     15, 14 or 13: fraction bits of the coefficients; output only from order 0
 * @param[in,out] reflection   first reflection coefficient in Q15; written from order 0 only
 * @return #ryxStsOk; #ryxStsOverflow when the autocorrelation makes no stable predictor or the coefficients do not fit Q13:
 *         then nothing is written; #ryxStsNullPtr; #ryxStsBadSize for from < 0 or to <= from; #ryxStsOutOfRange for to > 50
 *         or, from > 0, another number of fraction bits
 */
ryxStatus ryxsLevinsonDurbin_G728_16s(const int16_t *autoCorr, int from, int to, int16_t *coefficients, int16_t *energy,
                                      int16_t *fraction, int16_t *reflection);

/**
 * A Levinson-Durbin recursion of ryxsLevinsonDurbinJoint_G728_16s(). With `autoCorr` filled, by a hybrid window for example,
 * and `order` 0 it is ready to begin. It holds no pointers and may be copied.
 */
typedef struct LevinsonDurbin_G728 {
    int16_t autoCorr[51];     /**< autocorrelations, lag 0 first, as far as the order to reach */
    int16_t coefficients[50]; /**< predictor coefficients a[1..order] */
    int16_t order;            /**< order that is there already */
    int16_t energy;           /**< residual energy in the scale of autoCorr[0] */
    int16_t fraction;         /**< 15, 14 or 13: fraction bits of the coefficients */
    int16_t reflection;       /**< first reflection coefficient in Q15 */
} LevinsonDurbin_G728;

/**
 * @brief Levinson-Durbin recursions side by side (G.728 Annex G, blocks 37, 44 and 50).
 *
 * Each ends as with ryxsLevinsonDurbin_G728_16s() of its own. A recursion is a chain of steps that wait for each other; of
 * each three recursions in a row, the steps up to order 16 share the time of those of one.
 *
 * @param[in,out] recursions `count` different recursions; the ones that fail stay as they are, and their `order` tells
 * @param[in]     orders     order to reach of each, above its `order` and up to 50
 * @param[in]     count      number of recursions, 1 or more
 * @return #ryxStsOk; #ryxStsOverflow when one or more failed as ryxsLevinsonDurbin_G728_16s() does; #ryxStsNullPtr, also for
 *         one of `recursions`; #ryxStsBadSize for count < 1; then for the first of the recursions with such a fault
 *         #ryxStsBadSize for order < 0 or an order to reach that is not above it, or #ryxStsOutOfRange for one above 50 or,
 *         order > 0, another number of fraction bits
 */
ryxStatus ryxsLevinsonDurbinJoint_G728_16s(LevinsonDurbin_G728 *const *recursions, const int *orders, int count);

/**
 * @brief ryxsLevinsonDurbinJoint_G728_16s() that also tells what the first recursion is at an order on its way (G.728 Annex G,
 * block 50 of the decoder).
 *
 * The decoder's post-filter follows the predictor at order 10 and the synthesis filter the one at order 50: so neither needs
 * a recursion of its own, and the first 10 orders go beside another recursion as well.
 *
 * @param[in,out] recursions as with ryxsLevinsonDurbinJoint_G728_16s()
 * @param[in]     orders     as with ryxsLevinsonDurbinJoint_G728_16s()
 * @param[in]     count      as with ryxsLevinsonDurbinJoint_G728_16s()
 * @param[in]     via        order, above that of the first recursion and up to the one that it is to reach
 * @param[out]    passed     the first recursion at that order, whether or not it fails later; its `autoCorr` and what is behind
 *                           `via` coefficients stay as they are. With `order` 0 and else as before if the recursion does
 *                           not get there. Not one of `recursions`
 * @return as ryxsLevinsonDurbinJoint_G728_16s(), then #ryxStsBadSize for a `via` that is not above the first recursion's order,
 *         or #ryxStsOutOfRange for one above the order that it is to reach; #ryxStsNullPtr also for `passed`
 */
ryxStatus ryxsLevinsonDurbinJointVia_G728_16s(LevinsonDurbin_G728 *const *recursions, const int *orders, int count,
                                              int via, LevinsonDurbin_G728 *passed);

/** Bandwidth expansions of ryxsBandwidthExpand_G728_16s(): coefficient i is multiplied by the i-th power of a number. */
enum {
    ryxG728SynthesisExpansion = 0,      /**< 253/256, 50 coefficients: synthesis filter */
    ryxG728LogGainExpansion = 1,        /**< 29/32, 10 coefficients: log-gain predictor */
    ryxG728WeightingPoleExpansion = 2,  /**< 0.6, 10 coefficients: poles of the weighting filter */
    ryxG728WeightingZeroExpansion = 3,  /**< 0.9, 10 coefficients: its zeros */
    ryxG728PostFilterPoleExpansion = 4, /**< 0.75, 10 coefficients: poles of the short-term post-filter */
    ryxG728PostFilterZeroExpansion = 5, /**< 0.65, 10 coefficients: its zeros */
    ryxG728ErasureExpansion = 6         /**< 0.97, 50 coefficients: synthesis filter in erasures (Annex I) */
};

/**
 * @brief Bandwidth expansion (G.728 Annex G, blocks 38, 45 and 51; Annex I).
 * @param[in]  src       10 or 50 predictor coefficients
 * @param[in]  fraction  15, 14 or 13: their fraction bits
 * @param[in]  expansion #ryxG728SynthesisExpansion or its kin
 * @param[out] dst       as many coefficients in Q14; may be `src`
 * @return #ryxStsOk; #ryxStsOverflow when a coefficient had to be limited, where the recommendation keeps its old ones;
 *         #ryxStsNullPtr; #ryxStsOutOfRange for another number of fraction bits or another expansion
 */
ryxStatus ryxsBandwidthExpand_G728_16s(const int16_t *src, int16_t fraction, int16_t expansion, int16_t *dst);

/**
 * @brief From block floating point to fixed point, rounded and limited.
 * @param[in]  src      5 samples
 * @param[in]  exponent their exponent
 * @param[in]  fraction fraction bits of the result, 0..15: 2 in front of the post-filter, 3 for PCM (G.728 counts input of
 *                      16 bits as Q3)
 * @param[out] dst      5 samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange
 */
ryxStatus ryxsConvertBlock_G728_16s(const int16_t *src, int16_t exponent, int16_t fraction, int16_t *dst);

/**
 * @brief ryxsConvertBlock_G728_16s() for the four vectors of a cycle.
 * @param[in]  src       20 samples
 * @param[in]  exponents 4 exponents, one for each vector of five
 * @param[in]  fraction  fraction bits of the result, 0..15
 * @param[out] dst       20 samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange
 */
ryxStatus ryxsConvertCycle_G728_16s(const int16_t *src, const int16_t *exponents, int16_t fraction, int16_t *dst);

/**
 * @brief LPC residual of decoded speech (G.728 Annex G, block 81).
 * @param[in]  coefficients 10 coefficients of the inverse filter in Q13
 * @param[in]  src          src[-10..4]: decoded speech in Q2, ten past samples and the vector
 * @param[out] dst          5 samples of residual in Q1
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsResidualFilter_G728_16s(const int16_t *coefficients, const int16_t *src, int16_t *dst);

/**
 * @brief ryxsResidualFilter_G728_16s() for the four vectors of a cycle.
 * @param[in]  coefficients 10 coefficients of the inverse filter in Q13
 * @param[in]  src          src[-10..19]: decoded speech in Q2, ten past samples and those of a cycle
 * @param[out] dst          20 samples of residual in Q1
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsResidualFilterCycle_G728_16s(const int16_t *coefficients, const int16_t *src, int16_t *dst);

/**
 * @brief Low-pass filter and 4:1 decimation of the residual (G.728 Annex G, block 82).
 * @param[in]     src    src[-3..19]: residual in Q1, three past samples and those of a cycle
 * @param[out]    dst    5 samples
 * @param[in,out] memory the last 3 outputs of the filter before decimation; zeros at the start
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsDecimationFilter_G728_16s(const int16_t *src, int16_t *dst, int16_t *memory);

/**
 * @brief Pitch lag of the post-filter (G.728 Annex G, block 82).
 *
 * The best lag of the decimated residual is refined on the full one. Where it lies more than six above the previous lag,
 * the best near that one replaces it if its tap is large enough: the lag found may be a multiple of the pitch.
 *
 * @param[in]  residual    the last 240 samples of the residual in Q1
 * @param[in]  decimated   the last 60 samples of the decimated residual
 * @param[in]  previousLag lag of the previous cycle, 20..140; 50 at the start
 * @param[out] lag         20..140
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange
 */
ryxStatus ryxsPitchSearch_G728_16s(const int16_t *residual, const int16_t *decimated, int16_t previousLag,
                                   int16_t *lag);

/**
 * @brief Pitch tap and the long-term post-filter's gains (G.728 Annex G, blocks 83 and 84).
 * @param[in]  speech    the last 240 samples of decoded speech in Q0
 * @param[in]  lag       20..140
 * @param[out] tap       pitch tap in Q14, 0..16384
 * @param[out] gain      gain of the long-term post-filter in Q14
 * @param[out] pitchGain gain of the sample one lag back in Q16; 0 for a tap below 0.6
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange
 */
ryxStatus ryxsPitchTap_G728_16s(const int16_t *speech, int16_t lag, int16_t *tap, int16_t *gain, int16_t *pitchGain);

/** Memory of the post-filter: an opaque block of 40 bytes at any address. */
typedef struct PostFilterState_G728 PostFilterState_G728;

/**
 * @brief Reports the size of the post-filter's memory: 40 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPostFilterGetStateSize_G728_16s(int *size);

/**
 * @brief Clears the post-filter's memory.
 * @param[out] state block of 40 bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsPostFilterInit_G728_16s(PostFilterState_G728 *state);

/**
 * @brief Long-term and short-term post-filter with tilt compensation (G.728 Annex G, blocks 71 and 72).
 * @param[in]     src       5 samples of decoded speech in Q2
 * @param[in]     speech    decoded speech in Q0 (`src` shifted right by two): speech[-140..4], of which
 *                          speech[-lag..4-lag] count
 * @param[in]     lag       20..140
 * @param[in]     gain      from ryxsPitchTap_G728_16s(); 16384 at the start
 * @param[in]     pitchGain from ryxsPitchTap_G728_16s(); 0 at the start
 * @param[in]     zeros     10 coefficients in Q14, from ryxsPostFilterCoefficients_G728_16s()
 * @param[in]     poles     10 coefficients in Q14
 * @param[in]     tilt      tilt compensation in Q14
 * @param[out]    dst       5 samples in Q2
 * @param[in,out] state     initialised memory
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange
 */
ryxStatus ryxsPostFilter_G728_16s(const int16_t *src, const int16_t *speech, int16_t lag, int16_t gain,
                                  int16_t pitchGain, const int16_t *zeros, const int16_t *poles, int16_t tilt,
                                  int16_t *dst, PostFilterState_G728 *state);

/**
 * @brief Automatic gain control of the post-filter (G.728 Annex G, blocks 73 to 77), and the step to PCM.
 * @param[in]     speech 5 samples in front of the post-filter in Q2
 * @param[in]     src    5 samples behind it in Q2
 * @param[out]    dst    5 samples of 16-bit PCM; may be `src`
 * @param[in,out] scale  smoothed scale in Q14; 16384 at the start
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsGainControl_G728_16s(const int16_t *speech, const int16_t *src, int16_t *dst, int16_t *scale);

/**
 * @brief The post-filter of a cycle (G.728 Annex G, blocks 71 to 77): ryxsPostFilter_G728_16s() and
 *        ryxsGainControl_G728_16s() for four vectors.
 *
 * The long-term filter changes in the middle of a cycle, once the pitch is known: each half, 10 samples, has a lag and gains
 * of its own.
 *
 * @param[in]     src        20 samples of decoded speech in Q2
 * @param[in]     speech     decoded speech in Q0 (`src` shifted right by two): speech[-140..-1], in front of the cycle
 * @param[in]     lags       20..140 for each half
 * @param[in]     gains      from ryxsPitchTap_G728_16s() for each half; 16384 at the start
 * @param[in]     pitchGains from ryxsPitchTap_G728_16s() for each half; 0 at the start
 * @param[in]     zeros      10 coefficients in Q14, from ryxsPostFilterCoefficients_G728_16s()
 * @param[in]     poles      10 coefficients in Q14
 * @param[in]     tilt       tilt compensation in Q14
 * @param[out]    dst        20 samples of 16-bit PCM
 * @param[in,out] scale      smoothed scale in Q14; 16384 at the start
 * @param[in,out] state      initialised memory of the post-filter
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange
 */
ryxStatus ryxsPostProcess_G728_16s(const int16_t *src, const int16_t *speech, const int16_t *lags, const int16_t *gains,
                                   const int16_t *pitchGains, const int16_t *zeros, const int16_t *poles, int16_t tilt,
                                   int16_t *dst, int16_t *scale, PostFilterState_G728 *state);

/**
 * @brief Coefficients of the post-filter and of the inverse filter (G.728 Annex G, block 85).
 * @param[in]  lpc        10 predictor coefficients, the synthesis filter's recursion stopped at order 10
 * @param[in]  fraction   15, 14 or 13: their fraction bits
 * @param[in]  reflection first reflection coefficient in Q15
 * @param[out] inverse    10 coefficients of ryxsResidualFilter_G728_16s() in Q13
 * @param[out] zeros      10 coefficients in Q14
 * @param[out] poles      10 coefficients in Q14
 * @param[out] tilt       in Q14
 * @return #ryxStsOk; #ryxStsOverflow when the poles do not fit: then only `inverse` is written; #ryxStsNullPtr;
 *         #ryxStsOutOfRange for another number of fraction bits
 */
ryxStatus ryxsPostFilterCoefficients_G728_16s(const int16_t *lpc, int16_t fraction, int16_t reflection,
                                              int16_t *inverse, int16_t *zeros, int16_t *poles, int16_t *tilt);

/** Memory of the concealment: an opaque block of 364 bytes at any address. */
typedef struct ConcealmentState_G728 ConcealmentState_G728;

/**
 * @brief Reports the size of the concealment's memory: 364 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsConcealmentGetStateSize_G728_16s(int *size);

/**
 * @brief Clears the concealment's past excitation and seeds its random generator.
 * @param[out] state block of 364 bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsConcealmentInit_G728_16s(ConcealmentState_G728 *state);

/**
 * @brief Prepares the concealment of the next 10 ms (G.728 Annex I).
 *
 * At the start of an erasure the pitch tap decides between a periodic and a random excitation. The level then falls every
 * 10 ms, to nothing after 50 or 60 ms.
 *
 * @param[in]     elapsed parts of 10 ms since the erasure began, at least 0
 * @param[in]     tap     pitch tap in Q14, from ryxsPitchTap_G728_16s(); counts where `elapsed` is 0
 * @param[in]     lag     20..140, from ryxsPitchSearch_G728_16s(); counts where `elapsed` is 0
 * @param[in,out] state   initialised memory
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange
 */
ryxStatus ryxsConcealmentSetup_G728_16s(int elapsed, int16_t tap, int16_t lag, ConcealmentState_G728 *state);

/**
 * @brief Excitation of an erased vector (G.728 Annex I).
 * @param[out]    excitation 5 samples
 * @param[out]    exponent   their exponent
 * @param[out]    logGain    their log-gain in Q9
 * @param[in,out] state      memory after ryxsConcealmentSetup_G728_16s()
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsConcealmentExcitation_G728_16s(int16_t *excitation, int16_t *exponent, int16_t *logGain,
                                             ConcealmentState_G728 *state);

/**
 * @brief Keeps the excitation of a vector, received or concealed, for later erasures (G.728 Annex I).
 * @param[in]     excitation 5 samples
 * @param[in]     exponent   their exponent
 * @param[in,out] state      initialised memory
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsConcealmentUpdate_G728_16s(const int16_t *excitation, int16_t exponent, ConcealmentState_G728 *state);

/**
 * @brief ryxsConcealmentUpdate_G728_16s() for the four vectors of a cycle.
 * @param[in]     excitation 20 samples
 * @param[in]     exponents  4 exponents, one for each vector of five
 * @param[in,out] state      initialised memory
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxsConcealmentUpdateCycle_G728_16s(const int16_t *excitation, const int16_t *exponents,
                                              ConcealmentState_G728 *state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
