// SPDX-License-Identifier: BSD-2-Clause
// The DCT-IV of ITU-T G.722.1: butterflies split N values into blocks of ten, a ten-point core transforms each, rotations
// join them again. Here a row is a vector whose eight lanes belong to eight blocks of N / 8. The first three butterflies
// find the pairs within the vectors of the input and leave rows behind; the last three rotations find theirs within the
// rows. Everything between works on whole rows.
#include "g7221/dct.h"

#include <array>
#include <bit>
#include <cstddef>

#include "common/checks.h"
#include "common/simd.h"
#include "g7221/implementations.h"
#include "g7221/transform_tables.h"

using namespace ryxsc;
using namespace ryxsc::g7221;
using simd::Vector;

namespace {

constexpr int lanes = 8;
constexpr int coreLength = 10;

using Words = std::array<int16_t, lanes>;

struct VectorPair {
    Vector first, second;
};

Vector rowAt(const int16_t *rows, int n) {
    return simd::loadAligned(rows + n * lanes);
}
void setRow(int16_t *rows, int n, Vector x) {
    _mm_store_si128(reinterpret_cast<Vector *>(rows + n * lanes), x);
}

// (p + q) >> 1 and (p - q) >> 1 with sums of 17 bits.
VectorPair halfSums(Vector p, Vector q) {
    const Vector half = _mm_srai_epi16(_mm_xor_si128(p, q), 1);
    return {_mm_add_epi16(_mm_and_si128(p, q), half), _mm_sub_epi16(half, _mm_andnot_si128(p, q))};
}

// sat16(p + q) and sat16(p + sat16(-q)).
VectorPair saturatedSums(Vector p, Vector q) {
    return {_mm_adds_epi16(p, q), _mm_subs_epi16(p, _mm_max_epi16(q, simd::words(-max16)))};
}

// ----- what the two directions differ in -----

// Factors of a rotation of (low, high) for pmaddwd: those of the first result and those of the second. The signs alternate
// from rotation to rotation.
struct Factors {
    int16_t first[2], second[2];
};
constexpr Factors factorsOf(Rotation r, size_t j) {
    const auto m = r.minusSine, c = r.cosine;
    const auto minusM = static_cast<int16_t>(-m), minusC = static_cast<int16_t>(-c);
    return j % 2 == 0 ? Factors{{c, minusM}, {m, c}} : Factors{{c, m}, {m, minusC}};
}

// Rotations between rows: the factors of rotation j at 4 j.
template <size_t n> constexpr std::array<int16_t, 4 * n> rowFactors(const std::array<Rotation, n> &rotations) {
    std::array<int16_t, 4 * n> words{};
    for (size_t j = 0; j < n; j++) {
        const Factors f = factorsOf(rotations[j], j);
        words[4 * j] = f.first[0];
        words[4 * j + 1] = f.first[1];
        words[4 * j + 2] = f.second[0];
        words[4 * j + 3] = f.second[1];
    }
    return words;
}

// The last three rotations within row j. Four rotations each, in this order of their numbers.
struct LaneFactors {
    Words first[3], second[3];
};
template <size_t rows>
constexpr std::array<LaneFactors, rows> laneFactors(const std::array<Rotation, rows> &quarter,
                                                    const std::array<Rotation, 2 * rows> &half,
                                                    const std::array<Rotation, 4 * rows> &whole) {
    std::array<LaneFactors, rows> all{};
    for (size_t j = 0; j < rows; j++) {
        const size_t mirrored = 2 * rows - 1 - j;
        const size_t numbers[3][4] = {
            {j, j, j, j}, {j, j, mirrored, mirrored}, {j, mirrored, 2 * rows + mirrored, 2 * rows + j}};
        for (size_t stage = 0; stage < 3; stage++)
            for (size_t i = 0; i < 4; i++) {
                const size_t number = numbers[stage][i];
                const Rotation r = stage == 0 ? quarter[number] : stage == 1 ? half[number] : whole[number];
                const Factors f = factorsOf(r, number);
                for (size_t side = 0; side < 2; side++) {
                    all[j].first[stage][2 * i + side] = f.first[side];
                    all[j].second[stage][2 * i + side] = f.second[side];
                }
            }
    }
    return all;
}

// The core's columns in pairs for pmaddwd: [k][i / 2].
using CoreFactors = std::array<std::array<Words, coreLength / 2>, coreLength>;
constexpr CoreFactors coreFactors(const std::array<int16_t, coreLength * coreLength> &core) {
    CoreFactors factors{};
    for (size_t k = 0; k < coreLength; k++)
        for (size_t i = 0; i < coreLength; i++)
            for (size_t lane = 0; lane < lanes / 2; lane++)
                factors[k][i / 2][2 * lane + i % 2] = core[i * coreLength + k];
    return factors;
}

// Rounding offsets of the first butterflies in the order in which these are taken: for the pair of vectors a, the eight of
// the sums and the eight of the differences.
template <size_t n> constexpr std::array<Words, n / lanes> ditherInOrder(const std::array<int16_t, n> &dither) {
    std::array<Words, n / lanes> ordered{};
    for (size_t a = 0; a < n / lanes / 2; a++)
        for (size_t i = 0; i < lanes; i++) {
            const size_t vector = i < lanes / 2 ? a : n / lanes - 1 - a;
            ordered[2 * a][i] = dither[vector * lanes + 2 * (i % (lanes / 2))];
            ordered[2 * a + 1][i] = dither[vector * lanes + 2 * (i % (lanes / 2)) + 1];
        }
    return ordered;
}

struct Analysis {
    static constexpr int rotationShift = 15;
    static constexpr int largestCore = 10453;
    static constexpr const auto &core = analysisCore;
    alignas(16) static constexpr CoreFactors coreTable = coreFactors(analysisCore);
    alignas(16) static constexpr auto rotation20 = rowFactors(analysisRotation20);
    alignas(16) static constexpr auto rotation40 = rowFactors(analysisRotation40);
    alignas(16) static constexpr auto rotation80 = rowFactors(analysisRotation80);
    alignas(16) static constexpr auto shortLanes = laneFactors(analysisRotation80, analysisRotation160,
                                                               analysisRotation320);
    alignas(16) static constexpr auto longLanes = laneFactors(analysisRotation160, analysisRotation320,
                                                              analysisRotation640);

