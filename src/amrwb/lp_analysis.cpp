// SPDX-License-Identifier: BSD-2-Clause
// LP analysis: window and autocorrelation, lag window, Levinson-Durbin recursion in double precision (3GPP TS 26.173).
#include <cstdlib>

#include "amrwb/arithmetic.h"
#include "amrwb/implementations.h"
#include "common/autocorrelation.h"
#include "common/checks.h"
#include "common/double_precision.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int windowLength = 384;

struct WindowedSpeech {
    alignas(16) int16_t samples[windowLength + 24]; // zeros behind
};

// Windowed, and scaled down so that the energy leaves room. Returns nothing else: the scale has no further meaning.
void windowSpeech(const int16_t *src, WindowedSpeech &speech) {
    int32_t energy = 16 * 65536;
    for (int i = 0; i < windowLength; i++) {
        speech.samples[i] = mult_r(src[i], lpWindow[i]);
        // 384 terms of at most 2^23 times the squared window, the mean of which is below a half: below 2^31.
        energy += (speech.samples[i] * speech.samples[i]) >> 7;
    }
    const int shift = std::max(0, 4 - (norm_l(energy) >> 1));
    for (int i = 0; i < windowLength; i++)
        speech.samples[i] = shr_r(speech.samples[i], shift);
    std::fill(speech.samples + windowLength, std::end(speech.samples), int16_t{0});
}

// Div_32: num / den in Q31, num < den, den normalised.
int32_t divide(int32_t num, int32_t den) {
    const int16_t reciprocal = div_s(0x3fff, extract_h(den));
    const int32_t correction = L_sub(max32, multiplyShort(den, reciprocal));
    return L_shl(multiply(num, multiplyShort(correction, reciprocal)), 2);
}

// -num / den for a reflection coefficient.
int32_t negativeQuotient(int32_t num, int32_t den) {
    const int32_t quotient = divide(L_abs(num), den);
    return num > 0 ? L_negate(quotient) : quotient;
}

// Normalised prediction error.
struct PredictionError {
    int32_t mantissa;
    int exponent;

    // Times 1 - reflection^2.
    void reduce(int32_t reflection) {
        const int32_t rest = L_sub(max32, L_abs(multiply(reflection, reflection)));
        mantissa = multiply(mantissa, rest);
        const int n = norm_l(mantissa);
        mantissa = L_shl(mantissa, n);
        exponent += n;
    }
};

// Coefficients 1 to 16 in Q27. False when the filter is unstable.
bool recursion(const int32_t *r, int32_t *a) {
    int32_t reflection = negativeQuotient(r[1], r[0]);
    a[1] = reflection >> 4;
    PredictionError error = {r[0], 0};
    error.reduce(reflection);
    for (int i = 2; i <= lpOrder; i++) {
        int32_t sum = 0;
        for (int j = 1; j < i; j++)
            sum = L_add(sum, multiply(r[j], a[i - j]));
        sum = L_add(L_shl(sum, 4), clearBit0(r[i]));
        if (error.mantissa < 0x40000000) return false; // no error is left: r is none of a signal
        reflection = L_shl(negativeQuotient(sum, error.mantissa), error.exponent);
        if (abs_s(extract_h(reflection)) > 32750) return false;
        int32_t next[lpOrder];
        for (int j = 1; j < i; j++)
            next[j] = L_add(multiply(reflection, a[i - j]), clearBit0(a[j]));
        std::copy(next + 1, next + i, a + 1);
        a[i] = reflection >> 4;
        error.reduce(reflection);
    }
    return true;
}

} // namespace

ryxStatus ryxsAutoCorr_AMRWB_16s32s_u8(const int16_t *src, int32_t *correlations) {
    if (anyNull(src, correlations)) return ryxStsNullPtr;
    WindowedSpeech speech;
    windowSpeech(src, speech);
    saturatedAutocorrelation(speech.samples, windowLength, lpOrder, correlations);
    for (int k = 0; k <= lpOrder; k++)
        correlations[k] = clearBit0(correlations[k]);
    return ryxStsOk;
}

ryxStatus ryxsLagWindow_AMRWB_32s_I_u8(int32_t *srcDst) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    for (int k = 1; k <= lpOrder; k++)
        srcDst[k] = clearBit0(multiply(srcDst[k], lagWindow[k - 1]));
    return ryxStsOk;
}

ryxStatus ryxsLevinsonDurbin_AMRWB_32s16s_u8(const int32_t *correlations, int16_t *lpc, int16_t *stable) {
    if (anyNull(correlations, lpc, stable)) return ryxStsNullPtr;
    if (correlations[0] < 0x40000000) return ryxStsOutOfRange;
    int32_t a[lpOrder + 1];
    if (recursion(correlations, a))
        for (int i = 1; i <= lpOrder; i++)
            stable[i - 1] = round(L_shl(clearBit0(a[i]), 1));
    lpc[0] = 4096;
    std::copy_n(stable, lpOrder, lpc + 1);
    return ryxStsOk;
}
