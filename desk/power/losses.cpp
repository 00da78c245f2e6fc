// SPDX-License-Identifier: MIT
#include "desk/power/losses.h"

#include "base/file_io.h"
#include "base/json.h"
#include "desk/failure.h"

#include <algorithm>

namespace power {
namespace {

constexpr std::size_t kShown = 64;     // bytes of each row
constexpr std::size_t kMostRows = 200; // of a file: a torn one may differ in every other sector

std::string inHex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

void addUpTo(std::string &shown, std::string_view more) {
    shown += more.substr(0, kShown - std::min(kShown, shown.size()));
}

base::Json rowOf(const TakenBytes &taken) {
    base::Json row = base::newObject();
    base::add(row.get(), "from", taken.from);
    base::add(row.get(), "end", taken.end);
    base::add(row.get(), "had", inHex(taken.had));
    base::add(row.get(), "has", inHex(taken.has));
    return row;
}

} // namespace

void DataLoss::take(std::uint64_t offset, std::string_view had, std::string_view has) {
    const std::size_t common = std::min(had.size(), has.size());
    const auto differs =
        std::mismatch(had.begin(), had.begin() + static_cast<std::ptrdiff_t>(common), has.begin())
            .first;
    const auto first = static_cast<std::size_t>(differs - had.begin());
    if (first == had.size() && first == has.size()) {
        return;
    }
    const std::uint64_t end = offset + std::max(had.size(), has.size());
    if (!taken.empty() && taken.back().end == offset) {
        taken.back().end = end;
        addUpTo(taken.back().had, had);
        addUpTo(taken.back().has, has);
        return;
    }
    TakenBytes row{offset + first, end, {}, {}};
    addUpTo(row.had, had.substr(first));
    addUpTo(row.has, has.substr(first));
    taken.push_back(std::move(row));
}

void DataLoss::takeTail(std::string_view had) {
    take(sizeHas, had, {});
    if (!taken.empty()) {
        taken.back().end = sizeHad;
    }
}

void Losses::add(const NameLoss &loss) {
    base::Json row = base::newObject();
    base::add(row.get(), "kind", "name");
    base::add(row.get(), "change", loss.change);
    base::add(row.get(), "name", loss.name.string());
    base::add(row.get(), "from", loss.from.string());
    base::add(row.get(), "put_back", loss.isPutBack);
    lines_ += base::printed(row.get()) + "\n";
}

void Losses::add(const std::filesystem::path &file, const DataLoss &loss) {
    if (loss.isNone()) {
        return;
    }
    base::Json rows = base::newList();
    for (std::size_t at = 0; at < std::min(kMostRows, loss.taken.size()); ++at) {
        base::append(rows.get(), rowOf(loss.taken[at]));
    }
    base::Json row = base::newObject();
    base::add(row.get(), "kind", "file");
    base::add(row.get(), "name", file.string());
    base::add(row.get(), "size_had", loss.sizeHad);
    base::add(row.get(), "size_has", loss.sizeHas);
    base::add(row.get(), "survived", loss.survived);
    base::add(row.get(), "rows", loss.taken.size());
    base::add(row.get(), "taken", std::move(rows));
    lines_ += base::printed(row.get()) + "\n";
}

void Losses::write(const std::string &file) const {
    if (!file.empty() && !base::renewFile(file, lines_)) {
        throw desk::Failure(base::systemReason(file + ": the file cannot be written") +
                            "; name one that can be made");
    }
}

} // namespace power
