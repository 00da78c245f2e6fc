// SPDX-License-Identifier: MIT
// Who wants to know why the node did not do what the agent asked of it is told.
#include "platform/nal/reason_hook.h"

#include "platform/nal/because.h"

namespace {

void (*follower)(host::Reason reason, const std::string &whatIsWrong) = nullptr;

} // namespace

void nalOnReason(void (*told)(host::Reason reason, const std::string &whatIsWrong)) {
    follower = told;
}

void nal::tellReason(host::Reason otherwise, const std::string &whatIsWrong) {
    if (follower != nullptr) {
        follower(notedReason(otherwise), whatIsWrong);
    }
}
