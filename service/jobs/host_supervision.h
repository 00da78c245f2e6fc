// SPDX-License-Identifier: MIT
// The host process over its lives: started, started again behind its end, renewed.
#ifndef SERVICE_JOBS_HOST_SUPERVISION_H
#define SERVICE_JOBS_HOST_SUPERVISION_H

#include "service/host_process.h"
#include "service/jobs/host_failures.h"
#include "service/jobs/job_context.h"

#include "base/json.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace service {

class HostSupervision {
  public:
    struct Callbacks {
        std::function<void(const cJSON &message)> message;
        /* As of HostProcess. */
        std::function<void(const std::string &how)> ended;
        /* It is to be started again. */
        std::function<void()> due;
    };

    HostSupervision(JobContext &context, HostProgram program, Callbacks callbacks);

    void start(const std::vector<std::string> &options);
    void startAgain();
    void send(const base::Json &message) { process_.send(message.get()); }
    /* Its end comes from the loop. */
    void kill() { process_.kill(); }
    /* Ends it without a failure, so that the agent counts from nothing. */
    void renew();
    /* What the host says cannot be understood: it is as good as crashed. */
    void isWrong(const std::string &why);
    /* It ended; whether that was asked for by renew(). */
    bool noteEnd();
    /* The agent's start waits until the path is there; found: what is there in its place. */
    void waitsFor(const std::string &path, const std::string &found);
    void hasStarted();

    bool running() const { return process_.running(); }
    /* Another number for each host process: what was begun for an earlier one is void. */
    std::uint64_t generation() const { return generation_; }
    const std::string &waitsForPath() const { return waitsForPath_; }
    /* Seconds until the host is started again; below 0: it runs. */
    int restartInSeconds() const;
    HostFailures &failures() { return failures_; }
    const HostFailures &failures() const { return failures_; }

  private:
    JobContext &context_;
    HostFailures failures_;
    std::function<void(const std::string &how)> ended_;
    HostProcess process_;
    std::uint64_t generation_ = 0;
    bool renewing_ = false;
    std::string waitsForPath_;
    std::int64_t restartAtMs_ = 0;
    Alarm restart_;
};

} // namespace service

#endif
