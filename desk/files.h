// SPDX-License-Identifier: MIT
// Reading, writing and comparing whole files.
#ifndef DESK_FILES_H
#define DESK_FILES_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace desk {

// Replaces the file; throws a Failure where it cannot.
void writeFile(const std::filesystem::path &path, const std::string &text);
// Empty where there is no such file.
std::string readFile(const std::filesystem::path &path);
// The MD5 sum as 32 hexadecimal digits; throws a Failure where the file cannot be read.
std::string md5Of(const std::filesystem::path &path);
// True where `bank` begins with the first `size` bytes of `image`.
bool beginsWith(const std::filesystem::path &bank, const std::filesystem::path &image,
                std::uint64_t size);

} // namespace desk

#endif
