// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include "ryxsc/g726.h"

#define RYXSC_DECLARED "g726/exports.def"
#include "frame/declare_implementations.h"
