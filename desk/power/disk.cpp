// SPDX-License-Identifier: MIT
#include "desk/power/disk.h"

#include "desk/failure.h"
#include "desk/power/tracee.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

namespace power {
namespace {

// Readable for whoever may write: the bytes are read before they change.
base::UniqueFd openedAgain(int file) {
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    base::UniqueFd own(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!own) {
        throw desk::Failure(base::systemReason("a file of the disk cannot be read") +
                            "; run as a user who may read all of the disk");
    }
    return own;
}

FileId idOf(int file) {
    const auto id = fileIdOf(file);
    if (!id) {
        throw desk::Failure(base::systemReason("a file of the disk cannot be looked at"));
    }
    return *id;
}

// None where the file has no name any more.
std::optional<std::filesystem::path> nameOf(int file) {
    constexpr std::string_view gone = " (deleted)";
    struct stat status {};
    const auto found = pathOf(file);
    if (!found || fstat(file, &status) != 0 || status.st_nlink == 0) {
        return std::nullopt;
    }
    std::string path = *found;
    // Its name was taken away and came back.
    if (path.ends_with(gone)) {
        path.resize(path.size() - gone.size());
    }
    return path;
}

bool isWithin(const std::filesystem::path &path, const std::filesystem::path &folder) {
    const std::string &text = path.native();
    const std::string &beginning = folder.native();
    return text.starts_with(beginning) &&
           (text.size() == beginning.size() || text[beginning.size()] == '/');
}

std::filesystem::path realFolder(const std::filesystem::path &path, const char *option) {
    std::error_code error;
    std::filesystem::path real = std::filesystem::canonical(path, error);
    if (error || !std::filesystem::is_directory(real, error) || real == "/") {
        throw desk::Failure(std::string(option) + " " + path.string() +
                            ": it is no folder; name the folder that the node's files lie in");
    }
    return real;
}

} // namespace

OwnFolder::OwnFolder(const std::filesystem::path &beside) {
    std::string name = (beside.parent_path() / ".ota-power.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw desk::Failure(base::systemReason(name + ": the folder cannot be made") +
                            "; what the node removes is kept there until it is synced");
    }
    path_ = name;
}

OwnFolder::~OwnFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Disk::Disk(const std::filesystem::path &root, const std::vector<std::filesystem::path> &ram)
    : root_(realFolder(root, "--disk")), keepFolder_(root_), names_(keepFolder_.path()) {
    for (const std::filesystem::path &folder : ram) {
        ram_.push_back(realFolder(folder, "--ram"));
        if (!isWithin(ram_.back(), root_) || ram_.back() == root_) {
            throw desk::Failure("--ram " + folder.string() + " does not lie below --disk " +
                                root.string() + "; name a folder in it");
        }
    }
}

Disk::Medium Disk::mediumOf(const std::filesystem::path &path) const {
    if (!isWithin(path, root_)) {
        return Medium::other;
    }
    for (const std::filesystem::path &folder : ram_) {
        if (isWithin(path, folder)) {
            return Medium::ram;
        }
    }
    return Medium::disk;
}

std::filesystem::path Disk::shown(const std::filesystem::path &path) const {
    return isWithin(path, root_) ? path.lexically_relative(root_) : path;
}

UnsyncedData &Disk::dataOf(const FileId &id, int file) {
    const auto known = std::find_if(data_.begin(), data_.end(),
                                    [&](const Changed &changed) { return changed.file == id; });
    if (known != data_.end()) {
        return known->data;
    }
    data_.push_back({id, UnsyncedData(openedAgain(file))});
    return data_.back().data;
}

void Disk::willWrite(int file, const Range &range) {
    const FileId id = idOf(file);
    dataOf(id, file).willWrite(range);
    inFlight_ = InFlight{id, range};
}

void Disk::willResize(int file, std::uint64_t size) { dataOf(idOf(file), file).willResize(size); }

void Disk::wasWrittenThrough(int file, const Range &range) {
    dataOf(idOf(file), file).wasWrittenThrough(range);
}

void Disk::synced(int fileOrFolder) {
    const FileId id = idOf(fileOrFolder);
    std::erase_if(data_, [&](const Changed &changed) { return changed.file == id; });
    names_.folderSynced(id);
}

void Disk::allSynced() {
    data_.clear();
    names_.allSynced();
}

Losses Disk::cut(CutMode mode, std::uint64_t seed) {
    Survival survival(mode, seed);
    Losses losses;
    for (NameLoss &name : names_.undoAllBut(survival.names(names_.count()))) {
        name.name = shown(name.name);
        name.from = shown(name.from);
        losses.add(name);
    }
    for (auto &[file, data] : data_) {
        const bool isInFlight = inFlight_ && inFlight_->file == file;
        const DataLoss loss =
            data.cut(survival, isInFlight ? std::optional(inFlight_->range) : std::nullopt);
        if (const auto path = nameOf(data.file())) {
            losses.add(shown(*path), loss);
        }
    }
    data_.clear();
    for (const std::filesystem::path &folder : ram_) {
        for (const auto &entry : std::filesystem::directory_iterator(folder)) {
            std::filesystem::remove_all(entry.path());
        }
    }
    return losses;
}

} // namespace power
