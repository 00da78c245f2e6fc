// SPDX-License-Identifier: MIT
// The timer service: the supervisor keeps the timers and sends their expiry as events.
#include "platform/timers.h"

#include "host/supervisor_link.h"

int startTimer(int seconds, const char *name) {
    const host::Json call = host::newCall("startTimer");
    cJSON_AddNumberToObject(call.get(), "seconds", seconds);
    cJSON_AddStringToObject(call.get(), "name", name);
    return host::askSupervisor(call);
}

int stopTimer(const char *name) {
    const host::Json call = host::newCall("stopTimer");
    cJSON_AddStringToObject(call.get(), "name", name);
    return host::askSupervisor(call);
}
