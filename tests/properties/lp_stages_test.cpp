// SPDX-License-Identifier: BSD-2-Clause
// Correlations, convolutions and LP filters against their definitions, term by term. The vectors end at an inaccessible
// page; some are so loud that every sum saturates, some so that only a few do.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "common/fixed_point.h"
#include "harness/guarded_buffer.h"
#include "harness/signals.h"
#include "ryxsc.h"

namespace {

using namespace ryxsc;
using Words = std::vector<int16_t>;

class Draw {
public:
    int number(int low, int high) { return std::uniform_int_distribution(low, high)(random_); }
    Words words(int count) {
        const signals::Signal &signal = signals_[static_cast<size_t>(number(0, static_cast<int>(signals_.size()) - 1))];
        const auto from = signal.samples.begin() + number(0, static_cast<int>(signal.samples.size()) - count);
        Words part(from, from + count);
        const int shift = std::max(number(-8, 12), 0);
        for (int16_t &x : part)
            x = static_cast<int16_t>(x >> shift);
        return part;
    }
    // Coefficients of a filter that may or may not be stable.
    Words filter(int order) {
        Words a(static_cast<size_t>(order) + 1);
        const int reach = number(1, 15);
        for (size_t k = 0; k < a.size(); k++)
            a[k] =
                static_cast<int16_t>(number(-32768, 32767) >> std::min(number(0, 3) + static_cast<int>(k) / reach, 15));
        if (number(0, 3) > 0) a[0] = 4096;
        return a;
    }
    int length() {
        return number(0, 2) ? std::array{40, 60, 64, 80, 160, 240}[static_cast<size_t>(number(0, 5))] : number(1, 400);
    }

private:
    std::mt19937 random_{17};
    std::vector<signals::Signal> signals_ = signals::nasty(2000, 23);
};

// A copy that ends at an inaccessible page.
class Guarded {
public:
    explicit Guarded(const Words &words) : buffer_(2 * words.size()) {
        std::memcpy(buffer_.as<int16_t>(), words.data(), 2 * words.size());
    }
    int16_t *data() { return buffer_.as<int16_t>(); }

private:
    ryxtest::GuardedBuffer buffer_;
};

// The recommendations' operators, with the overflow flag.
struct Watch {
    bool saturated = false;

