// SPDX-License-Identifier: BSD-2-Clause
#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

namespace {

std::string runningProgram = "ryxsc";

} // namespace

void note(const std::string &sentence) {
    std::fprintf(stderr, "%s: %s\n", runningProgram.c_str(), sentence.c_str());
}

int runProgram(const std::string &name, int argc, char **argv, const std::function<int(int, char **)> &body) {
    runningProgram = name;
    try {
        const int result = body(argc, argv);
        // A full disk behind standard output shows only when the buffer is written.
        if (std::fflush(stdout) != 0) throw Failure(std::string("cannot write to standard output: ") + strerror(errno));
        return result;
    } catch (const std::bad_alloc &) {
        note("there is not enough memory");
    } catch (const std::exception &error) {
        note(error.what());
    }
    return 1;
}
