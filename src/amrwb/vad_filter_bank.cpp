// SPDX-License-Identifier: BSD-2-Clause
// A tree of half-band splits. Each split takes a pair of neighbouring samples through all-pass sections and makes their
// sum and difference, halved, the next samples of two bands; a third-order split has a section for the second sample only.
//
// All splits of a depth stand side by side in one vector, a pair in each dword. Two vectors of results, one word per
// band, interleaved, are the pairs of the next depth; so the whole tree stays in registers.
#include "amrwb/vad_filter_bank.h"

#include "common/simd.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;
using simd::Vector;

namespace {

// Coefficients of the all-pass sections, Q15: of the first and the second sample of a fifth-order split, of the second
// sample of a third-order split.
constexpr int16_t firstOfFifth = 21955;
constexpr int16_t secondOfFifth = 6390;
constexpr int16_t secondOfThird = 13363;

// One all-pass section per word, every operation saturated:
//
//     u = x - c * memory    y = memory + c * u    memory = u
//
// with truncated products. They are the upper halves of those with 2c; where 2c is 32768 or more, with 2c - 65536 and x
// added.
class Sections {
public:
    // A coefficient of 0 stands for no section.
    Sections(Vector coefficients, Vector memory)
        : factors_(_mm_add_epi16(coefficients, coefficients)), large_(simd::signMask(factors_)),
          absent_(_mm_cmpeq_epi16(coefficients, _mm_setzero_si128())), memory_(memory), product_(scaled(memory)) {}

    Vector memory() const { return memory_; }

    [[gnu::always_inline]] Vector filter(Vector x) {
        const Vector u = _mm_subs_epi16(x, product_);
        product_ = scaled(u);
        const Vector y = _mm_adds_epi16(memory_, product_);
        memory_ = u;
        return y;
    }

    // Words without a section hand x through.
    [[gnu::always_inline]] Vector filterOrPass(Vector x) { return simd::select(absent_, x, filter(x)); }

private:
    [[gnu::always_inline]] Vector scaled(Vector x) const {
        return _mm_add_epi16(_mm_mulhi_epi16(x, factors_), _mm_and_si128(x, large_));
    }

    Vector factors_, large_, absent_;
    Vector memory_, product_; // c * memory
};

// Sum and difference of each pair, halved: the sums in words 0 to 3, the differences in words 4 to 7.
[[gnu::always_inline]] inline Vector combine(Vector pairs) {
    const Vector alternating = _mm_setr_epi16(1, -1, 1, -1, 1, -1, 1, -1);
    const Vector sums = _mm_srai_epi32(_mm_madd_epi16(pairs, simd::words(1)), 1);
    const Vector differences = _mm_srai_epi32(_mm_madd_epi16(pairs, alternating), 1);
    return _mm_packs_epi32(sums, differences);
}

// The pairs of two successive results: of the sums and of the differences.
struct SplitPairs {
    Vector sums, differences;

    SplitPairs(Vector earlier, Vector later)
        : sums(_mm_unpacklo_epi16(earlier, later)), differences(_mm_unpackhi_epi16(earlier, later)) {}

    // Dwords 0 and 2 of both. No split follows on the other ones.
    Vector even() const {
        const __m128 mixed =
            _mm_shuffle_ps(_mm_castsi128_ps(sums), _mm_castsi128_ps(differences), _MM_SHUFFLE(2, 0, 2, 0));
        return _mm_castps_si128(mixed);
    }
};

// Sum of the magnitudes of both words of each pair; that of -32768 is 32767.
class Magnitudes {
public:
    [[gnu::always_inline]] void add(Vector pairs) {
        const Vector magnitudes = _mm_max_epi16(pairs, _mm_subs_epi16(_mm_setzero_si128(), pairs));
        sums_ = _mm_add_epi32(sums_, _mm_madd_epi16(magnitudes, simd::words(1)));
    }
    [[gnu::always_inline]] void add(const SplitPairs &pairs, Magnitudes &ofDifferences) {
        add(pairs.sums);
        ofDifferences.add(pairs.differences);
    }

    int32_t at(size_t dword) const {
        alignas(16) int32_t sums[4];
        simd::store(sums, sums_);
        return sums[dword];
    }
    void clear() { sums_ = _mm_setzero_si128(); }

private:
    Vector sums_ = _mm_setzero_si128();
};

// Bands are named by their splits: L is the sum, H the difference. The comments give the dwords of each vector of pairs;
// a number is a band that is complete, x has no meaning.
class FilterBank {
public:
    explicit FilterBank(const FilterBankMemory &memory)
        : first_(_mm_setr_epi16(firstOfFifth, secondOfFifth, 0, 0, 0, 0, 0, 0), simd::load32(memory.fifthOrder[0])),
          second_(_mm_setr_epi16(firstOfFifth, secondOfFifth, firstOfFifth, secondOfFifth, 0, 0, 0, 0),
                  simd::load64(memory.fifthOrder[1])),
          third_(_mm_setr_epi16(firstOfFifth, secondOfFifth, 0, 0, firstOfFifth, secondOfFifth, 0, secondOfThird),
                 _mm_setr_epi16(memory.fifthOrder[3][0], memory.fifthOrder[3][1], 0, 0, memory.fifthOrder[4][0],
                                memory.fifthOrder[4][1], 0, memory.thirdOrder[0])),
          fourth_(_mm_setr_epi16(0, secondOfThird, 0, 0, 0, secondOfThird, 0, secondOfThird),
                  _mm_setr_epi16(0, memory.thirdOrder[1], 0, 0, 0, memory.thirdOrder[2], 0, memory.thirdOrder[3])),
          fifth_(_mm_setr_epi16(0, secondOfThird, 0, 0, 0, secondOfThird, 0, 0),
                 _mm_setr_epi16(0, memory.thirdOrder[4], 0, 0, 0, memory.thirdOrder[5], 0, 0)) {}

