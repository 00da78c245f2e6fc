// SPDX-License-Identifier: MIT
// otad: the upgrade service of a node.
#include "service/config_check.h"
#include "service/daemon.h"
#include "service/event_log.h"
#include "service/loop.h"
#include "service/loop_watch.h"
#include "service/options.h"
#include "service/syslog_relay.h"

#include "base/file_io.h"
#include "base/outcome.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <malloc.h>
#include <sys/stat.h>

namespace {

constexpr mode_t kStateMode = 0750;

// Before any thread is started, so that none of them takes the loop's signals.
void blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGCHLD, SIGTERM, SIGINT}) {
        sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    // A reader of standard error that went away must not end the daemon.
    std::signal(SIGPIPE, SIG_IGN);
}

// What a caller of the bus made large goes back to the system when it is released. Without these
// glibc learns from the first large text to keep room for the next.
void returnLargeMemory() {
#ifdef M_MMAP_THRESHOLD
    constexpr int kLarge = 128 * 1024;
    mallopt(M_MMAP_THRESHOLD, kLarge);
    mallopt(M_TRIM_THRESHOLD, kLarge);
#endif
}

bool makeStateDirectory(const std::string &path) {
    const bool made = mkdir(path.c_str(), kStateMode) == 0;
    // Without the sync a power cut would take the directory, and with it all that was kept there.
    if (made ? base::syncDirectoryOf(path) : errno == EEXIST) {
        return true;
    }
    service::logError("[service] state: " + path + " cannot be made: " + std::strerror(errno) +
                      "; make it or name another");
    return false;
}

} // namespace

int main(int argc, char **argv) {
    returnLargeMemory();
    const service::Options options = service::readOptions(argc, argv);
    service::SyslogRelay relay;
    if (options.syslog && !options.check) {
        if (const auto started = relay.start(); !started) {
            service::logError(started.error().text + "; the log stays on standard error");
        }
    }
    const int configWrong = base::rowOf(base::Outcome::configWrong).code;
    const auto [config, findings] =
        service::checkConfig({options.host, options.library, options.config});
    for (const auto &lines : {findings.mistakes, findings.obstacles}) {
        for (const std::string &line : lines) {
            service::logError(line);
        }
    }
    for (const std::string &warning : findings.warnings) {
        service::logWarning(warning);
    }
    // An obstacle does not keep it from the start: the agent's process tells what it hinders.
    if (!findings.mistakes.empty() || (options.check && !findings.obstacles.empty())) {
        return configWrong;
    }
    if (options.check) {
        std::printf("%s: correct\n", options.config.c_str());
        return 0;
    }
    if (!makeStateDirectory(config.stateDirectory)) {
        return configWrong;
    }
    blockSignals();
    const service::EventLoop loop = service::newLoop();
    relay.watch(loop.get());
    const service::LoopWatch watch(loop.get(), options.watchdog);
    return service::Daemon(loop.get(), options, config).run();
}
