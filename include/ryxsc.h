/**
 * @file ryxsc.h
 * @brief Public interface of ryxSC, a library of speech-coding primitives for x86-64 Linux.
 *
 * ryxSC offers the building blocks from which speech codecs are assembled, one exported function per block. The
 * fixed-point results equal those of the ITU-T, ETSI or 3GPP recommendation bit for bit, on every processor.
 *
 * **Memory.** The caller owns every buffer and every state block. Nothing is allocated, kept or freed behind the
 * caller's back. Input and output vectors are ordinary arrays and need no alignment beyond that of their elements;
 * state blocks may lie at any address. Source and destination must not overlap unless a function says so.
 *
 * **States.** Ask for the size, allocate that many bytes, initialise, work block by block, free:
 * @code
 * int size;
 * ryxsSBADPCMEncodeStateSize_G722_16s(&size);
 * SBADPCMState_G722 *state = malloc((size_t)size);
 * ryxsSBADPCMEncodeInit_G722_16s(state);
 * while (read_subbands(subbands, 160))
 *     ryxsSBADPCMEncode_G722_16s(subbands, codes, 160, state);
 * free(state);
 * @endcode
 * A block holds plain values only. It may be copied, but some kinds are used from the next 16-byte boundary inside the
 * caller's memory, so a copy must lie at the same distance from such a boundary.
 *
 * **Errors.** Every function returns a ::ryxStatus. Zero is success. A negative status is an error: the function has
 * written nothing, neither to an output nor to a state. A positive status is a warning: all outputs are valid. Checks
 * stop at the first failure, null pointers first.
 *
 * **Threads.** The library has no mutable state of its own. Calls may run on any number of threads at once as long as
 * no two of them share a state block or an output buffer.
 *
 * **Names.** `ryxs` + operation + `_` + codec + `_` + element types (`16s` is a signed 16-bit integer, `8u` an unsigned
 * octet, two types are input and output). The suffix `_I` marks a function that rewrites its first vector in place.
 */
