// SPDX-License-Identifier: MIT
// The reason of a failure, noted where it is known and taken where the failure is told.
#include "platform/nal/because.h"

namespace nal {
namespace {

thread_local host::Reason noted = host::Reason::none;

} // namespace

void because(host::Reason reason) {
    if (noted == host::Reason::none) {
        noted = reason;
    }
}

bool orBecause(bool done, host::Reason reason) {
    if (!done) {
        because(reason);
    }
    return done;
}

void forgetReason() { noted = host::Reason::none; }

host::Reason notedReason(host::Reason otherwise) {
    return noted == host::Reason::none ? otherwise : noted;
}

} // namespace nal
