// SPDX-License-Identifier: MIT
// A file of lines that grows at its end and is rotated by size.
#ifndef SERVICE_STATE_LINE_FILE_H
#define SERVICE_STATE_LINE_FILE_H

#include "base/result.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace service {

struct LineFile {
    std::string path;
    std::uint64_t maxBytes = 0;
    int keep = 0; // older files beside it, path.1 to path.<keep>
    /*
     * What is to stay of the whole text where it becomes too large; empty: rotate at once. The file
     * is rotated where what stays leaves no room either.
     */
    std::function<std::string(std::string_view text)> thinOut{};
};

/* "path.<number>"; number 0 is the file itself. */
std::string rotationOf(const std::string &path, int number);

/*
 * Adds the lines, each with a line end, and syncs them together; blocks. A file that would grow
 * over maxBytes is thinned out or rotated before: path to path.1, and so on up to path.<keep>; with
 * 0 it is removed. A last line that was cut by a power loss is ended first.
 */
base::Result<void> appendLines(const LineFile &target, const std::vector<std::string_view> &lines);

/*
 * Hands over each line of the file; blocks. Nothing but a regular file is read, and of a line
 * longer than `longest` no more than that and one byte. One that is not there has no lines.
 */
void readLines(const std::string &path, std::size_t longest,
               const std::function<void(std::string line)> &take);

} // namespace service

#endif
