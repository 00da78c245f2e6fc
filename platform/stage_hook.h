// SPDX-License-Identifier: MIT
// Who wants to know what the node does with its banks is told before it does it.
#ifndef PLATFORM_STAGE_HOOK_H
#define PLATFORM_STAGE_HOOK_H

enum class NalStage {
    writing,    // an image is about to be written to the passive bank
    emptied,    // the passive bank is marked as not whole: its first byte is about to change
    activating, // the passive bank is about to be chosen
    activated   // the choice is stored: the agent reboots now
};

/*
 * The function is called on the agent's thread, with the agent's call waiting. One at a time; null,
 * as at the beginning: none.
 */
void nalOnStage(void (*told)(NalStage));

#endif
