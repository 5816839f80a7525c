// SPDX-License-Identifier: BSD-2-Clause
// Receiver's side of discontinuous transmission: detector of silence descriptors (GSM 06.31, clause 6.1.1), comfort noise
// (GSM 06.12, clause 6.1), substitution and muting of lost frames (GSM 06.11).
#include <algorithm>
#include <bit>

#include "common/checks.h"
#include "common/state_block.h"
#include "gsmfr/implementations.h"
#include "gsmfr/tables.h"

using namespace ryxsc;
using namespace ryxsc::gsmfr;

namespace {

// The frame that muted speech ends in (GSM 06.11, table 1).
constexpr int16_t silenceFrame[frameParameters] = {
    42, 39, 21, 10, 9, 4, 3, 2,                            //
    40, 0,  1,  0,  3, 4, 3, 4, 4, 3, 3, 3, 3, 4, 4, 3, 3, //
    40, 0,  1,  0,  3, 4, 3, 4, 4, 3, 3, 3, 3, 4, 4, 3, 3, //
    40, 0,  1,  0,  3, 4, 3, 4, 4, 3, 3, 3, 3, 4, 4, 3, 3, //
    40, 0,  1,  0,  3, 4, 3, 4, 4, 3, 3, 3, 3, 4, 4, 3, 3, //
};

enum SidKind : int16_t { noSid = 0, damagedSid = 1, validSid = 2 };

// Of the pulse codes two bits belong to the descriptor's field, but only one from the fifth pulse of the last sub-segment on.
SidKind sidKind(const int16_t *parameters) {
    int ones = 0;
    for (int segment = 0; segment < segments; segment++)
        for (int i = 0; i < pulsesPerGrid; i++) {
            const unsigned field = segment == segments - 1 && i >= 4 ? 4 : 6;
            const int16_t code = parameters[parameterOf(segment, firstPulse + i)];
            ones += std::popcount(static_cast<unsigned>(code) & field);
        }
    return ones < 2 ? validSid : ones < 16 ? damagedSid : noSid;
}

// 31-bit shift register.
struct RandomBits {
    uint32_t bits;

    int draw(int count) {
        int value = 0;
        for (int i = 0; i < count; i++) {
            const uint32_t feedback = (bits ^ (bits >> 28)) & 1;
            value = value * 2 + static_cast<int>(bits & 1);
            bits = (bits >> 1) | (feedback << 30);
        }
        return value;
    }
    int16_t grid() { return static_cast<int16_t>(draw(2)); }
    int16_t pulseCode() {
        int code = 0;
        while (code < 1 || code > 6)
            code = draw(3);
        return static_cast<int16_t>(code);
    }
};

constexpr uint32_t seed = 0x70816958;

enum Mode : int32_t { noData, speech, muting, comfortNoise, lostSid, mutingNoise };

// What comfort noise needs of a frame.
struct Descriptor {
    int16_t larCodes[stages];
    int16_t scaleCodes[segments];
};

struct State {
    RandomBits random;
    int32_t mode;
    int16_t lastSpeech[frameParameters];
    Descriptor sid;
    int16_t sidStored; // whether `sid` holds one
    int16_t reserved;
};

Descriptor descriptorOf(const int16_t *frame) {
    Descriptor descriptor{};
    std::copy_n(frame, stages, descriptor.larCodes);
    for (int i = 0; i < segments; i++)
        descriptor.scaleCodes[i] = frame[parameterOf(i, scaleParameter)];
    return descriptor;
}

void lower(int16_t &scaleCode) {
    scaleCode = static_cast<int16_t>(scaleCode > 4 ? scaleCode - 4 : 0);
}

class Handler {
public:
    explicit Handler(State &state) : state_(state) {}

    void good(const int16_t *frame, int16_t *dst) {
        switch (sidKind(frame)) {
        case noSid:
            std::copy_n(frame, frameParameters, state_.lastSpeech);
            std::copy_n(state_.lastSpeech, frameParameters, dst);
            state_.mode = speech;
            break;
        case validSid:
            store(descriptorOf(frame));
            state_.mode = comfortNoise;
            makeNoise(dst);
            break;
        case damagedSid:
            invalidSid(dst);
            break;
        }
    }

    void bad(const int16_t *frame, bool timeAligned, int16_t *dst) {
        if (sidKind(frame) != noSid)
            invalidSid(dst);
        else
            unusable(timeAligned, dst);
    }

