// SPDX-License-Identifier: MIT
// The rule by which commands run, change or do not run.
#include "desk/stand_ins/command.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace desk {
namespace {

using Words = std::vector<std::string_view>;

struct Fixed {
    std::string_view command;
    std::string_view inFolder;
};

constexpr std::string_view kReboot = "/sbin/reboot";
constexpr std::array kFixed{
    Fixed{"rm /tmp/ota_agent_data", "rm ./ota_agent_data"},
    Fixed{"rm /tmp/otaMD5.txt", "rm ./otaMD5.txt"},
};
// The images that were downloaded: the one pattern that the agent leaves to the shell.
constexpr std::string_view kImages = "4QZ*";

constexpr const char *kForeign = "it is none of the agent's own";
constexpr const char *kOutside = "it names a path that may lie outside";

// Nothing that the shell would take for more than a character.
bool isPlain(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '_' || c == '+' || c == '-' || c == '/';
    });
}

bool staysInside(std::string_view path) {
    return isPlain(path) && path.front() != '/' && path.front() != '-' &&
           path.find("..") == std::string_view::npos;
}

bool mayBeRemoved(std::string_view path) {
    if (path == kImages || path.ends_with(std::string("/").append(kImages))) {
        path.remove_suffix(1);
    }
    return staysInside(path);
}

// The words between single blanks; one that is empty shows blanks at an end or in a row.
Words wordsOf(std::string_view command) {
    Words words;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string_view::npos; begin = end + 1) {
        end = command.find(' ', begin);
        words.push_back(command.substr(begin, end - begin));
    }
    return words;
}

// rm [-f|-rf] PATH...
const char *judgeRemoval(const Words &words) {
    const bool option = words.size() > 1 && (words[1] == "-f" || words[1] == "-rf");
    const auto paths = words.begin() + (option ? 2 : 1);
    if (paths == words.end()) {
        return kForeign;
    }
    return std::all_of(paths, words.end(), mayBeRemoved) ? nullptr : kOutside;
}

// echo WORD > PATH, echo WORD >> PATH
const char *judgeNote(const Words &words) {
    if (words.size() != 4 || !isPlain(words[1]) || (words[2] != ">" && words[2] != ">>")) {
        return kForeign;
    }
    return staysInside(words[3]) ? nullptr : kOutside;
}

// Why the command may not run; null where it may.
const char *objectionTo(const std::string &command) {
    const Words words = wordsOf(command);
    if (words.front() == "rm") {
        return judgeRemoval(words);
    }
    return words.front() == "echo" ? judgeNote(words) : kForeign;
}

} // namespace

Verdict judgeCommand(const std::string &command) {
    if (command == kReboot) {
        return {Verdict::Kind::reboot, {}};
    }
    for (const Fixed &fixed : kFixed) {
        if (command == fixed.command) {
            return {Verdict::Kind::run, std::string(fixed.inFolder)};
        }
    }
    if (const char *objection = objectionTo(command)) {
        return {Verdict::Kind::refuse, objection};
    }
    return {Verdict::Kind::run, command};
}

} // namespace desk
