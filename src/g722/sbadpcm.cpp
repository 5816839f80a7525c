// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.722 sub-band ADPCM: encoder, decoder, and the decoder's state update after concealed frames.
//
// Both bands do the same with their own constants, so they share vectors: the low band's value is the lower word of dword
// 0, the high band's that of dword 1 (layout "bands" below). Upper words and dwords 2, 3 hold no meaning except where a
// comment says so.
#include <bit>
#include <cstring>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/simd.h"
#include "common/state_block.h"
#include "g722/implementations.h"
#include "g722/tables.h"

using namespace ryxsc;
using namespace ryxsc::g722;
using simd::Vector;

namespace {

// The block that the caller keeps, from the next 16-byte boundary in its memory. Names as in the recommendation.
struct State {
    int16_t al[2], ah[2];               // pole-predictor coefficients, Q14
    int16_t bl[6], bh[6];               // zero-predictor coefficients, Q14
    int16_t detl, deth;                 // quantiser scale factors
    int16_t nbl, nbh;                   // log scale factors
    int32_t dlt[6], dh[6];              // quantised differences, the newest first
    int16_t plt, ph, rlt, rh;           // current partial and full reconstruction
    int16_t plt1, plt2, ph1, ph2;       // previous partial reconstructions
    int16_t rlt1, rlt2, rh1, rh2;       // previous reconstructions
    int16_t dlt16, dh16;                // current quantised differences
    int16_t szl, szh, spl, sph, sl, sh; // zero, pole and full predictions
};
static_assert(sizeof(State) == 128);

ryxStatus reportSize(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = alignedBlockBytes<State>;
    return ryxStsOk;
}

ryxStatus initialise(SBADPCMState_G722 *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    state = {};
    state.detl = 32;
    state.deth = 8;
    return ryxStsOk;
}

Vector bands(int16_t low, int16_t high) {
    return _mm_setr_epi16(low, 0, high, 0, low, 0, high, 0);
}

constexpr int lowByte = 0;  // position of the low band's word
constexpr int highByte = 4; // and of the high band's

int16_t lowOf(Vector x) {
    return static_cast<int16_t>(_mm_extract_epi16(x, lowByte / 2));
}
int16_t highOf(Vector x) {
    return static_cast<int16_t>(_mm_extract_epi16(x, highByte / 2));
}

// Zero section of one band: six coefficients and differences in words 0..5, older differences behind them.
class ZeroPredictor {
public:
    void load(const int16_t *coefficients, const int32_t *differences) {
        int16_t b[8] = {}, d[8] = {};
        for (int i = 0; i < 6; i++) {
            b[i] = coefficients[i];
            d[i] = wrap16(differences[i]);
        }
        b_ = simd::load(b);
        d_ = simd::load(d);
    }

    void save(int16_t *coefficients, int32_t *differences) const {
        int16_t b[8], d[8];
        simd::store(b, b_);
        simd::store(d, d_);
        for (int i = 0; i < 6; i++) {
            coefficients[i] = b[i];
            differences[i] = d[i];
        }
    }

    // UPZERO with the new difference in all words, then the products of FILTEZ: three dwords whose sum is the prediction.
    Vector adapt(Vector difference) {
        // 128 with the sign of each earlier difference (zero counts as positive), turned by the new difference's sign, or
        // nothing where that is zero.
        const Vector signs = _mm_sign_epi16(simd::words(128), _mm_or_si128(d_, simd::words(1)));
        b_ = _mm_add_epi16(simd::leak<8>(b_), _mm_sign_epi16(signs, difference));
        d_ = _mm_alignr_epi8(d_, difference, 14);
        // Differences stay below 2^14, so each shifted product fits 16 bits.
        return _mm_madd_epi16(simd::mulShift<14>(d_, b_), _mm_setr_epi16(1, 1, 1, 1, 1, 1, 0, 0));
    }

private:
    Vector b_, d_;
};

// The adaptive predictors of both bands, held in registers for the length of a call.
class Predictors {
public:
    explicit Predictors(const State &state) {
        a1_ = bands(state.al[0], state.ah[0]);
        a2_ = bands(state.al[1], state.ah[1]);
        low_.load(state.bl, state.dlt);
        high_.load(state.bh, state.dh);
        p_ = bands(state.plt1, state.ph1);
        p1_ = bands(state.plt2, state.ph2);
        r_ = bands(state.rlt1, state.rh1);
        r1_ = bands(state.rlt2, state.rh2);
        sz_ = bands(state.szl, state.szh);
        s_ = bands(state.sl, state.sh);
        sp_ = bands(state.spl, state.sph);
        d_ = bands(state.dlt16, state.dh16);
    }

