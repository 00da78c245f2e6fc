# SPDX-License-Identifier: MIT
# The one place for warnings and instrumentation; every target links ota_compile_options.

option(OTA_SANITIZE "Build everything with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(OTA_COVERAGE "Build everything with coverage counters" OFF)
option(OTA_FUZZ "Build the libFuzzer programs of tests/fuzz, everything with ASan and UBSan" OFF)
option(OTA_DEBUG_FILES "Make debug symbols, and install them apart from the stripped programs" OFF)
option(OTA_WERROR "A warning fails the build; off for compilers that were never tried" ON)

add_library(ota_compile_options INTERFACE)
target_compile_options(ota_compile_options INTERFACE
  # One kind of code for archives and programs: a precompiled header serves both.
  -fPIC
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 $<$<BOOL:${OTA_WERROR}>:-Werror>
  # g++ 12 sees overlaps in std::string concatenation that are not there.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<COMPILE_LANGUAGE:CXX>>:-Wno-restrict>)
# A file may have 2 GiB and more, and time goes on after 2038; an inode that does not fit would fail
# readdir, which looks like the end of the folder.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(ota_compile_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

if(OTA_DEBUG_FILES)
  target_compile_options(ota_compile_options INTERFACE -g)
  target_link_options(ota_compile_options INTERFACE LINKER:--build-id=sha1)
endif()

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

# What ships is small: flash is dear, and nothing here is busy but OpenSSL and libcurl.
set(OTA_SIZE_OPTIONS $<$<CONFIG:Release>:-Os> -ffunction-sections -fdata-sections)

# The library uses none of what follows.
if(NOT OTA_BUILD_PLATFORM)
  return()
endif()

# Programs that ship are optimised as a whole when they are linked, which takes a fifth off them. The
# objects hold plain code too, for what is linked on a desk and in tests.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(OTA_LINK_TIME ON)
  list(APPEND OTA_SIZE_OPTIONS -flto -ffat-lto-objects $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>)
endif()

# With CMAKE_UNITY_BUILD, as the presets have it, the files of a room are compiled as one: three times
# as fast. No two files of a room may then give the same name of their own to different things.
set(CMAKE_UNITY_BUILD_BATCH_SIZE 0)

# Reading the C++ library takes longer than most files: it is read once, for all rooms.
add_library(ota_std_headers OBJECT ${CMAKE_CURRENT_LIST_DIR}/std_headers.cpp)
target_compile_options(ota_std_headers PRIVATE ${OTA_SIZE_OPTIONS})
target_link_libraries(ota_std_headers PRIVATE ota_compile_options)
target_precompile_headers(ota_std_headers PRIVATE
  <algorithm> <array> <chrono> <functional> <list> <map> <memory> <optional> <span> <string>
  <string_view> <utility> <vector>)

# ota_add_room(NAME [OBJECT] SOURCE...): a library of one folder; its headers are included by their
# path from the top of the tree.
function(ota_add_room name)
  add_library(${name} ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
  target_compile_options(${name} PRIVATE ${OTA_SIZE_OPTIONS})
  target_link_libraries(${name} PRIVATE ota_compile_options)
  target_precompile_headers(${name} REUSE_FROM ota_std_headers)
endfunction()

# Relative relocations take an eighth where the C library knows their packed form, which an older one
# would pass over without a word: so they are only packed where a program so linked was seen to run.
set(OTA_SMALL_LINK_OPTIONS LINKER:--gc-sections LINKER:--as-needed)
if(OTA_LINK_TIME AND NOT CMAKE_CROSSCOMPILING)
  include(CheckCXXSourceRuns)
  set(CMAKE_REQUIRED_LINK_OPTIONS LINKER:-z,pack-relative-relocs)
  check_cxx_source_runs("
    static const char *const texts[] = {\"a\", \"b\", \"c\"};
    int main(int count, char **) { return *texts[count] == 'b' ? 0 : 1; }" OTA_PACKS_RELOCATIONS)
  unset(CMAKE_REQUIRED_LINK_OPTIONS)
  if(OTA_PACKS_RELOCATIONS)
    list(APPEND OTA_SMALL_LINK_OPTIONS LINKER:-z,pack-relative-relocs)
  endif()
endif()

# ota_link_small(NAME): without what nobody uses; with OTA_LINK_TIME optimised as a whole.
function(ota_link_small name)
  if(OTA_SANITIZE OR OTA_FUZZ OR OTA_COVERAGE)
    return()
  endif()
  target_link_options(${name} PRIVATE ${OTA_SMALL_LINK_OPTIONS})
  if(OTA_LINK_TIME)
    target_link_options(${name} PRIVATE -flto=auto -flto-partition=one LINKER:-z,noseparate-code)
  else()
    target_link_options(${name} PRIVATE -fno-lto)
  endif()
endfunction()

# ota_add_program(NAME SOURCE... [ROOMS ...]): what ships; with OTA_LINK_TIME OFF: what runs on a desk.
function(ota_add_program name)
  cmake_parse_arguments(PARSE_ARGV 1 program "" "" "ROOMS")
  add_executable(${name} ${program_UNPARSED_ARGUMENTS})
  target_compile_options(${name} PRIVATE ${OTA_SIZE_OPTIONS})
  target_link_libraries(${name} PRIVATE ${program_ROOMS} ota_compile_options)
  target_precompile_headers(${name} REUSE_FROM ota_std_headers)
  ota_link_small(${name})
endfunction()

# ota_link_cpp_library_in(NAME PUBLIC|PRIVATE): the C++ library is linked in, as little of it as is
# used: what the host's process loads are C libraries, and loaded as a library it takes a tenth of the
# memory. Its symbols stay out of everybody's sight: none is mixed up with another copy's.
function(ota_link_cpp_library_in name scope)
  if(NOT OTA_SANITIZE)
    target_link_options(${name} ${scope} -static-libstdc++ -static-libgcc
      LINKER:--exclude-libs,libstdc++.a:libgcc.a:libgcc_eh.a)
  endif()
endfunction()
