// SPDX-License-Identifier: MIT
// Who wants to know why the node did not do what the agent asked of it is told.
#include "platform/reason_hook.h"

#include "base/because.h"

namespace {

void (*follower)(base::Reason reason, const std::string &whatIsWrong) = nullptr;

} // namespace

void nalOnReason(void (*told)(base::Reason reason, const std::string &whatIsWrong)) {
    follower = told;
}

void base::tellReason(base::Reason otherwise, const std::string &whatIsWrong) {
    if (follower != nullptr) {
        follower(notedReason(otherwise), whatIsWrong);
    }
}
