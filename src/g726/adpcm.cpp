// ITU-T G.726 encoder and decoder.
//
// The eight predictor products of a sample are computed side by side: words 0..5 of every vector belong to the zero
// predictor (coefficients b1..b6, differences dq1..dq6), words 6 and 7 to the pole predictor (a1, a2, sr1, sr2). A vector
// called "broadcast" has the same value in all words. The recommendation's floating-point format is taken from the bits of
// exactly converted floats, so no rounding mode of the processor has a say in any result.
#include <algorithm>
#include <bit>
#include <cstring>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "frame/implementations.h"
#include "g726/companding.h"
#include "g726/tables.h"

using namespace ryxsc;
using namespace ryxsc::g726;
using simd::Vector;

namespace {

// The block that the caller keeps, at any address: it is copied in and out. Names as in the recommendation.
struct State {
    int32_t scratch[4];   // not used
    int16_t pk0, pk1, pk2; // signs of the partial signal estimate; pk0 is not used
    int16_t rate;         // 0..3
    int16_t yu, ap;
    int32_t yl;
    int16_t dms, dml, td;
    int16_t coefficients[8]; // b1..b6, a1, a2
    int16_t words[8];        // dq1..dq6, sr1, sr2 in floating-point format: exponent in bits 6..9, mantissa in bits 0..5
    int16_t signs[8];        // and their signs, 1 for negative
};
static_assert(sizeof(State) == 88);

struct DecoderState {
    State common;
    int32_t law;
};
static_assert(sizeof(DecoderState) == 92);

int rateIndex(int rate) {
    switch (rate) {
    case ryxG726Rate16k: return 0;
    case ryxG726Rate24k: return 1;
    case ryxG726Rate32k: return 2;
    case ryxG726Rate40k: return 3;
    default: return -1;
    }
}

// The scratch words and pk0 keep what the caller's memory holds.
void reset(State &state, int rate) {
    std::memset(&state.pk1, 0, sizeof(State) - offsetof(State, pk1));
    state.rate = static_cast<int16_t>(rate);
    state.yu = 544;
    state.yl = 34816;
    std::fill_n(state.words, 8, int16_t{32});
}

template <class T> T loadBlock(const void *block) {
    T state;
    std::memcpy(&state, block, sizeof state);
    return state;
}

template <class T> void saveBlock(void *block, const T &state) {
    std::memcpy(block, &state, sizeof state);
}

// -1 in words 0 and 6, where the newest dq and sr stand.
Vector newestWords() {
    return _mm_setr_epi16(-1, 0, 0, 0, 0, 0, -1, 0);
}

// Moves the delay lines by one: the newest dq and sr are taken from words 0 and 6.
Vector delayed(Vector line, Vector newest) {
    return _mm_or_si128(_mm_andnot_si128(newestWords(), _mm_slli_si128(line, 2)), _mm_and_si128(newestWords(), newest));
}

// Magnitudes in floating-point format: value = mantissa * 2^(exponent - 6), mantissa 32..63 (truncated), 0 as 32 with
// exponent 0.
struct Floating {
    Vector exponent, mantissa;

    // From two vectors of four magnitudes below 2^15. The upper 14 bits of the float's bits are its biased exponent and
    // the five mantissa bits behind the leading one.
    static Floating from(Vector dwordsLow, Vector dwordsHigh) {
        const Vector bits = _mm_packs_epi32(upperBits(dwordsLow), upperBits(dwordsHigh));
        const Vector biased = _mm_max_epi16(_mm_srli_epi16(bits, 5), simd::words(126));
        return {_mm_sub_epi16(biased, simd::words(126)),
                _mm_or_si128(_mm_and_si128(bits, simd::words(31)), simd::words(32))};
    }

private:
    static Vector upperBits(Vector magnitudes) {
        return _mm_srli_epi32(simd::floatBits(magnitudes), 18);
    }
};

// The adaptive predictor, and with it the delay lines.
class Predictor {
public:
    Predictor(const State &state, int zeroLeak) : zeroLeak_(_mm_cvtsi32_si128(zeroLeak)) {
        coefficients_ = simd::load(state.coefficients);
        const Vector words = simd::load(state.words);
        past_.exponent = _mm_and_si128(_mm_srli_epi16(words, 6), simd::words(15));
        past_.mantissa = _mm_and_si128(words, simd::words(63));
        signs_ = _mm_cmpgt_epi16(simd::load(state.signs), _mm_setzero_si128());
        pk1_ = simd::words(state.pk1 ? -1 : 0);
        pk2_ = simd::words(state.pk2 ? -1 : 0);
    }

