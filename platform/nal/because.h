// SPDX-License-Identifier: MIT
// The reason of a failure, noted where it is known and taken where the failure is told.
#ifndef PLATFORM_NAL_BECAUSE_H
#define PLATFORM_NAL_BECAUSE_H

#include "host/reason.h"

#include <string>

namespace nal {

/*
 * A failure comes up through many calls as one line of text; its reason is noted beside it, once
 * for each thread. The first note since the last forgetReason stands: what knows more lies deeper.
 */
void because(host::Reason reason);
void forgetReason();
/* Passes on whether it was done; where not, the reason is noted. */
bool orBecause(bool done, host::Reason reason);
/* `otherwise` where nothing was noted. */
host::Reason notedReason(host::Reason otherwise);

/* Tells whoever asked for it with nalOnReason. */
void tellReason(host::Reason otherwise, const std::string &whatIsWrong);

} // namespace nal

#endif
