// SPDX-License-Identifier: BSD-2-Clause
// De-emphasis of GSM 06.10 (clause 4.3.5) and what follows it: upscaling and truncation (clauses 4.3.6 and 4.3.7).
#pragma once

#include "common/simd.h"
#include "gsmfr/tables.h"

namespace ryxsc::gsmfr {

// The filter is a chain in lane 0 of a vector, where a rounded product and a saturating addition are one instruction each.
inline simd::Vector deemphasised(simd::Vector sample, simd::Vector previous) {
    return _mm_adds_epi16(sample, _mm_mulhrs_epi16(previous, simd::words(emphasis)));
}

inline simd::Vector upscaled(simd::Vector filtered) {
    return _mm_andnot_si128(simd::words(7), _mm_adds_epi16(filtered, filtered));
}

} // namespace ryxsc::gsmfr
