// SPDX-License-Identifier: MIT
#include "service/jobs/address_watch.h"

#include <utility>

namespace service {
namespace {

constexpr std::int64_t kLookAgainMs = 1000;

} // namespace

bool AddressWatch::mustWait(const Request &request) {
    context_.deps.board.lookAtAddress();
    if (!namesTheNode(request) || !context_.status().mac.empty()) {
        lookAgain_.cancel();
        return false;
    }
    lookAgain_.setInMs(kLookAgainMs);
    if (std::exchange(toldOf_, request.ticket) != request.ticket) {
        HistoryLine line = JobEvents::lineOf("request-waits", request);
        line.outcome = base::Outcome::waiting;
        line.reasonCode = base::Reason::noAddress;
        line.reason = "it names the node by its address, and the bridge br0 has none";
        line.next = base::rowOf(line.reasonCode).remedy;
        context_.events.record(line);
    }
    return true;
}

} // namespace service
