# SPDX-License-Identifier: Apache-2.0
# 32 bits, little-endian; unaligned access may fail
set(foreign_architecture armhf)
set(foreign_compiler arm-linux-gnueabihf)
set(foreign_triplet arm-linux-gnueabihf)
set(foreign_emulator arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")  # notes about gcc 6
include("${CMAKE_CURRENT_LIST_DIR}/foreign.cmake")
