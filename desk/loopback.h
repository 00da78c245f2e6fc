// SPDX-License-Identifier: MIT
// Ports on the loopback interface.
#ifndef DESK_LOOPBACK_H
#define DESK_LOOPBACK_H

#include <cstdint>

namespace desk {

// The local ports that the agent's downloads come from.
constexpr std::uint16_t kAgentFirstPort = 47791;
constexpr std::uint16_t kAgentLastPort = 47806;

// A port that nobody listens on, outside the agent's own; throws a Failure where there is none.
std::uint16_t freePort();
// True where somebody listens on the port.
bool listens(std::uint16_t port);
// How many of the agent's local ports could be taken now; a closed connection holds one a while.
int freeAgentPorts();

} // namespace desk

#endif
