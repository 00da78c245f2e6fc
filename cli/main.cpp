// SPDX-License-Identifier: MIT
// otactl: talks to the upgrade service of this node, and to nothing else.
#include "cli/failure.h"
#include "cli/verbs.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using cli::Failure;

int run(const std::vector<std::string> &words, cli::Globals &globals) {
    const base::Command program = cli::commandLine(globals);
    const base::Parsed parsed = base::parse(program, words);
    const bool asksForText = parsed.help || parsed.version;
    if (!asksForText && !parsed.wrong.empty()) {
        throw Failure(base::Outcome::wrongUse, parsed.wrong);
    }
    return asksForText ? *base::answer(program, parsed) : parsed.command->run();
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

// The next file that is opened would take its place: what is printed would go into the bus.
void requireOutput() {
    if (fcntl(STDOUT_FILENO, F_GETFD) < 0) {
        throw Failure(base::Outcome::failed,
                      std::string("standard output cannot be written: ") + std::strerror(errno));
    }
}

// A full disk behind standard output must not look like success.
void finishOutput() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        // The reason of a line that failed before is gone.
        throw Failure(base::Outcome::failed,
                      std::string("standard output cannot be written") +
                          (errno == 0 ? "" : std::string(": ") + std::strerror(errno)));
    }
}

} // namespace

int main(int argc, char **argv) {
    endWithTheReader();
    cli::Globals globals;
    try {
        requireOutput();
        const int code = run({argv, argv + argc}, globals);
        finishOutput();
        return code;
    } catch (const Failure &failure) {
        return cli::tellFailure(failure, globals.json);
    } catch (const std::exception &error) {
        return cli::tellFailure(Failure(base::Outcome::failed, error.what()), globals.json);
    }
}
