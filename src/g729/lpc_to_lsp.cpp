// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients to line spectral pairs in fixed point (ITU-T G.729, clause 3.2.3, and its Annex A).
#include "common/checks.h"
#include "common/line_spectral_search.h"
#include "g729/implementations.h"
#include "g729/lp_tables.h"

using namespace ryxsc;
using namespace ryxsc::g729::lp;
using namespace ryxsc::roots;

namespace {

Polynomials makePolynomials(const int16_t *a) {
    Polynomials polynomials;
    if (divideOut(a, 1, polynomials)) divideOut(a, 2, polynomials);
    return polynomials;
}

ryxStatus convert(const int16_t *a, const int16_t *previous, int16_t *lsp, const Grid<int16_t> &grid) {
    if (anyNull(a, previous, lsp)) return ryxStsNullPtr;
    int16_t roots[order]; // apart from the output, which may be the previous vector
    const int found = findPairs(grid, makePolynomials(a), roots);
    std::copy_n(found == order ? roots : previous, order, lsp);
    return ryxStsOk;
}

} // namespace

ryxStatus ryxsLPCToLSP_G729_16s_u8(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp) {
    return convert(lpc, prevLsp, lsp, mainGrid);
}

ryxStatus ryxsLPCToLSP_G729A_16s_u8(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp) {
    return convert(lpc, prevLsp, lsp, annexAGrid);
}
