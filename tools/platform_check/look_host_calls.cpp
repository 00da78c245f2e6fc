// SPDX-License-Identifier: MIT
// Gateway, bus, root and timers, where the library has its own and a host of the maker's calls
// them.
#include "otaSwAgent/records.h"
#include "tools/platform_check/ground.h"
#include "tools/platform_check/guards.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <malloc.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

namespace check {
namespace {

constexpr const char *kReport = "{\n\t\"status\":\t\"NO_OTA_SW_UPGRADE\"\n}";

void put(const char *text, char *to, std::size_t size) { std::snprintf(to, size, "%s", text); }

void takesSignal(Ground &ground) {
    ground.playLong([](Platform &platform) {
        std::array<char, 64> data{};
        put(kReport, data.data(), data.size());
        platform.sendSignal(EVBUS_AGENT_NAME, EVBUS_STATUS_SIGNAL, data.data(),
                            static_cast<int>(std::strlen(kReport)) + 1);
        if (std::strcmp(data.data(), kReport) != 0) {
            throw Wrong{"it changed the text to " + inQuotes(data.data())};
        }
    });
}

void takesEmptySignal(Ground &ground) {
    ground.playLong([](Platform &platform) {
        platform.sendSignal(EVBUS_AGENT_NAME, EVBUS_STATUS_SIGNAL, nullptr, 0);
    });
}

// The last page ends with the text: no byte behind it belongs to it.
void readsNoMoreOfSignal(Ground &ground) {
    ground.playLong([](Platform &platform) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        char *const memory = static_cast<char *>(
            mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (memory == MAP_FAILED) {
            throw NotLookedAt{"no memory for it"};
        }
        const std::size_t size = std::strlen(kReport) + 1;
        put(kReport, memory + page - size, size);
        mprotect(memory + page, page, PROT_NONE);
        platform.sendSignal(EVBUS_AGENT_NAME, EVBUS_STATUS_SIGNAL, memory + page - size,
                            static_cast<int>(size));
    });
}

void takesHandOff(Ground &ground) {
    ground.playLong([](Platform &platform) { platform.toGateway(kReport); });
}

// Large enough that the C library gives it back to the kernel once it is released.
void releasesMessage(Ground &ground) {
    ground.playLong([](Platform &platform) {
        constexpr std::size_t kSize = 1024 * 1024;
#ifdef M_MMAP_THRESHOLD
        mallopt(M_MMAP_THRESHOLD, 128 * 1024);
#endif
        char *const memory = static_cast<char *>(std::calloc(1, kSize));
        const SwmgntSyncMsg message{static_cast<std::uint32_t>(std::strlen(kReport) + 1)};
        std::memcpy(memory, &message, sizeof message);
        put(kReport, memory + OTA_SYNC_MSG_CONFIG_OFFSET, kSize - OTA_SYNC_MSG_CONFIG_OFFSET);
        const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        const auto inside = (reinterpret_cast<std::uintptr_t>(memory) + kSize / 2) / page * page;
        platform.toRoot(reinterpret_cast<const SwmgntSyncMsg *>(memory));
        // NOLINTNEXTLINE(performance-no-int-to-ptr): not to be read, only asked about
        if (msync(reinterpret_cast<void *>(inside), page, MS_ASYNC) == 0) {
            throw Wrong{"the message is still there when the call has come back"};
        }
    });
}

// ---- Timers ----

constexpr int kStepMs = 5;
constexpr int kLateMs = 3000; // for a machine that is busy

const Expiry &expiryOf(Timer timer) { return shared().expiries[timer]; }

// Gives the platform its turn until the condition holds, or so long.
template <typename Holds>
bool waitsFor(Platform &platform, const std::string &turn, int ms, const Holds &holds) {
    const auto call = reinterpret_cast<void (*)()>(
        turn.empty() ? nullptr : dlsym(platform.library, turn.c_str()));
    if (!turn.empty() && call == nullptr) {
        throw Wrong{"it has no function " + turn + ", which --turn names"};
    }
    for (const std::int64_t until = nowMs() + ms; !holds() && nowMs() < until;) {
        if (call != nullptr) {
            const Running running(turn.c_str());
            call();
        }
        poll(nullptr, 0, kStepMs);
    }
    return holds();
}

void requireOnce(Platform &platform, const std::string &turn, Timer timer, std::int64_t began,
                 int seconds) {
    const int ms = seconds * 1000;
    if (!waitsFor(platform, turn, ms + kLateMs, [&] { return expiryOf(timer).count > 0; })) {
        throw Wrong{"its handler was not called within " + std::to_string(ms + kLateMs) + " ms"};
    }
    const std::int64_t after = expiryOf(timer).atMs - began;
    constexpr int kEarlyMs = 1000; // a clock that counts whole seconds
    if (after < ms - kEarlyMs) {
        throw Wrong{"its handler was called after " + std::to_string(after) + " ms"};
    }
}

void staysQuiet(Platform &platform, const std::string &turn, Timer timer, int already) {
    constexpr int kQuietMs = 1300;
    waitsFor(platform, turn, kQuietMs, [&] { return expiryOf(timer).count > already; });
    if (expiryOf(timer).count > already) {
        throw Wrong{"its handler was called " + std::to_string(expiryOf(timer).count) + " times"};
    }
}

void stopsWhatDoesNotRun(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const int answer = platform.stopTimer(TIMER_REBOOT);
        if (answer != 0) {
            throw Wrong{"stopTimer " + answered(answer)};
        }
    });
}

