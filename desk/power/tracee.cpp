// SPDX-License-Identifier: MIT
#include "desk/power/tracee.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <linux/audit.h>
#include <string_view>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <system_error>
#include <unistd.h>
#include <utility>

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

#endif // the build leaves ota-power out for any other processor

namespace {

constexpr int kMostLinks = 40;
constexpr std::size_t kLongestText = PATH_MAX;
constexpr std::uint64_t kMostPieces = IOV_MAX;

bool readMemory(pid_t thread, std::uint64_t address, void *buffer, std::size_t size) {
    const iovec to{buffer, size};
    // NOLINTNEXTLINE(performance-no-int-to-ptr): of the other process
    const iovec from{reinterpret_cast<void *>(address), size};
    return process_vm_readv(thread, &to, 1, &from, 1, 0) == static_cast<ssize_t>(size);
}

// A folder and a name; none where the path ends in one of these.
std::optional<std::pair<std::string, std::string>> parted(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    const std::size_t slash = path.rfind('/');
    std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
    if (name.empty() || name == "." || name == "..") {
        return std::nullopt;
    }
    return std::pair(slash == std::string::npos ? "." : path.substr(0, slash + 1), std::move(name));
}

std::optional<std::string> linkIn(const Name &name) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size =
        readlinkat(name.folder.get(), name.name.c_str(), target.data(), target.size());
    return size < 0 ? std::nullopt
                    : std::optional(std::string(target.data(), static_cast<std::size_t>(size)));
}

} // namespace

std::optional<std::filesystem::path> pathOf(int descriptor) {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
    return error ? std::nullopt : std::optional(std::move(path));
}

std::string Tracee::program() const {
    std::ifstream file(proc() + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

std::optional<std::string> Tracee::text(std::uint64_t address) const {
    constexpr std::uint64_t kPage = 4096;
    std::string text;
    // Not beyond a page at once: the next one may not be there.
    while (text.size() < kLongestText) {
        std::array<char, kPage> piece{};
        const std::uint64_t from = address + text.size();
        const std::size_t size = kPage - from % kPage;
        if (!readMemory(thread_, from, piece.data(), size)) {
            return std::nullopt;
        }
        const std::string_view got(piece.data(), size);
        const std::size_t end = got.find('\0');
        text += got.substr(0, end);
        if (end != std::string_view::npos) {
            return text;
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> Tracee::number(std::uint64_t address) const {
    std::uint64_t value = 0;
    return readMemory(thread_, address, &value, sizeof(value)) ? std::optional(value)
                                                               : std::nullopt;
}

std::uint64_t Tracee::vectorLength(std::uint64_t address, std::uint64_t pieces) const {
    std::uint64_t length = 0;
    for (std::uint64_t at = 0; at < std::min(pieces, kMostPieces); ++at) {
        length += number(address + at * sizeof(iovec) + offsetof(iovec, iov_len)).value_or(0);
    }
    return length;
}

std::string Tracee::linkTo(int descriptor) const {
    return proc() + "/fd/" + std::to_string(descriptor);
}

std::optional<OpenFile> Tracee::file(int descriptor) const {
    std::error_code error;
    OpenFile file;
    file.path = std::filesystem::read_symlink(linkTo(descriptor), error);
    std::ifstream info(proc() + "/fdinfo/" + std::to_string(descriptor));
    std::string key;
    if (error || !(info >> key >> std::dec >> file.position) ||
        !(info >> key >> std::oct >> file.flags)) {
        return std::nullopt;
    }
    return file;
}

std::optional<Name> Tracee::resolve(int folder, const std::string &path, bool followLink) const {
    std::string from =
        proc() + (folder == AT_FDCWD ? "/cwd/" : "/fd/" + std::to_string(folder) + "/");
    std::string rest = path;
    base::UniqueFd last; // the folder that a link was found in
    for (int links = 0; links < kMostLinks; ++links) {
        std::string whole = rest.starts_with('/') ? rest : from + rest;
        if (whole.starts_with("/proc/self/")) {
            whole.replace(0, std::string_view("/proc/self").size(), proc());
        }
        const auto parts = parted(whole);
        if (!parts) {
            return std::nullopt;
        }
        Name name;
        name.folder = base::UniqueFd(open(parts->first.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        name.name = parts->second;
        const auto folderPath = pathOf(name.folder.get());
        if (!folderPath) {
            return std::nullopt;
        }
        name.folderPath = *folderPath;
        struct stat status {};
        if (fstatat(name.folder.get(), name.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
            name.status = status;
        }
        const auto link = followLink && name.status && S_ISLNK(name.status->st_mode) ? linkIn(name)
                                                                                     : std::nullopt;
        if (!link) {
            return name;
        }
        last = std::move(name.folder);
        // By the way of this process: the replacement above is for what the tracee names.
        from = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(last.get()) + "/";
        rest = *link;
    }
    return std::nullopt;
}

} // namespace power
