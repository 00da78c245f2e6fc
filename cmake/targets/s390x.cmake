# SPDX-License-Identifier: MIT
# The one target here that is big endian, to see that nothing depends on the order of bytes.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(architecture s390x)
set(triplet s390x-linux-gnu)
set(multiarch s390x-linux-gnu)
set(emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
