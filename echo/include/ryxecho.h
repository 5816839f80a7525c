/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxecho.h
 * @brief Public interface of ryxecho: a whole echo canceller on top of ryxSC.
 *
 * What the loudspeaker plays (the far end) and what the microphone picks up go in, block by block; the microphone's
 * signal without the echo comes out.
 * @code
 * ryxEchoOptions options;
 * int size;
 * ryxechoDefaults(&options);
 * options.sampleRate = 16000;
 * options.callLength = 160;
 * ryxechoGetSize(&options, &size);
 * void *canceller = malloc((size_t)size);
 * ryxechoInit(canceller, &options);
 * while (next_block(far, microphone)) {
 *     ryxechoProcess(canceller, far, microphone, output, 160);
 *     send(output);
 * }
 * free(canceller);
 * @endcode
 *
 * **Memory.** The caller owns everything; nothing is allocated or kept. A canceller may lie at any address and may be
 * copied to one at the same distance from a 16-byte boundary. Calls on different cancellers may run on different threads
 * at once.
 *
 * **Both signals at the same time.** Sample n of the far end is what is handed to the loudspeaker when sample n of the
 * microphone is taken. What lies between, buffers, converters and the room, counts as echo path: it must fit the tail.
 * An echo that comes before its cause is not found.
 *
 * **Bad input.** Samples that are not finite count as 0, and those more than 30 dB above full scale are limited: the
 * canceller never holds anything that is not finite.
 *
 * **Errors.** Statuses are those of ryxSC. A negative one means that nothing was written and the canceller is as it was.
 */
#ifndef RYXECHO_H
#define RYXECHO_H

#include <stdint.h>

