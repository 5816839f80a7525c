// SPDX-License-Identifier: BSD-2-Clause
// Pitch delays and their indices in ITU-T G.729 (clauses 3.7.2, 3.7.3 and 4.1.3) and in Annex D.
#include "common/checks.h"
#include "g729/adaptive_vector.h"
#include "g729/implementations.h"

using namespace ryxsc;
using namespace ryxsc::g729;

namespace {

int16_t word(int value) {
    return static_cast<int16_t>(value);
}
bool isFlag(int16_t value) {
    return value == 0 || value == 1;
}

int firstIndex(int lag, int fraction) {
    return lag <= 85 ? 3 * lag - 58 + fraction : lag + 112;
}

void decodeFirst(int index, int16_t *delay) {
    const int lag = index < 197 ? (index + 2) / 3 + 19 : index - 112;
    delay[0] = word(lag);
    delay[1] = word(index < 197 ? index - 3 * lag + 58 : 0);
}

// Around the delay of the first subframe Annex D has thirds for four lags only.
int secondIndexD(int offset, int fraction) {
    return offset < 3 ? offset : offset < 7 ? 3 * (offset - 3) + fraction + 3 : offset + 6;
}

} // namespace

ryxStatus ryxsDelayEncode_G729_16s_u8(const int16_t *delay, int16_t firstLag, int16_t *index, int16_t subframeFlag) {
    if (anyNull(delay, index)) return ryxStsNullPtr;
    if (!isFlag(subframeFlag)) return ryxStsOutOfRange;
    const int lag = delay[0], fraction = delay[1];
    *index =
        word(subframeFlag == 0 ? firstIndex(lag, fraction) : 3 * (lag - lagRange(firstLag, 1).from) + 2 + fraction);
    return ryxStsOk;
}

ryxStatus ryxsDelayEncode_G729D_16s_u8(const int16_t *delay, int16_t firstLag, int16_t *index, int16_t subframeFlag) {
    if (anyNull(delay, index)) return ryxStsNullPtr;
    if (!isFlag(subframeFlag)) return ryxStsOutOfRange;
    const int lag = delay[0], fraction = delay[1];
    *index =
        word(subframeFlag == 0 ? firstIndex(lag, fraction) : secondIndexD(lag - lagRange(firstLag, 1).from, fraction));
    return ryxStsOk;
}

ryxStatus ryxsDelayDecode_G729_16s_u8(int16_t index, int16_t firstLag, int16_t *delay, int16_t subframeFlag) {
    if (anyNull(delay)) return ryxStsNullPtr;
    if (!isFlag(subframeFlag)) return ryxStsOutOfRange;
    if (index < 0 || index > (subframeFlag == 0 ? 255 : 31)) return ryxStsBadIndex;
    if (subframeFlag == 0) {
        decodeFirst(index, delay);
    } else {
        const int offset = (index + 2) / 3 - 1;
        delay[0] = word(lagRange(firstLag, 1).from + offset);
        delay[1] = word(index - 2 - 3 * offset);
    }
    return ryxStsOk;
}

ryxStatus ryxsDelayDecode_G729D_16s_u8(int16_t index, int16_t firstLag, int16_t *delay, int16_t subframeFlag) {
    if (anyNull(delay)) return ryxStsNullPtr;
    if (!isFlag(subframeFlag)) return ryxStsOutOfRange;
    if (index < 0 || index > (subframeFlag == 0 ? 255 : 15)) return ryxStsBadIndex;
    if (subframeFlag == 0) {
        decodeFirst(index, delay);
        return ryxStsOk;
    }
    int offset = index <= 3 ? index : index - 6, fraction = 0;
    if (index > 3 && index < 12) { // thirds from 3 1/3 to 5 2/3
        const int thirds = index - 4;
        constexpr int fractions[8] = {1, -1, 0, 1, -1, 0, 1, -1};
        fraction = fractions[thirds];
        offset = 3 + (thirds + 1 - fraction) / 3;
    }
    delay[0] = word(lagRange(firstLag, 1).from + offset);
    delay[1] = word(fraction);
    return ryxStsOk;
}
