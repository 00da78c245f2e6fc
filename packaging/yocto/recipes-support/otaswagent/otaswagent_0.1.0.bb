# SPDX-License-Identifier: MIT
SUMMARY = "Over-the-air upgrade agent of a gateway or mesh extender"
DESCRIPTION = "The agent's library, the service around it, its command line and its tools."
SECTION = "base"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=43bb698847457d6589548c83edd75dcb"

inherit cmake pkgconfig systemd update-rc.d useradd externalsrc

# The layer lies in the tree that it builds.
EXTERNALSRC = "${@os.path.abspath(d.getVar('THISDIR') + '/../../../..')}"
EXTERNALSRC_BUILD = "${WORKDIR}/build"

DEPENDS = "curl cjson"
PACKAGECONFIG ??= "platform service ${@bb.utils.filter('DISTRO_FEATURES', 'systemd', d)}"
PACKAGECONFIG[systemd] = "-DOTA_SYSTEMD=ON,-DOTA_SYSTEMD=OFF"
BUS_LIBRARY = "${@bb.utils.contains('PACKAGECONFIG', 'systemd', 'systemd', 'elogind', d)}"
PACKAGECONFIG[platform] = "-DOTA_BUILD_PLATFORM=ON,-DOTA_BUILD_PLATFORM=OFF,inih libubootenv openssl ${BUS_LIBRARY} zlib"
PACKAGECONFIG[service] = "-DOTA_BUILD_SERVICE=ON,-DOTA_BUILD_SERVICE=OFF,mosquitto ${BUS_LIBRARY}"

EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=Release -DCMAKE_UNITY_BUILD=ON -DBUILD_TESTING=OFF \
    -DOTA_BUILD_DESK=OFF -DOTA_STRIP=OFF -DOTA_WERROR=OFF \
    -DOTA_SYSTEMD_DIR=${systemd_system_unitdir}"

# The libraries have no version in their names.
SOLIBS = ".so"
FILES_SOLIBSDEV = ""

PACKAGE_BEFORE_PN = "libotaswagent ota-tools otactl otad"
FILES:libotaswagent = "${libdir}/libotaSwAgent.so ${libdir}/libotaGuard.so"
FILES:ota-tools = "${bindir}/ota-config ${bindir}/ota-image ${bindir}/ota-platform-check \
    ${bindir}/ota-report ${sbindir}/ota-boot-state ${datadir}/bash-completion/completions/ota-platform-check"
FILES:otactl = "${bindir}/otactl ${datadir}/bash-completion/completions/otactl"
STARTED_BY = "${@bb.utils.contains('PACKAGECONFIG', 'systemd', '${systemd_system_unitdir}/otad.service', '${sysconfdir}/init.d', d)}"
FILES:otad = "${sbindir}/otad ${libexecdir}/otaSwAgent ${STARTED_BY} \
    ${prefix}/lib/sysusers.d/otaSwAgent.conf ${prefix}/lib/tmpfiles.d/otaSwAgent.conf \
    ${datadir}/dbus-1/system.d/velmo.otaSwAgent.conf \
    ${datadir}/dbus-1/interfaces/velmo.otaSwAgent.xml"
FILES:${PN}-dev = "${includedir}/otaSwAgent ${libdir}/cmake/otaSwAgent ${libdir}/pkgconfig/otaSwAgent.pc"
FILES:${PN}-doc = "${docdir}/otaSwAgent ${mandir}"
ALLOW_EMPTY:${PN} = "1"

RDEPENDS:${PN} = "${@bb.utils.contains('PACKAGECONFIG', 'service', 'otad otactl', 'libotaswagent', d)}"
RDEPENDS:${PN}-dev = "libotaswagent"
RDEPENDS:otactl = "ota-tools"
# Loaded by name.
RDEPENDS:otad = "dbus libotaswagent"

# A read-only root can add no group on the node.
USERADD_PACKAGES = "${@bb.utils.contains('PACKAGECONFIG', 'service', 'otad', '', d)}"
GROUPADD_PARAM:otad = "--system otaswagent"

SYSTEMD_PACKAGES = "${@bb.utils.contains('PACKAGECONFIG', 'service', 'otad', '', d)}"
SYSTEMD_SERVICE:otad = "otad.service"
INITSCRIPT_PACKAGES = "${SYSTEMD_PACKAGES}"
INITSCRIPT_NAME:otad = "otad"
INITSCRIPT_PARAMS:otad = "defaults"
