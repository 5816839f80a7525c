// SPDX-License-Identifier: BSD-2-Clause
// Open-loop pitch search of ITU-T G.729 (clause 3.4) and of its Annex A, which looks at every second sample.
#include <algorithm>
#include <cstdlib>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/inv_sqrt.h"
#include "common/product_sums.h"
#include "g729/implementations.h"

using namespace ryxsc;

namespace {

constexpr int longest = 143, shortest = 20, frame = 80;
constexpr int span = longest + frame;

// By how many bits the signal is shifted up, from the energy that was found for it.
int scaleFor(const WatchedSum &sum) {
    constexpr int32_t faint = 1 << 20; // at most 724 in any sample: no shift saturates
    return sum.saturated ? -3 : sum.value < faint ? 3 : 0;
}
void scale(const int16_t *signal, int up, int16_t *scaled) {
    for (int i = 0; i < span; i++)
        scaled[i] = static_cast<int16_t>(up < 0 ? signal[i] >> -up : signal[i] * (1 << up));
}

// The correlation over the root of the energy of the delayed signal.
int16_t normalised(int32_t correlation, int32_t energyOfDelayed) {
    return wrap16(multiply(correlation, inverseSqrt(energyOfDelayed)));
}

struct Candidate {
    int lag;
    int16_t measure;
};

} // namespace

ryxStatus ryxsOpenLoopPitchSearch_G729_16s_u8(const int16_t *weighted, int16_t *lag) {
    if (anyNull(weighted, lag)) return ryxStsNullPtr;
    int16_t x[span];
    scale(weighted - longest, scaleFor(macEnergy(weighted - longest, span)), x);
    const int16_t *const current = x + longest;

    // correlations[k] belongs to the lag longest - k.
    int32_t correlations[longest - shortest + 1];
    macCorrelations(current, x, frame, longest - shortest + 1, correlations);
    const auto best = [&](int from, int to) {
        const IndexedValue found = lastLargest(correlations + (longest - from), from - to + 1);
        const int delay = from - found.index;
        return Candidate{delay, normalised(found.value, macEnergy(current - delay, frame).value)};
    };
    // A shorter range wins even where it is a little worse: multiples of the period are no better.
    constexpr int16_t preference = 27853; // 0.85
    Candidate chosen = best(143, 80);
    if (const Candidate next = best(79, 40); mult(chosen.measure, preference) < next.measure) chosen = next;
    if (const Candidate next = best(39, 20); mult(chosen.measure, preference) < next.measure) chosen = next;
    *lag = static_cast<int16_t>(chosen.lag);
    return ryxStsOk;
}

namespace {

// Every second sample, the odd and the even ones apart, so that the sums run over contiguous words.
class Halved {
public:
    static constexpr int length = frame / 2;

    // signal[0 .. span - 1]; sample n of the frame is signal[longest + n].
    explicit Halved(const int16_t *signal) {
        split(signal);
        const WatchedSum sum = macEnergy(odd_, span / 2 + 1);
        const int up = scaleFor(sum);
        if (up != 0) {
            int16_t scaled[span];
            scale(signal, up, scaled);
            split(scaled);
        }
        const uint64_t currentEnergy = energy(current(), length);
        fits_ = fitsSums(currentEnergy, energy(odd_, span / 2 + 1)) && fitsSums(currentEnergy, energy(even_, span / 2));
    }

    // out[k] for the lags from, from - 2, ...
    void correlations(int from, int count, int32_t *out) const {
        macCorrelations(current(), delayed(from), length, count, out, fits_);
    }
    int32_t correlation(int lag) const {
        int32_t out = 0;
        correlations(lag, 1, &out);
        return out;
    }
    Candidate candidate(int lag, int32_t correlation) const {
        return {lag, normalised(correlation, macEnergy(delayed(lag), length, 1).value)};
    }

private:
    void split(const int16_t *x) {
        constexpr int step = 8, even = span / 2; // vectors; the last ones overlap
        for (int i = 0; i < even + 1; i += step) {
            const int at = std::min(i, even - step);
            const simd::Vector front = simd::load(x + 2 * at), back = simd::load(x + 2 * at + 8);
            const auto low = [](simd::Vector words) { return _mm_srai_epi32(_mm_slli_epi32(words, 16), 16); };
            simd::store(odd_ + at, _mm_packs_epi32(low(front), low(back)));
            simd::store(even_ + at, _mm_packs_epi32(_mm_srai_epi32(front, 16), _mm_srai_epi32(back, 16)));
        }
        odd_[even] = x[2 * even];
    }

    const int16_t *current() const { return even_ + (longest - 1) / 2; }
    const int16_t *delayed(int lag) const { return lag % 2 == 0 ? current() - lag / 2 : odd_ + (longest - lag) / 2; }

    int16_t odd_[span / 2 + 1];  // samples -143, -141, ..., 79
    int16_t even_[span / 2 + 1]; // samples -142, ..., 78
    bool fits_;
};

} // namespace

ryxStatus ryxsOpenLoopPitchSearch_G729A_16s_u8(const int16_t *weighted, int16_t *lag) {
    if (anyNull(weighted, lag)) return ryxStsNullPtr;
    const Halved signal(weighted - longest);

    // All even lags, and the odd ones up to 79.
    int32_t even[(142 - 20) / 2 + 1], odd[(79 - 21) / 2 + 1];
    signal.correlations(142, (142 - 20) / 2 + 1, even);
    signal.correlations(79, (79 - 21) / 2 + 1, odd);
    int32_t all[80 - 20]; // lags 20 to 79, rising
    for (int k = 0; k < 30; k++) {
        all[2 * k] = even[(142 - 20) / 2 - k];
        all[2 * k + 1] = odd[29 - k];
    }
    const IndexedValue x = firstLargest(all, 20), y = firstLargest(all + 20, 40),
                       z = lastLargest(even, (142 - 80) / 2 + 1);
    Candidate a = signal.candidate(20 + x.index, x.value), b = signal.candidate(40 + y.index, y.value);

    const int third = 142 - 2 * z.index;
    int32_t correlation = z.value;
    int refined = third;
    for (const int neighbour : {third + 1, third - 1}) {
        const int32_t value = signal.correlation(neighbour);
        if (value > correlation) {
            correlation = value;
            refined = neighbour;
        }
    }
    const Candidate c = signal.candidate(refined, correlation);

    // A lag close to a half or a third of a longer one gains by it.
    int distance = 2 * b.lag - c.lag;
    if (std::abs(distance) < 5) b.measure = add(b.measure, static_cast<int16_t>(c.measure >> 2));
    distance += b.lag;
    if (std::abs(distance) < 7) b.measure = add(b.measure, static_cast<int16_t>(c.measure >> 2));
    distance = 2 * a.lag - b.lag;
    if (std::abs(distance) < 5) a.measure = add(a.measure, mult(b.measure, 6554));
    distance += a.lag;
    if (std::abs(distance) < 7) a.measure = add(a.measure, mult(b.measure, 6554));
    if (a.measure < b.measure) a = b;
    if (a.measure < c.measure) a = c;
    *lag = static_cast<int16_t>(a.lag);
    return ryxStsOk;
}
