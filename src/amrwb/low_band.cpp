// SPDX-License-Identifier: BSD-2-Clause
// The recursions behind the synthesis of the low band, de-emphasis and the high-passes of 50 Hz and 400 Hz, side by side
// (3GPP TS 26.173). Each waits for a product, an addition and a shift from sample to sample; while one waits for itself the
// others, a block or two behind, go on.
#include "amrwb/high_pass.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

constexpr int16_t halfTilt = 11141; // 0.68, Q14

constexpr int blockLength = 8, blocks = subframeLength / blockLength;

// De-emphasis, four times the input and the product fit 31 bits together where eight times the input fit 32; and then a sum
// saturates where the recommendation's steps do. Here none may.
class Deemphasis {
    static constexpr int32_t limit = 1 << 28;

public:
    explicit Deemphasis(int16_t memory) : last_(memory) {}

    // Four sums; behind the second four the words of all eight.
    Vector nextFour(const int32_t *src) {
        const Vector input = _mm_and_si128(simd::load(src), simd::dwords(~15));
        inputBits_ = _mm_or_si128(inputBits_, _mm_add_epi32(input, simd::dwords(limit)));
        alignas(16) int32_t inputs[4];
        simd::store(inputs, _mm_add_epi32(_mm_slli_epi32(input, 2), simd::dwords(0x2000)));
        int32_t sums[4];
        for (int i = 0; i < 4; i++) {
            last_ = (inputs[i] + last_ * halfTilt) >> 14;
            sums[i] = static_cast<int32_t>(last_);
        }
        return _mm_setr_epi32(sums[0], sums[1], sums[2], sums[3]);
    }
    Vector outputs(const simd::Dwords &sums) {
        const Vector words = _mm_packs_epi32(sums.front, sums.back);
        high_ = _mm_max_epi16(high_, words);
        low_ = _mm_min_epi16(low_, words);
        return words;
    }

    // Also when an output has one of the two values that saturation gives.
    bool maySaturate() const {
        const Vector ends =
            _mm_or_si128(_mm_cmpeq_epi16(high_, simd::words(max16)), _mm_cmpeq_epi16(low_, simd::words(min16)));
        const Vector beyond = _mm_cmpeq_epi32(_mm_and_si128(inputBits_, simd::dwords(-2 * limit)), _mm_setzero_si128());
        return _mm_movemask_epi8(ends) != 0 || _mm_movemask_epi8(beyond) != 0xffff;
    }

private:
    int64_t last_; // beyond 16 bits only when something saturates
    Vector inputBits_ = _mm_setzero_si128(), high_ = inputBits_, low_ = inputBits_;
};

// Both sections as the lanes of one vector, 50 Hz in the lower and 400 Hz in the upper one. Products of a lane are unsigned:
// a sum t goes as t + bias, and what that adds to the products is taken off again in a constant. The sums of the lower lane
// are doubled, so that both are shifted by as many bits. Only the lower dword of a lane is looked at: 32 bits from bit 14
// on, whatever is above them.
class BothSections {
    static constexpr int down = 14;

    struct Lane {
        int32_t bias;                        // the limit of a sum: sums within have no bit above twice the bias
        int64_t a1, a2;                      // of t[n-1], and of t[n-2] negated
        constexpr int64_t constant() const { // the rounding, and the biases
            return (1 << (down - 1)) + bias * ((1 << down) - a1 + a2);
        }
    };
    static constexpr Lane at50 = {SectionChain<section50>::limit, 2 * section50.a1, -2 * section50.a2};
    static constexpr Lane at400 = {SectionChain<section400>::limit, section400.a1, -section400.a2};
    static_assert(section50.shift == 2 && section400.shift == 1);

public:
    // Sums, biased, of eight samples.
    struct Outputs {
        simd::Dwords at50, at400;
    };

