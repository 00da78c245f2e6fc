// SPDX-License-Identifier: MIT
#include "service/jobs/reboot_watch.h"

#include "service/state/explain.h"

namespace service {

void RebootWatch::await() {
    context_.deps.board.setReboot(StatusBoard::Reboot::due);
    overdue_.setInMs(context_.deps.rebootPatience.count());
}

void RebootWatch::isOverdue() {
    const std::optional<Running> &running = context_.ledger().running;
    if (!context_.awaitsReboot() && !(running && running->activated)) {
        return; // the call that had activated broke off, and its redoing did not
    }
    context_.deps.board.setReboot(StatusBoard::Reboot::overdue);
    HistoryLine line = context_.events.lineOfNow("reboot-overdue");
    line.outcome = base::Outcome::activated;
    line.reasonCode = base::Reason::rebootNotComing;
    line.reason = "the other bank is activated, and the node has not rebooted for " +
                  std::to_string(context_.deps.rebootPatience / std::chrono::seconds(1)) + " s";
    line.next = kRebootByHand;
    context_.events.record(line);
}

void RebootWatch::forget() {
    context_.ledger().rebootDue = false;
    overdue_.cancel();
    context_.deps.board.setReboot(StatusBoard::Reboot::none);
}

} // namespace service
