// SPDX-License-Identifier: MIT
// Stand-ins for system, popen, pclose and exit.
#include "shell.h"

#include "agent_library.h"
#include "files.h"
#include "journal.h"
#include "next_function.h"
#include "node.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ota::test {

namespace {

// A command stays inside where no word of it is an absolute path, a home or climbs up.
bool staysInside(const std::string &command) {
    const auto partOfName = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
               std::strchr("_.*-", c) != nullptr;
    };
    char before = ' ';
    for (std::size_t at = 0; at < command.size(); before = command[at++]) {
        const char c = command[at];
        const char after = at + 1 < command.size() ? command[at + 1] : '1';
        if ((c == '/' && !partOfName(before)) || c == '~' || (c == '.' && after == '.') ||
            (c == '$' && after != '1')) {
            return false;
        }
    }
    return true;
}

} // namespace

Shell &shell() {
    static Shell theShell;
    return theShell;
}

} // namespace ota::test

using namespace ota::test;

extern "C" {

int system(const char *command) {
    static auto *const next = nextFunction<int(const char *)>("system");
    if (!agentIsActive()) {
        return next(command);
    }
    const HarnessScope harness;
    journal().add(Kind::kAction, "system " + escaped(command));
    if (shell().runsCommands && staysInside(command)) {
        return next(command);
    }
    return node().resultOf("system");
}

FILE *popen(const char *command, const char *mode) {
    static auto *const next = nextFunction<FILE *(const char *, const char *)>("popen");
    if (!agentIsActive()) {
        return next(command, mode);
    }
    const HarnessScope harness;
    journal().add(Kind::kAction, "popen " + escaped(command) + " " + mode);
    if (shell().popenErrno != 0) {
        errno = shell().popenErrno;
        return nullptr;
    }
    FILE *stream = nullptr;
    if (shell().runsCommands && staysInside(command)) {
        stream = next(command, mode);
    } else {
        stream = std::tmpfile();
        std::fputs(shell().popenOutput.c_str(), stream);
        std::rewind(stream);
    }
    files().open[stream] = "popen";
    return stream;
}

int pclose(FILE *stream) {
    static auto *const next = nextFunction<int(FILE *)>("pclose");
    if (agentIsActive()) {
        const HarnessScope harness;
        journal().add(Kind::kFile, "pclose " + files().open[stream]);
        files().open.erase(stream);
    }
    return next(stream);
}

void exit(int status) noexcept {
    if (!agentIsActive()) {
        nextFunction<void(int)>("exit")(status);
        __builtin_unreachable();
    }
    {
        const HarnessScope harness;
        journal().add(Kind::kAction, "exit " + std::to_string(status));
    }
    leaveAgent(status);
}

} // extern "C"