    void nextFour(Vector inputs50, Vector inputs400, Vector &sums50, Vector &sums400) {
        const Vector rests = simd::dwords(rest(at50));
        inputs50 = _mm_add_epi32(inputs50, multiple(at50));
        inputs400 = _mm_add_epi32(inputs400, multiple(at400));
        const Vector front = _mm_unpacklo_epi32(inputs50, inputs400), back = _mm_unpackhi_epi32(inputs50, inputs400);
        const Vector y0 = step(_mm_unpacklo_epi32(rests, front)), y1 = step(_mm_unpackhi_epi32(rests, front));
        const Vector y2 = step(_mm_unpacklo_epi32(rests, back)), y3 = step(_mm_unpackhi_epi32(rests, back));
        const auto lowerDwords = [](__m128 x, __m128 y) { return _mm_shuffle_ps(x, y, _MM_SHUFFLE(2, 0, 2, 0)); };
        const auto upperDwords = [](__m128 x, __m128 y) { return _mm_shuffle_ps(x, y, _MM_SHUFFLE(3, 1, 3, 1)); };
        const __m128 a = lowerDwords(_mm_castsi128_ps(y0), _mm_castsi128_ps(y1));
        const __m128 b = lowerDwords(_mm_castsi128_ps(y2), _mm_castsi128_ps(y3));
        sums50 = _mm_castps_si128(lowerDwords(a, b));
        sums400 = _mm_castps_si128(upperDwords(a, b));
    }

    // The lower and the upper lane of the last two sums.
    void setLower(int32_t t1, int32_t t2) {
        t1_ = _mm_unpacklo_epi64(_mm_cvtsi32_si128(t1 + at50.bias), _mm_unpackhi_epi64(t1_, t1_));
        t2_ = _mm_unpacklo_epi64(_mm_cvtsi32_si128(t2 + at50.bias), _mm_unpackhi_epi64(t2_, t2_));
    }
    void setUpper(int32_t t1, int32_t t2) {
        t1_ = _mm_unpacklo_epi64(t1_, _mm_cvtsi32_si128(t1 + at400.bias));
        t2_ = _mm_unpacklo_epi64(t2_, _mm_cvtsi32_si128(t2 + at400.bias));
    }

private:
    // In front of an input, as the lower half of a qword that is shifted right by 17: what is missing to a multiple of
    // 2^15, by which the inputs count.
    static constexpr int inputShift = 32 - (down + 1);
    static Vector multiple(const Lane &lane) {
        return simd::dwords(static_cast<int32_t>(lane.constant() >> (down + 1)));
    }
    static constexpr int32_t rest(const Lane &lane) {
        return static_cast<int32_t>((lane.constant() & ((1 << (down + 1)) - 1)) << inputShift);
    }

    Vector step(Vector input) {
        const Vector a1 = _mm_set_epi64x(at400.a1, at50.a1), a2 = _mm_set_epi64x(at400.a2, at50.a2);
        const Vector known = _mm_sub_epi64(_mm_srli_epi64(input, inputShift), _mm_mul_epu32(t2_, a2));
        t2_ = t1_;
        t1_ = _mm_srli_epi64(_mm_add_epi64(known, _mm_mul_epu32(t1_, a1)), down);
        return t1_;
    }

    Vector t1_ = _mm_setzero_si128(), t2_ = _mm_setzero_si128();
};

// Sums as the recursion gives them.
template <const Section &section> class BiasedSums {
    using Chain = SectionChain<section>;

public:
    Vector outputs(const simd::Dwords &sums) {
        bits_ = _mm_or_si128(bits_, _mm_or_si128(sums.front, sums.back));
        const Vector offset = simd::dwords((1 << (Chain::toOutput - 1)) - Chain::limit);
        return _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(sums.front, offset), Chain::toOutput),
                               _mm_srai_epi32(_mm_add_epi32(sums.back, offset), Chain::toOutput));
    }
    // The memory behind sums and inputs.
    SectionMemory memoryBehind(Vector sums, Vector inputs) const {
        const auto unbiased = [](Vector x) { return wrapSub32(_mm_cvtsi128_si32(x), Chain::limit); };
        SectionMemory m;
        Chain::finish(unbiased(_mm_srli_si128(sums, 12)), unbiased(_mm_srli_si128(sums, 8)), m);
        m.x1 = static_cast<int16_t>(_mm_extract_epi16(inputs, 7));
        m.x2 = static_cast<int16_t>(_mm_extract_epi16(inputs, 6));
        return m;
    }
    bool areWithinLimit() const {
        const Vector beyond = simd::dwords(-2 * Chain::limit);
        return _mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(bits_, beyond), _mm_setzero_si128())) == 0xffff;
    }

private:
    Vector bits_ = _mm_setzero_si128();
};

