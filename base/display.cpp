// SPDX-License-Identifier: MIT
#include "base/display.h"

#include "base/text.h"

#include "base/terminal.h"

#include <algorithm>
#include <cstdio>

namespace base {
namespace {

constexpr int kNameWidth = 12;

const char *const kBold = "\033[1m";
const char *const kGreen = "\033[32m";
const char *const kRed = "\033[31m";
const char *const kNormal = "\033[0m";
const char *const kClearLine = "\r\033[K";

const char *colourOf(Tone tone) {
    switch (tone) {
    case Tone::good:
        return kGreen;
    case Tone::bad:
        return kRed;
    case Tone::plain:
        break;
    }
    return "";
}

} // namespace

Display::Display() : colour_(showsColour()), redraws_(redrawsLines()) {}

Display::~Display() {
    clearFoot();
    std::fflush(stdout);
}

void Display::line(const std::string &name, const std::string &text, Tone tone) {
    clearFoot();
    const bool toned = colour_ && tone != Tone::plain;
    std::printf("%s%-*s%s%s%s%s\n", colour_ ? kBold : "", kNameWidth, printable(name).c_str(),
                colour_ ? kNormal : "", toned ? colourOf(tone) : "", printable(text).c_str(),
                toned ? kNormal : "");
    drawFoot();
    std::fflush(stdout);
}

void Display::foot(const std::string &text) {
    if (!redraws_ || text == foot_) {
        return;
    }
    clearFoot();
    foot_ = printable(text);
    drawFoot();
    std::fflush(stdout);
}

void Display::clearFoot() const {
    if (!foot_.empty()) {
        std::fputs(kClearLine, stdout);
    }
}

// One column stays free: a line that fills the last one would wrap, and be drawn again below.
void Display::drawFoot() const {
    if (!foot_.empty()) {
        std::fputs(foot_.substr(0, columnsShown() - 1).c_str(), stdout);
    }
}

void printTable(const std::vector<std::vector<std::string>> &rows) {
    std::vector<std::size_t> widths;
    for (const auto &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], printable(row[i]).size());
        }
    }
    for (const auto &row : rows) {
        std::string text;
        for (std::size_t i = 0; i < row.size(); ++i) {
            std::string cell = printable(row[i]);
            cell.resize(i + 1 < row.size() ? widths[i] + 2 : cell.size(), ' ');
            text += cell;
        }
        text.erase(text.find_last_not_of(' ') + 1);
        std::printf("%s\n", text.c_str());
    }
}

} // namespace base
