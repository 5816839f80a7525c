#include "gsmamr/search_steps.h"

#include <algorithm>
#include <cstring>

#include "common/inv_sqrt.h"

namespace ryxsc::gsmamr {

using simd::Vector;

namespace {

int64_t sumOfSquares(const int16_t *x) {
    Vector sums = _mm_setzero_si128();
    for (int n = 0; n < subframeLength; n += 8) {
        const Vector eight = simd::load(x + n);
        sums = _mm_add_epi64(sums, simd::sumsOfUnsignedDwords(_mm_madd_epi16(eight, eight)));
    }
    return simd::sumOfQwords(sums);
}

// What accumulating 2 * x[n]^2 on top of `start` gives: with terms that are not negative it saturates at the end or never.
int32_t saturatedEnergy(int32_t start, const int16_t *x) {
    return sat32(start + 2 * sumOfSquares(x));
}

// No partial sum of x[i] * h[k] over distinct i and distinct k exceeds the product of the norms. Below 2^30 its double
// fits 32 bits.
bool sumsFit(const int16_t *x, const int16_t *h) {
    constexpr double limit = 1152921504606846976.0 * 0.99; // 2^60, less what conversions may round
    return static_cast<double>(sumOfSquares(x)) * static_cast<double>(sumOfSquares(h)) < limit;
}

// sums[n] = sum of x[n + k] * h[k]. Couples of neighbouring x for four n meet a couple of taps.
void sumProducts(const int16_t *x, const int16_t *h, int32_t *sums) {
    alignas(16) int16_t padded[subframeLength + 16] = {};
    alignas(16) int32_t couples[subframeLength + 8];
    Vector taps[subframeLength / 2];
    std::memcpy(padded, x, subframeLength * sizeof *x);
    for (int n = 0; n < subframeLength + 8; n += 4)
        simd::store(couples + n, _mm_unpacklo_epi16(simd::load64(padded + n), simd::load64(padded + n + 1)));
    for (int k = 0; k < subframeLength; k += 2)
        taps[k / 2] = _mm_shuffle_epi32(simd::load32(h + k), 0);
    for (int n = 0; n < subframeLength; n += 4) {
        Vector even = _mm_setzero_si128(), odd = even;
        for (int k = 0; k < subframeLength - n; k += 4) {
            even = _mm_add_epi32(even, _mm_madd_epi16(simd::load(couples + n + k), taps[k / 2]));
            odd = _mm_add_epi32(odd, _mm_madd_epi16(simd::load(couples + n + k + 2), taps[k / 2 + 1]));
        }
        simd::store(sums + n, _mm_slli_epi32(_mm_add_epi32(even, odd), 1));
    }
}

void sumProductsSaturated(const int16_t *x, const int16_t *h, int32_t *sums) {
    for (int n = 0; n < subframeLength; n++) {
        sums[n] = 0;
        for (int i = n; i < subframeLength; i++)
            sums[n] = L_mac(sums[n], x[i], h[i - n]);
    }
}

int normalisation(const int32_t *sums, int tracks) {
    int32_t most[5] = {}, total = 5;
    for (int n = 0; n < subframeLength; n += tracks)
        for (int track = 0; track < tracks; track++)
            most[track] = std::max(most[track], L_abs(sums[n + track]));
    for (const int32_t m : most)
        total = L_add(total, m >> 1);
    return norm_l(total);
}

// round(L_shl(x, shift)) of sums whose shifted values fit 32 bits.
void normalise(const int32_t *sums, int shift, int16_t *words) {
    const Vector left = _mm_cvtsi32_si128(std::max(shift, 0)), right = _mm_cvtsi32_si128(15 - std::min(shift, 0));
    const auto four = [&](const int32_t *from) {
        const Vector halves = _mm_sra_epi32(_mm_sll_epi32(simd::load(from), left), right);
        return _mm_srai_epi32(_mm_add_epi32(halves, simd::dwords(1)), 1);
    };
    for (int n = 0; n < subframeLength; n += 8)
        simd::store(words + n, _mm_packs_epi32(four(sums + n), four(sums + n + 4)));
}

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

int16_t amplitudeScale(const int16_t *x) {
    return extract_h(L_shl(inverseSqrt(saturatedEnergy(256, x)), 5));
}

} // namespace

void sharpen(int lag, int16_t factor, int16_t *x) {
    for (int n = lag; n < subframeLength; n += 8) {
        const Vector product = simd::mulShift<15>(simd::load(x + n - lag), simd::words(factor));
        simd::store(x + n, _mm_add_epi16(simd::load(x + n), product));
    }
}

void correlate(const int16_t *target, const int16_t *impulse, int tracks, int headroom, Words &correlation) {
    alignas(16) int32_t sums[subframeLength];
    const bool fit = sumsFit(target, impulse);
    fit ? sumProducts(target, impulse, sums) : sumProductsSaturated(target, impulse, sums);
    normalise(sums, normalisation(sums, tracks) - headroom, correlation.at);
}

void splitSigns(Signed &d) {
    for (int n = 0; n < subframeLength; n += 8) {
        const Vector x = simd::load(d.correlation.at + n), negative = simd::signMask(x);
        simd::store(d.sign.at + n, _mm_or_si128(negative, simd::words(1)));
        simd::store(d.correlation.at + n, simd::negateSaturatedWhere(negative, x));
    }
}

// The combination is sat16((kr * r + kd * d + 16) >> 5): none of the saturations on the recommendation's way changes that,
// and kr and kd are not negative.
void combineSigns(const int16_t *residual, Signed &d, Words &magnitude) {
    const Vector kr = simd::words(amplitudeScale(residual)), kd = simd::words(amplitudeScale(d.correlation.at));
    const simd::ScaleDown scaleDown(5);
    for (int n = 0; n < subframeLength; n += 8) {
        const Vector x = simd::load(d.correlation.at + n);
        const Vector c = scaleDown(simd::sumsOfTwoProducts(simd::load(residual + n), kr, x, kd));
        const Vector negative = simd::signMask(c);
        simd::store(magnitude.at + n, simd::negateSaturatedWhere(negative, c));
        simd::store(d.sign.at + n, _mm_or_si128(negative, simd::words(1)));
        simd::store(d.correlation.at + n, simd::negateSaturatedWhere(negative, x));
    }
}

namespace {

// A sign of the reference is 32767 or -32767, and their Q15 product is 32766 or -32767: no negation. (x * 32766) >> 15 is
// x + ((x * -4) >> 16), (x * -32767) >> 15 is -x + ((x * 2) >> 16), modulo 2^16.
struct SignFactor {
    Vector sign, remainder;

