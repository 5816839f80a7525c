// SPDX-License-Identifier: BSD-2-Clause
#include "common/inv_sqrt.h"

#include "common/checks.h"
#include "common/implementations.h"

using namespace ryxsc;

// Element by element: SSSE3 has neither a table look-up of this size nor a count of leading zeros.
ryxStatus ryxsInvSqrt_32s_I_u8(int32_t *srcDst, int len) {
    if (anyNull(srcDst)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    for (int i = 0; i < len; i++)
        srcDst[i] = inverseSqrt(srcDst[i]);
    return ryxStsOk;
}
