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
    base::add(call.get(), "sender", sender);
    base::add(call.get(), "name", signalName);
    if (data == nullptr || dataLen <= 0) {
        base::add(call.get(), "data", base::newNull());
    } else {
        const std::string text(data, strnlen(data, static_cast<std::size_t>(dataLen)));
        base::add(call.get(), "data", text);
    }
    return host::askSupervisor(call);
}
