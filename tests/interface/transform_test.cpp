// SPDX-License-Identifier: BSD-2-Clause
// The internal real transform, and its scratch memory in the filter bank that is built on it.
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <random>

#include "harness/test_core.h"
#include "ryxsc.h"
#include "transform/real_transform.h"

namespace {

using namespace ryxsc::transform;

template <class Sample> struct Transform {
    explicit Transform(int transformOrder, int normalisation = inverseByN) : order(transformOrder), memory(order) {
        int bytes;
        EXPECT_EQ(RealTransform<Sample>::getSize(order, normalisation, &bytes), ryxStsOk);
        block.resize(static_cast<size_t>(bytes) / sizeof block[0]);
        EXPECT_EQ(RealTransform<Sample>::initialise(get(), order, normalisation), ryxStsOk);
    }
    RealTransform<Sample> *get() { return reinterpret_cast<RealTransform<Sample> *>(block.data()); }
    size_t points() const { return size_t{1} << order; }
    std::vector<Sample> forward(const std::vector<Sample> &x, int sf = 0) {
        std::vector<Sample> bins(points() + 2);
        EXPECT_EQ(get()->forward(x.data(), bins.data(), sf, memory.get()), ryxStsOk);
        return bins;
    }
    std::vector<Sample> inverse(const std::vector<Sample> &bins, int sf = 0) {
        std::vector<Sample> x(points());
        EXPECT_EQ(get()->inverse(bins.data(), x.data(), sf, memory.get()), ryxStsOk);
        return x;
    }

    int order;
    TransformMemory memory;
    std::vector<std::array<float, 4>> block;
};

// The bin as the formula has it. The angles are taken from one table, so that long transforms can be checked.
template <class Sample> std::complex<double> bin(const std::vector<Sample> &x, size_t k) {
    std::complex<double> sum = 0;
    for (size_t n = 0; n < x.size(); n++)
        sum += static_cast<double>(x[n]) *
               std::polar(1.0, -2 * M_PI * static_cast<double>(k * n % x.size()) / static_cast<double>(x.size()));
    return sum;
}

TEST(RealTransform, EqualsTheFormulaAndItsInverseUndoesIt) {
    std::mt19937 random(131);
    for (const int order : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 15, 16, 20}) {
        Transform<float> single(order);
        Transform<int32_t> exact(order);
        const size_t points = single.points();
        std::vector<float> x(points);
        std::generate(x.begin(), x.end(), [&] { return static_cast<float>(random() % 65536) - 32768; });
        const std::vector<int32_t> integers(x.begin(), x.end());
        const std::vector<float> bins = single.forward(x);
        const std::vector<int32_t> integerBins = exact.forward(integers);
        const double noise = 32768 * 4e-7 * std::sqrt(static_cast<double>(points)) * order; // rounding in every stage
        for (size_t k = 0; k <= points / 2; k += order <= 8 ? 1 : (points / 2 - 1) / 7) {
            const std::complex<double> wanted = bin(x, k);
            ASSERT_NEAR(bins[2 * k], wanted.real(), noise) << "order " << order << ", bin " << k;
            ASSERT_NEAR(bins[2 * k + 1], wanted.imag(), noise) << "order " << order << ", bin " << k;
            ASSERT_NEAR(integerBins[2 * k], wanted.real(), 0.5001) << "order " << order << ", bin " << k;
            ASSERT_NEAR(integerBins[2 * k + 1], wanted.imag(), 0.5001) << "order " << order << ", bin " << k;
        }
        const std::vector<float> back = single.inverse(bins);
        const std::vector<int32_t> integersBack = exact.inverse(integerBins);
        for (size_t n = 0; n < points; n++) {
            ASSERT_NEAR(back[n], x[n], 0.1) << "order " << order;
            ASSERT_LE(std::abs(integersBack[n] - integers[n]), 1) << "order " << order;
        }
    }
}

// All bins of an impulse have one magnitude; those on the axes are exact, and halves of odd numbers are ties.
TEST(RealTransform, IntegersRoundTiesUpwardsAndSaturate) {
    for (const int order : {1, 2, 3, 4, 5, 6, 9}) {
        Transform<int32_t> transform(order);
        const size_t points = transform.points();
        for (size_t n = 0; n < points; n++) {
            std::vector<int32_t> impulse(points);
            impulse[n] = 12345;
            const std::vector<int32_t> bins = transform.forward(impulse, 1);
            for (size_t k = 0; k <= points / 2; k++)
                if (4 * k * n % points == 0) {
                    const int quadrant = static_cast<int>(4 * k * n / points % 4);
                    const int wanted[] = {6173, 0, -6172, 0};
                    ASSERT_EQ(bins[2 * k], wanted[quadrant]) << "order " << order << ", " << n << ", " << k;
                    ASSERT_EQ(bins[2 * k + 1], wanted[(quadrant + 1) % 4])
                        << "order " << order << ", " << n << ", " << k;
                }
        }
        const std::vector<int32_t> low(points, INT32_MIN), high(points, INT32_MAX);
        EXPECT_EQ(transform.forward(low)[0], INT32_MIN);
        EXPECT_EQ(transform.forward(high)[0], INT32_MAX);
        EXPECT_EQ(transform.forward(low, 40)[0], -static_cast<int>(points)) << "the shift ends at 31";
    }
}

