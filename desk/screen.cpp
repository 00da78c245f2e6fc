// SPDX-License-Identifier: MIT
// Wrapping, clearing and drawing.
#include "desk/screen.h"

#include <algorithm>
#include <cstdio>

namespace desk {
namespace {

const char *const kPlain = "\033[0m";
const char *const kClearLine = "\r\033[K";
const char *const kLineUp = "\033[A";

} // namespace

std::size_t width(const std::string &text) {
    std::size_t columns = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\033') {
            at = std::min(text.find('m', at), text.size());
        } else {
            ++columns;
        }
    }
    return columns;
}

std::vector<std::string> wrapped(const std::string &text, std::size_t room) {
    std::vector<std::string> pieces;
    std::string rest = text;
    while (room > 0 && rest.size() > room) {
        const std::size_t blank = rest.rfind(' ', room);
        const bool breaks = blank != std::string::npos && blank > 0;
        pieces.push_back(rest.substr(0, breaks ? blank : room));
        rest.erase(0, breaks ? blank + 1 : room);
    }
    pieces.push_back(rest);
    return pieces;
}

std::string Screen::painted(const char *colour, const std::string &text) const {
    return surface_.colour ? colour + text + kPlain : text;
}

void Screen::line(const std::string &head, const std::string &text) {
    const std::size_t columns = surface_.columns();
    const std::size_t margin = width(head);
    // A screen too narrow for head and text wraps by itself.
    const std::size_t room = columns > 2 * margin ? columns - margin : 0;
    clear();
    std::string before = head;
    for (const std::string &piece : wrapped(text, room)) {
        std::printf("%s%s\n", before.c_str(), piece.c_str());
        before.assign(margin, ' ');
    }
    draw();
}

void Screen::plain(const std::string &text) {
    clear();
    std::printf("%s\n", text.c_str());
    draw();
}

void Screen::bar(const void *owner, const std::string &text) {
    clear();
    const auto found = std::find_if(bars_.begin(), bars_.end(),
                                    [&](const auto &bar) { return bar.first == owner; });
    if (found == bars_.end()) {
        bars_.emplace_back(owner, text);
    } else {
        found->second = text;
    }
    draw();
}

void Screen::leaveBar(const void *owner) {
    const auto found = std::find_if(bars_.begin(), bars_.end(),
                                    [&](const auto &bar) { return bar.first == owner; });
    if (found == bars_.end()) {
        return;
    }
    const bool alone = bars_.size() == 1; // it stays where it stands
    if (!alone) {
        clear();
    }
    std::printf("%s\n", alone ? "" : found->second.c_str());
    bars_.erase(found);
    draw();
}

void Screen::leaveBars() {
    while (!bars_.empty()) {
        leaveBar(bars_.front().first);
    }
}

// The cursor stands behind the last bar.
void Screen::clear() const {
    for (std::size_t bar = 0; bar < bars_.size(); ++bar) {
        std::printf("%s%s", bar == 0 ? "" : kLineUp, kClearLine);
    }
}

void Screen::draw() const {
    for (std::size_t bar = 0; bar < bars_.size(); ++bar) {
        std::printf("%s%s", bar == 0 ? "" : "\n", bars_[bar].second.c_str());
    }
    std::fflush(stdout);
}

} // namespace desk
