// SPDX-License-Identifier: BSD-2-Clause
// The arithmetic that all codecs share, on a subframe (40) and on a frame (160) of speech.
#include <algorithm>

#include "frame/implementations.h"
#include "measuring.h"
#include "speech.h"

using namespace ryxsc::bench;

namespace {

constexpr int lengths[] = {40, 160};
constexpr int longest = 160;

// Bytes that pass between the first-level cache and the registers for every element; the slower direction is the limit.
struct Traffic {
    int loaded, stored;
};
constexpr Traffic oneToOne{2, 2}, twoToOne{4, 2}, twoToNone{4, 0};
constexpr Traffic scaling{4, 2}; // the vector is read twice

// Half a second from the middle of the speech. What the kernels do does not depend on the values, and as much as this
// stays in the first-level cache.
template <class Element = int16_t> std::vector<Element> passage() {
    const auto from = speech8k().begin() + static_cast<std::ptrdiff_t>(speech8k().size() / 2);
    return {from, from + 4000};
}

Workload elements(int inputLength, int len, Traffic traffic) {
    Workload work{.inputLength = inputLength, .units = static_cast<double>(len), .unit = "element"};
    const double loaded = len * traffic.loaded, stored = len * traffic.stored;
    const bool loadsLimit = loaded / perSecond(Limit::bytesLoaded) > stored / perSecond(Limit::bytesStored);
    work.products = loadsLimit ? loaded : stored;
    work.limit = loadsLimit ? Limit::bytesLoaded : Limit::bytesStored;
    return work;
}

// Both sources lie in the speech, one behind the other.
void multiply(benchmark::State &run, int len, int sf) {
    int16_t dst[longest];
    measure(run, elements(2 * len, len, twoToOne), passage(),
            [&](const int16_t *in) { return ryxsMul_NR_16s_Sfs(in, in + len, dst, len, sf); });
}

void multiplyByConstant(benchmark::State &run, decltype(ryxsMulC_NR_16s_Sfs) *function, int len, int16_t c, int sf) {
    int16_t dst[longest];
    measure(run, elements(len, len, oneToOne), passage(),
            [&](const int16_t *in) { return function(in, c, dst, len, sf); });
}

void multiplyByPowers(benchmark::State &run, int len, int16_t base, int sf) {
    int16_t dst[longest];
    measure(run, elements(len, len, oneToOne), passage(),
            [&](const int16_t *in) { return ryxsMulPowerC_NR_16s_Sfs(in, base, dst, len, sf); });
}

void autoScale(benchmark::State &run, int len) {
    int16_t dst[longest];
    measure(run, elements(len, len, scaling), speech8k(), [&](const int16_t *in) {
        int scale = 2;
        return ryxsAutoScale_16s(in, dst, len, &scale);
    });
}

void dotProduct(benchmark::State &run, int len) {
    int32_t product;
    int scale;
    measure(run, elements(2 * len, len, twoToNone), speech8k(),
            [&](const int16_t *in) { return ryxsDotProdAutoScale_16s32s_Sfs(in, in + len, len, &product, &scale); });
}

void interpolate(benchmark::State &run, int len, decltype(ryxsInterpolateC_G729_16s_Sfs) *function, int16_t w1,
                 int16_t w2, int sf) {
    int16_t dst[longest];
    measure(run, elements(2 * len, len, twoToOne), passage(),
            [&](const int16_t *in) { return function(in, w1, in + len, w2, dst, len, sf); });
}

void interpolateScaled(benchmark::State &run, int len, int16_t w1, int scale1, int16_t w2, int scale2) {
    int16_t dst[longest];
    measure(run, elements(2 * len, len, twoToOne), passage(),
            [&](const int16_t *in) { return ryxsInterpolateC_NR_16s(in, w1, scale1, in + len, w2, scale2, dst, len); });
}

void interpolateFloat(benchmark::State &run, int len) {
    float dst[longest];
    measure(run, elements(2 * len, len, {8, 4}), passage<float>(),
            [&](const float *in) { return ryxsInterpolateC_G729_32f(in, 0.5F, in + len, 0.25F, dst, len); });
}

// The functions that work in place meet what they have left; none of them takes a way that depends on the data.
void multiplyInPlace(benchmark::State &run, int len) {
    int16_t data[longest] = {};
    measure(run, elements(len, len, twoToOne), passage(),
            [&](const int16_t *in) { return ryxsMul_NR_16s_ISfs(in, data, len, 15); });
}

void multiplyByConstantInPlace(benchmark::State &run, int len) {
    int16_t data[longest];
    std::copy_n(speech8k().begin(), len, data);
    measure(run, elements(1, len, oneToOne), passage(),
            [&](const int16_t *) { return ryxsMulC_NR_16s_ISfs(29491, data, len, 15); });
}

void autoScaleInPlace(benchmark::State &run, int len) {
    int16_t data[longest];
    std::copy_n(speech8k().begin(), len, data);
    measure(run, elements(1, len, scaling), passage(), [&](const int16_t *) {
        int scale = 2;
        return ryxsAutoScale_16s_I(data, len, &scale);
    });
}

// Includes a copy of the block, since the function works in place and its time might depend on the values.
void inverseSqrt(benchmark::State &run, int len) {
    std::vector<int32_t> energies;
    for (const int16_t sample : speech8k())
        energies.push_back(sample * sample + 1);
    int32_t data[longest];
    measure(run, elements(len, len, {4, 4}), energies, [&](const int32_t *in) {
        std::copy_n(in, len, data);
        return ryxsInvSqrt_32s_I(data, len);
    });
}

const Registration registration([] {
    const auto addLengths = [](const std::string &name, auto function, auto... arguments) {
        for (const int len : lengths)
            addCase("common/" + name + '/' + std::to_string(len), function, len, arguments...);
    };
    addLengths("auto_scale", autoScale);
    addLengths("auto_scale/in_place", autoScaleInPlace);
    addCase("common/inv_sqrt/16", inverseSqrt, 16);
    addLengths("mul/sf15", multiply, 15);
    addLengths("mul/sf12", multiply, 12);
    addLengths("mul/sf20", multiply, 20);
    addLengths("mul/in_place", multiplyInPlace);
    for (const int len : lengths) {
        const auto add = [len](const std::string &name, int16_t c, int sf) {
            const std::string path = "common/mul_c/" + name + '/' + std::to_string(len);
            addCase(path + "/u8", multiplyByConstant, ryxsMulC_NR_16s_Sfs_u8, len, c, sf);
            addCase(path + "/n8", multiplyByConstant, ryxsMulC_NR_16s_Sfs_n8, len, c, sf);
        };
        add("below_1", 29491, 15);
        add("above_1", 5000, 12);
    }
    addLengths("mul_c/in_place", multiplyByConstantInPlace);
    addCase("common/mul_power/sf15/11", multiplyByPowers, 11, int16_t{29491}, 15);
    addCase("common/mul_power/sf12/11", multiplyByPowers, 11, int16_t{3686}, 12);
    addLengths("mul_power/sf15", multiplyByPowers, int16_t{29491}, 15);
    addLengths("dot_product", dotProduct);
    addLengths("interpolate/below_1", interpolate, ryxsInterpolateC_G729_16s_Sfs, int16_t{24576}, int16_t{8192}, 15);
    addLengths("interpolate/above_1", interpolate, ryxsInterpolateC_G729_16s_Sfs, int16_t{5000}, int16_t{-904}, 12);
    addLengths("interpolate_nr", interpolate, ryxsInterpolateC_NR_G729_16s_Sfs, int16_t{24576}, int16_t{8192}, 15);
    addLengths("interpolate_nr/scales", interpolateScaled, int16_t{12000}, 1, int16_t{20000}, 0);
    addLengths("interpolate_nr/scales_apart", interpolateScaled, int16_t{12000}, 9, int16_t{20000}, 1);
    addLengths("interpolate_float", interpolateFloat);
});

} // namespace
