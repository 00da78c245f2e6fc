# SPDX-License-Identifier: MIT
# 32-bit Arm with floating point.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(architecture armhf)
set(triplet arm-linux-gnueabihf)
set(multiarch arm-linux-gnueabihf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
