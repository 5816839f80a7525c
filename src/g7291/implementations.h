// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/g7291.h"

#define RYXSC_DECLARED "g7291/exports.def"
#include "frame/declare_implementations.h"
