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

Error NewFile::failure() const {
    return {systemReason(path_ + ": cannot be written") +
            "; check its directory and the space there"};
}

Result<void> NewFile::begin(const std::string &path, mode_t mode) {
    path_ = path;
    auto place = findOutputPlace(path);
    if (!place) {
        return place.error();
    }
    place_ = std::move(*place);
    std::string name = place_.path() + ".XXXXXX";
    file_ = UniqueFd(mkostemp(name.data(), O_CLOEXEC));
    if (!file_) {
        return failure();
    }
    unfinished_ = name;
    return fchmod(file_.get(), mode) == 0 ? Result<void>() : failure();
}

Result<void> NewFile::write(const void *bytes, std::size_t size) {
    return writeFully(file_.get(), bytes, size) ? Result<void>() : failure();
}

Result<void> NewFile::finish() {
    if (fsync(file_.get()) != 0 || !file_.reset() ||
        rename(unfinished_.c_str(), place_.path().c_str()) != 0) {
        return failure();
    }
    unfinished_.clear();
    return syncDirectoryOf(place_.path()) ? Result<void>() : failure();
}

} // namespace base
