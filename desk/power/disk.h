// SPDX-License-Identifier: MIT
// A node's disk: what of it is synced, and what it holds once the power was cut.
#ifndef DESK_POWER_DISK_H
#define DESK_POWER_DISK_H

#include "desk/power/losses.h"
#include "desk/power/survival.h"
#include "desk/power/unsynced_data.h"
#include "desk/power/unsynced_names.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace power {

// A folder that is new and goes with its owner.
class OwnFolder {
  public:
    // Throws a Failure where it cannot be made beside this folder.
    explicit OwnFolder(const std::filesystem::path &beside);
    ~OwnFolder();
    OwnFolder(const OwnFolder &) = delete;
    OwnFolder &operator=(const OwnFolder &) = delete;

    [[nodiscard]] const std::filesystem::path &path() const { return path_; }

  private:
    std::filesystem::path path_;
};

/*
 * Told of every call before and after it happens, it knows how to take back what a power cut loses.
 * A file's bytes are safe once the file was synced, a name once its folder was: syncing a new file
 * does not keep its name. What is there at the beginning is safe. Bytes that change through a
 * shared mapping are not told of.
 *
 * Every call throws a Failure where the real disk refuses it. None blocks but for the real disk.
 */
class Disk {
  public:
    enum class Medium {
        other, // none of the node's
        disk,
        ram // below the disk, and empty after a power cut
    };

    // Both exist; the folders in ram lie below the disk.
    Disk(const std::filesystem::path &root, const std::vector<std::filesystem::path> &ram);

    // Of an absolute path without symbolic links.
    [[nodiscard]] Medium mediumOf(const std::filesystem::path &path) const;
    // The path as it is seen from the disk.
    [[nodiscard]] std::filesystem::path shown(const std::filesystem::path &path) const;

    // Before a regular file changes; the descriptor is any of that file.
    void willWrite(int file, const Range &range);
    void willResize(int file, std::uint64_t size);
    // After a write that syncs what it wrote.
    void wasWrittenThrough(int file, const Range &range);
    // After a file or a folder was synced; after everything was.
    void synced(int fileOrFolder);
    void allSynced();

    // Before names change, and once they have.
    UnsyncedNames &names() { return names_; }

    // Takes the disk to what the cut leaves, and returns what that took. Nobody may use it
    // meanwhile.
    Losses cut(CutMode mode, std::uint64_t seed);
    // The write that began last was done: a later cut does not meet it in flight.
    void noneInFlight() { inFlight_.reset(); }

  private:
    struct InFlight {
        FileId file;
        Range range;
    };
    struct Changed {
        FileId file;
        UnsyncedData data;
    };

    UnsyncedData &dataOf(const FileId &id, int file);

    std::filesystem::path root_;
    std::vector<std::filesystem::path> ram_;
    OwnFolder keepFolder_;
    UnsyncedNames names_;
    std::vector<Changed> data_; // in the order of their first changes, which a seed counts on
    std::optional<InFlight> inFlight_;
};

} // namespace power

#endif