    template <int rows> static Vector input(const int16_t *src, int n) {
        if constexpr (rows * lanes == shortFrame)
            return _mm_adds_epi16(simd::load(src + n), simd::loadAligned(bias.data() + n));
        return simd::load(src + n);
    }
    template <int rows> static VectorPair firstButterfly(Vector p, Vector q, int) { return halfSums(p, q); }
    static VectorPair butterfly(Vector p, Vector q) { return halfSums(p, q); }
    template <int rows> static Vector output(Vector x, int) { return x; }

private:
    alignas(16) static constexpr auto bias = analysisBias320;
};

struct Synthesis {
    static constexpr int rotationShift = 14;
    static constexpr int largestCore = 29400;
    static constexpr const auto &core = synthesisCore;
    alignas(16) static constexpr CoreFactors coreTable = coreFactors(synthesisCore);
    alignas(16) static constexpr auto rotation20 = rowFactors(synthesisRotation20);
    alignas(16) static constexpr auto rotation40 = rowFactors(synthesisRotation40);
    alignas(16) static constexpr auto rotation80 = rowFactors(synthesisRotation80);
    alignas(16) static constexpr auto shortLanes = laneFactors(synthesisRotation80, synthesisRotation160,
                                                               synthesisRotation320);
    alignas(16) static constexpr auto longLanes = laneFactors(synthesisRotation160, synthesisRotation320,
                                                              synthesisRotation640);

