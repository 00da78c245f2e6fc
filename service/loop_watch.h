// SPDX-License-Identifier: MIT
// The watchdog of a daemon that nobody else watches: a loop that hangs ends the process.
#ifndef SERVICE_LOOP_WATCH_H
#define SERVICE_LOOP_WATCH_H

#include "service/loop.h"

#include <chrono>

namespace service {

class LoopWatch {
  public:
    /* Nothing is watched where the patience is 0. */
    LoopWatch(sd_event *loop, std::chrono::milliseconds patience);

  private:
    void goOn();

    std::chrono::milliseconds patience_;
    Alarm turn_;
};

} // namespace service

#endif
