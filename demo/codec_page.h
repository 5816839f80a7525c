// SPDX-License-Identifier: BSD-2-Clause
// What every whole codec shows in its section.
#pragma once

#include <ryxcodec.h>
#include <string>

#include "report.h"

/**
 * @brief Runs the recordings through the codec at all its rates and shows results, players and pictures.
 *
 * Every rate has a row in the table of results. Recordings and pictures are those of the highest, the lowest and the
 * usual rate; the usual one also with lost frames where the codec conceals them.
 */
void showCodec(Report &report, const ryxCodec &codec, const Recordings &originals, const Excerpt &excerpt);
