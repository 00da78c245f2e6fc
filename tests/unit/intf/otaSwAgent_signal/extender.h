// SPDX-License-Identifier: MIT
// A node that reports through the root, and the envelope as the root gets it.
#pragma once

#include "agent_test.h"
#include "report_entries.h"

#include <cjson/cJSON.h>

#include <memory>
#include <string>

namespace ota::test {

inline constexpr char kSignalUnit[] = "intf/otaSwAgent_signal";
inline constexpr char kSend[] = "otaswmgnt_sendSignal";
inline constexpr char kPublish[] = "otaSwAgent_sendUpgradeSignal";

class ExtenderTest : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        node().workMode = "AP_Bridge";
        node().workRole = "Agent";
    }

    void send(const char *data, int length) {
        AGENT(otaswmgnt_sendSignal)("upgrade_status", data, length);
    }
    void send(const std::string &data) { send(data.c_str(), static_cast<int>(data.size()) + 1); }

    static std::string platformNotice(const std::string &body) {
        return notice(kSignalUnit, kSend, body);
    }
    static std::string platformError(const std::string &body) {
        return error(kSignalUnit, kSend, body);
    }
};

// A text as it stands inside a JSON string.
inline std::string inJsonString(const std::string &text) {
    std::string quoted;
    for (const char character : text) {
        switch (character) {
        case '"':
            quoted += "\\\"";
            break;
        case '\n':
            quoted += "\\n";
            break;
        case '\t':
            quoted += "\\t";
            break;
        default:
            quoted += character;
        }
    }
    return quoted;
}

inline std::string formattedEnvelope(const std::string &signalData) {
    return "{\n\t\"type\":\t\"swmgnt_info\",\n\t\"sequence\":\t1,\n\t\"mac\":\t\"\",\n"
           "\t\"version\":\t\"1.0.0\",\n\t\"data\":\t{\n"
           "\t\t\"signalname\":\t\"updateUpgradeStatus\",\n\t\t\"signaldata\":\t\"" +
           inJsonString(signalData) + "\"\n\t}\n}";
}

inline std::string oneLineEnvelope(const std::string &signalData) {
    return "{\"type\":\"swmgnt_info\",\"sequence\":1,\"mac\":\"\",\"version\":\"1.0.0\","
           "\"data\":{\"signalname\":\"updateUpgradeStatus\",\"signaldata\":\"" +
           inJsonString(signalData) + "\"}}";
}

// The envelope's payload, parsed out of what the root was given.
inline std::string signalDataOf(const Notification &notification) {
    cJSON *root = cJSON_Parse(notification.config.c_str());
    const cJSON *data = cJSON_GetObjectItemCaseSensitive(root, "data");
    const char *text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(data, "signaldata"));
    std::string copy = text != nullptr ? text : "no signaldata";
    cJSON_Delete(root);
    return copy;
}

// What forwarding one payload to the root writes; `parsed` is the payload on one line.
inline Entries forwardingEntries(const std::string &signalData, const std::string &parsed) {
    const auto line = [](const std::string &body) { return notice(kSignalUnit, kSend, body); };
    const std::string config = formattedEnvelope(signalData);
    const std::string length = std::to_string(config.size() + 1);
    return entries(line("**datatype swmgnt_info sequence 1 mac  version 1.0.0 signalname "
                        "updateUpgradeStatus "),
                   line("**signaldata " + parsed + "\n"),
                   error(kSignalUnit, kSend, " cjson good root is jason"),
                   line("jason value is " + oneLineEnvelope(signalData)),
                   line("jason length is " + length),
                   line("swmgnt sync dataLen: " + length + ", config: " + config + "."),
                   line("sending data from extender to root "),
                   "nwa_sendNotificationToRoot updateUpgradeStatus",
                   line("came out of nwa_sendNotificationToRoot"));
}

} // namespace ota::test
