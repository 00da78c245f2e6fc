// SPDX-License-Identifier: MIT
// What all nodes of a demonstration share.
#ifndef DESK_SCENE_H
#define DESK_SCENE_H

#include "desk/file_server.h"
#include "desk/image.h"
#include "desk/layout.h"
#include "desk/node_folder.h"
#include "desk/roads.h"

#include <filesystem>
#include <string>

namespace desk {

struct Scene {
    const Options &options;
    const Road &road;
    const Layout &layout;
    const FileServer &server;
    const Image &image;
    const Interrupt &interrupt;
    bool fast;    // waits pass at once
    bool hasRoot; // the nodes know the root's broker
};

// One of the nodes.
struct Traveller {
    std::string name; // of its folder and log
    NodeIdentity identity;
    std::string mode;
    std::string role;
    bool takesRoad; // false: it only listens, as the root
    NodeFolder folder;
    std::filesystem::path log;

    [[nodiscard]] bool gateway() const { return countsAsGateway(mode, role); }
};

} // namespace desk

#endif
