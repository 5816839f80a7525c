// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients to immittance spectral pairs for the n8 variant: the same source, compiled with that processor's tuning.
#include "amrwb/implementations.h"
#include "amrwb/lpc_to_isp.inl"

using namespace ryxsc::amrwb;

ryxStatus ryxsLPCToISP_AMRWB_16s_n8(const int16_t *lpc, int16_t *isp, const int16_t *prevIsp) {
    return convertToIsp(lpc, prevIsp, isp, isfOrder);
}
