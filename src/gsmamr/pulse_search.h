// SPDX-License-Identifier: BSD-2-Clause
// The pulse searches of the algebraic codebook, 3GPP TS 26.090, clause 5.7.2.
#pragma once

#include "gsmamr/search_work.h"

namespace ryxsc::gsmamr {

// Two, three and four pulses.
Pulses searchFewPulses(Codebook codebook, int subframe, const Work<5> &work);

// Eight pulses on four tracks, ten on five: two a track. The magnitudes are those of correlation and residual together.
template <int step> Pulses searchManyPulses(const Words &magnitude, const Work<step> &work);

} // namespace ryxsc::gsmamr
