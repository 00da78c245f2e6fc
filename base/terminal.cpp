// SPDX-License-Identifier: MIT
#include "base/terminal.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace base {
namespace {

constexpr std::size_t kUsualColumns = 80;

std::string_view environment(const char *name) {
    const char *const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool isTerminal() { return isatty(STDOUT_FILENO) == 1; }

std::size_t columnsOfTheEnvironment() {
    const std::string_view text = environment("COLUMNS");
    std::size_t columns = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), columns);
    return error == std::errc() && end == text.data() + text.size() ? columns : 0;
}

} // namespace

bool showsColour() { return redrawsLines() && environment("NO_COLOR").empty(); }

bool redrawsLines() { return isTerminal() && environment("TERM") != "dumb"; }

std::size_t columnsShown() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    const std::size_t columns = columnsOfTheEnvironment();
    return columns > 0 || !isTerminal() ? columns : kUsualColumns;
}

std::string timeOfDay(std::time_t at) {
    std::tm local{};
    localtime_r(&at, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}

std::string timeOfDay() { return timeOfDay(std::time(nullptr)); }

} // namespace base
