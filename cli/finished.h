// SPDX-License-Identifier: MIT
// The end of a request, as the service tells it and as its history keeps it.
#ifndef CLI_FINISHED_H
#define CLI_FINISHED_H

#include "host/json.h"

#include <cstdint>
#include <optional>
#include <string>

namespace otactl {

struct Finished {
    std::uint64_t ticket = 0;
    std::uint32_t code = 0; // of the table of outcomes
    std::string result, reason;
};

/* The end that this line of the history tells; nothing where it tells something else. */
std::optional<Finished> endOfLine(const char *line);

/* Adds ticket, code, result and reason. */
void addEnd(cJSON *object, const Finished &end);

} // namespace otactl

#endif