// What eight inputs of a section add to its sums: b0 times their second differences.
template <const Section &section> class SectionInputs {
    static_assert(section.b1 == -2 * section.b0);

public:
    explicit SectionInputs(const SectionMemory &m)
        : words_(_mm_slli_si128(_mm_cvtsi32_si128(m.x1), 14)),
          last_(_mm_slli_si128(_mm_cvtsi32_si128((m.x1 - m.x2) * section.b0), 12)) {}

    simd::Dwords next(Vector words) {
        const Vector factors = simd::dwords(-section.b0 * 65536 + section.b0);
        const Vector earlier = _mm_alignr_epi8(words, words_, 14);
        const Vector front = _mm_madd_epi16(_mm_unpacklo_epi16(words, earlier), factors);
        const Vector back = _mm_madd_epi16(_mm_unpackhi_epi16(words, earlier), factors);
        const simd::Dwords differences = {_mm_sub_epi32(front, _mm_alignr_epi8(front, last_, 12)),
                                          _mm_sub_epi32(back, _mm_alignr_epi8(back, front, 12))};
        words_ = words;
        last_ = back;
        return differences;
    }
    Vector words() const { return words_; }

private:
    Vector words_, last_;
};

// False when something may saturate; then only dst and upper are written.
bool filterSideBySide(const int32_t *src, int16_t *dst, int16_t *upper, int16_t &emphasis, SectionMemory &memory50,
                      SectionMemory &memory400) {
    SectionChain<section50> chain50;
    SectionChain<section400> chain400;
    if (!chain50.start(memory50) || !chain400.start(memory400)) return false;
    Deemphasis deemphasis(emphasis);
    BothSections sections;
    SectionInputs<section50> speech(memory50);
    SectionInputs<section400> output(memory400);
    BiasedSums<section50> sums50;
    BiasedSums<section400> sums400;
    simd::Dwords inputs50 = {}, inputs400 = {};
    BothSections::Outputs sums;
    for (int block = 0; block < blocks + 2; block++) {
        if (block == 1) sections.setLower(chain50.last(), chain50.beforeLast());
        if (block == 2) sections.setUpper(chain400.last(), chain400.beforeLast());
        const int32_t *const at = src + blockLength * std::min(block, blocks - 1);
        simd::Dwords flat;
        flat.front = deemphasis.nextFour(at);
        sections.nextFour(inputs50.front, inputs400.front, sums.at50.front, sums.at400.front);
        flat.back = deemphasis.nextFour(at + 4);
        sections.nextFour(inputs50.back, inputs400.back, sums.at50.back, sums.at400.back);
        if (block >= 2) simd::store(upper + blockLength * (block - 2), sums400.outputs(sums.at400));
        if (block >= 1 && block <= blocks) {
            const Vector words = sums50.outputs(sums.at50);
            simd::store(dst + blockLength * (block - 1), words);
            inputs400 = output.next(words);
            if (block == blocks) memory50 = sums50.memoryBehind(sums.at50.back, speech.words());
        }
        if (block < blocks) inputs50 = speech.next(deemphasis.outputs(flat));
    }
    memory400 = sums400.memoryBehind(sums.at400.back, output.words());
    emphasis = static_cast<int16_t>(_mm_extract_epi16(speech.words(), 7));
    return !deemphasis.maySaturate() && sums50.areWithinLimit() && sums400.areWithinLimit();
}

} // namespace

ryxStatus ryxsDeemphasizeHighPass_AMRWB_32s16s_u8(const int32_t *src, int16_t *dst, int16_t *upper, int16_t *memory,
                                                  int16_t *memory50, int16_t *memory400) {
    if (anyNull(src, dst, upper, memory, memory50, memory400)) return ryxStsNullPtr;
    int16_t emphasis = *memory;
    SectionMemory m50 = SectionMemory::load(memory50), m400 = SectionMemory::load(memory400);
    if (filterSideBySide(src, dst, upper, emphasis, m50, m400)) {
        *memory = emphasis;
        m50.store(memory50);
        m400.store(memory400);
        return ryxStsOk;
    }
    ryxsDeemphasize_AMRWB_32s16s_u8(src, dst, subframeLength, memory);
    ryxsHighPassFilter50_AMRWB_16s_I_u8(dst, subframeLength, memory50);
    return ryxsHighPassFilter400_AMRWB_16s_u8(dst, upper, subframeLength, memory400);
}
