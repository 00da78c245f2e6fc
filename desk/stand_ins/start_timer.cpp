// SPDX-License-Identifier: MIT
// Where the desk is in a hurry, the wait before another download attempt is over at once.
#include "host/timers.h"
#include "platform/timers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int startTimer(int seconds, const char *name) {
    const char *const fast = std::getenv("OTA_DESK_FAST");
    const bool hurries = fast != nullptr && std::strcmp(fast, "1") == 0;
    const bool isRetry = std::strcmp(name, TIMER_DOWNLOAD_RETRY) == 0;
    if (hurries && isRetry) {
        std::fprintf(stderr, "desk: timer %s for %d s, which pass at once\n", name, seconds);
        seconds = 0;
    }
    return host::askToStartTimer(seconds, name);
}
