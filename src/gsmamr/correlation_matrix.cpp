// SPDX-License-Identifier: BSD-2-Clause
// The matrix of correlations of the impulse response, with the signs of the pulses.
#include <algorithm>

#include "common/inv_sqrt.h"
#include "gsmamr/energy.h"
#include "gsmamr/search_steps.h"

namespace ryxsc::gsmamr {

using simd::Vector;

namespace {

// The impulse response normalised to an energy of 0.98 * 2^30.
void normaliseResponse(const int16_t *h, int16_t *g) {
    const int32_t energy = saturatedEnergy(2, h);
    if (extract_h(energy) == 32767) {
        std::transform(h, h + subframeLength, g, [](int16_t sample) { return static_cast<int16_t>(sample >> 1); });
        return;
    }
    const int16_t k = mult(extract_h(L_shl(inverseSqrt(energy >> 1), 7)), 32440);
    const Vector gain = simd::words(k), rounding = simd::words(1);
    for (int n = 0; n < subframeLength; n += 8) {
        const auto sums = simd::sumsOfTwoProducts(simd::load(h + n), gain, rounding, simd::words(32));
        simd::store(g + n, _mm_packs_epi32(_mm_srai_epi32(sums.front, 6), _mm_srai_epi32(sums.back, 6)));
    }
}

// A sign of the reference is 32767 or -32767, and their Q15 product is 32766 or -32767: no negation. (x * 32766) >> 15 is
// x + ((x * -4) >> 16), (x * -32767) >> 15 is -x + ((x * 2) >> 16), modulo 2^16.
struct SignFactor {
    Vector sign, remainder;

    SignFactor() = default;
    explicit SignFactor(Vector s)
        : sign(s), remainder(_mm_sub_epi16(simd::words(-1), _mm_add_epi16(s, _mm_add_epi16(s, s)))) {}

