// SPDX-License-Identifier: MIT
#include "base/because.h"

namespace base {
namespace {

thread_local base::Reason noted = base::Reason::none;

} // namespace

void because(base::Reason reason) {
    if (noted == base::Reason::none) {
        noted = reason;
    }
}

bool orBecause(bool done, base::Reason reason) {
    if (!done) {
        because(reason);
    }
    return done;
}

void forgetReason() { noted = base::Reason::none; }

bool passOn(const Error &error, std::string &whatIsWrong) {
    if (error.reason != Reason::none) {
        because(error.reason);
    }
    whatIsWrong = error.text;
    return false;
}

base::Reason notedReason(base::Reason otherwise) {
    return noted == base::Reason::none ? otherwise : noted;
}

} // namespace base
