// SPDX-License-Identifier: MIT
#include "service/host_program.h"

#include "base/file_io.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <unistd.h>

namespace service {
namespace {

constexpr int kChannelInChild = 3;

// Not every library marks its descriptors as this process's own. That the child closed them would
// be an action of its start that glibc alone has.
void keepDescriptorsFromChildren() {
    const base::UniqueDirectory open(opendir("/proc/self/fd"));
    while (const dirent *const entry = open ? readdir(open.get()) : nullptr) {
        if (const int descriptor = std::atoi(entry->d_name); descriptor > kChannelInChild) {
            fcntl(descriptor, F_SETFD, FD_CLOEXEC);
        }
    }
}

class SpawnSettings {
  public:
    explicit SpawnSettings(int channel) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_adddup2(&actions_, channel, kChannelInChild);
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

} // namespace

base::Result<SpawnedHost> spawnHost(const HostProgram &program,
                                    const std::vector<std::string> &options) {
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
    std::vector<std::string> words{program.program,
                                   "--library",
                                   program.library,
                                   "--config",
                                   program.config,
                                   "--channel",
                                   std::to_string(kChannelInChild)};
    if (!program.platform.empty()) {
        words.insert(words.end(), {"--platform", program.platform});
    }
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    keepDescriptorsFromChildren();
    const SpawnSettings settings(ends[1]);
    pid_t pid = 0;
    const int error = posix_spawn(&pid, program.program.c_str(), settings.actions(),
                                  settings.attributes(), arguments.data(), environ);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        return base::Error{program.program + ": cannot be started: " + std::strerror(error) +
                           "; give the host program with --host"};
    }
    return SpawnedHost{pid, ends[0]};
}

void killHost(pid_t pid) {
    // Both: the group may not exist yet, a moment after the start.
    kill(-pid, SIGKILL);
    kill(pid, SIGKILL);
}

} // namespace service
