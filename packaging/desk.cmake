# SPDX-License-Identifier: MIT
# The node on a desk, for a developer's machine, so only where it is asked for by its component. It
# finds the programs of the other components by links laid out as a build folder is.
set(desk_folder ${CMAKE_INSTALL_LIBEXECDIR}/otaSwAgent/desk)
install(PROGRAMS ${PROJECT_BINARY_DIR}/desk/ota-desk
        DESTINATION ${desk_folder}/desk COMPONENT desk EXCLUDE_FROM_ALL)
install(FILES ota-desk.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT desk EXCLUDE_FROM_ALL)
install(TARGETS ota-desk-host RUNTIME
        DESTINATION ${desk_folder}/host COMPONENT desk EXCLUDE_FROM_ALL)

# ota_link(LINK TARGET), both below the prefix
function(ota_link link target)
  cmake_path(GET link PARENT_PATH folder)
  cmake_path(RELATIVE_PATH target BASE_DIRECTORY ${folder})
  install(CODE "set(link \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${link}\")
cmake_path(GET link PARENT_PATH folder)
file(MAKE_DIRECTORY \"\${folder}\")
file(CREATE_LINK \"${target}\" \"\${link}\" SYMBOLIC)" COMPONENT desk EXCLUDE_FROM_ALL)
endfunction()
ota_link(${CMAKE_INSTALL_BINDIR}/ota-desk ${desk_folder}/desk/ota-desk)
ota_link(${desk_folder}/src/libotaSwAgent.so ${OTA_LIBRARY_DIR}/libotaSwAgent.so)
ota_link(${desk_folder}/service/otad ${CMAKE_INSTALL_SBINDIR}/otad)
ota_link(${desk_folder}/cli/otactl ${CMAKE_INSTALL_BINDIR}/otactl)
ota_link(${desk_folder}/host/ota-host ${CMAKE_INSTALL_LIBEXECDIR}/otaSwAgent/ota-host)
ota_link(${desk_folder}/host/libotaSwPlatform.so
  ${CMAKE_INSTALL_LIBEXECDIR}/otaSwAgent/libotaSwPlatform.so)
ota_link(${desk_folder}/tools/ota-image ${CMAKE_INSTALL_BINDIR}/ota-image)
ota_link(${desk_folder}/tools/ota-boot-state ${CMAKE_INSTALL_SBINDIR}/ota-boot-state)
if(TARGET ota-power)
  install(TARGETS ota-power RUNTIME
          DESTINATION ${desk_folder}/desk/power COMPONENT desk EXCLUDE_FROM_ALL)
endif()
