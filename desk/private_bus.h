// SPDX-License-Identifier: MIT
// A message bus of a node's own: a dbus-daemon that only the owner of the run may use.
#ifndef DESK_PRIVATE_BUS_H
#define DESK_PRIVATE_BUS_H

#include "desk/line_stream.h"

#include <filesystem>

namespace desk {

// The address of the bus for who works in its folder. A socket's path has room for 107 characters,
// and a run folder may be deeper than that.
inline constexpr const char *kBusAddress = "unix:path=bus";

class PrivateBus {
  public:
    // Runs in the folder, with its socket there, and writes to the log. Throws a Failure where it
    // does not come up.
    PrivateBus(const std::filesystem::path &folder, const std::filesystem::path &log,
               const Interrupt &interrupt);

  private:
    LineStream process_;
};

} // namespace desk

#endif
