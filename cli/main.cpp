// SPDX-License-Identifier: MIT
// otactl: talks to the upgrade service of this node, and to nothing else.
#include "cli/failure.h"
#include "cli/verbs.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

namespace {

using otactl::Failure;

int run(int argc, char **argv, otactl::Globals &globals) {
    CLI::App app("Offers, follows and steers software upgrades of this node.", "otactl");
    otactl::Action action;
    otactl::declareAll(app, globals, action);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &success) {
        return app.exit(success); // --help and --version
    } catch (const CLI::ParseError &error) {
        std::string what = otactl::wrongVerb(argc, argv);
        if (what.empty()) {
            what = error.what();
        }
        std::replace(what.begin(), what.end(), '\n', ' ');
        throw Failure(host::Outcome::wrongUse, what);
    }
    return action(globals);
}

// Who reads standard output may go away: that ends otactl without a word, also where whoever
// started it ignores or blocks the signal, as services and scripts do.
void endWithTheReader() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    std::signal(SIGPIPE, SIG_DFL);
    sigprocmask(SIG_UNBLOCK, &pipe, nullptr);
}

// A full disk behind standard output must not look like success.
void finishOutput() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        // The reason of a line that failed before is gone.
        throw Failure(host::Outcome::failed,
                      std::string("standard output cannot be written") +
                          (errno == 0 ? "" : std::string(": ") + std::strerror(errno)));
    }
}

} // namespace

int main(int argc, char **argv) {
    endWithTheReader();
    otactl::Globals globals;
    try {
        const int code = run(argc, argv, globals);
        finishOutput();
        return code;
    } catch (const Failure &failure) {
        return otactl::tellFailure(failure, globals.json);
    } catch (const std::exception &error) {
        return otactl::tellFailure(Failure(host::Outcome::failed, error.what()), globals.json);
    }
}
