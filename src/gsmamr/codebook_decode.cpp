// SPDX-License-Identifier: BSD-2-Clause
#include "common/checks.h"
#include "frame/implementations.h"
#include "gsmamr/codebook.h"

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
