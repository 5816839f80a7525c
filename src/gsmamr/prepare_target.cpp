// SPDX-License-Identifier: BSD-2-Clause
// Impulse response and target of a subframe of GSM-AMR (3GPP TS 26.090, clauses 5.4 and 5.5).
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "frame/implementations.h"
#include "gsmamr/codebook.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int order = 10;

// A subframe behind its history.
struct Signal {
    int16_t samples[order + subframeLength];

    int16_t *subframe() { return samples + order; }
    const int16_t *subframe() const { return samples + order; }
};

// The recommendation sums doubled products, saturating at every step. With S the sum of the coefficients' magnitudes
// nothing saturates as long as no sample exceeds 2^30 / S; then the order of the sums is free.
class Filter {
public:
    explicit Filter(const int16_t *a) : a_(a) {
        int sum = 0;
        for (int k = 0; k <= order; k++)
            sum += std::abs(a[k]);
        largest_ = (1 << 30) / std::max(sum, 1);
    }

    // y = A(z) x
    void analyse(const Signal &x, int16_t *y) const {
        for (int n = 0; n < subframeLength; n++) {
            int32_t sum = 2048;
            for (int k = 0; k <= order; k++)
                sum = wrapAdd32(sum, a_[k] * x.samples[order + n - k]);
            y[n] = sat16(sum >> 12);
        }
        if (!isSmall(x.samples, order + subframeLength)) analyseSaturated(x, y);
    }

    // y = x / A(z) for two signals. Each is a chain from sample to sample; two of them take the time of one.
    void synthesise(const int16_t *x1, Signal &y1, const int16_t *x2, Signal &y2) const {
        for (int n = 0; n < subframeLength; n++) {
            int32_t sum1 = wrapAdd32(2048, a_[0] * x1[n]), sum2 = wrapAdd32(2048, a_[0] * x2[n]);
            for (int k = order; k > 0; k--) { // the newest sample comes last
                sum1 = wrapSub32(sum1, a_[k] * y1.samples[order + n - k]);
                sum2 = wrapSub32(sum2, a_[k] * y2.samples[order + n - k]);
            }
            y1.samples[order + n] = sat16(sum1 >> 12);
            y2.samples[order + n] = sat16(sum2 >> 12);
        }
        if (!areSmall(x1, y1)) synthesiseSaturated(x1, y1);
        if (!areSmall(x2, y2)) synthesiseSaturated(x2, y2);
    }

private:
    bool isSmall(const int16_t *samples, int count) const {
        return std::all_of(samples, samples + count, [this](int16_t x) { return std::abs(x) <= largest_; });
    }

    bool areSmall(const int16_t *x, const Signal &y) const {
        return isSmall(x, subframeLength) && isSmall(y.samples, order + subframeLength);
    }

    void analyseSaturated(const Signal &x, int16_t *y) const {
        for (int n = 0; n < subframeLength; n++) {
            int32_t sum = 0;
            for (int k = 0; k <= order; k++)
                sum = L_mac(sum, a_[k], x.samples[order + n - k]);
            y[n] = round(L_shl(sum, 3));
        }
    }

    void synthesiseSaturated(const int16_t *x, Signal &y) const {
        for (int n = 0; n < subframeLength; n++) {
            int32_t sum = L_mult(a_[0], x[n]);
            for (int k = 1; k <= order; k++)
                sum = L_msu(sum, a_[k], y.samples[order + n - k]);
            y.samples[order + n] = round(L_shl(sum, 3));
        }
    }

    const int16_t *a_;
    int largest_;
};

Signal withHistory(const int16_t *history) {
    Signal signal;
    std::copy_n(history, order, signal.samples);
    return signal;
}

} // namespace

ryxStatus ryxsImpulseResponseTarget_GSMAMR_16s_u8(const int16_t *speech, const int16_t *weightedLpc1,
                                                  const int16_t *weightedLpc2, const int16_t *quantisedLpc,
                                                  const int16_t *synthesisMemory, const int16_t *weightingMemory,
                                                  int16_t *impulse, int16_t *residual, int16_t *target) {
    if (anyNull(speech, weightedLpc1, weightedLpc2, quantisedLpc, synthesisMemory, weightingMemory, impulse, residual,
                target))
        return ryxStsNullPtr;
    const Filter numerator(weightedLpc1), denominator(weightedLpc2), synthesis(quantisedLpc);
    const int16_t rest[order] = {};
    Signal input, response = withHistory(rest), error = withHistory(synthesisMemory);
    std::copy_n(speech, order + subframeLength, input.samples);
    int16_t taps[subframeLength] = {}, weighted[subframeLength], found[subframeLength];
    std::copy_n(weightedLpc1, order + 1, taps);

    synthesis.analyse(input, found);
    synthesis.synthesise(taps, response, found, error);
    numerator.analyse(error, weighted);
    Signal weightedResponse = withHistory(rest), weightedError = withHistory(weightingMemory);
    denominator.synthesise(response.subframe(), weightedResponse, weighted, weightedError);

    std::copy_n(weightedResponse.subframe(), subframeLength, impulse);
    std::copy_n(found, subframeLength, residual);
    std::copy_n(weightedError.subframe(), subframeLength, target);
    return ryxStsOk;
}
