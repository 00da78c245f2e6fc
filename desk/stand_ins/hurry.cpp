// SPDX-License-Identifier: MIT
// Where the desk is in a hurry, a sleep passes almost at once, and the wait before another download
// attempt is over at once, or after so many seconds as it says; where its clocks can be moved, the
// sleeps alone.
#include "desk/stand_ins/real.h"
#include "host/agent_calls.h"
#include "platform/timers.h"

#include <cstring>
#include <ctime>
#include <string>
#include <unistd.h>

namespace {

// Not at once: who waits in a loop of sleeps is not to take the whole processor.
constexpr timespec kMoment{0, 5'000'000};

constexpr long kLongestWait = 3600;

bool hurriesWith(const char *what) {
    const char *const fast = std::getenv("OTA_DESK_FAST");
    return fast != nullptr && std::strcmp(fast, what) == 0;
}

// So that a server that is gone for a while is not asked seven times in the same moment.
int retryWait() {
    const char *const text = std::getenv("OTA_DESK_RETRY_WAIT");
    const long wait = text == nullptr ? 0 : std::strtol(text, nullptr, 10);
    return wait > 0 && wait < kLongestWait ? static_cast<int>(wait) : 0;
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
        const int wait = retryWait();
        const std::string when = wait == 0 ? "at once" : "in " + std::to_string(wait) + " s";
        std::fprintf(stderr, "desk: timer %s for %d s, which pass %s\n", name, seconds,
                     when.c_str());
        seconds = wait;
    }
    return host::askToStartTimer(seconds, name);
}
