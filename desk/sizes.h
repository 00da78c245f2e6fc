// SPDX-License-Identifier: MIT
// Byte counts as people read them.
#ifndef DESK_SIZES_H
#define DESK_SIZES_H

#include <cstdint>
#include <string>

namespace desk {

constexpr std::uint64_t kKiB = 1024;
constexpr std::uint64_t kMiB = 1024 * kKiB;

// "18.3 MiB", "512 bytes"
std::string readableSize(std::uint64_t bytes);

} // namespace desk

#endif