    void save(State &state) const {
        simd::store(state.coefficients, coefficients_);
        simd::store(state.words, _mm_or_si128(_mm_slli_epi16(past_.exponent, 6), past_.mantissa));
        simd::store(state.signs, _mm_srli_epi16(signs_, 15));
        state.pk1 = static_cast<int16_t>(_mm_cvtsi128_si32(pk1_) & 1);
        state.pk2 = static_cast<int16_t>(_mm_cvtsi128_si32(pk2_) & 1);
    }

    // se and sez, broadcast.
    struct Estimate {
        Vector whole, zeroSection;
    };

    // FMULT and ACCUM. The sums wrap to 16 bits before they are halved.
    Estimate estimate() const {
        const Vector shifted = _mm_srai_epi16(coefficients_, 2);
        const Vector magnitude = _mm_and_si128(_mm_abs_epi16(shifted), simd::words(8191));
        const Vector zero = _mm_setzero_si128();
        const Floating c = Floating::from(_mm_unpacklo_epi16(magnitude, zero), _mm_unpackhi_epi16(magnitude, zero));

        const Vector product = _mm_mullo_epi16(c.mantissa, past_.mantissa);
        const Vector mantissa = _mm_srli_epi16(_mm_add_epi16(product, simd::words(48)), 4);
        const Vector magnitudes = scaleMantissa(mantissa, _mm_add_epi16(c.exponent, past_.exponent));
        const Vector plusMinusOne =
            _mm_or_si128(simd::signMask(_mm_xor_si128(shifted, signs_)), simd::words(1));

        const Vector sums = _mm_madd_epi16(magnitudes, plusMinusOne); // b1+b2, b3+b4, b5+b6, a1+a2
        const Vector halves = simd::addDwordPairs(sums);
        const Vector all = _mm_add_epi32(halves, _mm_shuffle_epi32(halves, _MM_SHUFFLE(1, 0, 3, 2)));
        const Vector poles = _mm_shuffle_epi32(sums, _MM_SHUFFLE(3, 3, 3, 3));
        return {_mm_srai_epi16(simd::broadcastWord<0>(all), 1),
                _mm_srai_epi16(simd::broadcastWord<0>(_mm_sub_epi32(all, poles)), 1)};
    }

    // sr = se + dq and p = sez + dq, both wrapped to 16 bits; dq is the magnitude dqm with the code's sign.
    struct Reconstruction {
        Vector magnitude, signMask, sr, p;
    };

    static Reconstruction reconstruct(const Estimate &estimate, Vector magnitude, Vector signMask) {
        const Vector dq = _mm_sub_epi16(_mm_xor_si128(magnitude, signMask), signMask);
        return {magnitude, signMask, _mm_add_epi16(estimate.whole, dq), _mm_add_epi16(estimate.zeroSection, dq)};
    }

    // Adapts the coefficients and moves the delay lines. Returns the tone flag.
    bool adapt(const Reconstruction &now) {
        const Vector zeros = adaptedZeros(now);
        const Poles poles = adaptedPoles(now.p);
        const Vector firstPole = _mm_setr_epi16(0, 0, 0, 0, 0, 0, -1, 0);
        const Vector secondPole = _mm_setr_epi16(0, 0, 0, 0, 0, 0, 0, -1);
        const Vector zeroSection = _mm_setr_epi16(-1, -1, -1, -1, -1, -1, 0, 0);
        coefficients_ = _mm_or_si128(
            _mm_and_si128(zeros, zeroSection),
            _mm_or_si128(_mm_and_si128(poles.a1, firstPole), _mm_and_si128(poles.a2, secondPole)));
        moveDelayLines(now);
        pk2_ = pk1_;
        pk1_ = simd::signMask(now.p);
        return _mm_movemask_epi8(_mm_cmpgt_epi16(simd::words(-11776), poles.a2)) != 0;
    }

    void clear() { coefficients_ = _mm_setzero_si128(); }

private:
    struct Poles {
        Vector a1, a2; // broadcast
    };

