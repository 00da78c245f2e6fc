// SPDX-License-Identifier: MIT
// A process that can neither touch a file nor start another one.
#include "seal.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <vector>

namespace guard::test {
namespace {

constexpr unsigned kForbidden[] = {
    SYS_openat,  SYS_openat2,  SYS_execve,    SYS_execveat, SYS_clone,     SYS_clone3,
    SYS_socket,  SYS_unlinkat, SYS_renameat2, SYS_mkdirat,  SYS_symlinkat, SYS_linkat,
    SYS_mknodat, SYS_truncate, SYS_fchmodat,  SYS_fchownat, SYS_kill,
#ifdef SYS_open // left out by the younger architectures
    SYS_open,    SYS_creat,    SYS_fork,      SYS_vfork,    SYS_unlink,    SYS_rename,
    SYS_mkdir,   SYS_rmdir,    SYS_symlink,   SYS_link,     SYS_mknod,     SYS_chmod,
#endif
};

sock_filter statement(unsigned code, unsigned value) {
    return {static_cast<unsigned short>(code), 0, 0, value};
}

} // namespace

void sealProcess() {
    std::vector<sock_filter> rules{statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const unsigned call : kForbidden) {
        rules.push_back({BPF_JMP | BPF_JEQ | BPF_K, 0, 1, call});
        rules.push_back(statement(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS));
    }
    rules.push_back(statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(rules.size()), rules.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::perror("the process cannot be sealed");
        std::_Exit(3);
    }
}

} // namespace guard::test
