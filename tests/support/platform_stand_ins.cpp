// SPDX-License-Identifier: MIT
// Stand-ins for the node library, the bus, the root notification and the timers.
#include "platform/nal.h"

#include "platform/evbus.h"
#include "platform/nwa.h"
#include "platform/timers.h"

#include "journal.h"
#include "node.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

using ota::test::HarnessScope;
using ota::test::journal;
using ota::test::Kind;
using ota::test::node;

namespace {

const char *directory(const char *call, const std::string &answer) {
    const HarnessScope harness;
    journal().add(Kind::kQuery, call);
    return answer.c_str();
}

int answerText(const char *call, char *destination, const std::string &answer,
               std::size_t width = SIZE_MAX) {
    const HarnessScope harness;
    journal().add(Kind::kQuery, call);
    const int result = node().resultOf(call);
    if (result == 0 || node().failingQueriesFill) {
        std::memcpy(destination, answer.c_str(), std::min(answer.size() + 1, width));
    }
    return result;
}

int act(const char *call, const std::string &arguments) {
    const HarnessScope harness;
    journal().add(Kind::kAction, arguments.empty() ? call : call + (" " + arguments));
    return node().resultOf(call);
}

// The agent hands over its records zeroed.
void expectZeroed(const char *call, const void *record, std::size_t size) {
    const auto *bytes = static_cast<const char *>(record);
    EXPECT_TRUE(std::all_of(bytes, bytes + size, [](char byte) { return byte == 0; }))
        << call << " was given a record that is not zeroed";
}

// A text of a record; one that fills the record to its last byte has no NUL.
void fillText(char *record, std::size_t size, std::size_t offset, const std::string &text) {
    std::memcpy(record + offset, text.c_str(), std::min(text.size() + 1, size - offset));
}

// A text member of the JSON text, there or in its "data"; the text itself where it has none.
std::string member(const std::string &json, const char *name) {
    cJSON *object = cJSON_Parse(json.c_str());
    const cJSON *data = cJSON_GetObjectItemCaseSensitive(object, "data");
    const cJSON *item = cJSON_GetObjectItemCaseSensitive(data != nullptr ? data : object, name);
    const char *value = cJSON_GetStringValue(item);
    std::string text = value != nullptr ? value : "unreadable: " + ota::test::escaped(json);
    cJSON_Delete(object);
    return text;
}

} // namespace

extern "C" {

const char *nal_getTmpDirectory(void) {
    return directory("nal_getTmpDirectory", node().tmpDirectory);
}

const char *nal_getConfigsDirectory(void) {
    return directory("nal_getConfigsDirectory", node().configsDirectory);
}

const char *nal_getLogsDirectory(void) {
    return directory("nal_getLogsDirectory", node().logsDirectory);
}

const char *nal_getHIECertifcatePath(void) {
    return directory("nal_getHIECertifcatePath", node().certificatePath);
}

int nal_getNodeInfo(void *record) {
    const HarnessScope harness;
    journal().add(Kind::kQuery, "nal_getNodeInfo");
    expectZeroed("nal_getNodeInfo", record, NAL_NODE_INFO_SIZE);
    const int result = node().resultOf("nal_getNodeInfo");
    if (result == 0) {
        auto *bytes = static_cast<char *>(record);
        std::memset(bytes, 'x', NAL_NODE_INFO_SIZE);
        fillText(bytes, NAL_NODE_INFO_SIZE, NAL_NODE_INFO_SERIAL_OFFSET, node().serialNumber);
        fillText(bytes, NAL_NODE_INFO_SIZE, NAL_NODE_INFO_MODEL_OFFSET, node().model);
    }
    return result;
}

int nal_getCurSwVersion(char *version) {
    return answerText("nal_getCurSwVersion", version, node().currentVersion, NAL_VERSION_WIDTH);
}

int nal_getPrevSwVersion(char *version) {
    return answerText("nal_getPrevSwVersion", version, node().previousVersion, NAL_VERSION_WIDTH);
}

int nal_getWorkMode(char *mode) { return answerText("nal_getWorkMode", mode, node().workMode); }

int nal_getWorkRole(char *role) { return answerText("nal_getWorkRole", role, node().workRole); }

int nal_getRootOnBoardingStatus(int *status) {
    const HarnessScope harness;
    journal().add(Kind::kQuery, "nal_getRootOnBoardingStatus");
    const int result = node().resultOf("nal_getRootOnBoardingStatus");
    if (result == 0) {
        *status = node().onboardingStatus;
    }
    return result;
}

int nal_getSwAutoUpgradeInfo(void *record) {
    const HarnessScope harness;
    journal().add(Kind::kQuery, "nal_getSwAutoUpgradeInfo");
    expectZeroed("nal_getSwAutoUpgradeInfo", record, NAL_UPGRADE_INFO_SIZE);
    const int result = node().resultOf("nal_getSwAutoUpgradeInfo");
    if (result == 0) {
        auto *bytes = static_cast<char *>(record);
        std::memset(bytes, 'x', NAL_UPGRADE_INFO_SIZE);
        fillText(bytes, NAL_UPGRADE_INFO_SIZE, NAL_UPGRADE_INFO_TIME_OFFSET, node().activationTime);
    }
    return result;
}

int nal_setSwmgntFileServerInfo(const char *json) {
    return act("nal_setSwmgntFileServerInfo", ota::test::escaped(json));
}

int nal_writePassiveImage(const char *imagePath) { return act("nal_writePassiveImage", imagePath); }

int nal_activatePassiveImage(void) { return act("nal_activatePassiveImage", ""); }

int nal_fallBackToActiveImage(void) { return act("nal_fallBackToActiveImage", ""); }

int evbusSendSignal(const char *sender, const char *signalName, const char *data, int dataLen) {
    const HarnessScope harness;
    const std::string text = data != nullptr ? data : "";
    node().signals.push_back({sender, signalName, text, data == nullptr, dataLen});
    return act("evbusSendSignal", std::string(sender) + " " + signalName + " " +
                                      (data != nullptr ? member(text, "status") : "no data"));
}

int nwa_sendNotificationToRoot(const SwmgntSyncMsg *message) {
    const HarnessScope harness;
    const auto *bytes = reinterpret_cast<const char *>(message) + OTA_SYNC_MSG_CONFIG_OFFSET;
    const std::string config(bytes, message->dataLen);
    node().notifications.push_back({message->dataLen, config});
    std::free(const_cast<SwmgntSyncMsg *>(message));
    return act("nwa_sendNotificationToRoot", member(config, "signalname"));
}

int startTimer(int seconds, const char *name) {
    return act("startTimer", std::to_string(seconds) + " " + name);
}

int stopTimer(const char *name) { return act("stopTimer", name); }

} // extern "C"
