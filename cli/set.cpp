// SPDX-License-Identifier: MIT
// otactl set: changes a setting of the running node.
#include "base/failure.h"
#include "base/odd_value.h"
#include "base/printable.h"
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <cstdio>
#include <memory>

namespace cli {
namespace {

struct Options {
    std::string name, value;
};

int set(const Options &options, const Globals &globals) {
    if (!base::isBusText(options.name) || !base::isBusText(options.value)) {
        throw base::Failure(base::Outcome::wrongUse, "name and value must be texts in UTF-8");
    }
    BusClient client(globals.bus);
    client.call("ChangeSetting", "ss", options.name.c_str(), options.value.c_str());
    const std::string odd = base::oddValue(options.name, options.value);
    if (globals.json) {
        const base::Json object = base::success();
        base::add(object.get(), "name", options.name);
        base::add(object.get(), "value", options.value);
        if (!odd.empty()) {
            base::add(object.get(), "warning", options.name + " " + odd);
        }
        base::printJson(object.get());
    } else {
        std::printf("%s is now %s\n", base::printable(options.name).c_str(),
                    base::printable(options.value).c_str());
        if (!odd.empty()) {
            std::fprintf(stderr, "otactl: warning: %s %s\n", base::printable(options.name).c_str(),
                         base::printable(odd).c_str());
        }
    }
    return 0;
}

} // namespace

base::Command setVerb(const Globals &globals) {
    const auto options = std::make_shared<Options>();
    return {.name = "set",
            .summary = "Change a setting of the node; it is kept",
            .arguments = {{"name", base::text("NAME", options->name),
                           "work_mode, work_role, onboarding or preferred_activation_time",
                           base::Times::once},
                          {"value", base::text("VALUE", options->value), "Its new value",
                           base::Times::once}},
            .run = [options, &globals] { return set(*options, globals); }};
}

} // namespace cli
