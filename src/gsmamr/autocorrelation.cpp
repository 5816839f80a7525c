// SPDX-License-Identifier: BSD-2-Clause
// Windowing and autocorrelation of GSM-AMR (3GPP TS 26.090, clause 5.2.1).
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "gsmamr/lp_filter.h"
#include "gsmamr/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using simd::Vector;

namespace {

constexpr int lags = lpOrder + 1;

// Whole vectors are read behind the last sample: zeros.
struct Windowed {
    alignas(16) int16_t samples[lpWindowLength + 16];

    Windowed(const int16_t *src, const int16_t *window) {
        // No value of a window is -32768, so pmulhrsw is exact.
        for (int n = 0; n < lpWindowLength; n += 8)
            simd::store(samples + n, _mm_mulhrs_epi16(simd::load(src + n), simd::load(window + n)));
        std::fill_n(samples + lpWindowLength, 16, int16_t{0});
    }

    int64_t energy() const {
        Vector sums = _mm_setzero_si128();
        for (int n = 0; n < lpWindowLength; n += 8) {
            const Vector x = simd::load(samples + n);
            sums = _mm_add_epi64(sums, simd::sumsOfUnsignedDwords(_mm_madd_epi16(x, x)));
        }
        return simd::sumOfQwords(sums);
    }

    void quarter() {
        for (int n = 0; n < lpWindowLength; n += 8)
            simd::store(samples + n, _mm_srai_epi16(simd::load(samples + n), 2));
    }

    // Below an energy of 2^30 no sum of products leaves 32 bits, whatever its order.
    int32_t correlation(int lag) const {
        Vector even = _mm_setzero_si128(), odd = even;
        for (int n = 0; n < lpWindowLength; n += 16) {
            even = _mm_add_epi32(even, _mm_madd_epi16(simd::load(samples + n), simd::load(samples + n + lag)));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(simd::load(samples + n + 8), simd::load(samples + n + 8 + lag)));
        }
        return simd::sumOfDwords(_mm_add_epi32(even, odd));
    }
};

} // namespace

ryxStatus ryxsAutoCorr_GSMAMR_16s32s_u8(const int16_t *src, int32_t *dst, int window) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (window < ryxGSMAMRWindow || window > ryxGSMAMRWindow122End) return ryxStsOutOfRange;
    const std::array<int16_t, lpWindowLength> *const windows[] = {&lpWindow, &lpWindow122Middle, &lpWindow122End};
    Windowed x(src, windows[window]->data());
    int64_t energy = x.energy();
    for (; energy >= 1 << 30; energy = x.energy())
        x.quarter();
    const auto first = static_cast<int32_t>(2 * energy + 1); // 1 so that silence normalises
    const int shift = norm_l(first);
    dst[0] = clearBit0(first << shift);
    for (int lag = 1; lag < lags; lag++)
        dst[lag] = 2 * x.correlation(lag) << shift; // even, and its magnitude at most dst[0]
    return ryxStsOk;
}
