// SPDX-License-Identifier: MIT
// A folder of the test, and whole files in it.
#ifndef TESTS_SERVICE_STATE_FILES_H
#define TESTS_SERVICE_STATE_FILES_H

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <system_error>

inline constexpr int kPatience = 60'000; // milliseconds; only a failure waits that long

/* Made at the start, removed with what it holds at the end. */
class InAFolder : public testing::Test {
  protected:
    InAFolder() : folder_(std::filesystem::temp_directory_path() / "keep-XXXXXX") {
        if (mkdtemp(folder_.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), folder_);
        }
    }
    ~InAFolder() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    InAFolder(const InAFolder &) = delete;
    InAFolder &operator=(const InAFolder &) = delete;

    std::string in(const std::string &name) const { return folder_ + "/" + name; }

  private:
    std::string folder_;
};

inline std::string textOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeText(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

#endif
