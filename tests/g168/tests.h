// SPDX-License-Identifier: BSD-2-Clause
// The tests of ITU-T G.168 for echo cancellers on telephone lines.
//
// Limits marked "ours" in tests.cpp are stricter than the recommendation, or stand where it has none.
#pragma once

#include <string>
#include <vector>

#include "line.h"

namespace g168 {

/** How far below a limit a reading was, in dB. */
struct Margin {
    std::string test;
    double decibels;
};

struct Run {
    size_t path;       /**< 0..7 for D.2 to D.9 */
    double level;      /**< of the far end, dBm0 */
    double returnLoss; /**< of the path, dB */
    double delay = 0;  /**< in front of the path, ms */
    double offset = 0; /**< a constant on the microphone's side */
};

/** The runs of a test and what it measures in each of them. */
struct Test {
    std::string name;
    std::vector<Margin> (*measure)(const Tables &, const MakeCanceller &, const Run &);
    std::vector<Run> runs;
};

/** All tests: with every path and level, or with three paths at one level. */
std::vector<Test> allTests(bool everyRun);

/** The residual that is allowed without suppression for a far end of this level, dBm0. */
double steadyLimit(double level);

} // namespace g168
