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
 * @defgroup g723 ITU-T G.723.1
 * @brief Decoding of the line spectral frequencies.
 *
 * Frequencies are 16-bit values of which 32768 stands for pi.
 * @{
 */

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

/** @} */

#ifdef __cplusplus
}
#endif

#endif
