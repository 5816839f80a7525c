// SPDX-License-Identifier: BSD-2-Clause
// Synthesis filter of order 50 of ITU-T G.728, Annex G, as a sum of its zero-input and zero-state responses, and the memory
// of the weighting filter that goes with them. The filter's past is in block floating point, vector by vector.
#include "g728/synthesis_filter.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "common/checks.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "g728/implementations.h"
#include "g728/vector_filter.h"
#include "g728/vectors.h"

using namespace ryxsc;
using namespace ryxsc::g728;
using simd::Vector;

namespace {

constexpr int fractionBits = 14;
constexpr int16_t startExponent = 16;

ryxStatus getStateSize(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(SynthesisState);
    return ryxStsOk;
}

ryxStatus init(SynthesisFilterState_G728 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    SynthesisState state{};
    for (auto &vector : state.speech)
        vector[vectorLength] = startExponent;
    saveBlock(block, state);
    return ryxStsOk;
}

// The first vector of the state, which is all that most steps touch.
struct Newest {
    int16_t samples[vectorLength], exponent;
};
static_assert(sizeof(Newest) == sizeof *SynthesisState::speech);

int16_t exponentOf(const int16_t *vector) {
    return vector[vectorLength];
}

// What the past vectors add to the five samples of the response, Q14 over `exponent`. What each of them adds is shifted to
// that exponent by itself. The oldest one, of which sample n sees only the newest 5 - n samples, adds nothing where the
// shift is 30 or more.
void pastParts(const int16_t *a, const SynthesisState &state, int exponent, int64_t *parts) {
    for (int n = 0; n < vectorLength; n++) {
        parts[n] = 0;
        for (int v = 1; v <= SynthesisState::vectors; v++) {
            const int16_t *past = state.speech[v - 1];
            const int shift = exponentOf(past) - exponent;
            const bool oldest = v == SynthesisState::vectors;
            if (oldest && shift >= 30) continue;
            int64_t part = 0;
            for (int m = oldest ? n : 0; m < vectorLength; m++)
                part -= a[n + 5 * v - m - 1] * past[m];
            parts[n] += part >> std::min(shift, 63);
        }
    }
}

// Words j to j + 7 of the 50 coefficients, zeros behind them.
template <int j> Vector coefficientsFrom(const int16_t *a) {
    if constexpr (j + 8 <= synthesisOrder)
        return simd::load(a + j);
    else
        return _mm_srli_si128(simd::load(a + synthesisOrder - 8), 2 * (j - (synthesisOrder - 8)));
}

// The same for samples 0 to 3 in one vector and 4 in another, in 32 bits. That what a vector adds fits follows from the
// normalisation to 14 bits; the sum of these is taken a second time, coarsely.
class PastParts {
public:
    // Past vector v, 1 being the newest, with its exponent in word 5 and anything in words 6 and 7.
    template <int v> void add(const int16_t *a, Vector row, int shift) {
        const Vector zero = _mm_setzero_si128(), past = _mm_sub_epi16(zero, row);
        used_ = _mm_or_si128(used_, simd::onesMagnitude(row));
        const Vector a0 = coefficientsFrom<5 * v - 1>(a), a1 = coefficientsFrom<5 * v - 2>(a);
        const Vector a2 = coefficientsFrom<5 * v - 3>(a), a3 = coefficientsFrom<5 * v - 4>(a);
        const Vector a4 = coefficientsFrom<5 * v - 5>(a);
        const Vector d01 = _mm_shuffle_epi32(past, _MM_SHUFFLE(0, 0, 0, 0));
        const Vector d23 = _mm_shuffle_epi32(past, _MM_SHUFFLE(1, 1, 1, 1));
        const Vector d4 = _mm_shuffle_epi32(past, _MM_SHUFFLE(2, 2, 2, 2));
        const auto part = [=](Vector c01, Vector c23, Vector c4) {
            const Vector sum = _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(c01, d01), _mm_madd_epi16(c23, d23)),
                                             _mm_madd_epi16(c4, d4));
            return _mm_sra_epi32(sum, _mm_cvtsi32_si128(shift));
        };
        front_.add(part(_mm_unpacklo_epi16(a0, a1), _mm_unpacklo_epi16(a2, a3), _mm_unpacklo_epi16(a4, zero)));
        back_.add(part(_mm_unpackhi_epi16(a0, a1), _mm_unpackhi_epi16(a2, a3), _mm_unpackhi_epi16(a4, zero)));
    }

    // False where 32 bits may not do.
    bool get(int64_t *parts) const {
        const Vector tooLarge = _mm_or_si128(front_.tooLarge(), _mm_slli_si128(back_.tooLarge(), 12));
        const Vector tooMany = _mm_slli_si128(_mm_cmpgt_epi16(used_, simd::words(0x1fff)), 6);
        if (_mm_movemask_epi8(_mm_or_si128(tooLarge, tooMany)) != 0) [[unlikely]]
            return false;
        int32_t four[4];
        simd::store(four, front_.sum);
        std::copy_n(four, 4, parts);
        parts[4] = _mm_cvtsi128_si32(back_.sum);
        return true;
    }

