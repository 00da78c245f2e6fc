// SPDX-License-Identifier: MIT
#include "service/host_process.h"

#include <sys/epoll.h>
#include <sys/wait.h>

namespace service {
namespace {

std::string endingOf(const siginfo_t &info) {
    return info.si_code == CLD_EXITED ? "it ended with code " + std::to_string(info.si_status)
                                      : "it was ended by signal " + std::to_string(info.si_status);
}

} // namespace

HostProcess::HostProcess(sd_event *loop, HostProgram program, Callbacks callbacks)
    : loop_(loop), program_(std::move(program)), callbacks_(std::move(callbacks)) {}

HostProcess::~HostProcess() {
    child_.reset();
    if (pid_ > 0) {
        killHost(pid_);
        waitpid(pid_, nullptr, 0);
    }
}

base::Result<void> HostProcess::start(const std::vector<std::string> &options) {
    const auto spawned = spawnHost(program_, options);
    if (!spawned) {
        return spawned.error();
    }
    pid_ = spawned->pid;
    killedHere_ = false;
    why_.clear();
    channel_.emplace(spawned->channel);
    watched_.emplace(loop_, spawned->channel, EPOLLIN,
                     [this](std::uint32_t events) { channelReady(events); });
    child_.emplace(loop_, pid_, [this](const siginfo_t &info) { collected(info); });
    return {};
}

void HostProcess::send(const cJSON *message) {
    if (!channel_) {
        return;
    }
    if (const auto posted = channel_->post(message); !posted) {
        return breakOff(posted.error().text);
    }
    watchForWriting();
}

void HostProcess::kill() {
    if (pid_ > 0) {
        killedHere_ = true;
        killHost(pid_);
    }
    watched_.reset();
    channel_.reset();
}

void HostProcess::channelReady(std::uint32_t events) {
    const auto flushed = (events & EPOLLOUT) != 0 ? channel_->flush() : base::Result<void>();
    if (!flushed) {
        return breakOff(flushed.error().text);
    }
    watchForWriting();
    if ((events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0) {
        readMessages();
    }
}

void HostProcess::readMessages() {
    if (const auto fed = channel_->feed(); !fed) {
        return breakOff(fed.error().text);
    }
    // A message may end the process, and with it the channel.
    while (channel_) {
        const auto message = channel_->next();
        if (!message) {
            return breakOff(message.error().text);
        }
        if (*message) {
            callbacks_.message(**message);
        } else if (channel_->ended()) {
            watched_.reset(); // the end of the process follows
            channel_.reset();
        } else {
            return;
        }
    }
}

void HostProcess::watchForWriting() {
    watched_->waitFor(channel_->wantsToWrite() ? EPOLLIN | EPOLLOUT : EPOLLIN);
}

// A process that cannot be understood any more is as good as dead.
void HostProcess::breakOff(const std::string &why) {
    why_ = why;
    kill();
    killedHere_ = false;
}

void HostProcess::collected(const siginfo_t &info) {
    killHost(pid_); // the commands that it left behind
    pid_ = 0;
    const std::string how = killedHere_ ? "" : why_.empty() ? endingOf(info) : why_;
    // Its last words may have come in the same moment as its end.
    if (channel_) {
        readMessages();
    }
    watched_.reset();
    channel_.reset();
    child_.reset();
    callbacks_.ended(how);
}

} // namespace service
