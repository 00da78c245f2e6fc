// SPDX-License-Identifier: MIT
#include "service/state/line_file.h"

#include "base/file_io.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <span>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace service {
namespace {

constexpr mode_t kFileMode = 0640;

// A regular file alone: adding to anything else may block for ever, or end up elsewhere.
base::UniqueFd openFile(const std::string &path, int flags) {
    base::UniqueFd file(open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kFileMode));
    struct stat status {};
    if (file && (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        file.reset();
        errno = EINVAL;
    }
    return file;
}

base::UniqueFd openAtEnd(const std::string &path) {
    return openFile(path, O_RDWR | O_APPEND | O_CREAT);
}

// Of the open file, -1 with errno set where that fails.
std::int64_t sizeOf(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 ? status.st_size : -1;
}

bool isMissing(int error) { return error == ENOENT; }

// The oldest goes first, so that each step frees the name of the next one.
bool rotate(const std::string &path, int keep) {
    if (keep <= 0) {
        return unlink(path.c_str()) == 0;
    }
    for (int number = keep - 1; number >= 0; --number) {
        if (std::rename(rotationOf(path, number).c_str(), rotationOf(path, number + 1).c_str()) !=
                0 &&
            !isMissing(errno)) {
            return false;
        }
    }
    return true;
}

// True too where it cannot be told: an empty line more does no harm.
bool endsWithinALine(int file, std::int64_t size) {
    char last = '\n';
    return size > 0 && (pread(file, &last, 1, size - 1) != 1 || last != '\n');
}

// In one write. More than one line may not take the file over its size.
base::Result<void> writeInto(const LineFile &target, int file, std::int64_t size,
                             std::span<const std::string_view> &lines) {
    std::string bytes = endsWithinALine(file, size) ? "\n" : "";
    const auto before = static_cast<std::uint64_t>(size);
    do {
        bytes.append(lines.front()).append("\n");
        lines = lines.subspan(1);
    } while (!lines.empty() && before + bytes.size() + lines.front().size() + 1 <= target.maxBytes);
    if (!base::writeFully(file, bytes.data(), bytes.size()) || fdatasync(file) != 0) {
        return base::Error{base::systemReason(target.path + ": a line cannot be added")};
    }
    // A new name lasts only once its directory is on the disk.
    if (size == 0 && !base::syncDirectoryOf(target.path)) {
        return base::Error{base::systemReason(target.path + ": its directory cannot be synced")};
    }
    return {};
}

bool fits(const LineFile &file, std::uint64_t size, std::string_view line) {
    return size + line.size() + 1 <= file.maxBytes;
}

// True: the line has room in what was left of the file.
bool isThinnedOut(const LineFile &file, std::string_view line) {
    if (!file.thinOut) {
        return false;
    }
    const auto text = base::readWholeFile(
        file.path, static_cast<std::size_t>(std::min<std::uint64_t>(file.maxBytes, SIZE_MAX)));
    if (!text) {
        return false;
    }
    const std::string thin = file.thinOut(*text);
    // Rotating says itself what is wrong.
    if (thin.size() >= text->size() || !fits(file, thin.size(), line) ||
        !base::renewFile(file.path, thin)) {
        return false;
    }
    base::syncDirectoryOf(file.path);
    return chmod(file.path.c_str(), kFileMode) == 0;
}

} // namespace

std::string rotationOf(const std::string &path, int number) {
    return number == 0 ? path : path + "." + std::to_string(number);
}

base::Result<void> appendLines(const LineFile &target, const std::vector<std::string_view> &lines) {
    std::span<const std::string_view> left(lines);
    base::Result<void> added;
    while (added && !left.empty()) {
        base::UniqueFd file = openAtEnd(target.path);
        std::int64_t size = file ? sizeOf(file.get()) : -1;
        if (size > 0 && !fits(target, static_cast<std::uint64_t>(size), left.front())) {
            if (!isThinnedOut(target, left.front()) && !rotate(target.path, target.keep)) {
                return base::Error{base::systemReason(target.path + ": cannot be rotated")};
            }
            file = openAtEnd(target.path);
            size = file ? sizeOf(file.get()) : -1;
        }
        added = size < 0 ? base::Error{base::systemReason(target.path + ": cannot be opened")}
                         : writeInto(target, file.get(), size, left);
    }
    return added;
}

void readLines(const std::string &path, std::size_t longest,
               const std::function<void(std::string line)> &take) {
    const base::UniqueFd file = openFile(path, O_RDONLY);
    if (!file) {
        return;
    }
    constexpr std::size_t kPiece = 16 * 1024;
    std::array<char, kPiece> piece{};
    std::string line;
    std::int64_t got = 0;
    while ((got = base::readFully(file.get(), piece.data(), piece.size())) > 0) {
        for (const char byte : std::string_view(piece.data(), static_cast<std::size_t>(got))) {
            if (byte == '\n') {
                take(std::exchange(line, {}));
            } else if (line.size() <= longest) {
                line += byte;
            }
        }
    }
    if (!line.empty()) {
        take(std::move(line));
    }
}

} // namespace service
