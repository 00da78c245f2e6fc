// SPDX-License-Identifier: MIT
#include "cli/hand_over.h"

#include "base/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <unistd.h>

namespace cli {
namespace {

struct Row {
    const char *verb;
    const char *summary;
    const char *tool;
    bool isWholeTool; // not a verb of the tool
    bool asksTheBus = false;
};

constexpr std::array kRows{
    Row{"config", "Work on a configuration file, without the service", "ota-config", true},
    Row{"metrics", "Print the figures of the node for Prometheus", "ota-report", false, true},
    Row{"sign", "Sign an image file, without the service", "ota-image", false},
    Row{"support-bundle", "Pack what a maker needs to help into one archive", "ota-report", false,
        true},
    Row{"verify", "Check signature and payload of an image file, without the service", "ota-image",
        false},
};

std::string ownFolder() {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    const std::string own(path.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
    return own.substr(0, own.rfind('/') + 1);
}

// Without the option of the bus, which no tool has.
std::vector<std::string> withoutBus(const std::vector<std::string> &words) {
    std::vector<std::string> left;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--bus") {
            ++i;
        } else if (!words[i].starts_with("--bus=")) {
            left.push_back(words[i]);
        }
    }
    return left;
}

bool contains(const std::vector<std::string> &words, const char *word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

[[noreturn]] void become(const Row &row, std::vector<std::string> arguments) {
    std::vector<char *> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string &argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    const std::string installed = ownFolder() + row.tool;
    execv(installed.c_str(), pointers.data());
    for (const char *built : {"../tools/", "../report/"}) {
        execv((ownFolder() + built + row.tool).c_str(), pointers.data());
    }
    throw base::Failure(base::Outcome::failed, installed +
                                                   " cannot be run: " + std::strerror(errno) +
                                                   "; install the package again");
}

} // namespace

std::vector<base::Command> handedOverVerbs() {
    std::vector<base::Command> verbs;
    verbs.reserve(kRows.size());
    for (const Row &row : kRows) {
        verbs.push_back({.name = row.verb, .summary = row.summary});
    }
    return verbs;
}

void handOver(const std::vector<std::string> &words) {
    const std::vector<std::string> all(words.begin() + 1, words.end());
    const std::vector<std::string> said = withoutBus(all);
    const auto verb = std::find_if(said.begin(), said.end(), [](const std::string &word) {
        return word != "--json" && word != "--help" && word != "-h";
    });
    const auto *const row = std::find_if(kRows.begin(), kRows.end(), [&](const Row &candidate) {
        return verb != said.end() && *verb == candidate.verb;
    });
    // The version is that of otactl, also behind such a verb.
    if (row == kRows.end() || contains(said, "--version")) {
        return;
    }
    // The tool speaks in the name that the person called.
    std::vector<std::string> arguments{row->isWholeTool ? "otactl " + *verb : "otactl"};
    if (row->asksTheBus) {
        arguments.insert(arguments.end(), all.begin(), all.end());
    } else {
        arguments.insert(arguments.end(), said.begin(), verb);
        arguments.insert(arguments.end(), row->isWholeTool ? verb + 1 : verb, said.end());
    }
    become(*row, std::move(arguments));
}

} // namespace cli
