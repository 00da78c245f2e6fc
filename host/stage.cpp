// SPDX-License-Identifier: MIT
#include "host/stage.h"

#include "host/causes.h"
#include "host/supervisor_link.h"
#include "host/trial.h"
#include "platform/log_entry.h"
#include "platform/log_hook.h"
#include "platform/stage_hook.h"

#include <array>

namespace host {
namespace {

struct LogRow {
    std::string_view function;
    std::string_view text; // its beginning
    Stage stage;
};

// The agent's first words of each step that the platform does not see by itself.
constexpr std::array kLogRows{
    LogRow{"ota_httpDownLoadFile", "Removing the image files for last time failure",
           Stage::downloading},
    LogRow{"upgrade", "Sw Download Start Time = ", Stage::verifying},
    LogRow{"isReceivedValidImage", "Previous and Target Software version is same, so no download",
           Stage::activating},
    LogRow{"otaSwAgentSWCommitStatus", "swVer = ", Stage::committing},
};

constexpr std::array kNames{"idle",       "downloading", "verifying", "writing",
                            "activating", "rebooting",   "committing"};

Stage current = Stage::idle;

void onBanks(NalStage stage) {
    switch (stage) {
    case NalStage::writing:
        enterStage(Stage::writing);
        break;
    case NalStage::emptied:
        tellBanks();
        break;
    case NalStage::activating:
        enterStage(Stage::activating);
        break;
    case NalStage::activated: // every road of the agent goes on to the reboot from here
        enterStage(Stage::rebooting);
        tellBanks();
        askSupervisor(newCall("activated")); // which keeps it before the reboot can come
        break;
    }
}

void onLog(const char *function, int /*line*/, std::string_view text) {
    platform::LogOrigin origin;
    if (!platform::takeLogPrefix(text, origin)) {
        return;
    }
    if (const auto stage = stageThatBegins(function, text)) {
        enterStage(*stage);
    }
    takeCauseOfEntry(function, text);
}

} // namespace

const char *stageName(Stage stage) { return kNames.at(static_cast<std::size_t>(stage)); }

std::optional<Stage> stageThatBegins(std::string_view function, std::string_view text) {
    for (const LogRow &row : kLogRows) {
        if (function == row.function && text.starts_with(row.text)) {
            return row.stage;
        }
    }
    return std::nullopt;
}

void followStages() {
    nalOnStage(onBanks);
    nalOnLog(onLog);
}

void enterStage(Stage stage) {
    if (stage == current) {
        return;
    }
    current = stage;
    const base::Json note = newNote("stage");
    base::add(note.get(), "stage", stageName(stage));
    tellSupervisor(note);
}

Stage currentStage() { return current; }

void endStage() { enterStage(Stage::idle); }

} // namespace host
