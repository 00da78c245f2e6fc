// SPDX-License-Identifier: MIT
// Answers what the agent asks of its node: bus, root, timers.
#ifndef SERVICE_HOST_CALLS_H
#define SERVICE_HOST_CALLS_H

#include "service/bus/bus_service.h"
#include "service/event_log.h"
#include "service/job_runner.h"
#include "service/node_timers.h"
#include "service/root_uplink.h"
#include "service/status_board.h"

#include "base/json.h"

#include <functional>
#include <optional>
#include <string>

namespace service {

class HostCalls {
  public:
    /* All of them outlive this. */
    HostCalls(JobRunner &jobs, EventLog &eventLog, StatusBoard &board, BusService &bus,
              RootUplink &root, NodeTimers &timers)
        : jobs_(jobs), eventLog_(eventLog), board_(board), bus_(bus), root_(root), timers_(timers) {
    }

    void take(const cJSON &message);

  private:
    void takeNote(const std::string &note, const cJSON &message);
    std::optional<base::Error> causeIn(const cJSON &message);
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

    JobRunner &jobs_;
    EventLog &eventLog_;
    StatusBoard &board_;
    BusService &bus_;
    RootUplink &root_;
    NodeTimers &timers_;
};

} // namespace service

#endif
