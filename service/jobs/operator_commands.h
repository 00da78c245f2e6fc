// SPDX-License-Identifier: MIT
// What operators decide about the banks, carried out by the host while the agent is idle.
#ifndef SERVICE_JOBS_OPERATOR_COMMANDS_H
#define SERVICE_JOBS_OPERATOR_COMMANDS_H

#include "service/bus/bus_calls.h"
#include "service/jobs/cancellation.h"
#include "service/jobs/host_supervision.h"
#include "service/jobs/trial_watch.h"

#include "base/json.h"

#include <optional>
#include <string>

namespace service {

class OperatorCommands {
  public:
    using Answer = BusCalls::Answer;

    OperatorCommands(JobContext &context, HostSupervision &host, TrialWatch &trial,
                     const Cancellation &cancellation)
        : context_(context), host_(host), trial_(trial), cancellation_(cancellation) {}

    /* The running bank is marked good. Refused unless the agent is idle; answered when it is done.
     */
    void commit(Answer answer);
    /* A version that failed its trial may be offered again; likewise. */
    void forget(const std::string &version, Answer answer);
    /* The host has carried the command out, or failed in it for this reason. */
    void finish(const base::Result<void> &done);

    bool isRunning() const { return running_.has_value(); }

  private:
    struct Command {
        base::Json event;
        HistoryLine done; // recorded when it is
        Answer answer;
    };

    void begin(Command command);
    void forgetFailedTrials(const std::string &version);
    std::string whyBusy() const;

    JobContext &context_;
    HostSupervision &host_;
    TrialWatch &trial_;
    const Cancellation &cancellation_;
    std::optional<Command> running_;
};

} // namespace service

#endif
