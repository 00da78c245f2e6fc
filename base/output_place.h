// SPDX-License-Identifier: MIT
// Where a file that a person named is to be written.
#ifndef BASE_OUTPUT_PLACE_H
#define BASE_OUTPUT_PLACE_H

#include "base/file_io.h"
#include "base/result.h"

#include <string>

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
 * Follows the path as the kernel does, but through no link of another user than root and this
 * process's: it would be that user who says which file is replaced. Error: there is such a link, no
 * such directory, or something in the file's place that is no regular file.
 */
Result<OutputPlace> findOutputPlace(const std::string &path);

} // namespace base

#endif