private:
    struct Sum {
        Vector sum = _mm_setzero_si128();
        Vector coarse = _mm_setzero_si128();

        void add(Vector x) {
            sum = _mm_add_epi32(sum, x);
            coarse = _mm_add_epi32(coarse, _mm_srai_epi32(x, 10));
        }
        // Ten terms, each less than 1 too small after the division.
        Vector tooLarge() const { return _mm_cmpgt_epi32(_mm_abs_epi32(coarse), simd::dwords((1 << 21) - 16)); }
    };

    Sum front_, back_;
    Vector used_ = _mm_setzero_si128();
};

// Five samples, zeros behind them, and their exponent.
struct Response {
    Vector samples;
    int exponent;
};

// From the ten vectors of the block.
Response zeroInputResponse(const int16_t *a, const SynthesisFilterState_G728 *block) {
    constexpr int vectors = SynthesisState::vectors;
    const auto *const rows = reinterpret_cast<const unsigned char *>(block);
    const auto row = [=](int v) {
        return simd::load(rows + static_cast<size_t>(v - 1) * sizeof *SynthesisState::speech);
    };
    Vector smallest = row(1);
    for (int v = 2; v <= vectors; v++)
        smallest = _mm_min_epi16(smallest, row(v));
    const int exponent = static_cast<int16_t>(_mm_extract_epi16(smallest, vectorLength));
    const auto shift = [=](Vector past) {
        return static_cast<int16_t>(_mm_extract_epi16(past, vectorLength)) - exponent;
    };

    PastParts sums;
    [&]<int... before>(std::integer_sequence<int, before...>) {
        (sums.add<before + 1>(a, row(before + 1), shift(row(before + 1))), ...);
    }
    (std::make_integer_sequence<int, vectors - 1>());
    if (shift(row(vectors)) < 30) sums.add<vectors>(a, row(vectors), shift(row(vectors)));
    int64_t parts[vectorLength];
    if (!sums.get(parts)) pastParts(a, loadBlock<SynthesisState>(block), exponent, parts);

    const VectorOutputs outputs = recurseVector(
        a, [&](int n) { return parts[n]; }, [](int, int64_t sum) { return wideOutputOf(sum); });
    return {outputs.forward(), exponent};
}

// Predictor coefficients with the opposite sign in the order of the zero-input response's multiplications, and whether all of
// them and their sums fit.
struct Taps {
    int16_t pairs[SynthesisState::vectors][4][8]; // of samples 0 to 3 with those of a past vector, and of sample 4
    int16_t coefficients[synthesisOrder];
    int16_t fit, reserved;
};
static_assert(sizeof(Taps) == 744);

