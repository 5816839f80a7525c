// SPDX-License-Identifier: BSD-2-Clause
// GoogleTest programs that can be started as a probe, to see what another environment makes of them.
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>

#include "harness/test_core.h"
#include "probe.h"
#include "ryxcore.h"
#include "ryxsc.h"

#pragma weak testCoreCalls

std::string outputOf(const std::string &command) {
    std::string output;
    FILE *const pipe = popen(command.c_str(), "r");
    for (int c; pipe && (c = std::getc(pipe)) != EOF;)
        output += static_cast<char>(c);
    EXPECT_TRUE(pipe && pclose(pipe) == 0) << command;
    return output;
}

std::string probe(const std::string &environment) {
    static const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    return outputOf("env " + environment + " '" + self + "' --probe");
}

int main(int argc, char **argv) {
    if (argc == 2 && std::string(argv[1]) == "--probe") {
        const std::string calls = testCoreCalls ? testCoreCalls() : "";
        std::printf("%.4s %#jx %s", ryxscGetLibVersion()->targetCpu, uintmax_t{ryxGetEnabledCpuFeatures()},
                    calls.c_str());
        return 0;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
