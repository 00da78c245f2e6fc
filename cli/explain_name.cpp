// SPDX-License-Identifier: MIT
#include "cli/explain_name.h"

#include "base/display.h"
#include "base/failure.h"
#include "base/json.h"
#include "base/reason.h"
#include "base/text.h"
#include "base/word.h"

#include <charconv>
#include <vector>

namespace cli {
namespace {

struct Meaning {
    const char *kind;
    std::string name;
    const base::OutcomeRow *outcome; // itself, or the one that a reason explains; null: none
    std::string meaning;
    std::string remedy;
    std::vector<std::string> reasons; // of an outcome
};

std::vector<std::string> reasonsOf(base::Outcome outcome) {
    std::vector<std::string> names;
    for (const base::ReasonRow &row : base::reasons()) {
        if (row.outcome == outcome && row.reason != base::Reason::none) {
            names.emplace_back(row.name);
        }
    }
    return names;
}

const base::OutcomeRow *outcomeCalled(const std::string &name) {
    int code = 0;
    const char *const end = name.data() + name.size();
    const auto number = std::from_chars(name.data(), end, code);
    if (number.ec == std::errc() && number.ptr == end) {
        return base::rowOfCode(code);
    }
    for (const base::OutcomeRow &row : base::outcomes()) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

std::vector<std::string> knownNames() {
    std::vector<std::string> names;
    for (const base::OutcomeRow &row : base::outcomes()) {
        names.emplace_back(row.name);
    }
    for (const base::ReasonRow &row : base::reasons()) {
        names.emplace_back(row.name);
    }
    for (const base::WordRow &row : base::statusWords()) {
        names.emplace_back(row.word);
    }
    return names;
}

Meaning meaningOf(const std::string &name) {
    if (const base::OutcomeRow *const row = outcomeCalled(name)) {
        return {"outcome", row->name, row, row->meaning, row->remedy, reasonsOf(row->outcome)};
    }
    if (const base::ReasonRow *const row = base::rowOfReason(name)) {
        return {"reason", row->name, &base::rowOf(row->outcome), row->meaning, row->remedy, {}};
    }
    if (const base::WordRow *const row = base::rowOfWord(name)) {
        return {"status word", row->word, nullptr, row->meaning, row->remedy, {}};
    }
    throw base::Failure(base::Outcome::wrongUse,
                        name + ": no code, outcome, reason or status word is called so" +
                            base::didYouMean(name, knownNames()));
}

void print(const Meaning &meaning) {
    const base::Json object = base::newObject();
    base::add(object.get(), "kind", meaning.kind);
    base::add(object.get(), "name", meaning.name);
    if (meaning.outcome != nullptr) {
        base::add(object.get(), "code", static_cast<std::uint32_t>(meaning.outcome->code));
        base::add(object.get(), "result", meaning.outcome->name);
    }
    base::add(object.get(), "meaning", meaning.meaning);
    base::add(object.get(), "remedy", meaning.remedy);
    base::add(object.get(), "reasons", meaning.reasons);
    base::printJson(object.get());
}

void showName(const Meaning &meaning) {
    base::Display display;
    display.line(meaning.kind, meaning.name);
    if (meaning.outcome != nullptr) {
        display.line("code", std::to_string(meaning.outcome->code) + " " + meaning.outcome->name);
    }
    display.line("means", meaning.meaning);
    display.line("to do", meaning.remedy);
    std::string reasons;
    for (const std::string &reason : meaning.reasons) {
        reasons += (reasons.empty() ? "" : ", ") + reason;
    }
    if (!reasons.empty()) {
        display.line("reasons", reasons);
    }
}

} // namespace

int explainName(const std::string &name, const Globals &globals) {
    const Meaning meaning = meaningOf(name);
    if (globals.json) {
        print(meaning);
    } else {
        showName(meaning);
    }
    return 0;
}

} // namespace cli
