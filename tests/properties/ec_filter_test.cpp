// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cmath>

#include "harness/signals.h"
#include "reference/ec_filter.h"
#include "ryxsc.h"

namespace {

using namespace reference::ec;

class Draw {
public:
    explicit Draw(unsigned seed) : random_(seed) {}
    int number(int low, int high) { return std::uniform_int_distribution(low, high)(random_); }
    float real() { return std::normal_distribution<float>()(random_); }
    std::vector<float> reals(size_t count) {
        std::vector<float> all(count);
        std::generate(all.begin(), all.end(), [this] { return real(); });
        return all;
    }
    std::mt19937 &engine() { return random_; }

private:
    std::mt19937 random_;
};

constexpr int length = 400;

// Steps from tiny to those that make the scaled error wrap.
TEST(EcFullBand, IntegerFiltersEqualThePlainFormForAnySignalsTapsAndSteps) {
    Draw draw(41);
    const auto far = signals::nasty(2000, 42), near = signals::nasty(length, 43), start = signals::nasty(600, 44);
    for (int trial = 0; trial < 600; trial++) {
        const auto &x = far[static_cast<size_t>(trial) % far.size()].samples;
        const auto &s = near[static_cast<size_t>(draw.number(0, 9))].samples;
        std::vector<int16_t> h = start[static_cast<size_t>(draw.number(0, 9))].samples;
        h.resize(static_cast<size_t>(draw.number(1, trial % 2 ? 40 : 600)));
        for (int16_t &tap : h)
            tap = static_cast<int16_t>(tap >> (trial % 3 ? 0 : 6));
        std::vector<int32_t> mu(length);
        for (int32_t &step : mu)
            step = static_cast<int32_t>(draw.engine()()) >> draw.number(0, 31);
        const int taps = static_cast<int>(h.size()), len = draw.number(1, 50);
        std::vector<int16_t> e(length), plainE(length), plainH = h;
        auto errPrev = static_cast<int16_t>(draw.number(-32768, 32767) >> draw.number(0, 15)), plainErrPrev = errPrev;
        ASSERT_EQ(ryxsFIR_EC_16s(&x[600], s.data(), e.data(), len, h.data(), taps), ryxStsOk);
        filter16(&x[600], s.data(), nullptr, plainE.data(), len, plainH.data(), taps, nullptr);
        ASSERT_EQ(e, plainE) << "trial " << trial;
        ASSERT_EQ(ryxsNLMS_EC_16s(&x[600], s.data(), mu.data(), e.data(), len, h.data(), taps, &errPrev), ryxStsOk);
        filter16(&x[600], s.data(), mu.data(), plainE.data(), len, plainH.data(), taps, &plainErrPrev);
        ASSERT_EQ(e, plainE) << "trial " << trial;
        ASSERT_EQ(h, plainH) << "trial " << trial;
        ASSERT_EQ(errPrev, plainErrPrev) << "trial " << trial;
    }
}

// The first 65636 products take the sum to its limit, the others from there to 1, or to -32768 at the 16-bit output.
TEST(EcFullBand, IntegerSumsSaturateBeyond65535Taps) {
    const int taps = 65636 + 65538;
    const std::vector<int16_t> x(taps + 1, -32768);
    std::vector<int16_t> h(taps, -32768);
    std::fill(h.begin() + 65636, h.end(), int16_t{32767});
    const int16_t s = 5;
    const int32_t mu = 0;
    int16_t e = 0, errPrev = 0;
    ASSERT_EQ(ryxsFIR_EC_16s(&x[taps], &s, &e, 1, h.data(), taps), ryxStsOk);
    EXPECT_EQ(e, 4);
    ASSERT_EQ(ryxsNLMS_EC_16s(&x[taps], &s, &mu, &e, 1, h.data(), taps, &errPrev), ryxStsOk);
    EXPECT_EQ(e, 4);
}

TEST(EcFullBand, FloatFilterSumsInTheOrderOfTheTapsWhateverTheLength) {
    Draw draw(45);
    const std::vector<float> x = draw.reals(600), s = draw.reals(100), h = draw.reals(500);
    for (const int taps : {1, 2, 37, 500})
        for (int len = 1; len <= 75; len++) {
            std::vector<float> e(s), wanted(s);
            ASSERT_EQ(ryxsFIR_EC_32f(&x[500], e.data(), e.data(), len, h.data(), taps), ryxStsOk);
            for (int n = 0; n < len; n++)
                wanted[static_cast<size_t>(n)] -= estimate(&x[500] + n, h.data(), taps);
            ASSERT_EQ(e, wanted) << taps << " taps, " << len << " samples";
        }
}

TEST(EcFullBand, BlocksEqualOneBlock) {
    Draw draw(46);
    const size_t total = 3000;
    for (const int taps : {1, 7, 33, 128}) {
        const std::vector<float> x = draw.reals(total + 128), s = draw.reals(total),
                                 mu(total, 0.2F / static_cast<float>(taps));
        std::vector<float> e[2] = {s, s}, h[2] = {std::vector<float>(128), std::vector<float>(128)};
        float errPrev[2] = {};
        ryxsNLMS_EC_32f(&x[128], s.data(), mu.data(), e[0].data(), total, h[0].data(), taps, &errPrev[0]);
        size_t n = 0;
        for (const size_t block : signals::randomBlocks(total, 1, 200, draw.engine())) {
            ryxsNLMS_EC_32f(&x[128 + n], &e[1][n], &mu[n], &e[1][n], static_cast<int>(block), h[1].data(), taps,
                            &errPrev[1]);
            n += block;
        }
        EXPECT_EQ(e[0], e[1]);
        EXPECT_EQ(h[0], h[1]);
        EXPECT_EQ(errPrev[0], errPrev[1]);
    }
}

// Rows of complex values and the pointers to them.
struct Rows {
    Rows(size_t rows, int bands, Draw &draw) : bins(rows * static_cast<size_t>(bands)) {
        for (ryx32fc &bin : bins)
            bin = {draw.real(), draw.real()};
        for (size_t i = 0; i < rows; i++)
            pointers.push_back(&bins[i * static_cast<size_t>(bands)]);
    }
    ryx32fc **data() { return pointers.data(); }