// Samples in a state have at most 15 bits. No coefficient meets more than one of them on the way to one sample. -2^15 has no
// opposite.
bool sumsFit(const int16_t *a) {
    int32_t magnitudes = 0;
    int16_t smallest = 0;
    for (int i = 0; i < synthesisOrder; i++) {
        magnitudes += std::abs(a[i]);
        smallest = std::min(smallest, a[i]);
    }
    return magnitudes < 1 << 17 && smallest > min16;
}

void arrange(const int16_t *a, SynthesisTaps_G728 *block) {
    constexpr int margin = 8; // of zeros on both sides
    int16_t padded[margin + synthesisOrder + 14];
    for (const int at : {0, margin + synthesisOrder - 2, margin + synthesisOrder + 6})
        simd::store(padded + at, _mm_setzero_si128());
    for (const int at : {0, 8, 16, 24, 32, 40, synthesisOrder - 8})
        simd::store(padded + margin + at, _mm_sub_epi16(_mm_setzero_si128(), simd::load(a + at)));
    auto *const octets = reinterpret_cast<unsigned char *>(block);
    const Vector zero = _mm_setzero_si128();
#pragma GCC unroll 10
    for (int v = 0; v < SynthesisState::vectors; v++) {
        // Coefficient 5 v + n - m joins sample m of vector v, counted from 1, to sample n; at[0] is that of n = m.
        const int16_t *const at = padded + margin + vectorLength * (v + 1) - 1;
        unsigned char *const row = octets + sizeof *Taps::pairs * static_cast<size_t>(v);
        const Vector newest = simd::load(at);
        simd::store(row, _mm_unpacklo_epi16(newest, simd::load(at - 1)));
        simd::store(row + 16, _mm_unpacklo_epi16(simd::load(at - 2), simd::load(at - 3)));
        simd::store(row + 32, _mm_unpacklo_epi16(simd::load(at - 4), zero));
        simd::store(row + 48, _mm_srli_si128(simd::reverseWords(newest), 6));
    }
    std::memcpy(octets + offsetof(Taps, coefficients), a, sizeof Taps::coefficients);
    const int16_t fit[2] = {sumsFit(a), 0};
    std::memcpy(octets + offsetof(Taps, fit), fit, sizeof fit);
}

// The same while the sums fit 32 bits.
Response zeroInputResponse(const SynthesisTaps_G728 *taps, const SynthesisFilterState_G728 *block) {
    constexpr int vectors = SynthesisState::vectors;
    const auto *const rows = reinterpret_cast<const unsigned char *>(block);
    const auto *const factors = reinterpret_cast<const unsigned char *>(taps);
    int shifts[vectors], exponent = max16;
#pragma GCC unroll 10
    for (int v = vectors - 1; v >= 0; v--) { // the newest one, for which all have to wait, last
        int16_t e;
        std::memcpy(&e, rows + static_cast<size_t>(v) * sizeof(Newest) + offsetof(Newest, exponent), sizeof e);
        shifts[v] = e;
        exponent = std::min<int>(exponent, e);
    }
    // Sample 4 of all vectors is summed across, so that each vector's shift follows.
    Vector sum = _mm_setzero_si128(), fifth[vectors + 2];
    fifth[vectors] = fifth[vectors + 1] = _mm_setzero_si128();
#pragma GCC unroll 10
    for (int v = 0; v < vectors; v++) {
        shifts[v] = std::min(shifts[v] - exponent, 31);
        const auto tap = [=](int i) { return simd::load(factors + 64 * v + 16 * i); };
        Vector past = simd::load(rows + static_cast<size_t>(v) * sizeof(Newest));
        if (v == vectors - 1 && shifts[v] >= 30) past = _mm_setzero_si128();
        const Vector four = _mm_add_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_shuffle_epi32(past, 0x00), tap(0)),
                                                        _mm_madd_epi16(_mm_shuffle_epi32(past, 0x55), tap(1))),
                                          _mm_madd_epi16(_mm_shuffle_epi32(past, 0xaa), tap(2)));
        sum = _mm_add_epi32(sum, _mm_sra_epi32(four, _mm_cvtsi32_si128(shifts[v])));
        fifth[v] = _mm_madd_epi16(past, tap(3));
    }
    alignas(16) int32_t parts[vectors + 2], first[4];
