// SPDX-License-Identifier: MIT
// Byte counts and spans of time as people read them.
#ifndef CLI_READABLE_H
#define CLI_READABLE_H

#include <cstdint>
#include <string>

namespace cli {

/* "512 B", "18.3 MiB". */
std::string readableBytes(std::uint64_t bytes);
/* The two largest units: "12 s", "3 min 5 s", "1 h 20 min", "3 d 4 h". */
std::string readableSpan(std::uint64_t seconds);

} // namespace cli

#endif
