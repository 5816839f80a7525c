// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "celp/front_end.h"
#include "harness/signals.h"
#include "reference/amrwb_isf.h"
#include "ryxsc.h"

namespace {

using namespace reference::amrwb;

constexpr Isf isfMean = {738,  1326, 2336,  3578,  4596,  5662,  6711,  7730,
                         8750, 9753, 10705, 11728, 12833, 13971, 15043, 4037};

int16_t scaled(std::mt19937 &random) {
    return static_cast<int16_t>(static_cast<int16_t>(random()) >> random() % 12);
}

// check(a) with filters of speech and of nasty signals, and with arbitrary coefficients, at several orders.
void forFilters(unsigned seed, const std::function<void(const Words &)> &check) {
    for (const auto &[name, samples] : signals::nasty(30000, seed))
        for (const celp::Coefficients &filter : celp::analyseFilters(celp::amrWb, samples))
            check({filter.begin(), filter.end()});
    std::mt19937 random(seed);
    for (const int order : {6, 8, 16, 16, 20, 50, 98, 100, 102})
        for (int trial = 0; trial < 500; trial++) {
            Words a(static_cast<size_t>(order) + 1);
            for (int16_t &value : a)
                value = static_cast<int16_t>(scaled(random) >> trial % 8);
            if (trial % 8 != 0) a[0] = 4096;
            check(a);
        }
}

// check(isf, past) with ISFs of speech and of the kind that fixed-point code breaks on.
void forIsfs(unsigned seed, const std::function<void(const Isf &, const Isf &)> &check) {
    std::mt19937 random(seed);
    Words isp(16), previous(16);
    Isf isf, past = {};
    for (const celp::Coefficients &filter : celp::analyseFilters(celp::amrWb, signals::speech())) {
        ryxsLPCToISP_AMRWB_16s(filter.data(), isp.data(), previous.data());
        ryxsISPToISF_Norm_AMRWB_16s(isp.data(), isf.data(), 16);
        previous = isp;
        check(isf, past);
        std::transform(isf.begin(), isf.end(), isfMean.begin(), past.begin(), std::minus<>());
    }
    for (int trial = 0; trial < 3000; trial++) {
        for (size_t i = 0; i < 16; i++) {
            isf[i] = static_cast<int16_t>(std::clamp(isfMean[i] + scaled(random), -32768, 32767));
            past[i] = scaled(random);
            if (trial % 3 == 0) isf[i] = random() % 2 ? 32767 : -32768;
        }
        check(isf, past);
    }
}

TEST(AmrWbIsf, RootsEqualThePlainFormAtAllOrders) {
    size_t complete = 0;
    forFilters(41, [&](const Words &a) {
        const int order = static_cast<int>(a.size()) - 1;
        Words isp(a.size() - 1, 77);
        const std::optional<Words> plain = lpcToIsp(a);
        const Words expected = plain.value_or(isp);
        complete += plain.has_value();
        ASSERT_EQ(ryxsLPCToISP_AMRWBE_16s(a.data(), isp.data(), isp.data(), order), ryxStsOk);
        ASSERT_EQ(isp, expected);
    });
    EXPECT_GT(complete, 1000u);
}

TEST(AmrWbIsf, OrdersWithoutPolynomialsKeepThePreviousIsps) {
    const Words a(26, 4096), previous(25, 5);
    for (const int order : {1, 2, 3, 4, 5, 7, 15, 25}) {
        Words isp(static_cast<size_t>(order));
        ASSERT_EQ(ryxsLPCToISP_AMRWBE_16s(a.data(), previous.data(), isp.data(), order), ryxStsOk);
        ASSERT_EQ(isp, Words(static_cast<size_t>(order), 5));
    }
}

TEST(AmrWbIsf, FrequenciesEqualThePlainFormForAllCosinesAlsoInPlace) {
    std::mt19937 random(42);
    for (int start = -32768; start < 32768; start += 7) {
        Words isp(1 + random() % 30);
        for (size_t i = 0; i < isp.size(); i++)
            isp[i] = static_cast<int16_t>(std::min(start + 7 * static_cast<int>(isp.size() - i), 32767));
        if (start % 5 == 0) std::shuffle(isp.begin(), isp.end(), random);
        const Words expected = ispToIsf(isp);
        ryxsISPToISF_Norm_AMRWB_16s(isp.data(), isp.data(), static_cast<int>(isp.size()));
        ASSERT_EQ(isp, expected);
    }
}

TEST(AmrWbIsf, SpeechFiltersComeBackFromTheirIsfs) {
    int worst = 0;
    for (const celp::Coefficients &filter : celp::analyseFilters(celp::amrWb, signals::speech())) {
        Isf isp = {}, isf;
        int16_t again[17];
        ryxsLPCToISP_AMRWB_16s(filter.data(), isp.data(), isp.data());
        if (isp == Isf{}) continue;
        ryxsISPToISF_Norm_AMRWB_16s(isp.data(), isf.data(), 16);
        ryxsISFToISP_AMRWB_16s(isf.data(), isf.data(), 16);
        ryxsISPToLPC_AMRWB_16s(isf.data(), again, 16);
        for (size_t i = 0; i <= 16; i++)
            worst = std::max(worst, std::abs(filter[i] - again[i]));
    }
    EXPECT_LE(worst, 82); // 0.02
}

TEST(AmrWbIsf, QuantiserEqualsThePlainFormAndTheDecoderAlsoInPlace) {
    forIsfs(44, [](const Isf &isf, const Isf &past) {
        for (const int mode : {13, 5}) {
            Isf quantised = isf, residual = past, decoded, decoderResidual = past, previous;
            std::array<int16_t, 48> history = {};
            std::array<int16_t, 7> indices = {};
            ASSERT_EQ(ryxsISFQuant_AMRWB_16s(isf.data(), residual.data(), quantised.data(), indices.data(), mode), 0);
            ASSERT_EQ(indices, quantise(isf, past, mode == 5));
            ASSERT_EQ(ryxsISFQuantDecode_AMRWB_16s(indices.data(), decoded.data(), decoderResidual.data(),
                                                   previous.data(), history.data(), 0, mode),
                      ryxStsOk);
            ASSERT_EQ(decoded, quantised);
            ASSERT_EQ(previous, quantised);
            ASSERT_EQ(decoderResidual, residual);
        }
    });
}

TEST(AmrWbIsf, NoiseQuantiserEqualsThePlainFormAndTheDecoder) {
    forIsfs(45, [](const Isf &isf, const Isf &) {
        Isf quantised = isf, decoded;
        std::array<int16_t, 5> indices;
        ASSERT_EQ(ryxsISFQuantDTX_AMRWB_16s(quantised.data(), quantised.data(), indices.data()), ryxStsOk);
        ASSERT_EQ(indices, quantiseNoise(isf));
        ASSERT_EQ(ryxsISFQuantDecodeDTX_AMRWB_16s(indices.data(), decoded.data()), ryxStsOk);
        ASSERT_EQ(decoded, quantised);
    });
}

} // namespace
