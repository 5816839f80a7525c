// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/common.h"

#define RYXSC_DECLARED "common/exports.def"
#include "frame/declare_implementations.h"
