// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <string>

// What a command prints to its standard output. Fails the running test when the command fails.
std::string outputOf(const std::string &command);

// The line of this program, started anew with the given environment ("NAME=value ..."): processor variant, feature mask,
// and with the core library of the tests the calls of its feature functions up to main().
std::string probe(const std::string &environment);
