// SPDX-License-Identifier: MIT
#include "guard/setting.h"

#include "guard/time_of_day.h"
#include "guard/version.h"

#include <algorithm>
#include <array>

namespace guard {
namespace {

constexpr std::size_t kMaxName = 31; // what the agent reads of a mode or a role

// Other modes than the two that the agent tells apart are allowed, as they are in the file.
bool isName(std::string_view value) {
    return value.size() <= kMaxName && hasVersionCharacters(value);
}

bool isSwitch(std::string_view value) { return value == "0" || value == "1"; }

struct Row {
    Setting setting;
    const char *name;
    bool (*mayBe)(std::string_view value);
    const char *expected;
};

constexpr const char *kName = "1 to 31 characters of A-Z a-z 0-9 . _ + -";

constexpr std::array kRows = {
    Row{Setting::workMode, "work_mode", isName, kName},
    Row{Setting::workRole, "work_role", isName, kName},
    Row{Setting::onboarding, "onboarding", isSwitch, "0 or 1"},
    Row{Setting::preferredActivationTime, "preferred_activation_time", isTimeOfDay, kTimeOfDay},
};

} // namespace

const char *settingName(Setting setting) {
    return kRows.at(static_cast<std::size_t>(setting)).name;
}

std::optional<Refusal> checkSetting(std::string_view name, std::string_view value,
                                    Setting &setting) {
    const auto *const row = std::find_if(kRows.begin(), kRows.end(),
                                         [name](const Row &each) { return name == each.name; });
    if (row == kRows.end()) {
        return Refusal{base::Outcome::settingUnknown, "setting",
                       quoted(name) + " is not work_mode, work_role, onboarding or "
                                      "preferred_activation_time"};
    }
    if (!row->mayBe(value)) {
        return Refusal{base::Outcome::settingMalformed, row->name,
                       quoted(value) + " is not " + row->expected};
    }
    setting = row->setting;
    return std::nullopt;
}

} // namespace guard
