# SPDX-License-Identifier: MIT
# Writes and installs the unit or the init script. Its paths are those of the prefix that is installed to, which need
# not be the one that was configured.
cmake_path(ABSOLUTE_PATH sbin BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE OTA_SBIN)
cmake_path(ABSOLUTE_PATH lib BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE OTA_LIB)
cmake_path(ABSOLUTE_PATH libexec BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}"
           OUTPUT_VARIABLE OTA_LIBEXEC)
cmake_path(ABSOLUTE_PATH unit_dir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
if(unit STREQUAL otad.init)
  configure_file("${source}/otad.init.in" "${binary}/init.d/otad" @ONLY)
  file(INSTALL "${binary}/init.d/otad" DESTINATION "${unit_dir}" USE_SOURCE_PERMISSIONS)
else()
  configure_file("${source}/${unit}.in" "${binary}/${unit}" @ONLY)
  file(INSTALL "${binary}/${unit}" DESTINATION "${unit_dir}")
endif()
