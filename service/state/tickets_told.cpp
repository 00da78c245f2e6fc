// SPDX-License-Identifier: MIT
#include "service/state/tickets_told.h"

#include "base/end.h"

#include <algorithm>

namespace service {

void TicketsTold::take(const std::string &line) {
    const base::Told told = base::toldIn(line.c_str());
    const std::uint64_t ticket = told.end.ticket;
    if (ticket == 0) {
        return;
    }
    last_ = std::max(last_, ticket);
    if (base::isEnd(told)) {
        open_.erase(ticket);
    } else if (told.event == "accepted" || told.event == "started" || told.event == "taken-up") {
        open_[ticket] = told.version;
    }
}

} // namespace service
