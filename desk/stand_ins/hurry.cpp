// SPDX-License-Identifier: MIT
// Where the desk is in a hurry, a sleep passes almost at once, and the wait before another download
// attempt is over at once; where its clocks can be moved, the sleeps alone.
#include "desk/stand_ins/real.h"
#include "host/agent_calls.h"
#include "platform/timers.h"

#include <cstring>
#include <ctime>
#include <unistd.h>

namespace {

// Not at once: who waits in a loop of sleeps is not to take the whole processor.
constexpr timespec kMoment{0, 5'000'000};

bool hurriesWith(const char *what) {
    const char *const fast = std::getenv("OTA_DESK_FAST");
    return fast != nullptr && std::strcmp(fast, what) == 0;
}

} // namespace

extern "C" unsigned int sleep(unsigned int seconds) {
    if (hurriesWith("1") || hurriesWith("sleeps")) {
        nanosleep(&kMoment, nullptr);
        return 0;
    }
    static auto *const real = desk::realFunction<unsigned int(unsigned int)>("sleep");
    return real(seconds);
}

int startTimer(int seconds, const char *name) {
    if (hurriesWith("1") && std::strcmp(name, TIMER_DOWNLOAD_RETRY) == 0) {
        std::fprintf(stderr, "desk: timer %s for %d s, which pass at once\n", name, seconds);
        seconds = 0;
    }
    return host::askToStartTimer(seconds, name);
}
