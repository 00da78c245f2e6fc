// SPDX-License-Identifier: MIT
// The expected journal of one status report, step by step, for the node as the test set it.
#pragma once

#include "entries.h"
#include "node.h"

#include <string>

namespace ota::test {

// The status record as it is reported.
struct ReportedStatus {
    std::string model = "Gate-1";
    std::string current = "1.0";
    std::string previous = "0.9";
    std::string mac = "00:1A:2B:3C:4D:5E";
    std::string serial = "SN0001";
    std::string word;

    std::string formatted() const { return object("\n\t", ":\t", "\n"); }
    std::string oneLine() const { return object("", ":", ""); }

  private:
    std::string object(const char *before, const char *colon, const char *end) const {
        const auto member = [&](const char *key, const std::string &value) {
            return before + ("\"" + std::string(key)) + "\"" + colon + "\"" + value + "\"";
        };
        return "{" + member("model", model) + "," + member("curswversion", current) + "," +
               member("prevswversion", previous) + "," + member("mac", mac) + "," +
               member("sn", serial) + "," + member("status", word) + end + "}";
    }
};

// getIfMac on "br0", where it succeeds.
inline Entries macQueryEntries() {
    return {"socket AF_INET SOCK_STREAM 0", "ioctl SIOCGIFHWADDR br0", "close socket"};
}

// initUpgradeStatusInfo on a node whose calls all succeed; `found` is what it finds.
inline Entries identityEntries(const ReportedStatus &found) {
    constexpr char kUnit[] = "swmgmtitf";
    constexpr char kFunction[] = "initUpgradeStatusInfo";
    const auto line = [&](const std::string &body) { return both(kUnit, kFunction, body); };
    return entries(
        trace(kFunction, "Inside initUpgradeStatusInfo"), "nal_getNodeInfo",
        line("modelname from DB is = " + found.model), line("model = " + found.model),
        "nal_getCurSwVersion", line("curswversion = " + found.current), "nal_getPrevSwVersion",
        line("prevswversion = " + found.previous), macQueryEntries(),
        line("DeviceMAC = " + found.mac), trace(kFunction, "SN = " + found.serial),
        line("model = " + found.model + ", curswversion = " + found.current + "prevswversion = " +
             found.previous + " DeviceMAC = " + found.mac + " SN = " + found.serial));
}

// ota_getWifiServiceObj where all of its queries succeed.
inline Entries contextQueryEntries() {
    constexpr char kUnit[] = "intf/cfgm_intf";
    constexpr char kFunction[] = "ota_getWifiServiceObj";
    const auto line = [&](const std::string &body) { return both(kUnit, kFunction, body); };
    return entries(line("Enter ota_getWifiServiceObj\n"), "nal_getWorkMode",
                   notice("ota_ext_intf", "ota_intf_getWorkMode",
                          "WorkMode is ok Value = " + node().workMode + "\n"),
                   line("nal_getWorkMode is successful, workMode = " + node().workMode + "\n"),
                   "nal_getWorkRole",
                   notice("ota_ext_intf", "ota_intf_getWorkRole",
                          "WorkRole is ok Value = " + node().workRole + "\n"),
                   line("nal_getWorkRole is successful, workRole = " + node().workRole + " \n"),
                   "nal_getRootOnBoardingStatus",
                   line("nal_getRootOnBoardingStatus is successful, onboardStatus = " +
                        std::to_string(node().onboardingStatus) + "\n"));
}

// otaSwAgent_sendUpgradeSignal as far as the bus, and its last line.
inline Entries publishedEntries(const ReportedStatus &report) {
    return entries(
        both("intf/otaSwAgent_signal", "otaSwAgent_sendUpgradeSignal",
             "upgrade_status " + report.oneLine()),
        both("intf/otaSwAgent_signal", "otaswmgnt_sendSignal", "Send Signal = updateUpgradeStatus"),
        signal(report.word));
}
inline std::string publishedTrace() {
    return trace("otaSwAgent_sendUpgradeSignal",
                 "Inside otaSwAgent_sendUpgradeSignal:Sent signal done");
}

} // namespace ota::test