#pragma GCC unroll 3
    for (int v = 0; v < vectors; v += 4)
        simd::store(parts + v, simd::sumsOfDwords(fifth + v));
    simd::store(first, sum);
    int32_t last = 0;
#pragma GCC unroll 10
    for (int v = 0; v < vectors; v++)
        last += parts[v] >> shifts[v];
    int16_t a[vectorLength - 1];
    std::memcpy(a, factors + offsetof(Taps, coefficients), sizeof a);
    const VectorOutputs outputs = recurseVector(
        a, [&](int n) { return int64_t{n < 4 ? first[n] : last}; }, [](int, int64_t x) { return wideOutputOf(x); });
    return {outputs.forward(), exponent};
}

// Response from rest to the excitation. Where it would leave 15 bits the excitation is halved and all starts again.
Response zeroStateResponse(const int16_t *a, int16_t *excitation, int exponent) {
    for (;; exponent--) {
        bool fits = true;
        const VectorOutputs outputs = recurseVector(
            a, [&](int n) { return int64_t{excitation[n]} * 16384; },
            [&](int, int64_t sum) {
                fits &= static_cast<uint64_t>(sum + (1 << 28)) < 1 << 29;
                return sum >> fractionBits;
            });
        if (fits) return {outputs.forward(), exponent};
        for (int i = 0; i < vectorLength; i++)
            excitation[i] = static_cast<int16_t>(excitation[i] >> 1);
    }
}

// The sum of two responses; what it may reach depends on the exponent.
Response sumOf(const Response &x, const Response &y) {
    const int common = std::min(x.exponent, y.exponent);
    const int limit = common < 0 ? shiftRight(4095, -common) : 4095 << std::min(common, 4);
    const int low = limit > max16 ? min16 : -limit, high = std::min<int>(limit, max16);
    const auto aligned = [=](const Response &r) {
        return _mm_sra_epi16(r.samples, _mm_cvtsi32_si128(r.exponent - common));
    };
    const Vector sum = _mm_adds_epi16(aligned(x), aligned(y));
    return {simd::clampWords(sum, simd::words(static_cast<int16_t>(low)), simd::words(static_cast<int16_t>(high))),
            common};
}

// Row v of the synthesis filter's memory in Q2, anything behind the five samples. Each vector is loaded from where enter() has
// stored it as part of one, or it would have to wait.
template <int v> Vector rowInQ2(const SynthesisFilterState_G728 *block) {
    const auto *const row = reinterpret_cast<const unsigned char *>(block) + v * sizeof(Newest);
    int16_t exponent;
    std::memcpy(&exponent, row + offsetof(Newest, exponent), sizeof exponent);
    if constexpr (v == 0)
        return inQ2(_mm_unpacklo_epi64(simd::load64(row), simd::load32(row + 8)), exponent);
    else if constexpr (v == 1)
        return inQ2(simd::load(row), exponent);
    else
        return inQ2(_mm_or_si128(simd::load32(row), _mm_slli_si128(simd::load64(row + 4), 4)), exponent);
}

// The newest vector of the memory, five samples and the exponent behind them.
void saveNewest(Vector samples, int16_t exponent, SynthesisFilterState_G728 *block) {
    auto *const row = reinterpret_cast<unsigned char *>(block);
    simd::store64(row, samples);
    simd::store32(row + 8, _mm_insert_epi16(_mm_unpackhi_epi64(samples, samples), exponent, 1));
}
Response loadNewest(const SynthesisFilterState_G728 *block) {
    const auto *const row = reinterpret_cast<const unsigned char *>(block);
    int16_t exponent;
    std::memcpy(&exponent, row + offsetof(Newest, exponent), sizeof exponent);
    int16_t last;
    std::memcpy(&last, row + 8, sizeof last);
    return {_mm_unpacklo_epi64(simd::load64(row), simd::loadWord(&last)), exponent};
}

