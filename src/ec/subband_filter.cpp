// SPDX-License-Identifier: BSD-2-Clause
// Sub-band adaptive filter of the echo canceller with 32-bit spectra. Sums and products are exact and scaled once.
#include <algorithm>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "ec/implementations.h"
#include "ec/subband_filter.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

__extension__ typedef __int128 int128_t;

// The largest magnitude that is scaled, that of step * error * history: a sum of two products of 31, 31 and 31 bits.
constexpr int mostBits = 94;

// sat32(x * 2^-shift), rounded to nearest, ties upwards; |x| at most 2^94.
class Scale {
public:
    explicit Scale(int64_t shift)
        : left_(static_cast<int>(std::clamp<int64_t>(-shift, 0, 32))),           // more saturates all the same
          right_(static_cast<int>(std::clamp<int64_t>(shift, 0, mostBits + 2))), // more leaves 0 all the same
          rounding_(right_ > 0 ? int128_t{1} << (right_ - 1) : 0) {}

    int32_t operator()(int128_t x) const {
        if (left_ != 0) return saturate(x * (int128_t{1} << left_));
        return saturate((x + rounding_) >> right_);
    }

private:
    static int32_t saturate(int128_t x) {
        const auto low = static_cast<int64_t>(x);
        if (low == x) return sat32(low);
        return x < 0 ? min32 : max32;
    }

    int left_, right_;
    int128_t rounding_;
};

void filterBand(const ryx32sc *const *history, const ryx32sc *const *coefs, int taps, int k, ryx32sc &dst,
                const Scale &scale) {
    int128_t re = 0, im = 0;
    for (int t = 0; t < taps; t++) {
        const ryx32sc x = history[t][k], h = coefs[t][k];
        // Neither leaves 64 bits, while the sum of the imaginary part itself can be 2^63.
        re += int64_t{x.re} * h.re - int64_t{x.im} * h.im;
        im -= -int64_t{x.re} * h.im - int64_t{x.im} * h.re;
    }
    dst = {scale(re), scale(im)};
}

void updateBand(const ryx32sc *const *history, ryx32sc error, ryx32sc *const *coefs, int taps, int32_t step, int k,
                const Scale &scale) {
    const int64_t re = int64_t{step} * error.re, im = int64_t{step} * error.im;
    for (int t = 0; t < taps; t++) {
        const ryx32sc x = history[t][k];
        ryx32sc &h = coefs[t][k];
        h.re = L_add(h.re, scale(int128_t{re} * x.re + int128_t{im} * x.im));
        h.im = L_add(h.im, scale(int128_t{im} * x.re - int128_t{re} * x.im));
    }
}

bool anyNegative(const int32_t *step, int count) {
    return std::any_of(step, step + count, [](int32_t x) { return x < 0; });
}

} // namespace

ryxStatus ryxsFIRSubband_EC_32sc_Sfs_u8(const ryx32sc *const *history, const ryx32sc *const *coefs, ryx32sc *dst,
                                        int taps, int numBands, int scaleFactor) {
    if (anyNull(history, coefs, dst)) return ryxStsNullPtr;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps) || scaleFactor < -31 || scaleFactor > 31) return ryxStsOutOfRange;
    const Scale scale(scaleFactor);
    for (int k = 0; k < numBands; k++)
        filterBand(history, coefs, taps, k, dst[k], scale);
    return ryxStsOk;
}

ryxStatus ryxsFIRSubbandLow_EC_32sc_Sfs_u8(const ryx32sc *const *history, const ryx32sc *const *coefs, int taps,
                                           ryx32sc *dst, int startBand, int numBands, int scaleFactor) {
    if (anyNull(history, coefs, dst)) return ryxStsNullPtr;
    if (isBadTapCount(taps) || startBand < 0 || startBand > numBands) return ryxStsOutOfRange;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (scaleFactor < 0 || scaleFactor > 31) return ryxStsOutOfRange;
    const Scale scale(scaleFactor);
    for (int k = startBand; k < numBands; k++)
        filterBand(history, coefs, taps, k, dst[k], scale);
    return ryxStsOk;
}

ryxStatus ryxsFIRSubbandCoeffUpdate_EC_32sc_I_u8(const int32_t *step, const ryx32sc *const *history,
                                                 const ryx32sc *error, ryx32sc *const *coefs, int taps, int numBands,
                                                 int scaleFactor) {
    if (anyNull(step, history, error, coefs)) return ryxStsNullPtr;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (isBadTapCount(taps) || scaleFactor < 0 || scaleFactor > 31) return ryxStsOutOfRange;
    if (anyNegative(step, numBands)) return ryxStsBadSize;
    const Scale scale(scaleFactor);
    for (int k = 0; k < numBands; k++)
        updateBand(history, error[k], coefs, taps, step[k], k, scale);
    return ryxStsOk;
}

ryxStatus ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I_u8(const ryx32sc *const *history, const ryx32sc *error,
                                                    ryx32sc *const *coefs, int taps, const int32_t *step,
                                                    const int32_t *stepExponent, int startBand, int numBands,
                                                    int scaleFactor) {
    if (anyNull(history, error, coefs, step, stepExponent)) return ryxStsNullPtr;
    if (isBadTapCount(taps) || startBand < 0 || numBands < startBand) return ryxStsOutOfRange;
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (scaleFactor < 0 || scaleFactor > 31) return ryxStsOutOfRange;
    for (int k = startBand; k < numBands; k++)
        updateBand(history, error[k], coefs, taps, step[k], k, Scale(int64_t{scaleFactor} + stepExponent[k]));
    return ryxStsOk;
}