    template <int rows> static Vector input(const int16_t *src, int n) { return simd::load(src + n); }
    template <int rows> static VectorPair firstButterfly(Vector p, Vector q, int a) {
        const Words *dither = rows * lanes == shortFrame ? shortDither.data() : longDither.data();
        return {halfSums(_mm_adds_epi16(p, simd::loadAligned(dither[2 * a].data())), q).first,
                halfSums(_mm_adds_epi16(p, simd::loadAligned(dither[2 * a + 1].data())), q).second};
    }
    static VectorPair butterfly(Vector p, Vector q) { return saturatedSums(p, q); }
    template <int rows> static Vector output(Vector x, int n) {
        return rows * lanes == shortFrame ? _mm_adds_epi16(x, simd::loadAligned(bias.data() + n)) : x;
    }

private:
    alignas(16) static constexpr auto shortDither = ditherInOrder(synthesisDither320);
    alignas(16) static constexpr auto longDither = ditherInOrder(synthesisDither640);
    alignas(16) static constexpr auto bias = synthesisBias320;
};

// ----- butterflies -----

// The words of two vectors, first those of one order and then those of the other: each order picks words of a in its
// first half and words of b in its second.
VectorPair pick(Vector a, Vector orderA, Vector b, Vector orderB) {
    const Vector pickedA = _mm_shuffle_epi8(a, orderA), pickedB = _mm_shuffle_epi8(b, orderB);
    return {_mm_unpacklo_epi64(pickedA, pickedB), _mm_unpackhi_epi64(pickedA, pickedB)};
}

template <int a, int b, int c, int d, int e, int f, int g, int h> Vector wordOrder() {
    return _mm_setr_epi8(2 * a, 2 * a + 1, 2 * b, 2 * b + 1, 2 * c, 2 * c + 1, 2 * d, 2 * d + 1, 2 * e, 2 * e + 1,
                         2 * f, 2 * f + 1, 2 * g, 2 * g + 1, 2 * h, 2 * h + 1);
}

// Three butterflies within the vectors a and rows - 1 - a of the input. Differences go to the end of their block in falling
// order, so that within the vector their pairs are the mirrored ones, and a block that is a difference an odd number of
// times lies in the row of the other vector.
template <class Direction, int rows> void butterfliesWithinVectors(const int16_t *src, int16_t *to) {
    const Vector rising = wordOrder<0, 2, 4, 6, 1, 3, 5, 7>();
    const Vector fallingPairs = wordOrder<3, 1, 7, 5, 2, 0, 6, 4>();
    const Vector swapped = wordOrder<1, 3, 5, 7, 0, 2, 4, 6>();
    const Vector evenBlocks = wordOrder<0, 5, 3, 6, 1, 4, 2, 7>();
    const Vector oddBlocks = wordOrder<1, 4, 2, 7, 0, 5, 3, 6>();
    for (int a = 0; a < rows / 2; a++) {
        const int b = rows - 1 - a;
        const VectorPair one = pick(Direction::template input<rows>(src, a * lanes), rising,
                                    Direction::template input<rows>(src, b * lanes), rising);
        const VectorPair halves = Direction::template firstButterfly<rows>(one.first, one.second, a);
        const VectorPair two = pick(halves.first, rising, halves.second, fallingPairs);
        const VectorPair quarters = Direction::butterfly(two.first, two.second);
        const VectorPair three = pick(quarters.first, rising, quarters.second, swapped);
        const VectorPair eighths = Direction::butterfly(three.first, three.second);
        const Vector even = _mm_shuffle_epi8(eighths.first, evenBlocks);
        const Vector odd = _mm_shuffle_epi8(eighths.second, oddBlocks);
        setRow(to, a, _mm_unpacklo_epi16(even, odd));
        setRow(to, b, _mm_unpackhi_epi16(even, odd));
    }
}

template <class Direction, int rows, int block> void butterfliesOfRows(const int16_t *from, int16_t *to) {
    for (int start = 0; start < rows; start += block)
        for (int j = 0; j < block / 2; j++) {
            const VectorPair sums = Direction::butterfly(rowAt(from, start + 2 * j), rowAt(from, start + 2 * j + 1));
            setRow(to, start + j, sums.first);
            setRow(to, start + block - 1 - j, sums.second);
        }
}

// ----- core -----

// A lane of the core with its accumulator limited after every product.
template <class Direction> void limitedCore(const int16_t *from, int16_t *to, int lane) {
    for (int k = 0; k < coreLength; k++) {
        int32_t sum = 0;
        for (int i = 0; i < coreLength; i++)
            sum = L_mac(sum, from[i * lanes + lane], Direction::core[static_cast<size_t>(i * coreLength + k)]);
        to[k * lanes + lane] = ryxsc::round(sum);
    }
}

// Ten rows. Lanes in which a sum might reach its limit are done again: where the magnitudes add up to no more than
// 2^30 / largest factor, none can.
template <class Direction> void transformRows(const int16_t *from, int16_t *to) {
    Vector low[coreLength / 2], high[coreLength / 2];
    Vector halfMagnitudes = _mm_setzero_si128();
    for (int i = 0; i < coreLength; i += 2) {
        const Vector x = rowAt(from, i), y = rowAt(from, i + 1);
        low[i / 2] = _mm_unpacklo_epi16(x, y);
        high[i / 2] = _mm_unpackhi_epi16(x, y);
        halfMagnitudes = _mm_adds_epu16(halfMagnitudes, _mm_srli_epi16(_mm_abs_epi16(x), 1));
        halfMagnitudes = _mm_adds_epu16(halfMagnitudes, _mm_srli_epi16(_mm_abs_epi16(y), 1));
    }
    const Vector half = simd::dwords(0x4000);
    for (int k = 0; k < coreLength; k++) {
        const auto &factors = Direction::coreTable[static_cast<size_t>(k)];
        Vector front = half, back = half;
#pragma GCC unroll 5
        for (int i = 0; i < coreLength / 2; i++) {
            const Vector pair = simd::loadAligned(factors[static_cast<size_t>(i)].data());
            front = _mm_add_epi32(front, _mm_madd_epi16(low[i], pair));
            back = _mm_add_epi32(back, _mm_madd_epi16(high[i], pair));
        }
        setRow(to, k, _mm_packs_epi32(_mm_srai_epi32(front, 15), _mm_srai_epi32(back, 15)));
    }
    // Each halved magnitude may have lost one half.
    constexpr int safe = ((1 << 30) / Direction::largestCore - coreLength) / 2;
    const Vector excess = _mm_subs_epu16(halfMagnitudes, simd::words(wrap16(safe)));
    auto unsafe = static_cast<uint32_t>(~_mm_movemask_epi8(_mm_cmpeq_epi16(excess, _mm_setzero_si128()))) & 0x5555;
    for (; unsafe != 0; unsafe &= unsafe - 1)
        limitedCore<Direction>(from, to, std::countr_zero(unsafe) / 2);
}

// ----- rotations -----

// Two sums of products of a rotation stay below 2^31; the recommendation's limits act where packing saturates.
template <class Direction> Vector rounded(Vector front, Vector back) {
    const Vector half = simd::dwords(1 << (Direction::rotationShift - 1));
    return _mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(front, half), Direction::rotationShift),
                           _mm_srai_epi32(_mm_add_epi32(back, half), Direction::rotationShift));
}