    // mantissa * 2^(exponent - 19), the fraction cut off, the lowest 15 bits of the result. mantissa < 256, exponent 0..28.
    // Powers up to 2^-1 act through the upper half of the product with mantissa * 256, the others through the lower half.
    static Vector scaleMantissa(Vector mantissa, Vector exponent) {
        const Vector powers = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 0, 0, 0, 0, 0, 0, 0, 0);
        const Vector above = _mm_subs_epu16(exponent, simd::words(11)); // 0..17; bit 7 of an index selects 0
        const Vector twice = _mm_or_si128(above, _mm_slli_epi16(above, 8));
        const Vector fraction = _mm_shuffle_epi8(powers, _mm_add_epi8(above, simd::words(int16_t(0x8070))));
        const Vector factor = _mm_shuffle_epi8(powers, _mm_sub_epi8(twice, simd::words(0x1008)));
        const Vector small = _mm_mulhi_epu16(_mm_slli_epi16(mantissa, 8), fraction);
        const Vector large = _mm_and_si128(_mm_mullo_epi16(mantissa, factor), simd::words(0x7fff));
        return _mm_or_si128(small, large);
    }

    // UPB: the coefficients b wrap at 16 bits.
    Vector adaptedZeros(const Reconstruction &now) const {
        const Vector differ = _mm_xor_si128(signs_, now.signMask);
        const Vector gradient = _mm_add_epi16(_mm_and_si128(differ, simd::words(-256)), simd::words(128));
        const Vector isZero = _mm_cmpeq_epi16(now.magnitude, _mm_setzero_si128());
        const Vector leaked = _mm_sub_epi16(coefficients_, _mm_sra_epi16(coefficients_, zeroLeak_));
        return _mm_add_epi16(leaked, _mm_andnot_si128(isZero, gradient));
    }

    // UPA2, LIMC, UPA1, LIMD; broadcast. For p = 0 the coefficients only leak.
    Poles adaptedPoles(Vector p) const {
        const Vector oldA1 = simd::broadcastWord<12>(coefficients_);
        const Vector oldA2 = simd::broadcastWord<14>(coefficients_);
        const Vector agree1 = sameSign(p, pk1_);
        const Vector agree2 = sameSign(p, pk2_);
        const Vector isZero = _mm_cmpeq_epi16(p, _mm_setzero_si128());

        const Vector a1Twice = _mm_adds_epi16(oldA1, oldA1);
        const Vector fa1 = simd::clampWords(_mm_adds_epi16(a1Twice, a1Twice), simd::words(-32764), simd::words(32764));
        // (f +- 16384) >> 7 is (f >> 7) +- 128, as 16384 is a multiple of 128.
        const Vector f = _mm_srai_epi16(simd::negateWhere(agree1, fa1), 7);
        const Vector gradient2 = _mm_add_epi16(f, plusMinus(agree2, 128));
        const Vector leaked2 = _mm_sub_epi16(oldA2, _mm_srai_epi16(oldA2, 7));
        const Vector a2 = simd::clampWords(_mm_add_epi16(leaked2, _mm_andnot_si128(isZero, gradient2)),
                                           simd::words(-12288), simd::words(12288));

        const Vector limit = _mm_sub_epi16(simd::words(15360), a2);
        const Vector leaked1 = _mm_sub_epi16(oldA1, _mm_srai_epi16(oldA1, 8));
        const Vector gradient1 = _mm_andnot_si128(isZero, plusMinus(agree1, 192));
        const Vector a1 = simd::clampWords(_mm_add_epi16(leaked1, gradient1),
                                           _mm_sub_epi16(_mm_setzero_si128(), limit), limit);
        return {a1, a2};
    }

    static Vector sameSign(Vector x, Vector mask) {
        return simd::signMask(_mm_xor_si128(x, _mm_xor_si128(mask, simd::words(-1))));
    }

    // amount where the mask is set, else -amount.
    static Vector plusMinus(Vector mask, int16_t amount) {
        return _mm_sub_epi16(_mm_and_si128(mask, simd::words(static_cast<int16_t>(2 * amount))), simd::words(amount));
    }

    // FLOATA, FLOATB. A reconstruction of -32768 has the magnitude 0 and a negative sign.
    void moveDelayLines(const Reconstruction &now) {
        const Vector zero = _mm_setzero_si128();
        const Vector srMagnitude = _mm_and_si128(_mm_abs_epi16(now.sr), simd::words(0x7fff));
        const Vector pair = _mm_unpacklo_epi64(_mm_unpacklo_epi16(now.magnitude, zero), _mm_unpacklo_epi16(srMagnitude, zero));
        const Floating newest = Floating::from(pair, pair);
        past_.exponent = delayed(past_.exponent, newest.exponent);
        past_.mantissa = delayed(past_.mantissa, newest.mantissa);
        signs_ = delayed(signs_, _mm_unpacklo_epi64(now.signMask, simd::signMask(now.sr)));
    }

