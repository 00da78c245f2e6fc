// SPDX-License-Identifier: MIT
// Sets the desk up for a road, has it taken, and judges the end.
#include "desk/desk.h"

#include "desk/demonstration.h"
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/loopback.h"
#include "desk/node_log.h"
#include "desk/sizes.h"
#include "desk/verdict.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace desk {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::uint64_t kBankSlack = 4 * kMiB;
// Long enough to watch the download.
constexpr std::uint64_t kDownloadSeconds = 4;
// As many local ports as the attempts of one series, or as the nodes at once.
constexpr int kPortsNeeded = 7;
constexpr auto kPortWait = 70s;

constexpr const char *kExtenderMode = "AP_Bridge";
constexpr const char *kExtenderRole = "Agent";
constexpr const char *kGatewayMode = "RGW";
constexpr const char *kGatewayRole = "Controller";

std::string runName(const Options &options, const Road &road) {
    std::string name(road.name);
    name += options.policy == 1 || road.selector.empty()
                ? ""
                : "-policy-" + std::to_string(options.policy);
    name += options.mode == kGatewayMode ? "" : options.gateway() ? "-controller" : "-extender";
    name += options.plainHttp ? "-http" : "";
    return name;
}

// "ext-1, ext-2": all but the first.
std::string listed(const std::vector<Traveller> &travellers) {
    std::string names;
    for (const Traveller &traveller : travellers) {
        names += (names.empty() ? "" : ", ") + traveller.name;
    }
    return names.substr(travellers.front().name.size() + 2);
}

} // namespace

void Desk::tellTitle() const {
    const std::string who = road_.mesh
                                ? "mesh of a gateway and two extenders"
                                : std::string(options_.gateway() ? "gateway" : "mesh extender") +
                                      " (" + options_.mode + ", " + options_.role + ")";
    display_.title(
        "otaSwAgent on a desk: " + who + ", policy " + std::to_string(options_.policy) +
        (road_.selector.empty() || road_.mesh ? "" : ", " + std::string(road_.selector)) +
        (road_.cutsAtACall ? " " + std::to_string(options_.cutPowerAt) : "") +
        (fast_ ? ", waits pass at once" : ""));
}

void Desk::makeRunFolder(const Layout &layout) {
    runFolder_.emplace(options_.runFolder.empty() ? layout.build / "demo" / runName(options_, road_)
                                                  : options_.runFolder);
    folder_ = runFolder_->path();
    display_.step("run folder", folder_.string());
}

// The one of the build folder, unless that lacks images and is of another user.
fs::path Desk::imageFolder(const Layout &layout, const std::string &version) const {
    const fs::path kept = layout.build / "demo" / "images";
    const ImageStore store(kept, layout.imageTool, interrupt_);
    const bool build = store.mustBuild(version) || store.mustBuild(kOldVersion);
    return build && !store.mayBuild() ? folder_ / "images" : kept;
}

void Desk::makeImages(const Layout &layout) {
    const std::string version = road_.otherVersionInside ? kOtherVersion : kNewVersion;
    ImageStore store(imageFolder(layout, version), layout.imageTool, interrupt_);
    const bool build = store.mustBuild(version);
    if (build) {
        display_.step("image", "building a root file system from this machine's programs ...");
    }
    image_ = store.release(version);
    factory_ = store.factory();
    signerAuthority_ = store.authority();
    if (road_.strangeSigner) {
        const Signer strange = makeSigner(folder_ / "strange-signer", interrupt_);
        image_ = signedAgain(image_, folder_ / "strange.img", strange);
        display_.step("image", "signed by one of a CA that the node does not know");
    }
    display_.step("image", version + ", " + readableSize(image_.size) +
                               ", squashfs and signed manifest" +
                               (build ? "" : " (kept from an earlier run)"));
}

// An extender reports to a gateway, which is there to listen at least.
void Desk::nameTravellers() {
    if (road_.mesh) {
        addTraveller("gateway", 1, kGatewayMode, kGatewayRole, true);
        addTraveller("ext-1", 2, kExtenderMode, kExtenderRole, true);
        addTraveller("ext-2", 3, kExtenderMode, kExtenderRole, true);
        return;
    }
    addTraveller("node", 1, options_.mode, options_.role, true);
    if (!options_.gateway()) {
        addTraveller("gateway", 2, kGatewayMode, kGatewayRole, false);
    }
}

void Desk::addTraveller(const std::string &name, int number, const std::string &mode,
                        const std::string &role, bool takesRoad) {
    travellers_.push_back({name, identityOf(number), mode, role, takesRoad,
                           NodeFolder(folder_ / name), folder_ / (name + ".log")});
}

std::uint64_t Desk::bankBytes() const {
    // Too small by little: of an image that is too large by much the node does not even take the
    // rest.
    return road_.smallBanks ? image_.size - std::min(image_.size / 2, kBankSlack)
                            : image_.size + kBankSlack;
}

// Both banks and the download of each node; what else a run writes is small.
void Desk::checkSpace() const {
    requireSpace(folder_, travellers_.size() * (2 * bankBytes() + image_.size) + kBankSlack);
}

void Desk::makeAuthority() {
    authority_ = makeCertificates(folder_ / "certificates", interrupt_);
    display_.step("certificates", "a CA and a server certificate for localhost and 127.0.0.1");
}

