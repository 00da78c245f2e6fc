// SPDX-License-Identifier: MIT
#include "service/host_process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace service {
namespace {

constexpr int kChannelInChild = 3;

class SpawnSettings {
  public:
    explicit SpawnSettings(int channel) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_adddup2(&actions_, channel, kChannelInChild);
        // Not every library marks its descriptors as this process's own.
        posix_spawn_file_actions_addclosefrom_np(&actions_, kChannelInChild + 1);
        posix_spawnattr_init(&attributes_);
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        // The daemon blocks signals that the shell commands of the agent must get.
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                   POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    const posix_spawn_file_actions_t *actions() const { return &actions_; }
    const posix_spawnattr_t *attributes() const { return &attributes_; }

  private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

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
        killGroup();
        waitpid(pid_, nullptr, 0);
    }
}

base::Result<void> HostProcess::start(std::vector<std::string> options) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return base::Error{std::string("no socket pair for the host process: ") +
                           std::strerror(errno) + "; check the limits of this process"};
    }
    if (ends[1] == kChannelInChild) { // dup2 onto itself would leave it closed in the child
        const int moved = fcntl(ends[1], F_DUPFD_CLOEXEC, kChannelInChild + 1);
        close(ends[1]);
        ends[1] = moved;
    }
    std::string channel = std::to_string(kChannelInChild);
    std::vector<char *> arguments{program_.program.data(), const_cast<char *>("--library"),
                                  program_.library.data(), const_cast<char *>("--config"),
                                  program_.config.data(),  const_cast<char *>("--channel"),
                                  channel.data()};
    if (!program_.platform.empty()) {
        arguments.insert(arguments.end(),
                         {const_cast<char *>("--platform"), program_.platform.data()});
    }
    for (std::string &option : options) {
        arguments.push_back(option.data());
    }
    arguments.push_back(nullptr);
    const SpawnSettings settings(ends[1]);
    const int error = posix_spawn(&pid_, program_.program.c_str(), settings.actions(),
                                  settings.attributes(), arguments.data(), environ);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        pid_ = 0;
        return base::Error{program_.program + ": cannot be started: " + std::strerror(error) +
                           "; give the host program with --host"};
    }
    killedHere_ = false;
    why_.clear();
    channel_.emplace(ends[0]);
    watched_.emplace(loop_, ends[0], EPOLLIN,
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
        killGroup();
    }
    watched_.reset();
    channel_.reset();
}

void HostProcess::killGroup() const {
    // Both: the group may not exist yet, a moment after the start.
    ::kill(-pid_, SIGKILL);
    ::kill(pid_, SIGKILL);
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
    killGroup(); // the commands that it left behind
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
