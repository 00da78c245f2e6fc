// SPDX-License-Identifier: MIT
// Where the parts of the build lie.
#ifndef DESK_LAYOUT_H
#define DESK_LAYOUT_H

#include "desk/options.h"

#include <filesystem>

namespace desk {

struct Layout {
    // Throws a Failure that names the first part that is missing.
    explicit Layout(const Options &options);

    std::filesystem::path build;
    std::filesystem::path daemon;
    std::filesystem::path control;
    std::filesystem::path host;
    std::filesystem::path power; // cuts it at a call
    std::filesystem::path imageTool;
    std::filesystem::path library;
};

} // namespace desk

#endif
