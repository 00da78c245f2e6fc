// SPDX-License-Identifier: MIT
#include "service/syslog_relay.h"

#include "service/syslog_lines.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/prctl.h>
#include <syslog.h>
#include <unistd.h>

namespace service {
namespace {

constexpr int kMostWaiting = 256 * 1024; // bytes
constexpr int kLinesInRelay = 3;
constexpr std::int64_t kAgainInMs = 1000;

// It ends with the last of those who write, so that their last words are sent.
void sendUntilTheEnd() {
    SyslogLines entries([](int priority, const std::string &text) {
        syslog(priority, "%s", text.c_str()); // NOLINT
    });
    char buffer[4096];
    for (;;) {
        const ssize_t size = read(kLinesInRelay, buffer, sizeof buffer);
        if (size > 0) {
            entries.take({buffer, static_cast<std::size_t>(size)});
        } else if (size == 0 || errno != EINTR) {
            return entries.end();
        }
    }
}

// None of the service's descriptors is kept: who waits for their end would wait for this process.
[[noreturn]] void relay(int lines, pid_t service) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(number, SIG_IGN);
    }
    prctl(PR_SET_NAME, "otad-syslog");
    dup2(lines, kLinesInRelay);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(nothing, descriptor);
    }
    base::closeFrom(kLinesInRelay + 1);
    [[maybe_unused]] const int ignored = chdir("/"); // a folder of somebody's may be taken away
    const std::string name = "otad[" + std::to_string(service) + "]";
    openlog(name.c_str(), 0, LOG_DAEMON);
    sendUntilTheEnd();
    _exit(0);
}

} // namespace

base::Result<void> SyslogRelay::start() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return base::Error{base::systemReason("no pipe for the lines to syslog")};
    }
    lines_ = base::UniqueFd(ends[0]);
    const base::UniqueFd writing(ends[1]);
    // Less is enough for all but a flood; whoever writes must never wait.
    fcntl(writing.get(), F_SETPIPE_SZ, kMostWaiting);
    if (fcntl(writing.get(), F_SETFL, O_NONBLOCK) != 0 || !startProcess()) {
        return base::Error{base::systemReason("no process for the lines to syslog")};
    }
    dup2(writing.get(), STDERR_FILENO);
    return {};
}

bool SyslogRelay::startProcess() {
    const pid_t service = getpid();
    const pid_t process = fork();
    if (process == 0) {
        relay(lines_.get(), service);
    }
    process_ = process;
    return process > 0;
}

void SyslogRelay::watch(sd_event *loop) {
    if (!lines_) {
        return;
    }
    if (!again_) {
        again_.emplace(loop, [this, loop] {
            startProcess();
            watch(loop);
        });
    }
    if (process_ > 0) {
        ended_.emplace(loop, process_, [this](const siginfo_t &) { again_->setInMs(kAgainInMs); });
    } else {
        again_->setInMs(kAgainInMs);
    }
}

} // namespace service