// The response, normalised, as the newest vector of the memory.
[[gnu::always_inline]] inline void enter(Response response, int16_t *dst, int16_t *exponent,
                                         SynthesisFilterState_G728 *block) {
    response.exponent += normaliseFive(response.samples, 15);
    *exponent = asExponent(response.exponent);
    storeFive(dst, response.samples);
    auto *const rows = reinterpret_cast<unsigned char *>(block);
    constexpr size_t kept = sizeof SynthesisState::speech - sizeof(Newest);
    static_assert(kept == 6 * 16 + 12);
    Vector moved[6];
#pragma GCC unroll 6
    for (size_t i = 0; i < 6; i++)
        moved[i] = simd::load(rows + 16 * i);
    const Vector last = simd::load(rows + kept - 16);
#pragma GCC unroll 6
    for (size_t i = 0; i < 6; i++)
        simd::store(rows + sizeof(Newest) + 16 * i, moved[i]);
    simd::store(rows + sizeof(Newest) + kept - 16, last);
    saveNewest(response.samples, *exponent, block);
}

} // namespace

ryxStatus ryxsSynthesisFilterGetStateSize_G728_16s_u8(int *size) {
    return getStateSize(size);
}

ryxStatus ryxsSynthesisFilterGetStateSize_G728_16s_n8(int *size) {
    return getStateSize(size);
}

ryxStatus ryxsSynthesisFilterInit_G728_16s_u8(SynthesisFilterState_G728 *block) {
    return init(block);
}

ryxStatus ryxsSynthesisFilterInit_G728_16s_n8(SynthesisFilterState_G728 *block) {
    return init(block);
}

ryxStatus ryxsSynthesisFilterZeroInput_G728_16s_u8(const int16_t *coefficients, int16_t *dst, int16_t *exponent,
                                                   SynthesisFilterState_G728 *block) {
    if (anyNull(coefficients, dst, exponent, block)) return ryxStsNullPtr;
    enter(zeroInputResponse(coefficients, block), dst, exponent, block);
    return ryxStsOk;
}

ryxStatus ryxsSynthesisTapsGetStateSize_G728_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(Taps);
    return ryxStsOk;
}

ryxStatus ryxsSynthesisTapsInit_G728_16s_u8(const int16_t *coefficients, SynthesisTaps_G728 *taps) {
    if (anyNull(coefficients, taps)) return ryxStsNullPtr;
    arrange(coefficients, taps);
    return ryxStsOk;
}

ryxStatus ryxsSynthesisFilterZeroInputTaps_G728_16s_u8(const SynthesisTaps_G728 *block, int16_t *dst, int16_t *exponent,
                                                       SynthesisFilterState_G728 *state) {
    if (anyNull(block, dst, exponent, state)) return ryxStsNullPtr;
    int16_t fit;
    std::memcpy(&fit, reinterpret_cast<const unsigned char *>(block) + offsetof(Taps, fit), sizeof fit);
    if (fit) [[likely]] {
        enter(zeroInputResponse(block, state), dst, exponent, state);
    } else {
        const auto whole = loadBlock<Taps>(block);
        enter(zeroInputResponse(whole.coefficients, state), dst, exponent, state);
    }
    return ryxStsOk;
}

ryxStatus ryxsSynthesisFilter_G728_16s_u8(const int16_t *coefficients, int16_t *excitation, int16_t *exponent,
                                          int16_t largestExponent, int16_t *response, int16_t *speech,
                                          int16_t *speechExponent, SynthesisFilterState_G728 *block) {
    if (anyNull(coefficients, excitation, exponent, response, speech, speechExponent, block)) return ryxStsNullPtr;
    const Response zeroState = zeroStateResponse(coefficients, excitation, *exponent);
    *exponent = asExponent(zeroState.exponent);
    storeFive(response, zeroState.samples);
    Response sum = sumOf(loadNewest(block), zeroState);
    sum.exponent += normaliseFive(sum.samples, 14);
    *speechExponent = std::min(asExponent(sum.exponent), largestExponent);
    storeFive(speech, sum.samples);
    saveNewest(sum.samples, *speechExponent, block);
    return ryxStsOk;
}

