// SPDX-License-Identifier: MIT
#include "desk/power/machine.h"

#include <cstddef>
#include <elf.h>
#include <linux/audit.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>

namespace power {

#if defined(__x86_64__)

const std::uint32_t kMachine = AUDIT_ARCH_X86_64;

bool skipCall(pid_t thread) {
    return ptrace(PTRACE_POKEUSER, thread, offsetof(user_regs_struct, orig_rax), -1L) == 0;
}

bool setResult(pid_t thread, std::int64_t result) {
    return ptrace(PTRACE_POKEUSER, thread, offsetof(user_regs_struct, rax), result) == 0;
}

#elif defined(__aarch64__)

const std::uint32_t kMachine = AUDIT_ARCH_AARCH64;

bool skipCall(pid_t thread) {
    int number = -1;
    iovec piece{&number, sizeof(number)};
    return ptrace(PTRACE_SETREGSET, thread, NT_ARM_SYSTEM_CALL, &piece) == 0;
}

bool setResult(pid_t thread, std::int64_t result) {
    user_regs_struct registers{};
    iovec piece{&registers, sizeof(registers)};
    if (ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &piece) != 0) {
        return false;
    }
    registers.regs[0] = static_cast<std::uint64_t>(result);
    return ptrace(PTRACE_SETREGSET, thread, NT_PRSTATUS, &piece) == 0;
}

#else
#error "ota-power knows x86_64 and aarch64: add the registers of this processor here"
#endif

} // namespace power
