// SPDX-License-Identifier: MIT
// A file that appears under its name only once it is whole.
#ifndef BASE_NEW_FILE_H
#define BASE_NEW_FILE_H

#include "base/file_io.h"
#include "base/output_place.h"
#include "base/result.h"

#include <string>
#include <sys/types.h>

namespace base {

/*
 * Until it is finished it has a name of its own beside the file, which is gone with this object.
 * Its errors name the file.
 */
class NewFile {
  public:
    NewFile() = default;
    ~NewFile();
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    /* Where `path` is a link of this user or root, the file that it leads to; see output_place.h.
     */
    Result<void> begin(const std::string &path, mode_t mode);
    Result<void> write(const void *bytes, std::size_t size);
    /* Replaces what is there. Blocks until the disk has it all. After a failure the old file may
     * stand there or the whole new one. */
    Result<void> finish();

  private:
    Error failure() const;

    std::string path_; // as it was named
    OutputPlace place_;
    std::string unfinished_; // empty: there is none
    UniqueFd file_;
};

} // namespace base

#endif
