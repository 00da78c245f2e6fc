// SPDX-License-Identifier: MIT
// The shipped library, opened anew for every test, and its exports with their declared types.
#pragma once

#include "journal.h"

#include "otaSwAgent/agent.h"

#include <functional>
#include <optional>
#include <utility>

namespace ota::test {

// Opens the library of the build, or the one that OTA_AGENT_LIBRARY names.
void loadAgent();
void unloadAgent();
// The address of an export; a name that the library lacks ends the test program.
void *agentSymbol(const char *name);
// True where the address lies in the loaded library.
bool belongsToAgent(const void *address) noexcept;
// The exported name at exactly this address, or an empty text.
std::string agentNameOf(const void *address);

// An export that can be called; the journal is written while it runs. Arguments are converted
// as in a plain call; the general form is for functions that end in dots.
template <class Function>
struct AgentCall {
    Function function;

    template <class... Arguments>
    auto operator()(Arguments &&...arguments) const {
        const Recording recording;
        return function(std::forward<Arguments>(arguments)...);
    }
};

template <class Result, class... Parameters>
struct AgentCall<Result (*)(Parameters...)> {
    Result (*function)(Parameters...);

    Result operator()(Parameters... parameters) const {
        const Recording recording;
        return function(parameters...);
    }
};

template <class Function>
AgentCall(Function) -> AgentCall<Function>;

// The library's `main`, which no header declares.
int callAgentMain();

// Runs the body. A status where the agent called exit, or where the test left it by leaveAgent.
std::optional<int> untilLeft(const std::function<void()> &body);
[[noreturn]] void leaveAgent(int status);

} // namespace ota::test

// AGENT(ota_getMode)("RGW", "Agent") calls an export; AGENT_VAR(swInfo) is a variable of it.
#define AGENT(name)                                                                                \
    (::ota::test::AgentCall{reinterpret_cast<decltype(&::name)>(::ota::test::agentSymbol(#name))})
#define AGENT_VAR(name) (*static_cast<decltype(&::name)>(::ota::test::agentSymbol(#name)))
