// SPDX-License-Identifier: BSD-2-Clause
// Algebraic codebook of GSM-AMR, subframes of 5 ms of recorded speech.
#include <array>
#include <utility>

#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr Workload subframe{.inputLength = 1, .seconds = 0.005, .unit = "subframe"};

constexpr std::pair<int, const char *> rates[] = {
    {ryxGSMAMRRate4750, "4.75"}, {ryxGSMAMRRate5900, "5.90"},  {ryxGSMAMRRate6700, "6.70"},
    {ryxGSMAMRRate7950, "7.95"}, {ryxGSMAMRRate10200, "10.2"}, {ryxGSMAMRRate12200, "12.2"},
};

using Search = decltype(ryxsAlgebraicCodebookSearch_GSMAMR_16s);
using Words = std::array<int16_t, 40>;

struct Found {
    Words impulse, code, filtered;
    std::array<int16_t, 10> codeword;
};

template <class Call> ryxStatus search(const celp::Subframe &in, int rate, Found &found, Call call) {
    std::copy_n(in.impulse.begin(), found.impulse.size(), found.impulse.begin());
    return call(in.pitchLag, in.pitchGain, in.target.data(), in.residual.data(), found.impulse.data(),
                found.code.data(), found.filtered.data(), found.codeword.data(), in.number, rate);
}

void measureSearch(benchmark::State &run, int rate) {
    Found found;
    measure(run, subframe, gsmAmrSubframes(),
            [&](const celp::Subframe *in) { return search(*in, rate, found, ryxsAlgebraicCodebookSearch_GSMAMR_16s); });
}

void measureBufferForm(benchmark::State &run, int rate) {
    int size;
    require(ryxsAlgebraicCodebookSearchGetBufferSize_GSMAMR_16s(&size));
    std::vector<uint8_t> buffer(static_cast<size_t>(size));
    Found found;
    measure(run, subframe, gsmAmrSubframes(), [&](const celp::Subframe *in) {
        return search(*in, rate, found, [&](auto... arguments) {
            return ryxsAlgebraicCodebookSearchEX_GSMAMR_16s(arguments..., buffer.data());
        });
    });
}

void measureDecoder(benchmark::State &run, int rate) {
    std::vector<std::array<int16_t, 10>> codewords;
    for (const celp::Subframe &in : gsmAmrSubframes()) {
        Found found;
        require(search(in, rate, found, ryxsAlgebraicCodebookSearch_GSMAMR_16s));
        codewords.push_back(found.codeword);
    }
    Words code;
    measure(run, subframe, codewords, [&](const std::array<int16_t, 10> *in) {
        return ryxsFixedCodebookDecode_GSMAMR_16s(in->data(), code.data(), 0, rate);
    });
}

void measurePreparation(benchmark::State &run) {
    Words impulse, residual, target;
    measure(run, subframe, gsmAmrSubframes(), [&](const celp::Subframe *in) {
        return ryxsImpulseResponseTarget_GSMAMR_16s(
            in->speech.data(), in->numerator.data(), in->denominator.data(), in->lpc.data(), in->synthesisMemory.data(),
            in->weightingMemory.data(), impulse.data(), residual.data(), target.data());
    });
}

const Registration registration([] {
    addCase("GSMAMR/impulse_response_target", measurePreparation);
    for (const auto &[rate, name] : rates)
        addCase(std::string("GSMAMR/codebook_search/") + name, measureSearch, rate);
    addCase("GSMAMR/codebook_search_ex/12.2", measureBufferForm, static_cast<int>(ryxGSMAMRRate12200));
    for (const auto &[rate, name] : rates)
        addCase(std::string("GSMAMR/codebook_decode/") + name, measureDecoder, rate);
});

} // namespace
