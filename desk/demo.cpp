// SPDX-License-Identifier: MIT
// Sets the desk up for a road, has it taken, and judges the end.
#include "desk/demo.h"

#include "desk/demonstration.h"
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/loopback.h"
#include "desk/run_folder.h"
#include "desk/sizes.h"
#include "desk/verdict.h"

#include <algorithm>
#include <cstdio>
#include <thread>

namespace desk {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::uint64_t kBankSlack = 4 * kMiB;
constexpr std::uint64_t kSmallBank = 8 * kMiB;
// Long enough to watch the download.
constexpr std::uint64_t kDownloadSeconds = 3;
// As many local ports as the attempts of one series.
constexpr int kPortsNeeded = 7;
constexpr auto kPortWait = 70s;

// Where the parts of the build lie.
struct Layout {
    explicit Layout(const Options &options)
        : build(options.buildFolder.empty()
                    ? fs::read_symlink("/proc/self/exe").parent_path().parent_path()
                    : absolutePath(options.buildFolder)),
          host(build / "desk/ota-desk-host"), imageTool(build / "platform/ota-image"),
          library(options.library.empty() ? build / "src/libotaSwAgent.so"
                                          : absolutePath(options.library)) {}
    fs::path build;
    fs::path host;
    fs::path imageTool;
    fs::path library;
};

void checkBuilt(const Layout &layout) {
    for (const fs::path &part : {layout.host, layout.imageTool}) {
        if (!fs::exists(part)) {
            throw Failure(part.string() + " is missing: build the project first, or name its "
                                          "build folder with --build-dir");
        }
    }
}

std::string runName(const Options &options, const Road &road) {
    std::string name(road.name);
    name += options.policy == 1 || road.selector.empty()
                ? ""
                : "-policy-" + std::to_string(options.policy);
    name += options.mode == "RGW" ? "" : options.gateway() ? "-controller" : "-extender";
    name += options.plainHttp ? "-http" : "";
    return name;
}

class Desk {
  public:
    Desk(const Options &options, const Road &road, Display &display)
        : options_(options), road_(road), fast_(options.fast || road.alwaysFast), layout_(options),
          display_(display) {}

    ExitCode run();
    // Where the logs are; empty before there is a run folder.
    [[nodiscard]] const fs::path &folder() const { return folder_; }

  private:
    void tellTitle();
    void makeRunFolder();
    [[nodiscard]] fs::path imageFolder(const std::string &version) const;
    void makeImages();
    [[nodiscard]] std::uint64_t bankBytes() const;
    void checkSpace() const;
    Certificates authority();
    FileServer startServer(const std::optional<Certificates> &trusted);
    [[nodiscard]] NodeFolder makeNode(const std::optional<Certificates> &trusted);
    void waitForLocalPorts();
    void takeRoad(const NodeFolder &node, const FileServer &server, const HostProgram &host);

