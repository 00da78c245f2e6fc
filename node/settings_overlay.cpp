// SPDX-License-Identifier: MIT
#include "node/settings_overlay.h"

#include "base/file_io.h"
#include "base/ini_file.h"
#include "node/config_rows.h"

#include <array>
#include <cerrno>
#include <unistd.h>

namespace node {
namespace {

constexpr std::size_t kMaxOverlay = 4096;
constexpr const char *kSection = "node";

struct Row {
    const char *key;
    std::optional<std::string> Overlay::*value;
};
constexpr std::array kRows{
    Row{"work_mode", &Overlay::workMode},
    Row{"work_role", &Overlay::workRole},
    Row{"onboarding", &Overlay::onboarding},
    Row{"preferred_activation_time", &Overlay::preferredActivationTime},
};

bool takeEntry(const std::string &path, const base::IniEntry &entry, Overlay &overlay,
               std::string &whatIsWrong) {
    for (const Row &row : kRows) {
        if (entry.section == kSection && entry.key == row.key) {
            Config checked;
            if (!takeValue(*findConfigRow(kSection, row.key), entry.value, checked, whatIsWrong)) {
                whatIsWrong = base::atLine(path, entry.line) + whatIsWrong;
                return false;
            }
            overlay.*row.value = entry.value;
            return true;
        }
    }
    whatIsWrong = base::atLine(path, entry.line) + nameOf(entry.section, entry.key) +
                  " cannot change at run time: expected [node] work_mode, work_role, onboarding or "
                  "preferred_activation_time";
    return false;
}

} // namespace

bool readOverlay(const std::string &path, Overlay &overlay, std::string &whatIsWrong) {
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        overlay = Overlay{};
        return true;
    }
    std::string text;
    std::vector<base::IniEntry> entries;
    if (!base::readWholeFile(path, kMaxOverlay, text, whatIsWrong) ||
        !base::parseIni(path, text, entries, whatIsWrong)) {
        return false;
    }
    Overlay read;
    for (const base::IniEntry &entry : entries) {
        if (!takeEntry(path, entry, read, whatIsWrong)) {
            return false;
        }
    }
    overlay = read;
    return true;
}

std::string printOverlay(const Overlay &overlay) {
    std::string text = "# Settings changed while the node ran; node.conf has the others.\n[node]\n";
    for (const Row &row : kRows) {
        if (const auto &value = overlay.*row.value) {
            text.append(row.key).append(" = ").append(*value).append("\n");
        }
    }
    return text;
}

void applyOverlay(const Overlay &overlay, Config &config) {
    std::string checkedBefore;
    for (const Row &row : kRows) {
        if (const auto &value = overlay.*row.value) {
            takeValue(*findConfigRow(kSection, row.key), *value, config, checkedBefore);
        }
    }
}

} // namespace node
