// SPDX-License-Identifier: MIT
// What a boot loader does: boots the chosen bank, counts the attempts of one on trial, falls back.
#ifndef NODE_BOOT_H
#define NODE_BOOT_H

#include "node/boot_state.h"

#include <array>
#include <string>
#include <vector>

namespace node {

struct BootWay {
    BootPlace state;
    std::array<std::string, 2> bankPaths; // bank a's and bank b's
    std::string commandLine;              // "ota.bank=<a|b>" goes there for the kernel; empty: not
};

struct Booted {
    BootState state; // its active bank is the one that booted
    // A line for each attempt and bank that did not come up and for each damage that was met.
    std::vector<std::string> passedOver;
};

/*
 * Power on: tries the banks of the boot order until one comes up, and stores what changed by that.
 * A bank comes up where its bytes are those of its record. One on trial has its attempts: each is
 * taken off before it is made, and each that fails is a reset. One that is not on trial is not
 * counted, and where it comes up as recorded nothing is written. Wrong bytes in a bank that is not
 * on trial take its record away; what became of a trial is for the node to settle.
 * Where the state cannot be stored, a bank on trial is passed over, and another bank than the
 * recorded one boots only with a commandLine to say so: else the recorded one does.
 */
base::Result<Booted> bootNode(const BootWay &way);

} // namespace node

#endif
