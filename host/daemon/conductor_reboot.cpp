// SPDX-License-Identifier: MIT
// The reboot behind an activation: what is queued waits for it, and it is told where none comes.
#include "host/daemon/conductor.h"

namespace otad {

bool Conductor::rebootAwaited() const {
    const Ledger &ledger = with_.book.ledger();
    return ledger.rebootDue || (ledger.standing && ledger.standing->activated);
}

// From the activation on: the agent may go on with its call for long behind the reboot that it
// asked for.
void Conductor::awaitReboot() {
    with_.board.setReboot(StatusBoard::Reboot::due);
    rebootOverdue_.setInMs(with_.rebootPatience.count());
}

void Conductor::rebootIsOverdue() {
    const std::optional<Running> &running = ledger().running;
    if (!rebootAwaited() && !(running && running->activated)) {
        return; // the call that had activated broke off, and its redoing did not
    }
    with_.board.setReboot(StatusBoard::Reboot::overdue);
    HistoryLine line = lineOfNow("reboot-overdue");
    line.outcome = host::Outcome::activated;
    line.reasonCode = host::Reason::rebootNotComing;
    line.reason = "the other bank is activated, and the node has not rebooted for " +
                  std::to_string(with_.rebootPatience / std::chrono::seconds(1)) + " s";
    line.next = kRebootByHand;
    with_.chronicle.tell(line);
}

void Conductor::forgetReboot() {
    ledger().rebootDue = false;
    rebootOverdue_.cancel();
    with_.board.setReboot(StatusBoard::Reboot::none);
}

} // namespace otad
