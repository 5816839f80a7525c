// SPDX-License-Identifier: BSD-2-Clause
// Lengths up to the largest int: no index may overflow on the way there.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <sys/mman.h>
#include <unistd.h>

#include "harness/guarded_buffer.h"
#include "ryxsc.h"

namespace {

// 2^31 elements of four bytes and some in front, in a few megabytes that stand there again and again, up to a page that
// nobody may touch.
class LongMemory {
public:
    LongMemory() {
        const int file = memfd_create("long", 0);
        if (file < 0 || ftruncate(file, piece) != 0) return;
        void *const pages = mmap(nullptr, bytes + page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (pages != MAP_FAILED) begin_ = static_cast<char *>(pages);
        for (size_t at = 0; begin_ && at < bytes; at += piece)
            if (mmap(begin_ + at, piece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0) == MAP_FAILED) {
                munmap(begin_, bytes + page);
                begin_ = nullptr;
            }
        close(file);
        if (!begin_) return;
        std::mt19937 random(81);
        int16_t *const words = reinterpret_cast<int16_t *>(begin_);
        std::generate_n(words, piece / sizeof *words, [&] { return static_cast<int16_t>(random() % 8192 - 4096); });
    }
    LongMemory(const LongMemory &) = delete;
    LongMemory &operator=(const LongMemory &) = delete;
    ~LongMemory() {
        if (begin_) munmap(begin_, bytes + page);
    }

    bool isThere() const { return begin_ != nullptr; }
    template <class T> T *last(int len) const { return reinterpret_cast<T *>(begin_ + bytes) - len; }

private:
    static constexpr size_t piece = 4 << 20, page = 4096, bytes = (size_t{1} << 33) + piece;

    char *begin_ = nullptr;
};

struct LongCall {
    const char *name;
    ryxStatus (*call)(const LongMemory &memory, int len);
    int unit = 1; // lengths are multiples of this
};

int16_t lpc[17] = {4096, -3000, 900}, words[64];
float floats[16];

const LongCall calls[] = {
    {"AutoScale",
     [](const LongMemory &m, int len) {
         int scale;
         return ryxsAutoScale_16s_I(m.last<int16_t>(len), len, &scale);
     }},
    {"Mul_NR", [](const LongMemory &m,
                  int len) { return ryxsMul_NR_16s_ISfs(m.last<int16_t>(len), m.last<int16_t>(len), len, 15); }},
    {"MulC_NR",
     [](const LongMemory &m, int len) { return ryxsMulC_NR_16s_ISfs(31000, m.last<int16_t>(len), len, 15); }},
    {"DotProdAutoScale",
     [](const LongMemory &m, int len) {
         int32_t product;
         int scale;
         return ryxsDotProdAutoScale_16s32s_Sfs(m.last<int16_t>(len), m.last<int16_t>(len), len, &product, &scale);
     }},
    {"InterpolateC_NR",
     [](const LongMemory &m, int len) {
         int16_t *const x = m.last<int16_t>(len);
         return ryxsInterpolateC_NR_G729_16s_Sfs(x, 20000, x, 12000, x, len, 15);
     }},
    {"InterpolateC_32f",
     [](const LongMemory &m, int len) {
         float *const x = m.last<float>(len);
         return ryxsInterpolateC_G729_32f(x, 0.5F, x, 0.5F, x, len);
     }},
    {"Interpolate_G729",
     [](const LongMemory &m, int len) {
         int16_t *const x = m.last<int16_t>(len);
         return ryxsInterpolate_G729_16s(x, x, x, len);
     }},
    {"ResidualFilter_G729",
     [](const LongMemory &m, int len) {
         return ryxsResidualFilter_G729_16s(lpc, m.last<int16_t>(len), m.last<int16_t>(len), len);
     }},
    {"ResidualFilter_AMRWB",
     [](const LongMemory &m, int len) {
         return ryxsResidualFilter_AMRWB_16s(lpc, m.last<int16_t>(len), m.last<int16_t>(len), len);
     }},
    {"Scale_AMRWB", [](const LongMemory &m, int len) { return ryxsScale_AMRWB_16s_I(m.last<int16_t>(len), len, -1); }},
    {"FIR_EC_32f",
     [](const LongMemory &m, int len) {
         float *const x = m.last<float>(len);
         return ryxsFIR_EC_32f(x, x, x, len, floats, 1);
     }},
    {"QMFEncode_G722",
     [](const LongMemory &m, int len) {
         return ryxsQMFEncode_G722_16s(m.last<int16_t>(len), m.last<int16_t>(len), len, words);
     },
     2},
    {"DownsampleFilter_G722",
     [](const LongMemory &m, int len) {
         return ryxsDownsampleFilter_G722_16s(m.last<int16_t>(len), len, m.last<int16_t>(len / 4));
     }},
    {"Preemphasize_GSMFR",
     [](const LongMemory &m, int len) {
         return ryxsPreemphasize_GSMFR_16s(m.last<int16_t>(len), m.last<int16_t>(len), len, words);
     }},
    {"WeightingFilter_GSMFR",
     [](const LongMemory &m, int len) {
         return ryxsWeightingFilter_GSMFR_16s(m.last<int16_t>(len) - 5, m.last<int16_t>(len), len);
     }},
    {"ShortTermAnalysisFilter_GSMFR",
     [](const LongMemory &m, int len) {
         return ryxsShortTermAnalysisFilter_GSMFR_16s_I(lpc, m.last<int16_t>(len), len, words);
     }},
    {"ReflectionToLAR_GSMFR",
     [](const LongMemory &m, int len) {
         return ryxsReflectionToLAR_GSMFR_16s(m.last<int16_t>(len), m.last<int16_t>(len), len);
     }},
    {"LARToReflection_GSMFR",
     [](const LongMemory &m, int len) {
         return ryxsLARToReflection_GSMFR_16s(m.last<int16_t>(len), m.last<int16_t>(len), len);
     }},
};

class LongLengths : public testing::TestWithParam<size_t> {};

// The eight largest lengths in turn: an index that goes on by eight or more overflows with each of them.
TEST_P(LongLengths, EndWithoutAFault) {
    static const LongMemory memory;
    ASSERT_TRUE(memory.isThere()) << "no 8 GB of addresses";
    const LongCall &one = calls[GetParam()];
    const int len = (INT_MAX - static_cast<int>(GetParam() % 8)) / one.unit * one.unit;
    ryxStatus status = ryxStsErr;
    EXPECT_FALSE(ryxtest::faultOf([&] { status = one.call(memory, len); })) << "length " << len;
    EXPECT_EQ(status, ryxStsOk) << "length " << len;
}

INSTANTIATE_TEST_SUITE_P(, LongLengths, testing::Range<size_t>(0, std::size(calls)),
                         [](const auto &test) { return std::string(calls[test.param].name); });

} // namespace
