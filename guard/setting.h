// SPDX-License-Identifier: MIT
// The settings that may change while the node runs, and the values they may take.
#ifndef GUARD_SETTING_H
#define GUARD_SETTING_H

#include "guard/refusal.h"

#include <optional>
#include <string_view>

namespace guard {

enum class Setting { workMode, workRole, onboarding, preferredActivationTime };

/* The key in the configuration: "work_mode", "work_role", "onboarding", ... */
const char *settingName(Setting setting);

/*
 * Nothing: the name is a setting, which is filled, and it may take the value. Values are plain:
 * they can stand in the configuration and in a log line as they are.
 */
std::optional<Refusal> checkSetting(std::string_view name, std::string_view value,
                                    Setting &setting);

} // namespace guard

#endif
