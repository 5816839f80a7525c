// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/alc.h"

#define RYXSC_DECLARED "alc/exports.def"
#include "frame/declare_implementations.h"