    void save(State &state) const {
        low_.save(state.bl, state.dlt);
        high_.save(state.bh, state.dh);
        split(a1_, state.al[0], state.ah[0]);
        split(a2_, state.al[1], state.ah[1]);
        split(p_, state.plt, state.ph);
        split(p_, state.plt1, state.ph1);
        split(p1_, state.plt2, state.ph2);
        split(r_, state.rlt, state.rh);
        split(r_, state.rlt1, state.rh1);
        split(r1_, state.rlt2, state.rh2);
        split(sz_, state.szl, state.szh);
        split(s_, state.sl, state.sh);
        split(sp_, state.spl, state.sph);
        split(d_, state.dlt16, state.dh16);
    }

    Vector prediction() const { return s_; }
    Vector reconstruction() const { return r_; }

    // The common adaptation with the quantised differences of both bands.
    void adapt(Vector d) {
        const Vector p = _mm_adds_epi16(d, sz_);
        const Vector r = _mm_adds_epi16(s_, d);
        const Vector lowSum = low_.adapt(simd::broadcastWord<lowByte>(d));
        const Vector highSum = high_.adapt(simd::broadcastWord<highByte>(d));
        adaptPoles(p);
        r1_ = r_;
        r_ = r;
        p1_ = p_;
        p_ = p;
        d_ = d;
        sp_ = filterPoles();
        const Vector sums = _mm_add_epi32(_mm_unpacklo_epi64(lowSum, highSum), _mm_unpackhi_epi64(lowSum, highSum));
        sz_ = simd::saturateDwords(simd::addDwordPairs(sums));
        s_ = _mm_adds_epi16(sp_, sz_);
    }

private:
    static void split(Vector x, int16_t &low, int16_t &high) {
        low = lowOf(x);
        high = highOf(x);
    }

    // UPPOL2, then UPPOL1 with the new second coefficient. The limits leave the upper words zero.
    void adaptPoles(Vector p) {
        const Vector agree1 = sameSign(p, p_);
        const Vector agree2 = sameSign(p, p1_);
        const Vector a1Twice = _mm_adds_epi16(a1_, a1_);
        const Vector f = simd::negateSaturatedWhere(agree1, _mm_adds_epi16(a1Twice, a1Twice));
        const Vector step2 = _mm_sub_epi16(_mm_and_si128(agree2, simd::words(256)), simd::words(128));
        a2_ = _mm_add_epi16(_mm_srai_epi16(f, 7), _mm_add_epi16(step2, simd::leak<7>(a2_)));
        a2_ = simd::clampWords(a2_, bands(-12288, -12288), bands(12288, 12288));
        const Vector step1 = _mm_sub_epi16(_mm_and_si128(agree1, simd::words(384)), simd::words(192));
        const Vector limit = _mm_sub_epi16(bands(15360, 15360), a2_);
        a1_ = _mm_add_epi16(simd::leak<8>(a1_), step1);
        a1_ = simd::clampWords(a1_, _mm_sub_epi16(_mm_setzero_si128(), limit), limit);
    }

    static Vector sameSign(Vector x, Vector y) {
        return simd::signMask(_mm_xor_si128(x, _mm_xor_si128(y, simd::words(-1))));
    }

    // FILTEP. The coefficients' upper words are zero, so those of the samples do not count.
    Vector filterPoles() const {
        const Vector samples = _mm_unpacklo_epi32(_mm_adds_epi16(r_, r_), _mm_adds_epi16(r1_, r1_));
        const Vector products = _mm_madd_epi16(samples, _mm_unpacklo_epi32(a1_, a2_));
        return simd::saturateDwords(simd::addDwordPairs(_mm_srai_epi32(products, 15)));
    }

