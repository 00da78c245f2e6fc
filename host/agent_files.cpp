// SPDX-License-Identifier: MIT
#include "host/agent_files.h"

#include "base/agent_mark.h"
#include "base/file_io.h"
#include "host/platform_library.h"
#include "host/supervisor_link.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

constexpr mode_t kMode = 0640;

bool isOpenToOthers(mode_t mode) { return (mode & 07777U & ~kMode) != 0; }

void close(const std::string &path, int more) {
    // Whatever has this name, it is not followed and not waited for.
    const base::UniqueFd file(
        open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | more, kMode));
    struct stat status {};
    if (!file && errno == ENOENT) {
        return;
    }
    if (!file || fstat(file.get(), &status) != 0 ||
        (isOpenToOthers(status.st_mode) && fchmod(file.get(), kMode) != 0)) {
        complain(path + " cannot be made readable for its owner alone: " + std::strerror(errno) +
                 "; close its directory to others");
    }
}

constexpr std::size_t kLongestMark = 128; // no version is as long
std::string markPath;

base::Result<void> sync() {
    const base::UniqueFd mark(
        open(markPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!mark && errno == ENOENT) {
        return {}; // an image that was only written leaves none
    }
    if (!mark || fsync(mark.get()) != 0 || !base::syncDirectoryOf(markPath)) {
        return base::Error{base::systemReason(markPath + ": cannot be synced")};
    }
    return {};
}

// Only the activation itself puts the other bank on trial, and a commit ends it.
bool wasActivatedBy(const OtaBankFacts &facts, const Activation &activation) {
    return facts.trial == facts.active && facts.active != activation.from &&
           runningVersion(facts) == activation.version;
}

} // namespace

void closeLogFiles() {
    const std::string folder = platformCalls().logsDirectory();
    close(folder + "/otaSwAgent.log", O_CREAT);
    close(folder + base::kActivationMark, 0);
}

bool readActivation(const std::string &text, Activation &activation) {
    if (!text.starts_with("a:") && !text.starts_with("b:")) {
        return false;
    }
    activation = {text.front() == 'b' ? 1 : 0, text.substr(2)};
    return !activation.version.empty();
}

void setMarkPath(const std::string &path) { markPath = path; }

void keepMark() {
    if (markPath.empty()) {
        return;
    }
    if (const auto synced = sync(); !synced) {
        complain("the mark of the activation may be lost in a power cut: " + synced.error().text);
    }
}

void restoreMark(const std::vector<Activation> &activations) {
    const auto news = bankNews();
    if (!news || !news->hasTrial ||
        std::none_of(activations.begin(), activations.end(), [&](const Activation &activation) {
            return wasActivatedBy(news->facts, activation);
        })) {
        return; // what cannot be read was reported by the platform, which read it just before
    }
    const std::string version = runningVersion(news->facts);
    const std::string line = version + "\n";
    if (const auto held = base::readWholeFile(markPath, kLongestMark); held && *held == line) {
        return;
    }
    if (const auto made = base::replaceFile(markPath, line); !made) {
        return complain("the mark of the activation was not made anew, so no commit is reported: " +
                        made.error().text);
    }
    std::fprintf(stderr, "notice: ota-host: a power cut took the mark of %s; it was made anew\n",
                 version.c_str());
}

} // namespace host
