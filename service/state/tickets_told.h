// SPDX-License-Identifier: MIT
// Which requests the history tells of: the newest ticket, and those whose end it lacks.
#ifndef SERVICE_STATE_TICKETS_TOLD_H
#define SERVICE_STATE_TICKETS_TOLD_H

#include <cstdint>
#include <map>
#include <string>

namespace service {

class TicketsTold {
  public:
    /* A line of the history, behind those before it. */
    void take(const std::string &line);

    /* 0: none. */
    std::uint64_t last() const { return last_; }
    /* Ticket and version of what was taken over and has no end. */
    const std::map<std::uint64_t, std::string> &open() const { return open_; }

  private:
    std::uint64_t last_ = 0;
    std::map<std::uint64_t, std::string> open_;
};

} // namespace service

#endif
