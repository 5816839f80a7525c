// SPDX-License-Identifier: BSD-2-Clause
// What stands in the headers alone: texts of the statuses, version macros, constants of the codecs.
#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "amrwb/codec_tables.h"
#include "amrwb/isf_tables.h"
#include "g723/tables.h"
#include "gsmamr/lsf_tables.h"
#include "ryxsc.h"

namespace {

TEST(StatusText, NamesEveryStatusOfTheHeader) {
    std::ifstream stream(RYXSC_HEADERS "/ryxsc/status.h");
    const std::string header{std::istreambuf_iterator<char>(stream), {}};
    const std::regex declaration("(ryxSts\\w+) =\\s*(-?\\d+)");
    std::set<int> known;
    for (std::sregex_iterator match(header.begin(), header.end(), declaration), end; match != end; ++match) {
        const std::string name = (*match)[1], text = ryxscStatusText(std::stoi((*match)[2]));
        EXPECT_EQ(text.substr(0, name.size() + 2), name + ": ");
        EXPECT_GT(text.size(), name.size() + 2) << name;
        known.insert(std::stoi((*match)[2]));
    }
    EXPECT_GE(known.size(), 19U);
    for (int status = -200; status <= 200; status++)
        EXPECT_EQ(std::strcmp(ryxscStatusText(status), "unknown status") != 0, known.contains(status)) << status;
}

TEST(VersionMacros, AreThoseOfTheLibrary) {
    const ryxLibraryVersion &record = *ryxscGetLibVersion();
    EXPECT_EQ(RYXSC_VERSION, record.majorVersion * 10000 + record.minorVersion * 100 + record.majorBuild);
    EXPECT_EQ(std::string(record.version).find(RYXSC_VERSION_TEXT " "), 0U);
    EXPECT_STREQ(RYXSC_VERSION_TEXT, RYXSC_PROJECT_VERSION);
}

TEST(Constants, AreThoseOfTheFunctions) {
    EXPECT_TRUE(std::ranges::equal(ryxAMRWBMeanIsf, ryxsc::amrwb::isfMean));
    EXPECT_TRUE(std::ranges::equal(ryxAMRWBNoiseMeanIsf, ryxsc::amrwb::noiseMean));
    EXPECT_TRUE(std::ranges::equal(ryxAMRWBStartIsf, ryxsc::amrwb::startIsf));
    EXPECT_TRUE(std::ranges::equal(ryxGSMAMRMeanLsf, ryxsc::gsmamr::lsfMean122));
    EXPECT_TRUE(std::ranges::equal(ryxG723MeanLsf, ryxsc::g723::lsfMean));
    std::array<int16_t, 16> isp{};
    ASSERT_EQ(ryxsISFToISP_AMRWB_16s(ryxAMRWBStartIsf, isp.data(), 16), ryxStsOk);
    // The recommendation chooses the last one apart.
    EXPECT_TRUE(std::equal(isp.begin(), isp.end() - 1, ryxAMRWBStartIsp));
}

// Every rate of the enumeration is one that the functions take, and they take no other but the extended coder's.
TEST(Constants, NameEveryRateOfAmrWb) {
    const std::set<int> named = {ryxAMRWBRate6600,  ryxAMRWBRate8850,  ryxAMRWBRate12650,
                                 ryxAMRWBRate14250, ryxAMRWBRate15850, ryxAMRWBRate18250,
                                 ryxAMRWBRate19850, ryxAMRWBRate23050, ryxAMRWBRate23850};
    const int extended = 25;
    for (int mode = -1; mode < 40; mode++) {
        int16_t isf[16], residual[16] = {}, quantised[16], indices[7];
        std::ranges::copy(ryxAMRWBMeanIsf, isf);
        const ryxStatus status = ryxsISFQuant_AMRWB_16s(isf, residual, quantised, indices, mode);
        EXPECT_EQ(status == ryxStsOk, named.contains(mode) || mode == extended) << mode;
    }
}

} // namespace
