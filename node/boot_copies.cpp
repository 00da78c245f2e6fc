// SPDX-License-Identifier: MIT
#include "node/boot_copies.h"

#include "base/split.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace node {
namespace {

constexpr std::size_t kMaxFwEnvConfig = 16 * 1024;
constexpr std::size_t kChecksum = 4;
constexpr std::size_t kHead = kChecksum + 1;      // and the counter
constexpr std::size_t kMostOfACopy = 1024 * 1024; // no boot loader has as much

struct CopyBytes {
    bool whole = false;
    unsigned char counter = 0;
    std::string data;
};

// "device offset size ...", the offset decimal or hexadecimal with 0x; "#" begins a comment.
std::optional<BootCopy> copyOfLine(const std::string &line) {
    const std::vector<std::string> words = base::wordsOf(line);
    if (words.size() < 3 || words[0].starts_with('#')) {
        return std::nullopt;
    }
    const std::uint64_t size = std::strtoull(words[2].c_str(), nullptr, 16);
    return BootCopy{words[0], std::strtoull(words[1].c_str(), nullptr, 0),
                    static_cast<std::size_t>(std::min<std::uint64_t>(size, SIZE_MAX))};
}

// The state itself may be as good as ever: nothing here is a reason to write it anew.
std::string adviceFor(int error) {
    switch (error) {
    case ENOENT:
        return "; check its place, a node's first one is made by ota-boot-state init";
    case EPERM:
    case EACCES:
        return "; let the service have it: its user, the mode, DeviceAllow= of its unit";
    default:
        return "; check the device or the file system";
    }
}

// A file or a device: opening anything else may block for ever.
base::Result<base::UniqueFd> openCopy(const std::string &path, int flags) {
    base::UniqueFd file(::open(path.c_str(), flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) {
        const int error = errno;
        return base::Error{base::systemReason(path + ": the boot state cannot be " +
                                              (flags == O_RDONLY ? "read" : "written")) +
                           adviceFor(error)};
    }
    if (!S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode) && !S_ISCHR(status.st_mode)) {
        return base::Error{path + ": is neither a file nor a device; keep the boot state in one"};
    }
    return file;
}

bool isCharacterDevice(const base::UniqueFd &file) {
    struct stat status {};
    return fstat(file.get(), &status) == 0 && S_ISCHR(status.st_mode);
}

// Nothing of a character device.
base::Result<std::optional<CopyBytes>> readCopy(const BootCopy &copy) {
    const auto file = openCopy(copy.path, O_RDONLY);
    if (!file) {
        return file.error();
    }
    if (isCharacterDevice(*file)) {
        return std::optional<CopyBytes>();
    }
    CopyBytes bytes;
    std::string raw(copy.size, '\0');
    if (lseek(file->get(), static_cast<off_t>(copy.offset), SEEK_SET) < 0 ||
        base::readFully(file->get(), raw.data(), raw.size()) !=
            static_cast<std::int64_t>(raw.size())) {
        return std::optional(bytes);
    }
    std::uint32_t stored = 0;
    std::memcpy(&stored, raw.data(), kChecksum);
    bytes.counter = static_cast<unsigned char>(raw[kChecksum]);
    bytes.data = raw.substr(kHead);
    const auto sum = crc32(0, reinterpret_cast<const Bytef *>(bytes.data.data()),
                           static_cast<uInt>(bytes.data.size()));
    bytes.whole = sum == stored;
    return std::optional(bytes);
}

// The variables end at the first empty text; what is behind it is whatever was in memory.
std::string_view variablesOf(const CopyBytes &copy) {
    const std::string_view data = copy.data;
    return data.substr(0, data.find(std::string_view("\0\0", 2)));
}

// As boot loader and library decide: the greater counter, and 0 behind 255.
bool secondIsNewer(const CopyBytes &first, const CopyBytes &second) {
    constexpr unsigned char kLast = 255;
    if (first.counter == kLast && second.counter == 0) {
        return true;
    }
    return second.counter > first.counter && !(second.counter == kLast && first.counter == 0);
}

BootVariables parsed(std::string_view texts) {
    BootVariables variables;
    while (!texts.empty()) {
        const std::string_view text = texts.substr(0, texts.find('\0'));
        texts.remove_prefix(std::min(text.size() + 1, texts.size()));
        const std::size_t equals = text.find('=');
        if (equals != std::string_view::npos) {
            variables[std::string(text.substr(0, equals))] = text.substr(equals + 1);
        }
    }
    return variables;
}

std::string placeOf(const BootCopy &copy) {
    return copy.path + " at byte " + std::to_string(copy.offset);
}

} // namespace

