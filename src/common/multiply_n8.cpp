// SPDX-License-Identifier: BSD-2-Clause
// The product by a constant for the n8 variant: the same source, compiled with that processor's tuning.
#include "common/implementations.h"
#include "common/multiply.inl"

ryxStatus ryxsMulC_NR_16s_Sfs_n8(const int16_t *src, int16_t factor, int16_t *dst, int len, int sf) {
    return ryxsc::multiplyByConstantChecked(src, factor, dst, len, sf);
}
