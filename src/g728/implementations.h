// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/g728.h"

#define RYXSC_DECLARED "g728/exports.def"
#include "frame/declare_implementations.h"
