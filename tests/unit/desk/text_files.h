// SPDX-License-Identifier: MIT
// Whole files as texts.
#ifndef TESTS_UNIT_DESK_TEXT_FILES_H
#define TESTS_UNIT_DESK_TEXT_FILES_H

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace desk {

inline void writeFile(const std::filesystem::path &path, const std::string &text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// Empty where there is no such file.
inline std::string readFile(const std::filesystem::path &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace desk

#endif
