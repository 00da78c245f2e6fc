# SPDX-License-Identifier: MIT
# The one place for warnings and instrumentation; every target links ota_compile_options.

option(OTA_SANITIZE "Build everything with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(OTA_COVERAGE "Build everything with coverage counters" OFF)
option(OTA_FUZZ "Build the libFuzzer programs of tests/fuzz, everything with ASan and UBSan" OFF)

add_library(ota_compile_options INTERFACE)
target_compile_options(ota_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror
  # g++ 12 sees overlaps in std::string concatenation that are not there.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<COMPILE_LANGUAGE:CXX>>:-Wno-restrict>)

if(OTA_SANITIZE)
  target_compile_options(ota_compile_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer
    -g1) # a report names functions and lines
  target_link_options(ota_compile_options INTERFACE -fsanitize=address,undefined)
endif()
if(OTA_COVERAGE)
  target_compile_options(ota_compile_options INTERFACE --coverage -O0)
  target_link_options(ota_compile_options INTERFACE --coverage)
endif()
if(OTA_FUZZ)
  target_compile_options(ota_compile_options INTERFACE
    -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(ota_compile_options INTERFACE -fsanitize=address,undefined)
endif()

# ota_add_room(NAME [OBJECT] SOURCE...): a library of one folder; its headers are included by their
# path from the top of the tree.
function(ota_add_room name)
  add_library(${name} ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(${name} PRIVATE ota_compile_options)
endfunction()
