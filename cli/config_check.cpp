// SPDX-License-Identifier: MIT
// otactl config check: every mistake of a configuration file, without the service.
#include "cli/failure.h"
#include "cli/json_output.h"
#include "cli/printable.h"
#include "cli/verbs.h"
#include "platform/nal/config.h"

#include <cstdio>
#include <memory>
#include <vector>

namespace otactl {
namespace {

void printMistakes(const std::string &file, const std::vector<std::string> &mistakes) {
    const auto outcome = mistakes.empty() ? host::Outcome::done : host::Outcome::configWrong;
    const host::Json object = outcomeAsJson(host::rowOf(outcome), "");
    add(object.get(), "file", file);
    host::Json list(cJSON_CreateArray());
    for (const std::string &mistake : mistakes) {
        cJSON_AddItemToArray(list.get(), cJSON_CreateString(mistake.c_str()));
    }
    add(object.get(), "mistakes", std::move(list));
    printJson(object.get());
}

int checkConfig(const std::string &file, const Globals &globals) {
    const std::vector<std::string> mistakes = nal::configMistakes(file);
    if (globals.json) {
        printMistakes(file, mistakes);
    } else if (mistakes.empty()) {
        std::printf("%s: no mistakes\n", printable(file).c_str());
    }
    if (mistakes.empty()) {
        return 0;
    }
    for (const std::string &mistake : mistakes) {
        if (!globals.json) {
            std::fprintf(stderr, "otactl: %s\n", printable(mistake).c_str());
        }
    }
    return host::rowOf(host::Outcome::configWrong).code;
}

} // namespace

Action declareConfig(CLI::App &command) {
    command.require_subcommand(1);
    CLI::App *const check =
        command.add_subcommand("check", "List every mistake of a configuration file");
    check->fallthrough();
    const auto file = std::make_shared<std::string>(OTA_DEFAULT_CONFIG);
    check->add_option("file", *file, "The file; that of the installed service if not given")
        ->type_name("FILE")
        ->capture_default_str();
    return [file](const Globals &globals) { return checkConfig(*file, globals); };
}

} // namespace otactl
