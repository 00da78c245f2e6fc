// SPDX-License-Identifier: MIT
// Stand-ins for files and directories; the debug log is told apart from all other files.
#include "files.h"

#include "agent_library.h"
#include "journal.h"
#include "log_checks.h"
#include "next_function.h"
#include "node.h"

#include <dirent.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace ota::test {

namespace {

std::FILE *gDebugLog = nullptr;
std::uintmax_t gDebugLogStart = 0;
std::size_t gNextName = 0;

bool isDebugLog(const char *path) {
    return path[0] != '\0' && std::strcmp(path, AGENT_VAR(g_otaSwLog)) == 0;
}

void noteFile(const std::string &text) { journal().add(Kind::kFile, text); }

std::string pathOf(int descriptor) {
    for (const auto &[stream, path] : files().open) {
        if (fileno(stream) == descriptor) {
            return path;
        }
        // The stream handle itself, where a descriptor belongs.
        if (static_cast<int>(reinterpret_cast<std::intptr_t>(stream)) == descriptor) {
            return "stream of " + path;
        }
    }
    return "an unknown file";
}

std::string contentFrom(const std::string &path, std::uintmax_t start) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(start));
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

std::uintmax_t sizeOf(const std::string &path) {
    std::error_code missing;
    const std::uintmax_t size = std::filesystem::file_size(path, missing);
    return missing ? 0 : size;
}

std::FILE *openForAgent(const char *path, const char *mode) {
    static auto *const next = nextFunction<std::FILE *(const char *, const char *)>("fopen");
    if (const auto fault = files().failOpen.find(path); fault != files().failOpen.end()) {
        errno = fault->second;
        return nullptr;
    }
    const bool debugLog = isDebugLog(path);
    const std::uintmax_t size = debugLog ? sizeOf(path) : 0;
    std::FILE *stream = next(path, mode);
    if (stream == nullptr) {
        return nullptr;
    }
    if (debugLog) {
        gDebugLog = stream;
        gDebugLogStart = mode[0] == 'a' ? size : 0;
    } else {
        files().open[stream] = path;
    }
    return stream;
}

} // namespace

Files &files() {
    static Files theFiles;
    return theFiles;
}

bool exists(const std::string &path) { return std::filesystem::exists(path); }

std::string contentOf(const std::string &path) { return contentFrom(path, 0); }

void writeFile(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

} // namespace ota::test

using namespace ota::test;

extern "C" {

FILE *fopen(const char *path, const char *mode) {
    if (!agentIsActive()) {
        static auto *const next = nextFunction<FILE *(const char *, const char *)>("fopen");
        return next(path, mode);
    }
    const HarnessScope harness;
    if (!isDebugLog(path)) {
        noteFile("fopen " + std::string(path) + " " + mode);
    }
    return openForAgent(path, mode);
}

int fclose(FILE *stream) {
    static auto *const next = nextFunction<int(FILE *)>("fclose");
    if (!agentIsActive()) {
        return next(stream);
    }
    const HarnessScope harness;
    if (stream == gDebugLog) {
        gDebugLog = nullptr;
        const int result = next(stream);
        addDebugEntry(contentFrom(AGENT_VAR(g_otaSwLog), gDebugLogStart));
        return result;
    }
    noteFile("fclose " + files().open[stream]);
    files().open.erase(stream);
    return next(stream);
}

int fflush(FILE *stream) {
    static auto *const next = nextFunction<int(FILE *)>("fflush");
    if (agentIsActive()) {
        const HarnessScope harness;
        noteFile(stream == nullptr ? "fflush all" : "fflush " + files().open[stream]);
    }
    return next(stream);
}

int access(const char *path, int mode) noexcept {
    static auto *const next = nextFunction<int(const char *, int)>("access");
    if (!agentIsActive()) {
        return next(path, mode);
    }
    const HarnessScope harness;
    journal().add(Kind::kQuery, "access " + std::string(path) +
                                    (mode == F_OK ? " F_OK" : " " + std::to_string(mode)));
    if (const auto fault = files().failAccess.find(path); fault != files().failAccess.end()) {
        errno = fault->second;
        return -1;
    }
    return next(path, mode);
}

int flock(int descriptor, int operation) noexcept {
    if (!agentIsActive()) {
        return nextFunction<int(int, int)>("flock")(descriptor, operation);
    }
    const HarnessScope harness;
    const std::string name = operation == LOCK_SH   ? "LOCK_SH"
                             : operation == LOCK_EX ? "LOCK_EX"
                             : operation == LOCK_UN ? "LOCK_UN"
                                                    : std::to_string(operation);
    journal().add(Kind::kAction, "flock " + pathOf(descriptor) + " " + name);
    return node().resultOf("flock");
}

int stat(const char *path, struct stat *status) noexcept {
    static auto *const next = nextFunction<int(const char *, struct stat *)>("stat");
    if (agentIsActive()) {
        const HarnessScope harness;
        if (!isDebugLog(path)) {
            noteFile("stat " + std::string(path));
        }
    }
    return next(path, status);
}

DIR *opendir(const char *path) {
    static auto *const next = nextFunction<DIR *(const char *)>("opendir");
    if (agentIsActive()) {
        const HarnessScope harness;
        noteFile("opendir " + std::string(path));
        gNextName = 0;
        if (const auto fault = files().failOpen.find(path); fault != files().failOpen.end()) {
            errno = fault->second;
            return nullptr;
        }
    }
    return next(path);
}

struct dirent *readdir(DIR *directory) {
    static auto *const next = nextFunction<struct dirent *(DIR *)>("readdir");
    if (!agentIsActive()) {
        return next(directory);
    }
    const HarnessScope harness;
    if (files().listing.empty()) {
        return next(directory);
    }
    if (gNextName == files().listing.size()) {
        return nullptr;
    }
    static struct dirent entry;
    entry = {};
    files().listing[gNextName++].copy(entry.d_name, sizeof entry.d_name - 1);
    return &entry;
}

int closedir(DIR *directory) {
    static auto *const next = nextFunction<int(DIR *)>("closedir");
    if (agentIsActive()) {
        const HarnessScope harness;
        noteFile("closedir");
    }
    return next(directory);
}

} // extern "C"
