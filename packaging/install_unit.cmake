# SPDX-License-Identifier: MIT
# Writes and installs the unit. Its paths are those of the prefix that is installed to, which need
# not be the one that was configured.
cmake_path(ABSOLUTE_PATH sbin BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE OTA_SBIN)
cmake_path(ABSOLUTE_PATH lib BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" OUTPUT_VARIABLE OTA_LIB)
cmake_path(ABSOLUTE_PATH libexec BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}"
           OUTPUT_VARIABLE OTA_LIBEXEC)
configure_file("${source}/otad.service.in" "${binary}/otad.service" @ONLY)
cmake_path(ABSOLUTE_PATH unit_dir BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
file(INSTALL "${binary}/otad.service" DESTINATION "${unit_dir}")
