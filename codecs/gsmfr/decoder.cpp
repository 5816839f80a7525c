// SPDX-License-Identifier: BSD-2-Clause
#include "decoder.h"

#include <algorithm>

namespace ryxcodec::gsmfr {

namespace {

// GSM 06.10, tables 4.1a and 4.1b.
constexpr Frame homingFrame = {{9, 23, 15, 8, 7, 3, 3, 2},
                               {{40, 0, 0, 0, {4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}},
                                {40, 0, 0, 0, {4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}},
                                {40, 0, 0, 0, {4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}},
                                {40, 0, 0, 0, {4, 4, 4, 4, 3, 4, 4, 4, 4, 4, 4, 4, 4}}}};
constexpr int homingStart = larCount + 17; // parameters up to the end of the first sub-segment

bool beginsLikeHoming(const Frame &frame, int parameters) {
    return std::equal(frame.words(), frame.words() + parameters, homingFrame.words());
}

bool isLag(int16_t lag) {
    return lag >= segmentLength && lag <= historyLength;
}

} // namespace

ryxStatus Decoder::init(const ryxCodecOptions &options) {
    receiveHandler_ = options.receiveHandler != 0;
    const ryxStatus status = handler_.fits(ryxsDecDTXHandlerGetSize_GSMFR_16s);
    if (status == ryxStsOk) reset();
    return status;
}

void Decoder::reset() {
    const bool receiveHandler = receiveHandler_;
    *this = Decoder();
    receiveHandler_ = receiveHandler;
    home_ = true;
    lag_ = segmentLength;
    ryxsDecDTXHandlerInit_GSMFR_16s(handler_);
}

ryxStatus Decoder::decode(const ReceivedFrame &received, int16_t *speech) {
    const bool absent = received.lost() || received.count == 0;
    if (!receiveHandler_ && (absent || !received.usable())) {
        std::fill_n(speech, frameLength, int16_t{0});
        return ryxStsOk;
    }
    Frame frame = {};
    if (!absent) {
        if (received.count != frameOctets) return ryxStsBadSize;
        if (!hasSignature(received.octets)) return ryxStsBadIndex;
        frame = unpack(received.octets);
    }

    const bool good = !absent && received.usable();
    if (good && home_ && beginsLikeHoming(frame, homingStart)) {
        std::fill_n(speech, frameLength, homingSample);
        return ryxStsOk;
    }
    const bool homing = good && beginsLikeHoming(frame, frameParameters);
    if (receiveHandler_) {
        const int16_t quality = absent ? ryxGSMFRFrameAbsent : good ? ryxGSMFRFrameGood : ryxGSMFRFrameBad;
        ryxsDecDTXHandler_GSMFR_16s(frame.words(), quality, received.has(ryxFrameTimeAligned), frame.words(), handler_);
    }
    synthesise(frame, speech);
    home_ = false;
    if (homing) reset();
    return ryxStsOk;
}

void Decoder::synthesise(const Frame &frame, int16_t *speech) {
    int16_t residual[historyLength + frameLength];
    std::copy_n(history_, historyLength, residual);
    for (int i = 0; i < segments; i++) {
        const SubSegment &segment = frame.segment[i];
        int16_t *const at = residual + historyLength + i * segmentLength;
        int16_t multiplier, shift, decoded[pulses];
        ryxsRPEScaleDecode_GSMFR_16s(segment.scale, &multiplier, &shift);
        ryxsRPEQuantDecode_GSMFR_16s(segment.codes, multiplier, shift, decoded);
        ryxsRPEGridPosition_GSMFR_16s(decoded, segment.grid, at);
        if (isLag(segment.lag)) lag_ = segment.lag;
        ryxsLongTermSynthesisFilter_GSMFR_16s_I(at, lag_, segment.gain);
    }
    std::copy_n(residual + frameLength, historyLength, history_);

    int16_t decoded[larCount], reflections[segments * larCount];
    ryxsLARDecode_GSMFR_16s(frame.lar, decoded);
    ryxsLARInterpolate_GSMFR_16s(lar_, decoded, reflections);
    ryxsLARToReflection_GSMFR_16s(reflections, reflections, segments * larCount);
    std::copy_n(decoded, larCount, lar_);
    ryxsSynthesisFrame_GSMFR_16s(reflections, residual + historyLength, speech, lattice_, &emphasis_);
}

} // namespace ryxcodec::gsmfr