base::Result<void> bootCopies(const BootPlace &place, std::vector<BootCopy> &copies) {
    copies.clear();
    if (!place.file.empty()) {
        copies = {{place.file, 0, kEnvironmentCopy},
                  {place.file, kEnvironmentCopy, kEnvironmentCopy}};
        return {};
    }
    const auto text = base::readWholeFile(place.fwEnvConfig, kMaxFwEnvConfig);
    if (!text) {
        return text.error();
    }
    for (const std::string &line : base::piecesOf(*text, '\n')) {
        if (auto copy = copyOfLine(line); copy && copies.size() < 2) {
            copies.push_back(std::move(*copy));
            if (copies.back().size <= kHead || copies.back().size > kMostOfACopy) {
                return base::Error{place.fwEnvConfig + ": \"" + line +
                                   "\": the size is not between " + std::to_string(kHead + 1) +
                                   " bytes and " + std::to_string(kMostOfACopy) + " (0x100000)"};
            }
        }
    }
    if (copies.size() < 2) {
        return base::Error{
            place.fwEnvConfig + ": names " + std::to_string(copies.size()) +
            " devices: expected two lines of device, offset and size, one for each copy"};
    }
    return {};
}

CopiesView lookAtCopies(const std::vector<BootCopy> &copies) {
    CopiesView view;
    std::vector<CopyBytes> whole;
    for (const BootCopy &copy : copies) {
        const auto read = readCopy(copy);
        if (!read) {
            view.whyNotOpened = read.error().text;
            continue;
        }
        if (const auto &bytes = *read; bytes && bytes->whole) {
            whole.push_back(*bytes);
        } else if (bytes) {
            view.findings.damages.push_back("the copy of the boot state in " + placeOf(copy) +
                                            " is damaged, its checksum does not hold");
        }
    }
    if (whole.size() == 1) {
        view.variables = parsed(variablesOf(whole[0]));
    }
    if (whole.size() != 2) {
        return view;
    }
    view.variables = parsed(variablesOf(secondIsNewer(whole[0], whole[1]) ? whole[1] : whole[0]));
    view.findings.copiesDiffer = variablesOf(whole[0]) != variablesOf(whole[1]);
    // Each change counts one further than the copy that it replaces.
    constexpr unsigned kBackwards = 255;
    const unsigned distance = static_cast<unsigned char>(whole[1].counter - whole[0].counter);
    if (distance != 1 && distance != kBackwards) {
        view.findings.damages.push_back("a counter of the boot state in " + placeOf(copies[0]) +
                                        " and " + placeOf(copies[1]) +
                                        " is damaged, they do not follow each other");
    }
    return view;
}

base::Result<void> OpenCopies::open(const std::vector<BootCopy> &copies) {
    for (const BootCopy &copy : copies) {
        if (!files_.empty() && files_.back().first == copy.path) {
            continue; // both in one file
        }
        auto file = openCopy(copy.path, O_RDWR);
        if (!file) {
            return file.error();
        }
        files_.emplace_back(copy.path, std::move(*file));
    }
    return {};
}

base::Result<void> OpenCopies::sync() const {
    for (const auto &[path, file] : files_) {
        // A character device writes through and may know no sync.
        if (fsync(file.get()) != 0 && errno != EINVAL) {
            return base::Error{base::systemReason(path + ": the boot state cannot be synced")};
        }
        posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    }
    return {};
}

} // namespace node
