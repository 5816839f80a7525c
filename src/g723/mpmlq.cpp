// SPDX-License-Identifier: BSD-2-Clause
// Search of the multipulse code of ITU-T G.723.1.
#include "g723/mpmlq.inl"
#include "g723/implementations.h"

ryxStatus ryxsMPMLQFixedCodebookSearch_G723_u8(const int16_t *target, const int16_t *impulse, int lag, int subframe,
                                               int16_t *vector, int32_t *positions, int16_t *signs, int16_t *gainIndex,
                                               int16_t *grid, int16_t *train) {
    return searchMultipulse(target, impulse, lag, subframe, vector, positions, signs, gainIndex, grid, train);
}
