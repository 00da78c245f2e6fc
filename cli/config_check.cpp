// SPDX-License-Identifier: MIT
// otactl config check: what is wrong with a configuration file, without the service.
#include "cli/failure.h"
#include "cli/json_output.h"
#include "cli/printable.h"
#include "cli/verbs.h"
#include "node/config.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace cli {
namespace {

base::Json listOf(const std::vector<std::string> &lines) {
    base::Json list(cJSON_CreateArray());
    for (const std::string &line : lines) {
        cJSON_AddItemToArray(list.get(), cJSON_CreateString(line.c_str()));
    }
    return list;
}

void printFindings(const std::string &file, const std::vector<std::string> &mistakes,
                   const std::vector<std::string> &warnings) {
    const auto outcome = mistakes.empty() ? base::Outcome::done : base::Outcome::configWrong;
    const base::Json object = outcomeAsJson(base::rowOf(outcome), "");
    add(object.get(), "file", file);
    add(object.get(), "mistakes", listOf(mistakes));
    add(object.get(), "warnings", listOf(warnings));
    printJson(object.get());
}

void complain(const char *kind, const std::vector<std::string> &lines) {
    for (const std::string &line : lines) {
        std::fprintf(stderr, "otactl: %s%s\n", kind, printable(line).c_str());
    }
}

int checkConfig(const std::string &file, const Globals &globals) {
    std::vector<std::string> warnings;
    const std::vector<std::string> mistakes = node::configMistakes(file, &warnings);
    if (globals.json) {
        printFindings(file, mistakes, warnings);
    } else {
        complain("", mistakes);
        complain("warning: ", warnings);
        if (mistakes.empty()) {
            std::printf("%s: no mistakes\n", printable(file).c_str());
        }
    }
    return base::rowOf(mistakes.empty() ? base::Outcome::done : base::Outcome::configWrong).code;
}

} // namespace

base::Command configVerb(const Globals &globals) {
    const auto file = std::make_shared<std::string>(OTA_DEFAULT_CONFIG);
    return {.name = "config",
            .summary = "Work on a configuration file, without the service",
            .verbs = {{.name = "check",
                       .summary = "List every mistake of a configuration file, and what it says "
                                  "for nothing",
                       .arguments = {{"file", base::text("FILE", *file),
                                      "The file; that of the installed service if not given"}},
                       .run = [file, &globals] { return checkConfig(*file, globals); }}}};
}

} // namespace cli
