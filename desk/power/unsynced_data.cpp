// SPDX-License-Identifier: MIT
#include "desk/power/unsynced_data.h"

#include "desk/failure.h"

#include <algorithm>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace power {
namespace {

std::uint64_t roundedUp(std::uint64_t bytes) {
    return bytes / kSectorSize + (bytes % kSectorSize == 0 ? 0 : 1);
}

off_t offsetOf(std::uint64_t sector) { return static_cast<off_t>(sector * kSectorSize); }

// Past the longest file there is, as "to the end" is often asked for.
std::uint64_t endOf(const Range &range) {
    return range.length > UINT64_MAX - range.offset ? UINT64_MAX : range.offset + range.length;
}

[[noreturn]] void failOnDisk(const char *what) {
    throw desk::Failure(base::systemReason(what) + "; check the disk that holds --disk");
}

} // namespace

UnsyncedData::UnsyncedData(base::UniqueFd file) : file_(std::move(file)), durableSize_(sizeNow()) {}

std::uint64_t UnsyncedData::sizeNow() const {
    struct stat status {};
    if (fstat(file_.get(), &status) != 0) {
        failOnDisk("a file's size cannot be read");
    }
    return static_cast<std::uint64_t>(status.st_size);
}

void UnsyncedData::keep(std::uint64_t firstSector, std::uint64_t endSector) {
    for (std::uint64_t at = firstSector; at < std::min(endSector, roundedUp(durableSize_)); ++at) {
        const auto [place, isNew] = before_.try_emplace(at);
        if (isNew &&
            pread(file_.get(), place->second.data(), place->second.size(), offsetOf(at)) < 0) {
            failOnDisk("a file cannot be read before it changes");
        }
    }
}

void UnsyncedData::willWrite(const Range &range) {
    if (range.length > 0) {
        keep(range.offset / kSectorSize, roundedUp(endOf(range)));
    }
}

void UnsyncedData::willResize(std::uint64_t size) {
    keep(size / kSectorSize, roundedUp(std::max(size, durableSize_)));
}

void UnsyncedData::wasWrittenThrough(const Range &range) {
    if (range.length == 0) {
        return;
    }
    const std::uint64_t end = std::min(endOf(range), sizeNow());
    // What lies between the durable end and this write was not synced: a gap, until it is.
    for (std::uint64_t at = roundedUp(durableSize_); at < range.offset / kSectorSize; ++at) {
        before_.try_emplace(at);
    }
    durableSize_ = std::max(durableSize_, end);
    for (std::uint64_t at = range.offset / kSectorSize; at < roundedUp(end); ++at) {
        before_.erase(at);
    }
}

void UnsyncedData::cutNewSectors(int file, std::uint64_t size, Survival &survival,
                                 const std::optional<std::uint64_t> &lastInFlight,
                                 DataLoss &loss) const {
    static constexpr Sector kNothing{};
    for (std::uint64_t at = roundedUp(durableSize_); at < roundedUp(size); ++at) {
        if (survival.sector(at == lastInFlight)) {
            loss.survived += kSectorSize;
            continue;
        }
        const std::string had = read(at * kSectorSize, kSectorSize);
        loss.take(at * kSectorSize, had, {kNothing.data(), had.size()});
        if (pwrite(file, kNothing.data(), kNothing.size(), offsetOf(at)) < 0) {
            failOnDisk("a file cannot be taken back");
        }
    }
}

void UnsyncedData::takeBack(int file, std::uint64_t sector, const Sector &bytes,
                            DataLoss &loss) const {
    const std::uint64_t offset = sector * kSectorSize;
    if (offset < loss.sizeHas) {
        const std::uint64_t size = std::min(kSectorSize, loss.sizeHas - offset);
        loss.take(offset, read(offset, size), {bytes.data(), size});
    }
    if (pwrite(file, bytes.data(), bytes.size(), offsetOf(sector)) < 0) {
        failOnDisk("a file cannot be taken back");
    }
}

std::string UnsyncedData::read(std::uint64_t offset, std::uint64_t size) const {
    std::string bytes(size, '\0');
    const ssize_t got = pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    bytes.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return bytes;
}

DataLoss UnsyncedData::cut(Survival &survival, const std::optional<Range> &inFlight) {
    const std::string path = "/proc/self/fd/" + std::to_string(file_.get());
    const base::UniqueFd file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file) {
        failOnDisk("a file cannot be taken back");
    }
    const std::uint64_t changedSize = sizeNow();
    std::optional<std::uint64_t> lastInFlight;
    if (inFlight && inFlight->length > 0 && changedSize > 0) {
        lastInFlight = (std::min(endOf(*inFlight), changedSize) - 1) / kSectorSize;
    }
    const bool newSize = survival.size();
    DataLoss loss{changedSize, newSize ? changedSize : durableSize_, 0, {}};
    const std::string tail = read(durableSize_, kSectorSize);
    for (const auto &[sector, bytes] : before_) {
        const bool isThere = sector * kSectorSize < changedSize;
        if (isThere && survival.sector(sector == lastInFlight)) {
            loss.survived += kSectorSize;
            continue;
        }
        takeBack(file.get(), sector, bytes, loss);
    }
    if (newSize) {
        cutNewSectors(file.get(), changedSize, survival, lastInFlight, loss);
    } else if (changedSize > durableSize_) {
        loss.takeTail(tail);
    }
    if (ftruncate(file.get(), static_cast<off_t>(newSize ? changedSize : durableSize_)) != 0) {
        failOnDisk("a file cannot be taken back");
    }
    return loss;
}

} // namespace power
