// SPDX-License-Identifier: MIT
// Which requests the history tells of: the newest ticket, and those whose end it lacks.
#include "host/daemon/keep/tickets_told.h"

#include "host/end.h"

#include <algorithm>

namespace otad {

void TicketsTold::take(const std::string &line) {
    const host::Told told = host::toldIn(line.c_str());
    const std::uint64_t ticket = told.end.ticket;
    if (ticket == 0) {
        return;
    }
    last_ = std::max(last_, ticket);
    if (host::isEnd(told)) {
        open_.erase(ticket);
    } else if (told.event == "accepted" || told.event == "started" || told.event == "taken-up") {
        open_[ticket] = told.version;
    }
}

} // namespace otad
