// SPDX-License-Identifier: MIT
// otactl forget: a version that failed its trial may be offered again.
#include "base/failure.h"
#include "base/printable.h"
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <cstdio>
#include <memory>

namespace cli {
namespace {

int forget(const std::string &version, const Globals &globals) {
    if (!base::isBusText(version)) {
        throw base::Failure(base::Outcome::wrongUse, "the version must be a text in UTF-8");
    }
    BusClient(globals.bus).call("Forget", "s", version.c_str());
    if (globals.json) {
        const base::Json object = base::success();
        base::add(object.get(), "version", version);
        base::printJson(object.get());
    } else {
        std::printf("%s may be offered again\n", base::printable(version).c_str());
    }
    return 0;
}

} // namespace

base::Command forgetVerb(const Globals &globals) {
    const auto version = std::make_shared<std::string>();
    return {.name = "forget",
            .summary = "Let a version in again that failed its trial",
            .arguments = {{"version", base::text("VERSION", *version), "As otactl banks lists it",
                           base::Times::once}},
            .run = [version, &globals] { return forget(*version, globals); }};
}

} // namespace cli
