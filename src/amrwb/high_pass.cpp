// SPDX-License-Identifier: BSD-2-Clause
// The high-passes of 50 Hz and 400 Hz (3GPP TS 26.173).
#include "amrwb/high_pass.h"
#include "amrwb/implementations.h"
#include "common/checks.h"

using namespace ryxsc;
using namespace ryxsc::amrwb;

namespace {

template <const Section &section> void filterSaturating(const int16_t *src, int16_t *dst, int len, SectionMemory &m) {
    for (int i = 0; i < len; i++) {
        const int16_t x0 = src[i];
        // In 64 bits for the sake of memories that no filter has left: low parts are not negative and the products small.
        auto sum =
            static_cast<int32_t>((0x4000 + 2 * (int64_t{m.low1} * section.a1 + int64_t{m.low2} * section.a2)) >> 15);
        sum = rarelySaturatingAdd(sum, 2 * m.high1 * section.a1);
        sum = rarelySaturatingAdd(sum, 2 * m.high2 * section.a2);
        sum = rarelySaturatingAdd(sum, 2 * x0 * section.b0);
        sum = rarelySaturatingAdd(sum, 2 * m.x1 * section.b1);
        sum = rarelySaturatingAdd(sum, 2 * m.x2 * section.b0);
        sum = L_shl(sum, section.shift);
        m.high2 = m.high1;
        m.low2 = m.low1;
        L_Extract(sum, m.high1, m.low1);
        m.x2 = m.x1;
        m.x1 = x0;
        dst[i] = round(L_shl(sum, section.doublings));
    }
}

constexpr int chunk = 256;

// Two samples of the past in front of a chunk.
struct Samples {
    int16_t past[8];
    int16_t samples[chunk + 8];
};

// False when something may saturate; then nothing is written.
template <const Section &section> bool filterChunk(const int16_t *src, int16_t *dst, int len, SectionMemory &m) {
    using Chain = SectionChain<section>;
    Chain chain;
    if (!chain.start(m)) return false;
    Samples x;
    alignas(16) int32_t sums[chunk + 8];
    x.past[6] = m.x2;
    x.past[7] = m.x1;
    std::copy_n(src, len, x.samples);
    std::fill_n(x.samples + len, -len & 7, int16_t{0});
    for (int i = 0; i < len; i += 8) {
        const int16_t *const at = x.samples + i;
        const simd::Dwords inputs = Chain::inputs(simd::load(at), simd::load(at - 1), simd::load(at - 2));
        simd::store(sums + i, inputs.front);
        simd::store(sums + i + 4, inputs.back);
    }
    for (int i = 0; i < len; i++)
        sums[i] = chain.next(sums[i]);
    std::fill_n(sums + len, -len & 7, 0);
    MagnitudeBits bits;
    for (int i = 0; i < len; i += 4)
        bits.add(simd::loadAligned(sums + i));
    if (!bits.areBelow(Chain::limit)) return false;

    for (int i = 0; i < len; i += 8) {
        const Vector outputs = Chain::outputs(simd::loadAligned(sums + i), simd::loadAligned(sums + i + 4));
        if (i + 8 <= len) {
            simd::store(dst + i, outputs);
        } else {
            int16_t rest[8];
            simd::store(rest, outputs);
            std::copy_n(rest, len - i, dst + i);
        }
    }
    chain.finish(m);
    m.x1 = x.samples[len - 1];
    m.x2 = len > 1 ? x.samples[len - 2] : x.past[7];
    return true;
}

template <const Section &section> void filter(const int16_t *src, int16_t *dst, int len, int16_t *memory) {
    SectionMemory m = SectionMemory::load(memory);
    while (len > 0) {
        const int now = std::min(len, chunk);
        if (!filterChunk<section>(src, dst, now, m)) filterSaturating<section>(src, dst, now, m);
        src += now;
        dst += now;
        len -= now;
    }
    m.store(memory);
}

} // namespace

ryxStatus ryxsHighPassFilter50_AMRWB_16s_I_u8(int16_t *srcDst, int len, int16_t *memory) {
    if (anyNull(srcDst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    filter<section50>(srcDst, srcDst, len, memory);
    return ryxStsOk;
}

ryxStatus ryxsHighPassFilter400_AMRWB_16s_u8(const int16_t *src, int16_t *dst, int len, int16_t *memory) {
    if (anyNull(src, dst, memory)) return ryxStsNullPtr;
    if (len < 1) return ryxStsBadSize;
    filter<section400>(src, dst, len, memory);
    return ryxStsOk;
}
