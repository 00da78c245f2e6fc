// SPDX-License-Identifier: MIT
// Shell commands stay inside the node's folder, and a reboot is asked of the desk.
#include "desk/stand_ins/command.h"
#include "desk/stand_ins/real.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

// What a shell gives for a command that may not be run, as system() reports it.
constexpr int kNotPermitted = 126 << 8;

int refuse(const char *command, const std::string &why) {
    std::fprintf(stderr,
                 "ota-desk-host: command not run on this desk, %s: \"%s\"; the node's folder is "
                 "the only one it may touch\n",
                 why.c_str(), command);
    return kNotPermitted;
}

// A file says it: the daemon between this process and the desk knows of no reboot.
int askForReboot() {
    const char *const variable = std::getenv("OTA_DESK_REBOOT_FILE");
    const char *const path = variable == nullptr ? "" : variable;
    const int file = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0) {
        std::fprintf(stderr,
                     "ota-desk-host: the reboot cannot be asked for: %s: %s; name a file that can "
                     "be made in OTA_DESK_REBOOT_FILE\n",
                     path, std::strerror(errno));
        return kNotPermitted;
    }
    close(file);
    return 0;
}

} // namespace

extern "C" int system(const char *command) {
    static auto *const real = desk::realFunction<int(const char *)>("system");
    if (command == nullptr) {
        return real(nullptr);
    }
    const desk::Verdict verdict = desk::judgeCommand(command);
    switch (verdict.kind) {
    case desk::Verdict::Kind::reboot:
        return askForReboot();
    case desk::Verdict::Kind::run:
        return real(verdict.text.c_str());
    case desk::Verdict::Kind::refuse:
        break;
    }
    return refuse(command, verdict.text);
}
