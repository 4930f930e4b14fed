# SPDX-License-Identifier: Apache-2.0
# 64 bits, big-endian
set(foreign_architecture s390x)
set(foreign_compiler s390x-linux-gnu)
set(foreign_triplet s390x-linux-gnu)
set(foreign_emulator s390x)
set(CMAKE_SYSTEM_PROCESSOR s390x)
include("${CMAKE_CURRENT_LIST_DIR}/foreign.cmake")
