// SPDX-License-Identifier: MIT
#include "tools/platform_check/ground.h"

#include "base/failure.h"
#include "base/text.h"
#include "tools/platform_check/guarded_bytes.h"
#include "tools/platform_check/processes.h"

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <span>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace check {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPiece = 64 * 1024;
// No whole number of pages: a rest must not be forgotten.
constexpr std::uint64_t kSmall = 48 * 1024 + 17;

[[noreturn]] void failOn(const std::string &what) {
    throw base::Failure(base::Outcome::failed, base::systemReason(what));
}

std::string workingFolder() {
    std::error_code error;
    const fs::path path = fs::current_path(error);
    return error ? "" : path.string();
}

void copyEntry(const fs::directory_entry &entry, const fs::path &to) {
    if (entry.is_symlink()) {
        fs::copy_symlink(entry.path(), to);
    } else if (entry.is_directory()) {
        fs::create_directory(to);
        fs::permissions(to, entry.status().permissions()); // whatever the umask
    } else if (entry.is_regular_file()) {
        fs::copy_file(entry.path(), to);
    } // a socket or a pipe belongs to a process that knows nothing of the copy
}

void copyFolder(const std::string &from, const std::string &to) {
    try {
        fs::permissions(to, fs::status(from).permissions());
        for (fs::recursive_directory_iterator at(from), end; at != end; ++at) {
            copyEntry(*at, to / fs::relative(at->path(), from));
        }
    } catch (const fs::filesystem_error &error) {
        throw base::Failure(base::Outcome::failed,
                            std::string("the folder cannot be copied: ") + error.what());
    }
}

// Reads a file in pieces; take() says whether it goes on. False: it cannot be read.
template <typename Take>
bool readInPieces(const std::string &path, const Take &take) {
    const base::UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<char> piece(kPiece);
    std::int64_t got = -1;
    while (file && (got = base::readFully(file.get(), piece.data(), piece.size())) > 0 &&
           take(std::string_view(piece.data(), static_cast<std::size_t>(got)))) {
    }
    return got >= 0;
}

// Bytes that are nobody else's, the same ones for the same version.
void writeBytes(const std::string &path, const std::string &version, std::uint64_t size) {
    const base::UniqueFd file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640));
    std::uint64_t state = 88172645463325252U;
    for (const char letter : version) {
        state = state * 31 + static_cast<unsigned char>(letter);
    }
    std::vector<char> piece(kPiece);
    for (std::uint64_t left = size; left > 0;) {
        for (char &byte : piece) {
            state ^= state << 13U;
            state ^= state >> 7U;
            state ^= state << 17U;
            byte = static_cast<char>(state);
        }
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), left));
        if (!file || !base::writeFully(file.get(), piece.data(), count)) {
            failOn(path + ": the image cannot be made");
        }
        left -= count;
    }
}

} // namespace

Ground::Ground(const Options &options, Player &player)
    : options_(options), player_(player), home_(workingFolder()) {}

Ground::~Ground() { leave(); }

void Ground::leave() {
    removeImages();
    std::error_code ignored;
    fs::current_path(home_, ignored);
    if (!place_.empty()) {
        fs::remove_all(place_, ignored);
        place_.clear();
    }
}

