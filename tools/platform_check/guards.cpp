// SPDX-License-Identifier: MIT
// What a platform finds in this program before it finds the C library's: the ways to start another
// program, of which none may bring the machine down, and the agent's handlers of timers. Behind
// them stands the filter of lock.cpp.
#include "tools/platform_check/guards.h"
#include "tools/platform_check/shared.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <spawn.h>
#include <string_view>
#include <sys/reboot.h>
#include <unistd.h>
#include <vector>

namespace check {
namespace {

constexpr std::array<std::string_view, 8> kBringsDown{"reboot",  "poweroff", "halt",  "shutdown",
                                                      "telinit", "init",     "kexec", "systemctl"};

bool isPartOfName(char one) {
    return one == '_' || one == '-' || one == '.' || (one >= '0' && one <= '9') ||
           (one >= 'a' && one <= 'z') || (one >= 'A' && one <= 'Z');
}

// A word of the command is one of those programs, with or without its folder.
bool bringsDown(std::string_view command) {
    for (std::size_t at = 0; at < command.size();) {
        const std::size_t from = at;
        while (at < command.size() && isPartOfName(command[at])) {
            ++at;
        }
        const std::string_view word = command.substr(from, at - from);
        if (std::find(kBringsDown.begin(), kBringsDown.end(), word) != kBringsDown.end()) {
            return true;
        }
        at += word.empty() ? 1 : 0;
    }
    return false;
}

void expire(Timer timer) {
    Expiry &expiry = shared().expiries[timer];
    ++expiry.count;
    expiry.order = ++shared().expired;
    expiry.atMs = nowMs();
    expiry.thread = gettid();
}

// The C library's own, which this program stands in front of.
template <typename Function>
Function real(Function, const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Of a call that only differs from execve in how it is given its words.
int execute(const char *way, const char *program, char *const *words, char *const *surroundings) {
    look(way, program, words);
    return real(&execve, "execve")(program, words, surroundings);
}

int executeFound(const char *way, const char *program, char *const *words,
                 char *const *surroundings) {
    look(way, program, words);
    return real(&execvpe, "execvpe")(program, words, surroundings);
}

std::vector<char *> wordsOf(const char *first, va_list rest) {
    std::vector<char *> words{const_cast<char *>(first)};
    while (words.back() != nullptr) {
        words.push_back(va_arg(rest, char *));
    }
    return words;
}

} // namespace

void refuseReboot(const std::string &how) {
    keep(how, shared().reboot);
    _exit(kAskedForReboot);
}

void look(const char *way, const char *program, char *const *words) {
    std::string line = program == nullptr ? "" : program;
    // The first word is the program's name once more.
    for (int at = 1; words != nullptr && words[0] != nullptr && words[at] != nullptr; ++at) {
        line.append(" ").append(words[at]);
    }
    const std::string said = std::string(way) + "(\"" + line + "\")";
    if (bringsDown(line)) {
        refuseReboot(said);
    }
    keep(said, shared().commands);
}

} // namespace check

using check::execute;
using check::executeFound;
using check::look;
using check::real;
using check::wordsOf;

extern "C" {

// Of otaSwAgent/agent.h, which takes the headers of libcurl and cJSON.
void otaSwAgentProcessRebootTimer(void) { check::expire(check::kReboot); }
void otaSwAgentProcessDownloadStartTimer(void) { check::expire(check::kDownloadStart); }
void otaSwAgentProcessDownloadRetryTimer(void) { check::expire(check::kDownloadRetry); }

int reboot(int howto) { check::refuseReboot("reboot(" + std::to_string(howto) + ")"); }

int system(const char *command) {
    look("system", command, nullptr);
    return real(&system, "system")(command);
}

FILE *popen(const char *command, const char *modes) {
    look("popen", command, nullptr);
    return real(&popen, "popen")(command, modes);
}

int execve(const char *path, char *const argv[], char *const envp[]) {
    return execute("execve", path, argv, envp);
}

int execv(const char *path, char *const argv[]) { return execute("execv", path, argv, environ); }

int execvp(const char *file, char *const argv[]) {
    return executeFound("execvp", file, argv, environ);
}

int execvpe(const char *file, char *const argv[], char *const envp[]) {
    return executeFound("execvpe", file, argv, envp);
}

int execl(const char *path, const char *arg, ...) {
    va_list rest;
    va_start(rest, arg);
    const std::vector<char *> words = wordsOf(arg, rest);
    va_end(rest);
    return execute("execl", path, words.data(), environ);
}

int execlp(const char *file, const char *arg, ...) {
    va_list rest;
    va_start(rest, arg);
    const std::vector<char *> words = wordsOf(arg, rest);
    va_end(rest);
    return executeFound("execlp", file, words.data(), environ);
}

int execle(const char *path, const char *arg, ...) {
    va_list rest;
    va_start(rest, arg);
    const std::vector<char *> words = wordsOf(arg, rest);
    char *const *const surroundings = va_arg(rest, char *const *);
    va_end(rest);
    return execute("execle", path, words.data(), surroundings);
}

int posix_spawn(pid_t *pid, const char *path, const posix_spawn_file_actions_t *file_actions,
                const posix_spawnattr_t *attrp, char *const argv[], char *const envp[]) {
    look("posix_spawn", path, argv);
    return real(&posix_spawn, "posix_spawn")(pid, path, file_actions, attrp, argv, envp);
}

int posix_spawnp(pid_t *pid, const char *file, const posix_spawn_file_actions_t *file_actions,
                 const posix_spawnattr_t *attrp, char *const argv[], char *const envp[]) {
    look("posix_spawnp", file, argv);
    return real(&posix_spawnp, "posix_spawnp")(pid, file, file_actions, attrp, argv, envp);
}

} // extern "C"
