// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/gsmfr.h"

#define RYXSC_DECLARED "gsmfr/exports.def"
#include "frame/declare_implementations.h"
