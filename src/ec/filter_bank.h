// SPDX-License-Identifier: BSD-2-Clause
// What both arithmetics of the sub-band filter bank share: the state block, its size, and its initialisation. Sample is
// the type of signal and window, float or int16_t.
//
// Everything has internal linkage, since both processor variants compile the initialisation.
#pragma once

#include <cstddef>
#include <cstring>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "common/state_block.h"
#include "ec/filter_bank_tables.h"
#include "ryxsc/ec.h"
#include "transform/real_transform.h"

namespace ryxsc::ec {

namespace {

template <class Sample> using BinsOf = std::conditional_t<std::is_same_v<Sample, float>, float, int32_t>;
template <class Sample> using TransformOf = transform::RealTransform<BinsOf<Sample>>;

constexpr int slack = 16; // to the next boundary in the caller's memory

constexpr int64_t roundUp16(int64_t bytes) {
    return (bytes + 15) & ~int64_t{15};
}

// Where the parts of a block lie, in bytes from its start: the header (the members of Bank), the transform's specification,
// the window, and the delay line (analysis, oldest sample first) or the accumulator (synthesis, next sample first). The
// last two have windowLen elements each.
template <class Sample> struct Layout {
    static constexpr int64_t transform = 32;
    int64_t window, line, end;

    Layout(int transformSize, int windowLen) {
        const int64_t bytes = windowLen * int64_t{sizeof(Sample)};
        window = transform + transformSize;
        line = window + roundUp16(bytes);
        end = line + bytes;
    }
};

// The block that the caller keeps, from the next boundary in its memory. It holds offsets instead of pointers, so that it
// may be moved.
template <class Sample> struct Bank {
    int32_t windowLen, points, hop;
    int32_t windowOffset, lineOffset;
    int32_t reserved[3];

    const TransformOf<Sample> &transform() const { return part<const TransformOf<Sample>>(Layout<Sample>::transform); }
    const Sample *window() const { return &part<const Sample>(windowOffset); }
    Sample *line() { return &part<Sample>(lineOffset); }

    // Whether all sizes are ones that initialise() writes: nothing beyond the block is touched then, unless several of them
    // were overwritten to fit each other.
    bool isSound() const {
        const int order = transform().order();
        int transformSize;
        if (TransformOf<Sample>::getSize(order, transform::inverseByN, &transformSize) != ryxStsOk) return false;
        const Layout<Sample> layout(transformSize, windowLen);
        return points == 1 << order && hop >= 1 && hop <= points && windowLen >= points && windowLen % points == 0 &&
               windowOffset == layout.window && lineOffset == layout.line;
    }

    // Forgets the first `hop` elements of the line; the last ones are to be filled.
    Sample *shiftLine() {
        const auto kept = static_cast<size_t>(windowLen - hop);
        std::memmove(line(), line() + hop, kept * sizeof(Sample));
        return line() + kept;
    }

    // What lies that many bytes behind the start of the block.
    template <class Part> Part &part(int64_t offset) const {
        return *reinterpret_cast<Part *>(reinterpret_cast<std::uintptr_t>(this) + static_cast<std::uintptr_t>(offset));
    }
};
static_assert(sizeof(Bank<float>) == Layout<float>::transform && sizeof(Bank<int16_t>) == Layout<int16_t>::transform);

// Whether windowLen consists of whole periods of the transform.
inline bool isMultiple(int windowLen, int order) {
    return order <= 30 && (windowLen & ((1 << order) - 1)) == 0;
}

// What the reported size grants the header and the gap that rounding leaves between the window and the line.
template <class Sample> constexpr int headerAllowance = std::is_same_v<Sample, float> ? 40 : 48;

// Bytes of the transform's specification and of the whole state, which is never less than the layout and the way to the
// next boundary. False when there is no such transform, or when the state exceeds 32 bits.
template <class Sample> bool measureState(int order, int windowLen, int &transformSize, int &stateSize) {
    if (TransformOf<Sample>::getSize(order, transform::inverseByN, &transformSize) != ryxStsOk) return false;
    const int64_t window = windowLen * int64_t{sizeof(Sample)};
    const int64_t parts =
        std::is_same_v<Sample, float> ? transformSize + 2 * window : roundUp16(transformSize) + 2 * roundUp16(window);
    const int64_t state = headerAllowance<Sample> + parts + slack;
    stateSize = static_cast<int>(state);
    return state <= max32;
}

// Sizes of the state and the work buffer. The transform keeps no initialisation and no work buffer of its own.
template <class Sample>
ryxStatus reportSizes(int order, int windowLen, int *stateSize, int *initBufSize, int *workBufSize) {
    if (order < 1 || windowLen < 1) return ryxStsBadArg;
    if (anyNull(stateSize, initBufSize, workBufSize)) return ryxStsNullPtr;
    if (!isMultiple(windowLen, order)) return ryxStsBadArg;
    int transformSize, state;
    if (!measureState<Sample>(order, windowLen, transformSize, state)) return ryxStsBadArg;
    *stateSize = state;
    *initBufSize = 0;
    const int64_t samples = int64_t{4} << order;
    *workBufSize = static_cast<int>((std::is_same_v<Sample, float> ? samples : roundUp16(samples)) + slack);
    return ryxStsOk;
}

template <class Sample> const Sample *builtInWindow(int order, int hop, int windowLen) {
    constexpr bool isFloat = std::is_same_v<Sample, float>;
    const void *window = nullptr;
    if (order == 5 && hop == 24 && windowLen == 128)
        window = isFloat ? static_cast<const void *>(windowOrder5.data()) : windowOrder5Q13.data();
    if (order == 6 && hop == 44 && windowLen == 256)
        window = isFloat ? static_cast<const void *>(windowOrder6.data()) : windowOrder6Q13.data();
    return static_cast<const Sample *>(window);
}

// Sizes are tested before the state pointer, unlike in most functions.
template <class Sample>
ryxStatus initialise(SubbandProcessState *state, int order, int hop, int windowLen, const Sample *window) {
    if (order < 1 || hop < 1 || windowLen < 1 || (order <= 30 && hop > 1 << order)) return ryxStsBadArg;
    if (anyNull(state)) return ryxStsNullPtr;
    if (!isMultiple(windowLen, order)) return ryxStsBadArg;
    if (anyNull(window)) window = builtInWindow<Sample>(order, hop, windowLen);
    if (anyNull(window)) return ryxStsBadArg;
    int transformSize, stateSize;
    if (!measureState<Sample>(order, windowLen, transformSize, stateSize)) return ryxStsErr;
    auto &bank = alignedBlock<Bank<Sample>>(state);
    auto *transform = &bank.template part<TransformOf<Sample>>(Layout<Sample>::transform);
    if (TransformOf<Sample>::initialise(transform, order, transform::inverseByN) != ryxStsOk) return ryxStsErr;
    const Layout<Sample> layout(transformSize, windowLen);
    bank = {windowLen, 1 << order, hop, static_cast<int32_t>(layout.window), static_cast<int32_t>(layout.line), {}};
    const size_t bytes = static_cast<size_t>(windowLen) * sizeof(Sample);
    std::memcpy(&bank.template part<Sample>(layout.window), window, bytes);
    std::memset(bank.line(), 0, bytes);
    return ryxStsOk;
}

} // namespace

} // namespace ryxsc::ec
