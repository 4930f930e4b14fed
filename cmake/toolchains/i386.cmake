# SPDX-License-Identifier: Apache-2.0
# 32 bits, little-endian
set(foreign_architecture i386)
set(foreign_compiler i686-linux-gnu)
set(foreign_triplet i386-linux-gnu)
set(foreign_emulator i386)
set(CMAKE_SYSTEM_PROCESSOR i686)
include("${CMAKE_CURRENT_LIST_DIR}/foreign.cmake")
