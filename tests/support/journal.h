// SPDX-License-Identifier: MIT
// The one ordered journal that every stand-in writes, and the question who is calling.
#pragma once

#include "entries.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace ota::test {

enum class Kind {
    kNotice,
    kError,
    kDebug,
    kQuery,  // reads something: versions, mode, directories, the MAC, access
    kAction, // does something: commands, timers, signals, banks, sleeps, transfers
    kFile    // files and directories; only after watchFiles()
};

struct Entry {
    Kind kind;
    std::string text;
    std::string function; // of a log line: the operation that logs
};

class Journal {
  public:
    void add(Kind kind, std::string text, std::string function = {});
    void clear() { mWritten.clear(); }
    void watchFiles() { mFilesWatched = true; }
    // Called for every entry written, at that moment of the agent's call.
    std::function<void(const std::string &text)> onEntry;
    void reset();

    Entries all() const;
    Entries withoutLogs() const;
    Entries actions() const; // neither logs nor queries
    Entries logs() const;
    Entries platformLog() const;
    Entries debugLog() const;
    // The log lines of these operations only, and every action between them.
    Entries of(std::initializer_list<std::string_view> functions) const;
    // The log lines of these operations only.
    Entries logsOf(std::initializer_list<std::string_view> functions) const;

  private:
    Entries kinds(std::initializer_list<Kind> kinds) const;

    std::vector<Entry> mWritten;
    bool mFilesWatched = false;
};

Journal &journal();

// True while the agent runs and the harness is not busy on its behalf. Stand-ins write the
// journal and pretend only then; otherwise they pass the call on to the real function.
bool agentIsActive() noexcept;

// Held around every call into the agent.
class Recording {
  public:
    Recording() noexcept;
    ~Recording();
    Recording(const Recording &) = delete;
    Recording &operator=(const Recording &) = delete;
};

// Held inside every stand-in and every callback into the test.
class HarnessScope {
  public:
    HarnessScope() noexcept;
    ~HarnessScope();
    HarnessScope(const HarnessScope &) = delete;
    HarnessScope &operator=(const HarnessScope &) = delete;
};

// Held where a stand-in calls back into the agent, as a transfer does.
class AgentScope {
  public:
    AgentScope() noexcept;
    ~AgentScope();
    AgentScope(const AgentScope &) = delete;
    AgentScope &operator=(const AgentScope &) = delete;

  private:
    int mPauses;
};

struct CallDepth {
    int recordings;
    int pauses;
};
CallDepth callDepth() noexcept;
void setCallDepth(CallDepth depth) noexcept;

} // namespace ota::test
