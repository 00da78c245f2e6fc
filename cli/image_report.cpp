// SPDX-License-Identifier: MIT
#include "cli/image_report.h"

#include "base/file_io.h"
#include "cli/answer.h"
#include "cli/display.h"
#include "cli/printable.h"

#include <cstdio>
#include <unistd.h>

namespace cli {

int reportImage(const std::string &file, const node::ImageManifest &manifest,
                const Globals &globals) {
    if (globals.json) {
        const base::Json object = success();
        add(object.get(), "file", file);
        add(object.get(), "version", manifest.version);
        add(object.get(), "model", manifest.model);
        add(object.get(), "size", manifest.payloadSize);
        add(object.get(), "sha256", manifest.payloadSha256);
        add(object.get(), "signer", manifest.signer);
        printJson(object.get());
        return 0;
    }
    Display display;
    display.line("file", file);
    display.line("version", manifest.version);
    display.line("model", manifest.model);
    display.line("size", std::to_string(manifest.payloadSize) + " bytes");
    display.line("sha256", manifest.payloadSha256);
    display.line("signer", manifest.signer);
    return 0;
}

std::string whyUnreadable(std::initializer_list<std::string> files) {
    for (const std::string &file : files) {
        if (!file.empty() && access(file.c_str(), R_OK) != 0) {
            return base::systemReason(file + ": cannot be read") + "; name a file that is there";
        }
    }
    return "";
}

int reportRefusal(base::Outcome outcome, const std::string &reason, const Globals &globals) {
    const base::OutcomeRow &row = base::rowOf(outcome);
    if (globals.json) {
        printJson(outcomeAsJson(row, reason).get());
    }
    std::fprintf(stderr, "otactl: %s\n", printable(reason).c_str());
    return row.code;
}

} // namespace cli