    void save(FilterBankMemory &memory) const {
        int16_t third[8], fourth[8], fifth[8];
        simd::store32(memory.fifthOrder[0], first_.memory());
        simd::store64(memory.fifthOrder[1], second_.memory());
        simd::store(third, third_.memory());
        simd::store32(memory.fifthOrder[3], third_.memory());
        simd::store(fourth, fourth_.memory());
        simd::store(fifth, fifth_.memory());
        memory.fifthOrder[4][0] = third[4];
        memory.fifthOrder[4][1] = third[5];
        memory.thirdOrder[0] = third[7];
        memory.thirdOrder[1] = fourth[1];
        memory.thirdOrder[2] = fourth[5];
        memory.thirdOrder[3] = fourth[7];
        memory.thirdOrder[4] = fifth[1];
        memory.thirdOrder[5] = fifth[5];
    }

    // 64 samples.
    [[gnu::always_inline]] void split(const int16_t *samples) {
        const Vector earlier = fifthDepth(samples);
        const SplitPairs pairs(earlier, fifthDepth(samples + 32)); // 0, x, 3, x and 1, x, 2, x
        lowest_.add(pairs, lowestDifferences_);
    }

    BandMagnitudes takeMagnitudes() {
        const BandMagnitudes sums = {lowest_.at(0), lowestDifferences_.at(0), lowestDifferences_.at(2),
                                     lowest_.at(2), lowDifferences_.at(2),    low_.at(2),
                                     low_.at(3),    lowDifferences_.at(3),    high_.at(2),
                                     high_.at(3),   highDifferences_.at(3),   highest_.at(1)};
        for (Magnitudes *part :
             {&lowest_, &lowestDifferences_, &low_, &lowDifferences_, &high_, &highDifferences_, &highest_})
            part->clear();
        return sums;
    }

private:
    // Eight samples; words L L L L H H H H.
    [[gnu::always_inline]] Vector firstDepth(const int16_t *samples) {
        const Vector x = _mm_srai_epi16(simd::load(samples), 1);
        const Vector a = first_.filter(x);
        const Vector b = first_.filter(_mm_srli_si128(x, 4));
        const Vector c = first_.filter(_mm_srli_si128(x, 8));
        const Vector d = first_.filter(_mm_srli_si128(x, 12));
        return combine(_mm_unpacklo_epi64(_mm_unpacklo_epi32(a, b), _mm_unpacklo_epi32(c, d)));
    }

    // Eight samples; pairs LL, 11, LH, HH.
    [[gnu::always_inline]] Vector secondDepth(const int16_t *samples) {
        const Vector x = _mm_shuffle_epi32(firstDepth(samples), _MM_SHUFFLE(3, 1, 2, 0));
        const Vector earlier = second_.filter(x);
        const Vector pairs = combine(_mm_unpacklo_epi32(earlier, second_.filter(_mm_srli_si128(x, 8))));
        highest_.add(pairs);
        return pairs;
    }

    // 16 samples; pairs LLL, x, 8, 9 and LLH, x, LHH, 10.
    [[gnu::always_inline]] SplitPairs thirdDepth(const int16_t *samples) {
        const Vector earlier = combine(third_.filterOrPass(secondDepth(samples)));
        const SplitPairs pairs(earlier, combine(third_.filterOrPass(secondDepth(samples + 8))));
        high_.add(pairs, highDifferences_);
        return pairs;
    }

    // 32 samples; pairs LLLL, x, 5, 6 and LLLH, x, 4, 7.
    [[gnu::always_inline]] SplitPairs fourthDepth(const int16_t *samples) {
        const Vector earlier = combine(fourth_.filterOrPass(thirdDepth(samples).even()));
        const SplitPairs pairs(earlier, combine(fourth_.filterOrPass(thirdDepth(samples + 16).even())));
        low_.add(pairs, lowDifferences_);
        return pairs;
    }

    // 32 samples; words 0, x, 3, x, 1, x, 2, x.
    [[gnu::always_inline]] Vector fifthDepth(const int16_t *samples) {
        return combine(fifth_.filterOrPass(fourthDepth(samples).even()));
    }

    Sections first_, second_, third_, fourth_, fifth_;
    Magnitudes lowest_, lowestDifferences_, low_, lowDifferences_, high_, highDifferences_, highest_;
};

} // namespace

FrameMagnitudes ryxsc::amrwb::splitFrame(const int16_t *frame, FilterBankMemory &memory) {
    constexpr int quarter = vadFrameLength / 4;
    FilterBank bank(memory);
    FrameMagnitudes magnitudes;
    for (int i = 0; i < 4; i++) {
        bank.split(frame + i * quarter);
        if (i == 0) magnitudes.early = bank.takeMagnitudes();
    }
    magnitudes.late = bank.takeMagnitudes();
    bank.save(memory);
    return magnitudes;
}
