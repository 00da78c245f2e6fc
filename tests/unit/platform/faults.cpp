// SPDX-License-Identifier: MIT
// Storage faults on demand: stand-ins for rename, fsync and write in this executable.
#include "faults.h"

#include "next_function.h"

#include <array>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace faults {
namespace {

struct Fault {
    int countdown = 0; // 0: none; 1: the next call fails
    int errnoValue = 0;
};

std::array<Fault, 4> planned;
std::size_t longestWrite = 0;
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
        return true;
    }
    return false;
}

bool isDirectory(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
}

void runSyncAction() {
    if (syncsUntilAction > 0 && --syncsUntilAction == 0) {
        syncAction();
    }
}

} // namespace

void failFrom(Call call, int n, int errnoValue) {
    planned.at(static_cast<std::size_t>(call)) = {n, errnoValue};
}

void shortenWrites(std::size_t most) { longestWrite = most; }

void afterFileSync(int n, std::function<void()> action) {
    syncAction = std::move(action);
    syncsUntilAction = n;
}

void clear() {
    planned = {};
    longestWrite = 0;
    syncsUntilAction = 0;
}

} // namespace faults

extern "C" {

int rename(const char *from, const char *to) noexcept {
    return faults::fails(faults::Call::rename)
               ? -1
               : ota::test::nextFunction<int(const char *, const char *)>("rename")(from, to);
}

int fsync(int fd) {
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
    if (fd != STDERR_FILENO && fd != STDOUT_FILENO && faults::fails(faults::Call::write)) {
        return -1;
    }
    const size_t most =
        faults::longestWrite != 0 && size > faults::longestWrite ? faults::longestWrite : size;
    return ota::test::nextFunction<ssize_t(int, const void *, size_t)>("write")(fd, bytes, most);
}
}
