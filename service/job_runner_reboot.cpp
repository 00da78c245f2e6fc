// SPDX-License-Identifier: MIT
// The reboot behind an activation: what is queued waits for it, and it is told where none comes.
#include "service/job_runner.h"

namespace service {

bool JobRunner::rebootAwaited() const {
    const Ledger &ledger = deps_.book.ledger();
    return ledger.rebootDue || (ledger.standing && ledger.standing->activated);
}

// From the activation on: the agent may go on with its call for long behind the reboot that it
// asked for.
void JobRunner::awaitReboot() {
    deps_.board.setReboot(StatusBoard::Reboot::due);
    rebootOverdue_.setInMs(deps_.rebootPatience.count());
}

void JobRunner::rebootIsOverdue() {
    const std::optional<Running> &running = ledger().running;
    if (!rebootAwaited() && !(running && running->activated)) {
        return; // the call that had activated broke off, and its redoing did not
    }
    deps_.board.setReboot(StatusBoard::Reboot::overdue);
    HistoryLine line = lineOfNow("reboot-overdue");
    line.outcome = base::Outcome::activated;
    line.reasonCode = base::Reason::rebootNotComing;
    line.reason = "the other bank is activated, and the node has not rebooted for " +
                  std::to_string(deps_.rebootPatience / std::chrono::seconds(1)) + " s";
    line.next = kRebootByHand;
    deps_.eventLog.record(line);
}

void JobRunner::forgetReboot() {
    ledger().rebootDue = false;
    rebootOverdue_.cancel();
    deps_.board.setReboot(StatusBoard::Reboot::none);
}

} // namespace service
