// SPDX-License-Identifier: MIT
// Changes of names in folders that were not synced, and how each of them is undone.
#ifndef DESK_POWER_UNSYNCED_NAMES_H
#define DESK_POWER_UNSYNCED_NAMES_H

#include "base/file_io.h"
#include "desk/power/losses.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <tuple>
#include <vector>

namespace power {

struct FileId {
    dev_t device = 0;
    ino_t number = 0;
    bool operator==(const FileId &) const = default;
    bool operator<(const FileId &other) const {
        return std::tie(device, number) < std::tie(other.device, other.number);
    }
};

// Of an open file or folder; none where the descriptor is bad.
std::optional<FileId> fileIdOf(int descriptor);

// A folder by a descriptor: it is still found when it, or what is above it, was renamed.
struct Folder {
    FileId id;
    base::UniqueFd descriptor;
};

struct Place {
    std::shared_ptr<Folder> folder;
    std::string name;
};

// What a call takes away from its place, so that it can be put back.
class Kept {
  public:
    virtual ~Kept() = default;
    virtual void putBack(const Place &place) = 0;
};

struct NameChange {
    enum class Kind { made, removed, renamed, exchanged };
    Kind kind = Kind::made;
    Place from;                 // of a rename
    Place place;                // what was made or removed, or the new name
    std::unique_ptr<Kept> kept; // what stood there before; null: nothing
};

class UnsyncedNames {
  public:
    // keepFolder: on the same file system as the names, and none of theirs.
    explicit UnsyncedNames(std::filesystem::path keepFolder);

    // Each before the call; folders are open descriptors, that may be opened with O_PATH.
    std::shared_ptr<NameChange> willMake(int folder, const std::string &name);
    std::shared_ptr<NameChange> willRemove(int folder, const std::string &name);
    std::shared_ptr<NameChange> willRename(int fromFolder, const std::string &from, int toFolder,
                                           const std::string &to, bool exchange);
    // After the call, where it succeeded.
    void happened(std::shared_ptr<NameChange> change);

    // What was changed in this folder is on the disk. A rename from one folder into another is on
    // it as a whole once either folder is, as a journal of a file system does it.
    void folderSynced(const FileId &folder);
    void allSynced();

    [[nodiscard]] std::size_t count() const { return changes_.size(); }
    // All but so many of the oldest are undone, the newest first; returns them.
    std::vector<NameLoss> undoAllBut(std::size_t surviving);

  private:
    std::shared_ptr<Folder> folderOf(int descriptor);
    std::unique_ptr<Kept> keep(const Place &place);

    std::filesystem::path keepFolder_;
    std::uint64_t lastKept_ = 0;
    std::map<FileId, std::weak_ptr<Folder>> folders_;
    std::deque<std::shared_ptr<NameChange>> changes_; // the newest last
};

} // namespace power

#endif