    Vector a1_, a2_;
    ZeroPredictor low_, high_;
    Vector p_, p1_; // partial reconstructions, newest and the one before
    Vector r_, r1_; // reconstructions
    Vector sz_, sp_, s_, d_;
};

// Scale factors of both bands.
class ScaleFactors {
public:
    explicit ScaleFactors(const State &state)
        : nbl_(state.nbl), nbh_(state.nbh), detl_(state.detl), deth_(state.deth) {}

    void save(State &state) const {
        state.nbl = static_cast<int16_t>(nbl_);
        state.nbh = static_cast<int16_t>(nbh_);
        state.detl = detl_;
        state.deth = deth_;
    }

    Vector det() const { return _mm_unpacklo_epi32(_mm_cvtsi32_si128(detl_), _mm_cvtsi32_si128(deth_)); }
    int16_t deth() const { return deth_; }

    // LOGSCL, LOGSCH, SCALEL, SCALEH.
    void adapt(int lowLogStep, int highLogStep) {
        nbl_ = std::clamp<int>(wrap16(((nbl_ * 127) >> 7) + lowLogStep), 0, lowLogMax);
        nbh_ = std::clamp<int>(wrap16(((nbh_ * 127) >> 7) + highLogStep), 0, highLogMax);
        detl_ = scaleFactors[static_cast<size_t>((nbl_ >> 6) + lowAntilogOffset)];
        deth_ = scaleFactors[static_cast<size_t>(nbh_ >> 6)];
    }

private:
    int nbl_, nbh_;
    int16_t detl_, deth_;
};

// QUANTL: the number (1 .. 30) of the first level above the magnitude, from all 29 comparisons at once. The levels do not
// decrease, and where several coincide after the shift the first one counts.
int firstLevelAbove(Vector magnitude, Vector detl) {
    const auto *levels = reinterpret_cast<const Vector *>(lowLevels16.data());
    Vector above[4];
    for (int i = 0; i < 4; i++)
        above[i] = _mm_cmpgt_epi16(_mm_mulhi_epu16(simd::load(levels + i), detl), magnitude);
    const auto lower = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(above[0], above[1])));
    const auto upper = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(above[2], above[3])));
    return std::countr_zero(lower | upper << 16 | 1u << decisionLevels) + 1;
}

void encode(const int16_t *src, int16_t *dst, int pairs, State &state) {
    Predictors predictors(state);
    ScaleFactors factors(state);
    for (int j = 0; j < pairs; j++) {
        const Vector input = simd::load32(src + 2 * j);
        const Vector difference = _mm_subs_epi16(_mm_unpacklo_epi16(input, input), predictors.prediction());
        const Vector magnitude = simd::onesMagnitude(difference);
        const Vector det = factors.det();

        const bool lowNegative = lowOf(difference) < 0;
        const int level = firstLevelAbove(simd::broadcastWord<lowByte>(magnitude), simd::broadcastWord<lowByte>(det));
        const LowBandDecision &low = lowBandDecisions[static_cast<size_t>(level + 32 * lowNegative)];

        const bool large = highOf(magnitude) >= (highLevel * factors.deth()) >> 12;
        const int highCode = (highOf(difference) < 0 ? 1 : 3) - large;
        const HighBandCode &high = highBandCodes[static_cast<size_t>(highCode)];

        dst[2 * j] = low.code;
        dst[2 * j + 1] = static_cast<int16_t>(highCode);

        const Vector levels = _mm_unpacklo_epi32(simd::load32(&low.level), simd::load32(&high.level));
        predictors.adapt(_mm_srai_epi32(_mm_madd_epi16(det, levels), 12));
        factors.adapt(low.logStep, highLogSteps[static_cast<size_t>(highCode)]);
    }
    predictors.save(state);
    factors.save(state);
}

