# SPDX-License-Identifier: MIT
# The debug symbols of one program, where debuggers look: by the number that the linker gave it.
execute_process(COMMAND ${readelf} -n ${program}
  OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
  message(FATAL_ERROR "${program} has no build number: link it with -Wl,--build-id")
endif()
set(file "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/lib/debug/.build-id/${CMAKE_MATCH_1}/${CMAKE_MATCH_2}.debug")
message(STATUS "Installing: ${file}")
cmake_path(GET file PARENT_PATH folder)
file(MAKE_DIRECTORY "${folder}")
execute_process(COMMAND ${objcopy} --only-keep-debug --compress-debug-sections ${program} ${file}
  COMMAND_ERROR_IS_FATAL ANY)
