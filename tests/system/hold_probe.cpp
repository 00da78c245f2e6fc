// SPDX-License-Identifier: MIT
// Preloaded into a node's processes: one of them stops where a test wants it, until it is let go.
//
// The file named by OTA_HOLD says where: "program call text n before|after", for the n-th such call
// of the program that has the text in what it is called with. Whoever stops writes its process id
// into that name with ".held" behind it and waits until the first file is gone.
// A host that starts while another one works in the same folder leaves that name with ".twin".
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr const char *kHost = "ota-desk-host";
constexpr long kGlanceNs = 2'000'000;
constexpr std::size_t kLongestPath = 512;
constexpr std::size_t kLongestSpot = 256;

template <typename Function>
Function *realFunction(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

struct Spot {
    char program[32]{};
    char call[16]{};
    char text[128]{};
    int count = 0;
    char moment[8]{};
};

enum class Moment { before, after };

// The libraries' own calls are what is watched, so these go to the C library directly.
int reallyOpen(const char *path, int flags) {
    static auto *const real = realFunction<int(const char *, int, ...)>("open");
    return real(path, flags | O_CLOEXEC, 0600);
}

bool readSpot(const char *path, Spot &spot) {
    char text[kLongestSpot]{};
    const int file = reallyOpen(path, O_RDONLY);
    if (file < 0) {
        return false;
    }
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    return length > 0 && std::sscanf(text, "%31s %15s %127s %d %7s", spot.program, spot.call,
                                     spot.text, &spot.count, spot.moment) == 5;
}

void leaveMark(const char *hold, const char *ending, long number) {
    char path[kLongestPath];
    char unfinished[kLongestPath];
    std::snprintf(path, sizeof path, "%s%s", hold, ending);
    std::snprintf(unfinished, sizeof unfinished, "%s%s.new", hold, ending);
    static auto *const reallyWrite = realFunction<ssize_t(int, const void *, std::size_t)>("write");
    static auto *const reallyRename = realFunction<int(const char *, const char *)>("rename");
    const int file = reallyOpen(unfinished, O_WRONLY | O_CREAT | O_TRUNC);
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%ld\n", number);
    if (file < 0 || reallyWrite(file, text, static_cast<std::size_t>(length)) != length ||
        close(file) != 0 || reallyRename(unfinished, path) != 0) {
        std::abort(); // the test would wait for it in vain
    }
}

void waitUntilGone(const char *hold) {
    static auto *const reallySleep = realFunction<int(const timespec *, timespec *)>("nanosleep");
    leaveMark(hold, ".held", getpid());
    while (access(hold, F_OK) == 0) {
        const timespec glance{0, kGlanceNs};
        reallySleep(&glance, nullptr);
    }
}

// The n-th call is counted from when the spot was named.
void pass(const char *call, const char *text, Moment moment) {
    const char *const hold = std::getenv("OTA_HOLD");
    const int error = errno;
    Spot spot;
    if (hold != nullptr && text != nullptr && readSpot(hold, spot) &&
        std::strcmp(spot.program, program_invocation_short_name) == 0 &&
        std::strcmp(spot.call, call) == 0 && std::strstr(text, spot.text) != nullptr) {
        static int before = 0;
        static int after = 0;
        int &passed = moment == Moment::before ? before : after;
        ++passed;
        const char *const wanted = moment == Moment::before ? "before" : "after";
        if (passed == spot.count && std::strcmp(spot.moment, wanted) == 0) {
            waitUntilGone(hold);
        }
    }
    errno = error;
}

bool nameOf(int file, char (&path)[PATH_MAX]) {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length <= 0) {
        return false;
    }
    path[length] = '\0';
    return true;
}

void passFile(const char *call, int file, Moment moment) {
    const char *const hold = std::getenv("OTA_HOLD");
    char path[PATH_MAX];
    if (hold != nullptr && access(hold, F_OK) == 0 && nameOf(file, path)) {
        pass(call, path, moment);
    }
}

bool sameFolder(const char *process) {
    char link[64];
    char mine[PATH_MAX]{};
    char other[PATH_MAX]{};
    std::snprintf(link, sizeof link, "/proc/%.20s/cwd", process);
    return readlink("/proc/self/cwd", mine, sizeof mine - 1) > 0 &&
           readlink(link, other, sizeof other - 1) > 0 && std::strcmp(mine, other) == 0;
}