void startsAndReturns(Ground &ground) {
    ground.player().play([](Platform &platform) {
        constexpr int kLongSeconds = 3600;
        constexpr std::int64_t kLimitMs = 500;
        const std::int64_t began = nowMs();
        platform.startTimer(kLongSeconds, TIMER_REBOOT);
        platform.stopTimer(TIMER_REBOOT);
        if (nowMs() - began > kLimitMs) {
            throw Wrong{"to start and stop one took " + std::to_string(nowMs() - began) + " ms"};
        }
    });
}

void runsOutOnce(Ground &ground) {
    const std::string turn = ground.options().turn;
    ground.player().play([&](Platform &platform) {
        const std::int64_t began = nowMs();
        platform.startTimer(1, TIMER_DOWNLOAD_START);
        requireOnce(platform, turn, kDownloadStart, began, 1);
        staysQuiet(platform, turn, kDownloadStart, 1);
        for (const Timer other : {kReboot, kDownloadRetry}) {
            if (expiryOf(other).count > 0) {
                throw Wrong{"the handler of another timer was called too"};
            }
        }
    });
}

void negativeRunsOutAtOnce(Ground &ground) {
    const std::string turn = ground.options().turn;
    ground.player().play([&](Platform &platform) {
        platform.startTimer(-5, TIMER_REBOOT);
        if (!waitsFor(platform, turn, kLateMs, [] { return expiryOf(kReboot).count > 0; })) {
            throw Wrong{"its handler was not called within " + std::to_string(kLateMs) + " ms"};
        }
    });
}

void startsOver(Ground &ground) {
    const std::string turn = ground.options().turn;
    ground.player().play([&](Platform &platform) {
        constexpr int kLonger = 3;
        platform.startTimer(1, TIMER_DOWNLOAD_RETRY);
        const std::int64_t began = nowMs();
        platform.startTimer(kLonger, TIMER_DOWNLOAD_RETRY);
        requireOnce(platform, turn, kDownloadRetry, began, kLonger);
        staysQuiet(platform, turn, kDownloadRetry, 1);
    });
}

void stoppedStaysQuiet(Ground &ground) {
    const std::string turn = ground.options().turn;
    ground.player().play([&](Platform &platform) {
        platform.startTimer(1, TIMER_REBOOT);
        platform.stopTimer(TIMER_REBOOT);
        staysQuiet(platform, turn, kReboot, 0);
    });
}

void comesInOrder(Ground &ground) {
    const std::string turn = ground.options().turn;
    ground.player().play([&](Platform &platform) {
        const std::int64_t began = nowMs();
        platform.startTimer(3, TIMER_REBOOT);
        platform.startTimer(1, TIMER_DOWNLOAD_START);
        requireOnce(platform, turn, kDownloadStart, began, 1);
        requireOnce(platform, turn, kReboot, began, 3);
        if (expiryOf(kReboot).order < expiryOf(kDownloadStart).order) {
            throw Wrong{"the one of 3 s came before the one of 1 s"};
        }
    });
}

