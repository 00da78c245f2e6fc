// SPDX-License-Identifier: MIT
// The process that holds the agent's library: started, spoken to, killed, and its end told.
#ifndef SERVICE_HOST_PROCESS_H
#define SERVICE_HOST_PROCESS_H

#include "base/channel.h"
#include "service/host_program.h"
#include "service/loop.h"

#include <functional>
#include <optional>
#include <string>

namespace service {

class HostProcess {
  public:
    struct Callbacks {
        std::function<void(const cJSON &message)> message;
        /* The process is gone and collected; `how` is one line, empty where it was killed here. */
        std::function<void(const std::string &how)> ended;
    };

    HostProcess(sd_event *loop, HostProgram program, Callbacks callbacks);
    /* Kills what still runs, and waits for its end. */
    ~HostProcess();
    HostProcess(const HostProcess &) = delete;
    HostProcess &operator=(const HostProcess &) = delete;

    /* Starts it with these options more. */
    base::Result<void> start(const std::vector<std::string> &options);
    /* Queues the message and never waits; what fails to go out shows as the end of the process. */
    void send(const cJSON *message);
    /* Kills it with all that it started; `ended` follows from the loop. */
    void kill();

    bool running() const { return pid_ > 0; }

  private:
    void channelReady(std::uint32_t events);
    void readMessages();
    void watchForWriting();
    void breakOff(const std::string &why);
    void collected(const siginfo_t &info);

    sd_event *loop_;
    HostProgram program_;
    Callbacks callbacks_;
    pid_t pid_ = 0;
    bool killedHere_ = false;
    std::string why_; // what was wrong with the channel, where that came first
    std::optional<base::Channel> channel_;
    std::optional<Watched> watched_;
    std::optional<Collected> child_;
};

} // namespace service

#endif
