// SPDX-License-Identifier: BSD-2-Clause
// Declares the implementations of every export: name_u8, and name_n8 where the n8 variant has its own. The types come
// from the public header, so an implementation that strays from its prototype does not compile.
#pragma once

#include "ryxsc.h"

#pragma GCC visibility push(hidden)
extern "C" {
#define ONE(name) decltype(::name) name##_u8;
#define TWO(name)                                                                                                      \
    decltype(::name) name##_u8;                                                                                        \
    decltype(::name) name##_n8;
#include "frame/exports.def"
#undef ONE
#undef TWO
}
#pragma GCC visibility pop
