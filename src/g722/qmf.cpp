// SPDX-License-Identifier: BSD-2-Clause
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
#include "g722/implementations.h"
#include "g722/tables.h"

using namespace ryxsc;
using namespace ryxsc::g722;
using simd::Vector;

namespace {

constexpr int pairsPerStep = 16;
constexpr int pairsPerChunk = 256;

// A lane of the delay line and behind it the values of a chunk, oldest first. Each value stands behind its predecessor in a
// pair of words of its own, so that pmaddwd takes two taps of four neighbouring outputs from one load, and every other
// load is aligned. The last step of a chunk may go beyond the valid values; its results are dropped.
class Stream {
public:
    // Appends eight values from position k on.
    void append(int k, Vector values) {
        const Vector predecessors = _mm_alignr_epi8(values, latest_, 14);
        _mm_store_si128(at(k), _mm_unpacklo_epi16(predecessors, values));
        _mm_store_si128(at(k + 4), _mm_unpackhi_epi16(predecessors, values));
        latest_ = values;
    }

    // The pairs of positions k to k + 3; position 0 is the chunk's first, k at least -12.
    const Vector *at(int k) const { return reinterpret_cast<const Vector *>(words_ + 2 * (k + qmfTaps)); }

    // The last values become the history of the next chunk.
    void keepLast(int count) { std::memmove(words_, words_ + 2 * count, 2 * qmfTaps * sizeof(int16_t)); }

private:
    Vector *at(int k) { return reinterpret_cast<Vector *>(words_ + 2 * (k + qmfTaps)); }

    alignas(16) int16_t words_[2 * (qmfTaps + pairsPerChunk + pairsPerStep)];
    Vector latest_ = _mm_setzero_si128(); // the values appended last
};

// The first stream belongs to the even positions of the delay line, the second to the odd ones; the line has the newest
// pair in front.
struct Streams {
    Stream first, second;

    void loadDelay(const int16_t *delay) {
        // Four pairs to four values of each stream, oldest first.
        const auto lanes = [delay](int pair) {
            const Vector order = _mm_setr_epi8(12, 13, 8, 9, 4, 5, 0, 1, 14, 15, 10, 11, 6, 7, 2, 3);
            return _mm_shuffle_epi8(simd::load(delay + 2 * pair), order);
        };
        first.append(-12, _mm_unpacklo_epi64(lanes(8), lanes(4)));
        second.append(-12, _mm_unpackhi_epi64(lanes(8), lanes(4)));
        // The newest four twice: the second time they lie where the chunk will be.
        first.append(-4, _mm_unpacklo_epi64(lanes(0), lanes(0)));
        second.append(-4, _mm_unpackhi_epi64(lanes(0), lanes(0)));
    }

    void saveDelay(int16_t *delay) const {
        const Vector order = _mm_setr_epi8(6, 7, 14, 15, 4, 5, 12, 13, 2, 3, 10, 11, 0, 1, 8, 9);
        for (int pair = 0; pair < qmfTaps; pair += 4) {
            const Vector values =
                _mm_packs_epi32(_mm_srai_epi32(*first.at(-4 - pair), 16), _mm_srai_epi32(*second.at(-4 - pair), 16));
            simd::store(delay + 2 * pair, _mm_shuffle_epi8(values, order));
        }
    }
};

// Coefficients in pairs for pmaddwd, that of the older value in front, four times each.
struct CoefficientPairs {
    alignas(16) std::array<std::array<int16_t, 8>, qmfTaps / 2> words;

    Vector pair(int tap) const { return simd::load(words[static_cast<size_t>(tap / 2)].data()); }
};

template <class Tap> constexpr CoefficientPairs pairUp(Tap tap) {
    CoefficientPairs pairs{};
    for (size_t i = 0; i < pairs.words.size(); i++)
        for (size_t lane = 0; lane < 8; lane++)
            pairs.words[i][lane] = tap(2 * i + 1 - lane % 2);
    return pairs;
}

constexpr CoefficientPairs firstCoefficients = pairUp([](size_t tap) { return qmfEven[tap]; });
constexpr CoefficientPairs secondCoefficients = pairUp([](size_t tap) { return qmfEven[qmfTaps - 1 - tap]; });

// The 32-bit sums of a step's outputs. None leaves 32 bits, since the magnitudes of the coefficients add up to 12964.
struct Sums {
    Vector groups[pairsPerStep / 4] = {};
};

// The taps phase, phase + 1, phase + 4, phase + 5, ...: each load serves up to three groups of outputs.
template <int phase>
[[gnu::always_inline]] inline void accumulate(Sums &sums, const Vector *pairs, const CoefficientPairs &coefficients) {
#pragma GCC unroll 6
    for (int place = 3; place >= -2; place--) {
        const Vector four = simd::load(reinterpret_cast<const int16_t *>(pairs + place) - 2 * phase);
#pragma GCC unroll 3
        for (int turn = 0; turn < 3; turn++) {
            const int group = place + turn;
            if (group < 0 || group > 3) continue;
            const Vector products = _mm_madd_epi16(four, coefficients.pair(phase + 4 * turn));
            sums.groups[group] = _mm_add_epi32(sums.groups[group], products);
            simd::finish(sums.groups[group]);
        }
    }
}

[[gnu::always_inline]] inline Sums filter(const Stream &stream, int position, const CoefficientPairs &coefficients) {
    Sums sums;
    accumulate<0>(sums, stream.at(position), coefficients);
    accumulate<2>(sums, stream.at(position), coefficients);
    return sums;
}

// Pairs of words, eight at a time.
constexpr int pairsPerLoad = 8;

struct Halves {
    Vector first, second; // the first words of the pairs, and the second words
};

Halves loadSeparated(const int16_t *from) {
    const Vector gather = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    const Vector front = _mm_shuffle_epi8(simd::load(from), gather);
    const Vector back = _mm_shuffle_epi8(simd::load(from + 8), gather);
    return {_mm_unpacklo_epi64(front, back), _mm_unpackhi_epi64(front, back)};
}

void storeInterleaved(int16_t *to, Halves halves) {
    simd::store(to, _mm_unpacklo_epi16(halves.first, halves.second));
    simd::store(to + 8, _mm_unpackhi_epi16(halves.first, halves.second));
}

template <int shift> Vector packShifted(Vector front, Vector back) {
    return _mm_packs_epi32(_mm_srai_epi32(front, shift), _mm_srai_epi32(back, shift));
}

struct Transmit {
    static Halves streams(Halves olderAndNewer) { return {olderAndNewer.second, olderAndNewer.first}; }