void keepsNoName(Ground &ground) {
    const std::string turn = ground.options().turn;
    ground.player().play([&](Platform &platform) {
        std::array<char, 32> name{};
        put(TIMER_REBOOT, name.data(), name.size());
        const std::int64_t began = nowMs();
        platform.startTimer(1, name.data());
        put("overwritten", name.data(), name.size());
        requireOnce(platform, turn, kReboot, began, 1);
    });
}

void staysOnTheThread(Ground &ground) {
    const std::string turn = ground.options().turn;
    ground.player().play([&](Platform &platform) {
        const std::int64_t began = nowMs();
        platform.startTimer(1, TIMER_REBOOT);
        requireOnce(platform, turn, kReboot, began, 1);
        if (expiryOf(kReboot).thread != gettid()) {
            throw Wrong{"its handler was called on another thread"};
        }
    });
}

constexpr Check kHostCallChecks[] = {
    {"bus.takes-a-signal", kBus, takesSignal, "evbusSendSignal with a report",
     "it comes back, and the text stays as it was",
     "the host ends with the first report, or later reports carry another text"},
    {"bus.takes-an-empty-signal", kBus, takesEmptySignal, "evbusSendSignal with null and 0",
     "data may be null with a length of 0", "the host ends with the first such signal"},
    {"bus.reads-no-further", kBus, readsNoMoreOfSignal,
     "evbusSendSignal with a text behind which nothing can be read",
     "data has as many bytes as it says, its NUL included",
     "the host ends when a report stands at the end of its memory", "bus.takes-a-signal"},
    {"root.releases-the-message", kRoot, releasesMessage,
     "nwa_sendNotificationToRoot with a message",
     "it takes the message over and releases it with free, whatever the outcome",
     "each report of an extender takes memory that never comes back"},
    {"gateway.takes-the-hand-off", kGateway, takesHandOff,
     "nal_setSwmgntFileServerInfo with a text", "it comes back; 0 is: accepted",
     "the host ends with the first offload"},
};

constexpr const char *kOnce = "on expiry the handler is called once";
constexpr const char *kNoActivation =
    "an upgrade is never activated, or at another time than asked";

constexpr Check kTimerChecks[] = {
    {"timers.stop-without-one", kTimers, stopsWhatDoesNotRun, "stopTimer while none runs",
     "no error: 0", "the agent stops timers that it never started"},
    {"timers.do-not-block", kTimers, startsAndReturns, "startTimer with an hour, and stopTimer",
     "neither blocks", "the node stands still until the timer runs out"},
    {"timers.run-out-once", kTimers, runsOutOnce, "startTimer(1, \"downloadStartTimer\")", kOnce,
     kNoActivation, "timers.do-not-block"},
    {"timers.negative-runs-out-at-once", kTimers, negativeRunsOutAtOnce,
     "startTimer(-5, \"rebootTimer\")", "with negative seconds it runs out at once",
     "an activation time that has just passed is never reached", "timers.run-out-once"},
    {"timers.start-over", kTimers, startsOver, "startTimer with 1 s and then with 3 s, one name",
     "one that runs under this name starts over, and runs out once",
     "an upgrade is activated at the time that was taken back", "timers.run-out-once"},
    {"timers.stopped-stay-quiet", kTimers, stoppedStaysQuiet, "startTimer with 1 s, and stopTimer",
     "a timer that was stopped does not run out",
     "the node reboots after the upgrade was cancelled", "timers.run-out-once"},
    {"timers.come-in-order", kTimers, comesInOrder, "one timer of 3 s and then one of 1 s",
     "each runs out at its own time", kNoActivation, "timers.run-out-once"},
    {"timers.keep-no-name", kTimers, keepsNoName,
     "startTimer, and the text of the name overwritten", "the text is the caller's: it is copied",
     "the timer runs out under another name, or never", "timers.run-out-once"},
    {"timers.stay-on-the-thread", kTimers, staysOnTheThread,
     "the thread on which a handler is called",
     "everything happens on one thread, one call at a time",
     "two calls of the agent run at once on the same variables", "timers.run-out-once"},
};

} // namespace

std::span<const Check> hostCallChecks() { return kHostCallChecks; }
std::span<const Check> timerChecks() { return kTimerChecks; }

} // namespace check
