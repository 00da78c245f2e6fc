// SPDX-License-Identifier: MIT
// Virtual time: the agent sees the time that a test sets, and its sleeps take none.
#pragma once

#include <ctime>
#include <functional>
#include <string>

namespace ota::test {

class Clock {
  public:
    // Local time as "2024-03-05 10:00:00".
    void set(const char *localTime);
    void setZone(const char *zone);
    std::time_t now() const { return mNow; }
    void reset();

    // Called for every sleep, after the time has gone by; `count` is 1 for the first one.
    std::function<void(int count)> onSleep;

    void sleep(unsigned seconds);

  private:
    std::time_t mNow = 0;
    int mSleeps = 0;
};

Clock &agentClock();

} // namespace ota::test