    explicit SignFactor(Vector s)
        : sign(s), remainder(_mm_sub_epi16(simd::words(-1), _mm_add_epi16(s, _mm_add_epi16(s, s)))) {}

    Vector operator*(Vector x) const { return _mm_add_epi16(_mm_sign_epi16(x, sign), _mm_mulhi_epi16(x, remainder)); }
};

// Entry (i, j) sums g[39 - i - k] * g[39 - j - k] over k from 0 on, so it is entry (i + 1, j + 1) and one product. One
// row beside one track follows from the row below it beside the next track: the lanes stay, or move on by one where the
// first track follows the last.
template <int step> class MatrixBuilder {
public:
    MatrixBuilder(const Words &g, const TrackWords<step> &sign) {
        Words reversed;
        std::reverse_copy(g.at, g.at + subframeLength, reversed.at);
        const TrackWords<step> tracks = byTracks<step>(reversed);
        for (int track = 0; track < step; track++)
            for (int vector = 0; vector < vectors; vector++) {
                const Vector words = tracks.at(track, vector), zeros = _mm_setzero_si128();
                spread_[track][2 * vector] = _mm_unpacklo_epi16(words, zeros);
                spread_[track][2 * vector + 1] = _mm_unpackhi_epi16(words, zeros);
                const Vector signs = sign.at(track, vector);
                sign_[0][track][vector] = signs;
                sign_[1][track][vector] = _mm_sub_epi16(zeros, signs);
            }
        for (int n = 0; n < subframeLength; n++) {
            own_[n] = reversed.at[n];
            negative_[n] = sign.words[n % step][n / step] < 0;
        }
    }

    void buildAtDistance(int distance, Matrix<step> &matrix) const {
        const Vector rounding = simd::dwords(1 << 14);
        Vector sums[parts];
        std::fill_n(sums, parts, rounding);
        for (int i = subframeLength - 1, track = (i + distance) % step; i >= 0; i--) {
            const Vector factor = simd::dwords(own_[i]);
            for (int part = 0; part < parts; part++)
                sums[part] = _mm_add_epi32(sums[part], _mm_madd_epi16(factor, spread_[track][part]));
            for (int vector = 0; vector < vectors; vector++) {
                const Vector rounded =
                    _mm_packs_epi32(_mm_srai_epi32(sums[2 * vector], 15), _mm_srai_epi32(sums[2 * vector + 1], 15));
                const SignFactor factors(sign_[negative_[i]][track][vector]);
                simd::store(matrix.rows[i].words[track] + 8 * vector, factors * rounded);
            }
            if (track-- == 0) {
                track = step - 1;
                for (int part = 0; part < parts - 1; part++)
                    sums[part] = _mm_alignr_epi8(sums[part + 1], sums[part], 4);
                sums[parts - 1] = _mm_alignr_epi8(rounding, sums[parts - 1], 4);
            }
        }
    }

private:
    static constexpr int vectors = TrackWords<step>::vectors, parts = 2 * vectors;

    Vector spread_[step][parts]; // g backwards, a zero word behind each
    Vector sign_[2][step][vectors];
    int own_[subframeLength];
    bool negative_[subframeLength];
};

template <int step> void buildDiagonal(const Words &g, Matrix<step> &matrix) {
    matrix.diagonal = {};
    int64_t sum = 0;
    for (int k = 0; k < subframeLength; k++) {
        sum += int64_t{2} * g.at[k] * g.at[k];
        const int i = subframeLength - 1 - k;
        matrix.diagonal.words[i % step][i / step] = round(sat32(sum));
    }
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

} // namespace

template <int step>
void buildMatrix(const int16_t *impulse, const TrackWords<step> &sign, Distances distances, Matrix<step> &matrix) {
    Words g;
    normaliseResponse(impulse, g.at);
    buildDiagonal(g, matrix);
    // No sum exceeds the energy of g. Below 2^30, less the rounding, neither its double nor a rounded sum saturates.
    matrix.isSaturated = sumOfSquares(g.at) >= (1 << 30) - (1 << 14);
    if (matrix.isSaturated) {
        buildSaturated(g, sign, matrix);
    } else {
        const MatrixBuilder<step> builder(g, sign);
        for (int distance = distances.first; distance <= distances.last; distance++)
            builder.buildAtDistance(distance, matrix);
    }
    for (int i = 0; i < subframeLength; i++) // without the factor of the signs
        matrix.rows[i].words[i % step][i / step] = static_cast<int16_t>(matrix.energy(i));
}

template void buildMatrix(const int16_t *, const TrackWords<4> &, Distances, Matrix<4> &);
template void buildMatrix(const int16_t *, const TrackWords<5> &, Distances, Matrix<5> &);

namespace {

struct PulseGains {
    int16_t positive, negative;

