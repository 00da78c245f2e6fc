// SPDX-License-Identifier: MIT
// What operations that many others call write into the journal, whole, on the node of the test.
#pragma once

#include "entries.h"
#include "node.h"

#include <string>

namespace ota::test {

// The MAC of "br0" is read.
inline Entries macRead() {
    return {"socket AF_INET SOCK_STREAM 0", "ioctl SIOCGIFHWADDR br0", "close socket"};
}

// The pending timer request is applied.
inline Entries timerGate(int seconds, const std::string &name) {
    const std::string request = "Received g_timerToSwmgnt = " + std::to_string(seconds) +
                                ", g_timerTypeToSwmgnt = " + name + "\n";
    const char *const gate = "otaSwAgentStartStopTimer";
    const Entries received =
        both("main", gate, request,
             request + " strlen(g_timerTypeToSwmgnt)=" + std::to_string(name.size()));
    return seconds != 0 ? entries(received, both("main", gate, "This call is for startTimer...\n"),
                                  "startTimer " + std::to_string(seconds) + " " + name)
                        : entries(received, both("main", gate, "This call is for stopTimer...\n"),
                                  "stopTimer " + name);
}

// Mode and role are asked for; both are known.
inline Entries modeAndRoleRead() {
    const char *const unit = "intf/cfgm_intf";
    const char *const query = "ota_getWifiServiceObj";
    const std::string mode = node().workMode;
    const std::string role = node().workRole;
    return entries(
        both(unit, query, "Enter ota_getWifiServiceObj\n"), "nal_getWorkMode",
        notice("ota_ext_intf", "ota_intf_getWorkMode", "WorkMode is ok Value = " + mode + "\n"),
        both(unit, query, "nal_getWorkMode is successful, workMode = " + mode + "\n"),
        "nal_getWorkRole",
        notice("ota_ext_intf", "ota_intf_getWorkRole", "WorkRole is ok Value = " + role + "\n"),
        both(unit, query, "nal_getWorkRole is successful, workRole = " + role + " \n"),
        "nal_getRootOnBoardingStatus");
}

inline Entries contextRead() {
    return entries(modeAndRoleRead(),
                   both("intf/cfgm_intf", "ota_getWifiServiceObj",
                        "nal_getRootOnBoardingStatus is successful, onboardStatus = " +
                            std::to_string(node().onboardingStatus) + "\n"));
}

// The onboarding status cannot be had.
inline Entries contextReadFails() {
    return entries(modeAndRoleRead(), bothErrors("intf/cfgm_intf", "ota_getWifiServiceObj",
                                                 "get of WIFISERVICEOBJECT failed,",
                                                 "get of WIFISERVICEOBJECT failed,\n"));
}

// The node's identity is read into the status record.
inline Entries identityRead() {
    const char *const unit = "swmgmtitf";
    const char *const fill = "initUpgradeStatusInfo";
    const std::string mac = "00:1A:2B:3C:4D:5E";
    const Node &on = node();
    return entries(trace(fill, "Inside initUpgradeStatusInfo"), "nal_getNodeInfo",
                   both(unit, fill, "modelname from DB is = " + on.model),
                   both(unit, fill, "model = " + on.model), "nal_getCurSwVersion",
                   both(unit, fill, "curswversion = " + on.currentVersion), "nal_getPrevSwVersion",
                   both(unit, fill, "prevswversion = " + on.previousVersion), macRead(),
                   both(unit, fill, "DeviceMAC = " + mac), trace(fill, "SN = " + on.serialNumber),
                   both(unit, fill,
                        "model = " + on.model + ", curswversion = " + on.currentVersion +
                            "prevswversion = " + on.previousVersion + " DeviceMAC = " + mac +
                            " SN = " + on.serialNumber));
}

// A status word is reported from a gateway. Where a version was activated, the report already
// names it as the running one.
inline Entries gatewayReport(const std::string &word, const std::string &activated = {}) {
    const char *const report = "sendUpgradeSignalToSwMgnt";
    const char *const unit = "intf/otaSwAgent_signal";
    const std::string now = activated.empty() ? node().currentVersion : activated;
    const std::string before = activated.empty() ? node().previousVersion : node().currentVersion;
    const Entries renamed =
        activated.empty()
            ? Entries{}
            : both("swmgmtitf", report,
                   "swUpgStat.curswversion = " + now + ", swUpgStat.prevswversion = " + before);
    const std::string json = R"({"model":")" + node().model + R"(","curswversion":")" + now +
                             R"(","prevswversion":")" + before +
                             R"(","mac":"00:1A:2B:3C:4D:5E","sn":")" + node().serialNumber +
                             R"(","status":")" + word + R"("})";
    return entries(both("swmgmtitf", report, "upgradeSignal = " + word),
                   both("swmgmtitf", report, "swUpgStat.status = " + word), identityRead(), renamed,
                   both(unit, "otaSwAgent_sendUpgradeSignal", "upgrade_status " + json),
                   both(unit, "otaswmgnt_sendSignal", "Send Signal = updateUpgradeStatus"),
                   signal(word), contextRead(),
                   trace("otaSwAgent_sendUpgradeSignal",
                         "Inside otaSwAgent_sendUpgradeSignal:Sent signal done"));
}

// A time of day is turned into seconds.
inline Entries secondsComputed(int seconds) {
    return both("main", "getTimeInSeonds", "Diff Time is " + std::to_string(seconds) + "\n");
}

} // namespace ota::test
