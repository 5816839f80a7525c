// SPDX-License-Identifier: BSD-2-Clause
// What a received frame means to the decoder: speech, comfort noise or muting (3GPP TS 26.093, clause 6).
#include "gsmamr/dtx_receive.h"

#include "common/checks.h"
#include "common/state_block.h"
#include "gsmamr/implementations.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

using State = DecDTXState_GSMAMR;

constexpr int16_t hangoverFrames = 7;
constexpr int16_t analysisFrames = 30;
constexpr int16_t longestSilence = 50; // without descriptors

constexpr bool isDescriptor(int type) {
    return type == ryxGSMAMRSidFirst || type == ryxGSMAMRSidUpdate || type == ryxGSMAMRSidBad;
}
constexpr bool isUnusable(int type) {
    return type == ryxGSMAMRNoData || type == ryxGSMAMRSpeechBad || type == ryxGSMAMROnset;
}

int16_t nextState(int type, State &state) {
    if (!isDescriptor(type) && (state.previous == ryxGSMAMRSpeech || !isUnusable(type))) {
        state.since = 0;
        return ryxGSMAMRSpeech;
    }
    int16_t next = ryxGSMAMRComfortNoise;
    const bool unclear =
        type == ryxGSMAMRSidBad || type == ryxGSMAMRSidFirst || type == ryxGSMAMROnset || type == ryxGSMAMRNoData;
    if (state.previous == ryxGSMAMRMute && unclear) next = ryxGSMAMRMute;
    state.since = add(state.since, 1);
    if (type != ryxGSMAMRSidUpdate && state.since > longestSilence) next = ryxGSMAMRMute;
    return next;
}

// Whether the encoder has sent a hangover, from which the parameters can be taken.
void followEncoder(int type, State &state) {
    if (state.wasUpdated == 0 && type == ryxGSMAMRSidUpdate) state.elapsed = 0;
    state.elapsed = add(state.elapsed, 1);
    state.isAdded = 0;
    const bool silence =
        isDescriptor(type) || type == ryxGSMAMROnset || (type == ryxGSMAMRNoData && state.current != ryxGSMAMRSpeech);
    if (!silence) {
        state.hangover = hangoverFrames;
    } else if (state.elapsed > analysisFrames) {
        state.isAdded = 1;
        state.elapsed = state.hangover = 0;
    } else if (state.hangover == 0) {
        state.elapsed = 0;
    } else {
        state.hangover = sub(state.hangover, 1);
    }
}

} // namespace

ryxStatus ryxsDecDTXGetStateSize_GSMAMR_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXInit_GSMAMR_16s_u8(State *state) {
    if (anyNull(state)) return ryxStsNullPtr;
    State start = {};
    start.previous = start.current = ryxGSMAMRComfortNoise;
    start.period = 8192;
    start.energy = start.lastEnergy = 3500;
    start.lsp = start.lastLsp = initialLsp;
    start.hangover = hangoverFrames;
    start.elapsed = max16;
    start.noise = 0x70816958;
    saveBlock(state, start);
    return ryxStsOk;
}

ryxStatus ryxsDecDTXHandler_GSMAMR_16s_u8(int frameType, int16_t *dtxState, int16_t *prevDtxState, State *state) {
    if (anyNull(dtxState, prevDtxState, state)) return ryxStsNullPtr;
    if (frameType < ryxGSMAMRSpeechGood || frameType > ryxGSMAMRNoData) return ryxStsOutOfRange;
    State memory = loadBlock<State>(state);
    memory.previous = memory.current;
    memory.current = nextState(frameType, memory);
    followEncoder(frameType, memory);
    if (memory.current != ryxGSMAMRSpeech) {
        memory.isSid = isDescriptor(frameType);
        memory.isValid = frameType == ryxGSMAMRSidUpdate;
        if (frameType == ryxGSMAMRSidBad) memory.isAdded = 0;
    }
    *dtxState = memory.current;
    *prevDtxState = memory.previous;
    saveBlock(state, memory);
    return ryxStsOk;
}
