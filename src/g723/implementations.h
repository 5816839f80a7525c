// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/g723.h"

#define RYXSC_DECLARED "g723/exports.def"
#include "frame/declare_implementations.h"
