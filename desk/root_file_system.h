// SPDX-License-Identifier: MIT
// A small root file system out of programs of this machine, packed as a squashfs.
#ifndef DESK_ROOT_FILE_SYSTEM_H
#define DESK_ROOT_FILE_SYSTEM_H

#include "desk/interrupt.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace desk {

// Packs at least `leastBytes` of squashfs; 0: busybox alone. Programs go in with the shared
// libraries that they need, under the paths they have here. Works in `folder`, which is emptied.
void makeRootFileSystem(const std::filesystem::path &folder, const std::filesystem::path &squashfs,
                        std::uint64_t leastBytes, const Interrupt &interrupt);

} // namespace desk

#endif
