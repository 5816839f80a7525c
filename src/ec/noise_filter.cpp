// SPDX-License-Identifier: BSD-2-Clause
// Noise filter of the echo canceller: weakens residual echo and steady noise in every band, between bounds. The residual
// echo is estimated in four ways: from the uncertainty of the coefficients, from the share of the echo that was left while
// it was loud, from what companding makes of the echo, and from the decay of the echo path for what lies behind its last
// tap.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "common/checks.h"
#include "common/state_block.h"
#include "ec/four_bins.h"
#include "ec/implementations.h"
#include "ec/subband_controller.h"
#include "ec/subband_filter.h"

using namespace ryxsc;
using namespace ryxsc::ec;

namespace {

constexpr uint32_t identifier = 0x52454e46; // "RENF"

struct Filter {
    uint32_t identifier;
    int32_t bands, hop, mode;
    float echoBound, noiseBound; // lowest gains
    float smoothing;             // of the energies, 30 ms
    float noiseGrowth;           // 5 dB/s
    float leakGrowth;            // 3 dB/s
    float decay;                 // of the echo path from block to block, smoothed
    float reserved[6];
};
static_assert(sizeof(Filter) == 64);

enum Row { errorEnergy, echoEnergy, noise, leak, tail, residue, ratio, gain, rowCount };

int64_t rowBytes(int bands) {
    return (int64_t{4} * bands + 15) & ~int64_t{15};
}

float *rowOf(Filter &filter, Row row) {
    return reinterpret_cast<float *>(reinterpret_cast<std::byte *>(&filter + 1) + row * rowBytes(filter.bands));
}

Filter *opened(NoiseFilterState_EC_32f *block) {
    auto &filter = alignedBlock<Filter>(block);
    return filter.identifier == identifier && !isBadBandCount(filter.bands) ? &filter : nullptr;
}

ryxStatus checkSizes(int numBands, int hop, int sampleRate) {
    if (isBadBandCount(numBands)) return ryxStsBadBandCount;
    if (hop < 1) return ryxStsBadArg;
    return isBlockRate(sampleRate) ? ryxStsOk : ryxStsOutOfRange;
}

ryxStatus checkBounds(int mode, float echoBound, float noiseBound) {
    if (mode < ryxEcFilterEcho || mode > ryxEcFilterBoth) return ryxStsBadArg;
    if (!(echoBound >= 0) || !(noiseBound >= 0)) return ryxStsBadLevel;
    if (echoBound > noiseBound) return ryxStsBadBounds;
    return noiseBound <= 1 ? ryxStsOk : ryxStsOutOfRange;
}

float powerOfTen(double exponent) {
    return static_cast<float>(std::pow(10, exponent));
}

// The energy of a tap, without the bands at the ends.
float tapEnergy(const ryx32fc *coefs, int bands) {
    __m128 sum = _mm_setzero_ps();
    int k = 1;
    for (; k + 4 <= bands - 1; k += 4)
        sum = _mm_add_ps(sum, FourBins::load(coefs + k).power());
    if (k < bands - 1) sum = _mm_add_ps(sum, FourBins::load(coefs + k, bands - 1 - k).power());
    float four[4];
    _mm_storeu_ps(four, sum);
    return (four[0] + four[1]) + (four[2] + four[3]);
}

// A microphone that was coded by A-law (or any logarithmic law) has noise 38 dB below the echo that no filter can take
// away. It is white, so that it exceeds every share of the echo in the bands that have little of it. Three times its mean
// energy, which the estimate doubles, cover its ups and downs.
float compandingNoise(const ryx32fc *echo, int bands) {
    return 0.5e-3F * tapEnergy(echo, bands) / static_cast<float>(bands);
}

// How the path decays from tap to tap: the two last ones against two in its middle. With one tap nothing is known.
void followDecay(Filter &filter, const ryx32fc *const *coefs, int taps) {
    const int half = taps / 2;
    const float late = tapEnergy(coefs[taps - 1], filter.bands) + tapEnergy(coefs[taps - 2], filter.bands);
    const float early = tapEnergy(coefs[half], filter.bands) + tapEnergy(coefs[half - 1], filter.bands);
    float decay = 0.1F;
    if (early > 0) decay = std::clamp(std::pow(late / early, 1 / static_cast<float>(half)), 0.1F, 0.95F);
    if (!(decay >= 0.1F)) decay = 0.1F;
    filter.decay = 0.98F * filter.decay + 0.02F * decay;
}

// Echo from behind the last tap: what that tap would make of the oldest spectrum, and what was there before, decayed.
void followTail(Filter &filter, const ryx32fc *oldest, const ryx32fc *lastTap) {
    const int bands = filter.bands;
    float *const tails = rowOf(filter, tail);
    const auto power = [](ryx32fc x) { return x.re * x.re + x.im * x.im; };
    float below = 0, here = power(lastTap[0]);
    for (int k = 0; k < bands; k++) {
        const float above = k + 1 < bands ? power(lastTap[k + 1]) : 0;
        const int neighbours = 1 + (k > 0) + (k + 1 < bands);
        const float mean = (below + here + above) * (neighbours == 3 ? 1 / 3.0F : neighbours == 2 ? 0.5F : 1.0F);
        tails[k] = std::min(filter.decay * (tails[k] + 0.5F * power(oldest[k]) * mean) + 1e-20F, 1e30F);
        below = here;
        here = above;
    }
}

__m128 select(__m128 mask, __m128 yes, __m128 no) {
    return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no));
}

