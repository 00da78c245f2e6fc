// SPDX-License-Identifier: MIT
// A pipe from the program, read as far as it goes.
#include "desk/line_stream.h"

#include "desk/failure.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace desk {

LineStream::LineStream(Launch launch) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Failure("no pipe for " + launch.arguments.front() + ": " + std::strerror(errno));
    }
    output_ = base::UniqueFd(ends[0]);
    const base::UniqueFd writeEnd(ends[1]);
    // Only this end: a program that waits for its reader is as it should be.
    fcntl(output_.get(), F_SETFL, O_NONBLOCK);
    launch.output = writeEnd.get();
    process_ = Child(launch);
}

std::optional<std::string> LineStream::next() {
    read();
    const std::size_t end = text_.find('\n');
    if (end == std::string::npos) {
        if (!closed_ || text_.empty()) {
            return std::nullopt;
        }
        return std::exchange(text_, {}); // a last line without an end
    }
    std::string line = text_.substr(0, end);
    text_.erase(0, end + 1);
    return line;
}

void LineStream::read() {
    std::array<char, 4096> chunk{};
    while (!closed_) {
        const ssize_t got = ::read(output_.get(), chunk.data(), chunk.size());
        if (got > 0) {
            text_.append(chunk.data(), static_cast<std::size_t>(got));
        } else if (got == 0) {
            closed_ = true;
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace desk
