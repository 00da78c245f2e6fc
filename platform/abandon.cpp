// SPDX-License-Identifier: MIT
#include "platform/abandon.h"

#include "base/file_io.h"
#include "platform/activation.h"
#include "platform/node.h"
#include "platform/stage.h"

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace platform {
namespace {

constexpr std::string_view kImagePrefix = "4QZ";
constexpr const char *kAgentData = "/ota_agent_data"; // below the temporary directory

struct DirectoryClose {
    void operator()(DIR *directory) const { closedir(directory); }
};

bool keepRunningBank(std::string &whatIsWrong) {
    node::BootState state;
    if (!node::readBootState(node().config().bootState, state, whatIsWrong)) {
        return false;
    }
    // A running version that failed its trial is left for the old one: that is no choice of the
    // upgrade that was cancelled.
    const bool leavesItself = node::failedVersion(state, state.of(state.active).version) != nullptr;
    return state.next == state.active || leavesItself || takeChoiceBack(state, whatIsWrong);
}

// The images keep their names; only what begins like one is touched.
bool listImages(const std::string &directory, std::vector<std::string> &paths,
                std::string &whatIsWrong) {
    const std::unique_ptr<DIR, DirectoryClose> opened(opendir(directory.c_str()));
    if (!opened) {
        whatIsWrong =
            base::systemReason(directory + ": cannot be listed") + "; check the directory";
        return false;
    }
    while (const dirent *entry = readdir(opened.get())) {
        if (std::string_view(entry->d_name).starts_with(kImagePrefix)) {
            paths.push_back(directory + "/" + entry->d_name);
        }
    }
    return true;
}

bool remove(const std::string &path, std::string &whatIsWrong) {
    // A directory of such a name is nobody's download.
    if (unlink(path.c_str()) == 0 || errno == ENOENT || errno == EISDIR) {
        return true;
    }
    whatIsWrong = base::systemReason(path + ": cannot be removed") + "; remove it by hand";
    return false;
}

// All of them, whatever one of them is like; the first one that is left is told.
bool removeEach(const std::vector<std::string> &paths, std::string &whatIsWrong) {
    bool whole = true;
    std::string alsoWrong;
    for (const std::string &path : paths) {
        if (!remove(path, alsoWrong) && std::exchange(whole, false)) {
            whatIsWrong = alsoWrong;
        }
    }
    return whole;
}

} // namespace
} // namespace platform

bool nalDropAgentData(std::string &whatIsWrong) {
    return platform::remove(platform::node().config().tmpDirectory + platform::kAgentData, whatIsWrong);
}

bool nalDropImages(std::string &whatIsWrong) {
    std::vector<std::string> paths;
    return platform::listImages(platform::node().config().tmpDirectory, paths, whatIsWrong) &&
           platform::removeEach(paths, whatIsWrong);
}

bool nalAbandon(std::string &whatIsWrong) {
    const node::Config &config = platform::node().config();
    // The choice first: it is what would still act on its own.
    bool whole = platform::keepRunningBank(whatIsWrong);
    std::vector<std::string> paths{config.logsDirectory + "/ota_act_success",
                                   config.tmpDirectory + "/ota_dwld_prog",
                                   config.tmpDirectory + platform::kAgentData};
    std::string alsoWrong;
    const auto note = [&](bool done) {
        if (!done && whole) {
            whatIsWrong = alsoWrong;
        }
        whole = whole && done;
    };
    note(platform::listImages(config.tmpDirectory, paths, alsoWrong));
    note(platform::removeEach(paths, alsoWrong));
    // A mark that a power cut brought back would have the old bank report a failed commit.
    if (!base::syncDirectoryOf(paths.front())) {
        alsoWrong = base::systemReason(config.logsDirectory + ": cannot be synced");
        note(false);
    }
    return whole;
}

bool nalGiveUpPassive(std::string &whatIsWrong) {
    const node::BootPlace &path = platform::node().config().bootState;
    node::BootState state;
    if (!node::readBootState(path, state, whatIsWrong)) {
        return false;
    }
    const node::Bank passive = node::otherBank(state.active);
    if (state.next == passive || state.trial) {
        whatIsWrong = node::namedBank(state, passive) + " is activated or on trial";
        return false;
    }
    if (!state.of(passive).whole) {
        return true;
    }
    state.of(passive) = node::BankRecord{};
    if (!node::writeBootState(path, state, whatIsWrong)) {
        return false;
    }
    platform::tellStage(NalStage::emptied);
    return true;
}
