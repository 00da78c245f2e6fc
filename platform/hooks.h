// SPDX-License-Identifier: MIT
// What the process around the node library follows of the agent's calls, and what it is asked. Each
// function is called on the agent's thread. One at a time; null, as at the beginning: none.
#ifndef PLATFORM_HOOKS_H
#define PLATFORM_HOOKS_H

#include "base/result.h"

#include <string>
#include <string_view>

enum class NalStage {
    writing,    // an image is about to be written to the passive bank
    emptied,    // the passive bank is marked as not whole: its first byte is about to change
    activating, // the passive bank is about to be chosen
    activated   // the choice is stored: the agent reboots now
};

/* Called before the node does it, with the agent's call waiting. */
void nalOnStage(void (*told)(NalStage));

/* Called behind each write or activation that failed, with why. */
void nalOnReason(void (*told)(const base::Error &error));

/*
 * The agent names an image by the first 14 characters of the offered version, and passes no more to
 * the platform: whoever knows the whole version says it here. Called while an image is to be
 * written; its text is read at once.
 */
void nalAskOffered(const char *(*ask)());

/*
 * Called after each notice and error with the function that wrote it and its formatted text, prefix
 * and line end included; `text` is valid during the call only. Must log nothing itself.
 */
void nalOnLog(void (*told)(const char *function, int line, std::string_view text));

namespace platform {

/* The node library's side of them. */
void tellStage(NalStage stage);
void tellReason(const base::Error &error);
/* Empty where nobody knows. */
std::string offeredVersion();

} // namespace platform

#endif
