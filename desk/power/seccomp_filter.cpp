// SPDX-License-Identifier: MIT
#include "desk/power/seccomp_filter.h"

#include "desk/power/calls.h"
#include "desk/power/machine.h"

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

namespace power {
namespace {

constexpr std::uint32_t kNotHere = SECCOMP_RET_ERRNO | ENOSYS;
constexpr std::size_t kHalf = std::endian::native == std::endian::little ? 0 : 4;

void load(std::vector<sock_filter> &filter, std::size_t offset) {
    filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset)));
}

void answer(std::vector<sock_filter> &filter, std::uint32_t verdict) {
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, verdict));
}

// An open that neither creates nor truncates is by far the most frequent call.
void addOpen(std::vector<sock_filter> &filter, const CallRow &row) {
    filter.push_back(
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(row.number), 0, 4));
    load(filter, offsetof(seccomp_data, args) + kHalf +
                     sizeof(std::uint64_t) * static_cast<std::size_t>(row.flags));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_CREAT | O_TRUNC, 0, 1));
    answer(filter, SECCOMP_RET_TRACE);
    answer(filter, SECCOMP_RET_ALLOW);
}

void addCall(std::vector<sock_filter> &filter, long number, std::uint32_t verdict) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 1));
    answer(filter, verdict);
}

} // namespace

std::vector<sock_filter> callFilter() {
    std::vector<sock_filter> filter;
    // A program of another kind has calls of other numbers: it fails rather than go unseen.
    load(filter, offsetof(seccomp_data, arch));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kMachine, 1, 0));
    answer(filter, kNotHere);
    load(filter, offsetof(seccomp_data, nr));
    // Writes that are asked for in a ring of memory are no calls: programs do without it.
    addCall(filter, SYS_io_uring_setup, kNotHere);
    for (const CallRow &row : calls()) {
        if (row.act == Act::open && row.flags != kNone) {
            addOpen(filter, row);
        } else {
            addCall(filter, row.number, SECCOMP_RET_TRACE);
        }
    }
    answer(filter, SECCOMP_RET_ALLOW);
    return filter;
}

bool installFilter(const std::vector<sock_filter> &filter) {
    const sock_fprog program{static_cast<unsigned short>(filter.size()),
                             const_cast<sock_filter *>(filter.data())};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

} // namespace power
