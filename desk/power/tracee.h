// SPDX-License-Identifier: MIT
// What can be learnt of a thread that stands still: its memory, its files, where its paths lead.
#ifndef DESK_POWER_TRACEE_H
#define DESK_POWER_TRACEE_H

#include "base/file_io.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace power {

// What differs from one kind of processor to the next: its name in a seccomp filter, and registers.
extern const std::uint32_t kMachine;

// At the entry of a call: it does not happen. False: errno says why.
bool skipCall(pid_t thread);
// At its exit: what it comes back with; a negative error number, or 0 and above.
bool setResult(pid_t thread, std::int64_t result);

struct OpenFile {
    std::filesystem::path path; // as it is now; of a file without a name, the one it had
    std::uint64_t position = 0;
    int flags = 0; // as open() takes them
};

// Where a path leads: a name in a folder, that may be there or not.
struct Name {
    base::UniqueFd folder; // opened with O_PATH
    std::filesystem::path folderPath;
    std::string name;
    std::optional<struct stat> status; // of what has the name; none: nothing

    [[nodiscard]] std::filesystem::path path() const { return folderPath / name; }
};

class Tracee {
  public:
    explicit Tracee(pid_t thread) : thread_(thread) {}

    [[nodiscard]] pid_t thread() const { return thread_; }
    [[nodiscard]] std::string program() const;
    // None where the memory cannot be read.
    [[nodiscard]] std::optional<std::string> text(std::uint64_t address) const;
    [[nodiscard]] std::optional<std::uint64_t> number(std::uint64_t address) const;
    // Bytes in so many pieces, each an address and a length.
    [[nodiscard]] std::uint64_t vectorLength(std::uint64_t address, std::uint64_t pieces) const;

    // None where there is no such descriptor.
    [[nodiscard]] std::optional<OpenFile> file(int descriptor) const;
    // A name that leads to the same file as the descriptor does.
    [[nodiscard]] std::string linkTo(int descriptor) const;
    // None where the folder is missing, or the path ends in none that can be made or removed. A
    // link at the end is followed where that is asked for.
    [[nodiscard]] std::optional<Name> resolve(int folder, const std::string &path,
                                              bool followLink) const;

  private:
    [[nodiscard]] std::string proc() const { return "/proc/" + std::to_string(thread_); }

    pid_t thread_;
};

// None where the descriptor is bad.
std::optional<std::filesystem::path> pathOf(int descriptor);

} // namespace power

#endif
