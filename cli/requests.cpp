// SPDX-License-Identifier: MIT
// Verbs that ask the service for one thing and print its answer.
#include "base/failure.h"
#include "base/odd_value.h"
#include "base/terminal.h"
#include "base/text.h"
#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

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
    const base::Json record = base::message(
        {{"model", node.model}, {"mac", node.mac}, {"sn", node.serial}, {"actTime", time}});
    return base::printed(record.get());
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

struct NewValue {
    std::string name, value;
};

int set(const NewValue &setting, const Globals &globals) {
    if (!base::isBusText(setting.name) || !base::isBusText(setting.value)) {
        throw base::Failure(base::Outcome::wrongUse, "name and value must be texts in UTF-8");
    }
    BusClient client(globals.bus);
    client.call("ChangeSetting", "ss", setting.name.c_str(), setting.value.c_str());
    const std::string odd = base::oddValue(setting.name, setting.value);
    if (globals.json) {
        const base::Json object = base::success();
        base::add(object.get(), "name", setting.name);
        base::add(object.get(), "value", setting.value);
        if (!odd.empty()) {
            base::add(object.get(), "warning", setting.name + " " + odd);
        }
        base::printJson(object.get());
    } else {
        std::printf("%s is now %s\n", base::printable(setting.name).c_str(),
                    base::printable(setting.value).c_str());
        if (!odd.empty()) {
            std::fprintf(stderr, "otactl: warning: %s %s\n", base::printable(setting.name).c_str(),
                         base::printable(odd).c_str());
        }
    }
    return 0;
}

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

base::Command triggerVerb(const Globals &globals) {
    const auto flag = std::make_shared<std::int32_t>(1);
    return {.name = "trigger",
            .summary = "Send the mobile app's trigger",
            .options = {{"--flag", base::number("N", *flag),
                         "The app's flag for new software; 1 if not given"}},
            .run = [flag, &globals] {
                BusClient client(globals.bus);
                answerTicket("accepted", client.callForTicket("TriggerMobileApp", "i", *flag),
                             globals);
                return 0;
            }};
}

base::Command activateAtVerb(const Globals &globals) {
    const auto time = std::make_shared<std::string>();
    return {.name = "activate-at",
            .summary = "Set the time of day of the activation",
            .arguments = {{"time", base::text("TIME", *time),
                           "Time of day, hh[:mm[:ss]] of 24 hours in local time, or now+SECONDS",
                           base::Times::once}},
            .run = [time, &globals] { return activateAt(*time, globals); }};
}

base::Command cancelVerb(const Globals &globals) {
    const auto ticket = std::make_shared<std::uint64_t>(0);
    return {.name = "cancel",
            .summary = "End a request; the node is idle then",
            .arguments = {{"ticket", base::number("TICKET", *ticket, 0, kMostExact),
                           "Which request; whatever runs or waits if not given"}},
            .run = [ticket, &globals] {
                BusClient client(globals.bus);
                answerTicket("cancelled", client.callForTicket("Cancel", "t", *ticket), globals);
                return 0;
            }};
}

base::Command setVerb(const Globals &globals) {
    const auto setting = std::make_shared<NewValue>();
    return {.name = "set",
            .summary = "Change a setting of the node; it is kept",
            .arguments = {{"name", base::text("NAME", setting->name),
                           "work_mode, work_role, onboarding or preferred_activation_time",
                           base::Times::once},
                          {"value", base::text("VALUE", setting->value), "Its new value",
                           base::Times::once}},
            .run = [setting, &globals] { return set(*setting, globals); }};
}

base::Command commitVerb(const Globals &globals) {
    return {.name = "commit",
            .summary = "Mark the running bank good, where it is on trial",
            .run = [&globals] {
                BusClient(globals.bus).call("Commit", "");
                if (globals.json) {
                    base::printJson(base::success().get());
                } else {
                    std::puts("the running bank is marked good");
                }
                return 0;
            }};
}

base::Command forgetVerb(const Globals &globals) {
    const auto version = std::make_shared<std::string>();
    return {.name = "forget",
            .summary = "Allow a failed version again",
            .arguments = {{"version", base::text("VERSION", *version), "As otactl banks lists it",
                           base::Times::once}},
            .run = [version, &globals] { return forget(*version, globals); }};
}

} // namespace cli
