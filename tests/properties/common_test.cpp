// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "harness/guarded_buffer.h"
#include "harness/signals.h"
#include "reference/common.h"
#include "ryxsc.h"

namespace {

using namespace reference::common;
using Words = std::vector<int16_t>;
using In = const int16_t *;
using Out = int16_t *;

constexpr int scaleFactors[] = {0, 1, 2, 7, 11, 12, 13, 14, 15, 16, 17, 18, 20, 29, 30, 31, 32, 33, 34, 100, INT_MAX};

// Powers of two and their neighbours.
const Words nastyWords = [] {
    Words words = {0};
    for (int power = 1; power <= 32768; power *= 2)
        for (const int x : {power - 1, power, power + 1})
            for (const int signedX : {x, -x})
                words.push_back(static_cast<int16_t>(std::clamp(signedX, -32767, 32767)));
    return words;
}();

class Draw {
public:
    int number(int low, int high) { return std::uniform_int_distribution(low, high)(random_); }
    bool coin() { return number(0, 1) != 0; }
    template <class List> auto oneOf(const List &list) {
        return list[static_cast<size_t>(number(0, static_cast<int>(std::size(list)) - 1))];
    }
    int16_t word() {
        if (number(0, 7) == 0) return -32768;
        return coin() ? oneOf(nastyWords) : static_cast<int16_t>(number(-32768, 32767));
    }
    // Part of a nasty signal, sometimes of a small one.
    Words words(int count) {
        const signals::Signal signal = oneOf(signals_);
        const auto from = signal.samples.begin() + number(0, static_cast<int>(signal.samples.size()) - count);
        Words part(from, from + count);
        const int shift = number(0, 2) ? 0 : number(0, 16);
        for (int16_t &x : part)
            x = static_cast<int16_t>(x >> shift);
        return part;
    }

private:
    std::mt19937 random_{31};
    std::vector<signals::Signal> signals_ = signals::nasty(2000, 21);
};

// A function of one or two vectors, its constants drawn. Both forms return the status, or the scale that the function
// finds.
struct Operation {
    using Form = std::function<int(In, In, Out, int)>;
    Form library, plain;
};

template <class Function> Operation::Form eachWord(Function function) {
    return [=](In a, In b, Out dst, int len) {
        std::transform(a, a + len, b, dst, [=](int x, int y) { return static_cast<int16_t>(function(x, y)); });
        return 0;
    };
}

Operation multiply(Draw &draw) {
    const int sf = draw.oneOf(scaleFactors);
    const bool preferInPlace = draw.coin();
    return {[=](In a, In b, Out dst, int len) {
                return preferInPlace && dst == b ? ryxsMul_NR_16s_ISfs(a, dst, len, sf)
                                                 : ryxsMul_NR_16s_Sfs(a, b, dst, len, sf);
            },
            eachWord([=](int x, int y) { return product(x, y, sf); })};
}

Operation multiplyByConstant(Draw &draw) {
    const int sf = draw.oneOf(scaleFactors);
    const int16_t factor = draw.word();
    const bool preferInPlace = draw.coin();
    return {[=](In a, In, Out dst, int len) {
                return preferInPlace && dst == a ? ryxsMulC_NR_16s_ISfs(factor, dst, len, sf)
                                                 : ryxsMulC_NR_16s_Sfs(a, factor, dst, len, sf);
            },
            eachWord([=](int x, int) { return product(x, factor, sf); })};
}

Operation weightByPowers(Draw &draw) {
    const int sf = draw.coin() ? 15 : draw.oneOf(scaleFactors);
    const int16_t base = draw.word();
    return {[=](In a, In, Out dst, int len) { return ryxsMulPowerC_NR_16s_Sfs(a, base, dst, len, sf); },
            [=](In a, In, Out dst, int len) {
                reference::common::weightByPowers(a, base, dst, len, sf);
                return 0;
            }};
}

Operation autoScale(Draw &draw) {
    const int headroom = draw.number(0, 9) ? draw.number(0, 33) : INT_MAX;
    const bool preferInPlace = draw.coin();
    return {[=](In a, In, Out dst, int len) {
                int scale = headroom;
                const ryxStatus status = preferInPlace && dst == a ? ryxsAutoScale_16s_I(dst, len, &scale)
                                                                   : ryxsAutoScale_16s(a, dst, len, &scale);
                EXPECT_EQ(status, ryxStsOk);
                return scale;
            },
            [=](In a, In, Out dst, int len) { return reference::common::autoScale(a, dst, len, headroom); }};
}

Operation addTruncated(Draw &draw) {
    const int sf = draw.oneOf(scaleFactors);
    const int16_t u = draw.word(), v = draw.word();
    return {[=](In a, In b, Out dst, int len) { return ryxsInterpolateC_G729_16s_Sfs(a, u, b, v, dst, len, sf); },
            eachWord([=](int x, int y) {
                return sumOfTruncated({x, u}, {y, v}, sf);
            })};
}

Operation addRounded(Draw &draw) {
    const int sf = draw.oneOf(scaleFactors);
    const int16_t u = draw.word(), v = draw.word();
    return {[=](In a, In b, Out dst, int len) { return ryxsInterpolateC_NR_G729_16s_Sfs(a, u, b, v, dst, len, sf); },
            eachWord([=](int x, int y) {
                return roundedSum({x, u}, {y, v}, sf);
            })};
}

Operation addScaled(Draw &draw) {
    const int s = draw.number(0, 20), t = draw.number(0, 2) ? s + draw.number(0, 3) : draw.number(0, 40);
    const int16_t u = draw.word(), v = draw.word();
    return {[=](In a, In b, Out dst, int len) { return ryxsInterpolateC_NR_16s(a, u, s, b, v, t, dst, len); },
            eachWord([=](int x, int y) {
                return roundedScaledSum({x, u, s}, {y, v, t});
            })};
}

// Vectors that end at an inaccessible page or a few elements before, so that all alignments occur.
class Vectors {
public:
    Out fill(size_t index, const Words &words, int slack) {
        buffers_[index].place(words.size() * sizeof(int16_t), static_cast<size_t>(slack) * sizeof(int16_t));
        std::copy(words.begin(), words.end(), buffers_[index].as<int16_t>());
        return buffers_[index].as<int16_t>();
    }
    bool areIntact() const {
        return std::all_of(std::begin(buffers_), std::end(buffers_), [](const auto &b) { return b.isIntact(); });
    }

private:
    ryxtest::GuardedBuffer buffers_[3];
};

class CommonVectors : public testing::TestWithParam<Operation (*)(Draw &)> {};

TEST_P(CommonVectors, EqualThePlainFormAtAnyLengthAndAlignmentAndInPlace) {
    Draw draw;
    Vectors vectors;
    for (int trial = 0; trial < 8000; trial++) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        const Operation operation = GetParam()(draw);
        const int len = draw.number(0, 9) ? draw.number(1, 45) : draw.number(46, 700);
        const Words a = draw.words(len), b = draw.words(len);
        Words expected(a.size());
        const int result = operation.plain(a.data(), b.data(), expected.data(), len);
        const Out sources[] = {vectors.fill(0, a, draw.number(0, 9)), vectors.fill(1, b, draw.number(0, 9))};
        const Out dst = draw.coin() ? vectors.fill(2, Words(a.size()), draw.number(0, 9)) : draw.oneOf(sources);
        ASSERT_EQ(operation.library(sources[0], sources[1], dst, len), result);
        ASSERT_EQ(Words(dst, dst + len), expected);
        ASSERT_TRUE(vectors.areIntact());
    }
}

