// SPDX-License-Identifier: MIT
// The node's named one-shot timers, in real or in virtual time.
#ifndef DESK_NAMED_TIMERS_H
#define DESK_NAMED_TIMERS_H

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace desk {

class NamedTimers {
  public:
    using Clock = std::chrono::steady_clock;

    // In virtual time a timer is due as soon as somebody asks; the earliest goes first.
    explicit NamedTimers(bool virtualTime) : virtualTime_(virtualTime) {}

    // A timer that runs under this name starts over; a negative length runs out at once.
    void start(const std::string &name, int seconds);
    void stop(const std::string &name) { deadlines_.erase(name); }
    void clear() { deadlines_.clear(); }

    [[nodiscard]] bool empty() const { return deadlines_.empty(); }
    // Takes out a timer that ran out, the one with the earliest end first.
    std::optional<std::string> takeDue();

  private:
    [[nodiscard]] Clock::time_point now() const;

    bool virtualTime_;
    Clock::time_point virtualNow_{};
    std::map<std::string, Clock::time_point> deadlines_;
};

} // namespace desk

#endif
