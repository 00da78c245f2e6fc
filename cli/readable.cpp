// SPDX-License-Identifier: MIT
#include "cli/readable.h"

#include <array>
#include <cstdio>

namespace cli {

std::string readableBytes(std::uint64_t bytes) {
    constexpr std::uint64_t kStep = 1024;
    if (bytes < kStep) {
        return std::to_string(bytes) + " B";
    }
    constexpr std::array<const char *, 3> kUnits = {"KiB", "MiB", "GiB"};
    auto amount = static_cast<double>(bytes) / kStep;
    std::size_t unit = 0;
    while (amount >= kStep && unit + 1 < kUnits.size()) {
        amount /= kStep;
        ++unit;
    }
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", amount, kUnits.at(unit));
    return text.data();
}

std::string readableSpan(std::uint64_t seconds) {
    struct Unit {
        std::uint64_t seconds;
        const char *name;
    };
    constexpr std::array<Unit, 4> kUnits = {{{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}}};
    for (std::size_t i = 0; i + 1 < kUnits.size(); ++i) {
        const Unit &large = kUnits.at(i);
        if (seconds < large.seconds) {
            continue;
        }
        const Unit &small = kUnits.at(i + 1);
        const std::uint64_t rest = seconds % large.seconds / small.seconds;
        const std::string text = std::to_string(seconds / large.seconds) + large.name;
        return rest == 0 ? text : text + " " + std::to_string(rest) + small.name;
    }
    return std::to_string(seconds) + " s";
}

} // namespace cli
