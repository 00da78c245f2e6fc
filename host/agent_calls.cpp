// SPDX-License-Identifier: MIT
// Timers, the message bus, the root node and the gateway, as the agent calls them.
#include "host/agent_calls.h"

#include "host/agent_files.h"
#include "host/supervisor_link.h"
#include "host/update_notes.h"
#include "platform/evbus.h"
#include "platform/nal.h"
#include "platform/nwa.h"
#include "platform/timers.h"

#include <cstdlib>
#include <cstring>

int host::askToStartTimer(int seconds, const char *name) {
    const base::Json call = host::newCall("startTimer");
    base::add(call.get(), "seconds", seconds);
    base::add(call.get(), "name", name);
    return host::askSupervisor(call);
}

int stopTimer(const char *name) {
    const base::Json call = host::newCall("stopTimer");
    base::add(call.get(), "name", name);
    return host::askSupervisor(call);
}

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

int nwa_sendNotificationToRoot(const SwmgntSyncMsg *message) {
    const char *const config = reinterpret_cast<const char *>(message) + OTA_SYNC_MSG_CONFIG_OFFSET;
    const std::string text(config, strnlen(config, message->dataLen));
    // The message is this function's from the call on, and nobody else reads it any more.
    std::free(const_cast<SwmgntSyncMsg *>(message));
    const base::Json call = host::newCall("notifyRoot");
    base::add(call.get(), "config", text);
    return host::askSupervisor(call);
}

// The hand-over of an offloaded image: the supervisor knows the gateway.
int nal_setSwmgntFileServerInfo(const char *json) {
    const base::Json call = host::newCall("fileServerInfo");
    base::add(call.get(), "info", json);
    const int ack = host::askSupervisor(call);
    if (ack == 0) {
        return 0;
    }
    nalLogError(__func__, __LINE__,
                "ota-host: the file-server information was not taken over (answer %d); the gateway "
                "does not know of the image, offer it again once the gateway can be reached",
                ack);
    return -1;
}
