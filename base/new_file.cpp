// SPDX-License-Identifier: MIT
#include "base/new_file.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base {

NewFile::~NewFile() {
    if (!unfinished_.empty()) {
        unlink(unfinished_.c_str());
    }
}

bool NewFile::fail(std::string &whatIsWrong) const {
    whatIsWrong =
        systemReason(path_ + ": cannot be written") + "; check its directory and the space there";
    return false;
}

bool NewFile::begin(const std::string &path, mode_t mode, std::string &whatIsWrong) {
    path_ = path;
    if (!findOutputPlace(path, place_, whatIsWrong)) {
        return false;
    }
    std::string name = place_.path() + ".XXXXXX";
    file_ = UniqueFd(mkostemp(name.data(), O_CLOEXEC));
    if (!file_) {
        return fail(whatIsWrong);
    }
    unfinished_ = name;
    return fchmod(file_.get(), mode) == 0 || fail(whatIsWrong);
}

bool NewFile::write(const void *bytes, std::size_t size, std::string &whatIsWrong) {
    return writeFully(file_.get(), bytes, size) || fail(whatIsWrong);
}

bool NewFile::finish(std::string &whatIsWrong) {
    if (fsync(file_.get()) != 0 || !file_.reset() ||
        rename(unfinished_.c_str(), place_.path().c_str()) != 0) {
        return fail(whatIsWrong);
    }
    unfinished_.clear();
    return syncDirectoryOf(place_.path()) || fail(whatIsWrong);
}

} // namespace base