TEST(RealTransform, NormalisationsDivideWhatTheySay) {
    const std::vector<float> ones(64, 1);
    const struct {
        Normalisation normalisation;
        float forward, inverse;
    } cases[] = {{forwardByN, 1, 1}, {inverseByN, 64, 1.0f / 64}, {bothBySqrtN, 8, 0.125f}, {dividesNothing, 64, 1}};
    for (const auto &[normalisation, forward, inverse] : cases) {
        Transform<float> transform(6, normalisation);
        EXPECT_EQ(transform.forward(ones)[0], forward);
        std::vector<float> bins(66);
        bins[0] = 1;
        EXPECT_EQ(transform.inverse(bins)[63], inverse);
    }
}

TEST(RealTransform, RefusesOrdersFlagsAndForeignBlocks) {
    int bytes = -1;
    EXPECT_EQ(RealTransform<float>::getSize(31, 3, &bytes), ryxStsBadOrder);
    EXPECT_EQ(RealTransform<float>::getSize(0, inverseByN, &bytes), ryxStsBadOrder);
    for (const int flag : {0, 3, 6, 16, -1})
        EXPECT_EQ(RealTransform<float>::getSize(5, flag, &bytes), ryxStsBadFlag) << flag;
    EXPECT_EQ(RealTransform<float>::getSize(27, inverseByN, &bytes), ryxStsBadSize);
    EXPECT_EQ(bytes, -1);
    Transform<float> single(5);
    int32_t untouched[34] = {1};
    EXPECT_EQ(reinterpret_cast<RealTransform<int32_t> *>(single.get())->forward(untouched, untouched, 0, nullptr),
              ryxStsBadContext);
    EXPECT_EQ(untouched[0], 1);
}

// Above order 9 the transform needs more than the stack and the caller's buffers.
template <class Bin, class Sample, class GetSize, class Initialise, class Analyse, class Synthesise>
void expectNoMemory(GetSize getSize, Initialise initialise, Sample unity, Analyse analyse, Synthesise synthesise) {
    constexpr int order = 10, points = 1 << order, hop = points / 2;
    int stateSize, initSize, workSize;
    ASSERT_EQ(getSize(order, points, &stateSize, &initSize, &workSize), ryxStsOk);
    std::vector<std::byte> block(static_cast<size_t>(stateSize)), work(static_cast<size_t>(workSize));
    auto *state = reinterpret_cast<SubbandProcessState *>(block.data());
    const std::vector<Sample> window(points, unity), speech(hop, 1000);
    ASSERT_EQ(initialise(state, order, hop, points, window.data(), nullptr), ryxStsOk);
    const std::vector<std::byte> before = block;
    std::vector<Bin> bins(points / 2 + 1, {7, 7});
    std::vector<Sample> out(hop, 7);
    testCoreFailAllocationsAfter(0);
    EXPECT_EQ(analyse(speech.data(), bins.data(), state, work.data()), ryxStsNoMem);
    EXPECT_EQ(synthesise(bins.data(), out.data(), state, work.data()), ryxStsNoMem);
    EXPECT_EQ(block, before);
    EXPECT_TRUE(bins[0].re == 7 && out[0] == 7) << "written";
    testCoreFailAllocationsAfter(-1);
    EXPECT_EQ(analyse(speech.data(), bins.data(), state, work.data()), ryxStsOk);
    EXPECT_EQ(bins[0].re, 1000 * hop);
    EXPECT_EQ(synthesise(bins.data(), out.data(), state, work.data()), ryxStsOk);
    EXPECT_EQ(testCoreLiveAllocations(), 0);
}

TEST(FilterBank, ReportsThatThereIsNoScratchMemoryAndWritesNothing) {
    expectNoMemory<ryx32fc>(ryxsSubbandProcessGetSize_32f, ryxsSubbandProcessInit_32f, 1.0f,
                            ryxsSubbandAnalysis_32f32fc, ryxsSubbandSynthesis_32fc32f);
    const auto unscaled = [](auto function) {
        return [=](auto *src, auto *dst, auto *state, void *work) { return function(src, dst, state, 0, work); };
    };
    expectNoMemory<ryx32sc>(ryxsSubbandProcessGetSize_16s, ryxsSubbandProcessInit_16s, int16_t{8192},
                            unscaled(ryxsSubbandAnalysis_16s32sc_Sfs), unscaled(ryxsSubbandSynthesis_32sc16s_Sfs));
}

TEST(FilterBank, RefusesAStateBeyond32Bits) {
    std::vector<std::byte> block(4096, std::byte{0xa5});
    const std::vector<std::byte> before = block;
    auto *state = reinterpret_cast<SubbandProcessState *>(block.data());
    const float tap = 0;
    EXPECT_EQ(ryxsSubbandProcessInit_32f(state, 1, 1, 1 << 28, &tap, nullptr), ryxStsErr);
    EXPECT_EQ(block, before);
}

} // namespace
