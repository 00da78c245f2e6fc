# SPDX-License-Identifier: MIT
# Where ccache is installed, nothing is compiled twice, in no clone of this user.
find_program(OTA_CCACHE ccache)
if(OTA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # What its manual asks for where headers are precompiled.
  set(CMAKE_C_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${OTA_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
  endif()
endif()
