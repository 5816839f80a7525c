// SPDX-License-Identifier: BSD-2-Clause
// Post-filter of ITU-T G.729 Annex A (clause A.4.2): its stages, and all of them for a frame.
#include <algorithm>
#include <array>
#include <utility>

#include "common/checks.h"
#include "common/gain_control.h"
#include "common/high_pass_section.h"
#include "common/lp_lanes.h"
#include "common/product_sums.h"
#include "common/state_block.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

constexpr int order = 10, subframes = 2, frame = subframes * subframe;
constexpr int history = 143;          // of the residual
constexpr int responseLength = 22;    // values of the impulse response that count
constexpr int responseRoom = 24;      // with zeros behind them
constexpr int16_t initialGain = 4096; // Q12

// The sum of the squares of n words, a multiple of 8 up to 48, of at most 14 bits.
uint32_t energyOf14Bits(const int16_t *x, int n) {
    Vector sum = _mm_setzero_si128();
    for (int i = 0; i < n; i += 8)
        sum = _mm_add_epi32(sum, _mm_madd_epi16(simd::load(x + i), simd::load(x + i)));
    return static_cast<uint32_t>(simd::sumOfDwords(sum));
}

// start + 2 * energy, saturating.
int32_t doubled(uint32_t energy, int start = 0) {
    return static_cast<int32_t>(std::min<uint64_t>(2 * uint64_t{energy} + static_cast<uint64_t>(start), max32));
}

// sums[k] += current * (past and next from word k on), in lanes.
template <int... k>
void addLags(Vector current, Vector past, Vector next, Vector *sums, std::integer_sequence<int, k...>) {
    ((sums[k] = _mm_add_epi32(sums[k], _mm_madd_epi16(current, _mm_alignr_epi8(next, past, 2 * k)))), ...);
}

// Adds the residual at the delay from lag - 3 to lag + 3 that predicts it best, if it predicts half of its energy.
void longTerm(int lag, const int16_t *residual, int16_t *dst) {
    constexpr int lags = 7;
    // Quarters of what the delays reach, the longest delay first. Behind the last one the sums have no use.
    const int from = lag + 3 > history ? history - 6 : lag - 3;
    alignas(16) int16_t current[subframe], past[subframe + 8];
    alignas(16) int32_t sums[8];
    const auto quarter = [](const int16_t *x) { return _mm_srai_epi16(simd::load(x), 2); };
    Vector totals[8], own = _mm_setzero_si128(), reached = own, before = quarter(residual - from - 6);
#pragma GCC unroll 8
    for (Vector &total : totals)
        total = _mm_setzero_si128();
    for (int n = 0; n < subframe; n += 8) {
        const Vector now = quarter(residual + n);
        // Six more behind the last ones; what lies behind those may not have been written yet.
        const Vector after = n + 8 < subframe ? quarter(residual - from - 6 + n + 8)
                                              : _mm_srli_si128(quarter(residual - from - 8 + subframe), 4);
        simd::store(current + n, now);
        simd::store(past + n, before);
        own = _mm_add_epi32(own, _mm_madd_epi16(now, now));
        reached = _mm_add_epi32(reached, _mm_madd_epi16(before, before));
        addLags(now, before, after, totals, std::make_integer_sequence<int, lags>());
        before = after;
    }
    simd::store(past + subframe, before);
    reached = _mm_add_epi32(reached, _mm_madd_epi16(before, before));
    const auto ownEnergy = static_cast<uint32_t>(simd::sumOfDwords(own));
    if (fitsSums(ownEnergy, static_cast<uint32_t>(simd::sumOfDwords(reached)))) [[likely]] {
        const auto doubled4 = [&](const Vector *each) {
            const Vector total = simd::sumsOfDwords(each);
            return _mm_add_epi32(total, total);
        };
        simd::store(sums, doubled4(totals));
        simd::store(sums + 4, doubled4(totals + 4));
    } else {
        macCorrelations(current, past, subframe, lags, sums, false);
    }
    const IndexedValue found = lastLargestOfFew<2>(sums, lags);
    const int delay = from + 6 - found.index;
    const int32_t correlation = std::max(found.value, 0);
    const int32_t delayed = doubled(energyOf14Bits(past + found.index, subframe), 1), whole = doubled(ownEnergy, 1);
    const int shift = norm_l(correlation | delayed | whole);
    const auto mantissa = [shift](int32_t value) { return round(L_shl(value, shift)); };
    int16_t c = mantissa(correlation), e = mantissa(delayed);

    // Less than half of the energy (3 dB) predicted: nothing is added.
    if (L_sub(L_mult(c, c), L_mult(e, mantissa(whole)) >> 1) < 0) {
        std::copy_n(residual, subframe, dst);
        return;
    }
    int16_t weight = 21845, delayedWeight = 10923; // 2/3, 1/3
    if (c <= e) {
        c = static_cast<int16_t>(mult(c, 16384) >> 1);
        e = static_cast<int16_t>(e >> 1);
        const int16_t sum = add(c, e);
        delayedWeight = sum > 0 ? div_s(c, sum) : int16_t{0};
        weight = static_cast<int16_t>(max16 - delayedWeight);
    }
    const simd::Q15Factor ownFactor(simd::words(weight)), factor(simd::words(delayedWeight)); // neither is negative
    for (int n = 0; n < subframe; n += 8)
        simd::store(dst + n,
                    _mm_adds_epi16(ownFactor * simd::load(residual + n), factor * simd::load(residual + n - delay)));
}