// Energies that later ones can get rid of again, NaN counts as the largest; not in the slow range of the format.
__m128 limited(__m128 energy) {
    return _mm_max_ps(_mm_min_ps(energy, _mm_set1_ps(1e30F)), _mm_set1_ps(1e-20F));
}

// The gains of four bands from k on.
class FourGains {
public:
    FourGains(Filter &filter, int k) : filter_(filter), k_(k) {}

    __m128 compute(__m128 error, __m128 echo, __m128 residual, __m128 companding) {
        const __m128 tiny = _mm_set1_ps(0.001F), one = _mm_set1_ps(1), zero = _mm_setzero_ps();
        const __m128 floor = followNoise(error);
        __m128 residue = zero;
        if (filter_.mode != ryxEcFilterNoise) residue = followResidue(echo, _mm_max_ps(residual, companding), floor);
        const __m128 noisy = _mm_mul_ps(_mm_set1_ps(1.5F), floor);
        const __m128 unwanted = _mm_add_ps(_mm_add_ps(residue, noisy), tiny);

        // Decision-directed: the ratio of wanted to unwanted, mostly as the last gain left it.
        const __m128 post = limited(_mm_div_ps(error, unwanted));
        const __m128 lastGain = load(gain);
        const __m128 left = _mm_mul_ps(_mm_mul_ps(lastGain, lastGain), load(ratio));
        const __m128 prior = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(0.9F), left),
                                        _mm_mul_ps(_mm_set1_ps(0.1F), _mm_max_ps(_mm_sub_ps(post, one), zero)));
        store(ratio, post);

        // Down to the bounds of what is there; never below the noise that is to stay.
        const __m128 echoBound = _mm_set1_ps(filter_.echoBound * filter_.echoBound);
        const __m128 noiseBound = _mm_set1_ps(noiseGain() * noiseGain());
        const __m128 kept = _mm_add_ps(_mm_mul_ps(echoBound, residue), _mm_mul_ps(noiseBound, noisy));
        const __m128 comfort =
            _mm_div_ps(_mm_mul_ps(_mm_mul_ps(_mm_set1_ps(3), noiseBound), floor), _mm_add_ps(error, tiny));
        const __m128 low = _mm_max_ps(_mm_div_ps(kept, unwanted), _mm_min_ps(comfort, one));
        const __m128 wiener = _mm_div_ps(prior, _mm_add_ps(one, prior));
        const __m128 result = _mm_max_ps(wiener, _mm_sqrt_ps(low));
        store(gain, result);
        return result;
    }

private:
    __m128 load(Row row) const { return _mm_load_ps(rowOf(filter_, row) + k_); }
    void store(Row row, __m128 x) const { _mm_store_ps(rowOf(filter_, row) + k_, x); }

    float noiseGain() const { return filter_.mode == ryxEcFilterEcho ? 1 : filter_.noiseBound; }

    __m128 smoothed(Row row, __m128 energy) const {
        const __m128 a = _mm_set1_ps(filter_.smoothing), b = _mm_set1_ps(1 - filter_.smoothing);
        const __m128 x = limited(_mm_add_ps(_mm_mul_ps(a, load(row)), _mm_mul_ps(b, energy)));
        store(row, x);
        return x;
    }

    // The lowest energy of late, rising slowly.
    __m128 followNoise(__m128 error) {
        const __m128 see = smoothed(errorEnergy, error);
        const __m128 floor =
            _mm_min_ps(_mm_mul_ps(load(noise), _mm_set1_ps(filter_.noiseGrowth)), _mm_add_ps(see, _mm_set1_ps(0.001F)));
        store(noise, floor);
        return floor;
    }

    __m128 followResidue(__m128 echo, __m128 residual, __m128 floor) {
        const __m128 two = _mm_set1_ps(2), zero = _mm_setzero_ps();
        const __m128 see = load(errorEnergy), syy = smoothed(echoEnergy, echo);
        const __m128 loud = _mm_cmpgt_ps(syy, _mm_mul_ps(_mm_set1_ps(10), floor));
        const __m128 above = _mm_max_ps(_mm_sub_ps(see, _mm_mul_ps(two, floor)), zero);
        const __m128 now = _mm_add_ps(_mm_div_ps(above, syy), _mm_set1_ps(1e-6F));
        const __m128 old = load(leak);
        const __m128 grown = _mm_mul_ps(old, _mm_set1_ps(filter_.leakGrowth));
        const __m128 share = select(loud, _mm_min_ps(_mm_min_ps(now, grown), _mm_set1_ps(1)), old);
        store(leak, share);
        const __m128 leaking =
            _mm_mul_ps(_mm_mul_ps(_mm_set1_ps(4), _mm_max_ps(share, _mm_set1_ps(0.001F))), _mm_max_ps(syy, echo));
        const __m128 estimate = _mm_mul_ps(two, _mm_max_ps(residual, leaking));
        const __m128 held = _mm_max_ps(_mm_mul_ps(_mm_set1_ps(0.6F), load(residue)), estimate);
        const __m128 all = limited(_mm_add_ps(held, _mm_mul_ps(two, load(tail))));
        store(residue, all);
        return all;
    }

    Filter &filter_;
    int k_;
};

