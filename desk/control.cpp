// SPDX-License-Identifier: MIT
// One otactl a call, its answer read as JSON.
#include "desk/control.h"

#include "desk/failure.h"
#include "desk/node_log.h"
#include "desk/private_bus.h"
#include "host/message.h"

#include <array>
#include <chrono>
#include <poll.h>
#include <thread>

namespace desk {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestCall = 40s;
constexpr int kGlanceMs = 50;
constexpr const char *kWell = "exit code 0";

} // namespace

Launch Control::launch(const std::vector<std::string> &words) const {
    Launch launch{{program_.string(), "--bus", kBusAddress, "--json"}, folder_, log_};
    launch.arguments.insert(launch.arguments.end(), words.begin(), words.end());
    return launch;
}

Control::Answer Control::run(const std::vector<std::string> &words) const {
    LineStream command(launch(words));
    Answer answer;
    const auto deadline = std::chrono::steady_clock::now() + kLongestCall;
    for (;;) {
        while (const auto line = command.next()) {
            answer.text = *line;
        }
        if (const auto ending = command.closed() ? command.ending() : std::nullopt) {
            answer.ending = *ending;
            return answer;
        }
        interrupt_.check();
        if (std::chrono::steady_clock::now() > deadline) {
            throw Failure("otactl " + words.front() + " does not come to an end; see " +
                          log_.string());
        }
        std::array<pollfd, 2> waiting{{{command.fd(), POLLIN, 0}, {interrupt_.fd(), POLLIN, 0}}};
        poll(waiting.data(), command.closed() ? 0 : waiting.size(),
             command.closed() ? 1 : kGlanceMs);
    }
}

std::uint64_t Control::hand(const std::vector<std::string> &words) const {
    const Answer answer = run(words);
    const host::Json object = host::parsed(answer.text);
    if (answer.ending != kWell) {
        const std::string reason = lastLine(log_);
        throw Failure("otactl " + words.front() + " ended with " + answer.ending +
                      (reason.empty() ? "" : ": " + reason));
    }
    const cJSON *const ticket = cJSON_GetObjectItemCaseSensitive(object.get(), "ticket");
    if (!cJSON_IsNumber(ticket)) {
        throw Failure("otactl " + words.front() + " gave no ticket but: " + answer.text);
    }
    return static_cast<std::uint64_t>(ticket->valuedouble);
}

host::Json Control::status() const {
    const Answer answer = run({"status"});
    return answer.ending == kWell ? host::parsed(answer.text) : nullptr;
}

LineStream Control::watch() const { return LineStream(launch({"watch"})); }

} // namespace desk