    int32_t clamp(int64_t x) {
        saturated |= x != sat32(x);
        return sat32(x);
    }
    int32_t mac(int32_t sum, int x, int y) { return clamp(int64_t{sum} + clamp(int64_t{2} * x * y)); }
    int32_t msu(int32_t sum, int x, int y) { return clamp(int64_t{sum} - clamp(int64_t{2} * x * y)); }
    int16_t rounded(int32_t sum, int up) {
        const int32_t shifted = up >= 0 ? clamp(int64_t{sum} << up) : sum >> std::min(-up, 31);
        return static_cast<int16_t>(clamp(int64_t{shifted} + 0x8000) >> 16);
    }
};

TEST(AutoCorr, EqualsItsSums) {
    Draw draw;
    for (int turn = 0; turn < 600; turn++) {
        const int len = std::max(draw.length(), 2), order = draw.number(1, std::min(len - 1, draw.number(1, 40)));
        Words x = draw.words(len);
        Guarded source(x);
        std::vector<int32_t> found(static_cast<size_t>(order) + 1), expected(found.size());
        ASSERT_EQ(ryxsAutoCorr_16s32s(source.data(), len, order, found.data()), ryxStsOk);
        const auto sums = [&](int32_t start) {
            for (size_t k = 0; k < expected.size(); k++) {
                Watch watch;
                expected[k] = k == 0 ? start : 0;
                for (size_t n = 0; n + k < x.size(); n++)
                    expected[k] = watch.mac(expected[k], x[n], x[n + k]);
                if (k == 0 && watch.saturated) start = -1;
            }
            return start >= 0;
        };
        sums(0);
        ASSERT_EQ(found, expected);

        int exponent = 99, divisions = 0;
        const ryxStatus status = ryxsAutoCorr_NormE_16s32s(source.data(), len, order, found.data(), &exponent);
        for (; !sums(1); divisions++)
            for (int16_t &sample : x)
                sample = static_cast<int16_t>(sample >> 2);
        const int shift = norm_l(expected[0]);
        for (int32_t &value : expected)
            value = L_shl(value, shift);
        ASSERT_EQ(found, expected);
        ASSERT_EQ(exponent, shift - 4 * divisions);
        ASSERT_EQ(status, divisions > 0 ? ryxStsOverflow : ryxStsOk);
    }
}

TEST(LagMax, TakesTheLargestAndTheLagThatTheNameSays) {
    Draw draw;
    for (int turn = 0; turn < 600; turn++) {
        const int len = draw.length(), low = draw.number(1, 150), high = low + draw.number(0, turn % 9 ? 130 : 400);
        const Words x = draw.words(len + high), y = draw.words(len + high - low);
        Guarded source1(x), source2(y);
        const int16_t *frame1 = source1.data() + high, *frame2 = source2.data() + high;
        int32_t forward = 0, backward = 0, expectedForward = 0, expectedBackward = 0;
        int forwardLag = 0, backwardLag = 0, expectedForwardLag = 0, expectedBackwardLag = 0;
        ASSERT_EQ(ryxsAutoCorrLagMax_Fwd_16s(frame1, len, low, high, &forward, &forwardLag), ryxStsOk);
        ASSERT_EQ(ryxsCrossCorrLagMax_16s(frame1, frame2, len, low, high, &backward, &backwardLag), ryxStsOk);
        for (int lag = low; lag <= high; lag++) {
            Watch watch;
            int32_t ahead = 0, across = 0;
            for (int n = 0; n < len; n++) {
                ahead = watch.mac(ahead, frame1[n], frame1[n - lag]);
                across = watch.mac(across, frame1[n], frame2[n - lag]);
            }
            if (lag == low || ahead > expectedForward) expectedForward = ahead, expectedForwardLag = lag;
            if (lag == low || across >= expectedBackward) expectedBackward = across, expectedBackwardLag = lag;
        }
        ASSERT_EQ(forward, expectedForward);
        ASSERT_EQ(forwardLag, expectedForwardLag);
        ASSERT_EQ(backward, expectedBackward);
        ASSERT_EQ(backwardLag, expectedBackwardLag);
    }
}

TEST(Products, OfTwoVectorsEqualTheirSums) {
    Draw draw;
    for (int turn = 0; turn < 600; turn++) {
        const int len = draw.length(), sf = turn % 3 ? 12 : draw.number(0, 40);
        const Words x = draw.words(len), h = draw.words(len);
        Guarded source1(x), source2(h);
        Words filtered(x.size()), correlated(x.size());
        ASSERT_EQ(ryxsConvPartial_16s_Sfs(source1.data(), source2.data(), filtered.data(), len, sf), ryxStsOk);
        ASSERT_EQ(ryxsCrossCorr_NR_16s(source1.data(), source2.data(), correlated.data(), len), ryxStsOk);
        for (size_t n = 0; n < x.size(); n++) {
            Watch watch;
            int32_t forwards = 0, backwards = 0;
            for (size_t i = 0; i <= n; i++)
                forwards = watch.mac(forwards, x[i], h[n - i]);
            for (size_t i = n; i < x.size(); i++)
                backwards = watch.mac(backwards, x[i], h[i - n]);
            ASSERT_EQ(filtered[n], sat16(forwards >> std::min(sf + 1, 31))) << n;
            ASSERT_EQ(correlated[n], watch.rounded(backwards, 0)) << n;
        }
        int32_t product = 0, expected = 0;
        Watch watch;
        for (size_t n = 0; n < x.size(); n++)
            expected = watch.mac(expected, x[n], h[n]);
        ASSERT_EQ(ryxsDotProd_G729A_16s32s(source1.data(), source2.data(), len, &product),
                  watch.saturated ? ryxStsOverflow : ryxStsOk);
        ASSERT_EQ(product, expected);
    }
}

TEST(SynthesisFilter, EqualsItsFormulaAndTellsOfOverflow) {
    Draw draw;
    int saturated = 0;
    for (int turn = 0; turn < 1500; turn++) {
        const int order = turn % 2 ? 10 : turn % 4 ? 16 : draw.number(1, 20), len = draw.length();
        const int sf = turn % 3 ? 12 : draw.number(0, 20);
        const Words a = draw.filter(order), x = draw.words(len), history = draw.words(order);
        Guarded coefficients(a), source(x), past(history);
        Words y = history, z = history; // behind the history
        Watch watch;
        for (const int16_t sample : x) {
            int32_t sum = watch.mac(0, a[0], sample);
            for (size_t k = 1; k < a.size(); k++)
                sum = watch.msu(sum, a[k], y[y.size() - k]);
            y.push_back(watch.rounded(sum, 15 - sf));
            int16_t low = sat16(scaleDown(a[0] * sample, sf));
            for (size_t k = a.size() - 1; k > 0; k--)
                low = sub(low, sat16(scaleDown(a[k] * z[z.size() - k], sf)));
            z.push_back(low);
        }
        const ryxStatus expected = watch.saturated ? ryxStsOverflow : ryxStsOk;
        saturated += watch.saturated;
        Words found = history;
        found.resize(y.size());
        ASSERT_EQ(ryxsSynthesisFilter_NR_16s_Sfs(coefficients.data(), order, source.data(), &found[history.size()], len,
                                                 past.data(), sf),
                  expected);
        ASSERT_EQ(found, y) << "order " << order << " length " << len << " sf " << sf;
        Guarded inPlace(x), lowInPlace(x);
        ASSERT_EQ(ryxsSynthesisFilter_NR_16s_ISfs(coefficients.data(), order, inPlace.data(), len, past.data(), sf),
                  expected);
        ASSERT_TRUE(std::equal(y.begin() + order, y.end(), inPlace.data()));
        ASSERT_EQ(
            ryxsSynthesisFilterLow_NR_16s_ISfs(coefficients.data(), order, lowInPlace.data(), len, past.data(), sf),
            ryxStsOk);
        ASSERT_TRUE(std::equal(z.begin() + order, z.end(), lowInPlace.data()))
            << "order " << order << " length " << len;

        Guarded response(x);
        ASSERT_EQ(ryxsSynthesisFilterZeroStateResponse_NR_16s(coefficients.data(), order, source.data(),
                                                              response.data(), len),
                  ryxStsOk);
        const Words rest(history.size());
        ryxsSynthesisFilter_NR_16s_Sfs(coefficients.data(), order, source.data(), found.data(), len, rest.data(), 12);
        ASSERT_TRUE(std::equal(found.begin(), found.begin() + len, response.data()));
    }
    EXPECT_GT(saturated, 100);
    EXPECT_LT(saturated, 1400);
}

// The output is little although its terms saturate on the way: only a look at the whole memory can foresee that.
TEST(SynthesisFilter, OfOrder30ForeseesSaturationByAnyPartOfItsMemory) {
    Draw draw;
    for (size_t place = 0; place < 26; place++) {
        Words a(31), y(30);
        a[0] = 4096;
        a[30 - place] = a[28 - place] = a[26 - place] = 32767;
        y[place + 2] = static_cast<int16_t>(draw.number(9000, 24000));
        y[place + 4] = static_cast<int16_t>(33000 - y[place + 2]); // the sum of both saturates
        y[place] = -32768;
        const Words history = y, x = {static_cast<int16_t>(draw.number(-9, 9)), 0};
        Watch watch;
        for (const int16_t sample : x) {
            int32_t sum = watch.mac(0, a[0], sample);
            for (size_t k = 1; k < a.size(); k++)
                sum = watch.msu(sum, a[k], y[y.size() - k]);
            y.push_back(watch.rounded(sum, 3));
        }
        ASSERT_TRUE(watch.saturated);
        Words found(2);
        EXPECT_EQ(ryxsSynthesisFilter_G729E_16s(a.data(), 30, x.data(), found.data(), 2, history.data()),
                  ryxStsOverflow);
        EXPECT_TRUE(std::equal(found.begin(), found.end(), y.end() - 2)) << place;
    }
}

TEST(ResidualFilterLow, EqualsItsFormula) {
    Draw draw;
    for (int turn = 0; turn < 400; turn++) {
        const int order = turn % 2 ? 10 : draw.number(1, 20), len = draw.length(),
                  sf = turn % 3 ? 12 : draw.number(0, 40);
        const Words a = draw.filter(order), x = draw.words(order + len);
        Guarded coefficients(a), source(x), output(Words(static_cast<size_t>(len)));
        ASSERT_EQ(
            ryxsResidualFilter_Low_16s_Sfs(coefficients.data(), order, source.data() + order, output.data(), len, sf),
            ryxStsOk);
        for (int n = 0; n < len; n++) {
            int16_t sum = 0;
            for (int k = 0; k <= order; k++)
                sum = add(sum, sat16((a[static_cast<size_t>(k)] * source.data()[order + n - k]) >> std::min(sf, 31)));
            ASSERT_EQ(output.data()[n], sum) << n;
        }
    }
}

TEST(LpStages, CheckTheirArgumentsInOrder) {
    int16_t a[11] = {}, x[40] = {}, y[40] = {}, history[10] = {};
    int32_t sums[40];
    int lag = 0;
    EXPECT_EQ(ryxsConvPartial_16s_Sfs(x, a, nullptr, 0, -1), ryxStsNullPtr);
    EXPECT_EQ(ryxsConvPartial_16s_Sfs(x, x, y, 0, -1), ryxStsBadArg);
    EXPECT_EQ(ryxsConvPartial_16s_Sfs(x, x, y, 0, 0), ryxStsBadSize);
    EXPECT_EQ(ryxsCrossCorr_NR_16s(x, x, y, 1025), ryxStsBadSize);
    EXPECT_EQ(ryxsAutoCorr_16s32s(x, 40, 40, sums), ryxStsOutOfRange);
    EXPECT_EQ(ryxsAutoCorr_NormE_16s32s(x, 0, 40, sums, &lag), ryxStsBadSize);
    EXPECT_EQ(ryxsAutoCorrLagMax_Fwd_16s(x + 20, 10, 0, 5, sums, &lag), ryxStsBadSize);
    EXPECT_EQ(ryxsCrossCorrLagMax_16s(x + 20, x + 20, 10, 6, 5, sums, &lag), ryxStsOutOfRange);
    EXPECT_EQ(ryxsDotProd_G729A_16s32s(x, x, 0, sums), ryxStsBadSize);
    EXPECT_EQ(ryxsResidualFilter_Low_16s_Sfs(a, 10, x + 20, y, 0, -1), ryxStsBadSize);
    EXPECT_EQ(ryxsResidualFilter_Low_16s_Sfs(a, 10, x + 20, y, 10, -1), ryxStsBadScale);
    EXPECT_EQ(ryxsSynthesisFilter_NR_16s_Sfs(a, 21, x, y, 40, history, -1), ryxStsOutOfRange);
    EXPECT_EQ(ryxsSynthesisFilter_NR_16s_ISfs(a, 10, x, 40, history, -1), ryxStsBadScale);
    EXPECT_EQ(ryxsSynthesisFilterLow_NR_16s_ISfs(a, 0, x, 40, history, 12), ryxStsBadSize);
    EXPECT_EQ(ryxsSynthesisFilterZeroStateResponse_NR_16s(a, 10, nullptr, y, 40), ryxStsNullPtr);
}

} // namespace
