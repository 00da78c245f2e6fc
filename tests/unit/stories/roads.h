// SPDX-License-Identifier: MIT
// Stretches of road that several stories take, as lists of what the agent does on them.
#pragma once

#include "announcements.h"
#include "stories.h"

namespace ota::test {

inline constexpr char kReboot[] = "system /sbin/reboot";
inline constexpr char kRemoveAgentData[] = "system rm -f ./ota_agent_data";
inline constexpr char kMarkFailure[] = "system echo OTA_SW_DOWNLOAD_FAILED >> ./ota_dwld_prog";
inline constexpr char kFallBack[] = "nal_fallBackToActiveImage";
inline constexpr char kForwarded[] = "nwa_sendNotificationToRoot updateUpgradeStatus";
inline constexpr char kRetryIn2Minutes[] = "startTimer 120 downloadRetryTimer";
inline constexpr char kRetryIn30Minutes[] = "startTimer 1800 downloadRetryTimer";

// The command is cut behind its eighteenth character.
inline constexpr char kRemoveSumFile[] = "system rm -rf ./otaMD5.tx";

// The sum that a faultless download has.
inline constexpr char kSum[] = "0123456789abcdef";

// A download of the default offer, up to and including the transfer.
inline Entries transfer() {
    return {"system rm -rf ./4QZ*",
            "system rm -rf ./tmpImage",
            "system rm -rf ./software_",
            "curl_global_init CURL_GLOBAL_ALL",
            "curl_easy_init",
            "curl_easy_setopt CURLOPT_VERBOSE 1",
            "curl_easy_setopt CURLOPT_TIMEOUT 600",
            "curl_easy_setopt CURLOPT_URL http://127.0.0.1/image",
            "curl_easy_setopt CURLOPT_PROGRESSFUNCTION file-local",
            "curl_easy_setopt CURLOPT_XFERINFODATA pointer",
            "curl_easy_setopt CURLOPT_NOPROGRESS 0",
            "curl_easy_setopt CURLOPT_WRITEFUNCTION dlFile_writeFunc",
            "curl_easy_setopt CURLOPT_WRITEDATA stream of ./4QZ-2.0",
            "curl_easy_setopt CURLOPT_SOCKOPTFUNCTION curlSockOptCallback",
            "curl_easy_setopt CURLOPT_SOCKOPTDATA g_httpInfo",
            "curl_easy_setopt CURLOPT_LOCALPORT 47791",
            "curl_easy_setopt CURLOPT_LOCALPORTRANGE 16",
            "curl_easy_perform"};
}

inline Entries transferEnds() { return {"curl_easy_cleanup", "curl_global_cleanup"}; }

// A download that is answered, and the image verified and written.
inline Entries downloadedAndWritten() {
    return entries(transfer(), "curl_easy_getinfo CURLINFO_RESPONSE_CODE", transferEnds(),
                   "popen md5sum ./4QZ-2.0 |awk '{print $1}' r", "nal_writePassiveImage ./4QZ-2.0");
}

// The scheduled reboot behind a written image.
inline Entries rebootScheduled(int seconds) {
    return entries("startTimer " + std::to_string(seconds) + " rebootTimer", kRemoveSumFile,
                   kFallBack);
}

inline Entries windowOpened() {
    return {kRemoveAgentData, "flock stream of ./ota_agent_data LOCK_SH",
            "flock stream of ./ota_agent_data LOCK_UN", "startTimer 1800 downloadStartTimer"};
}

// The passive bank is made the one to boot, and the node goes down.
inline Entries activated(const std::string &version) {
    return entries("nal_activatePassiveImage", "system echo " + version + " > log/ota_act_success",
                   signal("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10", kReboot);
}

inline Entries handedToGateway(const Offer &offer, const std::string &time) {
    return {"nal_setSwmgntFileServerInfo " + escaped(handOff(offer, time))};
}

inline Entries swapAnnounced() { return {signal("OTA_SW_SWAP_PASSIVE"), "sleep 5"}; }

// Faults and answers.
inline void downloadsHaveTheRightSum() { shell().popenOutput = std::string(kSum) + "\n"; }

inline Node extender(const char *role = "Agent") {
    Node node;
    node.workMode = "AP_Bridge";
    node.workRole = role;
    return node;
}

inline Node onboardingGateway() {
    Node node;
    node.onboardingStatus = 1;
    return node;
}

} // namespace ota::test
