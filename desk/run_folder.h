// SPDX-License-Identifier: MIT
// The one folder that a run writes in.
#ifndef DESK_RUN_FOLDER_H
#define DESK_RUN_FOLDER_H

#include "base/file_io.h"
#include "desk/folder_lock.h"

#include <filesystem>
#include <optional>
#include <string>

namespace desk {

class RunFolder {
  public:
    // Makes the folder, or empties it where an earlier run made it. A folder that holds anything
    // else, or that a run is using, is left alone: a Failure says so. So it is where others than
    // this user may write there, to the folder or to one above it, or where it is somebody else's.
    explicit RunFolder(const std::filesystem::path &path);

    // Absolute.
    [[nodiscard]] const std::filesystem::path &path() const { return path_; }

  private:
    void checkThatItMayBeEmptied() const;
    void empty() const;
    void keepToThisUser();
    static void require(const std::string &flaw);
    [[nodiscard]] std::filesystem::path held() const;

    std::filesystem::path path_;
    base::UniqueFd folder_; // that was judged
    std::optional<FolderLock> lock_;
};

} // namespace desk

#endif