// The tilt of an impulse response, Q15, from the doubled sums of its squares and of the products of neighbours.
int16_t tiltOf(int32_t energy, int32_t neighbours) {
    const int16_t r0 = extract_h(energy), r1 = extract_h(neighbours), product = mult(r1, 26214);
    return r1 <= 0 || r0 <= 0 ? int16_t{0} : div_s(std::min(product, r0), r0);
}

// The sums in lanes, not doubled, of the values that count.
struct ResponseSums {
    explicit ResponseSums(const int16_t *response) {
        const Vector x[] = {simd::load(response), simd::load(response + 8),
                            _mm_and_si128(simd::load(response + 16), _mm_setr_epi32(-1, -1, -1, 0))};
        Range range;
        for (int k = 0; k < 3; k++) {
            const Vector next = _mm_alignr_epi8(k < 2 ? x[k + 1] : _mm_setzero_si128(), x[k], 2);
            range.add(x[k]);
            energy = _mm_add_epi32(energy, _mm_madd_epi16(x[k], x[k]));
            neighbours = _mm_add_epi32(neighbours, _mm_madd_epi16(x[k], next));
        }
        fit = range.isWithin(largest);
    }

    static constexpr int largest = 6985;
    static_assert(responseLength * largest * largest < 1 << 30);

    Vector energy = _mm_setzero_si128(), neighbours = _mm_setzero_si128();
    bool fit; // doubled, too
};

// The tilts of two impulse responses.
void findTilts(const int16_t *first, const int16_t *second, int16_t *tilts) {
    const ResponseSums sums[] = {ResponseSums(first), ResponseSums(second)};
    const Vector each[] = {sums[0].energy, sums[0].neighbours, sums[1].energy, sums[1].neighbours};
    const Vector total = simd::sumsOfDwords(each);
    alignas(16) int32_t doubled[4];
    simd::store(doubled, _mm_add_epi32(total, total));
    for (int s = 0; s < subframes; s++) {
        const int16_t *const h = s == 0 ? first : second;
        tilts[s] = sums[s].fit
                       ? tiltOf(doubled[2 * s], doubled[2 * s + 1])
                       : tiltOf(macInOrder(h, h, responseLength).value, macInOrder(h, h + 1, responseLength - 1).value);
    }
}

// v[n] = x[n] - tilt * x[n - 1], with x[-1] in front.
void compensateTilt(const int16_t *x, int16_t tilt, int16_t *v) {
    const simd::Q15Factor factor(simd::words(tilt)); // not negative
    Vector before = _mm_slli_si128(simd::loadWord(x - 1), 14);
    for (int n = 0; n < subframe; n += 8) {
        const Vector now = simd::load(x + n);
        simd::store(v + n, _mm_subs_epi16(now, factor * _mm_alignr_epi8(now, before, 14)));
        before = now;
    }
}

