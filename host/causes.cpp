// SPDX-License-Identifier: MIT
#include "host/causes.h"

#include "host/log_causes.h"
#include "host/supervisor_link.h"
#include "platform/reason_hook.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

namespace host {
namespace {

// What bounds a file from outside, as the unit or a quota may, is no different to the image.
bool hasNoRoom(const std::string &path) {
    struct stat file {};
    struct statvfs disk {};
    rlimit limit{};
    const bool isAtItsLimit = stat(path.c_str(), &file) == 0 &&
                              getrlimit(RLIMIT_FSIZE, &limit) == 0 &&
                              static_cast<rlim_t>(file.st_size) >= limit.rlim_cur;
    return isAtItsLimit ||
           (statvfs(path.c_str(), &disk) == 0 && (disk.f_bavail == 0 || disk.f_favail == 0));
}

LogCauses inTheLog(hasNoRoom);

void tell(const base::Error &cause) {
    const base::Json note = newNote("cause");
    base::add(note.get(), "reason", base::rowOf(cause.reason).name);
    base::add(note.get(), "text", cause.text);
    base::add(note.get(), "attempt", cause.attempt);
    tellSupervisor(note);
}

} // namespace

void followCauses() { nalOnReason(tell); }

void takeCauseOfEntry(std::string_view function, std::string_view text) {
    if (const auto cause = inTheLog.take(function, text)) {
        tell(*cause);
    }
}

void expectCause(const base::Error &cause) { inTheLog.expect(cause); }

void endCauses() {
    if (const auto cause = inTheLog.endOfCall()) {
        tell(*cause);
    }
}

} // namespace host
