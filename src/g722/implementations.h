// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/g722.h"

#define RYXSC_DECLARED "g722/exports.def"
#include "frame/declare_implementations.h"
