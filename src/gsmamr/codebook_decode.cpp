// SPDX-License-Identifier: BSD-2-Clause
#include <cstring>

#include "common/checks.h"
#include "common/fixed_point.h"
#include "gsmamr/codebook.h"
#include "gsmamr/implementations.h"
#include "gsmamr/rates.h"
#include "gsmamr/search_steps.h"

using namespace ryxsc;
using namespace ryxsc::gsmamr;

ryxStatus ryxsFixedCodebookDecode_GSMAMR_16s_u8(const int16_t *codeword, int16_t *code, int16_t subframe, int rate) {
    if (anyNull(codeword, code)) return ryxStsNullPtr;
    if (isNoSubframe(subframe)) return ryxStsBadSize;
    const Codebook codebook = codebookOf(rate);
    if (codebook == Codebook::none) return ryxStsBadSize;
    place(codebook, unpack(codebook, subframe, codeword), code);
    return ryxStsOk;
}

// As the recommendation does it: pulses of 5.90 kbit/s on one position do not add, and the sharpening saturates.
ryxStatus ryxsDecodeFixedVector_GSMAMR_16s_u8(const int16_t *codeword, int16_t pitchLag, int16_t sharpening,
                                              int16_t *code, int subframe, int rate) {
    if (anyNull(codeword, code)) return ryxStsNullPtr;
    if (subframe < 0 || subframe > 3 || rateOf(rate) == Rate::none || pitchLag < 17 || pitchLag > 144)
        return ryxStsOutOfRange;
    const Codebook codebook = codebookOf(rate);
    const Pulses pulses = unpack(codebook, subframe, codeword);
    int16_t vector[subframeLength + 8] = {};
    place(codebook, pulses, vector);
    replaceDouble(codebook, pulses, vector);
    sharpenSaturated(pitchLag, shl(sharpening, 1), vector);
    std::memcpy(code, vector, subframeLength * sizeof *code);
    return ryxStsOk;
}
