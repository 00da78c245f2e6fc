// SPDX-License-Identifier: MIT
// The rule by which commands run, change or do not run.
#include "desk/stand_ins/command.h"

#include <array>
#include <string_view>

namespace desk {
namespace {

struct Fixed {
    std::string_view command;
    std::string_view inFolder;
};

constexpr std::string_view kReboot = "/sbin/reboot";
constexpr std::array kFixed{
    Fixed{"rm /tmp/ota_agent_data", "rm ./ota_agent_data"},
    Fixed{"rm /tmp/otaMD5.txt", "rm ./otaMD5.txt"},
};
// Where a word of a command may begin, quotes and expansions included.
constexpr std::string_view kWordBegins = " \t\n\"'=<>|&;(){},";
// What lets the shell make a path that cannot be seen in the text.
constexpr std::string_view kExpansions = "$`~\\";

bool namesAbsolutePath(const std::string &command) {
    for (std::size_t at = 0; (at = command.find('/', at)) != std::string::npos; ++at) {
        if (at == 0 || kWordBegins.find(command[at - 1]) != std::string_view::npos) {
            return true;
        }
    }
    return false;
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
    if (namesAbsolutePath(command)) {
        return {Verdict::Kind::refuse, "it names an absolute path"};
    }
    if (command.find("..") != std::string::npos) {
        return {Verdict::Kind::refuse, "it names \"..\""};
    }
    if (command.find_first_of(kExpansions) != std::string::npos) {
        return {Verdict::Kind::refuse, "the shell could expand it to a path outside"};
    }
    return {Verdict::Kind::run, command};
}

} // namespace desk
