// SPDX-License-Identifier: BSD-2-Clause
// ITU-T G.726 encoder and decoder, one specialisation per rate.
//
// The next sample's estimate needs this sample's code, so the speed is that of the longest chain of dependent steps. The
// six products of the zero predictor are computed side by side; everything else is a chain and stays in scalar registers.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/state_block.h"
#include "g726/companding.h"
#include "g726/implementations.h"
#include "g726/predictor.h"
#include "g726/state.h"
#include "g726/tables.h"

using namespace ryxsc;
using namespace ryxsc::g726;

namespace {

// Index of the rate in the state, or -1.
int rateIndex(int rate) {
    switch (rate) {
    case ryxG726Rate16k:
        return 0;
    case ryxG726Rate24k:
        return 1;
    case ryxG726Rate32k:
        return 2;
    case ryxG726Rate40k:
        return 3;
    default:
        return -1;
    }
}

// The scratch words and pk0 keep what the caller's memory holds.
void reset(State &state, int rate) {
    State fresh = {};
    std::copy_n(state.scratch, 4, fresh.scratch);
    fresh.pk0 = state.pk0;
    state = fresh;
    state.rate = static_cast<int16_t>(rate);
    state.yu = 544;
    state.yl = 34816;
    std::fill_n(state.dqWord, 6, int16_t{32});
    std::fill_n(state.srWord, 2, int16_t{32});
}

// Scale factor and speed control.
class Adaptation {
public:
    // The slow factor has 19 bits; the mask only matters for a block that was never initialised.
    explicit Adaptation(const State &state)
        : yu_(state.yu), yl_(state.yl & 0x7ffff), ap_(state.ap), dms_(state.dms), dml_(state.dml), td_(state.td) {}

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
        return slow + (yu_ - slow) * al / 64;
    }

    // TRANS, from the values before this sample's update.
    bool isTransition(int magnitude) const {
        if (td_ == 0) return false;
        const int exponent = yl_ >> 15;
        const int x = exponent > 9 ? 31744 : (((yl_ >> 10) & 31) + 32) << exponent;
        return magnitude > (x + (x >> 1)) >> 1;
    }

    // FUNCTW, FILTD, LIMB, FILTE; FUNCTF, FILTA, FILTB, SUBTC, FILTC, TRIGA.
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
template <int bits> class Coder {
public:
    using Rate = Tables<bits>;
    static constexpr int signBit = 1 << (bits - 1);

    explicit Coder(const State &state) : zeros_(state), poles_(state), adaptation_(state) { estimate(); }

    void save(State &state) const {
        zeros_.save(state);
        poles_.save(state);
        adaptation_.save(state);
    }

    // LOG, SUBTB, QUAN: the number of decision levels above the log difference, and the sign, give the code.
    int quantise(int x) const {
        const int d = wrap16(x - se_);
        const int magnitude = std::min(std::abs(d), 32767);
        const int exponent = floorLog2(static_cast<uint32_t>(magnitude | 1));
        const int log = ((exponent - 1) << 7) + ((magnitude << 7) >> exponent) - (y_ >> 2);
        size_t above = 0;
        for (const int level : Rate::levels)
            above += log < level;
        return Rate::decisions[d < 0][above];
    }

    // RECONST, ADDA, ANTILOG, ADDB, ADDC. A negative log shifts everything out, as it must; both sums wrap to 16 bits.
    Reconstruction reconstruct(int code) const {
        const int log = (y_ >> 2) + Rate::codes[static_cast<size_t>(code)].logMagnitude;
        const int magnitude = (((log & 127) + 128) << 7) >> ((14 - (log >> 7)) & 31);
        const int signMask = -(code >> (bits - 1));
        const int dq = negateWhere(signMask, magnitude);
        return {magnitude, signMask, wrap16(se_ + dq), wrap16(sez_ + dq)};
    }

    // Everything that follows the reconstruction, up to the next sample's estimate.
    [[gnu::always_inline]] void adapt(int code, const Reconstruction &now) {
        const bool transition = adaptation_.isTransition(now.magnitude);
        zeros_.adapt(now, Rate::zeroLeak);
        poles_.adapt(now);
        adaptation_.adapt(y_, Rate::codes[static_cast<size_t>(code)], poles_.isTone(), transition);
        if (transition) {
            zeros_.clear();
            poles_.clear();
        }
        estimate();
    }

    // Synchronous coding adjustment: an octet that would be coded differently from the received code moves one step
    // towards it. With the sign bits inverted the codes are ordered from the most negative to the most positive.
    template <class Law> int adjusted(int octet, int received) const {
        const int order = quantise(Law::expand(octet)) ^ signBit;
        const int wanted = received ^ signBit;
        return Law::stepped(octet, (order < wanted) - (order > wanted));
    }

private:
    // ACCUM. The sums wrap to 16 bits before they are halved.
    void estimate() {
        const int zeros = zeros_.estimate();
        sez_ = wrap16(zeros) >> 1;
        se_ = wrap16(zeros + poles_.estimate()) >> 1;
        y_ = adaptation_.scaleFactor();
    }

    ZeroPredictor zeros_;
    PolePredictor poles_;
    Adaptation adaptation_;
    int se_, sez_; // signal estimate and its part from the zero predictor
    int y_;        // quantiser scale factor
};

struct LinearOutput {
    template <int bits> static int16_t of(const Coder<bits> &, int, int sr) {
        return static_cast<int16_t>(std::clamp(sr, -8192, 8191));
    }
};

template <class Law> struct CompandedOutput {
    template <int bits> static int16_t of(const Coder<bits> &coder, int code, int sr) {
        return static_cast<int16_t>(coder.template adjusted<Law>(Law::compress(sr), code));
    }
};

template <int bits> void encode(State &state, const int16_t *src, uint8_t *dst, int len) {
    Coder<bits> coder(state);
    for (int i = 0; i < len; i++) {
        const int code = coder.quantise(src[i]);
        dst[i] = static_cast<uint8_t>(code);
        coder.adapt(code, coder.reconstruct(code));
    }
    coder.save(state);
}

template <int bits, class Output> void decode(State &state, const uint8_t *src, int16_t *dst, int len) {
    Coder<bits> coder(state);
    for (int i = 0; i < len; i++) {
        const int code = src[i] & ((1 << bits) - 1);
        const Reconstruction now = coder.reconstruct(code);
        dst[i] = Output::of(coder, code, now.sr);
        coder.adapt(code, now);
    }
    coder.save(state);
}

template <int bits> void decodeTo(int law, State &state, const uint8_t *src, int16_t *dst, int len) {
    switch (law) {
    case ryxG726MuLaw:
        return decode<bits, CompandedOutput<MuLaw>>(state, src, dst, len);
    case ryxG726ALaw:
        return decode<bits, CompandedOutput<ALaw>>(state, src, dst, len);
    default:
        return decode<bits, LinearOutput>(state, src, dst, len);
    }
}

// Calls work with the code width of the state's rate as a constant.
template <class Work> void withBits(const State &state, Work work) {
    switch (state.rate) {
    case 0:
        return work.template operator()<2>();
    case 1:
        return work.template operator()<3>();
    case 2:
        return work.template operator()<4>();
    default:
        return work.template operator()<5>();
    }
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
    withBits(state, [&]<int bits>() { encode<bits>(state, src, dst, len); });
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
    withBits(state.common, [&]<int bits>() { decodeTo<bits>(state.law, state.common, src, dst, len); });
    saveBlock(block, state);
    return ryxStsOk;
}
