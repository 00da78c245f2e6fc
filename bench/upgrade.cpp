// SPDX-License-Identifier: MIT
// ota-bench-upgrade: one upgrade by the real host process, from its start until the call is done.
#include "base/channel.h"
#include "base/json.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPatienceMs = 10 * 60 * 1000;
constexpr int kNotStarted = 127;
constexpr const char *kUse =
    "ota-bench-upgrade HOST LIBRARY CONFIG EVENT-FILE LOG TIMES-FILE, in the node's folder";

struct Arguments {
    const char *host;
    const char *library;
    const char *config;
    const char *event; // one message for the channel, the offer
    const char *log;   // of the host; what follows is appended
    const char *times; // one JSON object, appended as a line
};

// The host dies with this process, by itself.
[[noreturn]] void giveUp(const std::string &whatIsWrong) {
    std::fprintf(stderr, "bench: %s\n", whatIsWrong.c_str());
    std::exit(EXIT_FAILURE);
}

[[noreturn]] void becomeHost(const Arguments &given, int socket) {
    const int log = open(given.log, O_WRONLY | O_CREAT | O_APPEND, 0644);
    const std::string channel = std::to_string(socket);
    if (log >= 0 && dup2(log, STDERR_FILENO) >= 0 && dup2(log, STDOUT_FILENO) >= 0) {
        execl(given.host, given.host, "--library", given.library, "--config", given.config,
              "--channel", channel.c_str(), "--no-commit-check", nullptr);
    }
    std::fprintf(stderr, "bench: %s cannot be started: %s\n", given.host, std::strerror(errno));
    _exit(kNotStarted);
}

class Upgrade {
  public:
    explicit Upgrade(const Arguments &given) : given_(given), stageBegan_(Clock::now()) {
        int sockets[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0) {
            giveUp(std::string("no channel can be made: ") + std::strerror(errno));
        }
        host_ = fork();
        if (host_ == 0) {
            close(sockets[0]);
            becomeHost(given, sockets[1]);
        }
        close(sockets[1]);
        channel_.emplace(sockets[0]);
    }

    // The messages until the call is done, each call answered with 0.
    void followUntilDone() {
        for (;;) {
            const base::Json message = receive();
            const std::string stage = base::textOf(message.get(), "stage");
            if (base::itemOf(message.get(), "done") != nullptr) {
                return;
            }
            if (!stage.empty()) {
                enter(stage);
            } else if (base::itemOf(message.get(), "call") != nullptr) {
                noteStatus(message.get());
                answer();
            }
        }
    }

    void offer() {
        std::ifstream file(given_.event);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        const base::Json event = base::parsed(text);
        if (!event) {
            giveUp(std::string(given_.event) + " is no JSON object: give an event of the channel");
        }
        send(event.get());
    }

    void enter(const std::string &stage) {
        const auto now = Clock::now();
        const std::chrono::duration<double> seconds = now - stageBegan_;
        base::add(times_.get(), stage_.c_str(), seconds.count());
        stage_ = stage;
        stageBegan_ = now;
    }

    // Memory is read while the host still lives.
    void report() {
        if (status_ != "OTA_SW_ACTIVATION_COMPLETE") {
            giveUp("the upgrade did not end in an activation but in \"" + status_ + "\"; see " +
                   given_.log);
        }
        addMemory();
        std::ofstream(given_.times, std::ios::app) << base::printed(times_.get()) << '\n';
    }

    // Also for what the host left behind without waiting for it, whose processor time counts too.
    void end() {
        channel_.reset();
        while (wait(nullptr) > 0 || errno == EINTR) {
        }
    }

  private:
    base::Json receive() {
        auto message = channel_->receive(kPatienceMs);
        if (!message || !*message) {
            giveUp("the host does not go on: " +
                   (message ? "nothing more came" : message.error().text) + "; see " + given_.log);
        }
        return std::move(*message);
    }

    void send(const cJSON *message) {
        if (const auto sent = channel_->send(message); !sent) {
            giveUp("the host takes no message: " + sent.error().text + "; see " + given_.log);
        }
    }

    void answer() {
        const base::Json acknowledgement = base::newObject();
        base::add(acknowledgement.get(), "ack", 0);
        send(acknowledgement.get());
    }

    void noteStatus(const cJSON *call) {
        const base::Json record = base::parsed(base::textOf(call, "data"));
        const std::string status = base::textOf(record.get(), "status");
        if (!status.empty()) {
            status_ = status;
        }
    }

    void addMemory() {
        std::ifstream file("/proc/" + std::to_string(host_) + "/status");
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("VmHWM:")) {
                base::add(times_.get(), "peak_kb", std::stod(line.substr(6)));
                return;
            }
        }
        giveUp("the kernel does not tell the memory of the host; look whether it still runs");
    }

    Arguments given_;
    pid_t host_ = -1;
    std::optional<base::Channel> channel_;
    std::string stage_ = "start";
    Clock::time_point stageBegan_;
    base::Json times_ = base::newObject();
    std::string status_;
};

} // namespace

int main(int argc, char **argv) {
    if (argc != 7) {
        std::fprintf(stderr, "bench: usage: %s\n", kUse);
        return 2;
    }
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    Upgrade upgrade({argv[1], argv[2], argv[3], argv[4], argv[5], argv[6]});
    upgrade.followUntilDone();
    upgrade.enter("offer");
    upgrade.offer();
    upgrade.followUntilDone();
    upgrade.enter("end");
    upgrade.report();
    upgrade.end();
    return 0;
}