ryxStatus ryxsWeightedZeroInput_G728_16s_u8(const int16_t *coefficients, const SynthesisFilterState_G728 *block,
                                            int16_t *dst, IIRState_G728 *weighting) {
    if (anyNull(coefficients, block, dst, weighting)) return ryxStsNullPtr;
    const Vector before = reversedFive(rowInQ2<1>(block)), oldest = reversedFive(rowInQ2<2>(block));
    Ten inputs(_mm_or_si128(before, _mm_slli_si128(oldest, 10)), _mm_srli_si128(oldest, 6));
    auto *const octets = reinterpret_cast<unsigned char *>(weighting);
    auto *const pastInputs = octets + offsetof(PoleZeroState, inputs);
    auto *const pastOutputs = octets + offsetof(PoleZeroState, outputs);
    Ten outputs(pastOutputs);
    Vector samples = _mm_and_si128(rowInQ2<0>(block), _mm_setr_epi16(-1, -1, -1, -1, -1, 0, 0, 0));
    if (!WeightingFilter(coefficients).apply(samples, inputs, outputs)) [[unlikely]] {
        int16_t response[vectorLength];
        storeFive(response, samples);
        inputs.save(pastInputs);
        return ryxsIIR16s_G728_16s_u8(coefficients, response, dst, vectorLength, weighting);
    }
    storeFive(dst, samples);
    inputs.save(pastInputs);
    outputs.save(pastOutputs);
    return ryxStsOk;
}

ryxStatus ryxsWeightedZeroState_G728_16s_u8(const int16_t *coefficients, const int16_t *response, int16_t exponent,
                                            IIRState_G728 *weighting) {
    if (anyNull(coefficients, response, weighting)) return ryxStsNullPtr;
    int64_t zeros[vectorLength];
#pragma GCC unroll 5
    for (int n = 0; n < vectorLength; n++) {
        zeros[n] = response[n] * 16384;
#pragma GCC unroll 4
        for (int i = 1; i <= n; i++)
            zeros[n] += coefficients[i - 1] * response[n - i];
    }
    const VectorOutputs weighted = recurseVector(
        coefficients + order, [&](int n) { return zeros[n]; }, [](int, int64_t sum) { return wideOutputOf(sum); });
    // In Q2; 16 places limit whatever is not 0. The last of them is taken before, so that the sums fit.
    Vector reversed = reversedFive(weighted.forward());
    if (exponent <= 2 - 16) reversed = _mm_adds_epi16(reversed, reversed);
    const Vector left = _mm_cvtsi32_si128(std::clamp(2 - exponent, 0, 15));
    const Vector right = _mm_cvtsi32_si128(std::max(exponent - 2, 0));
    auto *const outputs = reinterpret_cast<unsigned char *>(weighting) + offsetof(PoleZeroState, outputs);
    const auto added = [=](Vector x, Vector output) {
        return _mm_add_epi32(_mm_sra_epi32(_mm_sll_epi32(x, left), right), simd::frontDwords(output));
    };
    int16_t fifth;
    std::memcpy(&fifth, outputs + 8, sizeof fifth);
    const Vector sums = _mm_packs_epi32(added(simd::frontDwords(reversed), simd::load64(outputs)),
                                        added(simd::backDwords(reversed), simd::loadWord(&fifth)));
    simd::store64(outputs, sums);
    fifth = static_cast<int16_t>(_mm_extract_epi16(sums, 4));
    std::memcpy(outputs + 8, &fifth, sizeof fifth);
    return ryxStsOk;
}
