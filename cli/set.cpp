// SPDX-License-Identifier: MIT
// otactl set: changes a setting of the running node.
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/failure.h"
#include "cli/printable.h"
#include "cli/verbs.h"

#include <cstdio>
#include <memory>

namespace otactl {
namespace {

struct Options {
    std::string name, value;
};

int set(const Options &options, const Globals &globals) {
    if (!isBusText(options.name) || !isBusText(options.value)) {
        throw Failure(host::Outcome::wrongUse, "name and value must be texts in UTF-8");
    }
    BusClient client(globals.bus);
    client.call("ChangeSetting", "ss", options.name.c_str(), options.value.c_str());
    if (globals.json) {
        const host::Json object = success();
        add(object.get(), "name", options.name);
        add(object.get(), "value", options.value);
        printJson(object.get());
    } else {
        std::printf("%s is now %s\n", printable(options.name).c_str(),
                    printable(options.value).c_str());
    }
    return 0;
}

} // namespace

Action declareSet(CLI::App &command) {
    const auto options = std::make_shared<Options>();
    command
        .add_option("name", options->name,
                    "work_mode, work_role, onboarding or preferred_activation_time")
        ->required()
        ->type_name("NAME");
    command.add_option("value", options->value, "Its new value")->required()->type_name("VALUE");
    return [options](const Globals &globals) { return set(*options, globals); };
}

} // namespace otactl
