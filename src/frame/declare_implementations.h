// SPDX-License-Identifier: BSD-2-Clause
// Declares the implementations of the exports that the list RYXSC_DECLARED names: name_u8, and name_n8 where the n8
// variant has its own. The types come from the public header, so an implementation that strays from its prototype does
// not compile.

#pragma GCC visibility push(hidden)
extern "C" {
#define ONE(name) decltype(::name) name##_u8;
#define TWO(name)                                                                                                      \
    decltype(::name) name##_u8;                                                                                        \
    decltype(::name) name##_n8;
#include RYXSC_DECLARED
#undef ONE
#undef TWO
}
#pragma GCC visibility pop
#undef RYXSC_DECLARED
