// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "harness/signals.h"
#include "reference/g729_lp.h"
#include "ryxsc.h"

namespace {

using namespace reference::g729lp;
using std::numbers::pi;

constexpr Search mainSearch = {60, 4}, annexASearch = {50, 2};
constexpr size_t filters = 3000;
constexpr size_t window = 240;

int uniform(std::mt19937 &random, int low, int high) {
    return std::uniform_int_distribution(low, high)(random);
}

// Autocorrelations of windowed nasty signals, normalised, without a lag window, so that many filters are ill-conditioned.
std::vector<std::vector<int32_t>> autocorrelations(size_t lags) {
    std::vector<std::vector<int32_t>> all;
    for (const auto &[name, samples] : signals::nasty(8000, 31)) {
        for (size_t start = 0; start + window <= samples.size(); start += 80) {
            std::vector<double> x(window), r(lags);
            for (size_t i = 0; i < window; i++)
                x[i] = samples[start + i] * std::sin(pi * (static_cast<double>(i) + 0.5) / window);
            for (size_t lag = 0; lag < lags; lag++)
                for (size_t i = lag; i < window; i++)
                    r[lag] += x[i] * x[i - lag];
            const double scale = std::exp2(30 - std::floor(std::log2(std::max(r[0], 1.0))));
            all.emplace_back();
            for (const double value : r)
                all.back().push_back(static_cast<int32_t>(value * scale));
            all.back()[0] = std::max(all.back()[0], 1 << 30);
        }
    }
    return all;
}

// A filter of random reflection coefficients and the autocorrelation that leads to it, r[0] = 1.
struct RandomFilter {
    std::vector<double> a = {1}, r = {1};

    RandomFilter(std::mt19937 &random, size_t taps, double lowest, double highest) {
        double error = 1;
        for (size_t m = 1; m <= taps; m++) {
            const double magnitude = std::uniform_real_distribution(lowest, highest)(random);
            const double k = random() % 2 ? magnitude : -magnitude;
            a.push_back(0);
            r.push_back(-k * error);
            for (size_t j = 1; j < m; j++)
                r[m] -= a[j] * r[m - j];
            const std::vector<double> previous = a;
            for (size_t j = 1; j <= m; j++)
                a[j] += k * previous[m - j];
            error *= 1 - k * k;
        }
    }

