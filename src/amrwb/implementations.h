// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/amrwb.h"

#define RYXSC_DECLARED "amrwb/exports.def"
#include "frame/declare_implementations.h"
