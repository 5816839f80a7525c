// SPDX-License-Identifier: BSD-2-Clause
// State of the decoder's discontinuous transmission (3GPP TS 26.092, TS 26.093).
#pragma once

#include "gsmamr/lsf_steps.h"

struct DecDTXState_GSMAMR {
    int16_t previous, current; // ryxGSMAMRSpeech, ryxGSMAMRComfortNoise, ryxGSMAMRMute
    int16_t since;             // frames since the last descriptor
    int16_t period;            // reciprocal of the last distance of two descriptors, Q14
    int16_t elapsed, hangover; // as the encoder counts them
    int16_t isSid, isValid, isAdded;
    int16_t wasUpdated;
    int16_t energy, lastEnergy; // log2, Q11
    int16_t adjustment;         // of the energy by the rate, Q11
    int16_t predictionGain;     // log2 of the LP filter's, smoothed
    ryxsc::gsmamr::Lsp lsp, lastLsp;
    ryxsc::gsmamr::Lsf variability[8];
    uint32_t noise; // register of 31 bits
};
