// ITU-T G.722 transmit and receive QMF.
//
// Both consist of two 12-tap filters on two streams of words: the transmit filter on the newer and the older samples of
// the pairs, the receive filter on the differences and the sums of the bands. A chunk's streams are laid out in time
// order behind their history and filtered by one kernel.
#include <algorithm>
#include <array>
#include <cstring>

#include "common/checks.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "g722/tables.h"

using namespace ryxsc;
using namespace ryxsc::g722;
using simd::Vector;

namespace {

constexpr int pairsPerStep = 8;
constexpr int pairsPerChunk = 256;

// One lane of the delay line, oldest value first, and behind it the values of a chunk. The last step of a chunk may read
// values behind the valid ones; its results are dropped.
struct Stream {
    int16_t words[qmfTaps + pairsPerChunk + pairsPerStep];

    int16_t *values() { return words + qmfTaps; }

    void keepLast(int count) { std::memmove(words, words + count, qmfTaps * sizeof(int16_t)); }
};

// The first stream belongs to the even positions of the delay line, the second to the odd ones; the line has the newest
// pair in front.
void loadDelay(const int16_t *delay, Stream &first, Stream &second) {
    for (int i = 0; i < qmfTaps; i++) {
        first.words[qmfTaps - 1 - i] = delay[2 * i];
        second.words[qmfTaps - 1 - i] = delay[2 * i + 1];
    }
}

void saveDelay(int16_t *delay, const Stream &first, const Stream &second) {
    for (int i = 0; i < qmfTaps; i++) {
        delay[2 * i] = first.words[qmfTaps - 1 - i];
        delay[2 * i + 1] = second.words[qmfTaps - 1 - i];
    }
}

// Coefficients in pairs for pmaddwd, that of the older value in front, four times each.
using CoefficientPairs = std::array<std::array<int16_t, 8>, qmfTaps / 2>;

template <class Tap> constexpr CoefficientPairs pairUp(Tap tap) {
    CoefficientPairs pairs{};
    for (size_t i = 0; i < pairs.size(); i++)
        for (size_t lane = 0; lane < 8; lane++)
            pairs[i][lane] = tap(2 * i + 1 - lane % 2);
    return pairs;
}

alignas(16) constexpr CoefficientPairs firstCoefficients = pairUp([](size_t tap) { return qmfEven[tap]; });
alignas(16) constexpr CoefficientPairs secondCoefficients = pairUp([](size_t tap) {
    return qmfEven[qmfTaps - 1 - tap];
});

// Eight filter outputs as 32-bit sums: of the values at even and at odd positions. No sum leaves 32 bits, since the
// magnitudes of the coefficients add up to 12964.
struct Sums {
    Vector even, odd;
};

Sums filter(const int16_t *values, const CoefficientPairs &coefficients) {
    Sums sums = {_mm_setzero_si128(), _mm_setzero_si128()};
    for (size_t i = 0; i < coefficients.size(); i++) {
        const Vector pair = simd::load(coefficients[i].data());
        const int16_t *older = values - 2 * i - 1;
        sums.even = _mm_add_epi32(sums.even, _mm_madd_epi16(simd::load(older), pair));
        sums.odd = _mm_add_epi32(sums.odd, _mm_madd_epi16(simd::load(older + 1), pair));
    }
    return sums;
}

Vector packShifted(Sums sums, int shift) {
    return _mm_packs_epi32(_mm_srai_epi32(sums.even, shift), _mm_srai_epi32(sums.odd, shift));
}

// Eight pairs of words in memory order.
struct Pairs {
    Vector front, back;
};

Pairs loadPairs(const int16_t *from) {
    return {simd::load(from), simd::load(from + 8)};
}

void storePairs(int16_t *to, Pairs pairs) {
    simd::store(to, pairs.front);
    simd::store(to + 8, pairs.back);
}

// The first words of the eight pairs, and the second words.
struct Halves {
    Vector first, second;
};

Halves separate(Pairs pairs) {
    const Vector gather = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    const Vector front = _mm_shuffle_epi8(pairs.front, gather);
    const Vector back = _mm_shuffle_epi8(pairs.back, gather);
    return {_mm_unpacklo_epi64(front, back), _mm_unpackhi_epi64(front, back)};
}

// The inverse for words in the order 0 2 4 6 1 3 5 7, as the sums at even and odd positions leave them.
Pairs interleave(Vector first, Vector second) {
    const Vector even = _mm_unpacklo_epi16(first, second);
    const Vector odd = _mm_unpackhi_epi16(first, second);
    return {_mm_unpacklo_epi32(even, odd), _mm_unpackhi_epi32(even, odd)};
}

struct Transmit {
    static Halves streams(Pairs samples) {
        const Halves halves = separate(samples);
        return {halves.second, halves.first};
    }
    static Pairs outputs(Sums newer, Sums older) {
        const Sums sum = {_mm_add_epi32(newer.even, older.even), _mm_add_epi32(newer.odd, older.odd)};
        const Sums difference = {_mm_sub_epi32(newer.even, older.even), _mm_sub_epi32(newer.odd, older.odd)};
        const Pairs bands = interleave(packShifted(sum, 15), packShifted(difference, 15));
        return {limit(bands.front), limit(bands.back)};
    }
    static Vector limit(Vector x) { return simd::clampWords(x, simd::words(subbandMin), simd::words(subbandMax)); }
};

struct Receive {
    static Halves streams(Pairs bands) {
        const Halves halves = separate(bands);
        return {_mm_sub_epi16(halves.first, halves.second), _mm_add_epi16(halves.first, halves.second)};
    }
    static Pairs outputs(Sums differences, Sums sums) {
        return interleave(packShifted(differences, 12), packShifted(sums, 12));
    }
};

template <class Direction> void fillStreams(const int16_t *src, int pairs, int16_t *first, int16_t *second) {
    int j = 0;
    for (; j + pairsPerStep <= pairs; j += pairsPerStep) {
        const Halves halves = Direction::streams(loadPairs(src + 2 * j));
        simd::store(first + j, halves.first);
        simd::store(second + j, halves.second);
    }
    if (j == pairs) return;
    int16_t rest[2 * pairsPerStep] = {};
    std::memcpy(rest, src + 2 * j, static_cast<size_t>(pairs - j) * 2 * sizeof(int16_t));
    const Halves halves = Direction::streams(loadPairs(rest));
    simd::store(first + j, halves.first);
    simd::store(second + j, halves.second);
}

template <class Direction> void filterStreams(const int16_t *first, const int16_t *second, int16_t *dst, int pairs) {
    const auto step = [&](int j) {
        return Direction::outputs(filter(first + j, firstCoefficients), filter(second + j, secondCoefficients));
    };
    int j = 0;
    for (; j + pairsPerStep <= pairs; j += pairsPerStep)
        storePairs(dst + 2 * j, step(j));
    if (j == pairs) return;
    int16_t rest[2 * pairsPerStep];
    storePairs(rest, step(j));
    std::memcpy(dst + 2 * j, rest, static_cast<size_t>(pairs - j) * 2 * sizeof(int16_t));
}

template <class Direction> ryxStatus filterBands(const int16_t *src, int16_t *dst, int len, int16_t *delay) {
    if (anyNull(src, dst, delay)) return ryxStsNullPtr;
    if (len < 1 || isOdd(len)) return ryxStsBadSize;
    Stream first, second;
    loadDelay(delay, first, second);
    for (int done = 0; done < len / 2; done += pairsPerChunk) {
        const int pairs = std::min(len / 2 - done, pairsPerChunk);
        fillStreams<Direction>(src + 2 * done, pairs, first.values(), second.values());
        filterStreams<Direction>(first.values(), second.values(), dst + 2 * done, pairs);
        first.keepLast(pairs);
        second.keepLast(pairs);
    }
    saveDelay(delay, first, second);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsQMFEncode_G722_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t *delay) {
    return filterBands<Transmit>(src, dst, len, delay);
}

ryxStatus ryxsQMFDecode_G722_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t *delay) {
    return filterBands<Receive>(src, dst, len, delay);
}