    // Shifts by 15 and limits to 15 bits: a shift by 14, saturation to 16 bits, and the last bit of the shift.
    static Halves outputs(const Vector *a, const Vector *b) {
        const Vector low = packShifted<14>(_mm_add_epi32(a[0], b[0]), _mm_add_epi32(a[1], b[1]));
        const Vector high = packShifted<14>(_mm_sub_epi32(a[0], b[0]), _mm_sub_epi32(a[1], b[1]));
        return {_mm_srai_epi16(low, 1), _mm_srai_epi16(high, 1)};
    }
};

struct Receive {
    static Halves streams(Halves bands) {
        return {_mm_sub_epi16(bands.first, bands.second), _mm_add_epi16(bands.first, bands.second)};
    }

    static Halves outputs(const Vector *differences, const Vector *sums) {
        return {packShifted<12>(differences[0], differences[1]), packShifted<12>(sums[0], sums[1])};
    }
};

template <class Direction> void fillStep(const int16_t *src, Streams &streams, int position) {
    for (int i = 0; i < pairsPerStep; i += pairsPerLoad) {
        const Halves halves = Direction::streams(loadSeparated(src + 2 * i));
        streams.first.append(position + i, halves.first);
        streams.second.append(position + i, halves.second);
    }
}

template <class Direction> void filterStep(const Streams &streams, int position, int16_t *dst) {
    const Sums a = filter(streams.first, position, firstCoefficients);
    const Sums b = filter(streams.second, position, secondCoefficients);
    storeInterleaved(dst, Direction::outputs(a.groups, b.groups));
    storeInterleaved(dst + 2 * pairsPerLoad, Direction::outputs(a.groups + 2, b.groups + 2));
}

// Calls work(position, pairs) for the steps of a chunk; the last one may be shorter.
template <class Work> void inSteps(int pairs, Work work) {
    for (int position = 0; position < pairs; position += pairsPerStep)
        work(position, std::min(pairs - position, pairsPerStep));
}

template <class Direction> void filterChunk(const int16_t *src, int16_t *dst, int pairs, Streams &streams) {
    inSteps(pairs, [&](int position, int count) {
        if (count == pairsPerStep) return fillStep<Direction>(src + 2 * position, streams, position);
        int16_t padded[2 * pairsPerStep] = {};
        std::memcpy(padded, src + 2 * position, static_cast<size_t>(count) * 2 * sizeof(int16_t));
        fillStep<Direction>(padded, streams, position);
    });
    inSteps(pairs, [&](int position, int count) {
        if (count == pairsPerStep) return filterStep<Direction>(streams, position, dst + 2 * position);
        int16_t padded[2 * pairsPerStep];
        filterStep<Direction>(streams, position, padded);
        std::memcpy(dst + 2 * position, padded, static_cast<size_t>(count) * 2 * sizeof(int16_t));
    });
    streams.first.keepLast(pairs);
    streams.second.keepLast(pairs);
}

template <class Direction> ryxStatus filterBands(const int16_t *src, int16_t *dst, int len, int16_t *delay) {
    if (anyNull(src, dst, delay)) return ryxStsNullPtr;
    if (len < 1 || isOdd(len)) return ryxStsBadSize;
    Streams streams;
    streams.loadDelay(delay);
    for (int done = 0; done < len / 2; done += pairsPerChunk)
        filterChunk<Direction>(src + 2 * done, dst + 2 * done, std::min(len / 2 - done, pairsPerChunk), streams);
    streams.saveDelay(delay);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsQMFEncode_G722_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t *delay) {
    return filterBands<Transmit>(src, dst, len, delay);
}

ryxStatus ryxsQMFDecode_G722_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t *delay) {
    return filterBands<Receive>(src, dst, len, delay);
}