    int16_t of(const Pulses &pulses, int k) const { return pulses.negative[k] ? negative : positive; }
};

void filterSaturated(PulseGains gains, const Pulses &pulses, const int16_t *impulse, int16_t *filtered) {
    for (int n = 0; n < subframeLength; n++) {
        int32_t sum = 0;
        for (int k = 0; k < pulses.count; k++)
            if (pulses.position[k] <= n) sum = L_mac(sum, gains.of(pulses, k), impulse[n - pulses.position[k]]);
        filtered[n] = round(sum);
    }
}

} // namespace

void filter(Codebook codebook, const Pulses &pulses, const PaddedResponse &impulse, int16_t *filtered) {
    const bool ten = codebook == Codebook::tenPulses;
    const PulseGains gains = ten ? PulseGains{8192, -8192} : PulseGains{32767, -32768};
    const simd::ScaleDown scaleDown(15);
    Vector reach = _mm_setzero_si128(); // magnitudes that meet in a sample
    Words result;
    for (int n = 0; n < subframeLength; n += 8) {
        simd::Dwords sums = {};
        Vector magnitudes = _mm_setzero_si128();
        for (int k = 0; k < pulses.count; k += 2) {
            const bool single = k + 1 == pulses.count;
            const Vector first = simd::load(impulse.at + n - pulses.position[k]);
            const Vector second = single ? _mm_setzero_si128() : simd::load(impulse.at + n - pulses.position[k + 1]);
            const auto products = simd::sumsOfTwoProducts(first, simd::words(gains.of(pulses, k)), second,
                                                          simd::words(single ? int16_t{0} : gains.of(pulses, k + 1)));
            sums.front = _mm_add_epi32(sums.front, products.front);
            sums.back = _mm_add_epi32(sums.back, products.back);
            magnitudes = _mm_adds_epu16(magnitudes, _mm_adds_epu16(_mm_abs_epi16(first), _mm_abs_epi16(second)));
        }
        reach = _mm_or_si128(reach, magnitudes);
        simd::store(result.at + n, scaleDown(sums));
    }
    // Magnitudes below 32768 keep the doubled sums within 32 bits, rounding included.
    if (_mm_movemask_epi8(simd::signMask(reach)) != 0) return filterSaturated(gains, pulses, impulse.at, filtered);
    std::memcpy(filtered, result.at, sizeof result.at);
}

} // namespace ryxsc::gsmamr
