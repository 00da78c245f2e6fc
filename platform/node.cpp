// SPDX-License-Identifier: MIT
#include "platform/node.h"

#include "node/bank_device.h"
#include "node/config/settings_overlay.h"
#include "node/config_check.h"
#include "platform/nal.h"
#include "platform/open.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>

namespace platform {
namespace {

constexpr std::chrono::seconds kLockPatience{2}; // for one that was just ended

// Two processes that write one boot state and one bank would each undo the other's work.
base::Result<void> lockNode(const std::string &path, base::LockFile &lock) {
    const auto taken = lock.take(path, kLockPatience);
    if (taken) {
        return {};
    }
    if (lock.obstacle() == base::LockFile::Obstacle::holder) {
        return base::Error{path + ": another process runs this node; stop that one first",
                           base::Reason::nodeInUse};
    }
    return taken.error()
        .within("", "; the node must be able to write beside its boot state")
        .orBecause(base::Reason::bootStateNotWritten);
}

// Says what is new about a file that is read again and again.
void reportOnce(const std::string &whatIsWrong, const char *whatHolds, std::string &reported) {
    if (whatIsWrong != reported && !whatIsWrong.empty()) {
        nalLogError(__func__, __LINE__, "nal: %s; %s", whatIsWrong.c_str(), whatHolds);
    }
    reported = whatIsWrong;
}

void takeRunTimeSettings(const node::Config &from, node::Config &to) {
    to.workMode = from.workMode;
    to.workRole = from.workRole;
    to.onboarding = from.onboarding;
    to.preferredActivationTime = from.preferredActivationTime;
}

} // namespace

base::Result<void> Node::open(const std::string &configPath) {
    const auto config = node::checkConfigFile(configPath, node::ConfigReader::platform);
    if (!config) {
        return config.error();
    }
    const auto text = node::readConfigText(configPath);
    if (!text) {
        return text.error();
    }
    if (const auto state = node::readBootState(config->bootState); !state) {
        return state.error().orBecause(base::Reason::bootStateUnreadable);
    }
    lock_.release(); // where the node is opened anew, in the same process
    if (auto locked = lockNode(config->lockPath(), lock_); !locked) {
        return locked;
    }
    configPath_ = configPath;
    configText_ = *text;
    base_ = *config;
    config_ = *config;
    mendBootState();
    return {};
}

// Under the lock: a copy that another process is writing looks damaged for a moment.
void Node::mendBootState() const {
    node::BootFindings findings;
    const auto state = node::readBootState(config_.bootState, &findings);
    if (!state || findings.none()) {
        return;
    }
    const auto mended = writeBootState(*state);
    if (findings.older) {
        nalLogNotice(__func__, __LINE__,
                     "nal: %s: the boot state of an earlier release was taken over",
                     config_.bootState.name().c_str());
    }
    for (const std::string &damage : findings.damages) {
        nalLogError(__func__, __LINE__, "nal: %s; the other copy holds%s", damage.c_str(),
                    mended ? ", it was written anew" : "");
    }
    if (!mended) {
        nalLogError(__func__, __LINE__, "nal: the boot state was not mended: %s",
                    mended.error().text.c_str());
    }
}

const node::Config &Node::freshConfig() {
    followConfig();
    takeRunTimeSettings(base_, config_);
    followOverlay();
    return config_;
}

// The directories and banks stay as they were opened: the agent holds paths made of them.
void Node::followConfig() {
    const auto text = node::readConfigText(configPath_);
    std::string whatIsWrong = text ? "" : text.error().text;
    if (text && *text != configText_) {
        if (const auto changed = node::parseConfig(configPath_, *text)) {
            takeRunTimeSettings(*changed, base_);
            configText_ = *text;
        } else {
            whatIsWrong = changed.error().text;
        }
    }
    reportOnce(whatIsWrong, "the last good values stay in use", configReported_);
}

void Node::followOverlay() {
    const auto overlay = node::readOverlay(config_.overlayPath());
    if (overlay) {
        node::applyOverlay(*overlay, config_);
    }
    reportOnce(overlay ? "" : overlay.error().text,
               "the values of the configuration hold; change a setting to write it anew",
               overlayReported_);
}

base::Result<node::BootState> Node::readBootState() const {
    return node::readBootState(config_.bootState).orBecause(base::Reason::bootStateUnreadable);
}

base::Result<void> Node::writeBootState(const node::BootState &state) const {
    return node::writeBootState(config_.bootState, state)
        .orBecause(base::Reason::bootStateNotWritten);
}

bool Node::bootState(node::BootState &state, const char *function, int line) const {
    const auto read = readBootState();
    if (!read) {
        nalLogError(function, line, "nal: %s", read.error().text.c_str());
        return false;
    }
    state = *read;
    return true;
}

Node &node() {
    static Node theNode;
    return theNode;
}

} // namespace platform

base::Result<void> nalOpen(const char *configPath) { return platform::node().open(configPath); }

std::uint64_t nalBankCapacity() {
    std::uint64_t largest = 0;
    for (const std::string &path : platform::node().config().bankPaths) {
        if (const auto bank = node::openBank(path, O_RDONLY)) {
            largest = std::max(largest, bank->size);
        }
    }
    return largest;
}
