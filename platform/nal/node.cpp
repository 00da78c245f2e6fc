// SPDX-License-Identifier: MIT
// The one node of this process: its configuration and what its calls share.
#include "platform/nal/node.h"

#include "platform/nal.h"
#include "platform/nal/bank_device.h"
#include "platform/nal/open.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace nal {
namespace {

constexpr mode_t kLockMode = 0644;

bool directoryExists(const std::string &configPath, const char *key, const std::string &path,
                     std::string &whatIsWrong) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        return true;
    }
    whatIsWrong = configPath + ": [paths] " + key + ": there is no directory " + path +
                  "; make it or name another";
    return false;
}

bool directoriesExist(const std::string &path, const Config &config, std::string &whatIsWrong) {
    return directoryExists(path, "tmp", config.tmpDirectory, whatIsWrong) &&
           directoryExists(path, "configs", config.configsDirectory, whatIsWrong) &&
           directoryExists(path, "logs", config.logsDirectory, whatIsWrong);
}

// Two processes that write one boot state and one bank would each undo the other's work.
UniqueFd lockNode(const std::string &bootStatePath, std::string &whatIsWrong) {
    const std::string path = bootStatePath + ".lock";
    UniqueFd lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kLockMode));
    if (!lock) {
        whatIsWrong = systemReason(path + ": cannot be opened") +
                      "; the node must be able to write beside its boot state";
    } else if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        whatIsWrong = errno == EWOULDBLOCK
                          ? path + ": another process runs this node; stop that one first"
                          : systemReason(path + ": cannot be locked") +
                                "; keep the boot state on a file system with locks";
        lock.reset();
    }
    return lock;
}

} // namespace

bool Node::open(const std::string &configPath, std::string &whatIsWrong) {
    Config config;
    std::string text;
    BootState state;
    if (!readConfigText(configPath, text, whatIsWrong)) {
        whatIsWrong += "; give a configuration made after node.conf.example";
        return false;
    }
    if (!parseConfig(configPath, text, config, whatIsWrong) ||
        !directoriesExist(configPath, config, whatIsWrong) ||
        !banksAreUsable(configPath, config, whatIsWrong) ||
        !readBootState(config.bootStatePath, state, whatIsWrong)) {
        return false;
    }
    lock_.reset(); // where the node is opened anew, in the same process
    lock_ = lockNode(config.bootStatePath, whatIsWrong);
    if (!lock_) {
        return false;
    }
    configPath_ = configPath;
    configText_ = text;
    config_ = config;
    return true;
}

const Config &Node::freshConfig() {
    std::string text;
    std::string whatIsWrong;
    if (!readConfigText(configPath_, text, whatIsWrong)) {
        reportOnce(whatIsWrong);
    } else if (text == configText_) {
        reported_.clear();
    } else {
        takeNewText(text);
    }
    return config_;
}

// The directories and banks stay as they were opened: the agent holds paths made of them.
void Node::takeNewText(const std::string &text) {
    Config changed;
    std::string whatIsWrong;
    if (!parseConfig(configPath_, text, changed, whatIsWrong)) {
        reportOnce(whatIsWrong);
        return;
    }
    config_.workMode = changed.workMode;
    config_.workRole = changed.workRole;
    config_.onboarding = changed.onboarding;
    config_.preferredActivationTime = changed.preferredActivationTime;
    configText_ = text;
    reported_.clear();
}

void Node::reportOnce(const std::string &whatIsWrong) {
    if (whatIsWrong == reported_) {
        return;
    }
    nalLogError(__func__, __LINE__, "nal: %s; the last good values stay in use",
                whatIsWrong.c_str());
    reported_ = whatIsWrong;
}

bool Node::bootState(BootState &state, const char *function, int line) const {
    std::string whatIsWrong;
    if (readBootState(config_.bootStatePath, state, whatIsWrong)) {
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
