// SPDX-License-Identifier: MIT
// Byte counts as people read them.
#include "desk/sizes.h"

#include <array>
#include <cstdio>

namespace desk {

std::string readableSize(std::uint64_t bytes) {
    if (bytes < kKiB) {
        return std::to_string(bytes) + " bytes";
    }
    const bool large = bytes >= kMiB;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s",
                  static_cast<double>(bytes) / static_cast<double>(large ? kMiB : kKiB),
                  large ? "MiB" : "KiB");
    return text.data();
}

} // namespace desk
