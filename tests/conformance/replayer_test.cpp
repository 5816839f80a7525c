// SPDX-License-Identifier: BSD-2-Clause
// The replayer itself: it takes every form of argument, and each kind of fault is reported where it is.
#include <algorithm>
#include <gtest/gtest.h>

#include "harness/vector_replay.h"

using namespace ryxtest;

namespace {

struct Complex {
    float re, im;
};

// Adds `step` to every element. A null pointer is for the replayer to find, not for a sanitizer. The functions behind it
// misbehave in the ways that the tests look for.
__attribute__((no_sanitize("undefined"))) ryxStatus shift(const int16_t *src, int16_t *dst, int len, int16_t step) {
    for (int i = 0; i < len; ++i)
        dst[i] = static_cast<int16_t>(src[i] + step);
    return 0;
}
ryxStatus shiftBackwards(const int16_t *src, int16_t *dst, int len, int16_t step) {
    dst[-1] = step;
    return shift(src, dst, len, step);
}
ryxStatus spoilSource(const int16_t *src, int16_t *dst, int len, int16_t step) {
    return shift(src, const_cast<int16_t *>(src), len, static_cast<int16_t>(step + (dst ? 0 : 1)));
}
ryxStatus count(uint16_t *state, int status) {
    ++*state;
    return status;
}
ryxStatus scaleRows(const Complex *const *src, Complex **dst, int rows, int columns, double factor, float offset) {
    for (int i = 0; i < rows * columns; ++i) {
        const Complex &x = src[i / columns][i % columns];
        dst[i / columns][i % columns] = {float(x.re * factor) + offset, float(x.im * factor)};
    }
    return 12;
}
ryxStatus loadAligned(const float *x, float *y) {
    asm volatile("movaps (%0), %%xmm0\n movups %%xmm0, (%1)" ::"r"(x), "r"(y) : "xmm0", "memory");
    return 0;
}

const Functions functions = {
    {"shift", shift}, {"shiftBackwards", shiftBackwards}, {"spoil", spoilSource},
    {"count", count}, {"scaleRows", scaleRows},           {"loadAligned", loadAligned},
};

// Semicolons stand for line ends.
std::string replayText(std::string text, int rotation) try {
    std::ranges::replace(text, ';', '\n');
    return replay(parseVectors("text", text), functions, rotation);
} catch (const std::runtime_error &error) {
    return error.what();
}

TEST(Replayer, AcceptsWhatIsRight) {
    const char *const right[] = {
        "call shift; in.16s src@1 7 1 -2; out.16s dst 2 -1; val.32s len 2; val.16s step 1; status 0",
        "# comment; ; call shift; in.16s src 1; keep.16s dst 3; val.32s len 0; val.16s step 1; status 0",
        "call shift; null src; null dst; val.32s len -1; val.16s step 0; status 0",
        "block b 4 offset 6; call count; state b; val.32s x 3; status 3",
        "call count; io.16u b 1 -> 2; val.32s x 0; status 0",
        ("call scaleRows; rows.32fc src 2x1 1 2 3 0x1p-1; iorows.32fc dst 2x1 0 0 0 0 -> 2.5 4 6.5 1; "
         "val.32s rows 2; val.32s columns 1; val.64f factor 2; val.32f offset 0.5; status 12"),
        "call shift; in.16s src 100 0; out.16s dst 99 0; val.32s len 2; val.16s step 0; tol 1e-2 0.01; status 0",
    };
    for (const char *text : right)
        for (int rotation = 0; rotation < rotations; ++rotation)
            EXPECT_EQ(replayText(text, rotation), "") << text;
}

TEST(Replayer, ReportsWhatIsWrong) {
    const std::string scalars = "; val.32s len 2; val.16s step 1; status 0";
    const std::string good = "call shift; in.16s src 1 2; out.16s dst 2 3";
    const struct {
        std::string text;
        int rotation;
        std::string report;
    } cases[] = {
        {"call shift; in.16s src 1 2; out.16s dst 2 4" + scalars, 5,
         "text:3: shift: dst[1]: wanted 4, got 3 (rotation 5)"},
        {good + "; val.32s len 2; val.16s step 1; status -8", 0, "text:1: shift: wanted status -8, got 0"},
        {good + "; val.32s len 2; val.16s step 1; tol 0.3 0.9; status 0", 0, ""},
        {"call shift; in.16s src 1 2; out.16s dst 2 5; val.32s len 2; val.16s step 1; tol 0.3 0.4; status 0", 0,
         "dst[1]"},
        // In front of and behind the data, inside the page and across its end.
        {"call shift; in.16s src 1 2; out.16s dst 2" + scalars, 0, "text:3: shift: dst: access outside its memory"},
        {"call shift; in.16s src 1 2; out.16s dst 2" + scalars, 1, "dst: memory around it was written"},
        {"call shift; in.16s src 1; out.16s dst 2 3" + scalars, 0, "text:2: shift: src: access outside its memory"},
        {"call shiftBackwards; in.16s src 1 2; out.16s dst 2 3" + scalars, 0, "dst: memory around it was written"},
        {"call shiftBackwards; in.16s src 1 2; out.16s dst 2 3" + scalars, rotations - 1, "dst: access outside"},
        {"call shift; in.16s src 1 2; null dst" + scalars, 0, "access to null"},
        {"call loadAligned; in.32f x 1 2 3 4; out.32f y 1 2 3 4; status 0", 1, "unaligned address"},
        // What must stay as it is.
        {"call shift; in.16s src 1 2; keep.16s dst 2" + scalars, 0, "shift: dst[0]"},
        {"call spoil; in.16s src 1 2; keep.16s dst 2" + scalars, 0, "text:2: spoil: src[0]: wanted 1, got 2"},
        {"block b 8; call count; state b; val.32s status -6; status -6", 0, "text:3: count: b[0]: wanted 165, got 166"},
        // What does not fit the prototype.
        {"call shift; in.16u src 1 2; out.16s dst 2 3" + scalars, 0, "text:1: shift: src does not fit the prototype"},
        {"call shift; in.32s src 1 2; out.16s dst 2 3" + scalars, 0, "src does not fit"},
        {"call shift; io.16s src 1 2 -> 1 2; out.16s dst 2 3" + scalars, 0, "src does not fit"},
        {"call shift; rows.16s src 1x2 1 2; out.16s dst 2 3" + scalars, 0, "src does not fit"},
        {good + "; val.16s len 2; val.16s step 1; status 0", 0, "len does not fit"},
        {good + "; val.32s len 2; status 0", 0, "takes 4 arguments"},
        {"call lift; status 0", 0, "text:1: lift: no such function"},
        // What breaks the rules of the text.
        {"call shift; in.16s src 1 2 x", 0, "text:2: bad number 'x'"},
        {"call shift; in.16s src 32768", 0, "text:2: 32768 is out of range"},
        {"call shift; in.24s src 1", 0, "text:2: 'in.24s' is unknown"},
        {"call shift; io.16s src 1 2", 0, "text:2: '->' is missing"},
        {"call shift; io.16s src 1 2 -> 1", 0, "as many values of src"},
        {"call shift; rows.32fc src 2x2 1 2 3", 0, "wrong number of values of src"},
        {"call shift; val.32s len 1 2", 0, "wrong number of values of len"},
        {"call shift; in.16s src@3 1 2", 0, "src@ points behind the data"},
        {"call shift; state b", 0, "no block is named b"},
        {"in.16s src 1", 0, "text:1: 'in.16s' outside a call"},
        {"call shift; call shift", 0, "text:2: the call before has no status"},
        {"call shift; status 0 1", 0, "text:2: more than the line can hold"},
        {"call shift; ", 0, "the last call has no status"},
    };
    for (const auto &[text, rotation, report] : cases) {
        const std::string got = replayText(text, rotation);
        EXPECT_TRUE(report.empty() ? got.empty() : got.find(report) != got.npos) << text << "\n-> " << got;
    }
}

} // namespace
