// SPDX-License-Identifier: MIT
// Storage faults on demand: stand-ins for rename, fsync, ftruncate, flock and writes in this
// executable.
#include "faults.h"

#include "next_function.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace faults {
namespace {

struct Fault {
    int countdown = 0; // 0: none; 1: the next call fails
    int errnoValue = 0;
    bool once = false;
};

std::array<Fault, 6> planned;
std::size_t longestWrite = 0;
int callsUntilCut = 0; // 0: none
int syncsUntilAction = 0;
std::function<void()> syncAction;

bool fails(Call call) {
    Fault &fault = planned.at(static_cast<std::size_t>(call));
    if (fault.countdown > 1) {
        --fault.countdown;
        return false;
    }
    if (fault.countdown == 1) {
        errno = fault.errnoValue;
        fault.countdown = fault.once ? 0 : 1;
        return true;
    }
    return false;
}

bool powerIsCut() { return callsUntilCut > 0 && --callsUntilCut == 0; }

void endWherePowerIsCut() {
    if (powerIsCut()) {
        _exit(kPowerCut);
    }
}

bool isDirectory(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
}

bool isPipe(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISFIFO(status.st_mode);
}

std::size_t mostOf(std::size_t size) {
    return longestWrite != 0 && size > longestWrite ? longestWrite : size;
}

void runSyncAction() {
    if (syncsUntilAction > 0 && --syncsUntilAction == 0) {
        syncAction();
    }
}

} // namespace

void failFrom(Call call, int n, int errnoValue) {
    planned.at(static_cast<std::size_t>(call)) = {n, errnoValue, false};
}

void failOnce(Call call, int n, int errnoValue) {
    planned.at(static_cast<std::size_t>(call)) = {n, errnoValue, true};
}

void cutPowerAt(int n) { callsUntilCut = n; }

void shortenWrites(std::size_t most) { longestWrite = most; }

void afterFileSync(int n, std::function<void()> action) {
    syncAction = std::move(action);
    syncsUntilAction = n;
}

void clear() {
    planned = {};
    longestWrite = 0;
    callsUntilCut = 0;
    syncsUntilAction = 0;
}

} // namespace faults

extern "C" {

int rename(const char *from, const char *to) noexcept {
    faults::endWherePowerIsCut();
    return faults::fails(faults::Call::rename)
               ? -1
               : ota::test::nextFunction<int(const char *, const char *)>("rename")(from, to);
}

int fsync(int fd) {
    faults::endWherePowerIsCut();
    const bool directory = faults::isDirectory(fd);
    if (faults::fails(directory ? faults::Call::directorySync : faults::Call::fileSync)) {
        return -1;
    }
    const int result = ota::test::nextFunction<int(int)>("fsync")(fd);
    if (!directory) {
        faults::runSyncAction();
    }
    return result;
}

ssize_t write(int fd, const void *bytes, size_t size) {
    const auto store = ota::test::nextFunction<ssize_t(int, const void *, size_t)>("write");
    const bool toStorage = fd != STDERR_FILENO && fd != STDOUT_FILENO;
    if (toStorage && faults::powerIsCut()) {
        store(fd, bytes, size / 2);
        _exit(faults::kPowerCut);
    }
    if (toStorage && faults::fails(faults::Call::write)) {
        return -1;
    }
    return store(fd, bytes, faults::mostOf(size));
}

// Into a file it is a write; into a pipe nothing is stored.
ssize_t splice(int from, off64_t *at, int fd, off64_t *to, size_t size, unsigned int flags) {
    const auto move =
        ota::test::nextFunction<ssize_t(int, off64_t *, int, off64_t *, size_t, unsigned int)>(
            "splice");
    const bool toStorage = !faults::isPipe(fd);
    if (toStorage && faults::powerIsCut()) {
        move(from, at, fd, to, size / 2, flags);
        _exit(faults::kPowerCut);
    }
    if (faults::fails(faults::Call::move) || (toStorage && faults::fails(faults::Call::write))) {
        return -1;
    }
    return move(from, at, fd, to, toStorage ? faults::mostOf(size) : size, flags);
}

ssize_t pwrite(int fd, const void *bytes, size_t size, off_t at) {
    const auto store = ota::test::nextFunction<ssize_t(int, const void *, size_t, off_t)>("pwrite");
    if (faults::powerIsCut()) {
        store(fd, bytes, size / 2, at);
        _exit(faults::kPowerCut);
    }
    return store(fd, bytes, size, at);
}

int flock(int fd, int operation) noexcept {
    return faults::fails(faults::Call::lock)
               ? -1
               : ota::test::nextFunction<int(int, int)>("flock")(fd, operation);
}

int ftruncate(int fd, off_t size) noexcept {
    faults::endWherePowerIsCut();
    return ota::test::nextFunction<int(int, off_t)>("ftruncate")(fd, size);
}
}
