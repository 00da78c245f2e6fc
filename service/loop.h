// SPDX-License-Identifier: MIT
// What the daemon waits for: descriptors, moments, signals and children, each owned by an object.
#ifndef SERVICE_LOOP_H
#define SERVICE_LOOP_H

#include "service/bus/handles.h"

#include <cstdint>
#include <functional>
#include <sys/types.h>

namespace service {

/* The loop of this thread. Ends the process where the system has no room for one. */
EventLoop newLoop();

/* Milliseconds since boot, suspend included. */
std::int64_t bootNowMs();

/* Calls back while the descriptor is ready; the descriptor stays the caller's. */
class Watched {
  public:
    using Callback = std::function<void(std::uint32_t events)>;

    Watched(sd_event *loop, int fd, std::uint32_t events, Callback callback);
    Watched(const Watched &) = delete;
    Watched &operator=(const Watched &) = delete;

    /* EPOLLIN, EPOLLOUT or both. */
    void waitFor(std::uint32_t events);

  private:
    Callback callback_;
    EventSource source_;
};

/* Calls back once, some time from now; the time that a node sleeps counts. */
class Alarm {
  public:
    using Callback = std::function<void()>;

    Alarm(sd_event *loop, Callback callback);
    Alarm(const Alarm &) = delete;
    Alarm &operator=(const Alarm &) = delete;

    /* Replaces what was set before; 0 or less: in the next turn of the loop. */
    void setInMs(std::int64_t milliseconds);
    void cancel();
    bool isSet() const { return set_; }

  private:
    bool set_ = false;
    Callback callback_;
    EventSource source_;
};

/* Calls back when the signal comes. It must be blocked in every thread. */
class Signalled {
  public:
    Signalled(sd_event *loop, int number, std::function<void()> callback);
    Signalled(const Signalled &) = delete;
    Signalled &operator=(const Signalled &) = delete;

  private:
    std::function<void()> callback_;
    EventSource source_;
};

/* Calls back once the child has ended, which is collected then; SIGCHLD must be blocked. */
class Collected {
  public:
    using Callback = std::function<void(const siginfo_t &)>;

    Collected(sd_event *loop, pid_t child, Callback callback);
    Collected(const Collected &) = delete;
    Collected &operator=(const Collected &) = delete;

  private:
    Callback callback_;
    EventSource source_;
};

} // namespace service

#endif
