// SPDX-License-Identifier: MIT
// The journal and its views.
#include "journal.h"

#include <algorithm>

namespace ota::test {

namespace {

constinit CallDepth gDepth{0, 0};

template <class Wanted>
Entries textsOf(const std::vector<Entry> &written, Wanted wanted) {
    Entries texts;
    for (const Entry &entry : written) {
        if (wanted(entry)) {
            texts.push_back(entry.text);
        }
    }
    return texts;
}

bool isLog(const Entry &entry) {
    return entry.kind == Kind::kNotice || entry.kind == Kind::kError || entry.kind == Kind::kDebug;
}

bool isOneOf(const std::string &name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

} // namespace

void Journal::add(Kind kind, std::string text, std::string function) {
    if (kind == Kind::kFile && !mFilesWatched) {
        return;
    }
    mWritten.push_back({kind, std::move(text), std::move(function)});
    if (onEntry) {
        onEntry(mWritten.back().text);
    }
}

void Journal::reset() {
    clear();
    mFilesWatched = false;
    onEntry = nullptr;
}

Entries Journal::kinds(std::initializer_list<Kind> kinds) const {
    return textsOf(mWritten, [&](const Entry &entry) {
        return std::find(kinds.begin(), kinds.end(), entry.kind) != kinds.end();
    });
}

Entries Journal::all() const {
    return textsOf(mWritten, [](const Entry &) { return true; });
}

Entries Journal::withoutLogs() const { return kinds({Kind::kQuery, Kind::kAction, Kind::kFile}); }

Entries Journal::actions() const { return kinds({Kind::kAction, Kind::kFile}); }

Entries Journal::logs() const { return textsOf(mWritten, isLog); }

Entries Journal::platformLog() const { return kinds({Kind::kNotice, Kind::kError}); }

Entries Journal::debugLog() const { return kinds({Kind::kDebug}); }

Entries Journal::of(std::initializer_list<std::string_view> functions) const {
    return textsOf(mWritten, [&](const Entry &entry) {
        return isLog(entry) ? isOneOf(entry.function, functions) : entry.kind != Kind::kQuery;
    });
}

Entries Journal::logsOf(std::initializer_list<std::string_view> functions) const {
    return textsOf(mWritten, [&](const Entry &entry) {
        return isLog(entry) && isOneOf(entry.function, functions);
    });
}

Journal &journal() {
    static Journal theJournal;
    return theJournal;
}

bool agentIsActive() noexcept { return gDepth.recordings > 0 && gDepth.pauses == 0; }

Recording::Recording() noexcept { ++gDepth.recordings; }
Recording::~Recording() { --gDepth.recordings; }

HarnessScope::HarnessScope() noexcept { ++gDepth.pauses; }
HarnessScope::~HarnessScope() { --gDepth.pauses; }

AgentScope::AgentScope() noexcept : mPauses(gDepth.pauses) { gDepth.pauses = 0; }
AgentScope::~AgentScope() { gDepth.pauses = mPauses; }

CallDepth callDepth() noexcept { return gDepth; }
void setCallDepth(CallDepth depth) noexcept { gDepth = depth; }

} // namespace ota::test
