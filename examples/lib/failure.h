// SPDX-License-Identifier: BSD-2-Clause
// How the programs end when something is wrong: one clear sentence on standard error and exit code 1.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>

/** What went wrong, as one sentence for the user. */
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/**
 * @brief Runs the body of a program and turns every exception into one line on standard error.
 * @param name program name, printed in front of the sentence
 * @param body the program; its result becomes the exit code
 * @return the result of `body`, or 1 after an exception or when standard output could not be written
 */
int runProgram(const std::string &name, int argc, char **argv, const std::function<int(int, char **)> &body);

/** Says something worth knowing that is no failure: one line on standard error, after the program's name. */
void note(const std::string &sentence);
