// SPDX-License-Identifier: MIT
// The road to the root node: each notification goes to the supervisor.
#include "platform/nwa.h"

#include "host/supervisor_link.h"

#include <cstdlib>
#include <cstring>

int nwa_sendNotificationToRoot(const SwmgntSyncMsg *message) {
    const char *const config = reinterpret_cast<const char *>(message) + OTA_SYNC_MSG_CONFIG_OFFSET;
    const std::string text(config, strnlen(config, message->dataLen));
    // The message is this function's from the call on, and nobody else reads it any more.
    std::free(const_cast<SwmgntSyncMsg *>(message));
    const base::Json call = host::newCall("notifyRoot");
    base::add(call.get(), "config", text);
    return host::askSupervisor(call);
}
