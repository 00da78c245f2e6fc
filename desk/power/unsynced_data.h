// SPDX-License-Identifier: MIT
// The bytes of one file that were changed and not synced, as they were before.
#ifndef DESK_POWER_UNSYNCED_DATA_H
#define DESK_POWER_UNSYNCED_DATA_H

#include "base/file_io.h"
#include "desk/power/losses.h"
#include "desk/power/survival.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>

namespace power {

constexpr std::uint64_t kSectorSize = 512;

struct Range {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

class UnsyncedData {
  public:
    // A descriptor of its own, so that the file lives on where its name goes. As it is now, it is
    // on the disk.
    explicit UnsyncedData(base::UniqueFd file);

    // Before the bytes change: keeps them where that was not done yet.
    void willWrite(const Range &range);
    void willResize(std::uint64_t size);
    // After the bytes changed: these, and no others, are on the disk.
    void wasWrittenThrough(const Range &range);
    // Takes the file to what the power cut leaves of it; returns what that took.
    DataLoss cut(Survival &survival, const std::optional<Range> &inFlight);

    [[nodiscard]] int file() const { return file_.get(); }

  private:
    using Sector = std::array<char, kSectorSize>;

    [[nodiscard]] std::uint64_t sizeNow() const;
    void keep(std::uint64_t firstSector, std::uint64_t endSector);
    // As many bytes as there are.
    [[nodiscard]] std::string read(std::uint64_t offset, std::uint64_t size) const;
    void takeBack(int file, std::uint64_t sector, const Sector &bytes, DataLoss &loss) const;
    void cutNewSectors(int file, std::uint64_t size, Survival &survival,
                       const std::optional<std::uint64_t> &lastInFlight, DataLoss &loss) const;

    base::UniqueFd file_;
    std::uint64_t durableSize_;
    // By number. Those at and behind the durable end are not kept: before, they were not there.
    std::map<std::uint64_t, Sector> before_;
};

} // namespace power

#endif
