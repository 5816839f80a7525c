// SPDX-License-Identifier: BSD-2-Clause
// The sub-band adaptation controller in integers: its arithmetic beside double precision, its decisions beside those of the
// controller in single precision, and a whole canceller in integers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "harness/guarded_buffer.h"
#include "reference/ec_scene.h"
#include "ryxsc.h"

namespace {

// Spectra or sets of coefficients with the pointers to their rows.
template <class Value> struct Matrix {
    Matrix(int rowCount, int bands) : width(static_cast<size_t>(bands)), values(static_cast<size_t>(rowCount) * width) {
        for (size_t t = 0; t < static_cast<size_t>(rowCount); t++)
            rows.push_back(&values[t * width]);
    }
    Matrix(const Matrix &) = delete;
    Matrix &operator=(const Matrix &) = delete;
    void fill(int value) { std::fill(values.begin(), values.end(), Value{static_cast<decltype(Value::re)>(value), 0}); }
    int first() const { return static_cast<int>(values[0].re); }

    size_t width;
    std::vector<Value> values;
    std::vector<Value *> rows;
};

// A controller whose end nothing may touch.
class FixedController {
public:
    FixedController(int bands, int taps, int hop, int rate, int scaleFactor) {
        int size = 0;
        EXPECT_EQ(ryxsSubbandControllerGetSize_EC_16s(bands, taps, hop, rate, &size), ryxStsOk);
        buffer_.place(static_cast<size_t>(size), 1);
        EXPECT_EQ(ryxsSubbandControllerInit_EC_16s(*this, bands, taps, hop, rate, scaleFactor), ryxStsOk);
    }
    operator SubbandControllerState_EC_16s *() { return buffer_.as<SubbandControllerState_EC_16s>(); }
    bool isIntact() const { return buffer_.isIntact(); }

private:
    ryxtest::GuardedBuffer buffer_;
};

struct StepRows {
    explicit StepRows(int bands) : main(size_t(bands)), mainExponent(main), shadow(main), shadowExponent(main) {}
    std::vector<int32_t> main, mainExponent, shadow, shadowExponent;
};

double energy(ryx32sc x) {
    return static_cast<double>(x.re) * x.re + static_cast<double>(x.im) * x.im;
}

// The rules in double precision.
struct Model {
    Model(int bands, int tapCount, int hop, int rate)
        : near(size_t(bands)), variance(size_t(bands), 4.0 / tapCount), taps(tapCount),
          overlap(2.0 * (bands - 1) / hop), alpha(std::exp(-hop / 0.036 / rate)),
          drift(std::exp(-2.0 * hop / 1000 / rate)), regularisation(3000.0 * (bands - 1)) {}

    // Step of the main set and that of the shadow.
    std::pair<double, double> update(size_t k, double w2, double x2, double error) {
        double &v = variance[k];
        v = drift * v + (1 - drift) * w2 / taps;
        near[k] = isFirst ? error : alpha * near[k] + (1 - alpha) * error;
        const double step = v / (v * x2 + overlap * near[k] + regularisation);
        v = step * (overlap * near[k] + regularisation +
                    v * x2 * (1 - 1 / overlap / taps)); // v (1 - step x2 / (overlap taps))
        return {step, 1 / (x2 + regularisation * taps)};
    }

