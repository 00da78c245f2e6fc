// SPDX-License-Identifier: MIT
#include "base/program.h"

#include "base/failure.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace base {
namespace {

int perform(const Command &program, const std::vector<std::string> &words) {
    const Parsed parsed = parse(program, words);
    const bool asksForText = parsed.help || parsed.version;
    if (!asksForText && !parsed.wrong.empty()) {
        throw Failure(Outcome::wrongUse, parsed.wrong, "see " + parsed.path + " --help");
    }
    return asksForText ? *answer(program, parsed) : parsed.command->run();
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
        throw base::Failure(base::Outcome::failed,
                            std::string("standard output cannot be written: ") +
                                std::strerror(errno));
    }
}

// A full disk behind standard output must not look like success.
void finishOutput() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        // The reason of a line that failed before is gone.
        throw base::Failure(base::Outcome::failed,
                            std::string("standard output cannot be written") +
                                (errno == 0 ? "" : std::string(": ") + std::strerror(errno)));
    }
}

} // namespace

int runProgram(const Command &program, int argc, char **argv, const bool &json) {
    // The name may be that of a program and its verb, which hands over to this one.
    const std::string name = program.name.substr(0, program.name.find(' '));
    endWithTheReader();
    try {
        requireOutput();
        const int code = perform(program, {argv, argv + argc});
        finishOutput();
        return code;
    } catch (const Failure &failure) {
        return tellFailure(name, failure, json);
    } catch (const std::exception &error) {
        return tellFailure(name, Failure(Outcome::failed, error.what()), json);
    }
}

} // namespace base
