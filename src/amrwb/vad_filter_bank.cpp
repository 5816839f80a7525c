// SPDX-License-Identifier: BSD-2-Clause
// The tree of half-band splits of AMR-WB.
#include "amrwb/vad_filter_bank.h"

#include "common/half_band_tree.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;
using namespace ryxsc::half_band;

namespace {

[[gnu::always_inline]] inline Vector halves(Vector pairs) {
    return combine<Halving::first>(pairs);
}

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
    // Eight samples; pairs LL, 11, LH, HH.
    [[gnu::always_inline]] Vector secondDepth(const int16_t *samples) {
        const Vector bands = splitEight<Halving::first>(_mm_srai_epi16(simd::load(samples), 1), first_);
        const Vector pairs = splitBoth<Halving::first>(bands, second_);
        highest_.add(pairs);
        return pairs;
    }

    // 16 samples; pairs LLL, x, 8, 9 and LLH, x, LHH, 10.
    [[gnu::always_inline]] SplitPairs thirdDepth(const int16_t *samples) {
        const Vector earlier = halves(third_.filterOrPass(secondDepth(samples)));
        const SplitPairs pairs(earlier, halves(third_.filterOrPass(secondDepth(samples + 8))));
        high_.add(pairs, highDifferences_);
        return pairs;
    }

    // 32 samples; pairs LLLL, x, 5, 6 and LLLH, x, 4, 7.
    [[gnu::always_inline]] SplitPairs fourthDepth(const int16_t *samples) {
        const Vector earlier = halves(fourth_.filterOrPass(thirdDepth(samples).even()));
        const SplitPairs pairs(earlier, halves(fourth_.filterOrPass(thirdDepth(samples + 16).even())));
        low_.add(pairs, lowDifferences_);
        return pairs;
    }

    // 32 samples; words 0, x, 3, x, 1, x, 2, x.
    [[gnu::always_inline]] Vector fifthDepth(const int16_t *samples) {
        return halves(fifth_.filterOrPass(fourthDepth(samples).even()));
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
