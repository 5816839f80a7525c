// SPDX-License-Identifier: BSD-2-Clause
// Backward LP analysis at 11.8 kbit/s, the same in encoder and decoder, and the synthesis that it works on.
#pragma once

#include "codec.h"
#include "g729/common.h"

namespace ryxcodec::g729 {

// Filters of both subframes, order 10 or 30. Those of order 30 follow each other without a gap.
struct Filters {
    int order = g729::order;
    int16_t a[subframes][longOrder + 1];
};
inline Filters widened(const ShortFilters &filters) {
    Filters wide;
    for (int s = 0; s < subframes; s++)
        std::copy_n(filters.a[s], order + 1, wide.a[s]);
    return wide;
}

class BackwardAnalysis {
public:
    ryxStatus init() {
        stable_[0] = usable_[0] = 4096;
        if (const ryxStatus status = window_.fits(ryxsHybridWindowGetStateSize_G729E_16s); status != ryxStsOk)
            return status;
        return ryxsHybridWindowInit_G729E_16s(window_);
    }

    // The filter that the past synthesis gives, weighted, as the second one of the frame.
    void analyse(Filters &filters) {
        constexpr int16_t weighting = 32113; // 0.98, Q15
        constexpr int16_t largest = 32767;
        int32_t autoCorr[longOrder + 1];
        int16_t lpc[longOrder + 1], reflection[longOrder], energy;
        ryxsHybridWindow_G729E_16s32s(synthesis_, autoCorr, window_);
        ryxsLagWindow_G729E_32s_I(autoCorr);
        if (ryxsLevinsonDurbin_G729E_32s16s(autoCorr, longOrder, lpc, reflection, &energy) == ryxStsOk)
            copy(lpc, stable_);
        if (*std::max_element(stable_, stable_ + longOrder + 1) < largest) copy(stable_, usable_);
        filters.order = longOrder;
        weigh(usable_, longOrder, weighting, filters.a[1]);
    }

    // Makes room for the frame's synthesis.
    void advance() { std::copy(synthesis_ + frameLength, synthesis_ + length, synthesis_); }

    // The frame's synthesis, with at least 30 past samples in front.
    int16_t *synthesis(int s) { return synthesis_ + length - frameLength + subframeLength * s; }

private:
    static constexpr int length = 145;
    int16_t synthesis_[length];
    int16_t stable_[longOrder + 1], usable_[longOrder + 1];
    Block<HybridWindowState_G729E, 124> window_;
};

} // namespace ryxcodec::g729
