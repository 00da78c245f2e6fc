// SPDX-License-Identifier: MIT
// The hand-over of an offloaded image: its JSON goes to the supervisor, which knows the gateway.
#include "host/supervisor_link.h"
#include "platform/nal.h"

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
