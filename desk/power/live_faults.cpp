// SPDX-License-Identifier: MIT
#include "desk/power/live_faults.h"

#include "base/file_io.h"
#include "desk/failure.h"

#include <sstream>

namespace power {
namespace {

constexpr std::size_t kMostText = 65536;

bool takeLine(std::istringstream &line, const std::filesystem::path &disk, Faults &faults) {
    std::string word;
    std::string name;
    line >> word;
    if (word == "read-only") {
        faults.readOnly = true;
        return true;
    }
    if (word == "lie" || word == "corrupt") {
        line >> name;
        (word == "lie" ? faults.lying : faults.corrupted).push_back(disk / name);
        return !name.empty();
    }
    std::uint64_t after = 0;
    std::string mode;
    line >> after >> mode >> faults.cutName;
    faults.cutAfter = after;
    faults.mode = mode == "tear" ? CutMode::tear : CutMode::drop;
    return word == "cut" && after > 0 && (mode == "tear" || mode == "drop") &&
           !faults.cutName.empty();
}

} // namespace

Faults readFaults(const std::string &text, const std::filesystem::path &disk) {
    Faults faults;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        if (!takeLine(words, disk, faults)) {
            throw desk::Failure("--faults: \"" + line +
                                "\" is no fault: write read-only, lie FILE, corrupt FILE or "
                                "cut N drop|tear NAME");
        }
    }
    return faults;
}

std::optional<std::string> FaultsFile::changed() {
    struct stat now {};
    if (path_.empty() || stat(path_.c_str(), &now) != 0 ||
        (now.st_ino == seen_.st_ino && now.st_mtim.tv_sec == seen_.st_mtim.tv_sec &&
         now.st_mtim.tv_nsec == seen_.st_mtim.tv_nsec)) {
        return std::nullopt;
    }
    auto text = base::readWholeFile(path_, kMostText);
    if (!text) {
        throw desk::Failure(base::systemReason(path_ + ": the file cannot be read") +
                            "; let this user read it");
    }
    seen_ = now;
    return *text;
}

} // namespace power