    Vector operator*(Vector x) const { return _mm_add_epi16(_mm_sign_epi16(x, sign), _mm_mulhi_epi16(x, remainder)); }
};

// Entry (i, j) sums g[39 - i - k] * g[39 - j - k] over k from 0 on, so it is entry (i + 1, j + 1) and one product. One
// row beside one track follows from the row below it beside the next track: the lanes stay, or move on by one where the
// first track follows the last.
template <int step> class MatrixBuilder {
public:
    MatrixBuilder(const Words &g, const Signed &natural, const TrackWords<step> &sign) : negative_(natural.sign) {
        std::reverse_copy(g.at, g.at + subframeLength, reversed_.at);
        const TrackWords<step> tracks = byTracks<step>(reversed_);
        const Vector zeros = _mm_setzero_si128();
        for (int track = 0; track < step; track++)
            for (int vector = 0; vector < vectors; vector++) {
                const Vector words = tracks.at(track, vector), signs = sign.at(track, vector);
                spread_[track][2 * vector] = _mm_unpacklo_epi16(words, zeros);
                if (2 * vector + 1 < parts) spread_[track][2 * vector + 1] = _mm_unpackhi_epi16(words, zeros);
                factors_[0][track][vector] = SignFactor(signs);
                factors_[1][track][vector] = SignFactor(_mm_sub_epi16(zeros, signs));
            }
    }

    // Fills the entries beside the tracks at the distances first..last.
    template <int first, int last> void build(Matrix<step> &matrix) const {
        constexpr int chains = last - first + 1;
        const Vector rounding = simd::dwords(1 << 14);
        Vector sums[chains][parts];
        for (auto &chain : sums)
            std::fill_n(chain, parts, rounding);
        for (int below = subframeLength; below > 0; below -= step)
#pragma GCC unroll 5
            for (int turn = 1; turn <= step; turn++) {
                const int i = below - turn;
                const Vector factor = simd::dwords(reversed_.at[i]);
                const auto &factors = factors_[negative_.at[i] < 0];
#pragma GCC unroll 5
                for (int chain = 0; chain < chains; chain++) {
                    const int track = (step - turn + first + chain) % step;
                    addProducts(factor, spread_[track], sums[chain]);
                    storeRounded(sums[chain], factors[track], matrix.rows[i].words[track]);
                    if (track == 0) moveOn(sums[chain], rounding);
                }
            }
    }

private:
    static constexpr int vectors = TrackWords<step>::vectors;
    static constexpr int parts = (TrackWords<step>::positions + 3) / 4; // of four sums

    [[gnu::always_inline]] static void addProducts(Vector factor, const Vector *spread, Vector *sums) {
#pragma GCC unroll 4
        for (int part = 0; part < parts; part++)
            sums[part] = _mm_add_epi32(sums[part], _mm_madd_epi16(factor, spread[part]));
    }

    [[gnu::always_inline]] static void storeRounded(const Vector *sums, const SignFactor *factors, int16_t *row) {
#pragma GCC unroll 2
        for (int vector = 0; vector < vectors; vector++) {
            const Vector front = _mm_srai_epi32(sums[2 * vector], 15);
            const Vector back = 2 * vector + 1 < parts ? _mm_srai_epi32(sums[2 * vector + 1], 15) : front;
            simd::store(row + 8 * vector, factors[vector] * _mm_packs_epi32(front, back));
        }
    }

    [[gnu::always_inline]] static void moveOn(Vector *sums, Vector next) {
#pragma GCC unroll 4
        for (int part = 0; part < parts; part++)
            sums[part] = _mm_alignr_epi8(part + 1 < parts ? sums[part + 1] : next, sums[part], 4);
    }

    Vector spread_[step][parts];           // g backwards, a zero word behind each
    SignFactor factors_[2][step][vectors]; // beside a positive, beside a negative position
    Words reversed_;
    const Words &negative_;
};

template <int step> void buildDiagonal(const Words &g, Matrix<step> &matrix) {
    int64_t sum = 1 << 14;
    matrix.diagonal = {};
    for (int index = subframeLength / step - 1, k = 0; index >= 0; index--)
        for (int track = step - 1; track >= 0; track--, k++) {
            sum += g.at[k] * g.at[k];
            matrix.diagonal.words[track][index] = static_cast<int16_t>(std::min<int64_t>(sum >> 15, max16));
        }
}

// The entries (i, i), which are without the factor of the signs.
template <int step> void insertDiagonal(Matrix<step> &matrix) {
    for (int index = 0, i = 0; index < subframeLength / step; index++)
        for (int track = 0; track < step; track++, i++)
            matrix.rows[i].words[track][index] = matrix.diagonal.words[track][index];
}

template <int step> void buildSaturated(const Words &g, const TrackWords<step> &sign, Matrix<step> &matrix) {
    const auto referenceSign = [&](int n) { return static_cast<int16_t>(32767 * sign.words[n % step][n / step]); };
    for (int distance = 0; distance < subframeLength; distance++) {
        int32_t sum = 0;
        for (int k = 0; k < subframeLength - distance; k++) {
            sum = L_mac(sum, g.at[k], g.at[k + distance]);
            const int j = subframeLength - 1 - k, i = j - distance;
            const int16_t entry = mult(round(sum), mult(referenceSign(i), referenceSign(j)));
            matrix.rows[i].words[j % step][j / step] = matrix.rows[j].words[i % step][i / step] = entry;
        }
    }
}

template <int step> void fill(const MatrixBuilder<step> &builder, Distances distances, Matrix<step> &matrix) {
    if (step == 5 && distances == Distances::twoAndThree)
        builder.template build<2, 3>(matrix);
    else if (step == 5 && distances == Distances::others)
        builder.template build<1, step - 1>(matrix);
    else
        builder.template build<0, step - 1>(matrix);
}

} // namespace

template <int step> void buildMatrix(const int16_t *impulse, Distances distances, Work<step> &work) {
    Words g;
    Matrix<step> &matrix = work.matrix;
    normaliseResponse(impulse, g.at);
    buildDiagonal(g, matrix);
    // No sum exceeds the energy of g. Below 2^30, less the rounding, neither its double nor a rounded sum saturates.
    matrix.isSaturated = sumOfSquares(g.at) >= (1 << 30) - (1 << 14);
    if (matrix.isSaturated)
        buildSaturated(g, work.sign, matrix);
    else
        fill(MatrixBuilder<step>(g, work.natural, work.sign), distances, matrix);
    if (distances == Distances::all) insertDiagonal(matrix);
}

template void buildMatrix(const int16_t *, Distances, Work<4> &);
template void buildMatrix(const int16_t *, Distances, Work<5> &);

} // namespace ryxsc::gsmamr
