// SPDX-License-Identifier: BSD-2-Clause
// Levinson-Durbin recursion of ITU-T G.728, Annex G, which can stop at one order and go on later, and the bandwidth
// expansions that follow it.
#include <iterator>

#include "common/checks.h"
#include "frame/implementations.h"
#include "g728/arithmetic.h"
#include "g728/tables.h"

using namespace ryxsc;
using namespace ryxsc::g728;

namespace {

// A recursion in progress: coefficients in Q(15 - scale), residual energy.
struct Recursion {
    int16_t a[synthesisOrder];
    int16_t energy;
    int scale;
    int16_t reflection;
};

// floor(65536 n / d), at most 65535; n >= 0, d > 0.
int32_t quotient(int32_t n, int32_t d) {
    return n >= d ? 65535 : static_cast<int32_t>((static_cast<uint32_t>(n) << 16) / static_cast<uint32_t>(d));
}

bool start(const int16_t *r, Recursion &s) {
    if (r[0] <= 0) return false;
    s.scale = 0;
    const int16_t k = round(quotient(std::abs(r[1]), r[0]) << 15);
    s.a[0] = s.reflection = r[1] > 0 ? negate(k) : k;
    s.energy = round(sat32(r[0] * int64_t{65536} + 2 * int64_t{s.reflection} * r[1]));
    return true;
}

bool fits32(int64_t x) {
    return x == sat32(x);
}

// a[f] + k a[i - 1 - f] for all of them; where that leaves 16 bits, all are halved. k is in Q16.
bool update(int16_t *a, int i, int32_t k, int &scale) {
    for (int f = 0, g = i - 1; f <= g;) {
        const int64_t x = a[f] * int64_t{65536} + int64_t{k} * a[g];
        const int64_t y = a[g] * int64_t{65536} + int64_t{k} * a[f];
        if (!fits32(x) || !fits32(y)) {
            if (++scale > 2) return false;
            for (int n = 0; n < i; n++)
                a[n] = static_cast<int16_t>(a[n] >> 1);
            continue;
        }
        a[f++] = round(static_cast<int32_t>(x));
        a[g--] = round(static_cast<int32_t>(y));
    }
    return true;
}

bool step(const int16_t *r, int i, Recursion &s) {
    int64_t sum = 0;
    for (int n = 1; n <= i; n++)
        sum += r[n] * s.a[i - n];
    const int64_t total = r[i + 1] * int64_t{65536} + sum * (2 << s.scale);
    const int32_t x = round(sat32(total)); // 32767 or -32768 where the sum leaves 32 bits, so the recursion ends here
    const int32_t magnitude = std::abs(x);
    if (magnitude >= s.energy) return false;
    const int32_t u = quotient(magnitude, s.energy) << 15;
    const int32_t k = x > 0 ? -2 * round(u) : 2 * round(u);
    const int64_t energy = s.energy * int64_t{65536} + int64_t{k} * x;
    if (energy <= 0) return false;
    s.energy = round(sat32(energy));
    if (!update(s.a, i, k, s.scale)) return false;
    const int16_t last = round(u >> s.scale);
    s.a[i] = x > 0 ? negate(last) : last;
    return true;
}

struct Expansion {
    const int16_t *factors; // Q14
    int len;
};
constexpr Expansion expansions[] = {
    {synthesisExpansion, synthesisOrder}, {logGainExpansion, order},        {weightingPoleExpansion, order},
    {weightingZeroExpansion, order},      {postFilterPoleExpansion, order}, {postFilterZeroExpansion, order},
    {erasureExpansion, synthesisOrder},
};
static_assert(ryxG728ErasureExpansion == std::size(expansions) - 1);

} // namespace

ryxStatus ryxsLevinsonDurbin_G728_16s_u8(const int16_t *autoCorr, int from, int to, int16_t *coefficients,
                                         int16_t *energy, int16_t *fraction, int16_t *reflection) {
    if (anyNull(autoCorr, coefficients, energy, fraction, reflection)) return ryxStsNullPtr;
    if (from < 0 || to <= from) return ryxStsBadSize;
    if (to > synthesisOrder) return ryxStsOutOfRange;
    if (from > 0 && (*fraction < 13 || *fraction > 15)) return ryxStsOutOfRange;
    Recursion s{};
    int i = from;
    if (from == 0) {
        if (!start(autoCorr, s)) return ryxStsOverflow;
        i = 1;
    } else {
        std::copy_n(coefficients, from, s.a);
        s.energy = *energy;
        s.scale = 15 - *fraction;
        s.reflection = *reflection;
    }
    for (; i < to; i++)
        if (!step(autoCorr, i, s)) return ryxStsOverflow;
    std::copy_n(s.a, to, coefficients);
    *energy = s.energy;
    *fraction = static_cast<int16_t>(15 - s.scale);
    *reflection = s.reflection;
    return ryxStsOk;
}

ryxStatus ryxsBandwidthExpand_G728_16s_u8(const int16_t *src, int16_t fraction, int16_t expansion, int16_t *dst) {
    if (anyNull(src, dst)) return ryxStsNullPtr;
    if (fraction < 13 || fraction > 15) return ryxStsOutOfRange;
    if (expansion < 0 || expansion > ryxG728ErasureExpansion) return ryxStsOutOfRange;
    const Expansion &e = expansions[expansion];
    bool limited = false;
    for (int i = 0; i < e.len; i++) {
        const int64_t product = int64_t{src[i]} * e.factors[i] * (1 << (16 - fraction));
        limited |= !fits32(product);
        dst[i] = round(sat32(product));
    }
    return limited ? ryxStsOverflow : ryxStsOk;
}
