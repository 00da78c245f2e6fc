// SPDX-License-Identifier: MIT
// How the host process ended, how often in a row, and why it does not start.
#ifndef SERVICE_JOBS_HOST_FAILURES_H
#define SERVICE_JOBS_HOST_FAILURES_H

#include "service/jobs/job_context.h"

#include <cstdint>
#include <string>

namespace service {

class HostFailures {
  public:
    explicit HostFailures(JobContext &context) : context_(context) {}

    /* A host process is being started. */
    void begin() { lastWords_ = {}; }
    /* Why it is about to end. */
    void hostTellsLastWords(const base::Error &cause) { lastWords_ = cause; }
    /* It has the node and the library. */
    void hostKnowsNode() { cannotStart_ = false; }
    void hostHasStarted();
    /* A call came to its end, or whatever may have been at fault is forgotten. */
    void countAnew() { crashes_ = 0; }
    /* It ended, before it had started up or behind that. */
    void hostEnded(bool inStartUp) { cannotStart_ = inStartUp && !lastWords_.text.empty(); }
    /* It ended by itself: counted, and recorded with its last words. */
    void hostCrashed(const std::string &how, bool inTheCall);

    /* Since a call last came to its end. */
    int crashes() const { return crashes_; }
    std::int64_t msBeforeStart() const;
    /* How it ended last; an empty sentence: it runs, or was ended. */
    const base::Error &last() const { return last_; }
    /* The host says why it does not even start; then nothing can be taken over. */
    bool cannotStart() const { return cannotStart_; }
    /* While the agent has not started, half a sentence. */
    std::string whyNotStarted() const;

  private:
    JobContext &context_;
    int crashes_ = 0;
    base::Error lastWords_;
    base::Error last_;
    bool cannotStart_ = false;
};

} // namespace service

#endif