template <class Direction, int rows, int block>
void rotationsOfRows(const int16_t *from, int16_t *to, const int16_t *factors) {
    for (int start = 0; start < rows; start += block)
        for (int j = 0; j < block / 2; j++) {
            const Vector x = rowAt(from, start + j), y = rowAt(from, start + block / 2 + j);
            const Vector low = _mm_unpacklo_epi16(x, y), high = _mm_unpackhi_epi16(x, y);
            const Vector both = simd::load64(factors + 4 * j);
            const Vector first = _mm_shuffle_epi32(both, _MM_SHUFFLE(0, 0, 0, 0));
            const Vector second = _mm_shuffle_epi32(both, _MM_SHUFFLE(1, 1, 1, 1));
            setRow(to, start + j, rounded<Direction>(_mm_madd_epi16(low, first), _mm_madd_epi16(high, first)));
            setRow(to, start + block - 1 - j,
                   rounded<Direction>(_mm_madd_epi16(low, second), _mm_madd_epi16(high, second)));
        }
}

// The last three rotations of row j. Each takes neighbouring lanes and leaves the first results in the lower lanes. In the
// end lane i holds the value at j, 2 rows - 1 - j, 4 rows - 1 - j, 2 rows + j, 8 rows - 1 - j, 6 rows + j, 4 rows + j,
// 6 rows - 1 - j.
template <class Direction> Vector rotateWithin(Vector row, const LaneFactors &factors) {
    for (int stage = 0; stage < 3; stage++)
        row = rounded<Direction>(_mm_madd_epi16(row, simd::loadAligned(factors.first[stage].data())),
                                 _mm_madd_epi16(row, simd::loadAligned(factors.second[stage].data())));
    return row;
}

