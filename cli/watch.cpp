// SPDX-License-Identifier: MIT
// otactl watch: follows the node, for a person or a program.
#include "cli/node_watch.h"
#include "cli/verbs.h"
#include "cli/watch_json.h"
#include "cli/watch_text.h"

#include <memory>

namespace cli {
namespace {

struct WatchOptions {
    bool untilIdle = false;
    std::optional<std::uint64_t> untilFinished;
};

int watchNode(const WatchOptions &options, const Globals &globals) {
    const std::unique_ptr<WatchView> view =
        globals.json ? std::unique_ptr<WatchView>(std::make_unique<JsonWatch>())
                     : std::make_unique<TextWatch>();
    NodeWatch watch(globals.bus, *view);
    const std::optional<Finished> end =
        watch.follow({.idle = options.untilIdle, .ticket = options.untilFinished});
    return end ? static_cast<int>(end->code) : 0;
}

} // namespace

base::Command watchVerb(const Globals &globals) {
    const auto options = std::make_shared<WatchOptions>();
    return {.name = "watch",
            .summary = "Follow the node: progress, status words, timers",
            .options = {{"--until-idle", base::flag(options->untilIdle),
                         "Stop when nothing runs, waits or is queued"},
                        {.name = "--until-finished",
                         .value = base::number("TICKET", options->untilFinished, 0, kMostExact),
                         .text = "Stop at the end of this request, with its code",
                         .excludes = {"--until-idle"}}},
            .run = [options, &globals] { return watchNode(*options, globals); }};
}

} // namespace cli
