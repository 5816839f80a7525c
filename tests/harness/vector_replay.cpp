// SPDX-License-Identifier: BSD-2-Clause
#include "harness/vector_replay.h"

namespace ryxtest {

namespace {

struct Complaint {
    std::string text;
    int line;
};

Complaint faultComplaint(const Call &call, const CallMemory &memory, const void *address) {
    if (!address) return {"access to null, or an aligned access at an unaligned address", call.line};
    const Argument *argument = memory.owner(address);
    if (!argument) return {"access outside all arguments", call.line};
    return {argument->name + ": access outside its memory", argument->line};
}

Complaint replayCall(const Call &call, const Functions &functions, CallMemory &memory) {
    const auto function = functions.find(call.function);
    if (function == functions.end()) return {"no such function", call.line};
    if (auto misfit = function->second.misfit(call.arguments); !misfit.empty()) return {misfit, call.line};
    const auto addresses = memory.lay(call);
    ryxStatus status = 0;
    const auto fault = faultOf([&] { status = function->second.call(addresses); });
    if (fault) return faultComplaint(call, memory, *fault);
    if (status != call.status)
        return {"wanted status " + std::to_string(call.status) + ", got " + std::to_string(status), call.line};
    const auto difference = memory.check(call);
    return {difference.text, difference.line};
}

} // namespace

std::string replay(const VectorFile &file, const Functions &functions, int rotation) {
    CallMemory memory(rotation);
    for (const auto &step : file.steps) {
        if (const auto *block = std::get_if<Block>(&step)) {
            memory.makeBlock(*block);
            continue;
        }
        const auto &call = std::get<Call>(step);
        const auto [text, line] = replayCall(call, functions, memory);
        if (!text.empty())
            return file.name + ":" + std::to_string(line) + ": " + call.function + ": " + text + " (rotation " +
                   std::to_string(rotation) + ")";
    }
    return {};
}

} // namespace ryxtest
