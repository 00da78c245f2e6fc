# SPDX-License-Identifier: MIT
# The service, its host process and what bus and init system read. Its tools are a component of their own.
set(OTA_BUS_GROUP otaswagent CACHE STRING "The group whose members may call the upgrade service")
set(OTA_SYSTEMD_DIR lib/systemd/system CACHE STRING "Folder of the systemd units, below the prefix")
set(OTA_SYSUSERS_DIR lib/sysusers.d CACHE STRING "Folder for the group, below the prefix")
set(OTA_TMPFILES_DIR lib/tmpfiles.d CACHE STRING "Folder for what a boot makes, below the prefix")
set(OTA_INIT_DIR /etc/init.d CACHE STRING "Folder of the init scripts, without systemd")

configure_file(velmo.otaSwAgent.conf.in velmo.otaSwAgent.conf @ONLY)
configure_file(otaSwAgent.sysusers.in otaSwAgent.conf @ONLY)

# ota_install_files(FOLDER FILE...)
function(ota_install_files folder)
  install(FILES ${ARGN} DESTINATION ${folder} COMPONENT service)
endfunction()

install(TARGETS otactl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT service)
install(TARGETS otad RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT service)
install(TARGETS ota-host otaSwPlatform
        RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/otaSwAgent COMPONENT service
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/otaSwAgent COMPONENT service)
install(TARGETS ota-report RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(FILES ota-report.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
list(APPEND shipped otactl otad ota-host otaSwPlatform ota-report)

ota_install_files(${CMAKE_INSTALL_DOCDIR}
  ${PROJECT_SOURCE_DIR}/node/node.conf.example
  ${PROJECT_SOURCE_DIR}/docs/boot.cmd
  ${PROJECT_SOURCE_DIR}/docs/codes.md)
# What starts the service: a unit, or an init script.
if(OTA_SYSTEMD)
  set(unit otad.service)
  set(unit_dir ${OTA_SYSTEMD_DIR})
else()
  set(unit otad.init)
  set(unit_dir ${OTA_INIT_DIR})
endif()
install(CODE "set(source \"${CMAKE_CURRENT_SOURCE_DIR}\")
set(binary \"${CMAKE_CURRENT_BINARY_DIR}\")
set(unit \"${unit}\")
set(unit_dir \"${unit_dir}\")
set(sbin \"${CMAKE_INSTALL_SBINDIR}\")
set(lib \"${OTA_LIBRARY_DIR}\")
set(libexec \"${CMAKE_INSTALL_LIBEXECDIR}\")
set(OTA_CONFIG_FILE \"${OTA_CONFIG_FILE}\")" COMPONENT service)
install(SCRIPT install_unit.cmake COMPONENT service)
ota_install_files(${OTA_SYSUSERS_DIR} ${CMAKE_CURRENT_BINARY_DIR}/otaSwAgent.conf)
install(FILES otaSwAgent.tmpfiles
        DESTINATION ${OTA_TMPFILES_DIR} COMPONENT service RENAME otaSwAgent.conf)
ota_install_files(${CMAKE_INSTALL_DATADIR}/dbus-1/system.d
  ${CMAKE_CURRENT_BINARY_DIR}/velmo.otaSwAgent.conf)
ota_install_files(${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces
  ${PROJECT_SOURCE_DIR}/docs/velmo.otaSwAgent.xml)
ota_install_files(${CMAKE_INSTALL_DATADIR}/bash-completion/completions completion/otactl)
ota_install_files(${CMAKE_INSTALL_MANDIR}/man1 otactl.1)
ota_install_files(${CMAKE_INSTALL_MANDIR}/man5 node.conf.5)
ota_install_files(${CMAKE_INSTALL_MANDIR}/man8 ota-host.8 otad.8)