void decode(const int16_t *src, int16_t *dst, int pairs, const std::array<LowBandLevels, 64> &lowLevels, State &state) {
    Predictors predictors(state);
    ScaleFactors factors(state);
    for (int j = 0; j < pairs; j++) {
        const auto lowCode = static_cast<size_t>(src[2 * j] & 63);
        const auto highCode = static_cast<size_t>(src[2 * j + 1] & 3);

        // Dwords 0, 1: the differences that adapt the predictors; dwords 2, 3: those of the output.
        const Vector levels =
            _mm_unpacklo_epi32(simd::load64(&lowLevels[lowCode]), simd::load64(&highBandCodes[highCode]));
        const Vector det = factors.det();
        const Vector d = _mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi64(det, det), levels), 12);

        // The limit is narrower than 16 bits, so saturating the sums first makes no difference.
        const Vector sums = _mm_adds_epi16(predictors.prediction(), _mm_unpackhi_epi64(d, d));
        const Vector output = simd::clampWords(sums, simd::words(subbandMin), simd::words(subbandMax));
        simd::store32(dst + 2 * j, _mm_shufflelo_epi16(output, _MM_SHUFFLE(3, 3, 2, 0)));

        predictors.adapt(d);
        factors.adapt(lowLogSteps[lowCode >> 2], highLogSteps[highCode]);
    }
    predictors.save(state);
    factors.save(state);
}

} // namespace

ryxStatus ryxsSBADPCMEncodeStateSize_G722_16s_u8(int *size) {
    return reportSize(size);
}

ryxStatus ryxsSBADPCMEncodeInit_G722_16s_u8(SBADPCMState_G722 *state) {
    return initialise(state);
}

ryxStatus ryxsSBADPCMEncode_G722_16s_u8(const int16_t *src, int16_t *dst, int len, SBADPCMState_G722 *state) {
    if (anyNull(src, dst, state)) return ryxStsNullPtr;
    if (len < 1 || isOdd(len)) return ryxStsBadSize;
    encode(src, dst, len / 2, alignedBlock<State>(state));
    return ryxStsOk;
}

ryxStatus ryxsSBADPCMDecodeStateSize_G722_16s_u8(int *size) {
    return reportSize(size);
}

ryxStatus ryxsSBADPCMDecodeInit_G722_16s_u8(SBADPCMState_G722 *state) {
    return initialise(state);
}

ryxStatus ryxsSBADPCMDecode_G722_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t mode,
                                        SBADPCMState_G722 *state) {
    if (anyNull(src, dst, state)) return ryxStsNullPtr;
    if (len < 1 || isOdd(len)) return ryxStsBadSize;
    const bool known = mode == ryxG722Mode64k || mode == ryxG722Mode56k;
    const size_t row = known ? static_cast<size_t>(mode - ryxG722Mode64k) : decoderModes - 1;
    decode(src, dst, len / 2, lowBandLevels[row], alignedBlock<State>(state));
    return ryxStsOk;
}

ryxStatus ryxsSBADPCMDecodeStateUpdate_G722_16s_u8(const int16_t *recon, int16_t sl, int reset,
                                                   SBADPCMState_G722 *block) {
    if (anyNull(recon, block)) return ryxStsNullPtr;
    State &state = alignedBlock<State>(block);
    const int k = (state.nbh >> 7) & 511;
    state.nbh = static_cast<int16_t>(state.nbh >> 1);
    if (k >= antilogEntries) return ryxStsBadIndex;

    std::memset(state.dlt, 0, sizeof state.dlt);
    state.dlt16 = 0;
    state.plt1 = static_cast<int16_t>(recon[1] >> 1);
    state.plt2 = static_cast<int16_t>(recon[0] >> 1);
    state.rlt1 = recon[1];
    state.rlt2 = recon[0];
    state.sl = sl;
    state.szl = static_cast<int16_t>(sl >> 1);
    if (reset) {
        state.detl = 32;
        state.deth = 8;
        state.nbl = state.nbh = 0;
    } else {
        state.deth = scaleFactors[static_cast<size_t>(k)];
    }
    return ryxStsOk;
}
