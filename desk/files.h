// SPDX-License-Identifier: MIT
// Reading, writing and comparing whole files.
#ifndef DESK_FILES_H
#define DESK_FILES_H

#include <cstdint>
#include <filesystem>
#include <string>

namespace desk {

// The path from the root on; throws a Failure where the current directory is gone.
std::filesystem::path absolutePath(const std::filesystem::path &path);
// Throws a Failure where the file system of an existing folder has fewer bytes free.
void requireSpace(const std::filesystem::path &folder, std::uint64_t bytes);
// Replaces the file; throws a Failure where it cannot.
void writeFile(const std::filesystem::path &path, const std::string &text);
// Into a new file that only this user may write to, whoever may write to the old one; throws a
// Failure where it cannot.
void copyFile(const std::filesystem::path &from, const std::filesystem::path &path);
// Empty where there is no such file.
std::string readFile(const std::filesystem::path &path);
// The MD5 sum as 32 hexadecimal digits; throws a Failure where the file cannot be read.
std::string md5Of(const std::filesystem::path &path);
// True where `bank` begins with the first `size` bytes of `image`.
bool beginsWith(const std::filesystem::path &bank, const std::filesystem::path &image,
                std::uint64_t size);

} // namespace desk

#endif
