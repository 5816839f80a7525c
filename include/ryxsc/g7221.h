/* SPDX-License-Identifier: BSD-2-Clause */
/**
 * @file ryxsc/g7221.h
 * @brief ITU-T G.722.1 and its Annex C.
 */
#ifndef RYXSC_G7221_H
#define RYXSC_G7221_H

#include <stdint.h>

#include "status.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup g7221 ITU-T G.722.1
 * @brief Transform codec for 7 kHz audio at 24 and 32 kbit/s and, in Annex C, for 14 kHz at 24, 32 and 48 kbit/s.
 *
 * A frame is 20 ms: `len` is 320 samples at 16 kHz or 640 samples at 32 kHz. The modulated lapped transform (MLT) gives
 * as many coefficients, of which the lower ones are coded in `regions` of 20: 14 regions at 16 kHz, 28 at 32 kHz.
 * Coefficients of a frame share a scale, `magShift` (-1..9): they are 2^magShift times as large as unscaled ones.
 *
 * An encoder is, in this order: ryxsMLTFwd_G7221_16s(), ryxsRegionPower_G7221_16s(), ryxsEnvelopeEncode_G7221_16s32u(),
 * ryxsCategorize_G7221_16s(), ryxsScaleRegions_G7221_16s_I(), ryxsRateControl_G7221_16s(),
 * ryxsHuffmanEncode_G7221_16s32u(). A decoder: ryxsEnvelopeDecode_G7221_8u16s(), ryxsCategorize_G7221_16s(),
 * ryxsHuffmanDecode_G7221_8u16s(), ryxsNoiseFill_G7221_16s_I(), ryxsFrameCheck_G7221_8u(),
 * ryxsConcealFrame_G7221_16s_I(), ryxsMLTInv_G7221_16s().
 *
 * A frame of bits starts with the most significant bit of its first octet. It holds the envelope codes, the
 * categorisation control (4 bits at 16 kHz, 5 at 32 kHz), the codes of the vectors, and ones to its end.
 * @{
 */

/** Sizes of the arrays that the functions below share. */
enum {
    ryxG7221Regions = 14,         /**< regions of a frame at 16 kHz */
    ryxG7221RegionsC = 28,        /**< regions of a frame at 32 kHz, Annex C */
    ryxG7221RegionLength = 20,    /**< coefficients of a region */
    ryxG7221VectorsPerRegion = 10 /**< room for the vectors of a region: 10, 5 or 4, as its category has it */
};

/**
 * @brief Type-IV DCT of the analysis, with the scaling of the fixed-point recommendation (ITU-T G.722.1).
 *
 * Halving butterflies, ten-point cores, rotations; every result is rounded and limited to 16 bits. At 320 samples small
 * constants are added to the input first. Takes any input; products are accumulated with limiting after each term.
 *
 * @param[in]  src input, `len` samples
 * @param[out] dst coefficients, `len`. May be `src`
 * @param[in]  len 320 or 640
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another `len`
 */
ryxStatus ryxsDCTFwd_G7221_16s(const int16_t *src, int16_t *dst, int len);

/**
 * @brief Type-IV DCT of the synthesis (ITU-T G.722.1).
 *
 * As ryxsDCTFwd_G7221_16s(), but only the first butterflies halve, with rounding offsets from a table; the others limit
 * to 16 bits. At 320 samples small constants are added to the result.
 *
 * @param[in]  src coefficients, `len`
 * @param[out] dst samples, `len`. May be `src`
 * @param[in]  len 320 or 640
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another `len`
 */
ryxStatus ryxsDCTInv_G7221_16s(const int16_t *src, int16_t *dst, int len);

/**
 * @brief Modulated lapped transform of a frame: window, scaling to the headroom, DCT (ITU-T G.722.1).
 *
 * @param[in]     src      frame, `len` samples, full 16-bit range
 * @param[in]     len      320 or 640
 * @param[out]    dst      coefficients, `len`. May be `src`
 * @param[out]    magShift scale of the coefficients, -1..9
 * @param[in,out] history  the previous frame, `len` samples; zero it before the first frame
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another `len`
 */
ryxStatus ryxsMLTFwd_G7221_16s(const int16_t *src, int len, int16_t *dst, int *magShift, int16_t *history);

/**
 * @brief Inverse modulated lapped transform: DCT, removal of the scale, window, overlap (ITU-T G.722.1).
 *
 * The recommendation's decoder program clears the two lowest bits of the samples before it writes them; this does not.
 *
 * @param[in]     src      coefficients, `len`
 * @param[in]     len      320 or 640
 * @param[in]     magShift scale of the coefficients, -1..15
 * @param[out]    dst      samples, `len`: those of the frame before. May be `src`
 * @param[in,out] overlap  second half of the previous transform, `len / 2` values; zero it before the first frame
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another `len`; #ryxStsOutOfRange for another `magShift`
 */
ryxStatus ryxsMLTInv_G7221_16s(const int16_t *src, int len, int magShift, int16_t *dst, int16_t *overlap);

/**
 * @brief Power index of each region: its standard deviation in steps of 3.01 dB (ITU-T G.722.1).
 *
 * @param[in]  src        coefficients, `20 * regions`
 * @param[in]  regions    14 or 28
 * @param[in]  magShift   scale of the coefficients, -1..9
 * @param[out] powerIndex `regions` values, the unscaled deviation being about 2^(index / 2); -23..29
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for another
 *         `magShift`
 */
ryxStatus ryxsRegionPower_G7221_16s(const int16_t *src, int regions, int magShift, int16_t *powerIndex);

/**
 * @brief Limits the power indices to what can be coded, and codes them (ITU-T G.722.1).
 *
 * Region 0 takes five bits; of the others the differences are coded, with a table for each region.
 *
 * @param[in]  powerIndex indices of ryxsRegionPower_G7221_16s(), `regions`, -32..32
 * @param[in]  regions    14 or 28
 * @param[out] coded      the indices as the decoder will have them, -15..24. May be `powerIndex`
 * @param[out] codes      `regions` code words, right-justified
 * @param[out] codeBits   `regions` lengths, 2..16
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for an index outside
 *         its range
 */
ryxStatus ryxsEnvelopeEncode_G7221_16s32u(const int16_t *powerIndex, int regions, int16_t *coded, uint32_t *codes,
                                          uint8_t *codeBits);

/**
 * @brief Decodes the power indices from the front of a frame, and finds the frame's scale (ITU-T G.722.1).
 *
 * The envelope codes never reach the end of a frame. Those of a damaged frame may give indices outside -15..24; their
 * standard deviations are then of no use, and ryxsFrameCheck_G7221_8u() reports the frame.
 *
 * @param[in]  src        frame, `bits / 8` octets
 * @param[in]  bits       bits of the frame: 480, 640 or 960
 * @param[in]  regions    14 or 28
 * @param[out] powerIndex `regions` values, -15..24 in a sound frame
 * @param[out] deviation  standard deviations in the scale of the coefficients, `regions` values, 0..23170
 * @param[out] magShift   scale of the coefficients, -1..9
 * @param[out] position   how many bits were read
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of bits or regions
 */
ryxStatus ryxsEnvelopeDecode_G7221_8u16s(const uint8_t *src, int bits, int regions, int16_t *powerIndex,
                                         int16_t *deviation, int *magShift, int *position);

/**
 * @brief Chooses the categories of the regions, that is their quantisers (ITU-T G.722.1).
 *
 * There are 16 categorisations at 16 kHz and 32 at 32 kHz. The first is the finest; the next follow from it by raising
 * the category of one region each, and `balances` names these regions; one that has category 7 already keeps it.
 * Encoder and decoder find the same ones.
 *
 * @param[in]  powerIndex    coded power indices, `regions`
 * @param[in]  regions       14 or 28
 * @param[in]  availableBits bits of the frame that are left for vectors, 0..960
 * @param[out] categories    of the finest categorisation, `regions` values, 0..7
 * @param[out] balances      regions in the order in which their category is raised: 15 values for 14 regions, 31 for 28
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for another number
 *         of bits; #ryxStsBadIndex when no region is left to choose, which takes indices outside -15..24, as a damaged frame
 *         may have them, or fewer than 89 bits
 */
ryxStatus ryxsCategorize_G7221_16s(const int16_t *powerIndex, int regions, int availableBits, int16_t *categories,
                                   int16_t *balances);

/**
 * @brief Scales loud regions down for quantisation, in place (ITU-T G.722.1).
 *
 * @param[in,out] srcDst      coefficients, `20 * regions`
 * @param[in]     powerIndex  coded power indices, `regions`, -15..24
 * @param[in]     regions     14 or 28
 * @param[in]     magShift    scale of the coefficients, -1..9
 * @param[out]    scaledIndex power indices of the scaled regions, `regions` values, 7..40
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for another
 *         `magShift` or power index
 */
ryxStatus ryxsScaleRegions_G7221_16s_I(int16_t *srcDst, const int16_t *powerIndex, int regions, int magShift,
                                       int16_t *scaledIndex);

/**
 * @brief Quantises one region (ITU-T G.722.1).
 *
 * @param[in]  src         scaled coefficients, 20
 * @param[in]  category    0..6; the vectors have 2, 2, 2, 4, 4, 5, 5 coefficients
 * @param[in]  scaledIndex power index of ryxsScaleRegions_G7221_16s_I(), 0..40
 * @param[out] vectors     index of each vector of magnitudes: 10, 10, 10, 5, 5, 4, 4 values, below 196, 100, 49, 625, 256,
 *                         243, 32, and zeros to the tenth element
 * @param[out] bits        bits of their codes and signs
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsOutOfRange for another category or power index
 */
ryxStatus ryxsQuantRegion_G7221_16s(const int16_t *src, int category, int scaledIndex, int16_t *vectors, int *bits);

/**
 * @brief Finds the categorisation with which the vectors fill the frame, and quantises them (ITU-T G.722.1).
 *
 * With the coarsest categorisation there may still be more bits than available; the frame is then cut.
 *
 * @param[in]     src           scaled coefficients, `20 * regions`
 * @param[in]     scaledIndex   power indices of ryxsScaleRegions_G7221_16s_I(), `regions`, 0..40
 * @param[in]     balances      of ryxsCategorize_G7221_16s(): 15 values for 14 regions, 31 for 28
 * @param[in]     regions       14 or 28
 * @param[in]     availableBits bits of the frame that are left for vectors
 * @param[in,out] categories    the finest categorisation; those of the chosen one afterwards
 * @param[out]    vectors       vector indices as ryxsQuantRegion_G7221_16s() gives them, those of region r from element
 *                              10 r on; `10 * regions` elements, zero where there is no vector
 * @param[out]    control       number of the chosen categorisation, 0..15 or 0..31
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for a power index
 *         outside its range; #ryxStsBadIndex for a category outside 0..7 or a balance that is no region
 */
ryxStatus ryxsRateControl_G7221_16s(const int16_t *src, const int16_t *scaledIndex, const int16_t *balances,
                                    int regions, int availableBits, int16_t *categories, int16_t *vectors,
                                    int *control);

/**
 * @brief Codes of the quantised vectors, with the signs of their non-zero coefficients (ITU-T G.722.1).
 *
 * @param[in]  src        scaled coefficients, `20 * regions`: the signs
 * @param[in]  vectors    vector indices, laid out as by ryxsRateControl_G7221_16s(), with zeros where there is no vector
 * @param[in]  categories of the regions, 0..7
 * @param[in]  regions    14 or 28
 * @param[out] codes      code words with the sign bits behind them, right-justified, of all vectors one after the other;
 *                        room for `10 * regions`
 * @param[out] codeBits   their lengths, 1..21; room for `10 * regions`
 * @param[out] count      how many there are
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for a category or
 *         vector index outside its range
 */
ryxStatus ryxsHuffmanEncode_G7221_16s32u(const int16_t *src, const int16_t *vectors, const int16_t *categories,
                                         int regions, uint32_t *codes, uint8_t *codeBits, int *count);

/**
 * @brief Decodes the vectors of all regions (ITU-T G.722.1).
 *
 * Where the bits of a frame run out, the region and all that follow become category 7; their coefficients, and those of
 * regions that have it already, are zero.
 *
 * @param[in]     src        frame, `bits / 8` octets
 * @param[in]     bits       bits of the frame: 480, 640 or 960
 * @param[in]     deviation  standard deviations of ryxsEnvelopeDecode_G7221_8u16s(), `regions`, not negative
 * @param[in]     regions    14 or 28
 * @param[out]    dst        coefficients, `20 * regions`
 * @param[in,out] categories of the categorisation that the frame names, 0..7; of the vectors decoded afterwards
 * @param[in,out] position   bits read before the call, and after it
 * @param[out]    bitsLeft   bits not read; one less when they ran out
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of bits or regions; #ryxStsOutOfRange for a
 *         category, deviation or position outside its range
 */
ryxStatus ryxsHuffmanDecode_G7221_8u16s(const uint8_t *src, int bits, const int16_t *deviation, int regions,
                                        int16_t *dst, int16_t *categories, int *position, int *bitsLeft);

/**
 * @brief Puts noise in place of the zeros of categories 5 and 6 and of all of category 7, in place (ITU-T G.722.1,
 *        clause 4.5).
 *
 * @param[in,out] srcDst     coefficients, `20 * regions`
 * @param[in]     categories of ryxsHuffmanDecode_G7221_8u16s(), `regions`, 0..7
 * @param[in]     deviation  standard deviations, `regions`, not negative
 * @param[in]     regions    14 or 28
 * @param[in,out] seeds      random generator, 4 values; all 1 before the first frame
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for a category or
 *         deviation outside its range
 */
ryxStatus ryxsNoiseFill_G7221_16s_I(int16_t *srcDst, const int16_t *categories, const int16_t *deviation, int regions,
                                    int16_t *seeds);

/** What ryxsFrameCheck_G7221_8u() finds, a sum of these. */
enum {
    ryxG7221BadFill = 1,    /**< a bit behind the last vector is zero */
    ryxG7221TooShort = 2,   /**< the bits ran out although a coarser categorisation was left */
    ryxG7221BadEnvelope = 4 /**< a power index outside -15..24 */
};

/**
 * @brief Looks for the marks of transmission errors in a decoded frame (ITU-T G.722.1).
 *
 * @param[in]  src        frame, `bits / 8` octets
 * @param[in]  bits       bits of the frame: 480, 640 or 960
 * @param[in]  position   of ryxsHuffmanDecode_G7221_8u16s(), 0..bits
 * @param[in]  bitsLeft   of ryxsHuffmanDecode_G7221_8u16s(), at most `bits - position`
 * @param[in]  control    number of the categorisation, 0..15 or 0..31
 * @param[in]  powerIndex of ryxsEnvelopeDecode_G7221_8u16s(), `regions`
 * @param[in]  regions    14 or 28
 * @param[out] errors     0, or the sum of #ryxG7221BadFill and its kin
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of bits or regions; #ryxStsOutOfRange for a
 *         position, number of bits left or control outside its range
 */
ryxStatus ryxsFrameCheck_G7221_8u(const uint8_t *src, int bits, int position, int bitsLeft, int control,
                                  const int16_t *powerIndex, int regions, int *errors);

/**
 * @brief Replaces the spectrum of a lost or damaged frame, in place (ITU-T G.722.1).
 *
 * The first such frame repeats the last good spectrum, the next ones are silent. A good frame is only remembered.
 *
 * @param[in,out] srcDst   coefficients, `20 * regions`; only written when `lost` is 1
 * @param[in]     regions  14 or 28
 * @param[in]     lost     0 good, 1 lost or damaged
 * @param[in,out] magShift scale of the coefficients
 * @param[in,out] previous the last good coefficients, `20 * regions`; zero them before the first frame
 * @param[in,out] previousShift their scale; zero it before the first frame
 * @return #ryxStsOk; #ryxStsNullPtr; #ryxStsBadSize for another number of regions; #ryxStsOutOfRange for another value of
 *         `lost`
 */
ryxStatus ryxsConcealFrame_G7221_16s_I(int16_t *srcDst, int regions, int lost, int *magShift, int16_t *previous,
                                       int *previousShift);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
