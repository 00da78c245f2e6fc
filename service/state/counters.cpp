// SPDX-License-Identifier: MIT
#include "service/state/counters.h"

#include "base/json.h"

#include <cerrno>
#include <optional>
#include <sys/stat.h>

namespace service {
namespace {

constexpr std::size_t kLargestFile = 128 * 1024; // kMostNames, each longer than any is
constexpr const char *kUpTo = "up_to";
constexpr const char *kCounts = "counts";

std::optional<std::uint64_t> wholeIn(const cJSON *item) {
    const std::optional<double> number = base::numberIn(item);
    const bool isWhole = number && *number >= 0 && *number <= base::kMostWhole &&
                         *number == static_cast<double>(static_cast<std::uint64_t>(*number));
    return isWhole ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

std::uint64_t wholeIn(const cJSON *object, const char *key) {
    return wholeIn(base::itemOf(object, key)).value_or(0);
}

} // namespace

base::Result<void> Counters::load() {
    struct stat status {};
    if (lstat(path_.c_str(), &status) != 0 && errno == ENOENT) {
        return {};
    }
    const auto text = base::readWholeFile(path_, kLargestFile);
    if (!text) {
        return text.error();
    }
    const base::Json object = base::parseObject(*text);
    const cJSON *const counts = base::itemOf(object.get(), kCounts);
    const auto upTo = wholeIn(base::itemOf(object.get(), kUpTo));
    std::map<std::string, std::uint64_t> read;
    for (const cJSON *const item : base::membersOf(counts)) {
        if (const auto number = wholeIn(item)) {
            read[item->string] = *number;
        }
    }
    if (!upTo || !base::isObject(counts) || read.size() != base::membersOf(counts).size()) {
        return base::Error{path_ + ": the counters cannot be read", base::Reason::stateDamaged};
    }
    upTo_ = keptUpTo_ = *upTo;
    counts_ = std::move(read);
    return {};
}

void Counters::count(std::string_view line) {
    const base::Json object = base::parseObject(line);
    const std::uint64_t number = wholeIn(object.get(), "seq");
    if (number <= upTo_) {
        return;
    }
    upTo_ = number;
    std::string event = "event";
    for (const char *key : {"event", "result", "reason_code"}) {
        event += " " + base::textOf(object.get(), key);
    }
    add(event, 1);
    if (const std::string stage = base::textOf(object.get(), "left"); !stage.empty()) {
        add("stage " + stage, 1);
        add("milliseconds " + stage, wholeIn(object.get(), "left_ms"));
        add("bytes", wholeIn(object.get(), "left_bytes"));
    }
    if (upTo_ - keptUpTo_ >= kLinesBetweenWrites) {
        keep();
    }
}

void Counters::add(const std::string &name, std::uint64_t number) {
    const bool hasRoom = counts_.size() < kMostNames || counts_.count(name) != 0;
    counts_[hasRoom ? name : "other"] += number;
}

void Counters::keep() {
    if (keptUpTo_ == upTo_) {
        return;
    }
    keptUpTo_ = upTo_;
    const base::Json object = base::newObject();
    base::add(object.get(), kUpTo, upTo_);
    base::Json counts = base::newObject();
    for (const auto &[name, number] : counts_) {
        base::add(counts.get(), name.c_str(), number);
    }
    base::add(object.get(), kCounts, std::move(counts));
    // One that is not written stays to be counted from the history, and is tried with the next.
    disk_.replace(path_, base::printed(object.get()) + "\n", {});
}

} // namespace service
