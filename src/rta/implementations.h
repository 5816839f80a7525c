// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/rta.h"

#define RYXSC_DECLARED "rta/exports.def"
#include "frame/declare_implementations.h"
