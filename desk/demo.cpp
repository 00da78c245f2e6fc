// SPDX-License-Identifier: MIT
// From the command line to the exit code.
#include "desk/demo.h"

#include "desk/desk.h"
#include "desk/display.h"
#include "desk/roads.h"

#include <cstdio>
#include <optional>
#include <sys/stat.h>

namespace desk {

int demo(const std::vector<std::string> &arguments) {
    // Whatever this user's is: a node that others may write to does not start.
    umask(S_IWGRP | S_IWOTH);
    Options options;
    const Road *road = nullptr;
    try {
        options = readOptions(arguments);
        if (options.help) {
            std::printf("%s", helpText(combinations()).c_str());
            return kCommitted;
        }
        road = &chooseRoad(options);
    } catch (const OptionError &error) {
        std::fprintf(stderr, "ota-desk: %s\n", error.what());
        return kBadOption;
    }
    Display display;
    std::optional<Desk> desk;
    try {
        desk.emplace(options, *road, display);
        return desk->run();
    } catch (const std::exception &error) {
        display.leaveBars();
        std::fprintf(stderr, "ota-desk: failed: %s%s\n", error.what(),
                     desk && !desk->folder().empty()
                         ? ("; the logs are in " + desk->folder().string()).c_str()
                         : "");
        return kFailed;
    }
}

} // namespace desk
