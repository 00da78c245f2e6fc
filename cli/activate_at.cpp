// SPDX-License-Identifier: MIT
// otactl activate-at: the time of day at which a written image is activated.
#include "base/failure.h"
#include "base/printable.h"
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/governed.h"
#include "cli/verbs.h"

#include "base/terminal.h"

#include <charconv>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string_view>

namespace cli {
namespace {

constexpr std::string_view kFromNow = "now+";
constexpr std::int64_t kDay = 86400;

// A time of day means at most a day ahead; the node's local time is this process's.
std::string fromNow(std::string_view seconds) {
    std::int64_t count = 0;
    const auto parsed = std::from_chars(seconds.data(), seconds.data() + seconds.size(), count);
    if (parsed.ec != std::errc() || parsed.ptr != seconds.data() + seconds.size() || count < 1 ||
        count >= kDay) {
        throw base::Failure(base::Outcome::wrongUse,
                            "now+" + std::string(seconds) + ": expected now+SECONDS, 1 to 86399");
    }
    return base::timeOfDay(std::time(nullptr) + count);
}

std::string recordFor(const Node &node, const std::string &time) {
    const base::Json object = base::newObject();
    base::add(object.get(), "model", node.model);
    base::add(object.get(), "mac", node.mac);
    base::add(object.get(), "sn", node.serial);
    base::add(object.get(), "actTime", time);
    const base::JsonText text(cJSON_PrintUnformatted(object.get()));
    return text.get();
}

int activateAt(const std::string &time, const Globals &globals) {
    const std::string when =
        time.starts_with(kFromNow) ? fromNow(time.substr(kFromNow.size())) : time;
    if (!base::isBusText(when)) {
        throw base::Failure(base::Outcome::timeMalformed, "actTime: not a text in UTF-8");
    }
    BusClient client(globals.bus);
    const Node node = client.readNode();
    const std::string record = recordFor(node, when);
    const std::uint64_t ticket = client.callForTicket("SetActivationTime", "s", record.c_str());
    answerTicket("accepted", ticket, globals);
    if (!globals.json) {
        std::printf("%s\n", when.empty() ? "no time was given: the node keeps the one it has"
                                         : governedBy(node).c_str());
    }
    return 0;
}

} // namespace

base::Command activateAtVerb(const Globals &globals) {
    const auto time = std::make_shared<std::string>();
    return {.name = "activate-at",
            .summary = "Set the time of day of the activation",
            .arguments = {{"time", base::text("TIME", *time),
                           "Time of day, hh[:mm[:ss]] of 24 hours in local time, or now+SECONDS",
                           base::Times::once}},
            .run = [time, &globals] { return activateAt(*time, globals); }};
}

} // namespace cli