    std::vector<ryx32fc> bins;
    std::vector<ryx32fc *> pointers;
};

TEST(EcSubBand, FloatFilterAndUpdateEqualThePlainForm) {
    Draw draw(47);
    for (const int bands : {1, 2, 3, 4, 5, 6, 7, 8, 11, 15, 17, 33, 4097}) {
        const int taps = draw.number(1, 30);
        Rows far(30, bands, draw), coefs(30, bands, draw), error(1, bands, draw), y(1, bands, draw);
        std::vector<double> step(static_cast<size_t>(bands));
        for (double &mu : step)
            mu = std::fabs(draw.real());
        ASSERT_EQ(ryxsFIRSubband_EC_32fc(far.data(), coefs.data(), y.data()[0], taps, bands), ryxStsOk);
        const std::vector<ryx32fc> before = coefs.bins;
        ASSERT_EQ(
            ryxsFIRSubbandCoeffUpdate_EC_32fc_I(step.data(), far.data(), error.data()[0], coefs.data(), taps, bands),
            ryxStsOk);
        for (int i = 0; i < bands * 30; i++) {
            const auto k = static_cast<size_t>(i % bands), at = static_cast<size_t>(i);
            const ryx32fc wanted =
                i < bands * taps ? updatedBin(before[at], step[k], error.bins[k], far.bins[at]) : before[at];
            ASSERT_TRUE(coefs.bins[at].re == wanted.re && coefs.bins[at].im == wanted.im) << bands << " bands";
            coefs.bins[at] = before[at];
        }
        for (int k = 0; k < bands; k++) {
            const ryx32fc wanted = filterBin(far.data(), coefs.data(), taps, k), got = y.bins[static_cast<size_t>(k)];
            ASSERT_TRUE(got.re == wanted.re && got.im == wanted.im) << bands << " bands";
        }
    }
}

// With a full step and no regularisation the new coefficients give what was wanted for every regressor.
TEST(EcSubBand, AffineProjectionSolvesForEveryRegressor) {
    Draw draw(48);
    for (const int order : {1, 2, 3, 8, 9, 12})
        for (const int bands : {1, 2, 5}) {
            const int taps = 40;
            const auto count = static_cast<size_t>(order);
            Rows far(static_cast<size_t>(taps) + count - 1, bands, draw), coefs(taps, bands, draw);
            Rows wanted(count, bands, draw), error(count, bands, draw), y(1, bands, draw);
            const auto estimateAt = [&](size_t p) {
                return ryxsFIRSubband_EC_32fc(far.data() + p, coefs.data(), y.data()[0], taps, bands);
            };
            for (size_t p = 0; p < count; p++) {
                ASSERT_EQ(estimateAt(p), ryxStsOk);
                for (size_t k = 0; k < y.bins.size(); k++)
                    error.data()[p][k] = {wanted.data()[p][k].re - y.bins[k].re, wanted.data()[p][k].im - y.bins[k].im};
            }
            const std::vector<double> ones(y.bins.size(), 1), zeros(y.bins.size(), 0);
            const double *step[] = {ones.data(), zeros.data()};
            ASSERT_EQ(
                ryxsFIRSubbandAPCoeffUpdate_EC_32fc_I(step, far.data(), error.data(), coefs.data(), taps, bands, order),
                ryxStsOk);
            for (size_t p = 0; p < count; p++) {
                ASSERT_EQ(estimateAt(p), ryxStsOk);
                for (size_t k = 0; k < y.bins.size(); k++) {
                    ASSERT_NEAR(y.bins[k].re, wanted.data()[p][k].re, 1e-4);
                    ASSERT_NEAR(y.bins[k].im, wanted.data()[p][k].im, 1e-4);
                }
            }
        }
}

} // namespace
