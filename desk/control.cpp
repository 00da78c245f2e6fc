// SPDX-License-Identifier: MIT
// One otactl a call, its answer read as JSON.
#include "desk/control.h"

#include "base/message.h"
#include "desk/failure.h"
#include "desk/node_log.h"
#include "desk/private_bus.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/un.h>
#include <thread>

namespace desk {
namespace {

using namespace std::chrono_literals;

constexpr auto kLongestCall = 40s;
constexpr int kGlanceMs = 50;
constexpr const char *kWell = "exit code 0";

bool isPlain(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 ||
           std::strchr("-_/.", character) != nullptr;
}

// As addresses of a message bus want it.
std::string escaped(const std::string &path) {
    std::string text;
    for (const char character : path) {
        std::array<char, 4> code{};
        std::snprintf(code.data(), code.size(), "%%%02x", static_cast<unsigned char>(character));
        text += isPlain(character) ? std::string(1, character) : code.data();
    }
    return text;
}

// As a shell wants it.
std::string quoted(const std::string &word) {
    if (std::all_of(word.begin(), word.end(), [](char character) {
            return isPlain(character) || std::strchr(":=%,+@", character) != nullptr;
        })) {
        return word;
    }
    std::string text = "'";
    for (const char character : word) {
        text += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return text + "'";
}

} // namespace

std::vector<std::string> controlWords(const std::filesystem::path &program,
                                      const std::filesystem::path &folder) {
    const std::string bus = (folder / "bus").string();
    // A longer path is none of a socket's.
    if (bus.size() < sizeof(sockaddr_un::sun_path)) {
        return {quoted(program.string()), "--bus " + quoted("unix:path=" + escaped(bus))};
    }
    return {"cd", quoted(folder.string()), "&&", quoted(program.string()),
            std::string("--bus ") + kBusAddress};
}

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
    const base::Json object = base::parsed(answer.text);
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

base::Json Control::status() const {
    const Answer answer = run({"status"});
    return answer.ending == kWell ? base::parsed(answer.text) : nullptr;
}

LineStream Control::watch() const { return LineStream(launch({"watch"})); }

} // namespace desk
