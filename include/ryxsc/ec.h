/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/ec.h
 * @brief Echo cancellation.
 */
#ifndef RYXSC_EC_H
#define RYXSC_EC_H

#include <stdint.h>

#include "status.h"
#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

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
 * and 9 KB of stack, above that they take scratch memory from the core library for the length of the call.
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
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsErr (another state), #ryxStsBadContext (its sizes overwritten); #ryxStsNoMem
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
 *         ryxsSubbandProcessInit_16s() did not make, #ryxStsBadContext for overwritten sizes in it; #ryxStsNoMem
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
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsErr (another state), #ryxStsBadContext (its sizes overwritten); #ryxStsNoMem
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
 *         ryxsSubbandProcessInit_16s() did not make, #ryxStsBadContext for overwritten sizes in it; #ryxStsNoMem
 */
ryxStatus ryxsSubbandSynthesis_32sc16s_Sfs(const ryx32sc *src, int16_t *dst, SubbandProcessState *state,
                                           int scaleFactor, void *workBuf);

/**
 * @brief Transforms N samples without a window, in single precision: X[k] = sum over n of src[n] exp(-2 pi i k n / N).
 * @param[in] src     N samples
 * @param[out] dst    N/2 + 1 bins, k = 0 .. N/2; the imaginary parts of the first and the last are 0. Must not
 *                    overlap `src`
 * @param[in] state   of ryxsSubbandProcessInit_32f(); only its transform is used, so that one serves all signals
 * @param     workBuf buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsErr (another state), #ryxStsBadContext (its sizes overwritten); #ryxStsNoMem
 */
ryxStatus ryxsSubbandForward_EC_32f32fc(const float *src, ryx32fc *dst, SubbandProcessState *state, void *workBuf);

/**
 * @brief Transforms N/2 + 1 bins back, divided by N, all in single precision.
 *
 * Where the sums cancel, some 1e-7 of the loudest sample is left. ryxsSubbandSynthesis_32fc32f() computes in double
 * precision.
 *
 * @param[in] src     N/2 + 1 bins; the imaginary parts of the first and the last are ignored
 * @param[out] dst    N samples. Must not overlap `src`
 * @param[in] state   of ryxsSubbandProcessInit_32f(); only its transform is used
 * @param     workBuf buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsErr (another state), #ryxStsBadContext (its sizes overwritten); #ryxStsNoMem
 */
ryxStatus ryxsSubbandInverse_EC_32fc32f(const ryx32fc *src, float *dst, SubbandProcessState *state, void *workBuf);

/**
 * @brief Constrains the coefficients of a tap to an impulse response of `tapsLen` samples: transforms them back, clears the
 *        rest, transforms again. In single precision.
 * @param[in,out] coefs N/2 + 1 coefficients; the imaginary parts of the first and the last become 0
 * @param[in] tapsLen  samples of the response that are kept, at least 1; N and more keep all
 * @param[in] state    of ryxsSubbandProcessInit_32f(); only its transform is used
 * @param     workBuf  buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `tapsLen`; #ryxStsErr (another state), #ryxStsBadContext (its sizes
 *         overwritten); #ryxStsNoMem
 */
ryxStatus ryxsSubbandConstrain_EC_32fc_I(ryx32fc *coefs, int tapsLen, SubbandProcessState *state, void *workBuf);

/**
 * @brief Synthesises one frame like ryxsSubbandSynthesis_32fc32f(), the inverse transform in single precision.
 * @param[in]     src     N/2 + 1 bins; the imaginary parts of the first and the last are ignored
 * @param[out]    dst     `hop` samples
 * @param[in,out] state   initialised state that only synthesises
 * @param         workBuf buffer of the reported size; its content is of no use between calls
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsErr (another state), #ryxStsBadContext (its sizes overwritten); #ryxStsNoMem
 */
ryxStatus ryxsSubbandSynthesis_EC_32fc32f(const ryx32fc *src, float *dst, SubbandProcessState *state, void *workBuf);

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
 * Up to order 8 the function needs up to 11 KB of stack, from order 9 on scratch memory.
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

