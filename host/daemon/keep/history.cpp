// SPDX-License-Identifier: MIT
// What happened on the node: one JSON line an event, in memory and in a rotated file.
#include "host/daemon/keep/history.h"

#include "host/daemon/keep/json_object.h"
#include "host/daemon/keep/line_file.h"

#include <algorithm>
#include <fstream>
#include <new>
#include <string_view>
#include <utility>

namespace otad {
namespace {

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

void add(cJSON *object, const char *key, const std::string &text) {
    if (cJSON_AddStringToObject(object, key, printable(text).c_str()) == nullptr) {
        throw std::bad_alloc();
    }
}

// Spelled here: cJSON would round a large one.
template <typename Number>
void addNumber(cJSON *object, const char *key, Number number) {
    if (cJSON_AddRawToObject(object, key, std::to_string(number).c_str()) == nullptr) {
        throw std::bad_alloc();
    }
}

bool isHistoryLine(std::string_view line) {
    const host::Json object = parseObject(line);
    return cJSON_IsString(cJSON_GetObjectItemCaseSensitive(object.get(), "time")) != 0 &&
           cJSON_IsString(cJSON_GetObjectItemCaseSensitive(object.get(), "event")) != 0;
}

} // namespace

std::string formatHistoryLine(const HistoryLine &line, std::time_t now, const std::string &node) {
    const host::OutcomeRow &row = host::rowOf(line.outcome);
    const host::Json object(cJSON_CreateObject());
    add(object.get(), "time", utcStamp(now));
    add(object.get(), "node", node);
    add(object.get(), "event", line.event);
    addNumber(object.get(), "ticket", line.ticket);
    add(object.get(), "version", line.version);
    add(object.get(), "stage", line.stage);
    addNumber(object.get(), "code", row.code);
    add(object.get(), "result", row.name);
    add(object.get(), "reason", line.reason);
    add(object.get(), "next", line.next);
    const host::JsonText text(cJSON_PrintUnformatted(object.get()));
    if (!text) {
        throw std::bad_alloc();
    }
    return text.get();
}

History::History(DiskWriter &disk, std::string path, std::uint64_t maxBytes, int keep,
                 std::function<void(const std::string &)> failed)
    : disk_(disk), path_(std::move(path)), maxBytes_(maxBytes), keep_(keep),
      failed_(std::move(failed)) {}

std::size_t History::load() {
    std::size_t damaged = 0;
    for (int number = keep_; number >= 0; --number) {
        std::ifstream file(rotationOf(path_, number)); // one that is not there has no lines
        for (std::string line; std::getline(file, line);) {
            if (isHistoryLine(line)) {
                remember(std::move(line));
            } else {
                ++damaged;
            }
        }
    }
    return damaged;
}

void History::add(std::string line) {
    remember(line);
    disk_.append(path_, std::move(line), maxBytes_, keep_,
                 [failed = failed_](const std::string &whatIsWrong) {
                     if (!whatIsWrong.empty() && failed) {
                         failed(whatIsWrong);
                     }
                 });
}

std::vector<std::string> History::newest(std::size_t count) const {
    const std::size_t taken = std::min(count, lines_.size());
    return {lines_.end() - static_cast<std::ptrdiff_t>(taken), lines_.end()};
}

void History::remember(std::string line) {
    lines_.push_back(std::move(line));
    if (lines_.size() > kNewest) {
        lines_.pop_front();
    }
}

} // namespace otad
