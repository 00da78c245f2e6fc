// SPDX-License-Identifier: MIT
// A program whose standard output is read line by line, without waiting.
#ifndef DESK_LINE_STREAM_H
#define DESK_LINE_STREAM_H

#include "desk/child.h"

#include "base/file_io.h"

#include <optional>
#include <string>

namespace desk {

class LineStream {
  public:
    // The launch's `output` is set here.
    explicit LineStream(Launch launch);

    // Readable while there is something to take, and at the end.
    [[nodiscard]] int fd() const { return output_.get(); }
    // The next whole line without its end; none where there is none yet.
    std::optional<std::string> next();
    // True once everything was taken and the program closed its output.
    [[nodiscard]] bool closed() const { return closed_ && text_.empty(); }
    // "exit code 3" or "signal 9" once the program is gone; never waits.
    std::optional<std::string> ending() { return process_.ending(); }
    void stop() { process_.stop(); }

  private:
    void read();

    base::UniqueFd output_;
    Child process_;
    std::string text_;
    bool closed_ = false;
};

} // namespace desk

#endif