FileServer Desk::startServer() {
    FileServerSetup setup{.folder = folder_ / "server", .image = image_.path};
    if (!options_.plainHttp) {
        setup.certificates = authority_;
    }
    if (road_.strangeAuthority) {
        setup.certificates = makeCertificates(folder_ / "strange-certificates", interrupt_);
        display_.step("certificates", "the server takes one of a CA that the node does not know");
    }
    setup.bytesPerSecond = fast_ ? 0 : image_.size / kDownloadSeconds;
    setup.refuses = road_.serverRefuses;
    FileServer server(setup, interrupt_);
    display_.step("server", server.address() + (road_.serverRefuses ? ", answers 503" : ""));
    return server;
}

void Desk::startBroker() {
    broker_.emplace(folder_ / "broker", *authority_, interrupt_);
    display_.step("root", "mqtts://" + broker_->address() +
                              ", where the gateway listens for its extenders");
}

void Desk::makeNode(const Traveller &traveller) const {
    NodePlan plan{.identity = traveller.identity, .mode = traveller.mode, .role = traveller.role};
    plan.bankBytes = bankBytes();
    plan.factory = factory_;
    if (traveller.takesRoad && road_.passiveHoldsImage) {
        plan.passive = image_;
    }
    if (traveller.takesRoad && road_.passiveHoldsOld) {
        plan.passive = factory_;
    }
    plan.signerAuthority = signerAuthority_;
    if (!options_.plainHttp) {
        plan.authority = authority_->authority;
    }
    if (broker_) {
        // As the broker's access list knows them.
        const bool isGateway = traveller.mode == kGatewayMode || traveller.role == kGatewayRole;
        plan.broker =
            RootBroker{broker_->address(), authority_->authority,
                       makeHolder(*authority_, isGateway ? "gateway" : traveller.identity.mac,
                                  traveller.name, interrupt_)};
    }
    if (traveller.takesRoad) {
        plan.config = options_.nodeConfig;
        plan.unhealthy = road_.unhealthy;
    }
    traveller.folder.make(plan);
    display_.step(traveller.name, std::string(kModel) + " " + traveller.identity.serial + ", br0 " +
                                      traveller.identity.mac + ", two banks of " +
                                      readableSize(plan.bankBytes) +
                                      (road_.passiveHoldsOld ? ", the old version is in both"
                                       : plan.passive        ? ", the image is already in bank B"
                                                             : ""));
}

// The bus is there for as long as the road is taken.
void Desk::tellHowToLook(const Layout &layout) const {
    const NodeFolder &node = travellers_.front().folder;
    display_.step("look in", "from another terminal, while this runs:");
    for (const char *verb : {"status", "watch"}) {
        std::vector<std::string> words = controlWords(layout.control, node.path());
        words.emplace_back(verb);
        display_.command(words);
    }
    if (travellers_.size() > 1) {
        display_.more("and likewise for " + listed(travellers_));
    }
}

void Desk::waitForLocalPorts() {
    const auto deadline = std::chrono::steady_clock::now() + kPortWait;
    bool told = false;
    while (freeAgentPorts() < kPortsNeeded) {
        interrupt_.check();
        if (std::chrono::steady_clock::now() > deadline) {
            throw Failure("the agent's local ports " + std::to_string(kAgentFirstPort) + " to " +
                          std::to_string(kAgentLastPort) +
                          " are taken: end the programs that use them and try again");
        }
        if (!told) {
            told = true;
            display_.step("ports", "waiting for the agent's local ports to become free ...");
        }
        std::this_thread::sleep_for(100ms);
    }
}

void Desk::takeRoad(const Scene &scene) {
    const std::vector<Witness> witnesses = Demonstration(scene, travellers_, display_).run();
    for (std::size_t i = 0; i < travellers_.size(); ++i) {
        if (travellers_[i].takesRoad) {
            judge(travellers_[i], witnesses[i]);
        }
    }
}

void Desk::judge(const Traveller &traveller, const Witness &witness) const {
    try {
        checkEnding(road_, traveller, witness, {factory_, image_});
    } catch (const Failure &failure) {
        const std::string last = lastErrorLine(traveller.log);
        throw Failure((road_.mesh ? traveller.name + ": " : "") + failure.what() +
                      (last.empty() ? "" : "; the node's last error line: " + last));
    }
}

ExitCode Desk::run() {
    tellTitle();
    const Layout layout(options_);
    makeRunFolder(layout);
    nameTravellers();
    if (!options_.plainHttp || hasRoot()) {
        makeAuthority();
    }
    makeImages(layout);
    checkSpace();
    const FileServer server = startServer();
    if (hasRoot()) {
        startBroker();
    }
    for (const Traveller &traveller : travellers_) {
        makeNode(traveller);
    }
    tellHowToLook(layout);
    waitForLocalPorts();
    takeRoad(Scene{options_, road_, layout, server, image_, interrupt_, fast_, hasRoot()});
    if (road_.end != End::notWhole) {
        display_.step("compared", std::string(road_.mesh ? "bank B of each node" : "bank B") +
                                      (road_.end == End::untouched ? " still holds the old version"
                                                                   : " holds the image") +
                                      ", byte for byte");
    }
    display_.verdict(true, "As expected: " + std::string(road_.ending) + ".");
    return road_.end == End::committed ? kCommitted : kEndedOtherwise;
}

} // namespace desk
