// SPDX-License-Identifier: MIT
#include "desk/power/unsynced_names.h"

#include "desk/failure.h"
#include "desk/power/tracee.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace power {
namespace {

[[noreturn]] void failOnName(const std::string &name, const char *what) {
    throw desk::Failure(base::systemReason(name + ": " + what) +
                        "; --disk and the folder it lies in must be on one file system");
}

base::UniqueFd openFolder(int folder, const std::string &name) {
    return base::UniqueFd(
        openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// A second name of the file, where the node does not see it.
class KeptFile : public Kept {
  public:
    KeptFile(const Place &place, std::filesystem::path path) : path_(std::move(path)) {
        if (linkat(place.folder->descriptor.get(), place.name.c_str(), AT_FDCWD, path_.c_str(),
                   0) != 0) {
            failOnName(place.name, "cannot be kept before it is removed");
        }
    }
    ~KeptFile() override { unlink(path_.c_str()); }

    void putBack(const Place &place) override {
        if (linkat(AT_FDCWD, path_.c_str(), place.folder->descriptor.get(), place.name.c_str(),
                   0) != 0 &&
            errno != EEXIST && errno != ENOENT) {
            failOnName(place.name, "cannot be put back");
        }
    }

  private:
    std::filesystem::path path_;
};

// It is empty when it goes; what it held comes back by changes that are undone later.
class KeptFolder : public Kept {
  public:
    KeptFolder(std::shared_ptr<Folder> folder, mode_t mode)
        : folder_(std::move(folder)), mode_(mode) {}

    void putBack(const Place &place) override {
        const int parent = place.folder->descriptor.get();
        if (mkdirat(parent, place.name.c_str(), mode_) != 0 && errno != EEXIST && errno != ENOENT) {
            failOnName(place.name, "cannot be put back");
        }
        folder_->descriptor = openFolder(parent, place.name);
    }

  private:
    std::shared_ptr<Folder> folder_;
    mode_t mode_;
};

void removeAll(const Place &place) {
    const std::filesystem::path folder =
        "/proc/self/fd/" + std::to_string(place.folder->descriptor.get());
    std::error_code error;
    std::filesystem::remove_all(folder / place.name, error);
    if (error && error != std::errc::no_such_file_or_directory) {
        errno = error.value();
        failOnName(place.name, "cannot be taken away");
    }
}

void moveBack(const NameChange &change, unsigned int flags) {
    if (renameat2(change.place.folder->descriptor.get(), change.place.name.c_str(),
                  change.from.folder->descriptor.get(), change.from.name.c_str(), flags) != 0 &&
        errno != ENOENT) {
        failOnName(change.place.name, "cannot be renamed back");
    }
}

void undo(const NameChange &change) {
    switch (change.kind) {
    case NameChange::Kind::made:
        removeAll(change.place);
        break;
    case NameChange::Kind::removed:
        break;
    case NameChange::Kind::renamed:
        moveBack(change, 0);
        break;
    case NameChange::Kind::exchanged:
        moveBack(change, RENAME_EXCHANGE);
        break;
    }
    if (change.kept) {
        change.kept->putBack(change.place);
    }
}

const char *wordFor(NameChange::Kind kind) {
    switch (kind) {
    case NameChange::Kind::made:
        return "made";
    case NameChange::Kind::removed:
        return "removed";
    case NameChange::Kind::renamed:
        return "renamed";
    case NameChange::Kind::exchanged:
        return "exchanged";
    }
    return "";
}

// As it is called now; empty where there is none.
std::filesystem::path placeOf(const Place &place) {
    const auto folder = place.folder ? pathOf(place.folder->descriptor.get()) : std::nullopt;
    return folder ? *folder / place.name : std::filesystem::path();
}

NameLoss lossOf(const NameChange &change) {
    return {wordFor(change.kind), placeOf(change.from), placeOf(change.place),
            change.kept != nullptr};
}

} // namespace

std::optional<FileId> fileIdOf(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return std::nullopt;
    }
    return FileId{status.st_dev, status.st_ino};
}

UnsyncedNames::UnsyncedNames(std::filesystem::path keepFolder)
    : keepFolder_(std::move(keepFolder)) {}

std::shared_ptr<Folder> UnsyncedNames::folderOf(int descriptor) {
    base::UniqueFd own = openFolder(descriptor, ".");
    const auto id = fileIdOf(own.get());
    if (!id) {
        failOnName("a folder", "cannot be opened");
    }
    std::weak_ptr<Folder> &known = folders_[*id];
    if (auto folder = known.lock()) {
        return folder;
    }
    auto folder = std::make_shared<Folder>(Folder{*id, std::move(own)});
    known = folder;
    return folder;
}

std::unique_ptr<Kept> UnsyncedNames::keep(const Place &place) {
    struct stat status {};
    if (fstatat(place.folder->descriptor.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) !=
        0) {
        return nullptr;
    }
    if (S_ISDIR(status.st_mode)) {
        const base::UniqueFd folder = openFolder(place.folder->descriptor.get(), place.name);
        return std::make_unique<KeptFolder>(folderOf(folder.get()), status.st_mode & 07777);
    }
    return std::make_unique<KeptFile>(place, keepFolder_ / std::to_string(++lastKept_));
}

std::shared_ptr<NameChange> UnsyncedNames::willMake(int folder, const std::string &name) {
    return std::make_shared<NameChange>(
        NameChange{NameChange::Kind::made, {}, {folderOf(folder), name}, nullptr});
}

std::shared_ptr<NameChange> UnsyncedNames::willRemove(int folder, const std::string &name) {
    const Place place{folderOf(folder), name};
    return std::make_shared<NameChange>(
        NameChange{NameChange::Kind::removed, {}, place, keep(place)});
}

std::shared_ptr<NameChange> UnsyncedNames::willRename(int fromFolder, const std::string &from,
                                                      int toFolder, const std::string &to,
                                                      bool exchange) {
    const Place place{folderOf(toFolder), to};
    return std::make_shared<NameChange>(
        NameChange{exchange ? NameChange::Kind::exchanged : NameChange::Kind::renamed,
                   {folderOf(fromFolder), from},
                   place,
                   exchange ? nullptr : keep(place)});
}

void UnsyncedNames::happened(std::shared_ptr<NameChange> change) {
    changes_.push_back(std::move(change));
}

void UnsyncedNames::folderSynced(const FileId &folder) {
    std::erase_if(changes_, [&](const std::shared_ptr<NameChange> &change) {
        return change->place.folder->id == folder ||
               (change->from.folder && change->from.folder->id == folder);
    });
}

void UnsyncedNames::allSynced() { changes_.clear(); }

std::vector<NameLoss> UnsyncedNames::undoAllBut(std::size_t surviving) {
    std::vector<NameLoss> undone;
    for (; changes_.size() > surviving; changes_.pop_back()) {
        undone.push_back(lossOf(*changes_.back()));
        undo(*changes_.back());
    }
    changes_.clear();
    return undone;
}

} // namespace power