    std::vector<double> near, variance;
    double taps, overlap, alpha, drift, regularisation;
    bool isFirst = true;
};

TEST(EcSubbandControllerFixed, StepsAreThoseOfTheRulesToTheirFourteenBits) {
    std::mt19937 random(81);
    const struct {
        int bands, taps, hop, rate, scaleFactor;
    } shapes[] = {{65, 8, 64, 8000, 28}, {129, 32, 80, 16000, 20}, {4, 1, 6, 8000, 0}, {33, 255, 1, 16000, 31}};
    for (const auto &[bands, taps, hop, rate, scaleFactor] : shapes) {
        FixedController controller(bands, taps, hop, rate, scaleFactor);
        Model model(bands, taps, hop, rate);
        Matrix<ryx32sc> history(taps, bands), coefs(taps, bands), error(1, bands);
        StepRows steps(bands);
        for (int block = 0; block < 60; block++) {
            // From silence to the ends of 32 bits.
            const auto any = [&](ryx32sc &x) {
                const int shift = block % 7 == 6 ? 0 : 6 + static_cast<int>(random() % 20);
                x = {static_cast<int32_t>(random()) >> shift, static_cast<int32_t>(random()) >> shift};
                if (block % 7 == 5) x = {};
            };
            std::ranges::for_each(history.values, any);
            std::ranges::for_each(coefs.values, any);
            std::ranges::for_each(error.values, any);
            ASSERT_EQ(ryxsSubbandControllerUpdate_EC_16s(history.rows.data(), coefs.rows.data(), error.rows[0],
                                                         steps.main.data(), steps.mainExponent.data(),
                                                         steps.shadow.data(), steps.shadowExponent.data(), controller),
                      ryxStsOk);
            for (size_t k = 0; k < size_t(bands); k++) {
                double w2 = 0, x2 = 0;
                for (size_t t = 0; t < size_t(taps); t++) {
                    w2 += std::ldexp(energy(coefs.rows[t][k]), -2 * scaleFactor);
                    x2 += energy(history.rows[t][k]);
                }
                const auto [main, shadow] = model.update(k, w2, x2, energy(error.rows[0][k]));
                const double found = std::ldexp(steps.main[k], -steps.mainExponent[k] - scaleFactor);
                const double foundShadow = std::ldexp(steps.shadow[k], -steps.shadowExponent[k] - scaleFactor);
                ASSERT_NEAR(found / main, 1, 7e-5) << block << " " << k;
                ASSERT_NEAR(foundShadow / shadow, 1, 7e-5) << block << " " << k;
                ASSERT_TRUE(steps.main[k] >= 16384 && steps.main[k] <= 32767) << steps.main[k];
            }
            model.isFirst = false;
        }
        EXPECT_TRUE(controller.isIntact());
    }
}

struct Decision {
    int event, block;
};

// The residuals of all sets jump 300 times, by a factor of three at least. Factors in Q15 may move a
// decision by some blocks, of a millisecond here.
class EcDecisions : public testing::Test {
protected:
    static constexpr int bands = 5, taps = 3, hop = 8, rate = 8000, blocksPerLevel = 200, blockCount = 60000;

    // body(block, signals) returns the event; whose error is whose follows from it.
    template <class Sample, class Body> static std::vector<Decision> run(Body body) {
        std::mt19937 random(82);
        const int levels[] = {1, 3, 10, 30, 100, 300, 1000, 3000, 10000, 30000};
        int level[4] = {};
        std::vector<Decision> decisions;
        for (int block = 0; block < blockCount; block++) {
            if (block % blocksPerLevel == 0)
                std::ranges::generate(level, [&] { return levels[random() % std::size(levels)]; });
            Sample signals[4][hop];
            for (int i = 0; i < 4; i++)
                for (int n = 0; n < hop; n++)
                    signals[i][n] = static_cast<Sample>(n % 2 ? level[i] : -level[i]);
            const int event = body(block, signals);
            const int mainLevel[] = {1, 2, 1, 0, 3}, shadowLevel[] = {2, 2, 1, 0, 3};
            const int before[] = {level[0], level[1], level[2], level[3]};
            level[1] = before[mainLevel[event]];
            level[2] = before[shadowLevel[event]];
            if (event != ryxEcNone) decisions.push_back({event, block});
        }
        return decisions;
    }

    static std::vector<Decision> ofTheFloatingOne() {
        int size = 0;
        EXPECT_EQ(ryxsSubbandControllerGetSize_EC_32f(bands, taps, hop, rate, &size), ryxStsOk);
        std::vector<std::byte> memory(static_cast<size_t>(size));
        auto *const controller = reinterpret_cast<SubbandControllerState_EC_32f *>(memory.data());
        ryxsSubbandControllerInit_EC_32f(controller, bands, taps, hop, rate);
        Matrix<ryx32fc> a(taps, bands), b(taps, bands);
        return run<float>([&](int, const float(*signals)[hop]) {
            int event = -1;
            ryxsSubbandController_EC_32f(signals[0], signals[1], signals[2], signals[3], a.rows.data(), b.rows.data(),
                                         &event, controller);
            return event;
        });
    }

