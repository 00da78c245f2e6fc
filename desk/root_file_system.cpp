// SPDX-License-Identifier: MIT
// Gathers programs and their libraries, as an initramfs maker does.
#include "desk/root_file_system.h"

#include "desk/child.h"
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/sizes.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <set>
#include <sstream>

namespace desk {
namespace {

namespace fs = std::filesystem;

// What a gateway has; whatever else this machine offers follows until the size is reached.
constexpr std::array kWanted{"/usr/bin/openssl", "/usr/bin/curl", "/usr/sbin/nginx",
                             "/usr/bin/wget",    "/usr/bin/tar",  "/usr/bin/bash",
                             "/usr/sbin/ip",     "/usr/bin/ssh",  "/usr/sbin/tcpdump",
                             "/usr/bin/perl",    "/usr/bin/dash", "/usr/sbin/iptables",
                             "/usr/bin/vim",     "/usr/bin/nano"};
constexpr std::array kBusyboxNames{"sh", "init",   "mount", "ls",   "cat",
                                   "rm", "reboot", "ps",    "echo", "ip"};
constexpr std::size_t kProgramsAtOnce = 8;
// Programs shrink to somewhat under a half; the first try is to be enough as a rule.
constexpr std::uint64_t kFirstFactor = 2;

bool isElf(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, 4> magic{};
    file.read(magic.data(), magic.size());
    return file && std::equal(magic.begin(), magic.end(), "\177ELF");
}

std::vector<fs::path> programs() {
    std::vector<fs::path> found;
    for (const char *folder : {"/usr/bin", "/usr/sbin"}) {
        for (const auto &entry : fs::directory_iterator(folder)) {
            if (entry.is_regular_file() && !entry.is_symlink() && isElf(entry.path())) {
                found.push_back(entry.path());
            }
        }
    }
    std::sort(found.begin(), found.end());
    const auto wanted = [](const fs::path &path) {
        return std::find(kWanted.begin(), kWanted.end(), path.string()) != kWanted.end();
    };
    std::stable_partition(found.begin(), found.end(), wanted);
    return found;
}

class Tree {
  public:
    Tree(fs::path root, fs::path workFolder, const Interrupt &interrupt)
        : root_(std::move(root)), work_(std::move(workFolder)), interrupt_(interrupt) {
        makeSkeleton();
    }

    void add(const std::vector<fs::path> &batch) {
        for (const fs::path &program : batch) {
            copy(program);
        }
        for (const fs::path &library : librariesOf(batch)) {
            copy(library);
        }
    }
    void addBusybox();
    [[nodiscard]] std::uint64_t bytes() const { return bytes_; }

  private:
    void makeSkeleton();
    void copy(const fs::path &path);
    std::set<fs::path> librariesOf(const std::vector<fs::path> &batch);

    fs::path root_;
    fs::path work_;
    const Interrupt &interrupt_;
    std::uint64_t bytes_ = 0;
};

void Tree::makeSkeleton() {
    for (const char *folder : {"usr/bin", "usr/sbin", "usr/lib", "usr/lib64", "etc", "proc", "sys",
                               "dev", "tmp", "var", "mnt"}) {
        fs::create_directories(root_ / folder);
    }
    for (const char *name : {"bin", "sbin", "lib", "lib64"}) {
        fs::create_directory_symlink(fs::path("usr") / name, root_ / name);
    }
    writeFile(root_ / "etc/inittab", "::sysinit:/bin/mount -t proc proc /proc\n"
                                     "::respawn:/bin/sh\n");
}

void Tree::copy(const fs::path &path) {
    const fs::path target = root_ / path.relative_path();
    std::error_code error;
    if (fs::exists(target)) {
        return;
    }
    fs::create_directories(target.parent_path());
    // A program that may not be read by this user is left out.
    if (fs::copy_file(path, target, error)) {
        bytes_ += fs::file_size(target);
    }
}

void Tree::addBusybox() {
    const fs::path busybox("/usr/bin/busybox");
    const fs::path here = fs::exists(busybox) ? busybox : fs::path("/bin/busybox");
    if (!fs::exists(here)) {
        throw Failure("no busybox on this machine: install the package busybox-static");
    }
    fs::copy_file(here, root_ / "usr/bin/busybox");
    bytes_ += fs::file_size(here);
    for (const char *name : kBusyboxNames) {
        std::error_code error;
        fs::create_symlink("busybox", root_ / "usr/bin" / name, error);
    }
}

std::set<fs::path> Tree::librariesOf(const std::vector<fs::path> &batch) {
    const fs::path list = work_ / "libraries.txt";
    std::vector<std::string> arguments{"/bin/sh", "-c",
                                       "ldd \"$@\" >libraries.txt 2>&1 || :", "ldd"};
    for (const fs::path &program : batch) {
        arguments.push_back(program.string());
    }
    runProgram(Launch{arguments, work_, work_ / "ldd.log"}, interrupt_);
    std::istringstream lines(readFile(list));
    std::set<fs::path> libraries;
    // "name => /path (address)" or "/path (address)"
    for (std::string line; std::getline(lines, line);) {
        const std::size_t begin = line.find('/');
        const std::size_t end = line.find(" (0x");
        if (begin != std::string::npos && end != std::string::npos && begin < end) {
            const std::size_t arrow = line.find("=> ");
            const std::size_t path = arrow == std::string::npos ? begin : arrow + 3;
            libraries.insert(line.substr(path, end - path));
        }
    }
    return libraries;
}

void pack(const fs::path &root, const fs::path &squashfs, const fs::path &work,
          const Interrupt &interrupt) {
    fs::remove(squashfs);
    runProgram(Launch{{"mksquashfs", root.string(), squashfs.string(), "-all-root", "-noappend",
                       "-no-progress", "-no-xattrs", "-Xcompression-level", "1"},
                      work,
                      work / "mksquashfs.log"},
               interrupt);
}

} // namespace

void makeRootFileSystem(const fs::path &folder, const fs::path &squashfs, std::uint64_t leastBytes,
                        const Interrupt &interrupt) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    const fs::path root = folder / "root";
    Tree tree(root, folder, interrupt);
    tree.addBusybox();
    const std::vector<fs::path> available = leastBytes > 0 ? programs() : std::vector<fs::path>{};
    std::uint64_t wanted = leastBytes * kFirstFactor;
    auto next = available.begin();
    for (;;) {
        while (next != available.end() && tree.bytes() < wanted) {
            const auto count = std::min<std::ptrdiff_t>(kProgramsAtOnce, available.end() - next);
            tree.add({next, next + count});
            next += count;
        }
        pack(root, squashfs, folder, interrupt);
        if (fs::file_size(squashfs) >= leastBytes) {
            break;
        }
        if (next == available.end()) {
            throw Failure("this machine has too few programs for an image of " +
                          readableSize(leastBytes) + ": install some (openssl, curl, perl)");
        }
        wanted = tree.bytes() + leastBytes;
    }
    fs::remove_all(root);
}

} // namespace desk
