// SPDX-License-Identifier: MIT
#include "node/config/settings_overlay.h"

#include "base/file_io.h"
#include "node/config/config_rows.h"
#include "node/config/ini_file.h"

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
constexpr std::array kSettings{
    Row{"work_mode", &Overlay::workMode},
    Row{"work_role", &Overlay::workRole},
    Row{"onboarding", &Overlay::onboarding},
    Row{"preferred_activation_time", &Overlay::preferredActivationTime},
};

base::Result<void> takeSetting(const std::string &path, const IniEntry &entry, Overlay &overlay) {
    for (const Row &row : kSettings) {
        if (entry.section == kSection && entry.key == row.key) {
            Config unused;
            overlay.*row.value = entry.value;
            auto taken = takeValue(*findConfigRow(kSection, row.key), entry.value, unused);
            return taken ? taken : taken.error().within(atLine(path, entry.line));
        }
    }
    return base::Error{
        atLine(path, entry.line) + nameOf(entry.section, entry.key) +
        " cannot change at run time: expected [node] work_mode, work_role, onboarding or "
        "preferred_activation_time"};
}

} // namespace

base::Result<Overlay> readOverlay(const std::string &path) {
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
        return Overlay{};
    }
    const auto text = base::readWholeFile(path, kMaxOverlay);
    if (!text) {
        return text.error();
    }
    const auto entries = parseIni(path, *text);
    if (!entries) {
        return entries.error();
    }
    Overlay overlay;
    for (const IniEntry &entry : *entries) {
        if (const auto taken = takeSetting(path, entry, overlay); !taken) {
            return taken.error();
        }
    }
    return overlay;
}

std::string printOverlay(const Overlay &overlay) {
    std::string text = "# Settings changed while the node ran; node.conf has the others.\n[node]\n";
    for (const Row &row : kSettings) {
        if (const auto &value = overlay.*row.value) {
            text.append(row.key).append(" = ").append(*value).append("\n");
        }
    }
    return text;
}

void applyOverlay(const Overlay &overlay, Config &config) {
    for (const Row &row : kSettings) {
        if (const auto &value = overlay.*row.value) {
            static_cast<void>( // checked before
                takeValue(*findConfigRow(kSection, row.key), *value, config));
        }
    }
}

} // namespace node
