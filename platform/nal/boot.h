// SPDX-License-Identifier: MIT
// What a boot loader does: boots the chosen bank if its bytes are good, else the other one.
#ifndef PLATFORM_NAL_BOOT_H
#define PLATFORM_NAL_BOOT_H

#include "platform/nal/boot_state.h"

#include <array>
#include <string>

namespace nal {

/*
 * Compares the chosen bank with its recorded size and SHA-256 sum, and makes it the running one.
 * A bank of other bytes is recorded as not whole; then, or where it cannot be read, the other bank
 * is tried the same way. bankPaths are bank a's and bank b's, statePath the boot state's.
 * True: `state` is what was stored, state.active the bank that booted, and passedOver empty or one
 * line that says why it is not the chosen one. False: whatIsWrong is one line.
 */
bool bootNode(const std::string &statePath, const std::array<std::string, 2> &bankPaths,
              BootState &state, std::string &passedOver, std::string &whatIsWrong);

} // namespace nal

#endif