    Lpcs<float> single() const {
        Lpcs<float> rounded;
        std::transform(a.begin(), a.end(), rounded.begin(), [](double x) { return static_cast<float>(x); });
        return rounded;
    }
};

void compareLevinson(const std::vector<int32_t> &r) {
    const int order = static_cast<int>(r.size()) - 1;
    constexpr int16_t untouched = 0x5a5a;
    std::vector<int16_t> lpc(r.size(), untouched), reflections(r.size() - 1, untouched);
    int16_t energy = untouched;
    const ryxStatus status = ryxsLevinsonDurbin_G729_32s16s(r.data(), order, lpc.data(), reflections.data(), &energy);
    const std::optional<Filter> plain = levinson(r);
    ASSERT_EQ(status, plain ? ryxStsOk : ryxStsOverflow);
    ASSERT_EQ(lpc, plain ? plain->lpc : std::vector<int16_t>(r.size(), untouched));
    ASSERT_EQ(reflections, plain ? plain->reflections : std::vector<int16_t>(r.size() - 1, untouched));
    ASSERT_EQ(energy, plain ? plain->energy : untouched);
}

TEST(G729Lp, LevinsonEqualsThePlainFormAtAllOrders) {
    for (std::vector<int32_t> r : autocorrelations(31)) {
        for (size_t lags = r.size(); lags > 1; lags = lags > 12 ? lags - 3 : lags - 1) {
            r.resize(lags);
            ASSERT_NO_FATAL_FAILURE(compareLevinson(r)) << "order " << lags - 1;
        }
    }
}

TEST(G729Lp, LevinsonEqualsThePlainFormOnWhatNoSpeechGives) {
    std::mt19937 random(32);
    for (int trial = 0; trial < 20000; trial++) {
        std::vector<int32_t> r(static_cast<size_t>(uniform(random, 2, 31)));
        const int range = uniform(random, 8, 31), energyShift = trial % 4 ? 1 : uniform(random, 0, 17);
        for (int32_t &value : r)
            value = static_cast<int32_t>(random()) >> (31 - range);
        r[0] =
            static_cast<int32_t>(random() | 0x80000000) >> energyShift; // mostly normalised; negative or tiny at times
        if (trial % 4) r[0] = ~r[0];
        ASSERT_NO_FATAL_FAILURE(compareLevinson(r)) << "trial " << trial;
    }
}

TEST(G729Lp, LevinsonEqualsThePlainFormOnFiltersOfLargeCoefficients) {
    std::mt19937 random(39);
    for (int trial = 0; trial < 5000; trial++) {
        const double highest = trial % 2 ? 0.75 : 0.999;
        const auto taps = static_cast<size_t>(uniform(random, 3, 30));
        const RandomFilter filter(random, taps, trial % 3 ? 0.4 : 0, highest);
        std::vector<int32_t> r;
        for (const double value : filter.r)
            r.push_back(static_cast<int32_t>(2147483647.0 * value));
        ASSERT_NO_FATAL_FAILURE(compareLevinson(r)) << "trial " << trial;
    }
}

TEST(G729Lp, LagWindowIsTheGaussianOfItsFormulaAtAnyOrder) {
    std::mt19937 random(33);
    std::vector<int32_t> taper(12, 0x7fffffff); // times the window, almost the window itself
    ASSERT_EQ(ryxsLagWindow_G729_32s_I(taper.data(), 12), ryxStsOk);
    for (size_t i = 0; i < taper.size(); i++) {
        const double phase = 2 * pi * 60 / 8000 * static_cast<double>(i + 1);
        ASSERT_NEAR(taper[i] * std::exp2(-31), std::exp(-phase * phase / 2) / 1.0001, 2e-7) << "lag " << i + 1;
    }
    for (int trial = 0; trial < 12000; trial++) { // lags in vectors and behind them, for one order or another
        std::vector<int32_t> whole(12);
        for (int32_t &value : whole)
            value = static_cast<int32_t>(random()) >> (trial % 24);
        std::vector<int32_t> part = whole;
        const int order = 1 + trial % 11;
        ryxsLagWindow_G729_32s_I(part.data(), order);
        ASSERT_EQ(ryxsLagWindow_G729_32s_I(whole.data(), 12), ryxStsOk);
        ASSERT_TRUE(std::equal(whole.begin(), whole.begin() + order, part.begin())) << "order " << order;
    }
}

template <class Number> using Convert = ryxStatus (*)(const Number *, const Number *, Number *);

// Returns whether ten roots were found.
template <class Number> bool compareRoots(const Lpcs<Number> &a, Search search, Convert<Number> convert) {
    Lsps<Number> lsp = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
    const auto plain = lpcToLsp(a, search);
    const auto expected = plain.value_or(lsp);
    EXPECT_EQ(convert(a.data(), lsp.data(), lsp.data()), ryxStsOk); // the previous LSPs in place
    EXPECT_EQ(lsp, expected);
    return plain.has_value();
}

TEST(G729Lp, FixedPointRootsEqualThePlainForm) {
    std::mt19937 random(34);
    size_t complete = 0;
    for (size_t trial = 0; trial < filters && !HasFailure(); trial++) {
        SCOPED_TRACE(trial);
        // Stable filters, filters on the brink, and arbitrary coefficients: Q10, saturating series, too few roots.
        const RandomFilter filter(random, order, 0, trial % 3 == 0 ? 0.8 : 1);
        const int shift = uniform(random, 0, 6);
        Lpcs<int16_t> a;
        for (size_t j = 0; j <= order; j++) {
            const auto arbitrary = static_cast<int16_t>(static_cast<int16_t>(random()) >> shift);
            const double q12 = std::clamp(std::round(4096 * filter.a[j]), -32768.0, 32767.0);
            a[j] = trial % 3 == 2 ? arbitrary : static_cast<int16_t>(q12);
        }
        complete += compareRoots<int16_t>(a, mainSearch, ryxsLPCToLSP_G729_16s);
        complete += compareRoots<int16_t>(a, annexASearch, ryxsLPCToLSP_G729A_16s);
    }
    EXPECT_GT(complete, filters / 2);
}

TEST(G729Lp, FloatRootsEqualThePlainFormBitByBit) {
    std::mt19937 random(35);
    size_t complete = 0;
    for (size_t trial = 0; trial < filters && !HasFailure(); trial++) {
        SCOPED_TRACE(trial);
        Lpcs<float> a = RandomFilter(random, order, 0, trial % 2 ? 0.8 : 1.02).single();
        if (trial == 0) a = {1, 0, 1}; // both polynomials vanish at a grid point: no slope to divide by
        complete += compareRoots<float>(a, mainSearch, ryxsLPCToLSP_G729_32f);
        complete += compareRoots<float>(a, annexASearch, ryxsLPCToLSP_G729A_32f);
    }
    EXPECT_GT(complete, filters / 2);
}

TEST(G729Lp, LspsBecomeTheirFilterAgain) {
    std::mt19937 random(36);
    size_t complete = 0;
    for (size_t trial = 0; trial < filters; trial++) {
        const Lpcs<float> a = RandomFilter(random, order, 0, 0.7).single();
        Lpcs<float> again;
        constexpr Lsps<float> none = {2};
        Lsps<float> lsp;
        ryxsLPCToLSP_G729_32f(a.data(), none.data(), lsp.data());
        if (lsp == none) continue; // two roots of one polynomial between two grid points
        complete++;
        ryxsLSPToLPC_G729_32f(lsp.data(), again.data());
        for (size_t j = 0; j <= order; j++)
            ASSERT_NEAR(a[j], again[j], 0.01) << "trial " << trial << ", coefficient " << j;
    }
    EXPECT_GT(complete, filters * 9 / 10);
}

TEST(G729Lp, ConversionsOfLspsAndLsfsEqualThePlainForm) {
    std::mt19937 random(37);
    for (int trial = 0; trial < 40000; trial++) {
        // Every value once, ten in a row; then clusters, wide and narrow, also rising and at the ends of the range.
        Lsps<int16_t> input, output;
        const int level = uniform(random, -40000, 40000), width = 1 << uniform(random, 0, 16);
        for (size_t i = 0; i < order; i++) {
            const int value =
                trial < 6554 ? 32767 - 10 * trial - static_cast<int>(i) : level + uniform(random, -width, width);
            input[i] = static_cast<int16_t>(std::clamp(value, -32768, 32767));
        }
        Lpcs<int16_t> lpc;
        ryxsLSPToLPC_G729_16s(input.data(), lpc.data());
        ASSERT_EQ(lpc, lspToLpc(input));
        ryxsLSPToLSF_G729_16s(input.data(), output.data());
        ASSERT_EQ(output, lspToLsf(input, false));
        ryxsLSPToLSF_Norm_G729_16s(input.data(), output.data());
        ASSERT_EQ(output, lspToLsf(input, true));
        output = input;
        ryxsLSFToLSP_G729_16s(output.data(), output.data());
        ASSERT_EQ(output, lsfToLsp(input));
    }
}

TEST(G729Lp, InterpolationIsTheSameAtAnyLengthAndAddressAndInPlace) {
    const std::vector<int16_t> input = signals::nasty(300, 38)[2].samples;
    for (size_t len = 1; len < 70; len++) {
        for (size_t offset = 0; offset < 9; offset++) {
            std::vector<int16_t> work = input, expected = input;
            for (size_t i = offset; i < offset + len; i++)
                expected[i] = static_cast<int16_t>((input[i] >> 1) + (input[100 + i] >> 1));
            ryxsInterpolate_G729_16s(&work[offset], &work[100 + offset], &work[offset], static_cast<int>(len));
            ASSERT_EQ(work, expected);
        }
    }
}

} // namespace