void transpose(Vector (&x)[lanes]) {
    Vector y[lanes];
    for (int i = 0; i < 4; i++) {
        y[2 * i] = _mm_unpacklo_epi16(x[i], x[i + 4]);
        y[2 * i + 1] = _mm_unpackhi_epi16(x[i], x[i + 4]);
    }
    for (int i = 0; i < 4; i++) {
        x[2 * i] = _mm_unpacklo_epi16(y[i], y[i + 4]);
        x[2 * i + 1] = _mm_unpackhi_epi16(y[i], y[i + 4]);
    }
    for (int i = 0; i < 4; i++) {
        y[2 * i] = _mm_unpacklo_epi16(x[i], x[i + 4]);
        y[2 * i + 1] = _mm_unpackhi_epi16(x[i], x[i + 4]);
    }
    for (int i = 0; i < lanes; i++)
        x[i] = y[i];
}

template <class Direction, int rows>
void rotationsWithinRows(const int16_t *from, int16_t *dst, const std::array<LaneFactors, rows> &factors) {
    for (int j = 0; j < rows; j += lanes) {
        Vector x[lanes];
        for (int i = 0; i < lanes; i++)
            x[i] = rotateWithin<Direction>(rowAt(from, j + i), factors[static_cast<size_t>(j + i)]);
        transpose(x);
        const auto put = [dst](int n, Vector values) {
            simd::store(dst + n, Direction::template output<rows>(values, n));
        };
        const int mirrored = 2 * rows - lanes - j;
        put(j, x[0]);
        put(2 * rows + j, x[3]);
        put(4 * rows + j, x[6]);
        put(6 * rows + j, x[5]);
        put(mirrored, simd::reverseWords(x[1]));
        put(2 * rows + mirrored, simd::reverseWords(x[2]));
        put(4 * rows + mirrored, simd::reverseWords(x[7]));
        put(6 * rows + mirrored, simd::reverseWords(x[4]));
    }
}

template <class Direction, int rows>
void transform(const int16_t *src, int16_t *dst, const std::array<LaneFactors, rows> &factors) {
    alignas(16) int16_t a[rows * lanes], b[rows * lanes];
    butterfliesWithinVectors<Direction, rows>(src, a);
    if constexpr (rows == 80) {
        butterfliesOfRows<Direction, rows, 80>(a, b);
        butterfliesOfRows<Direction, rows, 40>(b, a);
    } else {
        butterfliesOfRows<Direction, rows, 40>(a, b);
    }
    int16_t *x = rows == 80 ? a : b, *y = rows == 80 ? b : a;
    butterfliesOfRows<Direction, rows, 20>(x, y);
    for (int start = 0; start < rows; start += coreLength)
        transformRows<Direction>(y + start * lanes, x + start * lanes);
    rotationsOfRows<Direction, rows, 20>(x, y, Direction::rotation20.data());
    rotationsOfRows<Direction, rows, 40>(y, x, Direction::rotation40.data());
    if constexpr (rows == 80) {
        rotationsOfRows<Direction, rows, 80>(x, y, Direction::rotation80.data());
        x = y;
    }
    rotationsWithinRows<Direction, rows>(x, dst, factors);
}

template <class Direction> void transformFrame(const int16_t *src, int16_t *dst, int len) {
    if (len == shortFrame)
        transform<Direction, shortFrame / lanes>(src, dst, Direction::shortLanes);
    else
        transform<Direction, longFrame / lanes>(src, dst, Direction::longLanes);
}

} // namespace

void ryxsc::g7221::dctAnalysis(const int16_t *src, int16_t *dst, int len) {
    transformFrame<Analysis>(src, dst, len);
}

void ryxsc::g7221::dctSynthesis(const int16_t *src, int16_t *dst, int len) {
    transformFrame<Synthesis>(src, dst, len);
}

ryxStatus ryxsDCTFwd_G7221_16s_u8(const int16_t *src, int16_t *dst, int len) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (!isFrameLength(len)) return ryxStsBadSize;
    dctAnalysis(src, dst, len);
    return ryxStsOk;
}

ryxStatus ryxsDCTInv_G7221_16s_u8(const int16_t *src, int16_t *dst, int len) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (!isFrameLength(len)) return ryxStsBadSize;
    dctSynthesis(src, dst, len);
    return ryxStsOk;
}
