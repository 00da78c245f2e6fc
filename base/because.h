// SPDX-License-Identifier: MIT
// The reason of a failure, noted where it is known and taken where the failure is told.
#ifndef BASE_BECAUSE_H
#define BASE_BECAUSE_H

#include "base/result.h"

#include <string>

namespace base {

/*
 * A failure comes up through many calls as one line of text; its reason is noted beside it, once
 * for each thread. The first note since the last forgetReason stands: what knows more lies deeper.
 */
void because(base::Reason reason);
void forgetReason();
/* Passes on whether it was done; where not, the reason is noted. */
bool orBecause(bool done, base::Reason reason);
/* `otherwise` where nothing was noted. */
base::Reason notedReason(base::Reason otherwise);

/* Notes the error's reason and hands its line on. False. */
bool passOn(const Error &error, std::string &whatIsWrong);

/* Tells whoever asked for it with nalOnReason. */
void tellReason(base::Reason otherwise, const std::string &whatIsWrong);

} // namespace base

#endif
