// SPDX-License-Identifier: MIT
// Signal handlers that write one byte into a pipe.
#include "desk/interrupt.h"

#include "desk/failure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace desk {
namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t theWriteEnd = -1;

void onSignal(int /*number*/) {
    const int error = errno;
    const char byte = '!';
    // A full pipe already says all there is to say.
    [[maybe_unused]] const ssize_t written = write(theWriteEnd, &byte, sizeof byte);
    errno = error;
}

} // namespace

Interrupt::Interrupt() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw Failure("no pipe for signals: too many open files? Raise the limit and try again");
    }
    readEnd_ = ends[0];
    writeEnd_ = ends[1];
    theWriteEnd = writeEnd_;
    struct sigaction action {};
    action.sa_handler = onSignal;
    for (const int number : kSignals) {
        sigaction(number, &action, nullptr);
    }
    // A child that died shows as an error of the write, not as the end of this process.
    std::signal(SIGPIPE, SIG_IGN);
}

Interrupt::~Interrupt() {
    for (const int number : kSignals) {
        std::signal(number, SIG_DFL);
    }
    theWriteEnd = -1;
    close(readEnd_);
    close(writeEnd_);
}

void Interrupt::check() const {
    pollfd waiting{readEnd_, POLLIN, 0};
    if (poll(&waiting, 1, 0) > 0) {
        throw Failure("interrupted by a signal; everything that was started is stopped");
    }
}

} // namespace desk
