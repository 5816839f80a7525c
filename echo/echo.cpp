// SPDX-License-Identifier: BSD-2-Clause
// The interface: checks, calls of any length over blocks of the method's own, and the tone that lets the microphone pass.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "fullband_method.h"
#include "samples.h"
#include "subband_method.h"
#include "tone_watch.h"
#include "transform_method.h"

using namespace ryxecho;

namespace {

constexpr uint32_t kind = 0x52784543; // "RxEC"

// What stands at the first 16-byte boundary of a canceller, the pieces of the arena behind it.
struct alignas(16) Head {
    uint32_t kind;
    int32_t filled; // samples of the block that have come in
    int32_t queued; // samples that wait to be given
    int32_t frozen, disabled;
    Observations seen;
    double microphoneEnergy, errorEnergy; // smoothed
    Plan plan;
};
constexpr uintptr_t boundary = 16;

Head *headOf(const void *canceller) {
    return reinterpret_cast<Head *>((reinterpret_cast<uintptr_t>(canceller) + boundary - 1) & ~(boundary - 1));
}

Head *opened(const void *canceller) {
    Head *const head = headOf(canceller);
    return head->kind == kind ? head : nullptr;
}

// Everything that lies behind the head.
class Body {
public:
    Body(const Plan &plan, Arena &arena)
        : far(arena.take<float>(plan.block)), microphone(arena.take<float>(plan.block)),
          linear(arena.take<float>(plan.block)), delayed(arena.take<float>(plan.methodDelay + plan.block)),
          queue(arena.take<float>(plan.callDelay + plan.longestInput + plan.block)), tone(plan, arena) {}

    float *const far, *const microphone; // a block that comes in
    float *const linear;                 // what the filter leaves of it
    float *const delayed;                // the microphone, as late as the method
    float *const queue;                  // what waits to be given
    ToneWatch tone;
};

uintptr_t placeBehind(const Head *head) {
    return reinterpret_cast<uintptr_t>(head + 1);
}

// A canceller, taken apart for the length of a call.
template <class Method> class Opened {
public:
    Opened(Head &head, Arena &arena)
        : head_(head), plan_(head.plan), body_(head.plan, arena), start_(arena.next()), method_(head.plan, arena),
          end_(arena.next()) {}

    ryxStatus init() {
        std::memset(&head_ + 1, 0, end_ - reinterpret_cast<uintptr_t>(&head_ + 1));
        const ryxStatus status = plan_.options.tone ? body_.tone.init() : ryxStsOk;
        return status == ryxStsOk ? method_.init(plan_) : status;
    }

    // Takes so many samples before it gives any as make sure that all of these are there.
    template <class Sample> void process(const Sample *far, const Sample *microphone, Sample *output, int len) {
        for (int done = 0; done < len;) {
            const int count = std::min(plan_.longestInput, len - done);
            take(far + done, microphone + done, count);
            give(output + done, count);
            done += count;
        }
    }

private:
    template <class Sample> void take(const Sample *far, const Sample *microphone, int len) {
        const float scale = 32768 / plan_.options.fullScale;
        for (int taken = 0; taken < len;) {
            const int count = std::min(plan_.block - head_.filled, len - taken);
            takeSamples(far + taken, count, scale, body_.far + head_.filled);
            takeSamples(microphone + taken, count, scale, body_.microphone + head_.filled);
            taken += count;
            head_.filled += count;
            if (head_.filled < plan_.block) break;
            processBlock();
            head_.filled = 0;
        }
    }

    template <class Sample> void give(Sample *output, int len) {
        giveSamples(body_.queue, len, plan_.options.fullScale / 32768, output);
        head_.queued -= len;
        std::memmove(body_.queue, body_.queue + len, static_cast<size_t>(head_.queued) * sizeof(float));
    }

    void processBlock() {
        if (plan_.options.tone) watchTone();
        float *const output = body_.queue + head_.queued;
        head_.queued += plan_.block;
        if (head_.disabled) {
            std::copy_n(body_.delayed, plan_.block, output);
            return;
        }
        method_.process(body_.far, body_.microphone, body_.linear, output, head_.frozen != 0, head_.seen);
        const double g = plan_.energySmoothing;
        head_.microphoneEnergy = g * head_.microphoneEnergy + (1 - g) * energyOf(body_.microphone, plan_.block);
        head_.errorEnergy = g * head_.errorEnergy + (1 - g) * energyOf(body_.linear, plan_.block);
    }

    // Behind a tone the canceller begins as if it had just been made.
    void watchTone() {
        std::memmove(body_.delayed, body_.delayed + plan_.block,
                     static_cast<size_t>(plan_.methodDelay) * sizeof(float));
        std::copy_n(body_.microphone, plan_.block, body_.delayed + plan_.methodDelay);
        const bool disabled = body_.tone.follow(body_.far, body_.microphone, plan_.block, head_.disabled != 0);
        if (disabled && !head_.disabled) {
            std::memset(reinterpret_cast<void *>(start_), 0, end_ - start_);
            method_.init(plan_);
            head_.seen.doubleTalk = 0;
            head_.microphoneEnergy = head_.errorEnergy = 0;
        }
        head_.disabled = disabled;
    }

    Head &head_;
    const Plan &plan_;
    Body body_;
    uintptr_t start_; // of the memory of the method
    Method method_;
    uintptr_t end_;
};

// Calls work(canceller) with a canceller of the method that the plan says.
template <class Work> void withMethod(Head &head, Arena &arena, Work work) {
    const auto call = [&](auto canceller) { work(canceller); };
    switch (head.plan.options.method) {
    case ryxEchoFullband:
        return call(Opened<FullbandMethod>(head, arena));
    case ryxEchoSubband:
        return call(Opened<SubbandMethod>(head, arena));
    default:
        return call(Opened<TransformMethod>(head, arena));
    }
}

ryxStatus start(Head &head) {
    head.filled = head.frozen = head.disabled = 0;
    head.queued = head.plan.callDelay;
    head.seen = {};
    head.microphoneEnergy = head.errorEnergy = 0;
    Arena arena(placeBehind(&head));
    ryxStatus status = ryxStsOk;
    withMethod(head, arena, [&](auto &canceller) { status = canceller.init(); });
    return status;
}

template <class Sample>
ryxStatus process(void *canceller, const Sample *far, const Sample *microphone, Sample *output, int len) {
    if (canceller == nullptr || far == nullptr || microphone == nullptr || output == nullptr) return ryxStsNullPtr;
    Head *const head = opened(canceller);
    if (head == nullptr) return ryxStsBadContext;
    const ryxEchoOptions &options = head->plan.options;
    if (len < 1 || len > options.sampleRate / 1000 * 60 || len % options.callLength != 0) return ryxStsBadSize;
    Arena arena(placeBehind(head));
    withMethod(*head, arena, [=](auto &opened) { opened.process(far, microphone, output, len); });
    return ryxStsOk;
}

} // namespace

