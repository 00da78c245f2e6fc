// SPDX-License-Identifier: MIT
#include "host/log_files.h"

#include "base/file_io.h"
#include "host/supervisor_link.h"
#include "platform/nal.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>

namespace host {
namespace {

constexpr mode_t kMode = 0640;

bool isOpenToOthers(mode_t mode) { return (mode & 07777U & ~kMode) != 0; }

void close(const std::string &path, int more) {
    // Whatever has this name, it is not followed and not waited for.
    const base::UniqueFd file(
        open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | more, kMode));
    struct stat status {};
    if (!file && errno == ENOENT) {
        return;
    }
    if (!file || fstat(file.get(), &status) != 0 ||
        (isOpenToOthers(status.st_mode) && fchmod(file.get(), kMode) != 0)) {
        complain(path + " cannot be made readable for its owner alone: " + std::strerror(errno) +
                 "; close its directory to others");
    }
}

} // namespace

void closeLogFiles() {
    const std::string folder = nal_getLogsDirectory();
    close(folder + "/otaSwAgent.log", O_CREAT);
    close(folder + "/ota_act_success", 0);
}

} // namespace host
