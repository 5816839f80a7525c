// SPDX-License-Identifier: BSD-2-Clause
// Steps that the fixed codebook searches of ITU-T G.729 and its Annexes A and D share.
#include "g729/fixed_codebook.h"

#include <algorithm>
#include <array>

#include "common/product_sums.h"

namespace ryxsc::g729 {

namespace {

using simd::Vector;

constexpr std::array<uint8_t, subframe> numbersOfPositions() {
    std::array<uint8_t, subframe> numbers{};
    for (int number = 0; number < subframe; number++)
        numbers[static_cast<size_t>(positionOf(number))] = static_cast<uint8_t>(number);
    return numbers;
}
constexpr std::array<uint8_t, subframe> numberOf = numbersOfPositions();

// The response scaled so that its energy, doubled, lies in 2^29 .. 2^31.
void scaleResponse(const int16_t *h, int16_t *g) {
    const WatchedSum sum = macEnergy(h, subframe);
    if (extract_h(sum.value) > 32000) {
        for (int n = 0; n < subframe; n++)
            g[n] = static_cast<int16_t>(h[n] >> 1);
    } else {
        const int up = norm_l(sum.value) >> 1; // leaves the energy below 2^31: no value saturates
        for (int n = 0; n < subframe; n++)
            g[n] = static_cast<int16_t>(h[n] * (1 << up));
    }
}

// phi(p, q) = hi(sum of 2 * g[n] * g[n + |p - q|], n = 0 .. 39 - max(p, q)), so that phi before the high word obeys
// phi(p, q) = phi(p + 1, q + 1) + 2 * g[39 - p] * g[39 - q]. By numbers, q + 1 is the next track, and after the last one
// the first track one place further. Rows from the last to the first; a row is ten vectors of dwords.
template <TrackPairs pairs> void correlate(const int16_t *g, int32_t rounding, int16_t (*phi)[subframe]) {
    const Vector half = simd::dwords(rounding / 2);
    const auto upper = [half](Vector x) { return _mm_srai_epi32(_mm_add_epi32(x, half), 15); };
    Vector factor[tracks][2]; // g[39 - q] in dwords
    for (int number = 0; number < subframe; number += 4) {
        const auto at = [&](int k) { return g[subframe - 1 - positionOf(number + k)]; };
        factor[number / places][number / 4 % 2] =
            _mm_setr_epi32(static_cast<uint16_t>(at(0)), static_cast<uint16_t>(at(1)), static_cast<uint16_t>(at(2)),
                           static_cast<uint16_t>(at(3)));
    }
    Vector sum[tracks][2] = {};
    for (int place = places - 1; place >= 0; place--) {
#pragma GCC unroll 5
        for (int own = tracks - 1; own >= 0; own--) {
            const Vector value = simd::dwords(static_cast<uint16_t>(g[subframe - 1 - (tracks * place + own)]));
            const Vector firstFront = sum[0][0], firstBack = sum[0][1];
            int16_t *const row = phi[places * own + place];
#pragma GCC unroll 5
            for (int t = 0; t < tracks; t++) {
                const bool last = t == tracks - 1;
                const Vector front = last ? _mm_alignr_epi8(firstBack, firstFront, 4) : sum[t + 1][0];
                const Vector back = last ? _mm_srli_si128(firstBack, 4) : sum[t + 1][1];
                sum[t][0] = _mm_add_epi32(front, _mm_madd_epi16(value, factor[t][0]));
                sum[t][1] = _mm_add_epi32(back, _mm_madd_epi16(value, factor[t][1]));
                if ((pairs & trackPair(own, t)) != 0)
                    _mm_store_si128(reinterpret_cast<Vector *>(row + places * t),
                                    _mm_packs_epi32(upper(sum[t][0]), upper(sum[t][1])));
            }
        }
    }
}

// Where the sums could saturate: only a response that overflows even when halved gets here.
void correlateInOrder(const int16_t *g, int32_t rounding, int16_t (*phi)[subframe]) {
    for (int p = 0; p < subframe; p++)
        for (int q = 0; q < subframe; q++) {
            const int32_t sum = macInOrder(g, g + std::abs(p - q), subframe - std::max(p, q)).value;
            phi[numberOf[static_cast<size_t>(p)]][numberOf[static_cast<size_t>(q)]] = extract_h(L_add(sum, rounding));
        }
}

// Positions by number, as they are sent: the place of each pulse, and for the last one its track.
void writeIndex(const SearchInput &in, const int *numbers, int16_t *index) {
    const auto place = [&](int k) { return numbers[k] % places; };
    const int lastTrack = numbers[3] / places == 4 ? 1 : 0;
    index[0] = static_cast<int16_t>(place(0) + 8 * place(1) + 64 * place(2) + 512 * (2 * place(3) + lastTrack));
    int signs = 0;
    for (int k = 0; k < fourPulses; k++)
        signs |= (in.minus[numbers[k]] == 0 ? 1 : 0) << k;
    index[1] = static_cast<int16_t>(signs);
}

} // namespace

template <TrackPairs pairs> void correlateResponse(const int16_t *g, int32_t rounding, int16_t (*phi)[subframe]) {
    if (2 * energy(g, subframe) + static_cast<uint64_t>(rounding) <= static_cast<uint64_t>(max32)) [[likely]]
        correlate<pairs>(g, rounding, phi);
    else
        correlateInOrder(g, rounding, phi);
}
template void correlateResponse<focusedPairs>(const int16_t *, int32_t, int16_t (*)[subframe]);
template void correlateResponse<laterOrOwnPairs>(const int16_t *, int32_t, int16_t (*)[subframe]);
template void correlateResponse<nextTrackPairs>(const int16_t *, int32_t, int16_t (*)[subframe]);
template void correlateResponse<depthFirstPairs>(const int16_t *, int32_t, int16_t (*)[subframe]);

void sharpen(int16_t *x, int lag, int16_t sharpening) {
    const int16_t beta = shl(sharpening, 1);
    for (int n = lag; n < subframe; n++)
        x[n] = add(x[n], mult(x[n - lag], beta));
}

SearchInput::SearchInput(const int16_t *target, const int16_t *given, int lag, int16_t sharpening,
                         CorrelateResponse *correlate) {
    int16_t *const h = response + subframe;
    std::fill_n(response, subframe, int16_t{0});
    std::copy_n(given, subframe, h);
    sharpen(h, lag, sharpening);

    int16_t g[subframe];
    scaleResponse(h, g);
    correlate(g, 0, phi);

    int16_t byPosition[subframe];
    backwardTarget(target, h, byPosition);
    int64_t energy = 0; // of the response, as long as the position lets it be
    for (int p = subframe - 1; p >= 0; p--) {
        energy += g[subframe - 1 - p] * g[subframe - 1 - p];
        const int number = numberOf[static_cast<size_t>(p)];
        energies[number] = static_cast<int16_t>(std::min<int64_t>(energy >> 15, max16));
        d[number] = byPosition[p];
    }
    for (int t = 0; t < tracks; t++) {
        const Vector values = track(d, t), mask = simd::signMask(values);
        simd::store(minus + places * t, mask);
        simd::store(d + places * t, simd::negateSaturatedWhere(mask, values));
    }
}

void SearchInput::signRows(int ownTrack, int firstTrack, int lastTrack, int16_t bothPlus, int16_t bothMinus,
                           int16_t different) {
    const Vector opposite = simd::words(different);
    for (int number = places * ownTrack; number < places * (ownTrack + 1); number++) {
        const bool negative = minus[number] != 0;
        const Vector own = simd::words(minus[number]);
        const Vector equal = simd::words(negative ? bothMinus : bothPlus);
        for (int t = firstTrack; t <= lastTrack; t++) {
            const Vector agree = _mm_cmpeq_epi16(own, track(minus, t));
            const Vector product = simd::mulShiftSaturated<15>(row(number, t), simd::select(agree, equal, opposite));
            simd::store(&phi[number][places * t], product);
        }
    }
}

void placePulses(const SearchInput &in, const int *numbers, int count, int16_t *code, int16_t *filtered) {
    std::fill_n(code, subframe, int16_t{0});
    Vector sum[subframe / 8] = {};
    for (int k = 0; k < count; k++) {
        const int position = positionOf(numbers[k]);
        const bool negative = in.minus[numbers[k]] != 0;
        code[position] = add(code[position], negative ? minusAmplitude : plusAmplitude);
        const int16_t *const shifted = in.response + subframe - position;
        for (int i = 0; i < subframe / 8; i++) {
            const Vector h = simd::load(shifted + 8 * i);
            sum[i] = negative ? _mm_subs_epi16(sum[i], h) : _mm_adds_epi16(sum[i], h);
        }
    }
    for (int i = 0; i < subframe / 8; i++)
        simd::store(filtered + 8 * i, sum[i]);
}

void finishFourPulses(const SearchInput &in, const int *numbers, int16_t lag, int16_t sharpening, int16_t *code,
                      int16_t *filtered, int16_t *index) {
    placePulses(in, numbers, fourPulses, code, filtered);
    writeIndex(in, numbers, index);
    sharpen(code, lag, sharpening);
}

} // namespace ryxsc::g729
