// SPDX-License-Identifier: BSD-2-Clause
// The tests of ITU-T G.168 with three paths; ./run compare g168 takes all of them.
#include <gtest/gtest.h>

#include "tests.h"

namespace {

class G168 : public testing::TestWithParam<g168::Test> {};

TEST_P(G168, IsPassed) {
    const g168::Tables tables(RYXSC_TEST_DATA "/g168");
    for (const g168::Run &run : GetParam().runs)
        for (const g168::Margin &margin : GetParam().measure(tables, g168::ourCanceller(64), run))
            EXPECT_GE(margin.decibels, 0) << margin.test << ", path D." << run.path + 2;
}

std::string nameOf(const testing::TestParamInfo<g168::Test> &info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Echo, G168, testing::ValuesIn(g168::allTests(false)), nameOf);

} // namespace
