// SPDX-License-Identifier: MIT
// What a power cut took: names, sizes and bytes as they were before it and as they are now.
#ifndef DESK_POWER_LOSSES_H
#define DESK_POWER_LOSSES_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace power {

// Bytes in a row that are other than before the cut.
struct TakenBytes {
    std::uint64_t from = 0; // the first that differs
    std::uint64_t end = 0;
    std::string had; // the first few of them; empty: there were none
    std::string has;
};

// Of one file.
struct DataLoss {
    std::uint64_t sizeHad = 0;
    std::uint64_t sizeHas = 0;
    std::uint64_t survived = 0; // bytes that were not synced and are there all the same
    std::vector<TakenBytes> taken;

    // What stood at this place, and what stands there now; in ascending order.
    void take(std::uint64_t offset, std::string_view had, std::string_view has);
    // All behind the new end, which begins so.
    void takeTail(std::string_view had);
    [[nodiscard]] bool isNone() const {
        return taken.empty() && sizeHad == sizeHas && survived == 0;
    }
};

struct NameLoss {
    const char *change = "";    // that is undone: made, removed, renamed, exchanged
    std::filesystem::path from; // of a rename
    std::filesystem::path name;
    bool isPutBack = false; // what stood under this name before
};

// One JSON object a line, for who asked for it.
class Losses {
  public:
    void add(const NameLoss &loss);
    void add(const std::filesystem::path &file, const DataLoss &loss);
    // Throws a Failure where the file cannot be written.
    void write(const std::string &file) const;

  private:
    std::string lines_;
};

} // namespace power

#endif