#ifndef RYXSC_H
#define RYXSC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup status Status values
 * @brief What every function returns.
 * @{
 */

/** Result of every function: 0 success, negative error (nothing was written), positive warning (outputs are valid). */
typedef int32_t ryxStatus;

/** Values of ::ryxStatus. */
enum {
    ryxStsOk = 0,             /**< success */
    ryxStsOverflow = 12,      /**< warning: a result was saturated, or an LP analysis found an unstable filter */
    ryxStsLsfLowClamped = 13, /**< warning: the lowest decoded LSF was raised to its floor (G.723.1: no full spacing) */
    ryxStsLsfHighClamped = 14, /**< warning: the highest decoded LSF was lowered to its ceiling */
    ryxStsLsfClamped = 15,     /**< warning: both ends of the decoded LSF vector were clamped */
    ryxStsErr = -2,            /**< an internal set-up step failed */
    ryxStsBadArg = -5,         /**< a length or configuration argument is invalid */
    ryxStsBadSize = -6,        /**< a length, order or lag is below 1 or outside the accepted sizes */
    ryxStsOutOfRange = -7,     /**< an argument lies outside its permitted range or set */
    ryxStsNullPtr = -8,        /**< a required pointer is null */
    ryxStsNoMem = -9,          /**< scratch memory could not be obtained */
    ryxStsBadIndex = -11,      /**< a received index, flag or decoded delay lies outside its range */
    ryxStsBadScale = -13,      /**< a scale factor is negative */
    ryxStsBadOrder = -15,      /**< the order of an internal transform is above 30 */
    ryxStsBadFlag = -16,       /**< the normalisation flag of an internal transform is not 1, 2, 4 or 8 */
    ryxStsBadContext = -17,    /**< a specification or state block does not carry the identifier of its kind */
    ryxStsBadShift = -32       /**< a shift count is negative */
};

/** @} */

/**
 * @defgroup version Version
 * @brief Which library, and which of its processor variants, is in use.
 * @{
 */

/** Version record of a processor variant. Constant; never to be changed or freed by the caller. */
typedef struct ryxLibraryVersion {
    int32_t majorVersion;  /**< major version */
    int32_t minorVersion;  /**< minor version */
    int32_t majorBuild;    /**< update number */
    int32_t build;         /**< revision number */
    char targetCpu[4];     /**< processor code, "u8" or "n8", padded with zero bytes */
    const char *name;      /**< library name and variant, zero-terminated */
    const char *version;   /**< version text, zero-terminated */
    const char *buildDate; /**< build date, zero-terminated */
} ryxLibraryVersion;

/**
 * @brief Returns the version record of the variant that this process uses.
 *
 * The variant is chosen once, when the library is loaded: "n8" on processors of the low-power Wren family, "u8"
 * everywhere else. Both give the same results; this record is the only difference that can be seen.
 *
 * @return pointer to a constant record, never null, the same on every call
 */
const ryxLibraryVersion *ryxscGetLibVersion(void);

/** @} */

/**
 * @defgroup g722 ITU-T G.722
 * @brief Sub-band ADPCM codec for 7 kHz speech at 64, 56 and 48 kbit/s: QMFs, encoder, decoder, concealment helpers.
 *
 * Sub-band and code arrays are interleaved: element 2j belongs to the low band and element 2j+1 to the high band of
 * pair j. A length `len` counts 16-bit elements, two per pair, which is also the number of 16 kHz samples.
 *
 * An encoder is ryxsQMFEncode_G722_16s() followed by ryxsSBADPCMEncode_G722_16s(); a decoder is
 * ryxsSBADPCMDecode_G722_16s() followed by ryxsQMFDecode_G722_16s(). The G.722 octet is
 * `(high code << 6) | low code`; packing it is left to the caller.
 * @{
 */

/** State of a G.722 ADPCM encoder or decoder: an opaque block of the size that the size getters report. */
typedef struct SBADPCMState_G722 SBADPCMState_G722;

/** State of ryxsFilterHighband_G722_16s_I(); zero both values before the first block. */
typedef struct HighbandFilterState_G722 {
    int16_t scaledInput; /**< previous input after the input gain */
    int16_t output;      /**< previous output */
} HighbandFilterState_G722;

/** Decoder modes of ITU-T G.722, the `mode` of ryxsSBADPCMDecode_G722_16s(). */
enum {
    ryxG722Mode64k = 1, /**< 64 kbit/s: all six bits of the low-band code */
    ryxG722Mode56k = 2, /**< 56 kbit/s: the upper five bits */
    ryxG722Mode48k = 3  /**< 48 kbit/s: the upper four bits */
};

/**
 * @brief Reports the size of the encoder's state block: 144 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMEncodeStateSize_G722_16s(int *size);

/**
 * @brief Initialises an encoder state to the reset values of ITU-T G.722.
 *
 * The state is kept from the next 16-byte boundary inside the block, so every call must get the same pointer.
 *
 * @param[out] state block of 144 bytes at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMEncodeInit_G722_16s(SBADPCMState_G722 *state);

/**
 * @brief Encodes sub-band samples to G.722 codes (ITU-T G.722, clauses 3 and 6.2.1).
 *
 * The low band is always quantised with six bits; a lower rate is made by dropping the last one or two bits of its code.
 * Blocks of any even length give the same codes as one long block.
 *
 * @param[in]     src   interleaved sub-band samples of ryxsQMFEncode_G722_16s(), -16384..16383; larger values are
 *                      legal, the differences saturate
 * @param[out]    dst   interleaved codes, `len` elements: low band 0..63, high band 0..3. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in,out] state initialised encoder state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsSBADPCMEncode_G722_16s(const int16_t *src, int16_t *dst, int len, SBADPCMState_G722 *state);

/**
 * @brief Reports the size of the decoder's state block: 144 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMDecodeStateSize_G722_16s(int *size);

/**
 * @brief Initialises a decoder state to the reset values of ITU-T G.722.
 *
 * The state is kept from the next 16-byte boundary inside the block, so every call must get the same pointer.
 *
 * @param[out] state block of 144 bytes at any address
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsSBADPCMDecodeInit_G722_16s(SBADPCMState_G722 *state);

/**
 * @brief Decodes G.722 codes to sub-band samples (ITU-T G.722, clauses 4 and 6.2.2).
 *
 * The mode concerns the low-band output only. The state does not depend on it, so it may change from call to call.
 *
 * @param[in]     src   interleaved codes; the low six bits of even and the low two bits of odd elements count, bits
 *                      above are ignored. At 56 and 48 kbit/s the code bits stay in their places (the unused low bits
 *                      carry whatever the channel put there)
 * @param[out]    dst   interleaved sub-band samples, `len` elements, -16384..16383. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in]     mode  1: 64 kbit/s, 2: 56 kbit/s, every other value: 48 kbit/s
 * @param[in,out] state initialised decoder state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsSBADPCMDecode_G722_16s(const int16_t *src, int16_t *dst, int len, int16_t mode, SBADPCMState_G722 *state);

/**
 * @brief Re-seeds the low-band predictor after frames were concealed, and slows or resets the scale factors.
 *
 * The low-band delay lines restart from the concealed signal, the predictor coefficients stay. The log scale factor of
 * the high band is halved; with `reset` the scale factors of both bands return to their start values instead.
 *
 * @param[in]     recon the last two low-band output samples, the older first
 * @param[in]     sl    low-band prediction for the next sample
 * @param[in]     reset non-zero: reset the scale factors
 * @param[in,out] state initialised decoder state
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadIndex when the block holds a high-band log scale factor out of range,
 *         which no sequence of calls produces (the factor is halved, nothing else changes)
 */
ryxStatus ryxsSBADPCMDecodeStateUpdate_G722_16s(const int16_t *recon, int16_t sl, int reset, SBADPCMState_G722 *state);

/**
 * @brief Splits 16 kHz speech into two bands with the 24-tap transmit QMF (ITU-T G.722, clauses 3.1 and 5.2.1).
 *
 * @param[in]     src   speech at 16 kHz, full 16-bit range
 * @param[out]    dst   interleaved sub-band samples, `len` elements, limited to -16384..16383. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in,out] delay delay line of 24 samples, the newest first; zero it before the first block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsQMFEncode_G722_16s(const int16_t *src, int16_t *dst, int len, int16_t *delay);

/**
 * @brief Joins two bands to 16 kHz speech with the 24-tap receive QMF (ITU-T G.722, clauses 4.4 and 5.2.2).
 *
 * @param[in]     src   interleaved sub-band samples, -16384..16383 for a regular signal; sums and differences of larger
 *                      values wrap to 16 bits
 * @param[out]    dst   speech at 16 kHz, `len` elements, saturated to 16 bits. May be `src`
 * @param[in]     len   number of elements, even, at least 2
 * @param[in,out] delay delay line of 24 values, differences at even and sums at odd positions, the newest pair first;
 *                      zero it before the first block
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1 or odd
 */
ryxStatus ryxsQMFDecode_G722_16s(const int16_t *src, int16_t *dst, int len, int16_t *delay);

/**
 * @brief Removes the offset of the decoded high band with a first-order high-pass filter, in place (ITU-T G.722,
 *        packet loss concealment).
 *
 * @param[in,out] srcDst interleaved sub-band samples; elements 1, 3, 5, ... are filtered, the others stay
 * @param[in]     len    number of elements, at least 1. `(len + 1) / 2` high-band samples are filtered: with an odd
 *                       `len` the element at index `len` as well, so the array must hold `len + 1` elements
 * @param[in,out] state  filter memory
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsFilterHighband_G722_16s_I(int16_t *srcDst, int len, HighbandFilterState_G722 *state);

/**
 * @brief Low-pass filters with nine taps and keeps every fourth sample (ITU-T G.722, packet loss concealment).
 *
 * The filter's gain is slightly above 1 and its 32-bit accumulator wraps, so a constant input near full scale changes
 * its sign.
 *
 * @param[in]  src input; `src[-5]` to `src[-1]` are read as the samples before the block
 * @param[in]  len number of input samples, at least 1; a remainder of `len` modulo 4 is not used
 * @param[out] dst `len / 4` output samples; none for `len` 1 to 3
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` below 1
 */
ryxStatus ryxsDownsampleFilter_G722_16s(const int16_t *src, int len, int16_t *dst);

/** @} */

/**
 * @defgroup g726 ITU-T G.726
 * @brief ADPCM codec for telephone speech at 16, 24, 32 and 40 kbit/s.
 *
 * Linear samples are 14-bit values, -8192..8191, in 16-bit elements. A code stands in one octet, right-aligned, 2 to 5
 * bits wide.
 * @{
 */

/** State of a G.726 encoder: an opaque block of 88 bytes at any address. */
typedef struct EncoderState_G726 EncoderState_G726;

/** State of a G.726 decoder: an opaque block of 92 bytes at any address. */
typedef struct DecoderState_G726 DecoderState_G726;

/** Bit rates of ITU-T G.726 in the library's enumeration of speech bit rates. */
enum {
    ryxG726Rate16k = 17, /**< 16 kbit/s, 2-bit codes */
    ryxG726Rate24k = 22, /**< 24 kbit/s, 3-bit codes */
    ryxG726Rate32k = 23, /**< 32 kbit/s, 4-bit codes */
    ryxG726Rate40k = 24  /**< 40 kbit/s, 5-bit codes */
};

/** Output laws of the G.726 decoder. */
enum {
    ryxG726MuLaw = 0, /**< ITU-T G.711 mu-law octets */
    ryxG726ALaw = 1,  /**< ITU-T G.711 A-law octets, even bits inverted as on the line */
    ryxG726Linear = 2 /**< 14-bit linear samples */
};

/**
 * @brief Reports the size of the encoder's state block: 88 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsEncodeGetStateSize_G726_16s8u(int *size);

/**
 * @brief Initialises an encoder state to the reset values of ITU-T G.726.
 * @param[out] state block of 88 bytes at any address
 * @param[in]  rate  17, 22, 23 or 24 for 16, 24, 32 or 40 kbit/s
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate
 */
ryxStatus ryxsEncodeInit_G726_16s8u(EncoderState_G726 *state, int rate);

/**
 * @brief Encodes linear samples to G.726 codes (ITU-T G.726, clause 3).
 *
 * Blocks of any length give the same codes as one long block.
 *
 * @param[in,out] state initialised encoder state
 * @param[in]     src   linear samples, 14 bits, -8192..8191; larger values are used as they are
 * @param[out]    dst   `len` codes, one per octet, upper bits zero
 * @param[in]     len   number of samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` 0. A negative `len` is accepted and does nothing
 */
ryxStatus ryxsEncode_G726_16s8u(EncoderState_G726 *state, const int16_t *src, uint8_t *dst, int len);

/**
 * @brief Reports the size of the decoder's state block: 92 bytes.
 * @param[out] size number of bytes
 * @return #ryxStsOk, or #ryxStsNullPtr
 */
ryxStatus ryxsDecodeGetStateSize_G726_8u16s(int *size);

/**
 * @brief Initialises a decoder state to the reset values of ITU-T G.726.
 * @param[out] state block of 92 bytes at any address
 * @param[in]  rate  17, 22, 23 or 24 for 16, 24, 32 or 40 kbit/s
 * @param[in]  law   0: mu-law octets, 1: A-law octets, 2: linear samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for any other rate or, with a valid rate, any other law
 */
ryxStatus ryxsDecodeInit_G726_8u16s(DecoderState_G726 *state, int rate, int law);

/**
 * @brief Decodes G.726 codes to linear samples or to G.711 octets (ITU-T G.726, clause 4).
 *
 * With a companded law the synchronous coding adjustment is applied, so that tandem coding does not accumulate
 * distortion.
 *
 * @param[in,out] state initialised decoder state
 * @param[in]     src   `len` codes, one per octet; bits above the code's width are ignored
 * @param[out]    dst   `len` values: linear samples -8192..8191, or octets 0..255 of the chosen law
 * @param[in]     len   number of samples
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for `len` 0. A negative `len` is accepted and does nothing
 */
ryxStatus ryxsDecode_G726_8u16s(DecoderState_G726 *state, const uint8_t *src, int16_t *dst, int len);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
