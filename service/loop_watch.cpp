// SPDX-License-Identifier: MIT
#include "service/loop_watch.h"

#include "base/outcome.h"

#include <csignal>
#include <string_view>
#include <sys/time.h>
#include <unistd.h>

namespace service {
namespace {

constexpr int kTurns = 4; // within the patience
constexpr std::string_view kLastWords =
    "error: otad: its loop hangs: it ends itself, to be started anew\n";

// In whatever state the process is: nothing that takes a lock, no destructor.
void endAtOnce(int /*signal*/) {
    [[maybe_unused]] const ssize_t ignored =
        write(STDERR_FILENO, kLastWords.data(), kLastWords.size());
    _exit(base::rowOf(base::Outcome::failed).code);
}

} // namespace

LoopWatch::LoopWatch(sd_event *loop, std::chrono::milliseconds patience)
    : patience_(patience), turn_(loop, [this] { goOn(); }) {
    if (patience_.count() > 0) {
        std::signal(SIGALRM, endAtOnce);
        goOn();
    }
}

// The kernel counts, whatever this process does; an agent's process does not inherit it.
void LoopWatch::goOn() {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(patience_);
    const std::chrono::microseconds rest = patience_ - seconds;
    const itimerval left{
        {}, {static_cast<time_t>(seconds.count()), static_cast<suseconds_t>(rest.count())}};
    setitimer(ITIMER_REAL, &left, nullptr);
    turn_.setInMs((patience_ / kTurns).count());
}

} // namespace service