void Ground::removeImages() {
    for (const std::string &path : images_) {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    images_.clear();
}

void Ground::renew(bool wrote) {
    if (!options_.copy.empty()) {
        leave();
        const auto folder = base::realPathOf(options_.copy);
        if (!folder) {
            failOn(options_.copy + ": the folder cannot be copied");
        }
        std::string place = *folder + ".check-XXXXXX";
        if (mkdtemp(place.data()) == nullptr) {
            failOn(place + ": no copy can be made beside the folder");
        }
        place_ = place;
        copyFolder(*folder, place_);
        if (chdir(place_.c_str()) != 0) {
            failOn(place_);
        }
    } else {
        removeImages();
        if (wrote && !options_.reset.empty()) {
            runCommand(options_.reset);
        }
    }
}

void Ground::look() {
    const Step step = [](Platform &platform) {
        takeTable(platform);
        Shared &all = shared();
        all.facts = {};
        all.number = (platform.given != nullptr ? 1 : 0) | (platform.hasTrials() ? 2 : 0) |
                     (platform.startTimer && platform.stopTimer ? 4 : 0) |
                     (platform.sendSignal ? 8 : 0) | (platform.toRoot ? 16 : 0) |
                     (platform.toGateway ? 32 : 0);
    };
    const Step opened = [](Platform &platform) {
        const char *const tmp = platform.tmpDirectory ? platform.tmpDirectory() : nullptr;
        keep(tmp == nullptr ? "" : tmp, shared().note);
        shared().number =
            platform.bankCapacity ? static_cast<std::int64_t>(platform.bankCapacity()) : 0;
    };
    try {
        player_.play(step, Opening::library);
        const auto has = [](int bit) { return (shared().number & bit) != 0; };
        survey_ = {false, has(1), has(2), has(4), has(8), has(16), has(32), "", 0};
        player_.play(opened);
        survey_.opens = true;
        survey_.tmp = textIn(shared().note);
        survey_.capacity = static_cast<std::uint64_t>(shared().number);
    } catch (const Wrong &) { // what is wrong the checks say
    }
}

std::uint64_t Ground::capacity() const {
    return options_.capacity > 0 ? static_cast<std::uint64_t>(options_.capacity) : survey_.capacity;
}

std::uint64_t Ground::smallSize() const {
    return capacity() == 0 ? kSmall : std::min<std::uint64_t>(kSmall, capacity());
}

// Never at the root: a platform may name no directory.
std::string Ground::pathInTmp(const std::string &name) const {
    struct stat status {};
    if (survey_.tmp.empty() || stat(survey_.tmp.c_str(), &status) != 0 ||
        !S_ISDIR(status.st_mode)) {
        throw NotLookedAt{"the platform names no directory for downloads that is there"};
    }
    return survey_.tmp + "/" + name;
}

std::string Ground::image(const char *version, std::uint64_t size) {
    std::string path = pathInTmp(version);
    if (std::find(images_.begin(), images_.end(), path) != images_.end()) {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    } else {
        images_.push_back(path);
    }
    std::snprintf(shared().offered.data(), shared().offered.size(), "%s", version);
    if (options_.makeImage.empty() || size == 0) {
        writeBytes(path, version, size);
    } else {
        runCommand(options_.makeImage + " \"$@\"", {path, std::to_string(size), version});
    }
    return path;
}

void Ground::boot() { runCommand(options_.boot); }

std::uint64_t Ground::digestOf(int bank) const {
    std::uint64_t digest = 14695981039346656037U;
    const bool read = readInPieces(bankPath(bank), [&](std::string_view piece) {
        for (const char byte : piece) {
            digest = (digest ^ static_cast<unsigned char>(byte)) * 1099511628211U;
        }
        return true;
    });
    if (!read) {
        failOn(bankPath(bank) + ": the bank cannot be read");
    }
    return digest;
}

bool Ground::bankHolds(int bank, const std::string &image) const {
    const base::UniqueFd held(open(bankPath(bank).c_str(), O_RDONLY | O_CLOEXEC));
    if (!held) {
        failOn(bankPath(bank) + ": the bank cannot be read");
    }
    bool same = true;
    std::vector<char> piece(kPiece);
    const bool read = readInPieces(image, [&](std::string_view wanted) {
        const auto size = static_cast<std::int64_t>(wanted.size());
        same = base::readFully(held.get(), piece.data(), wanted.size()) == size &&
               wanted == std::string_view(piece.data(), wanted.size());
        return same;
    });
    if (!read) {
        throw Wrong{"the image file " + image + " cannot be read any more"};
    }
    return same;
}

OtaBankFacts factsOf(const Platform &platform) {
    const GuardedBytes record(sizeof(OtaBankFacts), 0);
    const GuardedBytes why(sizeof(OtaFault), 0);
    const int answer = platform.bankFacts(static_cast<OtaBankFacts *>(record.get()),
                                          static_cast<OtaFault *>(why.get()));
    if (answer != 0) {
        throw Wrong{"bankFacts " + answered(answer, *static_cast<const OtaFault *>(why.get()))};
    }
    record.lookBefore();
    return *static_cast<const OtaBankFacts *>(record.get());
}

void keepVersions(const Platform &platform) {
    Shared &all = shared();
    all.running.fill('\0');
    all.other.fill('\0');
    std::array<char, OTA_BANK_VERSION_WIDTH> text{};
    if (const int answer = platform.runningVersion(text.data()); answer != 0) {
        throw Wrong{"nal_getCurSwVersion " + answered(answer)};
    }
    text.back() = '\0';
    all.running = text;
    text.fill('\0');
    if (platform.otherVersion(text.data()) == 0) {
        text.back() = '\0';
        all.other = text;
    }
}

void stopFilesAt(std::uint64_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

void writeImage(Ground &ground, const std::string &image) {
    ground.playLong([&](Platform &platform) {
        const int answer = platform.write(image.c_str());
        if (answer != 0) {
            throw Wrong{"nal_writePassiveImage(" + inQuotes(image) + ") " +
                        answered(answer, shared().lastFailure)};
        }
    });
}

void activateImage(Ground &ground) {
    ground.playLong([](Platform &platform) {
        if (platform.activate() == 0) {
            throw Wrong{"nal_activatePassiveImage() " + answered(0, shared().lastFailure)};
        }
    });
}

void lookAtNode(Ground &ground) {
    ground.player().play([](Platform &platform) {
        keepVersions(platform);
        shared().facts = platform.hasTrials() ? factsOf(platform) : OtaBankFacts{};
    });
}

std::string inQuotes(std::string_view text) { return base::quoted(text); }

std::string answered(int answer) { return "answered " + std::to_string(answer); }

std::string answered(int answer, const OtaFault &why) {
    const std::string text(why.text, strnlen(why.text, sizeof why.text));
    return answered(answer) + (text.empty() ? "" : ": " + base::printable(text));
}

} // namespace check
