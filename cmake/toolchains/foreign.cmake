# SPDX-License-Identifier: Apache-2.0
# Cross-compiles for another processor with Debian's compiler, against the packages in build/foreign/ARCHITECTURE/root, and
# runs programs in user-mode emulation. scripts/test-foreign makes the root. Included by the file of each architecture, which
# sets `foreign_architecture` (Debian's name), `foreign_compiler` (the compiler's prefix), `foreign_triplet` (of the library folders) and
# `foreign_emulator` (qemu's name).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER "${foreign_compiler}-g++")
get_filename_component(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/foreign/${foreign_architecture}/root" ABSOLUTE)
set(CMAKE_LIBRARY_ARCHITECTURE "${foreign_triplet}")
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-${foreign_emulator}-static;-L;${CMAKE_SYSROOT}")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/${foreign_triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
