// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/ec.h"

#define RYXSC_DECLARED "ec/exports.def"
#include "frame/declare_implementations.h"
