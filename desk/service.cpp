// SPDX-License-Identifier: MIT
// Power on, power off, and the events in between.
#include "desk/service.h"

#include "base/message.h"
#include "desk/failure.h"
#include "desk/node_log.h"

#include <chrono>
#include <fstream>
#include <poll.h>
#include <thread>

namespace desk {
namespace {

using namespace std::chrono_literals;

constexpr auto kGlance = 5ms;
constexpr auto kOffLimit = 10s;
constexpr auto kEndTakes = 20s;
constexpr auto kWatchLimit = 10s;
constexpr const char *kPowerCut = "exit code 75"; // of the power supply, once it cut the power
constexpr const char *kWell = "exit code 0";

} // namespace

Service::Service(const Layout &layout, const NodeFolder &folder, std::string mac, ServicePlan plan,
                 const Interrupt &interrupt)
    : layout_(layout), folder_(folder), mac_(std::move(mac)), plan_(std::move(plan)),
      interrupt_(interrupt), bus_(folder.path(), folder.path() / "bus.log", interrupt),
      control_(layout.control, folder.path(), folder.path() / "otactl.log", interrupt),
      watch_(control_.watch()) {
    waitForWatch();
}

Service::~Service() {
    watch_.stop();
    daemon_.stop();
}

// From its first line on it misses nothing.
void Service::waitForWatch() {
    const auto deadline = std::chrono::steady_clock::now() + kWatchLimit;
    while (!watch_.next()) {
        if (const auto ending = watch_.ending()) {
            ended("otactl watch", *ending, control_.log());
        }
        interrupt_.check();
        if (std::chrono::steady_clock::now() > deadline) {
            throw Failure("otactl watch does not answer; see " + control_.log().string());
        }
        pollfd waiting{watch_.fd(), POLLIN, 0};
        poll(&waiting, 1, static_cast<int>(kGlance.count()));
    }
}

NodeBoot Service::boot() {
    NodeBoot booted = folder_.boot();
    Launch launch{daemonCommand(), folder_.path(), plan_.log};
    // A proxy of whoever runs the desk would carry the download off this machine.
    launch.environment = {{"OTA_DESK_MAC", mac_},
                          {"OTA_DESK_FAST", plan_.fast ? "1" : "0"},
                          {"OTA_DESK_REBOOT_FILE", NodeFolder::kRebootAsked},
                          {"no_proxy", "*"},
                          {"NO_PROXY", "*"}};
    launch.fileLimit = plan_.fileLimit;
    launch.patience = kEndTakes;
    daemon_ = Child(launch);
    return booted;
}

// Where the power is to go, the daemon and all that it starts run under a power supply that counts.
std::vector<std::string> Service::daemonCommand() {
    std::vector<std::string> words;
    if (plan_.cutAt > changes_ && !powerIsCut_) {
        words = {layout_.power.string(),
                 "--disk",
                 folder_.path().string(),
                 "--cut",
                 std::to_string(plan_.cutAt - changes_),
                 "--mode",
                 "drop",
                 "--count",
                 countFile().string(),
                 "--journal",
                 journalFile().string(),
                 "--"};
    }
    words.insert(words.end(),
                 {layout_.daemon.string(), "--config", "node.conf", "--host", layout_.host.string(),
                  "--library", layout_.library.string(), "--bus", kBusAddress, "--boot-id",
                  "desk-boot-" + std::to_string(++boots_)});
    return words;
}

void Service::countChanges() {
    std::uint64_t counted = 0;
    std::ifstream(countFile()) >> counted;
    changes_ += counted;
    std::filesystem::remove(countFile());
}

bool Service::powerIsCut() {
    if (powerIsCut_ || plan_.cutAt == 0) {
        return false;
    }
    const auto ending = daemon_.ending();
    if (!ending) {
        return false;
    }
    if (*ending != kPowerCut) {
        ended("the node's daemon", *ending, plan_.log);
    }
    powerIsCut_ = true;
    waitUntilOff();
    return true;
}

std::string Service::cutAt() const { return powerIsCut_ ? lastLine(journalFile()) : ""; }

bool Service::shutDown() {
    const auto ending = daemon_.stop();
    waitUntilOff();
    countChanges();
    powerIsCut_ = powerIsCut_ || (ending == kPowerCut && plan_.cutAt != 0);
    if (ending && *ending != kWell && !powerIsCut_) {
        ended("the node's daemon", *ending, plan_.log);
    }
    return ending == kPowerCut;
}

void Service::cutPower() {
    daemon_.kill();
    waitUntilOff();
}

// The host ends with its daemon, a moment later.
void Service::waitUntilOff() {
    const auto deadline = std::chrono::steady_clock::now() + kOffLimit;
    while (!folder_.isOff()) {
        interrupt_.check();
        if (std::chrono::steady_clock::now() > deadline) {
            throw Failure("the node's host process outlives its daemon; see " + plan_.log.string());
        }
        std::this_thread::sleep_for(kGlance);
    }
}

base::Json Service::next() {
    if (const auto line = watch_.next()) {
        base::Json event = base::parsed(*line);
        if (!event) {
            throw Failure("otactl watch printed what is no JSON: " + *line);
        }
        return event;
    }
    if (const auto ending = watch_.ending()) {
        ended("otactl watch", *ending, control_.log());
    }
    if (const auto ending = plan_.cutAt == 0 || powerIsCut_ ? daemon_.ending() : std::nullopt) {
        ended("the node's daemon", *ending, plan_.log);
    }
    return nullptr;
}

void Service::ended(const std::string &who, const std::string &how,
                    const std::filesystem::path &log) const {
    const std::string last = lastLine(log);
    throw Failure(who + " ended with " + how + (last.empty() ? "" : ", having said: " + last) +
                  "; its log is " + log.string());
}

} // namespace desk
