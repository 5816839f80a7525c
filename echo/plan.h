// SPDX-License-Identifier: BSD-2-Clause
// What follows from the options of a canceller: lengths, delays, and the sizes of the state blocks of the primitives.
#pragma once

#include <ryxsc.h>

#pragma GCC visibility push(default)
#include "ryxecho.h"
#pragma GCC visibility pop

namespace ryxecho {

struct Plan {
    ryxEchoOptions options;
    int block;                                 // samples that the method takes at a time
    int order;                                 // of its transform
    int hop;                                   // samples between two spectra
    int taps;                                  // spectra, or samples, that the filter covers
    int callDelay;                             // of the blocks that calls are cut into
    int methodDelay;                           // of the method and its suppression
    int longestInput;                          // samples that are taken before any is given
    double energySmoothing;                    // of a block, 110 ms
    int bankBytes, shapedBankBytes, workBytes; // filter banks: without a window, with one
    int controllerBytes, filterBytes, toneBytes;

    int points() const { return 1 << order; }
    int bands() const { return points() / 2 + 1; }
    bool suppresses() const { return options.suppression != 0; }
};

// The window that suppression sees the signals through takes one transform, that of the sub-band method two.
constexpr int subbandWindowPeriods = 2;

// The statuses of ryxechoGetSize().
ryxStatus makePlan(const ryxEchoOptions &options, Plan &plan);

} // namespace ryxecho