    void unusable(bool timeAligned, int16_t *dst) {
        switch (state_.mode) {
        case speech:
            std::copy_n(state_.lastSpeech, frameParameters, dst);
            state_.mode = muting;
            break;
        case muting:
            muteSpeech(dst);
            break;
        case comfortNoise:
            makeNoise(dst);
            if (timeAligned) state_.mode = lostSid;
            break;
        case lostSid:
            if (!timeAligned) {
                makeNoise(dst);
                break;
            }
            state_.mode = mutingNoise;
            muteNoise(dst);
            break;
        case mutingNoise:
            muteNoise(dst);
            break;
        default:
            std::copy_n(silenceFrame, frameParameters, dst);
            break;
        }
    }

private:
    void store(const Descriptor &sid) {
        state_.sid = sid;
        state_.sidStored = 1;
    }

    // The first descriptor of a pause is replaced by the speech in front of it, a later one by the one before.
    void invalidSid(int16_t *dst) {
        if (state_.mode == speech || state_.mode == muting) store(descriptorOf(state_.lastSpeech));
        if (state_.mode == noData && state_.sidStored == 0) {
            std::copy_n(silenceFrame, frameParameters, dst);
            return;
        }
        state_.mode = comfortNoise;
        makeNoise(dst);
    }

    void makeNoise(int16_t *dst) {
        static constexpr int16_t noiseLags[segments] = {40, 120, 40, 120};
        std::copy_n(state_.sid.larCodes, stages, dst);
        for (int i = 0; i < segments; i++) {
            int16_t *const segment = dst + parameterOf(i, 0);
            segment[lagParameter] = noiseLags[i];
            segment[gainParameter] = 0;
            segment[gridParameter] = state_.random.grid();
            segment[scaleParameter] = state_.sid.scaleCodes[i];
            std::generate_n(segment + firstPulse, pulsesPerGrid, [&] { return state_.random.pulseCode(); });
        }
    }

    void muteSpeech(int16_t *dst) {
        bool silent = true;
        for (int i = 0; i < segments; i++) {
            int16_t &scaleCode = state_.lastSpeech[parameterOf(i, scaleParameter)];
            lower(scaleCode);
            silent = silent && scaleCode == 0;
        }
        std::copy_n(state_.lastSpeech, frameParameters, dst);
        for (int i = 0; i < segments; i++)
            dst[parameterOf(i, gridParameter)] = state_.random.grid();
        if (silent) state_.mode = noData;
    }

    void muteNoise(int16_t *dst) {
        std::for_each(state_.sid.scaleCodes, state_.sid.scaleCodes + segments, lower);
        if (std::count(state_.sid.scaleCodes, state_.sid.scaleCodes + segments, 0) < segments) {
            makeNoise(dst);
            return;
        }
        state_.sidStored = 0;
        state_.mode = noData;
        std::copy_n(silenceFrame, frameParameters, dst);
    }

    State &state_;
};

} // namespace

static_assert(sizeof(State) == 188);

ryxStatus ryxsSIDDetect_GSMFR_16s_u8(const int16_t *parameters, int16_t *sid) {
    if (anyNull(parameters, sid)) return ryxStsNullPtr;
    *sid = sidKind(parameters);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXHandlerGetSize_GSMFR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXHandlerInit_GSMFR_16s_u8(DecDTXState_GSMFR *block) {
    if (anyNull(block)) return ryxStsNullPtr;
    State state{};
    state.random.bits = seed;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXHandler_GSMFR_16s_u8(const int16_t *parameters, int16_t quality, int16_t timeAligned, int16_t *dst,
                                         DecDTXState_GSMFR *block) {
    const bool absent = quality == ryxGSMFRFrameAbsent;
    if (anyNull(dst, block) || (!absent && anyNull(parameters))) return ryxStsNullPtr;
    if (quality < ryxGSMFRFrameGood || quality > ryxGSMFRFrameAbsent) return ryxStsOutOfRange;
    if (timeAligned < 0 || timeAligned > 1) return ryxStsOutOfRange;
    State state = loadBlock<State>(block);
    Handler handler(state);
    if (absent)
        handler.unusable(timeAligned == 1, dst);
    else if (quality == ryxGSMFRFrameBad)
        handler.bad(parameters, timeAligned == 1, dst);
    else
        handler.good(parameters, dst);
    saveBlock(block, state);
    return ryxStsOk;
}
