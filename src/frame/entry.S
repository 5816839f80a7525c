/* SPDX-License-Identifier: BSD-2-Clause */
/* Entry of every exported function: read the variant selector, take the function's row of the entry table, jump to the
   implementation in the slot that the selector names. Nothing but rax and r11 is touched, so arguments in registers and
   on the stack reach the implementation as they are, and it returns straight to the caller. A static library has a file
   of this kind for each function, so that a program takes in what it calls and no more. */

#if defined(__CET__)
#include <cet.h>
#else
#define _CET_ENDBR
#endif

#define STUB_BYTES 32

/* Rows lie in data that the loader relocates once and then makes read-only. */
#define ENTRY(name, slot0, slot1)                    \
    .section .data.rel.ro.entry_table,"aw",@progbits; \
    .balign 16;                                      \
.Lrow_##name:                                        \
    .quad slot0, slot1;                              \
    .hidden slot0;                                   \
    .hidden slot1;                                   \
    .text;                                           \
    .balign STUB_BYTES;                              \
    .globl name;                                     \
    .type name, @function;                           \
name:                                                \
    _CET_ENDBR;                                      \
    movslq ryxscVariant(%rip), %rax;                 \
    leaq .Lrow_##name(%rip), %r11;                   \
    jmp *(%r11,%rax,8);                              \
    .size name, .-name;

    .hidden ryxscVariant

#define ONE(name) ENTRY(name, name##_u8, name##_u8)
#define TWO(name) ENTRY(name, name##_u8, name##_n8)
#ifndef RYXSC_ENTRIES
#define RYXSC_ENTRIES "frame/exports.def"
#endif
#include RYXSC_ENTRIES

    .section .note.GNU-stack,"",@progbits
