// SPDX-License-Identifier: BSD-2-Clause
// The canceller of speexdsp, frame by frame, for comparisons. Only where that library was found.
#pragma once

#include <cstdint>
#include <memory>

#include <speex/speex_echo.h>
#include <speex/speex_preprocess.h>

#include "failure.h"

class SpeexCanceller {
public:
    /** Frames and tail in samples; suppression is speexdsp's preprocessor behind the canceller. */
    SpeexCanceller(int sampleRate, int frame, int tail, bool suppression)
        : echo_(speex_echo_state_init(frame, tail)), filter_(speex_preprocess_state_init(frame, sampleRate)),
          suppresses_(suppression) {
        if (!echo_ || !filter_) throw Failure("speexdsp did not start");
        speex_echo_ctl(echo_.get(), SPEEX_ECHO_SET_SAMPLING_RATE, &sampleRate);
        speex_preprocess_ctl(filter_.get(), SPEEX_PREPROCESS_SET_ECHO_STATE, echo_.get());
    }

    void process(const int16_t *far, const int16_t *near, int16_t *output) {
        speex_echo_cancellation(echo_.get(), near, far, output);
        if (suppresses_) speex_preprocess_run(filter_.get(), output);
    }

private:
    struct Destroy {
        void operator()(SpeexEchoState *state) const { speex_echo_state_destroy(state); }
        void operator()(SpeexPreprocessState *state) const { speex_preprocess_state_destroy(state); }
    };

    std::unique_ptr<SpeexEchoState, Destroy> echo_;
    std::unique_ptr<SpeexPreprocessState, Destroy> filter_;
    bool suppresses_;
};
