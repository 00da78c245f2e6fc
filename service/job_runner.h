// SPDX-License-Identifier: MIT
// Runs the agent's calls one at a time, keeps on disk which one, and takes up again what broke off.
#ifndef SERVICE_JOB_RUNNER_H
#define SERVICE_JOB_RUNNER_H

#include "service/jobs/address_watch.h"
#include "service/jobs/call_end.h"
#include "service/jobs/call_progress.h"
#include "service/jobs/call_start.h"
#include "service/jobs/cancellation.h"
#include "service/jobs/deferred_offer.h"
#include "service/jobs/download_series.h"
#include "service/jobs/host_supervision.h"
#include "service/jobs/job_context.h"
#include "service/jobs/job_queue.h"
#include "service/jobs/operator_commands.h"
#include "service/jobs/reboot_watch.h"
#include "service/jobs/save_retries.h"
#include "service/jobs/start_up.h"
#include "service/jobs/trial_watch.h"

#include "base/json.h"

#include <functional>
#include <string>

namespace service {

/*
 * A request goes queue -> running -> (waiting, for timers or a reboot) -> finished. The ledger is
 * on disk before each step takes effect outside, so that a start at any moment finds what to do:
 * begin the queue, do the broken call again, or wait on. The parts do the work; here is the order
 * in which they have their turn, by what the host says and by its end.
 */
class JobRunner {
  public:
    JobRunner(const Dependencies &deps, HostProgram program,
              std::function<void(const cJSON &message)> hostMessage);

    /* Starts the host, which then takes up what the ledger holds. */
    void start();
    /* The host has done what it was sent. */
    void hostDone(const cJSON &message);

    HostSupervision &host() { return host_; }
    TrialWatch &trial() { return trial_; }
    DeferredOffer &deferred() { return deferred_; }
    DownloadSeries &series() { return series_; }
    JobQueue &queue() { return queue_; }
    CallProgress &progress() { return progress_; }
    Cancellation &cancellation() { return cancellation_; }
    OperatorCommands &commands() { return commands_; }
    StartUp &startUp() { return startUp_; }

    bool agentStarted() const;
    /* In a row. */
    int failedSaves() const { return saves_.failures(); }
    /* What has its turn names the node by its address, which has none. */
    bool awaitsAddress() const { return address_.waits(); }

  private:
    void launchHost();
    void hostEnded(const std::string &how);
    void becomeIdle();
    void pump();
    void lookAgain();
    void saveAgain();
    void callDone(const cJSON &message);

    JobContext context_;
    HostSupervision host_;
    TrialWatch trial_;
    RebootWatch reboot_;
    AddressWatch address_;
    DeferredOffer deferred_;
    DownloadSeries series_;
    SaveRetries saves_;
    JobQueue queue_;
    CallStart callStart_;
    CallProgress progress_;
    CallEnd callEnd_;
    Cancellation cancellation_;
    OperatorCommands commands_;
    StartUp startUp_;
};

} // namespace service

#endif
