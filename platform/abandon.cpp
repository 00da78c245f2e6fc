// SPDX-License-Identifier: MIT
#include "platform/abandon.h"

#include "base/file_io.h"
#include "platform/activation.h"
#include "platform/hooks.h"
#include "platform/node.h"

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace platform {
namespace {

constexpr std::string_view kImagePrefix = "4QZ";
constexpr const char *kAgentData = "/ota_agent_data"; // below the temporary directory

struct DirectoryClose {
    void operator()(DIR *directory) const { closedir(directory); }
};

base::Result<void> keepRunningBank() {
    auto state = node().readBootState();
    if (!state) {
        return state.error();
    }
    // A running version that failed its trial is left for the old one: that is no choice of the
    // upgrade that was cancelled.
    const bool leavesItself =
        node::failedVersion(*state, state->of(state->active).version) != nullptr;
    return state->next == state->active || leavesItself ? base::Result<void>()
                                                        : takeChoiceBack(*state);
}

// The images keep their names; only what begins like one is touched.
base::Result<void> listImages(const std::string &directory, std::vector<std::string> &paths) {
    const std::unique_ptr<DIR, DirectoryClose> opened(opendir(directory.c_str()));
    if (!opened) {
        return base::Error{base::systemReason(directory + ": cannot be listed") +
                           "; check the directory"};
    }
    while (const dirent *entry = readdir(opened.get())) {
        if (std::string_view(entry->d_name).starts_with(kImagePrefix)) {
            paths.push_back(directory + "/" + entry->d_name);
        }
    }
    return {};
}

base::Result<void> remove(const std::string &path) {
    // A directory of such a name is nobody's download.
    if (unlink(path.c_str()) == 0 || errno == ENOENT || errno == EISDIR) {
        return {};
    }
    return base::Error{base::systemReason(path + ": cannot be removed") + "; remove it by hand"};
}

base::Result<void> firstOf(const base::Result<void> &one, const base::Result<void> &other) {
    return one ? other : one;
}

// All of them, whatever one of them is like; the first one that is left is told.
base::Result<void> removeEach(const std::vector<std::string> &paths) {
    base::Result<void> removed;
    for (const std::string &path : paths) {
        removed = firstOf(removed, remove(path));
    }
    return removed;
}

} // namespace
} // namespace platform

base::Result<void> nalDropAgentData() {
    return platform::remove(platform::node().config().tmpDirectory + platform::kAgentData);
}

base::Result<void> nalDropImages() {
    std::vector<std::string> paths;
    return platform::listImages(platform::node().config().tmpDirectory, paths).andThen([&] {
        return platform::removeEach(paths);
    });
}

base::Result<void> nalAbandon() {
    const node::Config &config = platform::node().config();
    // The choice first: it is what would still act on its own.
    base::Result<void> done = platform::keepRunningBank();
    std::vector<std::string> paths{config.logsDirectory + "/ota_act_success",
                                   config.tmpDirectory + "/ota_dwld_prog",
                                   config.tmpDirectory + platform::kAgentData};
    done = platform::firstOf(done, platform::listImages(config.tmpDirectory, paths));
    done = platform::firstOf(done, platform::removeEach(paths));
    // A mark that a power cut brought back would have the old bank report a failed commit.
    if (!base::syncDirectoryOf(paths.front())) {
        const std::string why = base::systemReason(config.logsDirectory + ": cannot be synced");
        done = platform::firstOf(done, base::Error{why});
    }
    return done;
}

base::Result<void> nalGiveUpPassive() {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    const node::Bank passive = node::otherBank(state->active);
    if (state->next == passive || state->trial) {
        return base::Error{node::namedBank(*state, passive) + " is activated or on trial"};
    }
    if (!state->of(passive).whole) {
        return {};
    }
    state->of(passive) = node::BankRecord{};
    auto written = platform::node().writeBootState(*state);
    if (written) {
        platform::tellStage(NalStage::emptied);
    }
    return written;
}
