// SPDX-License-Identifier: BSD-2-Clause
// The tree of half-band splits of GSM-AMR.
#include "gsmamr/vad_filter_bank.h"

#include <algorithm>

#include "common/half_band_tree.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;
using namespace ryxsc::half_band;

namespace {

[[gnu::always_inline]] inline Vector halves(Vector pairs) {
    return combine<Halving::last>(pairs);
}

// Bands are named by their splits: L is the sum, H the difference. The comments give the dwords of each vector of pairs;
// a number is a band that is complete, x has no meaning.
class FilterBank {
public:
    explicit FilterBank(const FilterBankMemory &memory)
        : first_(_mm_setr_epi16(firstOfFifth, secondOfFifth, 0, 0, 0, 0, 0, 0), simd::load32(memory.fifthOrder[0])),
          second_(_mm_setr_epi16(firstOfFifth, secondOfFifth, firstOfFifth, secondOfFifth, 0, 0, 0, 0),
                  simd::load64(memory.fifthOrder[1])),
          third_(_mm_setr_epi16(0, secondOfThird, 0, 0, 0, secondOfThird, 0, secondOfThird),
                 _mm_setr_epi16(0, memory.thirdOrder[0], 0, 0, 0, memory.thirdOrder[1], 0, memory.thirdOrder[4])),
          fourth_(_mm_setr_epi16(0, secondOfThird, 0, 0, 0, secondOfThird, 0, 0),
                  _mm_setr_epi16(0, memory.thirdOrder[2], 0, 0, 0, memory.thirdOrder[3], 0, 0)) {}

    void save(FilterBankMemory &memory) const {
        int16_t third[8], fourth[8];
        simd::store32(memory.fifthOrder[0], first_.memory());
        simd::store64(memory.fifthOrder[1], second_.memory());
        simd::store(third, third_.memory());
        simd::store(fourth, fourth_.memory());
        memory.thirdOrder[0] = third[1];
        memory.thirdOrder[1] = third[5];
        memory.thirdOrder[4] = third[7];
        memory.thirdOrder[2] = fourth[1];
        memory.thirdOrder[3] = fourth[5];
    }

    // 32 samples.
    [[gnu::always_inline]] void split(const int16_t *samples) {
        const Vector earlier = fourthDepth(samples);
        const SplitPairs pairs(earlier, fourthDepth(samples + 16)); // 0, x, 3, x and 1, x, 2, x
        low_.add(pairs, lowDifferences_);
    }

    void takeMagnitudes(int32_t (&sums)[vadBands]) {
        const int32_t all[vadBands] = {low_.at(0),  lowDifferences_.at(0),  lowDifferences_.at(2),
                                       low_.at(2),  highDifferences_.at(2), high_.at(2),
                                       high_.at(3), highDifferences_.at(3), highest_.at(1)};
        std::copy_n(all, vadBands, sums);
        for (Magnitudes *part : {&low_, &lowDifferences_, &high_, &highDifferences_, &highest_})
            part->clear();
    }

private:
    // Eight samples; pairs LL, 8, LH, HH.
    [[gnu::always_inline]] Vector secondDepth(const int16_t *samples) {
        const Vector bands = splitEight<Halving::none>(_mm_srai_epi16(simd::load(samples), 2), first_);
        const Vector pairs = splitBoth<Halving::last>(bands, second_);
        highest_.add(pairs);
        return pairs;
    }

    // 16 samples; pairs LLL, x, 5, 6 and LLH, x, 4, 7.
    [[gnu::always_inline]] SplitPairs thirdDepth(const int16_t *samples) {
        const Vector earlier = halves(third_.filterOrPass(secondDepth(samples)));
        const SplitPairs pairs(earlier, halves(third_.filterOrPass(secondDepth(samples + 8))));
        high_.add(pairs, highDifferences_);
        return pairs;
    }

    // 16 samples; words 0, x, 3, x, 1, x, 2, x.
    [[gnu::always_inline]] Vector fourthDepth(const int16_t *samples) {
        return halves(fourth_.filterOrPass(thirdDepth(samples).even()));
    }

    Sections first_, second_, third_, fourth_;
    Magnitudes low_, lowDifferences_, high_, highDifferences_, highest_;
};

} // namespace

FrameMagnitudes ryxsc::gsmamr::splitFrame(const int16_t *frame, FilterBankMemory &memory) {
    FilterBank bank(memory);
    FrameMagnitudes magnitudes;
    for (int i = 0; i < vadFrameLength; i += 32) {
        if (i == vadFrameLength - 32) bank.takeMagnitudes(magnitudes.early);
        bank.split(frame + i);
    }
    bank.takeMagnitudes(magnitudes.late);
    bank.save(memory);
    return magnitudes;
}