__m128 loadFloats(const float *from, int count) {
    if (count == 4) return _mm_loadu_ps(from);
    float four[4] = {};
    std::copy_n(from, count, four);
    return _mm_loadu_ps(four);
}

} // namespace

ryxStatus ryxsNoiseFilterGetSize_EC_32f_u8(int numBands, int hop, int sampleRate, int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    if (const ryxStatus status = checkSizes(numBands, hop, sampleRate)) return status;
    *size = static_cast<int>(alignedBlockBytes<Filter> + rowCount * rowBytes(numBands));
    return ryxStsOk;
}

ryxStatus ryxsNoiseFilterInit_EC_32f_u8(NoiseFilterState_EC_32f *state, int numBands, int hop, int sampleRate, int mode,
                                        float echoBound, float noiseBound) {
    if (anyNull(state)) return ryxStsNullPtr;
    if (const ryxStatus status = checkSizes(numBands, hop, sampleRate)) return status;
    if (const ryxStatus status = checkBounds(mode, echoBound, noiseBound)) return status;
    auto &filter = alignedBlock<Filter>(state);
    const double seconds = static_cast<double>(hop) / sampleRate;
    filter = {};
    filter.identifier = identifier;
    filter.bands = numBands;
    filter.hop = hop;
    filter.mode = mode;
    filter.echoBound = echoBound;
    filter.noiseBound = noiseBound;
    filter.smoothing = static_cast<float>(std::exp(-seconds / 0.03));
    filter.noiseGrowth = powerOfTen(0.5 * seconds);
    filter.leakGrowth = powerOfTen(0.3 * seconds);
    return ryxsNoiseFilterReset_EC_32f_u8(state);
}

ryxStatus ryxsNoiseFilterReset_EC_32f_u8(NoiseFilterState_EC_32f *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    Filter *const filter = opened(state);
    if (filter == nullptr) return ryxStsBadContext;
    const auto bytes = rowBytes(filter->bands);
    std::memset(rowOf(*filter, errorEnergy), 0, static_cast<size_t>(rowCount * bytes));
    std::fill_n(rowOf(*filter, noise), bytes / 4, 1e9F);
    std::fill_n(rowOf(*filter, leak), bytes / 4, 1.0F);
    filter->decay = 0.5F;
    return ryxStsOk;
}

ryxStatus ryxsNoiseFilter_EC_32fc_I_u8(const ryx32fc *echo, const float *residual, const ryx32fc *const *history,
                                       const ryx32fc *const *coefs, int taps, ryx32fc *error,
                                       NoiseFilterState_EC_32f *state) {
    if (anyNull(error, state)) return ryxStsNullPtr;
    Filter *const filter = opened(state);
    if (filter == nullptr) return ryxStsBadContext;
    const bool hasEcho = filter->mode != ryxEcFilterNoise;
    if (hasEcho) {
        if (anyNull(echo, residual, history, coefs)) return ryxStsNullPtr;
        if (isBadTapCount(taps)) return ryxStsOutOfRange;
        if (taps > 1) {
            followDecay(*filter, coefs, taps);
            followTail(*filter, history[taps - 1], coefs[taps - 1]);
        }
    }
    const __m128 companding = limited(_mm_set1_ps(hasEcho ? compandingNoise(echo, filter->bands) : 0));
    for (int k = 0; k < filter->bands; k += 4) {
        const int count = std::min(4, filter->bands - k);
        FourBins bins = FourBins::load(error + k, count);
        const __m128 none = _mm_setzero_ps();
        const __m128 echoPower = hasEcho ? limited(FourBins::load(echo + k, count).power()) : none;
        const __m128 predicted = hasEcho ? limited(loadFloats(residual + k, count)) : none;
        const __m128 gains = FourGains(*filter, k).compute(limited(bins.power()), echoPower, predicted, companding);
        bins.re = _mm_mul_ps(gains, bins.re);
        bins.im = _mm_mul_ps(gains, bins.im);
        bins.store(error + k, count);
    }
    return ryxStsOk;
}
