// SPDX-License-Identifier: MIT
#include "host/timers.h"

#include "host/supervisor_link.h"
#include "platform/timers.h"

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
