// SPDX-License-Identifier: MIT
#include "service/state/history.h"

#include "base/json.h"
#include "service/state/line_file.h"
#include "service/state/line_source.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace service {
namespace {

// Each of its texts escaped, and some more.
constexpr std::size_t kLongestLine = 8 * 1024;

std::string utcStamp(std::time_t now) {
    std::tm utc{};
    char stamp[sizeof "-2147483648-12-31T23:59:60Z"]{};
    if (gmtime_r(&now, &utc) == nullptr ||
        std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) {
        return "1970-01-01T00:00:00Z";
    }
    return stamp;
}

// A line goes over the bus and to terminals as it is.
std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '?');
    return text;
}

// What somebody else has written may be of any length.
std::string shortened(const std::string &text) {
    constexpr std::size_t kLongest = 512;
    return text.size() > kLongest ? text.substr(0, kLongest) + "..." : text;
}

// 0 of a line that was written before they were numbered.
std::uint64_t numberOf(std::string_view line) {
    const base::Json object = base::parseObject(line);
    const double number = base::numberIn(object.get(), "seq").value_or(0);
    return number > 0 && number < base::kMostWhole ? static_cast<std::uint64_t>(number) : 0;
}

bool isHistoryLine(std::string_view line) {
    const base::Json object = base::parseObject(line);
    return base::takeText(object.get(), "time") && base::takeText(object.get(), "event");
}

} // namespace

std::string formatHistoryLine(const HistoryLine &line, std::time_t now, const std::string &node,
                              const StageLeft &left) {
    const base::OutcomeRow &row = base::rowOf(line.outcome);
    const base::ReasonRow &reason = base::rowOf(
        line.reasonCode == base::Reason::none ? base::usualReason(line.outcome) : line.reasonCode);
    const base::Json object = base::newObject();
    const auto add = [&object](const char *key, const std::string &text) {
        base::add(object.get(), key, printable(shortened(text)));
    };
    base::add(object.get(), "seq", line.number);
    add("time", utcStamp(now));
    add("node", node);
    add("event", line.event);
    base::add(object.get(), "ticket", line.ticket);
    add("version", line.version);
    add("stage", line.stage);
    base::add(object.get(), "code", row.code);
    add("result", row.name);
    add("reason_code", reason.name);
    add("reason", line.reason);
    add("next", line.next);
    if (!left.name.empty()) {
        add("left", left.name);
        base::add(object.get(), "left_ms", left.lastedMs);
        base::add(object.get(), "left_bytes", left.bytes);
    }
    return base::printed(object.get());
}

History::History(DiskWriter &disk, std::string path, std::uint64_t maxBytes, int keep,
                 std::function<void(const std::string &)> failed)
    : disk_(disk),
      file_(std::make_shared<const LineFile>(LineFile{
          std::move(path), maxBytes, keep,
          [room = static_cast<std::size_t>(std::min<std::uint64_t>(maxBytes / 4, SIZE_MAX))](
              std::string_view text) { return thinnedOut(text, room); }})),
      failed_(std::move(failed)) {}

std::size_t History::load(const std::function<void(const std::string &line)> &each) {
    std::size_t damaged = 0;
    for (int number = file_->keep; number >= 0; --number) {
        readLines(rotationOf(file_->path, number), kLongestLine, [&](std::string line) {
            if (isHistoryLine(line)) {
                if (each) {
                    each(line);
                }
                lastNumber_ = std::max(lastNumber_, numberOf(line));
                std::string source = sourceOf(line);
                remember({std::move(line), std::move(source)});
            } else {
                ++damaged;
            }
        });
    }
    return damaged;
}

void History::add(std::string line) {
    const std::string source = sourceOf(line);
    remember({line, source});
    if (disk_.waitingLines() >= kMostWaiting) {
        ++unwritten_;
        return;
    }
    // What the node did for a request is on the disk before the ledger says that it is over.
    disk_.append(file_, std::move(line),
                 source.empty() ? DiskWriter::Overtaking::forbidden
                                : DiskWriter::Overtaking::allowed,
                 [this](const base::Result<void> &stored) { written(stored); });
}

void History::written(const base::Result<void> &stored) {
    const bool wasFailing = std::exchange(failing_, !stored);
    if (failing_ && !wasFailing && failed_) {
        failed_(stored.error().text);
    }
}

std::uint64_t History::takeUnwritten() { return isBehind() ? 0 : std::exchange(unwritten_, 0); }

std::vector<std::string> History::newest(std::size_t count) const {
    const std::size_t taken = std::min(count, lines_.size());
    std::vector<std::string> lines;
    lines.reserve(taken);
    for (auto kept = std::prev(lines_.end(), static_cast<std::ptrdiff_t>(taken));
         kept != lines_.end(); ++kept) {
        lines.push_back(kept->line);
    }
    return lines;
}

void History::remember(Kept kept) {
    if (!kept.source.empty()) {
        ++ofOthers_[kept.source];
    }
    lines_.push_back(std::move(kept));
    if (lines_.size() > kNewest) {
        forgetOne();
    }
}

// The oldest; where others have over half of all, the oldest of the one that has most.
void History::forgetOne() {
    std::size_t all = 0;
    const std::string *most = nullptr;
    for (const auto &[source, count] : ofOthers_) {
        all += count;
        most = most == nullptr || count > ofOthers_[*most] ? &source : most;
    }
    auto oldest = lines_.begin();
    if (all > kNewest / 2) {
        oldest = std::find_if(lines_.begin(), lines_.end(),
                              [most](const Kept &one) { return one.source == *most; });
    }
    const auto count = ofOthers_.find(oldest->source);
    if (count != ofOthers_.end() && --count->second == 0) {
        ofOthers_.erase(count);
    }
    lines_.erase(oldest);
}

} // namespace service
