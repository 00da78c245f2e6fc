// SPDX-License-Identifier: MIT
// Shell commands stay inside the node's folder, and a reboot is asked of the supervisor.
#include "desk/stand_ins/command.h"
#include "desk/stand_ins/real.h"

#include "host/supervisor_link.h"

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

} // namespace

extern "C" int system(const char *command) {
    static auto *const real = desk::realFunction<int(const char *)>("system");
    if (command == nullptr) {
        return real(nullptr);
    }
    const desk::Verdict verdict = desk::judgeCommand(command);
    switch (verdict.kind) {
    case desk::Verdict::Kind::reboot:
        return host::askSupervisor(host::newCall("reboot"));
    case desk::Verdict::Kind::run:
        return real(verdict.text.c_str());
    case desk::Verdict::Kind::refuse:
        break;
    }
    return refuse(command, verdict.text);
}
