// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients to immittance spectral pairs (3GPP TS 26.173; AMR-WB+ calls it with order 8, too).
#include "amrwb/lpc_to_isp.inl"
#include "amrwb/implementations.h"

using namespace ryxsc::amrwb;

ryxStatus ryxsLPCToISP_AMRWB_16s_u8(const int16_t *lpc, int16_t *isp, const int16_t *prevIsp) {
    return convertToIsp(lpc, prevIsp, isp, isfOrder);
}

ryxStatus ryxsLPCToISP_AMRWBE_16s_u8(const int16_t *lpc, const int16_t *prevIsp, int16_t *isp, int order) {
    return convertToIsp(lpc, prevIsp, isp, order);
}
