# SPDX-License-Identifier: MIT
# 32-bit x86.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(architecture i386)
set(triplet i686-linux-gnu)
set(multiarch i386-linux-gnu)
set(emulator qemu-i386)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
