// SPDX-License-Identifier: MIT
// Which version was offered, for who must compare it with the image that came.
#ifndef PLATFORM_OFFER_HOOK_H
#define PLATFORM_OFFER_HOOK_H

/*
 * The agent names an image by the first 14 characters of the offered version, and passes no more to
 * the platform: whoever knows the whole version says it here. The function is called on the agent's
 * thread while an image is to be written; its text is read at once. Null, as at the beginning:
 * nobody knows.
 */
void nalAskOffered(const char *(*ask)());

#endif