/**
 * @brief Filters with two sets of coefficients at once: both results are those of ryxsFIRSubband_EC_32fc().
 * @param[in]  history  `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]  coefs1   `taps` pointers to spectra of coefficients, the first set
 * @param[in]  coefs2   the second set
 * @param[out] dst1     echo estimate of the first set, `numBands` values. Neither output overlaps the other or an input
 * @param[out] dst2     that of the second set
 * @param[in]  taps     number of frames, 1..255
 * @param[in]  numBands number of bands, 1..4097
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps`
 */
ryxStatus ryxsFIRSubbandPair_EC_32fc(const ryx32fc *const *history, const ryx32fc *const *coefs1,
                                     const ryx32fc *const *coefs2, ryx32fc *dst1, ryx32fc *dst2, int taps,
                                     int numBands);

/**
 * @brief Adapts two sets of coefficients at once (NLMS in every band), in single precision.
 *
 * coefs[t][k] += (step[k] * error[k]) * conj(history[t][k]), step times error rounded to single precision, which all other
 * operations are in: half the work of ryxsFIRSubbandCoeffUpdate_EC_32fc_I().
 *
 * @param[in]     step1    steps of the first set, at least 0 (-0.0 and NaN pass)
 * @param[in]     step2    steps of the second set
 * @param[in]     history  `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     error1   near-end spectrum less the echo estimate of the first set, `numBands` values
 * @param[in]     error2   that of the second set
 * @param[in,out] coefs1   `taps` pointers to spectra of coefficients, the first set
 * @param[in,out] coefs2   the second set, which does not overlap the first
 * @param[in]     taps     number of frames, 1..255
 * @param[in]     numBands number of bands, 1..4097
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps`; #ryxStsBadSize for
 *         a negative step
 */
