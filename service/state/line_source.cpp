// SPDX-License-Identifier: MIT
#include "service/state/line_source.h"

#include "base/json.h"
#include "guard/mac.h"

#include <algorithm>
#include <array>
#include <map>
#include <vector>

namespace service {
namespace {

constexpr std::array<std::string_view, 2> kOfExtenders{"extender-report", "extender-file-server"};
constexpr std::array<std::string_view, 2> kOfTheBus{"refused", "setting-changed"};
constexpr std::size_t kMacLength = sizeof "00:00:00:00:00:00" - 1;

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count> &events, std::string_view event) {
    return std::find(events.begin(), events.end(), event) != events.end();
}

struct SourcedLine {
    std::string_view text; // with its line end
    std::string source;
};

std::vector<SourcedLine> linesOf(std::string_view text) {
    std::vector<SourcedLine> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size() - 1) + 1;
        lines.push_back({text.substr(0, end), sourceOf(text.substr(0, end))});
        text.remove_prefix(end);
    }
    return lines;
}

// The largest share of which all together fit into the room.
std::size_t shareOfEach(const std::map<std::string, std::size_t> &sizes, std::size_t room) {
    std::vector<std::size_t> ascending;
    ascending.reserve(sizes.size());
    for (const auto &[source, size] : sizes) {
        ascending.push_back(size);
    }
    std::sort(ascending.begin(), ascending.end());
    std::size_t left = ascending.size();
    for (const std::size_t size : ascending) {
        if (size > room / left) {
            return room / left;
        }
        room -= size;
        --left;
    }
    return ascending.empty() ? 0 : ascending.back();
}

} // namespace

std::string sourceOf(std::string_view line) {
    const base::Json object = base::parseObject(line);
    const std::string event = base::textOf(object.get(), "event");
    if (isOneOf(kOfExtenders, event)) {
        std::string mac = base::textOf(object.get(), "reason").substr(0, kMacLength);
        return guard::isMac(mac) ? mac : kNoAddress;
    }
    // One that was refused out of what was kept has a ticket.
    const bool hasTicket = base::numberIn(object.get(), "ticket").value_or(0) != 0;
    return isOneOf(kOfTheBus, event) && !hasTicket ? kFromTheBus : "";
}

std::string thinnedOut(std::string_view text, std::size_t room) {
    std::vector<SourcedLine> lines = linesOf(text);
    std::map<std::string, std::size_t> sizes;
    for (const SourcedLine &line : lines) {
        if (!line.source.empty()) {
            sizes[line.source] += line.text.size();
        }
    }
    const std::size_t share = shareOfEach(sizes, room);
    std::map<std::string, std::size_t> used;
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (!line->source.empty() && (used[line->source] += line->text.size()) > share) {
            line->text = {};
        }
    }
    std::string kept;
    for (const SourcedLine &line : lines) {
        kept += line.text;
    }
    return kept;
}

} // namespace service
