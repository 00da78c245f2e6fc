// SPDX-License-Identifier: MIT
// The command line of the service, as the desk's one way to speak to a node.
#ifndef DESK_CONTROL_H
#define DESK_CONTROL_H

#include "desk/interrupt.h"
#include "desk/line_stream.h"

#include "base/json.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace desk {

// How a person in a shell says otactl to the node of this folder, from wherever they are.
std::vector<std::string> controlWords(const std::filesystem::path &program,
                                      const std::filesystem::path &folder);

class Control {
  public:
    // Commands run in the folder of the node's bus; what they say beside their answer goes to the
    // log.
    Control(std::filesystem::path program, std::filesystem::path folder, std::filesystem::path log,
            const Interrupt &interrupt)
        : program_(std::move(program)), folder_(std::move(folder)), log_(std::move(log)),
          interrupt_(interrupt) {}

    // Hands the node something and returns its ticket; throws a Failure with the node's reason
    // where it is refused.
    std::uint64_t hand(const std::vector<std::string> &words) const;
    [[nodiscard]] const std::filesystem::path &log() const { return log_; }
    // All properties; null where nobody answers.
    base::Json status() const;
    // The node's events, a JSON object a line, for as long as the stream lives.
    LineStream watch() const;

  private:
    struct Answer {
        std::string ending;
        std::string text; // its last line
    };
    [[nodiscard]] Launch launch(const std::vector<std::string> &words) const;
    [[nodiscard]] Answer run(const std::vector<std::string> &words) const;

    std::filesystem::path program_;
    std::filesystem::path folder_;
    std::filesystem::path log_;
    const Interrupt &interrupt_;
};

} // namespace desk

#endif
