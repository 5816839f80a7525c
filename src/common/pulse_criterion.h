// SPDX-License-Identifier: BSD-2-Clause
// The criterion of the algebraic codebook searches of GSM-AMR, AMR-WB and G.729 Annex A: of candidates with squared
// correlation q and energy a the one with the largest q/a is taken, the first one among equals. q/a is compared by cross
// products, so nothing is divided.
#pragma once

#include <cstdint>

#include "common/simd.h"

namespace ryxsc {

// min((p * p) >> 15, 32767). The doubled magnitude saturates at -32768 only, where it makes 32767 of 32768.
inline simd::Vector squareQ15(simd::Vector p) {
    const simd::Vector magnitude = _mm_abs_epi16(p);
    return _mm_mulhi_epu16(magnitude, _mm_adds_epu16(magnitude, magnitude));
}

// Squared correlation and energy; as it stands, a running best that starts below every candidate with a positive energy.
struct Criterion {
    int q = -1, a = 1;

    bool isBelow(const Criterion &other) const { return a * other.q > q * other.a; }
};

// The argmax of each of eight lanes, whose candidates come one after the other. Energies above -32768.
class LaneArgmax {
public:
    // Numbers must rise from call to call. The cross products are compared by their halves: the upper ones have a sign,
    // and where they are equal the lower ones decide.
    void offer(simd::Vector q, simd::Vector a, simd::Vector number) {
        const simd::Vector ahead = _mm_subs_epu16(_mm_mullo_epi16(q, a_), _mm_mullo_epi16(q_, a));
        const simd::Vector isNotAhead = _mm_cmpeq_epi16(ahead, _mm_setzero_si128());
        const simd::Vector stays =
            _mm_cmpgt_epi16(_mm_mulhi_epi16(q_, a), _mm_add_epi16(_mm_mulhi_epi16(q, a_), isNotAhead));
        q_ = keepWhere(stays, q_, q);
        a_ = keepWhere(stays, a_, a);
        number_ = _mm_max_epi16(number_, _mm_andnot_si128(stays, number));
    }

    // Number of the best candidate, 0 where none was taken; its energy and its q.
    simd::Vector number() const { return number_; }
    simd::Vector a() const { return a_; }
    simd::Vector q() const { return q_; }

    // The pairs (a, q) of lanes 0 to 3 and of lanes 4 to 7.
    simd::Vector front() const { return _mm_unpacklo_epi16(a_, q_); }
    simd::Vector back() const { return _mm_unpackhi_epi16(a_, q_); }

    // Which lanes are above the criterion, one bit each.
    unsigned lanesAbove(const Criterion &criterion) const {
        const auto pair = static_cast<uint32_t>(criterion.a) << 16 | static_cast<uint16_t>(-criterion.q);
        const simd::Vector cross = simd::dwords(static_cast<int32_t>(pair));
        const simd::Vector isBetter = _mm_packs_epi32(exceeds(front(), cross), exceeds(back(), cross));
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(isBetter, _mm_setzero_si128())));
    }

private:
    // x where the mask is set, y elsewhere; like simd::select(), but without a copy of the mask.
    static simd::Vector keepWhere(simd::Vector mask, simd::Vector x, simd::Vector y) {
        return _mm_xor_si128(y, _mm_and_si128(mask, _mm_xor_si128(x, y)));
    }
    static simd::Vector exceeds(simd::Vector x, simd::Vector y) {
        return _mm_cmpgt_epi32(_mm_madd_epi16(x, y), _mm_setzero_si128());
    }

    simd::Vector q_ = simd::words(-1), a_ = simd::words(1), number_ = _mm_setzero_si128();
};

// Four candidates: (a, q) and a place, which decides between equals. Energies not negative.
struct FourCandidates {
    simd::Vector pairs, places;

    template <int order> FourCandidates shuffled() const {
        return {_mm_shuffle_epi32(pairs, order), _mm_shuffle_epi32(places, order)};
    }
};

// Lane by lane the one with the larger q/a, of equals the one with the smaller place.
inline FourCandidates better(const FourCandidates &x, const FourCandidates &y) {
    // From (a, q) to (q, -a), so that pmaddwd gives the difference of the cross products.
    const simd::Vector exchange = _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13);
    const simd::Vector crossed = _mm_sign_epi16(_mm_shuffle_epi8(y.pairs, exchange), simd::dwords(-0x10000 + 1));
    const simd::Vector difference = _mm_madd_epi16(crossed, x.pairs);
    const simd::Vector isBetter = _mm_cmpgt_epi32(difference, _mm_cmpgt_epi32(x.places, y.places)); // 0 is more than -1
    return {simd::select(isBetter, y.pairs, x.pairs), simd::select(isBetter, y.places, x.places)};
}

struct PlacedCandidate {
    Criterion criterion;
    int place;
};

inline PlacedCandidate argmaxOf(FourCandidates candidates) {
    candidates = better(candidates, candidates.shuffled<_MM_SHUFFLE(1, 0, 3, 2)>());
    candidates = better(candidates, candidates.shuffled<_MM_SHUFFLE(2, 3, 0, 1)>());
    const int32_t pair = _mm_cvtsi128_si32(candidates.pairs);
    return {{extract_h(pair), extract_l(pair)}, _mm_cvtsi128_si32(candidates.places)};
}

} // namespace ryxsc
