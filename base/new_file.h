// SPDX-License-Identifier: MIT
// A file that appears under its name only once it is whole.
#ifndef BASE_NEW_FILE_H
#define BASE_NEW_FILE_H

#include "base/file_io.h"
#include "base/result.h"

#include <string>
#include <sys/types.h>

namespace base {

/* A name in a directory that is held open: whoever renames or links what leads there changes it no
 * more. */
struct OutputPlace {
    UniqueFd directory;
    std::string name;

    /* For as long as this lives. */
    std::string path() const;
};

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

    /*
     * Follows the path as the kernel does, but through no link of another user than root and this
     * process's: it would be that user who says which file is replaced. Error: there is such a
     * link, no such directory, or something in the file's place that is no regular file.
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
