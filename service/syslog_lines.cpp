// SPDX-License-Identifier: MIT
#include "service/syslog_lines.h"

#include "base/log_entry.h"

#include <syslog.h>

namespace service {
namespace {

// Of an entry, 1024 bytes are taken everywhere; time and name come before the text.
constexpr std::size_t kMostText = 900;
constexpr std::string_view kGoesOn = "... ";

struct Level {
    std::string_view word;
    int priority;
};
constexpr Level kLevels[] = {
    {"error: ", LOG_ERR}, {"warning: ", LOG_WARNING}, {"notice: ", LOG_NOTICE}};

int priorityOf(std::string_view line) {
    for (const Level &level : kLevels) {
        if (line.starts_with(level.word)) {
            return level.priority;
        }
    }
    return LOG_INFO; // as the journal takes what says nothing of itself
}

} // namespace

void SyslogLines::take(std::string_view text) {
    for (const char character : text) {
        if (character == '\n') {
            end();
            continue;
        }
        const std::string spelled = base::spellControls({&character, 1});
        if (entry_.size() + spelled.size() > kMostText) {
            tell();
            entry_ = kGoesOn;
        }
        entry_ += spelled;
    }
}

void SyslogLines::end() {
    if (!entry_.empty()) {
        tell();
    }
    begun_ = false;
}

// Somebody else's text must not look like the beginning of a line where it is cut.
void SyslogLines::tell() {
    if (!begun_) {
        priority_ = priorityOf(entry_);
        begun_ = true;
    }
    send_(priority_, entry_);
    entry_.clear();
}

} // namespace service
