// SPDX-License-Identifier: MIT
// Writing to standard output, line by line.
#include "desk/display.h"

#include "desk/sizes.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace desk {
namespace {

constexpr int kNameWidth = 13;
constexpr std::size_t kMarkWidth = 9;
constexpr int kBarWidth = 30;
constexpr int kPlainStep = 10; // percent between two lines where no bar can be drawn

const char *const kBold = "\033[1m";
const char *const kGreen = "\033[1;32m";
const char *const kRed = "\033[1;31m";
const char *const kPlain = "\033[0m";
const char *const kClearLine = "\r\033[K";

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

} // namespace

Display::Display() : Display(isatty(STDOUT_FILENO) == 1) {}

Display::Display(bool terminal, std::string mark) : terminal_(terminal), mark_(std::move(mark)) {
    if (!mark_.empty()) {
        mark_.resize(std::max(mark_.size(), kMarkWidth), ' ');
    }
}

void Display::title(const std::string &text) {
    std::printf("%s%s%s\n", terminal_ ? kBold : "", text.c_str(), terminal_ ? kPlain : "");
    std::fflush(stdout);
}

void Display::step(const std::string &name, const std::string &text) {
    leaveBar();
    line(name, text);
    lastStep_ = name + ": " + text;
}

void Display::more(const std::string &text) {
    leaveBar();
    line("", text);
}

void Display::progress(const Progress &progress) {
    lastStep_ = "download: " + std::to_string(progress.percent) + " %";
    if (!terminal_ || !mark_.empty()) {
        if (progress.percent < lastPercent_) {
            lastPercent_ = 0;
        }
        if (progress.percent / kPlainStep > lastPercent_ / kPlainStep) {
            line("download", describe(progress));
            lastPercent_ = progress.percent;
        }
        return;
    }
    const int filled = progress.percent * kBarWidth / 100;
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(kBarWidth, '-');
    std::printf("%s  %s%-*s%s[%s] %s", kClearLine, kBold, kNameWidth, "download", kPlain,
                bar.c_str(), describe(progress).c_str());
    std::fflush(stdout);
    barOpen_ = true;
}

void Display::verdict(bool asExpected, const std::string &text) {
    leaveBar();
    const char *colour = asExpected ? kGreen : kRed;
    std::printf("%s%s%s\n", terminal_ ? colour : "", text.c_str(), terminal_ ? kPlain : "");
    std::fflush(stdout);
}

void Display::line(const std::string &name, const std::string &text) {
    std::printf("  %s%s%-*s%s%s\n", mark_.c_str(), terminal_ ? kBold : "", kNameWidth, name.c_str(),
                terminal_ ? kPlain : "", text.c_str());
    std::fflush(stdout);
}

void Display::leaveBar() {
    if (barOpen_) {
        std::printf("\n");
        std::fflush(stdout);
        barOpen_ = false;
    }
}

} // namespace desk