    // The first coefficient of a set tells which one it is.
    static std::vector<Decision> ofTheFixedOne() {
        FixedController controller(bands, taps, hop, rate, 0);
        Matrix<ryx32sc> a(taps, bands), b(taps, bands), impulses(taps, bands);
        impulses.rows[0][0] = {1, 0};
        int backup = 0;
        const std::vector<Decision> decisions = run<int16_t>([&](int block, const int16_t(*signals)[hop]) {
            const int main = 2 * block + 1, shadow = main + 1;
            a.fill(main), b.fill(shadow);
            int event = -1, onProbation = -1;
            ryx32sc dst[bands];
            EXPECT_EQ(ryxsSubbandControllerBackup_EC_16s(impulses.rows.data(), dst, &onProbation, controller),
                      ryxStsOk);
            if (onProbation) {
                EXPECT_EQ(dst[0].re, backup);
                EXPECT_EQ(ryxsSubbandController_EC_16s(signals[0], signals[1], signals[2], nullptr, a.rows.data(),
                                                       b.rows.data(), &event, controller),
                          ryxStsNullPtr);
            }
            EXPECT_EQ(ryxsSubbandController_EC_16s(signals[0], signals[1], signals[2], signals[3], a.rows.data(),
                                                   b.rows.data(), &event, controller),
                      ryxStsOk);
            if (event == ryxEcTakenOver && !onProbation) backup = main;
            const int first[] = {main, shadow, main, 0, backup}, second[] = {shadow, shadow, main, 0, backup};
            EXPECT_EQ(a.values.back().re, first[event]) << block;
            EXPECT_EQ(b.values.back().re, second[event]) << block;
            return event;
        });
        EXPECT_TRUE(controller.isIntact());
        return decisions;
    }
};

TEST_F(EcDecisions, AreThoseOfTheFloatingOne) {
    const std::vector<Decision> wanted = ofTheFloatingOne(), found = ofTheFixedOne();
    ASSERT_EQ(found.size(), wanted.size());
    std::array<int, 5> counts = {};
    for (size_t i = 0; i < found.size(); i++) {
        ASSERT_EQ(found[i].event, wanted[i].event) << found[i].block << " " << wanted[i].block;
        ASSERT_LE(std::abs(found[i].block - wanted[i].block), 3) << found[i].block;
        counts.at(static_cast<size_t>(found[i].event))++;
    }
    for (const int event : {ryxEcTakenOver, ryxEcShadowReset, ryxEcAnew, ryxEcRestored}) {
        EXPECT_GE(counts.at(static_cast<size_t>(event)), 5) << event;
    }
}

// A bank whose window is all ones, Q13.
class Transform {
public:
    static constexpr int order = 7, points = 128, bands = 65;

    explicit Transform(int hop) {
        int stateSize = 0, initSize = 0, workSize = 0;
        const std::vector<int16_t> ones(points, 8192);
        EXPECT_EQ(ryxsSubbandProcessGetSize_16s(order, points, &stateSize, &initSize, &workSize), ryxStsOk);
        state_.resize(static_cast<size_t>(stateSize));
        work_.resize(static_cast<size_t>(workSize));
        EXPECT_EQ(ryxsSubbandProcessInit_16s(state(), order, hop, points, ones.data(), nullptr), ryxStsOk);
    }
    void analyse(const int16_t *samples, ryx32sc *spectrum) {
        EXPECT_EQ(ryxsSubbandAnalysis_16s32sc_Sfs(samples, spectrum, state(), 0, work_.data()), ryxStsOk);
    }
    void synthesise(const ryx32sc *spectrum, int16_t *samples, int scaleFactor) {
        EXPECT_EQ(ryxsSubbandSynthesis_32sc16s_Sfs(spectrum, samples, state(), scaleFactor, work_.data()), ryxStsOk);
    }

private:
    SubbandProcessState *state() { return reinterpret_cast<SubbandProcessState *>(state_.data()); }
    std::vector<std::byte> state_, work_;
};

// Overlap-save in integers throughout: 64 ms at 8 kHz in blocks of 8 ms.
class FixedCanceller {
public:
    static constexpr int hop = 64, taps = 8, bands = Transform::bands, format = 28;

    void process(const int16_t *far, const int16_t *s, int16_t *output) {
        std::rotate(history_.rows.begin(), history_.rows.end() - 1, history_.rows.end());
        far_.analyse(far, history_.rows[0]);
        int16_t e1[hop], e2[hop], e3[hop];
        int onProbation = 0, event = 0;
        ryx32sc y[bands];
        filter(main_, s, e1);
        filter(shadow_, s, e2);
        ryxsSubbandControllerBackup_EC_16s(history_.rows.data(), y, &onProbation, controller_);
        if (onProbation) subtract(y, s, e3);
        ryxsSubbandController_EC_16s(s, e1, e2, onProbation ? e3 : nullptr, main_.rows.data(), shadow_.rows.data(),
                                     &event, controller_);
        events[static_cast<size_t>(event)]++;
        const int16_t *const mainError[] = {e1, e2, e1, s, e3}, *const shadowError[] = {e2, e2, e1, s, e3};
        std::copy_n(mainError[event], hop, output);
        adapt(mainError[event], shadowError[event]);
        constrain(main_.rows[oldest_]);
        constrain(shadow_.rows[oldest_]);
        oldest_ = (oldest_ + 1) % taps;
        int now = 0;
        ryxsSubbandControllerDT_EC_16s(&now, controller_);
        doubleTalk.push_back(now);
    }

