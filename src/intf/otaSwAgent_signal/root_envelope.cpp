// SPDX-License-Identifier: MIT
// From an extender to the root: the envelope around a forwarded signal.
#include "intf/otaSwAgent_signal/root_envelope.h"

#include <stdlib.h>

#include "intf/otaSwAgent_signal/unit.h"
#include "platform/nwa.h"
#include "support/handle.h"
#include "support/log.h"
#include "support/text.h"

namespace ota {

namespace {

using Envelope = Memory<SwmgntBroadcastInfo>;

template <typename T>
T *allocateZeroed(size_t size) {
    return static_cast<T *>(calloc(1, size));
}

void fillEnvelope(SwmgntBroadcastInfo &envelope, const char *signalName, const char *data) {
    copyText(envelope.type, "swmgnt_info");
    envelope.sequence = 1; // in every envelope
    copyText(envelope.version, "1.0.0");
    copyText(envelope.signalname, signalName);
    copyText(envelope.signaldata, data != nullptr ? data : "");
}

void announceEnvelope(const SwmgntBroadcastInfo &envelope) {
    OTA_PLATFORM_NOTICE_OF(
        kSendSignal, "**datatype %s sequence %d mac %s version %s signalname %s ", envelope.type,
        envelope.sequence, envelope.mac, envelope.version, envelope.signalname);
    const Json parsed{cJSON_Parse(envelope.signaldata)};
    const JsonText oneLine{parsed ? cJSON_PrintUnformatted(parsed.get()) : nullptr};
    OTA_PLATFORM_NOTICE_OF(kSendSignal, "**signaldata %s\n", textOrEmpty(oneLine));
}

// Kept: both answers are errors in the log, the good one too.
void judgeJson(const cJSON *root) {
    if (cJSON_IsInvalid(root)) {
        OTA_PLATFORM_ERROR_OF(kSendSignal, " cjson failed root is not jason");
    } else {
        OTA_PLATFORM_ERROR_OF(kSendSignal, " cjson good root is jason");
    }
}

// The message for the root: its length, then the text with its NUL. Null when memory ran out.
SwmgntSyncMsg *makeMessage(const char *text) {
    const size_t length = strlen(text) + 1;
    auto *message = allocateZeroed<SwmgntSyncMsg>(OTA_SYNC_MSG_CONFIG_OFFSET + length);
    if (message != nullptr) {
        message->dataLen = static_cast<uint32_t>(length);
        memcpy(reinterpret_cast<char *>(message) + OTA_SYNC_MSG_CONFIG_OFFSET, text, length);
    }
    return message;
}

void logOutOfMemory() { OTA_PLATFORM_ERROR_OF(kSendSignal, " malloc failed swmgntdata  is NULL"); }

// Prints the envelope and hands it over.
void handOver(const cJSON *root) {
    const JsonText oneLine{cJSON_PrintUnformatted(root)};
    OTA_PLATFORM_NOTICE_OF(kSendSignal, "jason value is %s", textOrEmpty(oneLine));
    const JsonText text{cJSON_Print(root)};
    if (!text) {
        logOutOfMemory();
        return;
    }
    OTA_PLATFORM_NOTICE_OF(kSendSignal, "jason length is %d", lengthOf(text.get()) + 1);
    const SwmgntSyncMsg *message = makeMessage(text.get()); // its receiver frees it
    if (message == nullptr) {
        logOutOfMemory();
        return;
    }
    OTA_PLATFORM_NOTICE_OF(kSendSignal, "swmgnt sync dataLen: %d, config: %s.",
                           static_cast<int>(message->dataLen), text.get());
    OTA_PLATFORM_NOTICE_OF(kSendSignal, "sending data from extender to root ");
    // NOLINTBEGIN(clang-analyzer-unix.Malloc)
    if (nwa_sendNotificationToRoot(message) == 0) {
        OTA_PLATFORM_NOTICE_OF(kSendSignal, "came out of nwa_sendNotificationToRoot");
    } else {
        OTA_PLATFORM_NOTICE_OF(kSendSignal, "came out of nwa_sendNotificationToRoot ** FAIL**");
    }
    // NOLINTEND(clang-analyzer-unix.Malloc)
}

} // namespace

void forwardToRoot(const char *signalName, const char *data) {
    const Envelope envelope{allocateZeroed<SwmgntBroadcastInfo>(sizeof(SwmgntBroadcastInfo))};
    if (!envelope) {
        logOutOfMemory();
        return;
    }
    fillEnvelope(*envelope.get(), signalName, data);
    announceEnvelope(*envelope.get());
    const Json root{cJSON_CreateObject()};
    if (!root) {
        OTA_PLATFORM_ERROR_OF(kSendSignal, " cjson failed root is NULL");
        return;
    }
    swmgnt_encodeBroadcastinfoToJson(root.get(), envelope.get(),
                                     static_cast<int>(sizeof(SwmgntBroadcastInfo)));
    judgeJson(root.get());
    handOver(root.get());
}

} // namespace ota