// Brings 40 samples to the level of the reference, both as quarters of their samples.
template <class Next> GainControl<Next> controlOf(const int16_t *reference, const int16_t *src, int16_t gain) {
    return {energyOfQuarters<subframe>(src), energyOfQuarters<subframe>(reference), gain};
}

// Powers of a weighting factor as ryxsMulPowerC_NR_16s_Sfs() forms them, the first one's place left out.
constexpr std::array<int16_t, 16> powersOf(int16_t factor) {
    std::array<int16_t, 16> powers{};
    int power = factor;
    for (size_t k = 1; k <= order; k++) {
        powers[k] = static_cast<int16_t>(power);
        power = (power * factor + 0x4000) >> 15;
    }
    return powers;
}
alignas(16) constexpr std::array<int16_t, 16> numeratorPowers = powersOf(18022), denominatorPowers = powersOf(22938);

// lpc[k] * factor^k, zeros behind them.
struct WeightedLpc {
    WeightedLpc(const int16_t *lpc, const std::array<int16_t, 16> &powers) {
        front = _mm_insert_epi16(_mm_mulhrs_epi16(simd::load(lpc), simd::loadAligned(powers.data())), lpc[0], 0);
        last = _mm_mulhrs_epi16(simd::load(lpc + 3), simd::load(powers.data() + 3));
    }
    void store(int16_t *a) const { // order + 1 of them
        simd::store(a, front);
        simd::store(a + 3, last);
    }
    void storeResponse(int16_t *x) const { // up to responseRoom
        simd::store(x, front);
        simd::store(x + 8, _mm_srli_si128(last, 10));
        simd::store(x + 16, _mm_setzero_si128());
    }

    Vector front, last; // from the first and from the fourth one on
};

struct State {
    int16_t residual[history + frame]; // of the frame, behind the past
    int16_t memory[order];             // of the synthesis
    int16_t lastInput;                 // of the tilt compensation
    int16_t gain;
};

// The filters of a subframe.
struct Filters {
    int16_t numerator[order + 1], denominator[order + 1], tilt;
};

// The tilts come from the impulse responses.
void findFilters(const int16_t *lpc, Filters *filters) {
    int16_t impulses[subframes][responseRoom], responses[subframes][responseRoom], tilts[subframes];
    for (int s = 0; s < subframes; s++) {
        const WeightedLpc numerator(lpc + (order + 1) * s, numeratorPowers);
        numerator.store(filters[s].numerator);
        numerator.storeResponse(impulses[s]);
        WeightedLpc(lpc + (order + 1) * s, denominatorPowers).store(filters[s].denominator);
    }
    synthesiseBoth<order, Start::fromRest>({filters[0].denominator, impulses[0], responses[0], nullptr},
                                           {filters[1].denominator, impulses[1], responses[1], nullptr},
                                           responseLength);
    findTilts(responses[0], responses[1], tilts);
    for (int s = 0; s < subframes; s++)
        filters[s].tilt = tilts[s];
}

// The post-filter of a frame in two halves, what is done to each subframe before its recursion runs, and behind it.
class FrameFilter {
public:
    FrameFilter(const int16_t *lpc, const int16_t *lags, const int16_t *synthesis, State &state)
        : lags_(lags), synthesis_(synthesis), state_(state) {
        findFilters(lpc, filters_);
        filtered_[0] = state.lastInput;
        std::copy_n(state.memory, order, out_);
    }

    // Residual, long-term post-filter, tilt compensation: the input of the recursion. A lag of 0 leaves the long-term
    // post-filter out.
    void prepare(int s) {
        const int at = subframe * s;
        int16_t *const residual = state_.residual + history + at, *const filtered = filtered_ + 1 + at;
        residualFilter<order>(filters_[s].numerator, synthesis_ + at, residual, subframe);
        if (lags_[s] != 0)
            longTerm(lags_[s], residual, filtered);
        else
            std::copy_n(residual, subframe, filtered);
        compensateTilt(filtered, filters_[s].tilt, sharpened_ + at);
    }
    // 1 / A(z), the short-term post-filter's recursion.
    FilterRun recursion(int s) {
        int16_t *const y = output(s);
        return {filters_[s].denominator, sharpened_ + subframe * s, y, y - order};
    }
    template <class Beside> void recur(int s, Beside beside) {
        const FilterRun run = recursion(s);
        synthesisInPlaceOfHistory<order>(run.a, run.a[0], run.x, run.y, subframe, 3, beside);
    }
    GainControl<> gainControl(int s, int16_t gain) {
        return controlOf<NextFromZero>(synthesis_ + subframe * s, output(s), gain);
    }
    int16_t *output(int s) { return out_ + order + subframe * s; }

