// SPDX-License-Identifier: MIT
// What follows from what, as rows.
#include "desk/story.h"

#include "otaSwAgent/status_words.h"
#include "platform/timers.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace desk {
namespace {

enum class Kind { stage, word, timer };

struct Row {
    std::string_view during; // the stage that ran; empty: any
    Kind kind;
    std::string_view name;
    const char *step;
    const char *text;
};

constexpr const char *kWritten = "into the passive bank, and read back";

constexpr std::array kRows{
    Row{"downloading", Kind::stage, "verifying", "downloaded",
        "the image is in the temporary directory"},
    Row{"verifying", Kind::stage, "writing", "checked", "the image's MD5 sum is the one offered"},
    Row{"", Kind::word, OTA_STATUS_CRC_CHECK_FAILED, "checked",
        "NOT: the image's MD5 sum is not the one offered"},
    Row{"writing", Kind::stage, "activating", "written", kWritten},
    Row{"writing", Kind::word, OTA_STATUS_ACTIVATION_COMPLETE, "written", kWritten},
    Row{"writing", Kind::timer, TIMER_REBOOT, "written", kWritten},
    Row{"", Kind::word, OTA_STATUS_FLASH_WRITE_FAILED, "written",
        "NOT: the passive bank did not take the image"},
    Row{"activating", Kind::stage, "rebooting", "activated", "the passive bank boots next"},
    Row{"", Kind::word, OTA_STATUS_ACTIVATION_FAILED, "activated",
        "NOT: the passive bank is not fit to boot"},
    Row{"", Kind::word, OTA_STATUS_COMMIT_COMPLETE, "commit",
        "the running version is the one that was activated"},
    Row{"", Kind::word, OTA_STATUS_COMMIT_FAILED, "commit",
        "NOT: the running version is not the one that was offered"},
};

std::optional<Tale> taleOf(const std::string &stage, Kind kind, const std::string &name) {
    const auto *const row = std::find_if(kRows.begin(), kRows.end(), [&](const Row &candidate) {
        return candidate.kind == kind && candidate.name == name &&
               (candidate.during.empty() || candidate.during == stage);
    });
    return row == kRows.end()
               ? std::nullopt
               : std::optional(
                     Tale{row->step, row->text, std::string_view(row->text).starts_with("NOT: ")});
}

} // namespace

std::optional<Tale> Story::stageBegan(const std::string &stage) {
    auto tale = taleOf(stage_, Kind::stage, stage);
    stage_ = stage;
    return tale;
}

std::optional<Tale> Story::wordCame(const std::string &word) {
    auto tale = taleOf(stage_, Kind::word, word);
    if (tale) {
        stage_.clear();
    }
    return tale;
}

std::optional<Tale> Story::timerStarted(const std::string &name) {
    auto tale = taleOf(stage_, Kind::timer, name);
    if (tale) {
        stage_.clear();
    }
    return tale;
}

} // namespace desk
