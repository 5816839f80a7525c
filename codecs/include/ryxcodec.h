/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxcodec.h
 * @brief Public interface of ryxcodec: whole speech codecs on top of ryxSC.
 *
 * One interface for all codecs: find a codec, ask for the size of its encoder or decoder, allocate that many octets,
 * initialise, work frame by frame, free. Streams and decoded speech equal those of the recommendation's own fixed-point
 * program bit for bit.
 * @code
 * const ryxCodec *codec = ryxcodecFind("gsm-fr");
 * int size;
 * ryxcodecEncoderGetSize(codec, &size);
 * void *encoder = malloc((size_t)size);
 * ryxcodecEncoderInit(codec, encoder, NULL);
 * while (read_speech(speech, codec->frameLength)) {
 *     int octets;
 *     ryxcodecEncode(encoder, speech, frame, &octets); // frame: codec->largestFrame octets
 *     send(frame, octets);
 * }
 * free(encoder);
 * @endcode
 *
 * **Memory.** The caller owns everything; nothing is allocated or kept. A block may lie at any address and may be copied
 * to one at the same distance from a 16-byte boundary. Calls on different blocks may run on different threads at once.
 *
 * **Frames** are the octets of the codec's RTP payload format; each codec's page in docs/ says which.
 *
 * **Errors.** Statuses are those of ryxSC. A negative one means that nothing was written and the block is as it was.
 */
#ifndef RYXCODEC_H
#define RYXCODEC_H

#include <stdint.h>