    void save(int16_t gain) const {
        state_.gain = gain;
        state_.lastInput = filtered_[frame];
        std::copy_n(out_ + frame, order, state_.memory);
        std::copy(state_.residual + frame, state_.residual + history + frame, state_.residual);
    }

private:
    const int16_t *const lags_, *const synthesis_;
    State &state_;
    Filters filters_[subframes];
    int16_t filtered_[1 + frame], sharpened_[frame], out_[order + frame];
};

// A signal brought to its level two samples at a time, as other chains take their steps; whole blocks of eight go on.
template <class Use> class Levelling {
public:
    Levelling(const GainControl<> &control, const int16_t *src, Use use) : control_(control), src_(src), use_(use) {}

    void pair(int n, int k) { // k = 0 .. 3 of the block from sample n on
        pairs_[k] = control_.twoGains();
        if (k == 3) use_(n, control_.apply(joinedPairs(pairs_), simd::load(src_ + n)));
    }
    int16_t gain() const { return control_.gain(); }

private:
    GainControl<> control_;
    const int16_t *src_;
    Use use_;
    Vector pairs_[4];
};

template <class Action> void forPairs(Action action) {
#pragma GCC unroll 4
    for (int k = 0; k < 4; k++)
        action(k);
}

// The gains of the first subframe are a second chain beside the recursion of the second one.
void filterFrame(const int16_t *lpc, const int16_t *lags, const int16_t *synthesis, int16_t *dst, State &state) {
    FrameFilter filter(lpc, lags, synthesis, state);
    filter.prepare(0);
    filter.recur(0, NothingBeside());
    filter.prepare(1);
    const auto toDst = [dst](int n, Vector words) { simd::store(dst + n, words); };
    Levelling first(filter.gainControl(0, state.gain), filter.output(0), toDst);
    filter.recur(1, [&](int n, int k) { first.pair(n, k); });
    Levelling second(filter.gainControl(1, first.gain()), filter.output(0), toDst);
    for (int n = subframe; n < frame; n += 8)
        forPairs([&](int k) { second.pair(n, k); });
    filter.save(second.gain());
}

struct PostProcessState {
    State filter;
    HighPassMemory highPass;
};

// The second subframe's synthesis runs beside the recursion of the first one; the first one's gains and high-pass filter
// beside the recursion of the second one; and the second one's gains beside its high-pass filter, which is a block of
// eight behind. Returns false where the synthesis saturated: then nothing else has been done.
bool postProcessFrame(const int16_t *lpc, const int16_t *lags, const int16_t *excitation, int16_t *synthesis,
                      int16_t *dst, PostProcessState &state) {
    FrameFilter filter(lpc, lags, synthesis, state.filter);
    filter.prepare(0);
    if (excitation != nullptr) {
        int16_t *const second = synthesis + subframe;
        const FilterRun run = {lpc + order + 1, excitation, second, second - order};
        if (synthesiseBoth<order, Start::fromHistory>(run, filter.recursion(0), subframe).first) return false;
    } else {
        filter.recur(0, NothingBeside());
    }
    filter.prepare(1);

    int16_t levelled[frame];
    HighPass<postProcessing, frame> highPass(state.highPass);
    const auto toHighPass = [&](int n, Vector words) {
        simd::store(levelled + n, words);
        highPass.add(words);
    };
    const auto stepBeside = [&](auto &levelling, int n, int k) {
        if (n > 0) highPass.two();
        levelling.pair(n, k);
    };
    Levelling first(filter.gainControl(0, state.filter.gain), filter.output(0), toHighPass);
    filter.recur(1, [&](int n, int k) { stepBeside(first, n, k); });
    Levelling second(filter.gainControl(1, first.gain()), filter.output(0), toHighPass);
    for (int n = subframe; n < frame; n += 8)
        forPairs([&](int k) { stepBeside(second, n, k); });
    forPairs([&](int) { highPass.two(); });
    filter.save(second.gain());
    if (highPass.store(dst)) [[likely]]
        state.highPass = highPass.memory(levelled[frame - 1], levelled[frame - 2]);
    else
        highPassInOrder<postProcessing>(levelled, dst, frame, state.highPass);
    return true;
}

