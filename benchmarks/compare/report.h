// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdio>
#include <vector>

#include "measure.h"

namespace ryxsc::compare {

// The rows of one result; a codec's first row comes with its title and columns.
void printRows(const Result &result, bool firstOfCodec);

void printLegend();

void writeJson(std::FILE *file, const std::vector<Result> &results);

} // namespace ryxsc::compare
