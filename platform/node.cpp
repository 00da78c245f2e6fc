// SPDX-License-Identifier: MIT
#include "platform/node.h"

#include "base/because.h"
#include "node/settings_overlay.h"
#include "platform/nal.h"
#include "platform/open.h"

#include <chrono>

namespace platform {
namespace {

constexpr std::chrono::seconds kLockPatience{2}; // for one that was just ended

// Two processes that write one boot state and one bank would each undo the other's work.
bool lockNode(const std::string &path, base::LockFile &lock, std::string &whatIsWrong) {
    switch (lock.take(path, kLockPatience, whatIsWrong)) {
    case base::LockFile::Taken::yes:
        return true;
    case base::LockFile::Taken::held:
        whatIsWrong = path + ": another process runs this node; stop that one first";
        base::because(base::Reason::nodeInUse);
        break;
    case base::LockFile::Taken::noPlace:
    case base::LockFile::Taken::no:
        whatIsWrong += "; the node must be able to write beside its boot state";
        base::because(base::Reason::bootStateNotWritten);
        break;
    }
    return false;
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

bool Node::open(const std::string &configPath, std::string &whatIsWrong) {
    node::Config config;
    std::string text;
    node::BootState state;
    base::forgetReason();
    if (!node::checkConfigFile(configPath, config, whatIsWrong) ||
        !node::readConfigText(configPath, text, whatIsWrong) ||
        !base::orBecause(node::readBootState(config.bootState, state, whatIsWrong),
                         base::Reason::bootStateUnreadable)) {
        return false;
    }
    lock_.release(); // where the node is opened anew, in the same process
    if (!lockNode(config.lockPath(), lock_, whatIsWrong)) {
        return false;
    }
    configPath_ = configPath;
    configText_ = text;
    base_ = config;
    config_ = config;
    mendBootState();
    return true;
}

// Under the lock: a copy that another process is writing looks damaged for a moment.
void Node::mendBootState() const {
    node::BootState state;
    node::BootFindings findings;
    std::string whatIsWrong;
    if (!node::readBootState(config_.bootState, state, whatIsWrong, &findings) || findings.none()) {
        return;
    }
    const bool mended = node::writeBootState(config_.bootState, state, whatIsWrong);
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
                    whatIsWrong.c_str());
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
    std::string text;
    std::string whatIsWrong;
    node::Config changed;
    if (node::readConfigText(configPath_, text, whatIsWrong) && text != configText_ &&
        node::parseConfig(configPath_, text, changed, whatIsWrong)) {
        takeRunTimeSettings(changed, base_);
        configText_ = text;
    }
    reportOnce(whatIsWrong, "the last good values stay in use", configReported_);
}

void Node::followOverlay() {
    node::Overlay overlay;
    std::string whatIsWrong;
    if (node::readOverlay(config_.overlayPath(), overlay, whatIsWrong)) {
        node::applyOverlay(overlay, config_);
    }
    reportOnce(whatIsWrong,
               "the values of the configuration hold; change a setting to write it anew",
               overlayReported_);
}

bool Node::bootState(node::BootState &state, const char *function, int line) const {
    std::string whatIsWrong;
    if (node::readBootState(config_.bootState, state, whatIsWrong)) {
        return true;
    }
    nalLogError(function, line, "nal: %s", whatIsWrong.c_str());
    return false;
}

Node &node() {
    static Node theNode;
    return theNode;
}

} // namespace platform

bool nalOpen(const char *configPath, std::string &whatIsWrong) {
    return platform::node().open(configPath, whatIsWrong);
}