INSTANTIATE_TEST_SUITE_P(, CommonVectors,
                         testing::Values(multiply, multiplyByConstant, weightByPowers, autoScale, addTruncated,
                                         addRounded, addScaled));

TEST(CommonDotProduct, EqualsThePlainFormAtAnyLengthAndScale) {
    Draw draw;
    Vectors vectors;
    const auto compare = [&](const Words &a, const Words &b) {
        const auto len = static_cast<int>(a.size());
        int32_t product = 0, expected = 0;
        int scale = -1;
        const Out first = vectors.fill(0, a, draw.number(0, 9)), second = vectors.fill(1, b, draw.number(0, 9));
        ASSERT_EQ(ryxsDotProdAutoScale_16s32s_Sfs(first, second, len, &product, &scale), ryxStsOk);
        ASSERT_EQ(scale, dotProduct(a.data(), b.data(), len, expected));
        ASSERT_EQ(product, expected);
    };
    for (int trial = 0; trial < 10000 && !HasFatalFailure(); trial++) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        const int len = draw.number(0, 9) ? draw.number(1, 45) : draw.number(46, 2000);
        compare(draw.words(len), draw.words(len));
    }
    // Sums that need more than 32 bits on the way, and those whose terms wrap.
    for (const size_t len : {32767U, 32768U, 32785U, 300007U})
        for (const int16_t x : Words{-32768, -32767, 32767, 2000, -1})
            for (const int16_t y : Words{-32768, 32767, -2000, 1})
                compare(Words(len, x), Words(len, y));
}

TEST(CommonInverseSquareRoot, IsRightInEveryIntervalOfEveryOctave) {
    std::mt19937 random(7);
    for (int bits = 1; bits <= 31; bits++) {
        std::vector<int32_t> values = {0, -1, INT32_MIN, INT32_MAX};
        for (uint64_t interval = 64; interval < 128; interval++) // bounds and inner values
            for (const uint64_t inner : {uint64_t{0}, uint64_t{0x1ffffff}, uint64_t{random() >> 7}})
                values.push_back(static_cast<int32_t>((interval << 25 | inner) >> (32 - bits)));
        std::vector<int32_t> results = values;
        ASSERT_EQ(ryxsInvSqrt_32s_I(results.data(), static_cast<int>(results.size())), ryxStsOk);
        for (size_t i = 0; i < values.size(); i++)
            ASSERT_EQ(results[i], inverseSqrt(values[i])) << values[i];
    }
}

TEST(CommonFloatInterpolation, EqualsThePlainFormInPlaceToo) {
    const Words samples = signals::speech();
    for (int len = 1; len < 50; len++) {
        std::vector<float> a, b, expected, separate(static_cast<size_t>(len));
        for (size_t i = 0; i < separate.size(); i++) {
            a.push_back(static_cast<float>(samples[10000 + i]) / 1000.0F);
            b.push_back(static_cast<float>(samples[20000 + i]) / 3.0F);
            const float x = 0.3F * a[i], y = -1.7F * b[i]; // rounded one by one
            expected.push_back(x + y);
        }
        ryxsInterpolateC_G729_32f(a.data(), 0.3F, b.data(), -1.7F, separate.data(), len);
        EXPECT_EQ(separate, expected);
        std::vector<float> inFirst = a, inSecond = b;
        ryxsInterpolateC_G729_32f(inFirst.data(), 0.3F, b.data(), -1.7F, inFirst.data(), len);
        ryxsInterpolateC_G729_32f(a.data(), 0.3F, inSecond.data(), -1.7F, inSecond.data(), len);
        EXPECT_EQ(inFirst, expected);
        EXPECT_EQ(inSecond, expected);
    }
}

} // namespace
