// SPDX-License-Identifier: MIT
// What the scripted host is to do, and what it was asked.
#include "script.h"

#include "base/json.h"

#include <filesystem>
#include <fstream>

namespace service::test {
namespace {

Action action(const std::string &kind, const std::string &json) {
    return "{\"" + kind + "\":" + json + "}";
}

std::string quoted(const std::string &text) {
    const base::Json string(cJSON_CreateString(text.c_str()));
    return base::printed(string.get());
}

} // namespace

Action stage(const std::string &name) {
    return say(base::printed(base::message({{"note", "stage"}, {"stage", name}}).get()));
}

Action say(const std::string &message) { return action("say", message); }

Action ask(const std::string &call) { return action("ask", call); }

Action report(const std::string &word) {
    const std::string record = base::printed(base::message({{"status", word}}).get());
    return ask(base::printed(base::message({{"call", "signal"}, {"data", record}}).get()));
}

Action notifyRoot() { return ask(R"({"call":"notifyRoot","config":"{\"to\":\"the root\"}"})"); }

Action handOver() { return ask(R"({"call":"fileServerInfo","info":"{\"url\":\"x\"}"})"); }

Action startTimer(const std::string &name, int seconds) {
    return ask(R"({"call":"startTimer","name":)" + quoted(name) + R"(,"seconds":)" +
               std::to_string(seconds) + "}");
}

Action stopTimer(const std::string &name) {
    return ask(R"({"call":"stopTimer","name":)" + quoted(name) + "}");
}

Action waitFor(const std::string &what) { return action("wait", quoted(what)); }

Action copy(const std::string &from, const std::string &to) {
    return action("copy", base::printed(base::message({{"from", from}, {"to", to}}).get()));
}

Action doneWith(const std::string &members) { return action("done", members); }

Action exitWith(int code) { return action("exit", std::to_string(code)); }

Action dieOf(int signal) { return action("signal", std::to_string(signal)); }

Action hang() { return action("hang", "true"); }

Script::Script(std::string folder) : folder_(std::move(folder)), turns_(base::newObject()) {}

void Script::on(const std::string &event, const std::vector<Action> &actions) {
    if (base::itemOf(turns_.get(), event.c_str()) == nullptr) {
        base::add(turns_.get(), event.c_str(), base::newList());
    }
    base::Json turn = base::newList();
    for (const Action &one : actions) {
        base::append(turn.get(), base::parsed(one));
    }
    base::append(base::itemOf(turns_.get(), event.c_str()), std::move(turn));
    // The host may be reading it.
    std::ofstream(folder_ + "/script.new") << base::printed(turns_.get());
    std::filesystem::rename(folder_ + "/script.new", folder_ + "/script.json");
}

void Script::release(const std::string &what) const { std::ofstream(folder_ + "/" + what) << "\n"; }

std::vector<std::string> Script::log() const {
    std::ifstream file(folder_ + "/host-log");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line) && !file.eof();) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> Script::heard() const {
    std::vector<std::string> names;
    for (const std::string &line : log()) {
        const base::Json entry = base::parsed(line);
        const std::string event = base::textOf(entry.get(), "event");
        names.push_back(event.empty() ? "ack " + std::to_string(base::numberOf(entry.get(), "ack"))
                                      : event);
    }
    return names;
}

std::vector<std::string> Script::events(const std::string &name) const {
    std::vector<std::string> found;
    for (const std::string &line : log()) {
        if (base::textOf(base::parsed(line).get(), "event") == name) {
            found.push_back(line);
        }
    }
    return found;
}

} // namespace service::test