bool isLag(int16_t lag) {
    return lag >= 18 && lag <= 145;
}
bool areLags(const int16_t *lags) {
    return std::all_of(lags, lags + subframes, [](int16_t lag) { return lag == 0 || isLag(lag); });
}

} // namespace

ryxStatus ryxsLongTermPostFilter_G729A_16s_u8(int16_t lag, const int16_t *residual, int16_t *dst) {
    if (anyNull(residual, dst)) return ryxStsNullPtr;
    if (!isLag(lag)) return ryxStsOutOfRange;
    longTerm(lag, residual, dst);
    return ryxStsOk;
}

ryxStatus ryxsShortTermPostFilter_G729A_16s_u8(const int16_t *numerator, const int16_t *denominator, const int16_t *src,
                                               int16_t *dst, int16_t *memory) {
    if (anyNull(numerator, denominator, src, dst, memory)) return ryxStsNullPtr;
    int16_t impulse[responseRoom] = {}, response[responseRoom] = {}, tilts[2];
    std::copy_n(numerator, order + 1, impulse);
    zeroStateResponse<order>(denominator, impulse, response, responseLength);
    findTilts(response, response, tilts);
    int16_t x[1 + subframe], v[subframe]; // the last sample in front
    x[0] = memory[order];
    std::copy_n(src, subframe, x + 1);
    compensateTilt(x + 1, tilts[0], v);
    memory[order] = x[subframe];
    synthesisFilter<order>(denominator, v, dst, subframe, memory, Memory::update);
    return ryxStsOk;
}

ryxStatus ryxsGainControl_G729A_16s_I_u8(const int16_t *reference, int16_t *srcDst, int16_t *gain) {
    if (anyNull(reference, srcDst, gain)) return ryxStsNullPtr;
    auto control = controlOf<NextOfAny>(reference, srcDst, *gain); // of the caller: it may be below 0
    for (int n = 0; n < subframe; n += 8)
        simd::store(srcDst + n, control.apply(control.eightGains(), simd::load(srcDst + n)));
    *gain = control.gain();
    return ryxStsOk;
}

ryxStatus ryxsPostFilterGetStateSize_G729A_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = alignedBlockBytes<State>;
    return ryxStsOk;
}

ryxStatus ryxsPostFilterInit_G729A_16s_u8(PostFilterState_G729A *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    state = State{};
    state.gain = initialGain;
    return ryxStsOk;
}

ryxStatus ryxsPostFilter_G729A_16s_u8(const int16_t *lpc, const int16_t *lags, const int16_t *synthesis, int16_t *dst,
                                      PostFilterState_G729A *block) {
    if (anyNull(lpc, lags, synthesis, dst, block)) return ryxStsNullPtr;
    if (!areLags(lags)) return ryxStsOutOfRange;
    filterFrame(lpc, lags, synthesis, dst, alignedBlock<State>(block));
    return ryxStsOk;
}

ryxStatus ryxsPostProcessGetStateSize_G729A_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = alignedBlockBytes<PostProcessState>;
    return ryxStsOk;
}

ryxStatus ryxsPostProcessInit_G729A_16s_u8(PostProcessState_G729A *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    PostProcessState &state = alignedBlock<PostProcessState>(block);
    state = PostProcessState{};
    state.filter.gain = initialGain;
    return ryxStsOk;
}

ryxStatus ryxsPostProcess_G729A_16s_u8(const int16_t *lpc, const int16_t *lags, const int16_t *excitation,
                                       int16_t *synthesis, int16_t *dst, PostProcessState_G729A *block) {
    if (anyNull(lpc, lags, synthesis, dst, block)) return ryxStsNullPtr;
    if (!areLags(lags)) return ryxStsOutOfRange;
    return postProcessFrame(lpc, lags, excitation, synthesis, dst, alignedBlock<PostProcessState>(block))
               ? ryxStsOk
               : ryxStsOverflow;
}
