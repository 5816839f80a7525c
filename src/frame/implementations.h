// SPDX-License-Identifier: BSD-2-Clause
// The implementations of every export. A family's code includes its own part, <family>/implementations.h.
#pragma once

#include "ryxsc.h"

#define RYXSC_DECLARED "frame/exports.def"
#include "frame/declare_implementations.h"