    std::array<int, 5> events = {};
    std::vector<int> doubleTalk;

private:
    void filter(const Matrix<ryx32sc> &set, const int16_t *s, int16_t *error) {
        ryx32sc y[bands];
        ryxsFIRSubband_EC_32sc_Sfs(history_.rows.data(), set.rows.data(), y, taps, bands, format);
        subtract(y, s, error);
    }

    void subtract(const ryx32sc *y, const int16_t *s, int16_t *error) {
        int16_t estimate[Transform::points];
        transform_.synthesise(y, estimate, 0);
        for (int n = 0; n < hop; n++)
            error[n] = static_cast<int16_t>(std::clamp(s[n] - estimate[hop + n], -32768, 32767));
    }

    void analyse(const int16_t *error, ryx32sc *spectrum) {
        int16_t padded[Transform::points] = {};
        std::copy_n(error, hop, padded + hop);
        forward_.analyse(padded, spectrum);
    }

    void adapt(const int16_t *mainError, const int16_t *shadowError) {
        ryx32sc mainSpectrum[bands], shadowSpectrum[bands];
        analyse(mainError, mainSpectrum);
        analyse(shadowError, shadowSpectrum);
        const auto rows = history_.rows.data();
        ryxsSubbandControllerUpdate_EC_16s(rows, main_.rows.data(), mainSpectrum, steps_.main.data(),
                                           steps_.mainExponent.data(), steps_.shadow.data(),
                                           steps_.shadowExponent.data(), controller_);
        ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I(rows, mainSpectrum, main_.rows.data(), taps, steps_.main.data(),
                                               steps_.mainExponent.data(), 0, bands, 0);
        ryxsFIRSubbandLowCoeffUpdate_EC_32sc_I(rows, shadowSpectrum, shadow_.rows.data(), taps, steps_.shadow.data(),
                                               steps_.shadowExponent.data(), 0, bands, 0);
    }

    // Takes the second half of the response away, in Q16.
    void constrain(ryx32sc *coefs) {
        int16_t response[Transform::points];
        ryx32sc excess[bands];
        transform_.synthesise(coefs, response, format - 16);
        std::fill_n(response, hop, int16_t{0});
        forward_.analyse(response, excess);
        for (int k = 0; k < bands; k++)
            coefs[k] = {coefs[k].re - excess[k].re * (1 << (format - 16)),
                        coefs[k].im - excess[k].im * (1 << (format - 16))};
    }

    FixedController controller_{bands, taps, hop, 8000, format};
    Matrix<ryx32sc> history_{taps, bands}, main_{taps, bands}, shadow_{taps, bands};
    StepRows steps_{bands};
    Transform far_{hop}, transform_{Transform::points}, forward_{Transform::points};
    size_t oldest_ = 0;
};

TEST(EcSubbandControllerFixed, MakesACancellerThatLearnsFastAndKeepsThePathInDoubleTalk) {
    for (const ec::Scene &scene : {ec::singleTalk(), ec::doubleTalk()}) {
        FixedCanceller canceller;
        std::vector<double> output;
        for (size_t i = 0; i + 64 <= scene.far.size(); i += 64) {
            int16_t block[64];
            canceller.process(&scene.far[i], &scene.microphone[i], block);
            output.insert(output.end(), block, block + 64);
        }
        const std::vector<double> found = ec::reductions(scene, output);
        const double least[] = {19, 33, 36, 46, 37, 37, 41, 50};
        for (size_t second = 0; second < found.size(); second++)
            EXPECT_GT(found[second], least[second]) << scene.name << ", second " << second;
        const bool talks = scene.name == "double talk"; // from 4 to 6 s
        const auto &flags = canceller.doubleTalk;
        EXPECT_EQ(std::count(flags.begin(), flags.begin() + 500, 1), 0) << scene.name;
        EXPECT_GE(std::count(flags.begin() + 500, flags.begin() + 750, 1), talks ? 200 : 0) << scene.name;
        EXPECT_LE(std::count(flags.begin() + 500, flags.end(), 1), talks ? 260 : 0) << scene.name;
        EXPECT_EQ(canceller.events[ryxEcAnew], 0) << scene.name;
    }
}

} // namespace
