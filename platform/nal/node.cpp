// SPDX-License-Identifier: MIT
// The one node of this process: its configuration and what its calls share.
#include "platform/nal/node.h"

#include "platform/nal.h"
#include "platform/nal/because.h"
#include "platform/nal/open.h"
#include "platform/nal/settings_overlay.h"

#include <chrono>

namespace nal {
namespace {

constexpr std::chrono::seconds kLockPatience{2}; // for one that was just ended

// Two processes that write one boot state and one bank would each undo the other's work.
bool lockNode(const std::string &path, LockFile &lock, std::string &whatIsWrong) {
    switch (lock.take(path, kLockPatience, whatIsWrong)) {
    case LockFile::Taken::yes:
        return true;
    case LockFile::Taken::held:
        whatIsWrong = path + ": another process runs this node; stop that one first";
        because(host::Reason::nodeInUse);
        break;
    case LockFile::Taken::noPlace:
    case LockFile::Taken::no:
        whatIsWrong += "; the node must be able to write beside its boot state";
        because(host::Reason::bootStateNotWritten);
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

void takeRunTimeSettings(const Config &from, Config &to) {
    to.workMode = from.workMode;
    to.workRole = from.workRole;
    to.onboarding = from.onboarding;
    to.preferredActivationTime = from.preferredActivationTime;
}

} // namespace

bool Node::open(const std::string &configPath, std::string &whatIsWrong) {
    Config config;
    std::string text;
    BootState state;
    forgetReason();
    if (!checkConfigFile(configPath, config, whatIsWrong) ||
        !readConfigText(configPath, text, whatIsWrong) ||
        !orBecause(readBootState(config.bootState, state, whatIsWrong),
                   host::Reason::bootStateUnreadable)) {
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
    BootState state;
    BootFindings findings;
    std::string whatIsWrong;
    if (!readBootState(config_.bootState, state, whatIsWrong, &findings) || findings.none()) {
        return;
    }
    const bool mended = writeBootState(config_.bootState, state, whatIsWrong);
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

const Config &Node::freshConfig() {
    followConfig();
    takeRunTimeSettings(base_, config_);
    followOverlay();
    return config_;
}

// The directories and banks stay as they were opened: the agent holds paths made of them.
void Node::followConfig() {
    std::string text;
    std::string whatIsWrong;
    Config changed;
    if (readConfigText(configPath_, text, whatIsWrong) && text != configText_ &&
        parseConfig(configPath_, text, changed, whatIsWrong)) {
        takeRunTimeSettings(changed, base_);
        configText_ = text;
    }
    reportOnce(whatIsWrong, "the last good values stay in use", configReported_);
}

void Node::followOverlay() {
    Overlay overlay;
    std::string whatIsWrong;
    if (readOverlay(config_.overlayPath(), overlay, whatIsWrong)) {
        applyOverlay(overlay, config_);
    }
    reportOnce(whatIsWrong,
               "the values of the configuration hold; change a setting to write it anew",
               overlayReported_);
}

bool Node::bootState(BootState &state, const char *function, int line) const {
    std::string whatIsWrong;
    if (readBootState(config_.bootState, state, whatIsWrong)) {
        return true;
    }
    nalLogError(function, line, "nal: %s", whatIsWrong.c_str());
    return false;
}

Node &node() {
    static Node theNode;
    return theNode;
}

} // namespace nal

bool nalOpen(const char *configPath, std::string &whatIsWrong) {
    return nal::node().open(configPath, whatIsWrong);
}
