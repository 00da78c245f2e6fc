// SPDX-License-Identifier: MIT
// The message bus: each signal goes to the supervisor.
#include "platform/evbus.h"

#include "host/mark.h"
#include "host/stage.h"
#include "host/supervisor_link.h"

#include <cstring>

// The length counts the NUL; a text that lacks one ends with the length.
int evbusSendSignal(const char *sender, const char *signalName, const char *data, int dataLen) {
    // The report of an activation: its mark was written just before, the reboot comes next.
    if (host::currentStage() == host::Stage::rebooting) {
        host::keepMark();
    }
    const base::Json call = host::newCall("signal");
    cJSON_AddStringToObject(call.get(), "sender", sender);
    cJSON_AddStringToObject(call.get(), "name", signalName);
    if (data == nullptr || dataLen <= 0) {
        cJSON_AddNullToObject(call.get(), "data");
    } else {
        const std::string text(data, strnlen(data, static_cast<std::size_t>(dataLen)));
        cJSON_AddStringToObject(call.get(), "data", text.c_str());
    }
    return host::askSupervisor(call);
}
