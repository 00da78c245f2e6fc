// SPDX-License-Identifier: MIT
// A file of lines that grows at its end and is rotated by size.
#ifndef HOST_DAEMON_KEEP_LINE_FILE_H
#define HOST_DAEMON_KEEP_LINE_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

namespace otad {

/* "path.<number>"; number 0 is the file itself. */
std::string rotationOf(const std::string &path, int number);

/*
 * Adds the line and a line end in one write and syncs it; blocks. A file that would grow over
 * maxBytes is rotated before: path to path.1, and so on up to path.<keep>; with 0 it is removed. A
 * last line that was cut by a power loss is ended first. Empty, or one line that says what is
 * wrong.
 */
std::string appendLine(const std::string &path, std::string_view line, std::uint64_t maxBytes,
                       int keep);

} // namespace otad

#endif
