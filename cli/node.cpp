// SPDX-License-Identifier: MIT
#include "cli/node.h"

#include "base/failure.h"
#include "base/json_record.h"
#include "platform/timers.h"
#include "service/bus/record_message.h"

#include <algorithm>

namespace cli {
namespace {

// StatusWord is status_word in JSON.
std::string snakeCase(std::string_view name) {
    std::string key;
    for (const char letter : name) {
        const bool isCapital = letter >= 'A' && letter <= 'Z';
        key += isCapital && !key.empty() ? "_" : "";
        key += isCapital ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return key;
}

// Of the variant that stands next in the message.
template <typename Value>
void take(sd_bus_message *message, const char *name, Value &value) {
    if (sd_bus_message_enter_container(message, 'v', nullptr) < 0 ||
        service::readValue(message, value) < 0 || sd_bus_message_exit_container(message) < 0) {
        throw base::Failure(base::Outcome::failed,
                            std::string("the service describes ") + name +
                                " in a way that this otactl does not know: their versions differ");
    }
}

// One name and value of the a{sv}.
int readEntry(sd_bus_message *message, Node &node, std::vector<std::string_view> &taken) {
    const char *name = nullptr;
    const int result = sd_bus_message_read(message, "s", &name);
    if (result < 0) {
        return result;
    }
    bool known = false;
    base::eachField<Node>([&](const auto &property) {
        if (std::string_view(property.key) == name) {
            known = true;
            take(message, property.key, node.*property.member);
            taken.emplace_back(property.key);
        }
    });
    return known ? 0 : sd_bus_message_skip(message, "v");
}

} // namespace

std::vector<std::string_view> takeProperties(sd_bus_message *message, Node &node) {
    std::vector<std::string_view> taken;
    int result = sd_bus_message_enter_container(message, 'a', "{sv}");
    while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
        result = readEntry(message, node, taken);
        if (result >= 0) {
            result = sd_bus_message_exit_container(message);
        }
    }
    if (result >= 0) {
        result = sd_bus_message_exit_container(message);
    }
    if (result < 0) {
        throw base::Failure(base::Outcome::failed,
                            "the service's list of properties cannot be read");
    }
    return taken;
}

void addProperties(cJSON *object, const Node &node) {
    base::eachField<Node>([&](const auto &property) {
        const std::string key = snakeCase(property.key);
        if (key == "status_record") {
            base::add(object, key.c_str(), base::parsedOrText(node.statusRecord));
        } else {
            base::add(object, key.c_str(), node.*property.member);
        }
    });
}

std::string governedBy(const Node &node) {
    const bool waits = std::any_of(node.timers.begin(), node.timers.end(),
                                   [](const Timer &timer) { return timer.name == TIMER_REBOOT; });
    return waits && node.ticket != 0
               ? "it governs " + node.version + " (ticket " + std::to_string(node.ticket) + ")"
               : "it governs the next image of policy 0, until the node boots or another time is "
                 "named";
}

} // namespace cli
