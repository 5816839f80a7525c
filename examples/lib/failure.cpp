// SPDX-License-Identifier: BSD-2-Clause
#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <new>

namespace {

std::string runningProgram = "ryxsc";

// With one of the first three descriptors closed, the next file to be opened would get its number, and what is meant for
// a reader would end up in it. The wrong direction makes every use fail, as a closed one does.
void occupyStandardDescriptors() {
    for (const int descriptor : {0, 1, 2})
        if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", descriptor == 0 ? O_WRONLY : O_RDONLY);
}

} // namespace

void note(const std::string &sentence) {
    std::fprintf(stderr, "%s: %s\n", runningProgram.c_str(), sentence.c_str());
}

int runProgram(const std::string &name, int argc, char **argv, const std::function<int(int, char **)> &body) {
    runningProgram = name;
    occupyStandardDescriptors();
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
