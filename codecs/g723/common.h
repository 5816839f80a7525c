// SPDX-License-Identifier: BSD-2-Clause
// What encoder and decoder share.
#pragma once

#include <algorithm>
#include <cstring>

#include "g723/frame.h"

namespace ryxcodec::g723 {

// Of the LSFs, before the first frame.
inline constexpr int16_t noiseSeed = 12345;
inline constexpr int headroom = 3; // of signals whose correlations are compared

// The LSFs of a frame. Where no spacing is reached the previous vector stands.
inline void decodeLsf(const uint16_t *indices, const int16_t *previous, int erased, int16_t *lsf) {
    if (ryxsLSFDecode_G723_16s(indices, previous, erased, lsf) == ryxStsLsfLowClamped)
        std::copy_n(previous, order, lsf);
}

// The LP filters of the four subframes on the way from one frame's LSFs to the next one's, which become the previous ones.
inline void interpolateFilters(int16_t *previous, const int16_t *lsf, int16_t (*lpc)[order]) {
    ryxsInterpolate_G723_16s(previous, lsf, lpc[0]);
    for (int k = 0; k < subframes; k++)
        ryxsLSFToLPC_G723_16s_I(lpc[k]);
    std::copy_n(lsf, order, previous);
}

// Makes room for a frame behind the last samples of a line.
inline void advance(int16_t *line, int history, int length) {
    std::memmove(line, line + length, static_cast<size_t>(history) * sizeof *line);
}

} // namespace ryxcodec::g723
