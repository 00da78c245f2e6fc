# SPDX-License-Identifier: MIT
# What the toolchain files beside this one share: Debian's compilers for TRIPLET, a sysroot that
# sysroot.sh made (OTA_SYSROOT names another), and an emulator for the tests.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${multiarch})

set(OTA_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${architecture}
    CACHE PATH "The libraries of the target")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OTA_SYSROOT)
file(REAL_PATH ${OTA_SYSROOT} CMAKE_SYSROOT)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/${multiarch}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})

set(OTA_EMULATOR ${emulator} CACHE STRING "What runs a program of the target; empty: this machine")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OTA_EMULATOR)
if(OTA_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OTA_EMULATOR};-L;${CMAKE_SYSROOT})
endif()
