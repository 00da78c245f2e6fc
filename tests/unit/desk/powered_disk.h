// SPDX-License-Identifier: MIT
// A disk in a temporary folder, and calls on it as a program makes them.
#ifndef TESTS_DESK_POWERED_DISK_H
#define TESTS_DESK_POWERED_DISK_H

#include "desk/power/disk.h"
#include "tests/unit/desk/text_files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using power::CutMode;
using power::kSectorSize;

constexpr std::uint64_t kAnySeed = 7;

// Calls as a program makes them, each told to the disk before and after.
class PoweredDisk : public testing::Test {
  protected:
    PoweredDisk() : place_(newFolder()), root_(place_ / "disk") {
        fs::create_directory(root_);
        fs::create_directory(root_ / "ram");
        disk_.emplace(root_, std::vector<fs::path>{root_ / "ram"});
    }
    ~PoweredDisk() override {
        disk_.reset();
        fs::remove_all(place_);
    }

    static fs::path newFolder() {
        std::string name = (fs::temp_directory_path() / "power-XXXXXX").string();
        return mkdtemp(name.data());
    }

    // What was there before anything was watched.
    void given(const std::string &name, const std::string &text) const {
        desk::writeFile(root_ / name, text);
    }
    [[nodiscard]] std::string read(const std::string &name) const {
        return desk::readFile(root_ / name);
    }
    [[nodiscard]] bool exists(const std::string &name) const { return fs::exists(root_ / name); }

    [[nodiscard]] base::UniqueFd opened(const std::string &name, int flags = O_RDWR) const {
        return base::UniqueFd(open((root_ / name).c_str(), flags | O_CLOEXEC));
    }
    [[nodiscard]] base::UniqueFd folder(const std::string &name = ".") const {
        return opened(name, O_PATH | O_DIRECTORY);
    }

    void write(int file, std::uint64_t offset, const std::string &text) {
        disk_->willWrite(file, {offset, text.size()});
        ASSERT_EQ(pwrite(file, text.data(), text.size(), static_cast<off_t>(offset)),
                  static_cast<ssize_t>(text.size()));
    }
    void write(const std::string &name, std::uint64_t offset, const std::string &text) {
        write(opened(name).get(), offset, text);
    }
    void truncate(const std::string &name, std::uint64_t size) {
        const base::UniqueFd file = opened(name);
        disk_->willResize(file.get(), size);
        ASSERT_EQ(ftruncate(file.get(), static_cast<off_t>(size)), 0);
    }
    void make(const std::string &name) { make(folder(), name); }
    void make(const base::UniqueFd &where, const std::string &name) {
        const auto change = disk_->names().willMake(where.get(), name);
        ASSERT_GE(base::UniqueFd(openat(where.get(), name.c_str(), O_CREAT | O_WRONLY, 0600)).get(),
                  0);
        disk_->names().happened(change);
    }
    void makeFolder(const std::string &name) {
        const base::UniqueFd where = folder();
        const auto change = disk_->names().willMake(where.get(), name);
        ASSERT_EQ(mkdirat(where.get(), name.c_str(), 0700), 0);
        disk_->names().happened(change);
    }
    void remove(const std::string &name, int flags = 0, const std::string &in = ".") {
        const base::UniqueFd where = folder(in);
        const auto change = disk_->names().willRemove(where.get(), name);
        ASSERT_EQ(unlinkat(where.get(), name.c_str(), flags), 0);
        disk_->names().happened(change);
    }
    void rename(const std::string &from, const std::string &to, const std::string &toFolder = ".",
                unsigned int flags = 0) {
        const base::UniqueFd here = folder();
        const base::UniqueFd there = folder(toFolder);
        const auto change = disk_->names().willRename(here.get(), from, there.get(), to,
                                                      (flags & RENAME_EXCHANGE) != 0);
        ASSERT_EQ(renameat2(here.get(), from.c_str(), there.get(), to.c_str(), flags), 0);
        disk_->names().happened(change);
    }
    void sync(const std::string &name) { disk_->synced(opened(name, O_RDONLY).get()); }

    void drop() { disk_->cut(CutMode::drop, 0); }
    void tear(std::uint64_t seed) { disk_->cut(CutMode::tear, seed); }

    fs::path place_;
    fs::path root_;
    std::optional<power::Disk> disk_;
};

inline std::string sectors(std::size_t count, char byte) {
    return std::string(count * kSectorSize, byte);
}

#endif
