// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/g729.h"

#define RYXSC_DECLARED "g729/exports.def"
#include "frame/declare_implementations.h"