ryxStatus ryxechoDefaults(ryxEchoOptions *options) {
    if (options == nullptr) return ryxStsNullPtr;
    *options = {.sampleRate = 8000,
                .method = ryxEchoTransform,
                .tail = 64,
                .blockLength = 0,
                .callLength = 1,
                .suppression = 1,
                .echoBound = 40,
                .noiseBound = 12,
                .tone = 0,
                .fullScale = 32768};
    return ryxStsOk;
}

ryxStatus ryxechoGetSize(const ryxEchoOptions *options, int *size) {
    if (options == nullptr || size == nullptr) return ryxStsNullPtr;
    Head head{};
    if (const ryxStatus status = makePlan(*options, head.plan)) return status;
    Arena arena(0);
    withMethod(head, arena, [](auto &) {});
    *size = static_cast<int>(boundary + sizeof(Head) + arena.used());
    return ryxStsOk;
}

ryxStatus ryxechoInit(void *canceller, const ryxEchoOptions *options) {
    if (canceller == nullptr || options == nullptr) return ryxStsNullPtr;
    Plan plan;
    if (const ryxStatus status = makePlan(*options, plan)) return status;
    Head *const head = headOf(canceller);
    head->kind = 0;
    head->plan = plan;
    const ryxStatus status = start(*head);
    if (status == ryxStsOk) head->kind = kind;
    return status;
}

ryxStatus ryxechoReset(void *canceller) {
    if (canceller == nullptr) return ryxStsNullPtr;
    Head *const head = opened(canceller);
    return head == nullptr ? ryxStsBadContext : start(*head);
}

ryxStatus ryxechoProcess(void *canceller, const int16_t *far, const int16_t *microphone, int16_t *output, int len) {
    return process(canceller, far, microphone, output, len);
}

ryxStatus ryxechoProcessFloat(void *canceller, const float *far, const float *microphone, float *output, int len) {
    return process(canceller, far, microphone, output, len);
}

ryxStatus ryxechoFreeze(void *canceller, int on) {
    if (canceller == nullptr) return ryxStsNullPtr;
    Head *const head = opened(canceller);
    if (head == nullptr) return ryxStsBadContext;
    if (on != 0 && on != 1) return ryxStsBadArg;
    head->frozen = on;
    return ryxStsOk;
}

ryxStatus ryxechoGetInfo(const void *canceller, ryxEchoInfo *info) {
    if (canceller == nullptr || info == nullptr) return ryxStsNullPtr;
    const Head *const head = opened(canceller);
    if (head == nullptr) return ryxStsBadContext;
    const Plan &plan = head->plan;
    *info = {};
    info->delay = plan.callDelay + plan.methodDelay;
    info->blockLength = plan.block;
    info->taps = plan.options.method == ryxEchoFullband ? plan.taps : plan.taps * plan.hop;
    info->doubleTalk = head->seen.doubleTalk;
    info->disabled = head->disabled;
    info->frozen = head->frozen;
    info->takenOver = head->seen.takenOver;
    info->restored = head->seen.restored;
    info->anew = head->seen.anew;
    info->echoReduction = static_cast<float>(10 * std::log10((head->microphoneEnergy + 1) / (head->errorEnergy + 1)));
    return ryxStsOk;
}
