# SPDX-License-Identifier: MIT
# 32-bit MIPS, little endian.
set(CMAKE_SYSTEM_PROCESSOR mips)
set(architecture mipsel)
set(triplet mipsel-linux-gnu)
set(multiarch mipsel-linux-gnu)
set(emulator qemu-mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
