// SPDX-License-Identifier: MIT
#include "host/update_notes.h"

#include "base/log_entry.h"
#include "host/log_causes.h"
#include "host/platform_library.h"
#include "host/supervisor_link.h"
#include "host/trial.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

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
bool reasonTold = false;
const char *offered = nullptr; // the agent's own

// The stage that begins with this entry of the agent's log; `text` is what follows its prefix.
std::optional<Stage> stageThatBegins(std::string_view function, std::string_view text) {
    for (const LogRow &row : kLogRows) {
        if (function == row.function && text.starts_with(row.text)) {
            return row.stage;
        }
    }
    return std::nullopt;
}

// What bounds a file from outside, as the unit or a quota may, is no different to the image.
bool hasNoRoom(const std::string &path) {
    struct stat file {};
    struct statvfs disk {};
    rlimit limit{};
    const bool isAtItsLimit = stat(path.c_str(), &file) == 0 &&
                              getrlimit(RLIMIT_FSIZE, &limit) == 0 &&
                              static_cast<rlim_t>(file.st_size) >= limit.rlim_cur;
    return isAtItsLimit ||
           (statvfs(path.c_str(), &disk) == 0 && (disk.f_bavail == 0 || disk.f_favail == 0));
}

LogCauses inTheLog(hasNoRoom);

void tell(const base::Error &cause) {
    const base::Json note = newNote("cause");
    base::add(note.get(), "reason", base::rowOf(cause.reason).name);
    base::add(note.get(), "text", cause.text);
    base::add(note.get(), "attempt", cause.attempt);
    tellSupervisor(note);
}

void onFailed(const OtaFault *why) {
    reasonTold = true;
    tell(errorOf(why == nullptr ? OtaFault{} : *why));
}

constexpr OtaPlatformHooks kHooks{.size = sizeof(OtaPlatformHooks),
                                  .banksChanged = tellBanks,
                                  .failed = onFailed,
                                  .offeredVersion = [] { return offered; }};

} // namespace

void followPlatform(const char *offeredVersion) {
    offered = offeredVersion;
    if (platformService().follow != nullptr) {
        platformService().follow(&kHooks);
    }
}

void followLog(const char *function, std::string_view text) {
    base::LogOrigin origin;
    if (!base::takeLogPrefix(text, origin)) {
        return;
    }
    if (const auto stage = stageThatBegins(function, text)) {
        enterStage(*stage);
    }
    if (const auto cause = inTheLog.take(function, text)) {
        tell(*cause);
    }
}

void awaitReason() { reasonTold = false; }

void tellUnlessTold(const base::Error &cause) {
    if (!reasonTold) {
        tell(cause);
    }
}

void enterStage(Stage stage) {
    if (stage == current) {
        return;
    }
    current = stage;
    const base::Json note = newNote("stage");
    base::add(note.get(), "stage", kNames.at(static_cast<std::size_t>(stage)));
    tellSupervisor(note);
}

Stage currentStage() { return current; }

void endStage() { enterStage(Stage::idle); }

void expectCause(const base::Error &cause) { inTheLog.expect(cause); }

void endCauses() {
    if (const auto cause = inTheLog.endOfCall()) {
        tell(*cause);
    }
}

} // namespace host
