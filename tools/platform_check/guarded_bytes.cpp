// SPDX-License-Identifier: MIT
#include "tools/platform_check/guarded_bytes.h"

#include "base/failure.h"
#include "tools/platform_check/check.h"
#include "tools/platform_check/shared.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace check {
namespace {

constexpr int kBefore = 0x5A;

struct Guard {
    std::uintptr_t from = 0;
    std::uintptr_t to = 0;
    std::size_t size = 0;
};
constexpr std::size_t kMostGuards = 64;
std::array<Guard, kMostGuards> guards{};
std::size_t guardCount = 0;

std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

// The process ends by the same signal once more.
void onFault(int number, siginfo_t *info, void *) {
    const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
    for (const Guard &guard : std::span(guards).first(guardCount)) {
        if (address >= guard.from && address < guard.to) {
            std::snprintf(shared().text.data(), shared().text.size(),
                          "went beyond the %zu bytes that it was given", guard.size);
        }
    }
    std::signal(number, SIG_DFL);
    raise(number);
}

} // namespace

GuardedBytes::GuardedBytes(std::size_t size, int filledWith)
    : size_(size), filledWith_(filledWith) {
    const std::size_t page = pageSize();
    const std::size_t whole = (size + page - 1) / page * page;
    page_ = mmap(nullptr, whole + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page_ == MAP_FAILED || guardCount == guards.size()) {
        throw base::Failure(base::Outcome::failed, "no memory for a guarded record");
    }
    char *const end = static_cast<char *>(page_) + whole;
    mprotect(end, page, PROT_NONE);
    before_ = whole - size;
    bytes_ = static_cast<char *>(page_) + before_;
    std::memset(page_, kBefore, before_);
    std::memset(bytes_, filledWith, size);
    const auto from = reinterpret_cast<std::uintptr_t>(end);
    guards[guardCount++] = {from, from + page, size};
}

bool GuardedBytes::endsWithin(std::size_t offset, std::size_t width) const {
    return std::memchr(text() + offset, '\0', width) != nullptr;
}

std::string GuardedBytes::textAt(std::size_t offset, std::size_t width) const {
    return endsWithin(offset, width) ? std::string(text() + offset) : std::string();
}

bool GuardedBytes::isUntouched() const {
    const std::span bytes(text(), size_);
    return std::all_of(bytes.begin(), bytes.end(), [this](char one) {
        return static_cast<unsigned char>(one) == static_cast<unsigned char>(filledWith_);
    });
}

void GuardedBytes::lookBefore() const {
    const std::span bytes(static_cast<const char *>(page_), before_);
    if (!std::all_of(bytes.begin(), bytes.end(), [](char one) { return one == kBefore; })) {
        throw Wrong{"it wrote before the first of the " + std::to_string(size_) +
                    " bytes that it was given"};
    }
}

void watchGuardedBytes() {
    constexpr std::size_t kStack = 64 * 1024;
    static std::array<char, kStack> stack;
    const stack_t other{stack.data(), 0, stack.size()};
    sigaltstack(&other, nullptr);
    struct sigaction action {};
    action.sa_sigaction = onFault;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const int number : {SIGSEGV, SIGBUS}) {
        sigaction(number, &action, nullptr);
    }
}

} // namespace check
