// SPDX-License-Identifier: BSD-2-Clause
// Algebraic codebooks of AMR-WB over the subframes of recorded speech, 5 ms each.
#include <string>

#include "frame/implementations.h"
#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr double subframeSeconds = 0.005;

struct Mode {
    int code;
    const char *name;
};
constexpr Mode modes[] = {{5, "6.60"},   {9, "8.85"},   {13, "12.65"}, {15, "14.25"}, {16, "15.85"},
                          {18, "18.25"}, {19, "19.85"}, {20, "23.05"}, {21, "23.85"}, {27, "28_bits"}};

using Search = decltype(ryxsAlgebraicCodebookSearchEX_AMRWB_16s);

void search(benchmark::State &run, Search *implementation, int mode) {
    constexpr Workload work{.inputLength = 1, .seconds = subframeSeconds, .unit = "subframe"};
    int size = 0;
    require(ryxsAlgebraicCodebookSearchGetBufferSize_AMRWB_16s(&size));
    std::vector<uint8_t> buffer(static_cast<size_t>(size));
    std::vector<celp::Subframe> subframes = amrWbSubframes();
    int16_t code[64], filtered[64], indices[8];
    measure(run, work, subframes, [&](const celp::Subframe *s) {
        int16_t *const impulse = const_cast<int16_t *>(s->impulse.data());
        return implementation(s->target.data(), s->residual.data(), impulse, code, filtered, mode, indices,
                              buffer.data());
    });
}

void decode(benchmark::State &run, int mode) {
    constexpr Workload work{.inputLength = 8, .seconds = subframeSeconds, .unit = "subframe"};
    std::vector<int16_t> indices;
    int16_t code[64], filtered[64], words[8] = {};
    for (celp::Subframe s : amrWbSubframes()) {
        require(ryxsAlgebraicCodebookSearch_AMRWB_16s(s.target.data(), s.residual.data(), s.impulse.data(), code,
                                                      filtered, mode, words));
        indices.insert(indices.end(), words, words + 8);
    }
    measure(run, work, indices,
            [&](const int16_t *in) { return ryxsAlgebraicCodebookDecode_AMRWB_16s(in, code, mode); });
}

// The form without a buffer.
ryxStatus searchOnStack(const int16_t *target, const int16_t *residual, int16_t *impulse, int16_t *code,
                        int16_t *filtered, int mode, int16_t *indices, uint8_t *) {
    return ryxsAlgebraicCodebookSearch_AMRWB_16s(target, residual, impulse, code, filtered, mode, indices);
}

const Registration registration([] {
    const std::string name = "AMRWB/codebook_search/";
    for (const Mode mode : modes)
        addCase(name + mode.name, search, ryxsAlgebraicCodebookSearchEX_AMRWB_16s_u8, mode.code);
    addCase(name + "12.65/n8", search, ryxsAlgebraicCodebookSearchEX_AMRWB_16s_n8, 13);
    addCase(name + "12.65/on_stack", search, searchOnStack, 13);
    for (const Mode mode : modes)
        addCase(std::string("AMRWB/codebook_decode/") + mode.name, decode, mode.code);
});

} // namespace
