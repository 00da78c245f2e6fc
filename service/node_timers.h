// SPDX-License-Identifier: MIT
// The agent's named one-shot timers, on a clock that counts while the node sleeps.
#ifndef SERVICE_NODE_TIMERS_H
#define SERVICE_NODE_TIMERS_H

#include "service/loop.h"
#include "service/state/ledger.h"

#include <functional>
#include <string>
#include <vector>

namespace service {

class NodeTimers {
  public:
    /* Called once for each timer that ran out, which is no longer armed then. */
    NodeTimers(sd_event *loop, std::function<void(const std::string &name)> ranOut);

    /* One that runs under this name starts over; 0 or less runs out in the next turn. */
    void start(const std::string &name, int seconds);
    /* False where none of this name runs. */
    bool stop(const std::string &name);
    /* Replaces all of them. */
    void restore(std::vector<ArmedTimer> timers);

    const std::vector<ArmedTimer> &armed() const { return timers_; }

  private:
    void setAlarm();
    void takeDue();

    std::function<void(const std::string &name)> ranOut_;
    std::vector<ArmedTimer> timers_;
    Alarm alarm_;
};

/* Whole seconds until it runs out, rounded up, 0 or more. */
std::uint32_t secondsLeft(const ArmedTimer &timer);

} // namespace service

#endif
