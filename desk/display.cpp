// SPDX-License-Identifier: MIT
// Heads, bars and commands.
#include "desk/display.h"

#include "desk/screen.h"
#include "desk/sizes.h"

#include "base/terminal.h"

#include <algorithm>

namespace desk {
namespace {

constexpr std::size_t kTimeWidth = 9;
constexpr std::size_t kNameWidth = 13;
constexpr std::size_t kMarkWidth = 8;
constexpr std::size_t kWidestBar = 30;
constexpr std::size_t kNarrowestBar = 4;
constexpr std::size_t kLongestProgress = 31; // "100 %, 1023.9 MiB/s, 9999 s left"
constexpr int kPlainStep = 10;               // percent between two lines where no bar can be drawn

const char *const kBold = "\033[1m";
const char *const kGreen = "\033[1;32m";
const char *const kRed = "\033[1;31m";

std::string describe(const Progress &progress) {
    std::string text = std::to_string(progress.percent) + " %";
    if (progress.bytesPerSecond > 0) {
        text += ", " + readableSize(progress.bytesPerSecond) + "/s";
        if (progress.percent < 100) {
            text += ", " + std::to_string(progress.secondsLeft) + " s left";
        }
    }
    return text;
}

std::string padded(std::string text, std::size_t columns) {
    text.resize(std::max(text.size(), columns), ' ');
    return text;
}

} // namespace

Display::Display()
    : Display(Surface{base::showsColour(), base::redrawsLines(), base::columnsShown,
                      base::timeOfDay}) {}

Display::Display(const Surface &surface) : Display(std::make_shared<Screen>(surface), "") {}

Display::Display(std::shared_ptr<Screen> screen, std::string mark)
    : screen_(std::move(screen)), mark_(mark.empty() ? "" : padded(std::move(mark), kMarkWidth)) {}

void Display::title(const std::string &text) {
    for (const std::string &piece : wrapped(text, screen_->surface().columns())) {
        screen_->plain(screen_->painted(kBold, piece));
    }
}

void Display::step(const std::string &name, const std::string &text) {
    line(screen_->surface().now(), name, text);
    lastStep_ = name + ": " + text;
}

void Display::more(const std::string &text) { line("", "", text); }

void Display::command(const std::vector<std::string> &words) {
    constexpr const char *kMargin = "    ";
    const std::size_t columns = screen_->surface().columns();
    screen_->leaveBar(this);
    std::string text = kMargin;
    for (std::size_t at = 0; at < words.size(); ++at) {
        const std::size_t more = words[at].size() + 1 + (at + 1 < words.size() ? 2 : 0);
        if (at > 0 && columns > 0 && text.size() + more > columns) {
            screen_->plain(text + " \\");
            text = std::string(kMargin) + "  " + words[at];
        } else {
            text += (at == 0 ? "" : " ") + words[at];
        }
    }
    screen_->plain(text);
}

void Display::progress(const Progress &progress) {
    lastStep_ = "download: " + std::to_string(progress.percent) + " %";
    if (screen_->surface().redraws) {
        return screen_->bar(this, bar(progress));
    }
    if (progress.percent < lastPercent_) {
        lastPercent_ = 0;
    }
    if (progress.percent / kPlainStep > lastPercent_ / kPlainStep) {
        line(screen_->surface().now(), "download", describe(progress));
        lastPercent_ = progress.percent;
    }
}

// One column stays free: a line that fills the last one would wrap, and be drawn again below.
std::string Display::bar(const Progress &progress) const {
    const std::string before = head(screen_->surface().now(), "download");
    const std::size_t columns = screen_->surface().columns();
    const std::size_t taken = width(before) + 3 + kLongestProgress + 1;
    const std::size_t room =
        columns == 0 ? kWidestBar : std::min(kWidestBar, columns - std::min(columns, taken));
    const std::string text = describe(progress);
    if (room < kNarrowestBar) {
        return ("  " + mark_ + " " + text).substr(0, std::max<std::size_t>(columns, 1) - 1);
    }
    const std::size_t filled = static_cast<std::size_t>(progress.percent) * room / 100;
    return before + "[" + std::string(filled, '#') + std::string(room - filled, '-') + "] " + text;
}

void Display::verdict(bool asExpected, const std::string &text) {
    screen_->leaveBars();
    for (const std::string &piece : wrapped(text, screen_->surface().columns())) {
        screen_->plain(screen_->painted(asExpected ? kGreen : kRed, piece));
    }
}

void Display::line(const std::string &time, const std::string &name, const std::string &text) {
    screen_->leaveBar(this);
    screen_->line(head(time, name), text);
}

std::string Display::head(const std::string &time, const std::string &name) const {
    return "  " + padded(time, kTimeWidth) + mark_ + (mark_.empty() ? "" : " ") +
           (name.empty() ? padded(name, kNameWidth)
                         : screen_->painted(kBold, padded(name, kNameWidth)));
}

void Display::leaveBars() { screen_->leaveBars(); }

} // namespace desk
