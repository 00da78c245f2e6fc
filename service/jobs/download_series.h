// SPDX-License-Identifier: MIT
// The series of failed downloads: the agent counts it for as long as its process lives, which may
// end between two attempts; the ledger counts on.
#ifndef SERVICE_JOBS_DOWNLOAD_SERIES_H
#define SERVICE_JOBS_DOWNLOAD_SERIES_H

#include "service/jobs/host_supervision.h"
#include "service/jobs/job_context.h"

#include <optional>
#include <string>

namespace service {

class DownloadSeries {
  public:
    DownloadSeries(JobContext &context, HostSupervision &host) : context_(context), host_(host) {}

    /* The agent's call starts a timer: for how many seconds it is to run; none: it is not to run.
     */
    std::optional<int> hostStartsTimer(const std::string &name, int seconds);
    void hostStopsTimer(const std::string &name);
    /* The last attempt is reported by the agent as the agent's own count would have it. True: the
     * host does that now, and the call is not over yet. */
    bool reportEnd(const cJSON &message);
    /* The call is over. */
    void count();

  private:
    std::optional<int> attemptFailed(int seconds);

    JobContext &context_;
    HostSupervision &host_;
};

} // namespace service

#endif
