// SPDX-License-Identifier: MIT
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
