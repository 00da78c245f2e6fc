// SPDX-License-Identifier: MIT
// ota-config check: what is wrong with a configuration file, without the service.
#include "node/config_check.h"
#include "base/failure.h"
#include "base/json.h"
#include "base/text.h"
#include "tools/verbs.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace tools {
namespace {

void printFindings(const std::string &file, const std::vector<std::string> &mistakes,
                   const std::vector<std::string> &warnings) {
    const auto outcome = mistakes.empty() ? base::Outcome::done : base::Outcome::configWrong;
    const base::Json object = base::outcomeAsJson(base::rowOf(outcome), "");
    base::add(object.get(), "file", file);
    base::add(object.get(), "mistakes", mistakes);
    base::add(object.get(), "warnings", warnings);
    base::printJson(object.get());
}

void complain(const Caller &caller, const char *kind, const std::vector<std::string> &lines) {
    for (const std::string &line : lines) {
        std::fprintf(stderr, "%s: %s%s\n", caller.program.c_str(), kind,
                     base::printable(line).c_str());
    }
}

int checkConfig(const std::string &file, const Caller &caller) {
    std::vector<std::string> warnings;
    const std::vector<std::string> mistakes = node::configMistakes(file, &warnings);
    if (caller.json) {
        printFindings(file, mistakes, warnings);
    } else {
        complain(caller, "", mistakes);
        complain(caller, "warning: ", warnings);
        if (mistakes.empty()) {
            std::printf("%s: no mistakes\n", base::printable(file).c_str());
        }
    }
    return base::rowOf(mistakes.empty() ? base::Outcome::done : base::Outcome::configWrong).code;
}

} // namespace

base::Command checkVerb(const Caller &caller) {
    const auto file = std::make_shared<std::string>(OTA_DEFAULT_CONFIG);
    return {.name = "check",
            .summary = "List every mistake of a configuration file, and what it says for nothing",
            .arguments = {{"file", base::text("FILE", *file),
                           "The file; that of the installed service if not given"}},
            .run = [file, &caller] { return checkConfig(*file, caller); }};
}

} // namespace tools
