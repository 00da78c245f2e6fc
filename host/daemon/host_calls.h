// SPDX-License-Identifier: MIT
// Answers what the agent asks of its node: bus, root, timers.
#ifndef HOST_DAEMON_HOST_CALLS_H
#define HOST_DAEMON_HOST_CALLS_H

#include "host/daemon/bus/bus_service.h"
#include "host/daemon/chronicle.h"
#include "host/daemon/conductor.h"
#include "host/daemon/node_timers.h"
#include "host/daemon/root_road.h"

#include "host/json.h"

#include <functional>
#include <string>

namespace otad {

class HostCalls {
  public:
    /* All of them outlive this. */
    HostCalls(Conductor &conductor, Chronicle &chronicle, BusService &bus, RootRoad &root,
              NodeTimers &timers)
        : conductor_(conductor), chronicle_(chronicle), bus_(bus), root_(root), timers_(timers) {}

    /* Any message of the host. */
    void take(const cJSON &message);

  private:
    void takeNote(const std::string &note, const cJSON &message);
    void takeCall(const std::string &call, const cJSON &message);
    void raiseStatus(const cJSON &message);
    void notifyRoot(const cJSON &message);
    void handOver(const cJSON &message);
    void startTimer(const cJSON &message);
    void stopTimer(const cJSON &message);
    void keepActivation(const cJSON &message);
    RootLink::Published answerOfRoot(const RootLink::Published &also = {});
    void acknowledge(int result);
    void tellTimer(const char *event, const std::string &reason);

    Conductor &conductor_;
    Chronicle &chronicle_;
    BusService &bus_;
    RootRoad &root_;
    NodeTimers &timers_;
};

} // namespace otad

#endif
