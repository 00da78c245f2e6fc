// SPDX-License-Identifier: MIT
// What the steps of an announcement write into the journal: intake, decision, hand-over.
#pragma once

#include "announcements.h"
#include "shared_lines.h"

namespace ota::test {

inline constexpr char kUnit[] = "swmgmtitf";

// The lines behind the trace and, where there is one, the error.
inline Entries descriptorLines(const Offer &offer) {
    const char *const intake = "ota_recv_newimagenfo";
    const std::string field = "ota_recv_newimagenfo:swInfo.";
    const std::string policy = std::to_string(offer.policy);
    return entries(both(kUnit, intake, "ClusterUpgradeSignal Data:"),
                   both(kUnit, intake, field + "model = " + offer.model),
                   both(kUnit, intake, field + "nxtMSVersion = " + offer.version),
                   both(kUnit, intake, field + "fileServerURL = " + offer.url),
                   both(kUnit, intake, field + "checksum = " + offer.checksum),
                   both(kUnit, intake, field + "mac = " + offer.mac),
                   trace(intake, field + "policy = " + policy),
                   both(kUnit, intake,
                        "model " + offer.model + " nxtMSVersion " + offer.version + " checksum " +
                            offer.checksum + " mac " + offer.mac + " policy " + policy));
}

inline Entries descriptorIntake(const Offer &offer) {
    return entries(trace("ota_recv_newimagenfo", "Inside ota_recv_newimagenfo"),
                   descriptorLines(offer));
}

inline Entries configIntake(const OtaLibConfig &config) {
    const std::string body =
        "OffloadDownloadActivate " + std::to_string(config.OffloadDownloadActivate) +
        " initial_obardingStatus " + std::to_string(config.initial_obardingStatus) +
        " firsttime_polling " + std::to_string(config.firsttime_polling);
    return entries(trace("ota_recv_config", "Inside ota_recv_config"),
                   trace("ota_recv_config", body), notice(kUnit, "ota_recv_config", " " + body));
}

inline constexpr char kAcceptance[] = "isReceivedValidImage";

inline Entries acceptance(const std::string &body) { return both(kUnit, kAcceptance, body); }

// The device is the right one, and all three versions are known.
inline Entries versionsRead(const std::string &target) {
    return entries(macRead(), acceptance("Device MAC and payload MAC matching, allow upgrade"),
                   "nal_getCurSwVersion", "nal_getPrevSwVersion",
                   acceptance("CurrentSwVer = " + node().currentVersion + ", PrevSwVer = " +
                              node().previousVersion + ", NextSwVer = " + target));
}

inline Entries acceptedForDownload(const std::string &target) {
    return entries(versionsRead(target),
                   acceptance("Current and Previous Version is different than Target Software "
                              "version, go for Download and Upgrade"));
}

inline constexpr char kNewImage[] = "otaSwmgnt_process_newimage_info";

inline Entries newImage(const std::string &body) { return both(kUnit, kNewImage, body); }

// The request is taken in and found to name, or not to name, this device.
inline Entries requestTaken(const Offer &offer, const OtaLibConfig &config) {
    return entries(
        trace(kNewImage, "Inside otaSwmgnt_process_newimage_info to process the new image info"),
        descriptorIntake(offer), configIntake(config), macRead(),
        newImage(std::string("DeviceMAC--payload MAC is:") + kNodeMac + "--" + offer.mac));
}

// The image is accepted, and the context it comes into is known.
inline Entries contextAsked(const Offer &offer, const OtaLibConfig &config) {
    return entries(
        acceptedForDownload(offer.version), newImage("About to call  ota_getWifiServiceObj "),
        contextRead(),
        newImage("WorkMode = " + node().workMode + " workRole = " + node().workRole +
                 ", initial_obardingStatus =" + std::to_string(config.initial_obardingStatus) +
                 " g_firsttime_polling = " + std::to_string(config.firsttime_polling)));
}

// The image is handed over to the gateway.
inline Entries handedOver(const Offer &offer, const std::string &time) {
    const char *const driver = "downloadAndUpgrade";
    return entries(both(kUnit, driver, "OffloadDownloadActivate set offload to RG"),
                   both(kUnit, driver, "json_fileServerinfo value [" + handOff(offer, time) + "]"),
                   "nal_setSwmgntFileServerInfo " + escaped(handOff(offer, time)),
                   both(kUnit, driver, "Return now, offloading activation and commit to RG"));
}

} // namespace ota::test
