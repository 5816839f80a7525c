// SPDX-License-Identifier: BSD-2-Clause
// What every speech codec shows in its section.
#pragma once

#include <string>
#include <vector>

#include "codec.h"
#include "report.h"

/**
 * @brief Runs the recordings through the codec at all its rates and shows the results, players and pictures.
 * @param codecs the same codec at several rates, the highest first
 * @param file beginning of the names of its files, lower case letters and digits
 */
void showCodec(Report &report, const Recordings &originals, const Excerpt &excerpt, const std::vector<Codec> &codecs,
               const std::string &file);
