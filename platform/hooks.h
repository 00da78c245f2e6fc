// SPDX-License-Identifier: MIT
// What the process around the node library follows of the agent's calls, and what it is asked. Each
// function is called on the agent's thread. One at a time; null, as at the beginning: none.
#ifndef PLATFORM_HOOKS_H
#define PLATFORM_HOOKS_H

#include "base/result.h"

#include <string>

/* Called when the passive bank is marked as not whole: its first byte is about to change. */
void nalOnEmptied(void (*told)());

/* Called behind each write or activation that failed, with why. */
void nalOnReason(void (*told)(const base::Error &error));

/*
 * The agent names an image by the first 14 characters of the offered version, and passes no more to
 * the platform: whoever knows the whole version says it here. Called while an image is to be
 * written; its text is read at once.
 */
void nalAskOffered(const char *(*ask)());

namespace platform {

/* The node library's side of them. */
void tellEmptied();
void tellReason(const base::Error &error);
/* Empty where nobody knows. */
std::string offeredVersion();

} // namespace platform

#endif
