// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/g7221.h"

#define RYXSC_DECLARED "g7221/exports.def"
#include "frame/declare_implementations.h"