ryxStatus ryxsFIRSubbandCoeffUpdatePair_EC_32fc_I(const double *step1, const double *step2,
                                                  const ryx32fc *const *history, const ryx32fc *error1,
                                                  const ryx32fc *error2, ryx32fc *const *coefs1, ryx32fc *const *coefs2,
                                                  int taps, int numBands);

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
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext for a state with lengths below 1
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
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext for a state with lengths below 1
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
 * @defgroup eccontrolfixed Echo cancellation: adaptation control in integer arithmetic
 * @brief The adaptation controllers for cancellers whose signals, coefficients and steps are integers.
 *
 * **Full band.** The controller of ryxsFullbandController_EC_32f() for ryxsNLMS_EC_16s() and ryxsFIR_EC_16s(): taps in
 * Q15, steps times 2^39, the multiplier in Q15 with 32768 for 1. Energies are exact sums of squares in 64 bits. A mean is
 * (old * a + new * (32768 - a) + 16384) >> 15; ratios are compared by integer multiples (2^31 samples cannot overflow
 * them). Per block: ryxsFullbandControllerUpdate_EC_16s(), then the two filters with its steps times the multiplier,
 * (steps[n] * mu + 16384) >> 15 in 64 bits, then ryxsFullbandController_EC_16s(). With the two filters in 16 bits it
 * follows the canceller in single precision to within 1.5 dB while that weakens the echo by up to 22 dB, and ends at 25 to
 * 35 dB, where the 16 bits of the taps end.
 *
 * **Sub-band.** The controller of ryxsSubbandController_EC_32f() for ryxsFIRSubband_EC_32sc_Sfs() and
 * ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I(), with the same rules, events and times. Spectra are at unit level, as
 * ryxsSubbandAnalysis_16s32sc_Sfs() makes them with a scale factor of 0; coefficients are in Q`scaleFactor`, the
 * filter's scale factor. Steps come as mantissa and exponent of every band for an update with a scale factor of 0.
 * Energies of samples are exact sums in 64 bits, smoothed with factors in Q15 and compared by integer multiples (like
 * 10 em > 13 ed). Numbers of bands are mantissas of 32 bits with an exponent each, rounded down after every
 * operation; the sums of squares that they come from are exact. Only the initialisation uses floating point.
 *
 * In an overlap-save canceller the constraint is best applied to what has to go: the inverse transform of a tap's
 * coefficients, its first half cleared, transformed again and subtracted. What stays then keeps all of its 32 bits.
 * @{
 */

/** State of a full-band adaptation controller in integers: an opaque block of 88 bytes, used from the next 16-byte
 *  boundary. */
typedef struct FullbandControllerState_EC_16s FullbandControllerState_EC_16s;

/**
 * @brief Reports the size of a controller's state block: 88 bytes.
 * @param[in]  blockLen   samples per block, at least 1
 * @param[in]  filterLen  taps of the filters, at least 1
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @param[out] size       number of bytes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `blockLen` or `filterLen` below 1; #ryxStsOutOfRange for any other
 *         rate
 */
ryxStatus ryxsFullbandControllerGetSize_EC_16s(int blockLen, int filterLen, int sampleRate, int *size);

/**
 * @brief Initialises a controller.
 *
 * Energies are smoothed over 50 ms, the multiplier over 10 ms, the memory of divergence over 20 ms. The smoothing factors
 * are 1 - t + t*t/2 for blocks of t time constants, in Q15 and at most 1: choose blocks shorter than 10 ms. With blocks of
 * 20 ms and more the multiplier never moves.
 *
 * @param[out] state      block of 88 bytes at any address
 * @param[in]  blockLen   samples per block, at least 1
 * @param[in]  filterLen  taps of the filters, at least 1
 * @param[in]  sampleRate 8000 or 16000 Hz
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for `blockLen` or `filterLen` below 1; #ryxStsOutOfRange for any other
 *         rate
 */
ryxStatus ryxsFullbandControllerInit_EC_16s(FullbandControllerState_EC_16s *state, int blockLen, int filterLen,
                                            int sampleRate);

/**
 * @brief Forgets the energies of the residuals and of the coefficients, for instance when both sets were cleared. All
 *        else stays.
 * @param[in,out] state initialised state
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsFullbandControllerReset_EC_16s(FullbandControllerState_EC_16s *state);

/**
 * @brief Computes the step size of every sample of a block from the energy of the far end.
 *
 * With the energy E over the length of the filter and the floor F of 1500000 per tap: steps[n] = (2^38 + E/2) / E while
 * E is above F, otherwise (2^39 + F/2) / F, both rounded down; at most 366504. E begins as the sum of the squares of x[-1]
 * to x[-filterLen]; for every further sample x[n-1] enters and x[n-filterLen] leaves, so x[-filterLen] stays.
 *
 * @param[in]     x     far end, `blockLen` samples; `x[-filterLen]` to `x[-1]` are read as the samples before the block
 * @param[in]     s     near end (microphone), `blockLen` samples: what the residuals are compared with
 * @param[out]    steps `blockLen` step sizes for ryxsNLMS_EC_16s(), not yet scaled by the multiplier
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext for a state with lengths below 1
 */
ryxStatus ryxsFullbandControllerUpdate_EC_16s(const int16_t *x, const int16_t *s, int32_t *steps,
                                              FullbandControllerState_EC_16s *state);

/**
 * @brief Compares both filters behind a block, saves or restores coefficients, and scales the steps of the next block.
 *
 * With the smoothed energies of the residuals: when 10 times that of the adaptive filter is below that of the saved one
 * and 5 times the change of the energy of the adaptive coefficients against its mean is below that energy, the adaptive
 * set is saved. Otherwise, when 10 times the adaptive one is above 13 times the other, the saved set is restored. While
 * saving prevails and 5 times the residual of the saved filter is below the near end's energy, the multiplier goes
 * towards 0, otherwise towards 32768. Rounding stops it short of either end, by 40 of 32768 with blocks of one sample and
 * less with longer ones.
 *
 * @param[in]     e1    residual of the adaptive filter, `blockLen` samples
 * @param[in]     e2    residual of the saved filter, `blockLen` samples
 * @param[in,out] a     adaptive coefficients, `filterLen` values; overwritten when they are restored
 * @param[in,out] b     saved coefficients, `filterLen` values; overwritten when the others are saved
 * @param[out]    mu    multiplier for the steps of the next block in Q15, 0..32768
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext for a state with lengths below 1
 */
ryxStatus ryxsFullbandController_EC_16s(const int16_t *e1, const int16_t *e2, int16_t *a, int16_t *b, int32_t *mu,
                                        FullbandControllerState_EC_16s *state);

/** State of a sub-band controller in integers; its size is reported by ryxsSubbandControllerGetSize_EC_16s(). */
typedef struct SubbandControllerState_EC_16s SubbandControllerState_EC_16s;

/**
 * @brief Reports the size of a sub-band controller: 208 bytes, and 8 for each band and tap and for three rows of bands,
 *        rounded up to 16.
 * @param[in]  numBands   bands of the spectra, 1..4097: half the length of the transform, plus 1
 * @param[in]  taps       frames of the filters, 1..255
 * @param[in]  hop        samples of a block, at least 1
 * @param[in]  sampleRate 8000, 16000, 32000 or 48000 Hz
 * @param[out] size       number of bytes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps`; #ryxStsBadArg for
 *         `hop`; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsSubbandControllerGetSize_EC_16s(int numBands, int taps, int hop, int sampleRate, int *size);

/**
 * @brief Initialises a sub-band controller: nothing is known of the path.
 * @param[out] state       block of the reported size, at any address
 * @param[in]  numBands    bands of the spectra, 1..4097
 * @param[in]  taps        frames of the filters, 1..255
 * @param[in]  hop         samples of a block, at least 1
 * @param[in]  sampleRate  8000, 16000, 32000 or 48000 Hz
 * @param[in]  scaleFactor of the filter, 0..31: the coefficients are in Q`scaleFactor`. 28 leaves room for values up to 8
 * @return as ryxsSubbandControllerGetSize_EC_16s(), then #ryxStsOutOfRange for `scaleFactor`
 */
ryxStatus ryxsSubbandControllerInit_EC_16s(SubbandControllerState_EC_16s *state, int numBands, int taps, int hop,
                                           int sampleRate, int scaleFactor);

/**
 * @brief Forgets everything, as the initialisation does. The caller clears both sets.
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerReset_EC_16s(SubbandControllerState_EC_16s *state);

/**
 * @brief Compares the errors of both sets, and of the backup while there is one, and copies or clears sets, like
 *        ryxsSubbandController_EC_32f().
 * @param[in]     s     near end (microphone), `hop` samples
 * @param[in]     e1    near end less the echo estimate of the main set
 * @param[in]     e2    near end less the echo estimate of the shadow set
 * @param[in]     e3    near end less the echo estimate of the backup; may be null unless one is on probation
 * @param[in,out] a     main set, `taps` pointers to spectra of `numBands` coefficients
 * @param[in,out] b     shadow set
 * @param[out]    event #ryxEcNone or its kin: whose error is whose
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandController_EC_16s(const int16_t *s, const int16_t *e1, const int16_t *e2, const int16_t *e3,
                                       ryx32sc *const *a, ryx32sc *const *b, int *event,
                                       SubbandControllerState_EC_16s *state);

/**
 * @brief Filters the far-end spectra with the backup, like ryxsFIRSubband_EC_32sc_Sfs() with the scale factor of the state.
 * @param[in]     history     `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[out]    dst         echo estimate, `numBands` values; not written when no backup is on probation
 * @param[out]    onProbation 1 when there is a backup, so that ryxsSubbandController_EC_16s() wants its error; otherwise 0
 * @param[in]     state       initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerBackup_EC_16s(const ryx32sc *const *history, ryx32sc *dst, int *onProbation,
                                             SubbandControllerState_EC_16s *state);

/**
 * @brief Computes the steps of both sets, like ryxsSubbandControllerUpdate_EC_32f().
 *
 * A step is mantissa * 2^-exponent in units of the coefficients: ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I() takes it as
 * it is, with a scale factor of 0. The mantissa is 16384..32767, within 7e-5 of the step below it; a step of 0 has 0
 * for both.
 *
 * @param[in]     history            `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     coefs              main set
 * @param[in]     error              spectrum of the error of the main set, `numBands` values
 * @param[out]    step               mantissas of the main set's steps, `numBands` values
 * @param[out]    stepExponent       their exponents
 * @param[out]    stepShadow         mantissas of the shadow set's steps
 * @param[out]    stepShadowExponent their exponents
 * @param[in,out] state              initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerUpdate_EC_16s(const ryx32sc *const *history, const ryx32sc *const *coefs,
                                             const ryx32sc *error, int32_t *step, int32_t *stepExponent,
                                             int32_t *stepShadow, int32_t *stepShadowExponent,
                                             SubbandControllerState_EC_16s *state);

/**
 * @brief Tells whether somebody speaks at the near end, like ryxsSubbandControllerDT_EC_32f().
 * @param[out] doubleTalk 1 or 0
 * @param[in]  state      initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerDT_EC_16s(int *doubleTalk, const SubbandControllerState_EC_16s *state);

/** @} */

/**
 * @defgroup ecsubband Echo cancellation: sub-band controller and noise filter
 * @brief What steers a sub-band echo canceller with two sets of coefficients, and what removes the rest of the echo.
 *
 * The **main** set makes the output. It learns with the step of a Kalman filter whose covariance is one number for each
 * band: a full step while the path is unknown, a small one when it is known or when somebody speaks at the near end, in
 * every band by itself. The **shadow** set always learns with a full step. Where it is better, which it is when the path has
 * changed, it takes over; the set that it replaces stays as a **backup** for 240 ms and returns if it turns out better.
 *
 * Per block: spectrum of the far end; estimates of both sets, and of the backup while there is one
 * (ryxsFIRSubbandPair_EC_32fc(), ryxsSubbandControllerBackup_EC_32f()); ryxsSubbandController_EC_32f() with the errors, whose
 * event says which error is whose; spectra of the errors; ryxsSubbandControllerUpdate_EC_32f();
 * ryxsFIRSubbandCoeffUpdatePair_EC_32fc_I(). The page on echo cancellation shows all of it.
 *
 * The constants fit signals in the 16-bit scale, full scale 32768. States are opaque and used from the next 16-byte
 * boundary; they hold no pointers into themselves.
 * @{
 */

/** State of a sub-band controller; its size is reported by ryxsSubbandControllerGetSize_EC_32f(). */
typedef struct SubbandControllerState_EC_32f SubbandControllerState_EC_32f;

/** State of a noise filter; its size is reported by ryxsNoiseFilterGetSize_EC_32f(). */
typedef struct NoiseFilterState_EC_32f NoiseFilterState_EC_32f;

/** What ryxsSubbandController_EC_32f() did, and whose error is whose from then on. */
enum {
    ryxEcNone = 0,        /**< nothing: `e1` belongs to the main set, `e2` to the shadow */
    ryxEcTakenOver = 1,   /**< the shadow became the main set: `e2` belongs to both */
    ryxEcShadowReset = 2, /**< the main set became the shadow: `e1` belongs to both */
    ryxEcAnew = 3,        /**< both were cleared: `s` belongs to both */
    ryxEcRestored = 4     /**< the backup became both: `e3` belongs to both */
};

/** What a noise filter weakens. */
enum {
    ryxEcFilterEcho = 1,  /**< residual echo, down to the noise */
    ryxEcFilterNoise = 2, /**< steady noise */
    ryxEcFilterBoth = 3   /**< both */
};

/**
 * @brief Reports the size of a sub-band controller.
 * @param[in]  numBands   bands of the spectra, 1..4097: half the length of the transform, plus 1
 * @param[in]  taps       frames of the filters, 1..255
 * @param[in]  hop        samples of a block, at least 1
 * @param[in]  sampleRate 8000, 16000, 32000 or 48000 Hz
 * @param[out] size       number of bytes; most of it holds a set of coefficients
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsOutOfRange for `taps`; #ryxStsBadArg for
 *         `hop`; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsSubbandControllerGetSize_EC_32f(int numBands, int taps, int hop, int sampleRate, int *size);

/**
 * @brief Initialises a sub-band controller: nothing is known of the path.
 * @param[out] state      block of the reported size, at any address
 * @param[in]  numBands   bands of the spectra, 1..4097
 * @param[in]  taps       frames of the filters, 1..255
 * @param[in]  hop        samples of a block, at least 1
 * @param[in]  sampleRate 8000, 16000, 32000 or 48000 Hz
 * @return as ryxsSubbandControllerGetSize_EC_32f()
 */
ryxStatus ryxsSubbandControllerInit_EC_32f(SubbandControllerState_EC_32f *state, int numBands, int taps, int hop,
                                           int sampleRate);

/**
 * @brief Forgets everything, as the initialisation does. The caller clears both sets.
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerReset_EC_32f(SubbandControllerState_EC_32f *state);

/**
 * @brief Compares the errors of both sets, and of the backup while there is one, and copies or clears sets.
 *
 * Energies em, es, ed of `e1`, `e2`, `s` are smoothed over 110 ms. At the end of a probation the backup is restored if it left
 * less than the main set over its length. Otherwise both sets are cleared when em > 1.3 ed (and above 100 per sample),
 * the shadow takes over when es < 0.5 em and es < 0.7 ed, and is reset when es > 4 em. An `e1` that is not finite clears
 * both sets, an `e2` that is not finite resets the shadow.
 *
 * @param[in]     s     near end (microphone), `hop` samples
 * @param[in]     e1    near end less the echo estimate of the main set
 * @param[in]     e2    near end less the echo estimate of the shadow set
 * @param[in]     e3    near end less the echo estimate of the backup; may be null unless one is on probation
 * @param[in,out] a     main set, `taps` pointers to spectra of `numBands` coefficients
 * @param[in,out] b     shadow set
 * @param[out]    event #ryxEcNone or its kin: whose error is whose
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandController_EC_32f(const float *s, const float *e1, const float *e2, const float *e3,
                                       ryx32fc *const *a, ryx32fc *const *b, int *event,
                                       SubbandControllerState_EC_32f *state);

/**
 * @brief Filters the far-end spectra with the backup, like ryxsFIRSubband_EC_32fc().
 * @param[in]     history     `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[out]    dst         echo estimate, `numBands` values; not written when no backup is on probation
 * @param[out]    onProbation 1 when there is a backup, so that ryxsSubbandController_EC_32f() wants its error; otherwise 0
 * @param[in]     state       initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerBackup_EC_32f(const ryx32fc *const *history, ryx32fc *dst, int *onProbation,
                                             SubbandControllerState_EC_32f *state);

/**
 * @brief Computes the steps of both sets from the uncertainty of the path and the near end's energy in every band.
 *
 * With T the length of a block, N = 2 (numBands - 1), P = `taps`, w2 and x2 the sums of |coefs[t][k]|^2 and
 * |history[t][k]|^2 over t:
 *
 *     v = A v + (1 - A) w2 / P, A = exp(-2 T / 1000 s);  psi = alpha psi + (1 - alpha) |error[k]|^2, alpha = exp(-T / 36 ms)
 *     step = v / (v x2 + psi N / hop + 1500 N);  residual = v x2 hop / N;  v = v (1 - step x2 hop / (N P))
 *     stepShadow = 1 / (x2 + 1500 N P)
 *
 * v is 4 / P at first, and raised when a shadow has taken over.
 *
 * @param[in]     history    `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     coefs      main set
 * @param[in]     error      spectrum of the error of the main set, `numBands` values
 * @param[out]    step       steps of the main set, `numBands` values
 * @param[out]    stepShadow steps of the shadow set, `numBands` values
 * @param[out]    residual   expected energy of the residual echo in `error`, `numBands` values, for the noise filter; may be
 *                           null
 * @param[in,out] state      initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerUpdate_EC_32f(const ryx32fc *const *history, const ryx32fc *const *coefs,
                                             const ryx32fc *error, double *step, double *stepShadow, float *residual,
                                             SubbandControllerState_EC_32f *state);

/**
 * @brief Computes step and regularisation for ryxsFIRSubbandAPCoeffUpdate_EC_32fc_I(), in place of
 *        ryxsSubbandControllerUpdate_EC_32f().
 *
 * The step is 1, the regularisation (psi N / hop + 1500 N) / v. With one regressor that is the same update; v falls `order`
 * times as fast.
 *
 * @param[in]     history  `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     coefs    main set
 * @param[in]     error    spectrum of the error of the main set, `numBands` values
 * @param[out]    step     two rows of `numBands` values: step and regularisation
 * @param[out]    residual expected energy of the residual echo in `error`, `numBands` values; may be null
 * @param[in]     order    number of regressors, at least 1
 * @param[in,out] state    initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none; #ryxStsOutOfRange for `order`
 */
ryxStatus ryxsSubbandAPControllerUpdate_EC_32f(const ryx32fc *const *history, const ryx32fc *const *coefs,
                                               const ryx32fc *error, double *const *step, float *residual, int order,
                                               SubbandControllerState_EC_32f *state);

/**
 * @brief Tells whether somebody speaks at the near end.
 *
 * That is so when the error of the last update, smoothed over 36 ms, held more than eight times (9 dB) what the residual
 * echo and a slowly rising floor explain, and for 32 ms after that. A path that has just changed looks the same until it is
 * discovered. The controller itself makes no use of it.
 *
 * @param[out] doubleTalk 1 or 0
 * @param[in]  state      initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsSubbandControllerDT_EC_32f(int *doubleTalk, const SubbandControllerState_EC_32f *state);

/**
 * @brief Reports the size of a noise filter.
 * @param[in]  numBands   bands of the spectra, 1..4097
 * @param[in]  hop        samples of a block, at least 1
 * @param[in]  sampleRate 8000, 16000, 32000 or 48000 Hz
 * @param[out] size       number of bytes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadBandCount for `numBands`; #ryxStsBadArg for `hop`; #ryxStsOutOfRange for any
 *         other rate
 */
ryxStatus ryxsNoiseFilterGetSize_EC_32f(int numBands, int hop, int sampleRate, int *size);

/**
 * @brief Initialises a noise filter.
 * @param[out] state      block of the reported size, at any address
 * @param[in]  numBands   bands of the spectra, 1..4097
 * @param[in]  hop        samples of a block, at least 1
 * @param[in]  sampleRate 8000, 16000, 32000 or 48000 Hz
 * @param[in]  mode       #ryxEcFilterEcho, #ryxEcFilterNoise or #ryxEcFilterBoth
 * @param[in]  echoBound  lowest gain where there is nothing but residual echo, at least 0; 0.01 is usual
 * @param[in]  noiseBound lowest gain where there is nothing but noise, `echoBound` to 1; 0.25 is usual. 1 leaves the noise
 * @return #ryxStsOk; #ryxStsNullPtr; as ryxsNoiseFilterGetSize_EC_32f(); #ryxStsBadArg for another mode; #ryxStsBadLevel
 *         for a bound below 0; #ryxStsBadBounds for `echoBound` above `noiseBound`; #ryxStsOutOfRange for a bound above 1
 */
ryxStatus ryxsNoiseFilterInit_EC_32f(NoiseFilterState_EC_32f *state, int numBands, int hop, int sampleRate, int mode,
                                     float echoBound, float noiseBound);

/**
 * @brief Forgets all energies, as the initialisation does.
 * @param[in,out] state initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none
 */
ryxStatus ryxsNoiseFilterReset_EC_32f(NoiseFilterState_EC_32f *state);

/**
 * @brief Weakens residual echo and noise in the spectrum of the error, in place.
 *
 * The spectra `echo` and `error` come from a bank of length N and hop N/2 whose window is the root of a Hann window
 * (sqrt(0.5 - 0.5 cos(2 pi (n + 0.5) / N))), so that the synthesis gives the signal back N - hop samples late. A gain
 * follows from the ratio of wanted to unwanted energy in each band (decision-directed), where unwanted is a noise floor
 * and residual echo: `residual`, the share of the echo that was left in the past, the white noise of a companded
 * microphone, and what is behind the last tap of a path that decays. A value that is not finite spoils only the block
 * that it is in; the estimates recover within seconds.
 *
 * @param[in]     echo     spectrum of the echo estimate, `numBands` values. This and the next three may be null with
 *                         #ryxEcFilterNoise
 * @param[in]     residual of ryxsSubbandControllerUpdate_EC_32f(), `numBands` values
 * @param[in]     history  `taps` pointers to far-end spectra of `numBands` values, the newest frame first
 * @param[in]     coefs    main set
 * @param[in]     taps     number of frames, 1..255; with 1 the path is taken to end there
 * @param[in,out] error    spectrum of the error, `numBands` values
 * @param[in,out] state    initialised state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `state` is none; #ryxStsOutOfRange for `taps`
 */
ryxStatus ryxsNoiseFilter_EC_32fc_I(const ryx32fc *echo, const float *residual, const ryx32fc *const *history,
                                    const ryx32fc *const *coefs, int taps, ryx32fc *error,
                                    NoiseFilterState_EC_32f *state);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
