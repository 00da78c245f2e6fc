// SPDX-License-Identifier: MIT
// The way in for the host: gives the node library its configuration, and asks for the size of the
// banks.
#ifndef PLATFORM_OPEN_H
#define PLATFORM_OPEN_H

#include "base/result.h"

#include <cstdint>

/*
 * Reads the configuration file (see node.conf.example) and checks the directories, the banks and
 * the boot state it names, and keeps the node to this process: it holds a lock on a file beside the
 * boot state. A damaged copy of the boot state is written anew from the other one, and said. Call
 * it once, before any call of platform/nal.h. After an error
 * the node cannot run.
 */
base::Result<void> nalOpen(const char *configPath);

/* Bytes of the larger bank, of which an image is none larger; 0: neither of them tells. */
std::uint64_t nalBankCapacity();

#endif
