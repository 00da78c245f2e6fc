// SPDX-License-Identifier: MIT
#include "tools/verbs.h"

#include "base/display.h"
#include "base/failure.h"
#include "base/file_io.h"
#include "base/json.h"
#include "base/text.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace tools {

std::string nameOf(const char *argument) {
    const char *const slash = std::strrchr(argument, '/');
    return slash == nullptr ? argument : slash + 1;
}

base::Parameter jsonOption(Caller &caller) {
    return {"--json", base::flag(caller.json), "Print JSON, one object a line"};
}

int reportImage(const std::string &file, const node::ImageManifest &manifest,
                const Caller &caller) {
    if (caller.json) {
        const base::Json object = base::success();
        base::add(object.get(), "file", file);
        base::add(object.get(), "version", manifest.version);
        base::add(object.get(), "model", manifest.model);
        base::add(object.get(), "size", manifest.payloadSize);
        base::add(object.get(), "sha256", manifest.payloadSha256);
        base::add(object.get(), "signer", manifest.signer);
        base::printJson(object.get());
        return 0;
    }
    base::Display display;
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

bool reportFailure(const std::string &program, const std::string &what) {
    std::fprintf(stderr, "%s: %s\n", program.c_str(), base::printable(what).c_str());
    return false;
}

int reportRefusal(base::Outcome outcome, const std::string &reason, const Caller &caller) {
    const base::OutcomeRow &row = base::rowOf(outcome);
    if (caller.json) {
        base::printJson(base::outcomeAsJson(row, reason).get());
    }
    reportFailure(caller.program, reason);
    return row.code;
}

} // namespace tools
