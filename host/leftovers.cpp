// SPDX-License-Identifier: MIT
#include "host/leftovers.h"

#include "base/agent_mark.h"
#include "base/file_io.h"

#include <cerrno>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace host {
namespace {

constexpr std::string_view kImagePrefix = "4QZ";
constexpr const char *kAgentData = "/ota_agent_data"; // below the temporary directory

// The images keep their names; only what begins like one is touched.
base::Result<void> listImages(const std::string &directory, std::vector<std::string> &paths) {
    const base::UniqueDirectory opened(opendir(directory.c_str()));
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

bool isActivated(const std::string &logs) {
    return access((logs + base::kActivationMark).c_str(), F_OK) == 0;
}

base::Result<void> dropUpgrade(const std::string &tmp, const std::string &logs) {
    std::vector<std::string> paths{logs + base::kActivationMark, tmp + "/ota_dwld_prog",
                                   tmp + kAgentData};
    base::Result<void> done = listImages(tmp, paths);
    done = firstOf(done, removeEach(paths));
    // A mark that a power cut brought back would have the old bank report a failed commit.
    if (!base::syncDirectoryOf(paths.front())) {
        const std::string why = base::systemReason(logs + ": cannot be synced");
        done = firstOf(done, base::Error{why});
    }
    return done;
}

base::Result<void> dropImages(const std::string &tmp) {
    std::vector<std::string> paths;
    return listImages(tmp, paths).andThen([&] { return removeEach(paths); });
}

base::Result<void> dropAgentData(const std::string &tmp) { return remove(tmp + kAgentData); }

} // namespace host
