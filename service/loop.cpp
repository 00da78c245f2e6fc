// SPDX-License-Identifier: MIT
#include "service/loop.h"

#include "base/timed.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/wait.h>

namespace service {
namespace {

constexpr std::uint64_t kUsPerMs = 1000;
constexpr std::int64_t kNsPerMs = 1'000'000;

// A daemon that cannot wait is of no use: its supervisor starts a new one.
void require(int result, const char *what) {
    if (result < 0) {
        std::fprintf(stderr, "error: otad: %s failed: %s; check the limits of this process\n", what,
                     std::strerror(-result));
        std::exit(1);
    }
}

// The callbacks come from C: nothing may be thrown through it.
int ready(sd_event_source * /*source*/, int /*fd*/, std::uint32_t events, void *data) noexcept {
    // The callback may end the object that holds it.
    const Watched::Callback callback = *static_cast<Watched::Callback *>(data);
    callback(events);
    return 0;
}

int due(sd_event_source * /*source*/, std::uint64_t /*at*/, void *data) noexcept {
    (*static_cast<std::function<void()> *>(data))();
    return 0;
}

int caught(sd_event_source * /*source*/, const signalfd_siginfo * /*info*/, void *data) noexcept {
    (*static_cast<std::function<void()> *>(data))();
    return 0;
}

int ended(sd_event_source * /*source*/, const siginfo_t *info, void *data) noexcept {
    // The callback may end the object that holds it.
    const Collected::Callback callback = *static_cast<Collected::Callback *>(data);
    callback(*info);
    return 0;
}

} // namespace

EventLoop newLoop() {
    sd_event *loop = nullptr;
    require(sd_event_default(&loop), "making the event loop");
    return EventLoop(loop);
}

std::int64_t bootNowMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * base::kMsPerSecond + now.tv_nsec / kNsPerMs;
}

Watched::Watched(sd_event *loop, int fd, std::uint32_t events, Callback callback)
    : callback_(std::move(callback)) {
    sd_event_source *source = nullptr;
    require(sd_event_add_io(loop, &source, fd, events, ready, &callback_), "watching a descriptor");
    source_.reset(source);
}

void Watched::waitFor(std::uint32_t events) {
    require(sd_event_source_set_io_events(source_.get(), events), "watching a descriptor");
}

Alarm::Alarm(sd_event *loop, Callback callback)
    : callback_([this, call = std::move(callback)] {
          set_ = false;
          call();
      }) {
    sd_event_source *source = nullptr;
    require(sd_event_add_time(loop, &source, CLOCK_BOOTTIME, 0, 1, due, &callback_),
            "setting a timer");
    source_.reset(source);
    cancel();
}

void Alarm::setInMs(std::int64_t milliseconds) {
    const auto us = static_cast<std::uint64_t>(milliseconds > 0 ? milliseconds : 0) * kUsPerMs;
    std::uint64_t moment = 0;
    require(momentIn(sd_event_source_get_event(source_.get()), us, moment), "setting a timer");
    require(sd_event_source_set_time(source_.get(), moment), "setting a timer");
    require(sd_event_source_set_enabled(source_.get(), SD_EVENT_ONESHOT), "setting a timer");
    set_ = true;
}

void Alarm::cancel() {
    require(sd_event_source_set_enabled(source_.get(), SD_EVENT_OFF), "stopping a timer");
    set_ = false;
}

Signalled::Signalled(sd_event *loop, int number, std::function<void()> callback)
    : callback_(std::move(callback)) {
    sd_event_source *source = nullptr;
    require(sd_event_add_signal(loop, &source, number, caught, &callback_), "waiting for a signal");
    source_.reset(source);
}

Collected::Collected(sd_event *loop, pid_t child, Callback callback)
    : callback_(std::move(callback)) {
    sd_event_source *source = nullptr;
    require(sd_event_add_child(loop, &source, child, WEXITED, ended, &callback_),
            "waiting for a process");
    source_.reset(source);
}

} // namespace service
