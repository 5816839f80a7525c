// SPDX-License-Identifier: BSD-2-Clause
// The second-order sections in front of the encoder and behind the decoder of ITU-T G.729 (clauses 3.1 and 4.2.5). The
// recursion keeps 31 bits of the past outputs.
#include <algorithm>

#include "common/checks.h"
#include "common/double_precision.h"
#include "common/state_block.h"
#include "frame/implementations.h"

using namespace ryxsc;

namespace {

struct Section {
    int16_t b0, b1, b2, a1, a2;
    int historyShift; // from the sum to what the recursion keeps
    int outputShift;  // and on to the output
};
constexpr Section sections[] = {
    {1899, -3798, 1899, 7807, -3733, 3, 0},  // pre-processing: 140 Hz, Q12, halves the signal
    {7699, -15398, 7699, 15836, -7667, 2, 1} // post-processing: 100 Hz, Q13, doubles it
};
constexpr int sectionCount = 2;
constexpr int chunk = 80; // samples that are filtered at a time

struct State {
    int32_t y1, y2; // past outputs
    int16_t x1, x2;
    int32_t section;
    int32_t reserved[2];
};
static_assert(sizeof(State) == 24);

// Term by term, saturating.
template <int which> void filterInOrder(const int16_t *x, int16_t *y, int len, int32_t y1, int32_t y2, State &s) {
    constexpr Section section = sections[which];
    for (int i = 0; i < len; i++) {
        int32_t sum = L_add(multiplyShort(y1, section.a1), multiplyShort(y2, section.a2));
        sum = L_mac(sum, x[i], section.b0);
        sum = L_mac(sum, x[i - 1], section.b1);
        sum = L_mac(sum, x[i - 2], section.b2);
        y2 = y1;
        y1 = L_shl(sum, section.historyShift);
        y[i] = round(L_shl(y1, section.outputShift));
    }
    s.y1 = y1;
    s.y2 = y2;
}

// Returns false where a sum leaves the range in which the shift to the history is exact; then nothing but y is changed.
//
// What is kept is the sum times 2^shift, an even number, and its product with a coefficient is the floor of
// sum * a / 2^(15 - shift), doubled: the recursion runs on the sums. As long as they stay in range no partial sum can
// saturate: in front of the last term they are no larger than 2^29 and that term, and before that no larger than the
// feedback, at most 1.54 * 10^9, and the first term.
template <int which> bool filter(const int16_t *x, int16_t *y, int len, State &s) {
    constexpr Section section = sections[which];
    constexpr int up = section.historyShift, down = 16 - up;
    constexpr int64_t limit = int64_t{1} << (31 - up);
    if (((s.y1 | s.y2) & ((1 << up) - 1)) != 0) return false; // saturated before
    int32_t zeros[chunk];
    for (int i = 0; i < len; i++)
        zeros[i] = 2 * (section.b0 * x[i] + section.b1 * x[i - 1] + section.b2 * x[i - 2]);
    int64_t sum1 = s.y1 >> up, sum2 = s.y2 >> up;
    int32_t sums[chunk];
    uint64_t outside = 0;
    for (int i = 0; i < len; i++) {
        const int64_t older = zeros[i] + 2 * (sum2 * section.a2 >> down);
        const int64_t sum = older + 2 * (sum1 * section.a1 >> down);
        outside |= static_cast<uint64_t>(sum + limit) & ~static_cast<uint64_t>(2 * limit - 1);
        sums[i] = static_cast<int32_t>(sum);
        sum2 = sum1;
        sum1 = sum;
    }
    if (outside != 0) return false;
    constexpr int output = 16 - up - section.outputShift;
    for (int i = 0; i < len; i++)
        y[i] = sat16((sums[i] + (1 << (output - 1))) >> output);
    s.y1 = static_cast<int32_t>(sum1 * (1 << up));
    s.y2 = static_cast<int32_t>(sum2 * (1 << up));
    return true;
}

template <int which> void run(int16_t *samples, int len, State &s) {
    int16_t buffer[2 + chunk];
    for (int done = 0; done < len; done += chunk) {
        const int n = std::min(len - done, chunk);
        int16_t *const x = buffer + 2, *const y = samples + done;
        buffer[0] = s.x2;
        buffer[1] = s.x1;
        std::copy_n(y, n, x);
        if (!filter<which>(x, y, n, s)) [[unlikely]]
            filterInOrder<which>(x, y, n, s.y1, s.y2, s);
        s.x1 = x[n - 1];
        s.x2 = x[n - 2];
    }
}

} // namespace

ryxStatus ryxsHighPassFilterGetStateSize_G729_16s_u8(int *size) {
    if (anyNull(size)) return ryxStsNullPtr;
    *size = sizeof(State);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilterInit_G729_16s_u8(HighPassFilterState_G729 *block, int section) {
    if (anyNull(block)) return ryxStsNullPtr;
    if (section < 0 || section >= sectionCount) return ryxStsOutOfRange;
    State state{};
    state.section = section;
    saveBlock(block, state);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilter_G729_16s_I_u8(int16_t *srcDst, int len, HighPassFilterState_G729 *block) {
    if (anyNull(srcDst, block)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    auto state = loadBlock<State>(block);
    if (state.section == 0)
        run<0>(srcDst, len, state);
    else
        run<1>(srcDst, len, state);
    saveBlock(block, state);
    return ryxStsOk;
}
