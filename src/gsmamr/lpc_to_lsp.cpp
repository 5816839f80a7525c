// SPDX-License-Identifier: BSD-2-Clause
// LP coefficients to line spectral pairs of GSM-AMR (3GPP TS 26.090, clause 5.2.3).
#include <algorithm>

#include "common/checks.h"
#include "common/line_spectral_search.h"
#include "g729/lp_tables.h"
#include "gsmamr/implementations.h"

using namespace ryxsc;
using namespace ryxsc::roots;

namespace {

// Unlike in G.729 the coefficients are always in Q10, and the series in Q24. Where they fit 16 bits in Q11, that is the
// same as G.729's series in Q24.
Polynomials makePolynomials(const int16_t *a) {
    Polynomials polynomials;
    divideOut(a, 2, polynomials);
    polynomials.bits = 24;
    int16_t *const begin = polynomials.f[0], *const end = begin + 2 * (degree + 1);
    if (std::all_of(begin, end, [](int16_t x) { return std::abs(x) < 1 << 14; }))
        std::for_each(begin, end, [](int16_t &x) { x = static_cast<int16_t>(2 * x); });
    else
        polynomials.unit = 1 << 14;
    return polynomials;
}

} // namespace

ryxStatus ryxsLPCToLSP_GSMAMR_16s_u8(const int16_t *lpc, const int16_t *prevLsp, int16_t *lsp) {
    if (anyNull(lpc, prevLsp, lsp)) return ryxStsNullPtr;
    int16_t pairs[roots::lpOrder]; // apart from the output, which may be the previous vector
    const int found = findPairs(g729::lp::mainGrid, makePolynomials(lpc), pairs);
    std::copy_n(found == roots::lpOrder ? pairs : prevLsp, roots::lpOrder, lsp);
    return ryxStsOk;
}