    const Options &options_;
    const Road &road_;
    bool fast_;
    Layout layout_;
    Display &display_;
    Interrupt interrupt_;
    std::optional<RunFolder> runFolder_;
    fs::path folder_; // empty before there is one
    Image factory_;
    Image image_;
};

void Desk::tellTitle() {
    display_.title(std::string("otaSwAgent on a desk: ") +
                   (options_.gateway() ? "gateway" : "mesh extender") + " (" + options_.mode +
                   ", " + options_.role + "), policy " + std::to_string(options_.policy) +
                   (road_.selector.empty() ? "" : ", " + std::string(road_.selector)) +
                   (fast_ ? ", waits pass at once" : ""));
}

void Desk::makeRunFolder() {
    runFolder_.emplace(options_.runFolder.empty()
                           ? layout_.build / "demo" / runName(options_, road_)
                           : options_.runFolder);
    folder_ = runFolder_->path();
    display_.step("run folder", folder_.string());
}

// The one of the build folder, unless that lacks images and is of another user.
fs::path Desk::imageFolder(const std::string &version) const {
    const fs::path kept = layout_.build / "demo" / "images";
    const ImageStore store(kept, layout_.imageTool, interrupt_);
    const bool build = store.mustBuild(version) || store.mustBuild(kOldVersion);
    return build && !store.mayBuild() ? folder_ / "images" : kept;
}

void Desk::makeImages() {
    const std::string version = road_.otherVersionInside ? kOtherVersion : kNewVersion;
    ImageStore store(imageFolder(version), layout_.imageTool, interrupt_);
    const bool build = store.mustBuild(version);
    if (build) {
        display_.step("image", "building a root file system from this machine's programs ...");
    }
    image_ = store.release(version);
    factory_ = store.factory();
    display_.step("image", version + ", " + readableSize(image_.size) + ", squashfs and manifest" +
                               (build ? "" : " (kept from an earlier run)"));
}

std::uint64_t Desk::bankBytes() const {
    return road_.smallBanks ? kSmallBank : image_.size + kBankSlack;
}

// Both banks and the download; what else a run writes is small.
void Desk::checkSpace() const { requireSpace(folder_, 2 * bankBytes() + image_.size + kBankSlack); }

Certificates Desk::authority() {
    Certificates certificates = makeCertificates(folder_ / "certificates", interrupt_);
    display_.step("certificates", "a CA and a server certificate for localhost and 127.0.0.1");
    return certificates;
}

FileServer Desk::startServer(const std::optional<Certificates> &trusted) {
    FileServerSetup setup{.folder = folder_ / "server", .image = image_.path};
    setup.certificates = trusted;
    if (trusted && road_.strangeAuthority) {
        setup.certificates = makeCertificates(folder_ / "strange-certificates", interrupt_);
        display_.step("certificates", "the server takes one of a CA that the node does not know");
    }
    setup.bytesPerSecond = fast_ ? 0 : image_.size / kDownloadSeconds;
    setup.refuses = road_.serverRefuses;
    FileServer server(setup, interrupt_);
    display_.step("server", server.address() + (road_.serverRefuses ? ", answers 503" : ""));
    return server;
}

NodeFolder Desk::makeNode(const std::optional<Certificates> &trusted) {
    NodeFolder node(folder_ / "node");
    NodePlan plan{.mode = options_.mode, .role = options_.role};
    plan.bankBytes = bankBytes();
    plan.factory = factory_;
    if (road_.passiveHoldsImage) {
        plan.passive = image_;
    }
    plan.authority = trusted ? trusted->authority : fs::path{};
    plan.config = options_.nodeConfig;
    node.make(plan);
    display_.step("node", std::string(kModel) + " " + kSerial + ", br0 " + kMac +
                              ", two banks of " + readableSize(plan.bankBytes) +
                              (plan.passive ? ", the image is already in bank B" : ""));
    return node;
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

void Desk::takeRoad(const NodeFolder &node, const FileServer &server, const HostProgram &host) {
    const Witness witness =
        Demonstration(options_, road_, node, server, image_, host, display_, interrupt_).run();
    try {
        checkEnding(options_, road_, witness, node, image_);
    } catch (const Failure &failure) {
        const std::string last = lastErrorLine(host.log);
        throw Failure(failure.what() +
                      (last.empty() ? "" : "; the node's last error line: " + last));
    }
}

ExitCode Desk::run() {
    tellTitle();
    checkBuilt(layout_);
    makeRunFolder();
    const std::optional<Certificates> trusted =
        options_.plainHttp ? std::nullopt : std::optional(authority());
    makeImages();
    checkSpace();
    const FileServer server = startServer(trusted);
    const NodeFolder node = makeNode(trusted);
    waitForLocalPorts();
    const HostProgram host{.program = layout_.host,
                           .library = layout_.library,
                           .log = folder_ / "host.log",
                           .fast = fast_,
                           .fileLimit = road_.hostFileLimit};
    takeRoad(node, server, host);
    if (road_.end != End::notWhole) {
        display_.step("compared", "bank B holds the image, byte for byte");
    }
    display_.verdict(true, "As expected: " + std::string(road_.ending) + ".");
    return road_.end == End::committed ? kCommitted : kEndedOtherwise;
}

} // namespace

int demo(const std::vector<std::string> &arguments) {
    Options options;
    const Road *road = nullptr;
    try {
        options = readOptions(arguments);
        if (options.help) {
            std::printf("%s", helpText().c_str());
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
        display.leaveBar();
        std::fprintf(stderr, "ota-desk: failed: %s%s\n", error.what(),
                     desk && !desk->folder().empty()
                         ? ("; the logs are in " + desk->folder().string()).c_str()
                         : "");
        return kFailed;
    }
}

} // namespace desk