#include <ryxsc/status.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup echo Echo canceller
 * @brief A whole echo canceller, block by block.
 * @{
 */

/** How the echo path is found, in ryxEchoOptions::method. */
enum {
    ryxEchoTransform = 0, /**< exact sub-band filters (overlap-save), a step for every band: the recommended one */
    ryxEchoFullband = 1,  /**< sample by sample: a delay of a millisecond at most, and most work; 8 and 16 kHz */
    ryxEchoSubband = 2    /**< an oversampled filter bank, which adds delay; 8 and 16 kHz */
};

/** Choices of a canceller. ryxechoDefaults() fills in the usual ones. */
typedef struct ryxEchoOptions {
    int sampleRate; /**< 8000, 16000, 32000 or 48000 Hz; usually 8000 */
    int method;     /**< #ryxEchoTransform (usual), #ryxEchoFullband or #ryxEchoSubband */
    int tail;       /**< length of the echo path in milliseconds, 8..500; usually 64 */
    /** Samples that the transform method handles at a time: a power of two that is 4 to 32 ms long; 0 (usual) for 8 ms, at
     *  48 kHz 10.7 ms. Twice as long is half the work and the same quality. The other methods take no notice. */
    int blockLength;
    /** Every call will bring a multiple of so many samples, 1 to 60 ms of them; the more it has in common with the length
     *  of the inner blocks, the less delay. 1 (usual) for calls of any length. */
    int callLength;
    /** 1 (usual): what the filter leaves of the echo, and noise, are weakened band by band. Adds a delay of 8 ms (an inner
     *  block) with #ryxEchoTransform, of 16 ms with #ryxEchoFullband, none with #ryxEchoSubband. 0: linear, near speech
     *  passes unchanged. */
    int suppression;
    /** By how many decibels suppression may weaken residual echo, `noiseBound` to 120; usually 40. */
    float echoBound;
    /** By how many decibels suppression may weaken steady noise of the near end, 0 to `echoBound`; usually 12. 0 leaves
     *  the noise, and fills echo up to it: no need for comfort noise. */
    float noiseBound;
    /** 1: the disabling tone of modems (2100 Hz with phase reversals, ITU-T G.168) in either direction lets the microphone
     *  pass unchanged, until the tone's channel has been silent for 250 ms. 8 and 16 kHz. 0 (usual): no notice of it. */
    int tone;
    /** For ryxechoProcessFloat(): what full scale is in the caller's samples, 32768 (usual) or 1. */
    float fullScale;
} ryxEchoOptions;

/** What ryxechoGetInfo() tells. */
typedef struct ryxEchoInfo {
    int delay;           /**< samples by which the output is late; constant */
    int blockLength;     /**< samples of an inner block */
    int taps;            /**< length of the filter in samples: the tail, rounded up to whole inner blocks */
    int doubleTalk;      /**< 1 while somebody speaks at the near end */
    int disabled;        /**< 1 while a disabling tone lets the microphone pass */
    int frozen;          /**< 1 between ryxechoFreeze() with 1 and with 0 */
    unsigned takenOver;  /**< how often a newly learnt path replaced the proven one */
    unsigned restored;   /**< how often that was taken back */
    unsigned anew;       /**< how often the path was dropped because it made more echo than there was */
    float echoReduction; /**< microphone over output of the linear filter, smoothed over 110 ms, in decibels */
} ryxEchoInfo;

/**
 * @brief Fills in the usual choices.
 * @param[out] options 8 kHz, 64 ms, transform method, suppression between bounds of 40 and 12 dB, calls of any length
 * @return #ryxStsOk; #ryxStsNullPtr
 */
ryxStatus ryxechoDefaults(ryxEchoOptions *options);

/**
 * @brief Size of a canceller.
 * @param[in]  options what ryxechoInit() will be given
 * @param[out] size    octets that the canceller takes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadArg for an unknown method or a flag other than 0 and 1; #ryxStsOutOfRange
 *         for a rate, tail, block or call length, bound or full scale outside its range or set, and for a tone at a rate
 *         that has none
 */
ryxStatus ryxechoGetSize(const ryxEchoOptions *options, int *size);

/**
 * @brief Brings a canceller into its initial state: it knows nothing of the echo path.
 * @param[out] canceller as many octets as ryxechoGetSize() says
 * @param[in]  options   copied
 * @return as ryxechoGetSize()
 */
ryxStatus ryxechoInit(void *canceller, const ryxEchoOptions *options);

/**
 * @brief Forgets the echo path and all signals, as if initialised anew with the same options.
 * @param[in,out] canceller an initialised canceller
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `canceller` is none
 */
ryxStatus ryxechoReset(void *canceller);

/**
 * @brief Cancels the echo in 16-bit samples.
 *
 * How a signal is cut into calls makes no difference to the output.
 *
 * @param[in,out] canceller  an initialised canceller
 * @param[in]     far        `len` samples of the far end
 * @param[in]     microphone `len` samples of the near end
 * @param[out]    output     `len` samples, ryxEchoInfo::delay late. May be `microphone` or `far`
 * @param[in]     len        a multiple of ryxEchoOptions::callLength, at most 60 ms
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `canceller` is none; #ryxStsBadSize for `len`
 */
ryxStatus ryxechoProcess(void *canceller, const int16_t *far, const int16_t *microphone, int16_t *output, int len);

/**
 * @brief Cancels the echo in float samples, like ryxechoProcess(). Both kinds of calls may alternate.
 * @param[in,out] canceller  an initialised canceller
 * @param[in]     far        `len` samples of the far end, full scale ryxEchoOptions::fullScale
 * @param[in]     microphone `len` samples of the near end
 * @param[out]    output     `len` samples, ryxEchoInfo::delay late. May be `microphone` or `far`
 * @param[in]     len        a multiple of ryxEchoOptions::callLength, at most 60 ms
 * @return as ryxechoProcess()
 */
ryxStatus ryxechoProcessFloat(void *canceller, const float *far, const float *microphone, float *output, int len);

/**
 * @brief Stops or resumes learning. A frozen canceller goes on cancelling with the path that it knows.
 * @param[in,out] canceller an initialised canceller
 * @param[in]     on        1 to freeze, 0 to learn again
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `canceller` is none; #ryxStsBadArg for other values of `on`
 */
ryxStatus ryxechoFreeze(void *canceller, int on);

/**
 * @brief Tells the delay, and what the canceller makes of the signals.
 * @param[in]  canceller an initialised canceller
 * @param[out] info      see ryxEchoInfo
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `canceller` is none
 */
ryxStatus ryxechoGetInfo(const void *canceller, ryxEchoInfo *info);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