    Vector coefficients_; // b1..b6, a1, a2
    Floating past_;       // dq1..dq6, sr1, sr2
    Vector signs_;        // and their sign masks
    Vector pk1_, pk2_;    // sign masks of p, broadcast
    Vector zeroLeak_;
};

// Scale factor and speed control.
class Adaptation {
public:
    explicit Adaptation(const State &state)
        : yu_(state.yu), yl_(state.yl), ap_(state.ap), dms_(state.dms), dml_(state.dml), td_(state.td) {}

    void save(State &state) const {
        state.yu = static_cast<int16_t>(yu_);
        state.yl = yl_;
        state.ap = static_cast<int16_t>(ap_);
        state.dms = static_cast<int16_t>(dms_);
        state.dml = static_cast<int16_t>(dml_);
        state.td = static_cast<int16_t>(td_);
    }

    // MIX. The product is rounded towards zero. For ap >= 256 the fast factor alone rules.
    int scaleFactor() const {
        const int slow = yl_ >> 6;
        const int al = std::min(ap_ >> 2, 64);
        const int difference = yu_ - slow;
        return slow + difference * al / 64;
    }

    // TRANS, from the values before this sample's update.
    bool isTransition(int magnitude) const {
        if (td_ == 0) return false;
        const int exponent = yl_ >> 15;
        const int x = exponent > 9 ? 31744 : (((yl_ >> 10) & 31) + 32) << exponent;
        return magnitude > (x + (x >> 1)) >> 1;
    }

    // FUNCTW, FILTD, LIMB, FILTE; FILTA, FILTB, SUBTC, FILTC, TRIGA.
    void adapt(int y, const Code &code, bool tone, bool transition) {
        yu_ = std::clamp(y + ((code.scaleMultiplier - y) >> 5), 544, 5120);
        yl_ += wrap16(yu_ + (-yl_ >> 6));
        dms_ += (code.rateFunction - dms_) >> 5;
        dml_ += (4 * code.rateFunction - dml_) >> 7;
        const bool fast = y < 1536 || tone || std::abs(4 * dms_ - dml_) >= dml_ >> 3;
        ap_ = transition ? 256 : ap_ + (((fast ? 512 : 0) - ap_) >> 4);
        td_ = tone && !transition;
    }

private:
    int yu_, yl_, ap_, dms_, dml_, td_;
};

// One sample after the other through the steps that encoder and decoder share.
class Coder {
public:
    explicit Coder(const State &state)
        : tables_(rateTables[static_cast<size_t>(state.rate & 3)]), predictor_(state, tables_.zeroLeak),
          adaptation_(state) {
        estimate();
    }

    void save(State &state) const {
        predictor_.save(state);
        adaptation_.save(state);
    }

    const Code &codeOf(uint8_t octet) const { return tables_.codes[static_cast<size_t>(octet & tables_.codeMask)]; }

    // The quantiser: log of the magnitude as the upper bits of a float, less y >> 2; the number of decision levels above it
    // and the sign give the code.
    const Code &quantise(int x) const {
        const Vector d = _mm_sub_epi16(simd::words(static_cast<int16_t>(x)), estimate_.whole);
        const Vector magnitude = _mm_abs_epi16(_mm_max_epi16(d, simd::words(-32767)));
        const Vector bits = _mm_srli_epi32(simd::floatBits(_mm_unpacklo_epi16(magnitude, _mm_setzero_si128())), 16);
        const Vector log = _mm_sub_epi16(_mm_packs_epi32(bits, bits), simd::words(static_cast<int16_t>(127 * 128 + (y_ >> 2))));
        const Vector above0 = _mm_cmpgt_epi16(simd::load(tables_.levels.data()), log);
        const Vector above1 = _mm_cmpgt_epi16(simd::load(tables_.levels.data() + 8), log);
        const auto above = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(above0, above1)));
        const int negative = (_mm_movemask_epi8(d) >> 1) & 1; // top bit of word 0
        return tables_.decisions[static_cast<size_t>(negative)][static_cast<size_t>(std::countr_one(above))];
    }

    // The inverse quantiser, sr and p. The antilogarithm is a float's bits put together and cut to an integer; a negative
    // log gives 0.
    Predictor::Reconstruction reconstruct(const Code &code) const {
        const Vector entry = simd::load64(&code);
        const Vector logBits = _mm_add_epi32(_mm_shuffle_epi32(entry, 0), simd::dwords((y_ >> 2) << 16));
        const Vector magnitude = _mm_cvttps_epi32(_mm_castsi128_ps(logBits));
        const Vector signMask = _mm_shuffle_epi32(entry, _MM_SHUFFLE(1, 1, 1, 1));
        return Predictor::reconstruct(estimate_, _mm_packs_epi32(magnitude, magnitude), signMask);
    }

    // Everything that follows the reconstruction, up to the next sample's estimate.
    void adapt(const Code &code, const Predictor::Reconstruction &now) {
        const bool transition = adaptation_.isTransition(_mm_extract_epi16(now.magnitude, 0));
        const bool tone = predictor_.adapt(now);
        if (transition) predictor_.clear();
        adaptation_.adapt(y_, code, tone, transition);
        estimate();
    }

    // Synchronous coding adjustment: where the octet would be coded differently from the received code, it moves one step
    // towards it. With the sign bits inverted the codes are ordered from the most negative to the most positive.
    template <class Law> uint8_t adjusted(uint8_t octet, const Code &received) const {
        const int order = quantise(Law::expand(octet)).value ^ tables_.signBit;
        const int wanted = received.value ^ tables_.signBit;
        if (order == wanted) return octet;
        return order > wanted ? Law::stepDown(octet) : Law::stepUp(octet);
    }

