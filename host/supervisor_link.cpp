// SPDX-License-Identifier: MIT
#include "host/supervisor_link.h"

#include "base/json.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace host {
namespace {

base::Channel *theSupervisor = nullptr;

std::string nameOf(const base::Json &call) {
    return "the call " + base::textOf(call.get(), "call");
}

} // namespace

void setSupervisor(base::Channel *channel) { theSupervisor = channel; }

base::Json newCall(const char *name) { return base::message({{"call", name}}); }

base::Json newNote(const char *name) { return base::message({{"note", name}}); }

int askSupervisor(const base::Json &call) {
    if (theSupervisor == nullptr) {
        endHost(nameOf(call) + " was made before the channel was open");
    }
    if (const auto sent = theSupervisor->send(call.get()); !sent) {
        endHost(nameOf(call) + " could not be sent to the supervisor: " + sent.error().text);
    }
    const auto answer = theSupervisor->receive();
    if (!answer) {
        endHost("the answer to " + nameOf(call) + " could not be read: " + answer.error().text);
    }
    if (!*answer) {
        endHost("the supervisor closed the channel before it answered " + nameOf(call));
    }
    const auto result = base::takeInteger(answer->get(), "ack");
    if (!result) {
        endHost("the supervisor did not answer " + nameOf(call) +
                " with {\"ack\": number}: " + result.error().text);
    }
    return *result;
}

void tellSupervisor(const base::Json &note) {
    if (theSupervisor == nullptr) {
        endHost("a note was made before the channel was open");
    }
    if (const auto sent = theSupervisor->send(note.get()); !sent) {
        endHost("a note could not be sent to the supervisor: " + sent.error().text);
    }
}

void complain(const std::string &whatIsWrong) {
    std::fprintf(stderr, "error: ota-host: %s\n", whatIsWrong.c_str());
}

void tellLastWords(const base::Error &cause) {
    // Not twice: what is to be told may be that nothing can be told.
    static bool told = false;
    if (theSupervisor == nullptr || std::exchange(told, true)) {
        return;
    }
    const base::Json note = newNote("last-words");
    base::add(note.get(), "reason", base::rowOf(cause.reason).name);
    base::add(note.get(), "text", cause.text);
    static_cast<void>(theSupervisor->send(note.get()));
}

void endHost(const std::string &whatIsWrong, base::Reason reason) {
    complain(whatIsWrong);
    tellLastWords({whatIsWrong, reason});
    std::exit(1);
}

} // namespace host
