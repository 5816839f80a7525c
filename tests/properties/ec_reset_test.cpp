// SPDX-License-Identifier: BSD-2-Clause
// Controllers and noise filter behind a reset equal fresh ones, and the update of the affine projection equals the plain
// one where both are defined.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include "ryxsc.h"

namespace {

constexpr int bands = 33, taps = 4, hop = 32, rate = 8000;

// Random spectra, one row behind the other, with the pointers to them.
template <class Value> struct Rows {
    explicit Rows(std::mt19937 &random, double amplitude) : values(size_t{taps} * bands) {
        std::uniform_real_distribution<double> part(-amplitude, amplitude);
        using Part = decltype(Value::re);
        for (Value &value : values)
            value = {static_cast<Part>(part(random)), static_cast<Part>(part(random))};
        for (size_t t = 0; t < taps; t++)
            rows.push_back(&values[t * bands]);
    }
    std::vector<Value> values;
    std::vector<const Value *> rows;
};

template <class State> struct Block {
    explicit Block(int size) : bytes(static_cast<size_t>(size) + 1) {}
    operator State *() { return reinterpret_cast<State *>(bytes.data() + 1); }
    std::vector<unsigned char> bytes;
};

int sizeFloat() {
    int size = 0;
    EXPECT_EQ(ryxsSubbandControllerGetSize_EC_32f(bands, taps, hop, rate, &size), ryxStsOk);
    return size;
}

struct FloatUpdates {
    FloatUpdates() : state(sizeFloat()) { ryxsSubbandControllerInit_EC_32f(state, bands, taps, hop, rate); }
    void reset() { EXPECT_EQ(ryxsSubbandControllerReset_EC_32f(state), ryxStsOk); }
    std::vector<double> run(unsigned seed) {
        std::mt19937 random(seed);
        std::vector<double> all;
        for (int i = 0; i < 6; i++) {
            const Rows<ryx32fc> history(random, 3000), coefs(random, 1), error(random, 500);
            double step[bands], shadow[bands];
            float residual[bands];
            EXPECT_EQ(ryxsSubbandControllerUpdate_EC_32f(history.rows.data(), coefs.rows.data(), error.rows[0], step,
                                                         shadow, residual, state),
                      ryxStsOk);
            int talks = -1;
            EXPECT_EQ(ryxsSubbandControllerDT_EC_32f(&talks, state), ryxStsOk);
            all.insert(all.end(), step, step + bands);
            all.insert(all.end(), shadow, shadow + bands);
            all.insert(all.end(), residual, residual + bands);
            all.push_back(talks);
        }
        return all;
    }
    Block<SubbandControllerState_EC_32f> state;
};

int sizeFixed() {
    int size = 0;
    EXPECT_EQ(ryxsSubbandControllerGetSize_EC_16s(bands, taps, hop, rate, &size), ryxStsOk);
    return size;
}

struct FixedUpdates {
    FixedUpdates() : state(sizeFixed()) { ryxsSubbandControllerInit_EC_16s(state, bands, taps, hop, rate, 28); }
    void reset() { EXPECT_EQ(ryxsSubbandControllerReset_EC_16s(state), ryxStsOk); }
    std::vector<double> run(unsigned seed) {
        std::mt19937 random(seed);
        std::vector<double> all;
        for (int i = 0; i < 6; i++) {
            const Rows<ryx32sc> history(random, 3000), coefs(random, 1 << 28), error(random, 500);
            std::array<std::array<int32_t, bands>, 4> rows;
            EXPECT_EQ(ryxsSubbandControllerUpdate_EC_16s(history.rows.data(), coefs.rows.data(), error.rows[0],
                                                         rows[0].data(), rows[1].data(), rows[2].data(), rows[3].data(),
                                                         state),
                      ryxStsOk);
            for (const auto &row : rows)
                all.insert(all.end(), row.begin(), row.end());
        }
        return all;
    }
    Block<SubbandControllerState_EC_16s> state;
};

int sizeFilter() {
    int size = 0;
    EXPECT_EQ(ryxsNoiseFilterGetSize_EC_32f(bands, hop, rate, &size), ryxStsOk);
    return size;
}

struct FilteredSpectra {
    FilteredSpectra() : state(sizeFilter()) {
        ryxsNoiseFilterInit_EC_32f(state, bands, hop, rate, ryxEcFilterBoth, 0.01F, 0.25F);
    }
    void reset() { EXPECT_EQ(ryxsNoiseFilterReset_EC_32f(state), ryxStsOk); }
    std::vector<double> run(unsigned seed) {
        std::mt19937 random(seed);
        std::vector<double> all;
        for (int i = 0; i < 6; i++) {
            const Rows<ryx32fc> history(random, 3000), coefs(random, 1), echo(random, 900);
            Rows<ryx32fc> error(random, 500);
            const std::vector<float> residual(bands, 1000.F * static_cast<float>(i));
            EXPECT_EQ(ryxsNoiseFilter_EC_32fc_I(echo.rows[0], residual.data(), history.rows.data(), coefs.rows.data(),
                                                taps, error.values.data(), state),
                      ryxStsOk);
            for (int k = 0; k < bands; k++)
                all.push_back(error.values[static_cast<size_t>(k)].re);
        }
        return all;
    }
    Block<NoiseFilterState_EC_32f> state;
};

template <class Used> void expectResetMakesFresh() {
    Used used, fresh;
    const std::vector<double> first = fresh.run(2);
    EXPECT_FALSE(used.run(1) == first); // the signals differ
    EXPECT_FALSE(used.run(2) == first); // so does what the state remembers
    used.reset();
    EXPECT_TRUE(used.run(2) == first);
}

TEST(EcReset, ForgetsAllThatWasLearnt) {
    expectResetMakesFresh<FloatUpdates>();
    expectResetMakesFresh<FixedUpdates>();
    expectResetMakesFresh<FilteredSpectra>();
}

// The saved set comes back at once where its residual is the smaller one, but not while the energies still remember that
// both were as loud.
TEST(EcReset, FullBandForgetsTheResiduals) {
    int size = 0;
    ASSERT_EQ(ryxsFullbandControllerGetSize_EC_16s(hop, taps, rate, &size), ryxStsOk);
    ASSERT_EQ(size, 88);
    Block<FullbandControllerState_EC_16s> state(size);
    ASSERT_EQ(ryxsFullbandControllerInit_EC_16s(state, hop, taps, rate), ryxStsOk);
    const std::vector<int16_t> loud(hop, 20000), silence(hop, 0);
    const auto isRestored = [&](const std::vector<int16_t> &residualOfSaved) {
        int16_t adaptive[taps] = {1, 2, 3, 4}, saved[taps] = {5, 6, 7, 8};
        int32_t multiplier = 0;
        EXPECT_EQ(
            ryxsFullbandController_EC_16s(loud.data(), residualOfSaved.data(), adaptive, saved, &multiplier, state),
            ryxStsOk);
        return adaptive[0] == 5;
    };
    for (int i = 0; i < 50; i++) // four time constants
        EXPECT_FALSE(isRestored(loud));
    EXPECT_FALSE(isRestored(silence));
    EXPECT_EQ(ryxsFullbandControllerReset_EC_16s(state), ryxStsOk);
    EXPECT_TRUE(isRestored(silence));
}

TEST(EcProjection, WithOneRegressorTheStepIsTheControllersOwn) {
    FloatUpdates plain, projecting;
    std::mt19937 random(3);
    for (int i = 0; i < 20; i++) {
        const Rows<ryx32fc> history(random, 3000), coefs(random, 0.2), error(random, 500);
        double step[bands], shadow[bands], one[bands], regularisation[bands];
        float residual[bands], residualProjecting[bands];
        double *const rows[] = {one, regularisation};
        ASSERT_EQ(ryxsSubbandControllerUpdate_EC_32f(history.rows.data(), coefs.rows.data(), error.rows[0], step,
                                                     shadow, residual, plain.state),
                  ryxStsOk);
        ASSERT_EQ(ryxsSubbandAPControllerUpdate_EC_32f(history.rows.data(), coefs.rows.data(), error.rows[0], rows,
                                                       residualProjecting, 1, projecting.state),
                  ryxStsOk);
        for (size_t k = 0; k < bands; k++) {
            double energy = 0;
            for (const ryx32fc *row : history.rows)
                energy += double{row[k].re} * row[k].re + double{row[k].im} * row[k].im;
            EXPECT_EQ(one[k], 1);
            EXPECT_NEAR(1 / (energy + regularisation[k]) / step[k], 1, 1e-4) << "band " << k << ", update " << i;
            EXPECT_NEAR(residualProjecting[k] / residual[k], 1, 1e-4);
        }
    }
    double step[2][bands];
    double *const rows[] = {step[0], step[1]};
    const Rows<ryx32fc> any(random, 1);
    EXPECT_EQ(ryxsSubbandAPControllerUpdate_EC_32f(any.rows.data(), any.rows.data(), any.rows[0], rows, nullptr, 0,
                                                   plain.state),
              ryxStsOutOfRange);
}

} // namespace
