# SPDX-License-Identifier: Apache-2.0
# 64 bits, little-endian, weakly ordered memory
set(foreign_architecture arm64)
set(foreign_compiler aarch64-linux-gnu)
set(foreign_triplet aarch64-linux-gnu)
set(foreign_emulator aarch64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include("${CMAKE_CURRENT_LIST_DIR}/foreign.cmake")
