// SPDX-License-Identifier: MIT
// Where the desk is in a hurry, a sleep passes at once.
#include "desk/stand_ins/real.h"

#include <cstring>
#include <unistd.h>

extern "C" unsigned int sleep(unsigned int seconds) {
    const char *const fast = std::getenv("OTA_DESK_FAST");
    if (fast != nullptr && std::strcmp(fast, "1") == 0) {
        return 0;
    }
    static auto *const real = desk::realFunction<unsigned int(unsigned int)>("sleep");
    return real(seconds);
}
