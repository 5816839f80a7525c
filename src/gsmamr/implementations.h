// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/gsmamr.h"

#define RYXSC_DECLARED "gsmamr/exports.def"
#include "frame/declare_implementations.h"
