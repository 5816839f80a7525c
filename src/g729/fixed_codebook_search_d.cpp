// SPDX-License-Identifier: BSD-2-Clause
// The fixed codebook of two pulses of ITU-T G.729 Annex D (6.4 kbit/s).
#include <algorithm>

#include "common/checks.h"
#include "g729/fixed_codebook.h"
#include "g729/implementations.h"
#include "g729/tables.h"

using namespace ryxsc;
using namespace ryxsc::g729;
using simd::Vector;

namespace {

// A pair of tracks that is searched. Pulse 0 is the one whose position lies on track 1 or 3.
struct TrackPair {
    int outer, inner;
    bool innerIsFirst;
};
constexpr TrackPair pairs[] = {{0, 1, true},  {1, 1, false}, {0, 3, true},  {3, 4, false},
                               {1, 2, false}, {1, 3, true},  {1, 4, false}, {2, 3, true}};

class PairSearch {
public:
    explicit PairSearch(SearchInput &in) : in_(in) {
        for (int t = 0; t < tracks; t++)
            in.signRows(t, t, 4, 32766, 32767, -32767); // the diagonal stands apart
    }

    void run() {
        for (const TrackPair &pair : pairs)
            for (int i0 = places * pair.outer; i0 < places * (pair.outer + 1); i0++) {
                const Vector sums = _mm_adds_epi16(simd::words(in_.d[i0]), in_.track(in_.d, pair.inner));
                const Vector energies = energiesOf(i0, pair.inner);
                const int lane = argmax_.offer(simd::mulShift<15>(sums, sums), energies);
                if (lane < 0) continue;
                const int i1 = places * pair.inner + lane;
                best_[0] = pair.innerIsFirst ? i1 : i0;
                best_[1] = pair.innerIsFirst ? i0 : i1;
            }
    }
    const int *numbers() const { return best_; }

private:
    // (2 * (phi(i0, i0) + phi(i1, i1)) + 4 * phi'(i0, i1)) / 32
    Vector energiesOf(int i0, int t) const {
        const Vector factors = _mm_set1_epi32(4 | 2 << 16);
        const auto sum = [&](Vector terms) {
            const Vector total = _mm_add_epi32(_mm_madd_epi16(terms, factors), simd::dwords(2 * in_.energies[i0]));
            return _mm_srai_epi32(total, 5);
        };
        const Vector cross = in_.row(i0, t), own = in_.track(in_.energies, t);
        return _mm_packs_epi32(sum(_mm_unpacklo_epi16(cross, own)), sum(_mm_unpackhi_epi16(cross, own)));
    }

    SearchInput &in_;
    Argmax argmax_{0, max16};
    int best_[2] = {places, 0}; // positions 1 and 0
};

template <size_t count> int placeOf(int position, const std::array<int16_t, count> &track) {
    return static_cast<int>(std::find(track.begin(), track.end(), position) - track.begin());
}

} // namespace

ryxStatus ryxsFixedCodebookSearch_G729D_16s_u8(const int16_t *target, const int16_t *response, int16_t lag,
                                               int16_t sharpening, int16_t *code, int16_t *filtered, int16_t *index) {
    if (anyNull(target, response, code, filtered, index)) return ryxStsNullPtr;
    if (!isCodebookLag(lag)) return ryxStsOutOfRange;
    SearchInput in(target, response, lag, sharpening, correlateResponse<laterOrOwnPairs>);
    PairSearch search(in);
    search.run();
    const int *const numbers = search.numbers();
    placePulses(in, numbers, 2, code, filtered);
    const auto gray = [](int place) { return grayCode[static_cast<size_t>(place)]; };
    index[0] = static_cast<int16_t>(gray(placeOf(positionOf(numbers[0]), firstTrackD)) +
                                    16 * gray(placeOf(positionOf(numbers[1]), secondTrackD)));
    index[1] = static_cast<int16_t>((in.minus[numbers[0]] == 0 ? 1 : 0) + (in.minus[numbers[1]] == 0 ? 2 : 0));
    sharpen(code, lag, sharpening);
    return ryxStsOk;
}

ryxStatus ryxsFixedCodebookDecode_G729D_16s_u8(const int16_t *index, int16_t lag, int16_t sharpening, int16_t *code) {
    if (anyNull(index, code)) return ryxStsNullPtr;
    if (!isCodebookLag(lag)) return ryxStsOutOfRange;
    const int positions = index[0], signs = index[1];
    const auto place = [](int gray) { return static_cast<size_t>(grayDecode[static_cast<size_t>(gray)]); };
    const auto amplitude = [signs](int k) { return (signs >> k & 1) != 0 ? plusAmplitude : minusAmplitude; };
    std::fill_n(code, subframe, int16_t{0});
    code[firstTrackD[place(positions & 15)]] = amplitude(0);
    int16_t &second = code[secondTrackD[place(positions >> 4 & 31)]];
    second = ryxsc::add(second, amplitude(1));
    sharpen(code, lag, sharpening);
    return ryxStsOk;
}
