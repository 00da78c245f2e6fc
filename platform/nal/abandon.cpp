// SPDX-License-Identifier: MIT
// What is left of an upgrade that was cancelled, or of a call, is taken back.
#include "platform/nal/abandon.h"

#include "platform/nal/activation.h"
#include "platform/nal/file_io.h"
#include "platform/nal/node.h"
#include "platform/nal/stage.h"

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace nal {
namespace {

constexpr std::string_view kImagePrefix = "4QZ";
constexpr const char *kAgentData = "/ota_agent_data"; // below the temporary directory

struct DirectoryClose {
    void operator()(DIR *directory) const { closedir(directory); }
};

bool keepRunningBank(std::string &whatIsWrong) {
    BootState state;
    if (!readBootState(node().config().bootState, state, whatIsWrong)) {
        return false;
    }
    // A running version that failed its trial is left for the old one: that is no choice of the
    // upgrade that was cancelled.
    const bool leavesItself = failedVersion(state, state.of(state.active).version) != nullptr;
    return state.next == state.active || leavesItself || takeChoiceBack(state, whatIsWrong);
}

// The images keep their names; only what begins like one is touched.
bool listImages(const std::string &directory, std::vector<std::string> &paths,
                std::string &whatIsWrong) {
    const std::unique_ptr<DIR, DirectoryClose> opened(opendir(directory.c_str()));
    if (!opened) {
        whatIsWrong = systemReason(directory + ": cannot be listed") + "; check the directory";
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
    whatIsWrong = systemReason(path + ": cannot be removed") + "; remove it by hand";
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
} // namespace nal

bool nalDropAgentData(std::string &whatIsWrong) {
    return nal::remove(nal::node().config().tmpDirectory + nal::kAgentData, whatIsWrong);
}

bool nalDropImages(std::string &whatIsWrong) {
    std::vector<std::string> paths;
    return nal::listImages(nal::node().config().tmpDirectory, paths, whatIsWrong) &&
           nal::removeEach(paths, whatIsWrong);
}

bool nalAbandon(std::string &whatIsWrong) {
    const nal::Config &config = nal::node().config();
    // The choice first: it is what would still act on its own.
    bool whole = nal::keepRunningBank(whatIsWrong);
    std::vector<std::string> paths{config.logsDirectory + "/ota_act_success",
                                   config.tmpDirectory + "/ota_dwld_prog",
                                   config.tmpDirectory + nal::kAgentData};
    std::string alsoWrong;
    const auto note = [&](bool done) {
        if (!done && whole) {
            whatIsWrong = alsoWrong;
        }
        whole = whole && done;
    };
    note(nal::listImages(config.tmpDirectory, paths, alsoWrong));
    note(nal::removeEach(paths, alsoWrong));
    // A mark that a power cut brought back would have the old bank report a failed commit.
    if (!nal::syncDirectoryOf(paths.front())) {
        alsoWrong = nal::systemReason(config.logsDirectory + ": cannot be synced");
        note(false);
    }
    return whole;
}

bool nalGiveUpPassive(std::string &whatIsWrong) {
    const nal::BootPlace &path = nal::node().config().bootState;
    nal::BootState state;
    if (!nal::readBootState(path, state, whatIsWrong)) {
        return false;
    }
    const nal::Bank passive = nal::otherBank(state.active);
    if (state.next == passive || state.trial) {
        whatIsWrong = nal::namedBank(state, passive) + " is activated or on trial";
        return false;
    }
    if (!state.of(passive).whole) {
        return true;
    }
    state.of(passive) = nal::BankRecord{};
    if (!nal::writeBootState(path, state, whatIsWrong)) {
        return false;
    }
    nal::tellStage(NalStage::emptied);
    return true;
}