// Neither ended nor ending.
bool isLivingHost(const char *process) {
    char path[64];
    char text[256]{};
    std::snprintf(path, sizeof path, "/proc/%.20s/stat", process);
    const int file = reallyOpen(path, O_RDONLY);
    const ssize_t length = file < 0 ? 0 : read(file, text, sizeof text - 1);
    if (file >= 0) {
        close(file);
    }
    const char *const end = std::strrchr(text, ')');
    return length > 0 && end != nullptr && std::strstr(text, kHost) != nullptr &&
           std::strchr("ZX", end[2]) == nullptr;
}

__attribute__((constructor)) void lookForTwin() {
    const char *const hold = std::getenv("OTA_HOLD");
    if (hold == nullptr || std::strcmp(program_invocation_short_name, kHost) != 0) {
        return;
    }
    DIR *const processes = opendir("/proc");
    if (processes == nullptr) {
        std::abort(); // twins would go unseen
    }
    while (const dirent *entry = readdir(processes)) {
        const long id = std::strtol(entry->d_name, nullptr, 10);
        if (id > 0 && id != getpid() && sameFolder(entry->d_name) && isLivingHost(entry->d_name)) {
            leaveMark(hold, ".twin", id);
        }
    }
    closedir(processes);
}

} // namespace

extern "C" int rename(const char *from, const char *to) noexcept {
    static auto *const real = realFunction<int(const char *, const char *)>("rename");
    pass("rename", to, Moment::before);
    const int result = real(from, to);
    pass("rename", to, Moment::after);
    return result;
}

extern "C" int open(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    static auto *const real = realFunction<int(const char *, int, ...)>("open");
    pass("open", path, Moment::before);
    const int result = real(path, flags, mode);
    pass("open", path, Moment::after);
    return result;
}

extern "C" FILE *fopen(const char *path, const char *how) {
    static auto *const real = realFunction<FILE *(const char *, const char *)>("fopen");
    pass("fopen", path, Moment::before);
    FILE *const result = real(path, how);
    pass("fopen", path, Moment::after);
    return result;
}

extern "C" FILE *popen(const char *command, const char *how) {
    static auto *const real = realFunction<FILE *(const char *, const char *)>("popen");
    pass("popen", command, Moment::before);
    FILE *const result = real(command, how);
    pass("popen", command, Moment::after);
    return result;
}

extern "C" int system(const char *command) {
    static auto *const real = realFunction<int(const char *)>("system");
    pass("system", command, Moment::before);
    const int result = real(command);
    pass("system", command, Moment::after);
    return result;
}

extern "C" int nanosleep(const timespec *span, timespec *left) {
    static auto *const real = realFunction<int(const timespec *, timespec *)>("nanosleep");
    // The agent's sleeps as the desk lets them pass; the platform's waits for a lock are longer.
    constexpr long kDeskSleep = 5'000'000;
    const char *const kind = span->tv_sec == 0 && span->tv_nsec == kDeskSleep ? "sleep" : "wait";
    pass("sleep", kind, Moment::before);
    const int result = real(span, left);
    pass("sleep", kind, Moment::after);
    return result;
}

extern "C" ssize_t write(int file, const void *bytes, std::size_t count) {
    static auto *const real = realFunction<ssize_t(int, const void *, std::size_t)>("write");
    passFile("write", file, Moment::before);
    const ssize_t result = real(file, bytes, count);
    passFile("write", file, Moment::after);
    return result;
}

// What moves from file to file is written too.
extern "C" ssize_t splice(int from, off64_t *fromAt, int to, off64_t *toAt, std::size_t count,
                          unsigned flags) {
    static auto *const real =
        realFunction<ssize_t(int, off64_t *, int, off64_t *, std::size_t, unsigned)>("splice");
    passFile("write", to, Moment::before);
    const ssize_t result = real(from, fromAt, to, toAt, count, flags);
    passFile("write", to, Moment::after);
    return result;
}

extern "C" int fsync(int file) {
    static auto *const real = realFunction<int(int)>("fsync");
    passFile("fsync", file, Moment::before);
    const int result = real(file);
    passFile("fsync", file, Moment::after);
    return result;
}
