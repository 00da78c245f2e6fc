// SPDX-License-Identifier: MIT
// Everything that a road needs around its nodes: run folder, certificates, images, servers.
#ifndef DESK_DESK_H
#define DESK_DESK_H

#include "desk/broker.h"
#include "desk/certificates.h"
#include "desk/demo.h"
#include "desk/display.h"
#include "desk/file_server.h"
#include "desk/image.h"
#include "desk/layout.h"
#include "desk/roads.h"
#include "desk/run_folder.h"
#include "desk/scene.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace desk {

class Desk {
  public:
    Desk(const Options &options, const Road &road, Display &display)
        : options_(options), road_(road), fast_(options.fast || road.alwaysFast),
          display_(display) {}

    // Sets everything up, has the road taken, and judges the end; throws a Failure where that is
    // not as it should be.
    ExitCode run();
    // Where the logs are; empty before there is a run folder.
    [[nodiscard]] const std::filesystem::path &folder() const { return folder_; }

  private:
    void tellTitle() const;
    void makeRunFolder(const Layout &layout);
    [[nodiscard]] std::filesystem::path imageFolder(const Layout &layout,
                                                    const std::string &version) const;
    void makeImages(const Layout &layout);
    void nameTravellers();
    void addTraveller(const std::string &name, int number, const std::string &mode,
                      const std::string &role, bool takesRoad);
    [[nodiscard]] bool hasRoot() const { return travellers_.size() > 1; }
    [[nodiscard]] std::uint64_t bankBytes() const;
    void checkSpace() const;
    void makeAuthority();
    FileServer startServer();
    void startBroker();
    void makeNode(const Traveller &traveller) const;
    void tellHowToLook(const Layout &layout) const;
    void waitForLocalPorts();
    void takeRoad(const Scene &scene);
    void judge(const Traveller &traveller, const struct Witness &witness) const;

    const Options &options_;
    const Road &road_;
    bool fast_;
    Display &display_;
    Interrupt interrupt_;
    std::optional<RunFolder> runFolder_;
    std::filesystem::path folder_; // empty before there is one
    std::vector<Traveller> travellers_;
    Image factory_;
    Image image_;
    std::filesystem::path signerAuthority_; // of who signs images that a node takes
    std::optional<Certificates> authority_; // of the image server and of the root
    std::optional<Broker> broker_;
};

} // namespace desk

#endif
