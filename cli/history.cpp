// SPDX-License-Identifier: MIT
// otactl history: the newest events, oldest first.
#include "base/display.h"
#include "base/failure.h"
#include "base/json.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <array>
#include <memory>

namespace cli {
namespace {

constexpr std::uint32_t kUsual = 20;

std::vector<std::string> readLines(BusClient &client, std::uint32_t count) {
    const Message answer = client.call("History", "u", count);
    std::vector<std::string> lines;
    int result = sd_bus_message_enter_container(answer.get(), 'a', "s");
    const char *line = nullptr;
    while (result >= 0 && (result = sd_bus_message_read(answer.get(), "s", &line)) > 0) {
        lines.emplace_back(line);
    }
    if (result < 0) {
        throw base::Failure(base::Outcome::failed, "the answer to History cannot be read");
    }
    return lines;
}

std::string cell(const cJSON *object, const char *key) {
    const double number = base::numberIn(object, key).value_or(0);
    return number == 0 ? base::textOf(object, key)
                       : std::to_string(static_cast<std::int64_t>(number));
}

std::vector<std::string> rowOfLine(const std::string &line) {
    const base::Json object = base::parsed(line);
    if (!base::isObject(object.get())) {
        return {"", line};
    }
    std::string what;
    for (const char *key : {"result", "reason", "next"}) {
        const std::string text = cell(object.get(), key);
        // Of most events there is nothing more to say than that they happened.
        const bool plain = text == base::rowOf(base::Outcome::done).name &&
                           cell(object.get(), "event") != "finished";
        if (!text.empty() && !plain) {
            what += (what.empty() ? "" : "; ") + text;
        }
    }
    return {cell(object.get(), "time"),   cell(object.get(), "event"),
            cell(object.get(), "ticket"), cell(object.get(), "version"),
            cell(object.get(), "stage"),  what};
}

int history(std::uint32_t count, const Globals &globals) {
    BusClient client(globals.bus);
    const std::vector<std::string> lines = readLines(client, count);
    if (globals.json) {
        for (const std::string &line : lines) {
            const base::Json object = base::parsedOrText(line);
            base::printJson(object.get());
        }
        return 0;
    }
    std::vector<std::vector<std::string>> rows = {
        {"TIME", "EVENT", "TICKET", "VERSION", "STAGE", "WHAT"}};
    for (const std::string &line : lines) {
        rows.push_back(rowOfLine(line));
    }
    base::printTable(rows);
    return 0;
}

} // namespace

base::Command historyVerb(const Globals &globals) {
    const auto count = std::make_shared<std::uint32_t>(kUsual);
    return {.name = "history",
            .summary = "Show the newest events",
            .options = {{"-n", base::number("N", *count), "How many; 20 if not given"}},
            .run = [count, &globals] { return history(*count, globals); }};
}

} // namespace cli
