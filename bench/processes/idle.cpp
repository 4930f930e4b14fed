// SPDX-License-Identifier: Apache-2.0
// A library that does nothing, of the size of one of the SDK's: NAMES exported functions, POINTERS to
// relocate and CODE bytes of code.
#define TEXT_OF(macro) #macro
#define TEXT(macro) TEXT_OF(macro)

__asm__(
    ".altmacro\n"
    ".macro exported number\n"
    ".globl process_idle_" TEXT(LIBRARY) "_with_a_name_of_a_usual_length_\\number\n"
    "process_idle_" TEXT(LIBRARY) "_with_a_name_of_a_usual_length_\\number:\n"
    ".endm\n"
    ".set number, 0\n"
    ".rept " TEXT(NAMES) "\n"
    "exported %number\n"
    ".set number, number + 1\n"
    ".endr\n"
    "code: .fill " TEXT(CODE) "\n"
    ".section .data.rel.ro, \"aw\"\n"
    ".rept " TEXT(POINTERS) "\n"
    ".quad code\n"
    ".endr\n"
    ".text\n");