private:
    void estimate() {
        estimate_ = predictor_.estimate();
        y_ = adaptation_.scaleFactor();
    }

    const RateTables &tables_;
    Predictor predictor_;
    Adaptation adaptation_;
    Predictor::Estimate estimate_;
    int y_;
};

struct LinearOutput {
    static int16_t of(const Coder &, const Code &, int sr) {
        return static_cast<int16_t>(std::clamp(sr, -8192, 8191));
    }
};

template <class Law> struct CompandedOutput {
    static int16_t of(const Coder &coder, const Code &code, int sr) {
        return coder.adjusted<Law>(Law::compress(sr), code);
    }
};

void encode(State &state, const int16_t *src, uint8_t *dst, int len) {
    Coder coder(state);
    for (int i = 0; i < len; i++) {
        const Code &code = coder.quantise(src[i]);
        dst[i] = static_cast<uint8_t>(code.value);
        coder.adapt(code, coder.reconstruct(code));
    }
    coder.save(state);
}

template <class Output> void decode(State &state, const uint8_t *src, int16_t *dst, int len) {
    Coder coder(state);
    for (int i = 0; i < len; i++) {
        const Code &code = coder.codeOf(src[i]);
        const Predictor::Reconstruction now = coder.reconstruct(code);
        dst[i] = Output::of(coder, code, static_cast<int16_t>(_mm_extract_epi16(now.sr, 0)));
        coder.adapt(code, now);
    }
    coder.save(state);
}

} // namespace

ryxStatus ryxsEncodeGetStateSize_G726_16s8u_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsEncodeInit_G726_16s8u_u8(EncoderState_G726 *block, int rate) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (rateIndex(rate) < 0) return ryxStsOutOfRange;
    auto state = loadBlock<State>(block);
    reset(state, rateIndex(rate));
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsEncode_G726_16s8u_u8(EncoderState_G726 *block, const int16_t *src, uint8_t *dst, int len) {
    if (anyNull(block, src, dst)) return ryxStsNullPtr;
    if (len == 0) return ryxStsBadSize;
    if (len < 0) return ryxStsOk;
    auto state = loadBlock<State>(block);
    encode(state, src, dst, len);
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsDecodeGetStateSize_G726_8u16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(DecoderState);
    return ryxStsOk;
}

ryxStatus ryxsDecodeInit_G726_8u16s_u8(DecoderState_G726 *block, int rate, int law) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (rateIndex(rate) < 0) return ryxStsOutOfRange;
    if (law != ryxG726MuLaw && law != ryxG726ALaw && law != ryxG726Linear) return ryxStsOutOfRange;
    auto state = loadBlock<DecoderState>(block);
    reset(state.common, rateIndex(rate));
    state.law = law;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsDecode_G726_8u16s_u8(DecoderState_G726 *block, const uint8_t *src, int16_t *dst, int len) {
    if (anyNull(block, src, dst)) return ryxStsNullPtr;
    if (len == 0) return ryxStsBadSize;
    if (len < 0) return ryxStsOk;
    auto state = loadBlock<DecoderState>(block);
    switch (state.law) {
    case ryxG726MuLaw: decode<CompandedOutput<MuLaw>>(state.common, src, dst, len); break;
    case ryxG726ALaw: decode<CompandedOutput<ALaw>>(state.common, src, dst, len); break;
    default: decode<LinearOutput>(state.common, src, dst, len); break;
    }
    saveBlock(block, state);
    return ryxStsOk;
}
