// SPDX-License-Identifier: MIT
// A file of lines that grows at its end and is rotated by size.
#include "host/daemon/keep/line_file.h"

#include "platform/nal/file_io.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace otad {
namespace {

constexpr mode_t kFileMode = 0640;

nal::UniqueFd openAtEnd(const std::string &path) {
    return nal::UniqueFd(open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, kFileMode));
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

bool syncDirectoryOf(const std::string &path) {
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    const std::string directory = parent.empty() ? "." : parent.string();
    const nal::UniqueFd opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return opened && fsync(opened.get()) == 0;
}

// True too where it cannot be told: an empty line more does no harm.
bool endsWithinALine(int file, std::int64_t size) {
    char last = '\n';
    return size > 0 && (pread(file, &last, 1, size - 1) != 1 || last != '\n');
}

std::string writeLine(const std::string &path, int file, std::int64_t size, std::string_view line) {
    std::string bytes = endsWithinALine(file, size) ? "\n" : "";
    bytes.append(line);
    bytes += '\n';
    if (!nal::writeFully(file, bytes.data(), bytes.size()) || fdatasync(file) != 0) {
        return nal::systemReason(path + ": a line cannot be added");
    }
    // A new name lasts only once its directory is on the disk.
    if (size == 0 && !syncDirectoryOf(path)) {
        return nal::systemReason(path + ": its directory cannot be synced");
    }
    return {};
}

} // namespace

std::string rotationOf(const std::string &path, int number) {
    return number == 0 ? path : path + "." + std::to_string(number);
}

std::string appendLine(const std::string &path, std::string_view line, std::uint64_t maxBytes,
                       int keep) {
    nal::UniqueFd file = openAtEnd(path);
    std::int64_t size = file ? sizeOf(file.get()) : -1;
    if (size > 0 && static_cast<std::uint64_t>(size) + line.size() + 1 > maxBytes) {
        if (!rotate(path, keep)) {
            return nal::systemReason(path + ": cannot be rotated");
        }
        file = openAtEnd(path);
        size = file ? sizeOf(file.get()) : -1;
    }
    if (size < 0) {
        return nal::systemReason(path + ": cannot be opened");
    }
    return writeLine(path, file.get(), size, line);
}

} // namespace otad
