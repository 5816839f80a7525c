// SPDX-License-Identifier: BSD-2-Clause
// Decoding and concealment of the pitch lag of GSM-AMR (3GPP TS 26.090, clause 6.1; TS 26.091, clause 6).
#include "common/checks.h"
#include "common/fixed_point.h"
#include "gsmamr/implementations.h"
#include "gsmamr/pitch_lag.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

namespace {

constexpr int third(int x) {
    return mult(static_cast<int16_t>(x), 10923);
}
constexpr int sixth(int x) {
    return mult(static_cast<int16_t>(x), 5462);
}

constexpr PitchLag decodeThirds(int index, int previous, bool absolute, Rate rate) {
    if (absolute) {
        if (index >= 197) return {index - 112, 0};
        const int lag = third(index + 2) + 19;
        return {lag, index - 3 * lag + 58};
    }
    const LagRange range = LagRange::relative(rate, previous);
    if (!hasFourBits(rate)) {
        const int distance = third(index + 2) - 1;
        return {range.min + distance, index - 2 - 3 * distance};
    }
    const int centre = range.centre(previous);
    if (index < 4) return {centre - 5 + index, 0};
    if (index >= 12) return {centre + index - 11, 0};
    const int distance = third(index - 5) - 1;
    return {centre + distance, index - 9 - 3 * distance};
}

constexpr PitchLag decodeSixths(int index, int previous, bool absolute) {
    if (absolute) {
        if (index >= 463) return {index - 368, 0};
        const int lag = sixth(index + 5) + 17;
        return {lag, index - 6 * lag + 105};
    }
    const LagRange range = LagRange::relative(Rate::r1220, previous);
    const int distance = sixth(index + 5) - 1;
    return {range.min + distance, index - 3 - 6 * distance};
}

constexpr int indexBits(Rate rate, bool absolute) {
    if (rate == Rate::r1220) return absolute ? 9 : 6;
    if (absolute) return 8;
    return hasFourBits(rate) ? 4 : rate == Rate::r795 ? 6 : 5;
}

} // namespace

ryxStatus ryxsPitchLagDecode_GSMAMR_16s_u8(int16_t index, int badFrame, int useIndex, int16_t prevLag, int16_t *lag,
                                           int16_t *fraction, int subframe, int rate) {
    if (anyNull(lag, fraction)) return ryxStsNullPtr;
    const Rate of = rateOf(rate);
    if (of == Rate::none || subframe < 0 || subframe > 3) return ryxStsOutOfRange;
    const int previous = prevLag;
    if (previous < 17 || previous > maxPitchLag + 1) return ryxStsOutOfRange;
    const bool absolute = isAbsolute(of, subframe), is122 = of == Rate::r1220;
    if (index < 0 || index >= 1 << indexBits(of, absolute)) return ryxStsBadIndex;

    PitchLag decoded = is122 ? decodeSixths(index, previous, absolute) : decodeThirds(index, previous, absolute, of);
    if (badFrame != 0 || (is122 && !absolute && index >= 61)) {
        const int next = is122 ? previous : std::min(previous + 1, maxPitchLag);
        decoded = {useIndex != 0 && isLow(of) ? decoded.lag : next, 0};
    }
    *lag = static_cast<int16_t>(decoded.lag);
    *fraction = static_cast<int16_t>(decoded.fraction);
    return ryxStsOk;
}