#include <ryxsc/status.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup codec Codecs
 * @brief Encoders and decoders, frame by frame.
 * @{
 */

/** A bit rate of a codec. */
typedef struct ryxCodecRate {
    const char *name;  /**< in kbit/s, as people write it: "12.2" */
    int bitsPerSecond; /**< 12200 */
} ryxCodecRate;

/** What a codec can do, in ryxCodec::features. */
enum {
    ryxCodecDtx = 1,           /**< silence descriptors instead of speech frames in pauses, ryxCodecOptions::dtx */
    ryxCodecConcealment = 2,   /**< a decoder that fills lost frames; without it a lost frame becomes silence */
    ryxCodecRateSwitching = 4, /**< ryxcodecSetRate() from frame to frame */
    ryxCodecPostFilter = 8,    /**< a post-filter that ryxCodecOptions::noPostFilter leaves out */
    ryxCodecAnyLength = 16,    /**< a code for each sample or two: a stream may end within a frame */
    ryxCodecDownlinkDtx = 32   /**< discontinuous transmission has a form of its own for the downlink */
};

/** A codec. Constant records of the library; never to be changed or freed. */
typedef struct ryxCodec {
    const char *name;          /**< "gsm-fr" */
    const char *title;         /**< "GSM full rate (GSM 06.10)" */
    int sampleRate;            /**< in Hz */
    int frameLength;           /**< samples of a frame */
    const ryxCodecRate *rates; /**< its bit rates, rising */
    int rateCount;             /**< how many, at least 1 */
    int defaultRate;           /**< bits per second when ryxCodecOptions::rate is 0 */
    int largestFrame;          /**< octets of the largest frame */
    int delay;                 /**< samples by which decoded speech lags behind the original */
    int features;              /**< sum of #ryxCodecDtx and its kin */
} ryxCodec;

/** Choices of an encoder or decoder. All 0, or no record at all, is the usual choice. */
typedef struct ryxCodecOptions {
    int rate; /**< bits per second; 0 for the codec's default. Decoders need it where the frames do not tell */
    int dtx;  /**< encoders: 1 switches discontinuous transmission on; #ryxCodecDownlinkDtx: 2 for the downlink */
    int noPostFilter;   /**< decoders: 1 leaves the post-filter out */
    int noHighPass;     /**< encoder of g723: 1 leaves the high-pass filter out */
    int receiveHandler; /**< decoder of gsm-fr: 1 switches substitution, muting and comfort noise on */
    int lossFrame;      /**< decoder of g728: frames in a row that are lost together, 1..8; 0 for 4 (10 ms) */
    int packing; /**< g726: 0 first code in the least significant bits (RFC 3551), 1 in the most significant ones */
    int law;     /**< decoder of g726: 0 linear samples, 1 A-law, 2 mu-law octets, one in each sample */
} ryxCodecOptions;

/** What the receiver knows of a frame, for ryxcodecDecodeMarked(); a sum of these. */
enum {
    ryxFrameBad = 1,        /**< the bits are there but the frame is unusable as it is */
    ryxFrameDegraded = 2,   /**< AMR: RX_SPEECH_DEGRADED, usable with doubt */
    ryxFrameOnset = 4,      /**< AMR: RX_ONSET, the first frame after a pause follows */
    ryxFrameTimeAligned = 8 /**< gsm-fr: the frame lies at the place of a silence descriptor (TAF) */
};

/**
 * @brief Finds a codec.
 * @param[in] name as ryxCodec::name has it
 * @return its record; null when there is none of this name
 */
const ryxCodec *ryxcodecFind(const char *name);

/**
 * @brief Lists the codecs.
 * @param[in] index from 0 on
 * @return the record of the codec at this place; null after the last one
 */
const ryxCodec *ryxcodecAt(int index);

/**
 * @brief Size of an encoder.
 * @param[in]  codec from ryxcodecFind() or ryxcodecAt()
 * @param[out] size  octets that an encoder takes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `codec` is no record of the library
 */
ryxStatus ryxcodecEncoderGetSize(const ryxCodec *codec, int *size);

/**
 * @brief Brings an encoder into its initial state.
 * @param[in]  codec   from ryxcodecFind() or ryxcodecAt()
 * @param[out] encoder as many octets as ryxcodecEncoderGetSize() says
 * @param[in]  options may be null
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `codec` is no record of the library; #ryxStsOutOfRange for a
 *         rate that the codec does not have, discontinuous transmission where it has none, or another option outside
 *         its range
 */
ryxStatus ryxcodecEncoderInit(const ryxCodec *codec, void *encoder, const ryxCodecOptions *options);

/**
 * @brief Encodes a frame.
 * @param[in,out] encoder an initialised encoder
 * @param[in]     speech  ryxCodec::frameLength samples
 * @param[out]    frame   room for ryxCodec::largestFrame octets
 * @param[out]    octets  how many were written; 0 when nothing is to be sent
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `encoder` is none
 */
ryxStatus ryxcodecEncode(void *encoder, const int16_t *speech, uint8_t *frame, int *octets);

/**
 * @brief Changes the rate from the next frame on.
 * @param[in,out] encoder an initialised encoder
 * @param[in]     rate    bits per second
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `encoder` is none; #ryxStsOutOfRange for a rate that the
 *         codec does not have, or that it cannot change to
 */
ryxStatus ryxcodecSetRate(void *encoder, int rate);

/**
 * @brief Size of a decoder.
 * @param[in]  codec from ryxcodecFind() or ryxcodecAt()
 * @param[out] size  octets that a decoder takes
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext when `codec` is no record of the library
 */
ryxStatus ryxcodecDecoderGetSize(const ryxCodec *codec, int *size);

/**
 * @brief Brings a decoder into its initial state.
 * @param[in]  codec   from ryxcodecFind() or ryxcodecAt()
 * @param[out] decoder as many octets as ryxcodecDecoderGetSize() says
 * @param[in]  options may be null
 * @return as ryxcodecEncoderInit()
 */
ryxStatus ryxcodecDecoderInit(const ryxCodec *codec, void *decoder, const ryxCodecOptions *options);

/**
 * @brief Decodes a frame.
 * @param[in,out] decoder an initialised decoder
 * @param[in]     frame   its octets; null for a lost frame
 * @param[in]     octets  how many; 0 when nothing was sent. Of a lost frame how many it had, 0 or less where that is not
 *                        known; only g729 makes use of it
 * @param[out]    speech  ryxCodec::frameLength samples
 * @return #ryxStsOk; #ryxStsNullPtr when `decoder` or `speech` is null; #ryxStsBadContext when `decoder` is none;
 *         #ryxStsBadSize for a number of octets that no frame of the codec has; #ryxStsBadIndex for a frame type that is
 *         reserved. Any bits of a legal length decode
 */
ryxStatus ryxcodecDecode(void *decoder, const uint8_t *frame, int octets, int16_t *speech);

/**
 * @brief Decodes a frame of which the receiver knows more than its octets.
 * @param[in,out] decoder an initialised decoder
 * @param[in]     frame   its octets; null for a lost frame
 * @param[in]     octets  how many
 * @param[in]     marks   sum of #ryxFrameBad and its kin; those that the codec does not know have no effect, but a bad
 *                        frame is a lost one to every codec that has no use for its bits
 * @param[out]    speech  ryxCodec::frameLength samples
 * @return as ryxcodecDecode()
 */
ryxStatus ryxcodecDecodeMarked(void *decoder, const uint8_t *frame, int octets, int marks, int16_t *speech);

/** @} */

/**
 * @defgroup format Stream formats
 * @brief Frames of a codec in a file, one unit after the other behind a header.
 *
 * A unit is what a format cannot cut: mostly one frame, two frames where they share an octet. Reading and writing keep no
 * state, so a stream can be taken from anywhere and cut at any unit.
 * @{
 */

/** A stream format. Constant records of the library; never to be changed or freed. */
typedef struct ryxCodecFormat {
    const char *name;   /**< "amr" */
    const char *title;  /**< "AMR storage format (RFC 4867)" */
    const char *codecs; /**< names of the codecs that it is for, each followed by a blank; empty when it takes any */
    int framesPerUnit;  /**< 1 or 2 */
    int largestUnit;    /**< octets of the largest unit */
    const char *header; /**< what a stream begins with, empty mostly */
} ryxCodecFormat;

/** A frame as a stream holds it. */
typedef struct ryxCodecFrame {
    uint8_t octets[256]; /**< the frame as ryxcodecEncode() makes it */
    int count;           /**< how many octets; 0 when nothing was sent */
    int lost;            /**< 1 when the stream says that the frame was erased */
    int marks;           /**< for ryxcodecDecodeMarked() */
} ryxCodecFrame;

/**
 * @brief Finds a stream format.
 * @param[in] name as ryxCodecFormat::name has it
 * @return the record of the first format of this name; null when there is none
 */
const ryxCodecFormat *ryxcodecFormatFind(const char *name);

/**
 * @brief Lists the stream formats.
 * @param[in] index from 0 on
 * @return the record of the format at this place; null after the last one
 */
const ryxCodecFormat *ryxcodecFormatAt(int index);

/**
 * @brief Takes the next unit of a stream apart.
 * @param[in]  format from ryxcodecFormatFind() or ryxcodecFormatAt()
 * @param[in]  codec  the codec of the stream, one that the format takes
 * @param[in]  rate   bits per second, for codecs whose frames do not tell; 0 for the codec's default
 * @param[in]  src    the stream from the unit on, without the header
 * @param[in]  size   octets there, at least 1; only the end of the stream may offer less than
 *                    ryxCodecFormat::largestUnit
 * @param[out] frames ryxCodecFormat::framesPerUnit frames
 * @param[out] used   octets of the unit
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext for records that are not the library's; #ryxStsOutOfRange for a
 *         codec or rate that does not go with the format; #ryxStsBadSize when the stream ends within the unit;
 *         #ryxStsBadIndex for content that the format does not have
 */
ryxStatus ryxcodecReadUnit(const ryxCodecFormat *format, const ryxCodec *codec, int rate, const uint8_t *src, int size,
                           ryxCodecFrame *frames, int *used);

/**
 * @brief Makes the next unit of a stream.
 * @param[in]  format from ryxcodecFormatFind() or ryxcodecFormatAt()
 * @param[in]  codec  the codec of the stream, one that the format takes
 * @param[in]  frames ryxCodecFormat::framesPerUnit frames
 * @param[out] dst    room for ryxCodecFormat::largestUnit octets
 * @param[out] octets how many were written
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadContext for records that are not the library's; #ryxStsOutOfRange for a
 *         codec that does not go with the format; #ryxStsBadSize for a frame that the format cannot hold, among them
 *         those of which nothing is sent where it has no place for that
 */
ryxStatus ryxcodecWriteUnit(const ryxCodecFormat *format, const ryxCodec *codec, const ryxCodecFrame *frames,
                            uint8_t *dst, int *octets);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
